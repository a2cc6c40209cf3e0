#include "model/large_pages.h"

#include <cstdint>

#if defined(__linux__)
#include <sys/mman.h>
#endif

void adviseLargePages(void* data, size_t bytes) {
#if defined(MADV_HUGEPAGE)
  // Below this an array seldom covers a whole large page of its own.
  constexpr size_t kWorthIt = size_t{4} << 20;
  constexpr uintptr_t kPage = 4096;
  if (data == nullptr || bytes < kWorthIt) return;
  const uintptr_t at = reinterpret_cast<uintptr_t>(data);
  const uintptr_t begin = (at + kPage - 1) & ~(kPage - 1);
  const uintptr_t end = (at + bytes) & ~(kPage - 1);
  if (end > begin) madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
#else
  (void)data;
  (void)bytes;
#endif
}
