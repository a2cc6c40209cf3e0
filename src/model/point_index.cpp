#include "model/point_index.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "model/records.h"

namespace {

bool isNaNPoint(const Point* p) {
  return std::isnan(p->x) || std::isnan(p->y) || std::isnan(p->z);
}

uint32_t bucketOf(const PositionIndex* index, float x, float y, float z) {
  // Adding 0 makes -0 into 0, which compares equal to it.
  const float key[3] = {x + 0.0f, y + 0.0f, z + 0.0f};
  uint32_t bits[3];
  std::memcpy(bits, key, sizeof bits);
  uint64_t h = bits[0] * 0x9E3779B97F4A7C15ull;
  h ^= bits[1] * 0xC2B2AE3D27D4EB4Full;
  h ^= bits[2] * 0x165667B19E3779F9ull;
  h ^= h >> 29;
  h *= 0xBF58476D1CE4E5B9ull;
  h ^= h >> 32;
  return static_cast<uint32_t>(h) & static_cast<uint32_t>(index->heads.count - 1);
}

void link(PositionIndex* index, const Point* p, int32_t slot) {
  int32_t* head = &index->heads.items[bucketOf(index, p->x, p->y, p->z)];
  index->next.items[slot] = *head;
  *head = slot + 1;
  ++index->entries;
}

// Buckets for `entries` points: a power of two at least as many.
bool rehash(PositionIndex* index, const KeyedTable* points, int32_t entries) {
  int32_t buckets = 16;
  while (buckets < entries && buckets < (1 << 30)) buckets *= 2;
  index->heads.count = 0;
  if (!index->heads.growTo(buckets, 0)) return false;
  std::fill(index->heads.items, index->heads.items + buckets, 0);
  index->next.count = 0;
  if (!index->next.growTo(points->capacity, 0)) return false;
  index->entries = 0;
  for (int32_t s = tableNextSlot(points, -1); s >= 0; s = tableNextSlot(points, s)) {
    const Point* p = tableAt<Point>(points, s);
    if (!isNaNPoint(p)) link(index, p, s);
  }
  return true;
}

}  // namespace

bool positionIndexBuild(PositionIndex* index, const KeyedTable* points) {
  return rehash(index, points, tableCount(points));
}

bool positionIndexAdd(PositionIndex* index, const KeyedTable* points, int32_t slot) {
  const Point* p = tableAt<Point>(points, slot);
  if (isNaNPoint(p)) return true;
  if (index->entries + 1 > index->heads.count) {
    // Every point but this one is indexed: indexing all takes it in.
    return rehash(index, points, index->entries + 1);
  }
  if (!index->next.growTo(points->capacity, 0)) return false;
  link(index, p, slot);
  return true;
}

void positionIndexRemove(PositionIndex* index, const KeyedTable*, int32_t slot,
                         const float at[3]) {
  if (std::isnan(at[0]) || std::isnan(at[1]) || std::isnan(at[2])) return;
  int32_t* link = &index->heads.items[bucketOf(index, at[0], at[1], at[2])];
  while (*link != 0) {
    if (*link - 1 == slot) {
      *link = index->next.items[slot];
      index->next.items[slot] = 0;
      --index->entries;
      return;
    }
    link = &index->next.items[*link - 1];
  }
}

int32_t positionIndexFind(const PositionIndex* index, const KeyedTable* points,
                          float x, float y, float z) {
  if (std::isnan(x) || std::isnan(y) || std::isnan(z)) return -1;
  int32_t found = -1;
  for (int32_t at = index->heads.items[bucketOf(index, x, y, z)]; at != 0;
       at = index->next.items[at - 1]) {
    const Point* p = tableAt<Point>(points, at - 1);
    if (p->x == x && p->y == y && p->z == z && (found < 0 || at - 1 < found))
      found = at - 1;
  }
  return found;
}

bool numberHeapBuild(NumberHeap* heap, const KeyedTable* points) {
  heap->heap.count = 0;
  if (!heap->heap.reserve(tableCount(points))) return false;
  for (int32_t s = tableNextSlot(points, -1); s >= 0; s = tableNextSlot(points, s))
    heap->heap.items[heap->heap.count++] = tableIntKeyAt(points, s);
  std::make_heap(heap->heap.items, heap->heap.items + heap->heap.count);
  return true;
}

bool numberHeapAdd(NumberHeap* heap, const KeyedTable* points, int32_t number) {
  // Deleted numbers are dropped once they outnumber the live ones.
  if (heap->heap.count >= 2 * tableCount(points) + 64) return numberHeapBuild(heap, points);
  if (!heap->heap.push(number)) return false;
  std::push_heap(heap->heap.items, heap->heap.items + heap->heap.count);
  return true;
}

int32_t numberHeapTop(NumberHeap* heap, const KeyedTable* points) {
  IndexArray<int32_t>& h = heap->heap;
  while (h.count > 0 && tableFind(points, h.items[0]) == nullptr) {
    std::pop_heap(h.items, h.items + h.count);
    --h.count;
  }
  return h.count > 0 ? h.items[0] : 0;
}
