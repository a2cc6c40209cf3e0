// A growable array of plain values for the document's indexes. Growth
// answers false when memory runs out and leaves the array as it was, so an
// index can give up (and its callers fall back to scanning) instead of
// throwing through the interpreter.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <type_traits>

template <class T>
struct IndexArray {
  static_assert(std::is_trivially_copyable<T>::value, "plain values only");

  T* items = nullptr;
  int32_t count = 0;
  int32_t capacity = 0;

  IndexArray() = default;
  IndexArray(const IndexArray&) = delete;
  IndexArray& operator=(const IndexArray&) = delete;
  ~IndexArray() { std::free(items); }

  // Room for `wanted` entries: exactly that many when asked for more than
  // half as much again as the present room (an index sized up front), else
  // half as much again.
  bool reserve(int32_t wanted) {
    if (wanted <= capacity) return true;
    int64_t grown = capacity > 16 ? capacity + capacity / 2 : 16;
    if (grown < wanted) grown = wanted;
    if (grown > INT32_MAX) return false;
    void* more = std::realloc(items, sizeof(T) * static_cast<size_t>(grown));
    if (more == nullptr) return false;
    items = static_cast<T*>(more);
    capacity = static_cast<int32_t>(grown);
    return true;
  }
  bool push(const T& value) {
    if (!reserve(count + 1)) return false;
    items[count++] = value;
    return true;
  }
  // Grows to `wanted` entries, the new ones set to `fill`; never shrinks.
  bool growTo(int32_t wanted, const T& fill) {
    if (wanted <= count) return true;
    if (!reserve(wanted)) return false;
    for (int32_t i = count; i < wanted; ++i) items[i] = fill;
    count = wanted;
    return true;
  }
  void release() {
    std::free(items);
    items = nullptr;
    count = capacity = 0;
  }
  size_t bytes() const { return sizeof(T) * static_cast<size_t>(capacity); }
};

// Sorts the numbers and drops repeats.
inline void sortUnique(IndexArray<int32_t>* list) {
  std::sort(list->items, list->items + list->count);
  list->count = static_cast<int32_t>(
      std::unique(list->items, list->items + list->count) - list->items);
}
