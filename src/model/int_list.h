// A growable list of numbers (ids, point numbers). A failed allocation is
// remembered, so that the caller can refuse, or answer nothing, instead of
// acting on part of the list.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

struct IntList {
  int32_t* items = nullptr;
  int32_t count = 0;
  int32_t capacity = 0;
  bool failed = false;

  IntList() = default;
  IntList(const IntList&) = delete;
  IntList& operator=(const IntList&) = delete;
  ~IntList() { std::free(items); }

  void push(int32_t value) {
    if (failed) return;
    if (count == capacity) {
      const int32_t grown = capacity ? capacity * 2 : 64;
      void* more = std::realloc(items, sizeof(int32_t) * static_cast<size_t>(grown));
      if (more == nullptr) {
        failed = true;
        return;
      }
      items = static_cast<int32_t*>(more);
      capacity = grown;
    }
    items[count++] = value;
  }
};
