#include "cmd/format.h"

#include <cstdio>

namespace {

constexpr int kResultBytes = 65536;
char g_result[kResultBytes];

}  // namespace

const char* formatFloatList(const float* values, int count) {
  if (count < 0 || (count > 0 && values == nullptr)) return nullptr;
  int length = 0;
  g_result[0] = '\0';
  for (int i = 0; i < count; ++i) {
    int n = std::snprintf(g_result + length, kResultBytes - length, "%.6f ",
                          static_cast<double>(values[i]));
    if (n < 0 || length + n > kMaxResultChars) return nullptr;
    length += n;
  }
  return g_result;
}

const char* formatIntList(const int32_t* values, int count) {
  if (count < 0 || (count > 0 && values == nullptr)) return nullptr;
  int length = 0;
  g_result[0] = '\0';
  for (int i = 0; i < count; ++i) {
    const char* form = i + 1 < count ? "%d " : "%d";
    int n = std::snprintf(g_result + length, kResultBytes - length, form,
                          values[i]);
    if (n < 0 || length + n > kMaxResultChars) return nullptr;
    length += n;
  }
  return g_result;
}
