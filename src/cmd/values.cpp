#include "cmd/values.h"

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace {

// atoi's reading (optional sign, then digits, stopping at anything else),
// but refusing values beyond 32 bits instead of wrapping.
bool readInteger(const char* word, int32_t* out) {
  const char* p = word;
  bool negative = false;
  if (*p == '-') {
    negative = true;
    ++p;
  }
  int64_t value = 0;
  while (*p >= '0' && *p <= '9') {
    value = value * 10 + (*p - '0');
    if (value > static_cast<int64_t>(INT32_MAX) + 1) return false;
    ++p;
  }
  if (negative) value = -value;
  if (value > INT32_MAX || value < INT32_MIN) return false;
  *out = static_cast<int32_t>(value);
  return true;
}

bool readFloat(const char* word, float* out) {
  double value = std::atof(word);
  if (!std::isfinite(value) || std::fabs(value) > 3.4028234663852886e38) {
    return false;
  }
  *out = static_cast<float>(value);
  return true;
}

}  // namespace

int classifyNumber(const char* text) {
  if (text == nullptr) return 0;
  int result = kNumberInteger;
  for (const char* p = text; *p; ++p) {
    if ((*p >= '0' && *p <= '9') || *p == '-') continue;
    if (*p == '.' && result == kNumberInteger) {
      result = kNumberDecimal;
      continue;
    }
    return kNotANumber;
  }
  return result;
}

int parseValue(void* destination, const char* word, int kind) {
  if (destination == nullptr || word == nullptr) return 0;
  int numberClass = classifyNumber(word);
  switch (kind) {
    case kValueInteger:
      if (numberClass != kNumberInteger) return 0;
      return readInteger(word, static_cast<int32_t*>(destination)) ? 1 : 0;
    case kValueFloat:
      if (numberClass == kNotANumber) return 0;
      return readFloat(word, static_cast<float*>(destination)) ? 1 : 0;
    case kValueString:
      *static_cast<const char**>(destination) = word;
      return 1;
    case kValueBoolean:
      if (numberClass == kNumberInteger) {
        return readInteger(word, static_cast<int32_t*>(destination)) ? 1 : 0;
      }
      if (numberClass == kNumberDecimal) return 0;
      if (std::strcmp(word, "on") == 0 || std::strcmp(word, "true") == 0) {
        *static_cast<int32_t*>(destination) = 1;
        return 1;
      }
      if (std::strcmp(word, "off") == 0 || std::strcmp(word, "false") == 0) {
        *static_cast<int32_t*>(destination) = 0;
        return 1;
      }
      return 0;
    default:
      return 0;
  }
}

bool fileNameFrom(char** words, std::string* name) {
  name->clear();
  for (char** w = words; *w != nullptr; ++w) {
    const char* word = nullptr;
    if (!parseString(&word, *w)) return false;
    if (w != words) *name += ' ';
    *name += word;
  }
  return !name->empty();
}

bool joinWords(char** words, char* out, size_t size) {
  std::string text;
  if (!fileNameFrom(words, &text) || text.size() >= size) return false;
  std::memcpy(out, text.c_str(), text.size() + 1);
  return true;
}
