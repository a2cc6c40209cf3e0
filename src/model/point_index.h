// Indexes over the points table: where each point lies, and which number
// is the highest. Both are caches of the table; document_index.h decides
// when they are built and keeps them current. Internal to src/model.
#pragma once

#include <cstddef>
#include <cstdint>

#include "model/index_array.h"
#include "model/keyed_table.h"

// Exact positions: a hash of (x, y, z) to chains of point slots. -0 and 0
// compare equal, so they hash alike; a NaN position never matches and stays
// out. Memory: one word per point slot and one per bucket.
struct PositionIndex {
  IndexArray<int32_t> heads;  // bucket -> first point slot + 1, 0 = none
  IndexArray<int32_t> next;   // point slot -> next slot + 1 in its chain
  int32_t entries = 0;
};

// Fills the index from every point of the table; false when out of memory.
bool positionIndexBuild(PositionIndex* index, const KeyedTable* points);
// The point in `slot` is now at its table position; false when out of
// memory (the index is then unusable and must be dropped).
bool positionIndexAdd(PositionIndex* index, const KeyedTable* points, int32_t slot);
// The point in `slot` was indexed at `at` and leaves that place.
void positionIndexRemove(PositionIndex* index, const KeyedTable* points,
                         int32_t slot, const float at[3]);
// The lowest slot whose point is exactly at x, y, z; -1 if none.
int32_t positionIndexFind(const PositionIndex* index, const KeyedTable* points,
                          float x, float y, float z);

// Point numbers as a max-heap. Deleted numbers stay in it until they reach
// the top; the heap is rebuilt when they outnumber the points.
struct NumberHeap {
  IndexArray<int32_t> heap;
};

bool numberHeapBuild(NumberHeap* heap, const KeyedTable* points);
// A number new to the table; false when out of memory.
bool numberHeapAdd(NumberHeap* heap, const KeyedTable* points, int32_t number);
// The highest number in the table, 0 when it is empty.
int32_t numberHeapTop(NumberHeap* heap, const KeyedTable* points);
