#include "model/large_pages.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

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

void* growCleared(void* p, size_t had, size_t bytes) {
  constexpr size_t kFreshWorthIt = size_t{1} << 20;
  if (bytes >= kFreshWorthIt && had <= bytes / 8) {
    auto* fresh = static_cast<unsigned char*>(std::calloc(1, bytes));
    if (fresh == nullptr) return nullptr;
    adviseLargePages(fresh, bytes);
    if (had > 0) std::memcpy(fresh, p, had);
    std::free(p);
    constexpr size_t kPage = 4096;
    for (size_t at = had; at < bytes; at += kPage) {
      volatile unsigned char* page = fresh + at;
      *page = 0;
    }
    return fresh;
  }
  auto* grown = static_cast<unsigned char*>(std::realloc(p, bytes ? bytes : 1));
  if (grown == nullptr) return nullptr;
  adviseLargePages(grown, bytes);
  std::memset(grown + had, 0, bytes - had);
  return grown;
}
