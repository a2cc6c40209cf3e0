#include "model/polygon_index.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

#include "model/geometry.h"

namespace {

constexpr int32_t kOwnerPageSize = 1 << kOwnerPageBits;

bool setOwner(PolygonIndex* index, int32_t id, int32_t value) {
  if (id <= 0) return value == 0;
  const int32_t page = id >> kOwnerPageBits;
  if (page >= index->owners.count) {
    if (value == 0) return true;
    if (!index->owners.growTo(page + 1, nullptr)) return false;
  }
  int32_t*& entries = index->owners.items[page];
  if (entries == nullptr) {
    if (value == 0) return true;
    entries = static_cast<int32_t*>(std::calloc(kOwnerPageSize, sizeof(int32_t)));
    if (entries == nullptr) return false;
  }
  entries[id & (kOwnerPageSize - 1)] = value;
  return true;
}

bool addUse(PolygonIndex* index, int32_t pointSlot, int32_t polygon) {
  if (pointSlot >= index->firstUse.count &&
      !index->firstUse.growTo(pointSlot + 1, 0))
    return false;
  int32_t use = index->freeUses;
  if (use != 0) {
    index->freeUses = index->uses.items[use - 1].next;
  } else {
    if (!index->uses.push({0, 0})) return false;
    use = index->uses.count;
  }
  index->uses.items[use - 1] = {polygon, index->firstUse.items[pointSlot]};
  index->firstUse.items[pointSlot] = use;
  return true;
}

void freeUse(PolygonIndex* index, int32_t use) {
  index->uses.items[use - 1] = {0, index->freeUses};
  index->freeUses = use;
}

void removeUse(PolygonIndex* index, int32_t pointSlot, int32_t polygon) {
  if (pointSlot < 0 || pointSlot >= index->firstUse.count) return;
  for (int32_t* link = &index->firstUse.items[pointSlot]; *link != 0;
       link = &index->uses.items[*link - 1].next) {
    const int32_t use = *link;
    if (index->uses.items[use - 1].polygon != polygon) continue;
    *link = index->uses.items[use - 1].next;
    freeUse(index, use);
    return;
  }
}

LayerBox* boxOf(PolygonIndex* index, int32_t layerSlot) {
  if (layerSlot < 0) return nullptr;
  if (layerSlot >= index->boxes.count &&
      !index->boxes.growTo(layerSlot + 1, LayerBox{{0, 0, 0, 0, 0, 0}, kBoxEmpty}))
    return nullptr;
  return &index->boxes.items[layerSlot];
}

// A corner joins the box. The recompute keeps the first of equal values in
// slot order; equal values differ only as 0 and -0, so such a tie is left
// to the recompute, unless the corner comes last in slot order anyway.
void boxTakes(LayerBox* box, const float v[3], bool last) {
  if (box == nullptr || box->state == kBoxUnknown) return;
  if (std::isnan(v[0]) || std::isnan(v[1]) || std::isnan(v[2])) {
    box->state = kBoxUnknown;
    return;
  }
  float* b = box->bounds;
  if (box->state == kBoxEmpty) {
    for (int k = 0; k < 3; ++k) b[k] = b[k + 3] = v[k];
    box->state = kBoxKnown;
    return;
  }
  for (int k = 0; k < 3; ++k) {
    for (int side = 0; side < 2; ++side) {
      float& edge = b[k + 3 * side];
      const bool beyond = side == 0 ? v[k] < edge : v[k] > edge;
      if (beyond) {
        edge = v[k];
      } else if (!last && v[k] == edge && std::signbit(v[k]) != std::signbit(edge)) {
        box->state = kBoxUnknown;
        return;
      }
    }
  }
}

// A corner leaves the box: it stays what it was only when the corner lay
// strictly inside.
void boxLoses(LayerBox* box, const float v[3]) {
  if (box == nullptr || box->state == kBoxUnknown) return;
  const float* b = box->bounds;
  bool inside = box->state == kBoxKnown;
  for (int k = 0; k < 3 && inside; ++k) inside = v[k] > b[k] && v[k] < b[k + 3];
  if (!inside) box->state = kBoxUnknown;
}

// A corner moves: where it lay on an edge of the box, the edge holds only
// if it stays there bit for bit or goes further out.
void boxMoves(LayerBox* box, const float from[3], const float to[3]) {
  if (box == nullptr || box->state == kBoxUnknown) return;
  if (box->state == kBoxEmpty) {
    box->state = kBoxUnknown;
    return;
  }
  const float* b = box->bounds;
  for (int k = 0; k < 3; ++k) {
    const bool stays = std::memcmp(&from[k], &to[k], sizeof(float)) == 0;
    if ((from[k] == b[k] && !stays && !(to[k] < from[k])) ||
        (from[k] == b[k + 3] && !stays && !(to[k] > from[k]))) {
      box->state = kBoxUnknown;
      return;
    }
  }
  boxTakes(box, to, false);
}

void cornersJoin(LayerBox* box, const Model* model, const int32_t* points,
                 int32_t count, bool last) {
  for (int32_t i = 0; i < count; ++i) {
    const Point* p = findPoint(model, points[i]);
    if (p == nullptr) continue;
    const float v[3] = {p->x, p->y, p->z};
    boxTakes(box, v, last);
  }
}

void cornersLeave(LayerBox* box, const Model* model, const int32_t* points,
                  int32_t count) {
  for (int32_t i = 0; i < count; ++i) {
    const Point* p = findPoint(model, points[i]);
    if (p == nullptr) continue;
    const float v[3] = {p->x, p->y, p->z};
    boxLoses(box, v);
  }
}

// `last`: the polygon comes after every triangle already in the box.
bool indexPolygon(PolygonIndex* index, const Model* model, int32_t layerSlot,
                  int32_t id, bool line, const int32_t* points, int32_t count,
                  bool last) {
  if (!setOwner(index, id, layerSlot + 1)) return false;
  const int32_t polygon = line ? -id : id;
  for (int32_t i = 0; i < count; ++i) {
    const int32_t slot = tablePosition(&model->points, points[i], false);
    if (slot >= 0 && !addUse(index, slot, polygon)) return false;
  }
  if (!line) {
    LayerBox* box = boxOf(index, layerSlot);
    if (box == nullptr) return false;
    cornersJoin(box, model, points, count, last);
  }
  return true;
}

template <class Polygon>
bool indexTable(PolygonIndex* index, const Model* model, int32_t layerSlot,
                const KeyedTable* table, bool line) {
  for (int32_t s = tableNextSlot(table, -1); s >= 0; s = tableNextSlot(table, s)) {
    const Polygon* p = tableAt<Polygon>(table, s);
    // In slot order: each comes after those before it.
    if (!indexPolygon(index, model, layerSlot, p->id, line, polygonPoints(p), p->count, true))
      return false;
  }
  return true;
}

template <class Polygon>
void unindexTable(PolygonIndex* index, const Model* model, const KeyedTable* table,
                  bool line) {
  for (int32_t s = tableNextSlot(table, -1); s >= 0; s = tableNextSlot(table, s)) {
    const Polygon* p = tableAt<Polygon>(table, s);
    polygonIndexRemove(index, model, p->id, line, polygonPoints(p), p->count);
  }
}

}  // namespace

