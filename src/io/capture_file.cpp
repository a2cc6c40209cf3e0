#include "io/capture_file.h"

#include <cstring>

#include "io/text_out.h"
#include "model/last_error.h"

namespace {

constexpr size_t kHeaderBytes = 18;
constexpr size_t kNoticeBytes = 255;
constexpr size_t kLeadBytes = kHeaderBytes + kNoticeBytes;
constexpr int kLargestSide = 65535;  // the header's 16-bit fields
const char kNotice[] = "modelr screen capture";

void putLittle16(char* at, int value) {
  at[0] = static_cast<char>(value & 0xff);
  at[1] = static_cast<char>((value >> 8) & 0xff);
}

// Header and notice; false for a size the header cannot hold.
bool captureLead(int w, int h, char lead[kLeadBytes]) {
  if (w < 0 || h < 0 || w > kLargestSide || h > kLargestSide) return false;
  std::memset(lead, 0, kLeadBytes);
  lead[0] = static_cast<char>(kNoticeBytes);  // id length
  lead[2] = 2;                                // uncompressed true colour
  putLittle16(lead + 12, w);
  putLittle16(lead + 14, h);
  lead[16] = 24;
  std::memcpy(lead + kHeaderBytes, kNotice, sizeof kNotice - 1);
  return true;
}

size_t pixelBytes(int w, int h) {
  return static_cast<size_t>(w) * static_cast<size_t>(h) * 3;
}

}  // namespace

// The rows go out as they come, bottom first: that is the origin a
// descriptor of 0 announces, and what the texture reader turns upright.
std::string captureTgaBytes(int w, int h, const unsigned char* rgbBottomUp) {
  char lead[kLeadBytes];
  if (!captureLead(w, h, lead)) return {};
  const size_t pixels = pixelBytes(w, h);
  if (pixels != 0 && rgbBottomUp == nullptr) return {};
  std::string bytes(lead, kLeadBytes);
  if (pixels != 0) {
    bytes.append(reinterpret_cast<const char*>(rgbBottomUp), pixels);
  }
  return bytes;
}

bool writeCaptureFile(const char* path, int w, int h,
                      const unsigned char* rgbBottomUp) {
  const char* name = path != nullptr ? path : "";
  char lead[kLeadBytes];
  const size_t pixels = pixelBytes(w, h);
  TextOut out;
  if (!captureLead(w, h, lead) || (pixels != 0 && rgbBottomUp == nullptr)) {
    lastErrorReportf("could not write: %s", name);
    return false;
  }
  if (!textOutOpen(&out, name)) return false;
  outChars(&out, lead, kLeadBytes);
  if (pixels != 0) {
    outChars(&out, reinterpret_cast<const char*>(rgbBottomUp), pixels);
  }
  return textOutCommit(&out);
}
