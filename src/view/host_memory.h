// Large host arrays the view fills once and hands to the GL (the vertices
// of a layer of a million triangles are close to 100 MB), on large pages.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <system_error>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "model/large_pages.h"

// Leaves the new elements of a resize of plain values unset: big arrays
// about to be written in full are not cleared first.
template <class T>
struct UnsetAllocator : std::allocator<T> {
  template <class U>
  struct rebind {
    using other = UnsetAllocator<U>;
  };
  UnsetAllocator() = default;
  template <class U>
  UnsetAllocator(const UnsetAllocator<U>&) noexcept {}
  template <class U>
  void construct(U* at) noexcept(std::is_nothrow_default_constructible<U>::value) {
    ::new (static_cast<void*>(at)) U;
  }
  template <class U, class... Args>
  void construct(U* at, Args&&... args) {
    ::new (static_cast<void*>(at)) U(std::forward<Args>(args)...);
  }
};
template <class T>
using UnsetVector = std::vector<T, UnsetAllocator<T>>;

// Runs work(begin, end) over [0, count): in two halves on two threads
// when count is large enough to pay for a thread, else (or when no thread
// can be had) on this one. `work` must not throw.
template <class Work>
void inTwoHalves(int32_t count, Work work) {
  constexpr int32_t kWorthASecondThread = 1 << 16;
  if (count >= kWorthASecondThread) {
    try {
      std::thread later(work, count / 2, count);
      work(0, count / 2);
      later.join();
      return;
    } catch (const std::system_error&) {
      // No thread to be had: this one does it all.
    }
  }
  work(0, count);
}