PolygonIndex::~PolygonIndex() {
  for (int32_t i = 0; i < owners.count; ++i) std::free(owners.items[i]);
}

bool polygonIndexBuild(PolygonIndex* index, const Model* model) {
  int64_t corners = 0;
  for (int32_t l = tableNextSlot(&model->layers, -1); l >= 0;
       l = tableNextSlot(&model->layers, l)) {
    const Layer* layer = tableAt<Layer>(&model->layers, l);
    tableForEach<const Triangle>(&layer->triangles,
                                 [&](const Triangle* t, int32_t) { corners += t->count; });
    tableForEach<const Line>(&layer->lines,
                             [&](const Line* t, int32_t) { corners += t->count; });
  }
  if (corners > INT32_MAX || !index->uses.reserve(static_cast<int32_t>(corners)) ||
      !index->firstUse.growTo(model->points.capacity, 0) ||
      !index->boxes.growTo(model->layers.capacity, LayerBox{{0, 0, 0, 0, 0, 0}, kBoxEmpty}))
    return false;
  for (int32_t l = tableNextSlot(&model->layers, -1); l >= 0;
       l = tableNextSlot(&model->layers, l)) {
    const Layer* layer = tableAt<Layer>(&model->layers, l);
    if (!indexTable<Triangle>(index, model, l, &layer->triangles, false) ||
        !indexTable<Line>(index, model, l, &layer->lines, true))
      return false;
  }
  return true;
}


