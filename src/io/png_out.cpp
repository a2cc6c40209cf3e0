#include "io/png_out.h"

#include <zlib.h>

#include <cstring>

namespace {

void put32(std::vector<unsigned char>* out, uint32_t v) {
  const unsigned char b[4] = {static_cast<unsigned char>(v >> 24),
                              static_cast<unsigned char>(v >> 16),
                              static_cast<unsigned char>(v >> 8),
                              static_cast<unsigned char>(v)};
  out->insert(out->end(), b, b + 4);
}

// Length, type, data and the CRC over type and data.
void chunk(std::vector<unsigned char>* out, const char type[4],
           const unsigned char* data, size_t length) {
  put32(out, static_cast<uint32_t>(length));
  const size_t start = out->size();
  out->insert(out->end(), type, type + 4);
  if (length > 0) out->insert(out->end(), data, data + length);
  const uLong crc = crc32(0L, out->data() + start, static_cast<uInt>(length + 4));
  put32(out, static_cast<uint32_t>(crc));
}

}  // namespace

bool encodePng(const unsigned char* rgb, int32_t width, int32_t height,
               std::vector<unsigned char>* out) {
  if (rgb == nullptr || width <= 0 || height <= 0) return false;
  const size_t row = static_cast<size_t>(width) * 3;
  // Each row starts with its filter byte, 0: none.
  std::vector<unsigned char> raw((row + 1) * static_cast<size_t>(height));
  for (int32_t y = 0; y < height; ++y) {
    unsigned char* line = &raw[(row + 1) * static_cast<size_t>(y)];
    line[0] = 0;
    std::memcpy(line + 1, rgb + row * static_cast<size_t>(y), row);
  }
  uLongf packed = compressBound(static_cast<uLong>(raw.size()));
  std::vector<unsigned char> deflated(packed);
  if (compress2(deflated.data(), &packed, raw.data(),
                static_cast<uLong>(raw.size()), Z_DEFAULT_COMPRESSION) != Z_OK)
    return false;

  static const unsigned char kSignature[8] = {0x89, 'P',  'N',  'G',
                                              '\r', '\n', 0x1a, '\n'};
  out->insert(out->end(), kSignature, kSignature + 8);
  unsigned char ihdr[13];
  const uint32_t size[2] = {static_cast<uint32_t>(width),
                            static_cast<uint32_t>(height)};
  for (int i = 0; i < 2; ++i)
    for (int k = 0; k < 4; ++k)
      ihdr[i * 4 + k] = static_cast<unsigned char>(size[i] >> (24 - 8 * k));
  ihdr[8] = 8;   // bits per sample
  ihdr[9] = 2;   // truecolour
  ihdr[10] = 0;  // deflate
  ihdr[11] = 0;  // adaptive filtering
  ihdr[12] = 0;  // not interlaced
  chunk(out, "IHDR", ihdr, sizeof ihdr);
  chunk(out, "IDAT", deflated.data(), packed);
  chunk(out, "IEND", nullptr, 0);
  return true;
}
