// Pieces the selection files share: marks, and number lists and sets
// that remember a failed allocation. Internal to src/model.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "model/geometry.h"
#include "model/records.h"

namespace selection_detail {

inline bool marked(int32_t flags) { return (flags & kItemSelected) != 0; }

inline void setMark(int32_t* flags, bool on) {
  if (on) {
    *flags |= kItemSelected;
  } else {
    *flags &= ~kItemSelected;
  }
}

inline bool pointMarked(const Model* model, int32_t number) {
  const Point* point = findPoint(model, number);
  return point != nullptr && marked(point->flags);
}

// A growable list of numbers. A failed allocation is remembered, so that
// the caller can refuse instead of acting on part of the list.
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

// A set of point numbers as a table of one-byte elements.
struct NumberSet {
  KeyedTable table;
  NumberSet() { tableInit(&table, 1, kIntKeyed); }
  NumberSet(const NumberSet&) = delete;
  NumberSet& operator=(const NumberSet&) = delete;
  ~NumberSet() { tableRelease(&table); }
  void add(int32_t n) { tableInsert(&table, n); }
  bool has(int32_t n) const { return tableFind(&table, n) != nullptr; }
};

}  // namespace selection_detail