bool polygonIndexAdd(PolygonIndex* index, const Model* model, int32_t layerSlot,
                     int32_t id, bool line, const int32_t* points, int32_t count) {
  // A polygon in the last slot in use comes after every other one.
  const Layer* layer = tableAt<Layer>(&model->layers, layerSlot);
  const KeyedTable* table = line ? &layer->lines : &layer->triangles;
  const bool last = tablePosition(table, id, false) == table->highWater - 1;
  return indexPolygon(index, model, layerSlot, id, line, points, count, last);
}

void polygonIndexRemove(PolygonIndex* index, const Model* model, int32_t id,
                        bool line, const int32_t* points, int32_t count) {
  const int32_t layerSlot = polygonOwner(index, id);
  setOwner(index, id, 0);
  const int32_t polygon = line ? -id : id;
  for (int32_t i = 0; i < count; ++i)
    removeUse(index, tablePosition(&model->points, points[i], false), polygon);
  if (!line) cornersLeave(boxOf(index, layerSlot), model, points, count);
}

void polygonIndexMove(PolygonIndex* index, const Model* model, int32_t id,
                      bool line, const int32_t* points, int32_t count,
                      int32_t toSlot) {
  const int32_t fromSlot = polygonOwner(index, id);
  setOwner(index, id, toSlot + 1);  // the page exists: the id had an owner
  if (line) return;
  cornersLeave(boxOf(index, fromSlot), model, points, count);
  cornersJoin(boxOf(index, toSlot), model, points, count, false);
}

void polygonIndexPointMoved(PolygonIndex* index, const Model* model,
                            int32_t pointSlot, const float from[3]) {
  const Point* p = tableAt<Point>(&model->points, pointSlot);
  const float to[3] = {p->x, p->y, p->z};
  forEachUse(index, pointSlot, [&](int32_t polygon) {
    if (polygon < 0) return;  // lines have no part in the bounds
    boxMoves(boxOf(index, polygonOwner(index, polygon)), from, to);
  });
}

void polygonIndexPointRemoved(PolygonIndex* index, int32_t pointSlot) {
  if (pointSlot < 0 || pointSlot >= index->firstUse.count) return;
  int32_t use = index->firstUse.items[pointSlot];
  index->firstUse.items[pointSlot] = 0;
  while (use != 0) {
    const int32_t next = index->uses.items[use - 1].next;
    freeUse(index, use);
    use = next;
  }
}

bool polygonIndexLayerAdded(PolygonIndex* index, int32_t layerSlot) {
  LayerBox* box = boxOf(index, layerSlot);
  if (box == nullptr) return false;
  *box = LayerBox{{0, 0, 0, 0, 0, 0}, kBoxEmpty};
  return true;
}

void polygonIndexLayerRemoving(PolygonIndex* index, const Model* model,
                               int32_t layerSlot) {
  const Layer* layer = tableAt<Layer>(&model->layers, layerSlot);
  unindexTable<Triangle>(index, model, &layer->triangles, false);
  unindexTable<Line>(index, model, &layer->lines, true);
  polygonIndexLayerAdded(index, layerSlot);
}

bool polygonIndexPointsGrew(PolygonIndex* index, const KeyedTable* points) {
  return index->firstUse.growTo(points->capacity, 0);
}

int32_t polygonOwner(const PolygonIndex* index, int32_t id) {
  if (id <= 0) return -1;
  const int32_t page = id >> kOwnerPageBits;
  if (page >= index->owners.count || index->owners.items[page] == nullptr) return -1;
  return index->owners.items[page][id & (kOwnerPageSize - 1)] - 1;
}

bool layerBoxBounds(const PolygonIndex* index, int32_t layerSlot, float out[6]) {
  if (layerSlot < 0 || layerSlot >= index->boxes.count) return false;
  const LayerBox& box = index->boxes.items[layerSlot];
  if (box.state == kBoxUnknown) return false;
  for (int i = 0; i < 6; ++i) out[i] = box.state == kBoxKnown ? box.bounds[i] : 0.0f;
  return true;
}

void layerBoxSet(PolygonIndex* index, int32_t layerSlot, const float bounds[6],
                 int32_t state) {
  LayerBox* box = boxOf(index, layerSlot);
  if (box == nullptr) return;
  for (int i = 0; i < 6; ++i) box->bounds[i] = bounds[i];
  box->state = state;
}

size_t polygonIndexBytes(const PolygonIndex* index) {
  size_t pages = 0;
  for (int32_t i = 0; i < index->owners.count; ++i)
    if (index->owners.items[i] != nullptr) ++pages;
  return index->firstUse.bytes() + index->uses.bytes() + index->owners.bytes() +
         pages * kOwnerPageSize * sizeof(int32_t) + index->boxes.bytes();
}
