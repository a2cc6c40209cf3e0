#include "cmd/format.h"

#include <cstdio>

namespace {

constexpr int kResultBytes = sizeof(ResultText::text);

// Each value by `form`, the last by `lastForm`; null when the text would
// pass the result's limit.
template <class T, class Printed>
const char* formatList(ResultText* out, const T* values, int count, const char* form,
                       const char* lastForm) {
  char* text = out->text;
  if (count < 0 || (count > 0 && values == nullptr)) return nullptr;
  int length = 0;
  text[0] = '\0';
  for (int i = 0; i < count; ++i) {
    const int n = std::snprintf(text + length, kResultBytes - length,
                                i + 1 < count ? form : lastForm,
                                static_cast<Printed>(values[i]));
    if (n < 0 || length + n > kMaxResultChars) return nullptr;
    length += n;
  }
  return text;
}

}  // namespace

const char* formatFloatList(ResultText* out, const float* values, int count) {
  return formatList<float, double>(out, values, count, "%.6f ", "%.6f ");
}

const char* formatIntList(ResultText* out, const int32_t* values, int count) {
  return formatList<int32_t, int>(out, values, count, "%d ", "%d");
}
