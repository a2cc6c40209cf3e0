#include "cmd/format.h"

#include <cstdio>

namespace {

constexpr int kResultBytes = sizeof(ResultText::text);

}  // namespace

const char* formatFloatList(ResultText* out, const float* values, int count) {
  char* text = out->text;
  if (count < 0 || (count > 0 && values == nullptr)) return nullptr;
  int length = 0;
  text[0] = '\0';
  for (int i = 0; i < count; ++i) {
    int n = std::snprintf(text + length, kResultBytes - length, "%.6f ",
                          static_cast<double>(values[i]));
    if (n < 0 || length + n > kMaxResultChars) return nullptr;
    length += n;
  }
  return text;
}

const char* formatIntList(ResultText* out, const int32_t* values, int count) {
  char* text = out->text;
  if (count < 0 || (count > 0 && values == nullptr)) return nullptr;
  int length = 0;
  text[0] = '\0';
  for (int i = 0; i < count; ++i) {
    const char* form = i + 1 < count ? "%d " : "%d";
    int n = std::snprintf(text + length, kResultBytes - length, form,
                          values[i]);
    if (n < 0 || length + n > kMaxResultChars) return nullptr;
    length += n;
  }
  return text;
}
