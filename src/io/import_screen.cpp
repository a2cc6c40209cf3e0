#include "io/import_screen.h"

#include <cctype>
#include <cstring>

namespace {

// The unsigned number at `text` (digits only); false for anything else.
// Counts past the 64-bit range read as the largest value.
bool count(const std::string& text, uint64_t* out) {
  if (text.empty()) return false;
  uint64_t value = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    const uint64_t digit = static_cast<uint64_t>(c - '0');
    value = value > (UINT64_MAX - digit) / 10 ? UINT64_MAX : value * 10 + digit;
  }
  *out = value;
  return true;
}

// Words of the text, up to `limit` of them; "#" starts a comment to the
// end of its line.
size_t words(const unsigned char* text, size_t size, std::string* out, size_t limit) {
  size_t n = 0;
  for (size_t i = 0; i < size && n < limit;) {
    const unsigned char c = text[i];
    if (c == '#') {
      while (i < size && text[i] != '\n') ++i;
    } else if (std::isspace(c)) {
      ++i;
    } else {
      std::string word;
      while (i < size && !std::isspace(text[i]) && text[i] != '#') word += static_cast<char>(text[i++]);
      out[n++] = word;
    }
  }
  return n;
}

const char* screenPly(const unsigned char* head, size_t size, uint64_t fileSize) {
  static const char kEnd[] = "end_header";
  const size_t endLength = sizeof kEnd - 1;
  size_t line = 0;
  for (size_t i = 0; i < size; ++i) {
    const unsigned char c = head[i];
    if (c != '\n' && c != '\r' && c != '\t' && (c < 0x20 || c > 0x7e))
      return "broken PLY header";
    if (c != '\n') continue;
    // The line that starts here.
    line = i + 1;
    if (size - line > endLength && std::memcmp(head + line, kEnd, endLength) == 0) {
      const unsigned char after = head[line + endLength];
      if (after == '\n' || after == '\r') return nullptr;
    }
    if (size - line > 8 && std::memcmp(head + line, "element ", 8) == 0) {
      size_t end = line;
      while (end < size && head[end] != '\n') ++end;
      std::string parts[3];
      uint64_t n = 0;
      if (words(head + line, end - line, parts, 3) == 3 && count(parts[2], &n) && n > fileSize)
        return "a count in the header is larger than the file";
    }
  }
  return "broken PLY header";
}

// OFF, COFF, NOFF, STOFF, 4OFF, nOFF ...: the counts of vertices, faces
// and edges follow the keyword (readers take a count written right after
// it, too).
const char* screenOff(const unsigned char* head, size_t size, uint64_t fileSize) {
  std::string parts[4];
  const size_t n = words(head, size, parts, 4);
  if (n == 0) return nullptr;
  const size_t at = parts[0].find("OFF");
  if (at == std::string::npos || at > 2) return nullptr;
  std::string counts[4];
  size_t k = 0;
  if (parts[0].size() > at + 3) counts[k++] = parts[0].substr(at + 3);
  for (size_t i = 1; i < n && k < 3; ++i) counts[k++] = parts[i];
  for (size_t i = 0; i < k; ++i) {
    uint64_t value = 0;
    if (!count(counts[i], &value)) break;
    if (value > fileSize) return "a count in the header is larger than the file";
  }
  return nullptr;
}

// A glb file's total length and its first chunk's: assimp takes room for
// what they say before it reads (4 GB and seconds of clearing memory for a
// file of 70 bytes).
const char* screenGlb(const unsigned char* head, size_t size, uint64_t fileSize) {
  if (size < 12) return nullptr;
  uint32_t total = 0, chunk = 0;
  std::memcpy(&total, head + 8, 4);  // little-endian, as the format is
  if (total > fileSize) return "a length in the header is larger than the file";
  if (size < 16) return nullptr;
  std::memcpy(&chunk, head + 12, 4);
  if (uint64_t{chunk} + 20 > fileSize) return "a length in the header is larger than the file";
  return nullptr;
}

}  // namespace

const char* screenImport(const unsigned char* head, size_t headSize,
                         uint64_t fileSize, const std::string& extension) {
  if (headSize >= 4 && std::memcmp(head, "glTF", 4) == 0)
    return screenGlb(head, headSize, fileSize);
  if (headSize >= 3 && std::memcmp(head, "ply", 3) == 0)
    return screenPly(head, headSize, fileSize);
  if (extension == "ply") return "not a PLY file";
  return screenOff(head, headSize, fileSize);
}

const char* screenGltf(const char* json, size_t size) {
  static const char kMode[] = "\"mode\"";
  const size_t keyLength = sizeof kMode - 1;
  for (size_t i = 0; i + keyLength < size; ++i) {
    if (std::memcmp(json + i, kMode, keyLength) != 0) continue;
    size_t k = i + keyLength;
    while (k < size && std::isspace(static_cast<unsigned char>(json[k]))) ++k;
    if (k >= size || json[k] != ':') continue;
    ++k;
    while (k < size && std::isspace(static_cast<unsigned char>(json[k]))) ++k;
    if (k < size && json[k] == '2' && (k + 1 >= size || json[k + 1] < '0' || json[k + 1] > '9'))
      return "glTF line loops are not read";
  }
  return nullptr;
}

bool glbJson(const unsigned char* head, size_t size, uint64_t* offset,
             uint64_t* length) {
  if (size < 20 || std::memcmp(head, "glTF", 4) != 0 || std::memcmp(head + 16, "JSON", 4) != 0)
    return false;
  uint32_t chunk = 0;
  std::memcpy(&chunk, head + 12, 4);  // little-endian, as the format is
  *offset = 20;
  *length = chunk;
  return true;
}
