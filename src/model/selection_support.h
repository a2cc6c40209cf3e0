// Pieces the selection files share: marks, and number lists and sets
// that remember a failed allocation. Internal to src/model.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "model/geometry.h"
#include "model/int_list.h"
#include "model/records.h"

namespace selection_detail {

using ::IntList;

inline bool marked(int32_t flags) { return (flags & kItemSelected) != 0; }

// Points and objects keep 32-bit flags, polygons and lines 8-bit ones.
template <class Flags>
void setMark(Flags* flags, bool on) {
  if (on) {
    *flags = static_cast<Flags>(*flags | kItemSelected);
  } else {
    *flags = static_cast<Flags>(*flags & ~kItemSelected);
  }
}

inline bool pointMarked(const Model* model, int32_t number) {
  const Point* point = findPoint(model, number);
  return point != nullptr && marked(point->flags);
}

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

// The keys of `table` that are also in `numbers`, found from whichever of
// the two is smaller.
void commonKeys(const KeyedTable* table, const IntList& numbers,
                const NumberSet& numberSet, IntList* out);
// Brings derived data up to date (an edit of the selection follows), then
// the numbers of the marked points in slot order, as a list and a set;
// false (reported) when out of memory.
bool collectMarkedPoints(Model* model, IntList* list, NumberSet* set);

}  // namespace selection_detail
