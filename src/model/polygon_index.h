// Indexes over the layers' polygons and lines: the ones that use each
// point, the layer that holds each id, and each layer's box over the
// corners of its triangles as they lie now. Caches of the tables;
// document_index.h decides when they are built and keeps them current.
// Internal to src/model.
#pragma once

#include <cstddef>
#include <cstdint>

#include "model/index_array.h"
#include "model/records.h"

// One corner: the polygon's id (negated for a line) and the next use of the
// same point + 1. A polygon naming a point twice has two uses of it.
struct PointUse {
  int32_t polygon;
  int32_t next;
};

// What a full recompute of the layer's bounds would give now: nothing
// (no triangles: zeros), the box, or not known without recomputing (a
// corner on the box moved or went, a NaN, or a tie of 0 and -0 whose
// winner depends on slot order).
enum BoxState : int32_t { kBoxEmpty = 0, kBoxKnown = 1, kBoxUnknown = 2 };

struct LayerBox {
  float bounds[6];  // min x y z, max x y z
  int32_t state;
};

struct PolygonIndex {
  IndexArray<int32_t> firstUse;   // point slot -> first use + 1, 0 = none
  IndexArray<PointUse> uses;
  int32_t freeUses = 0;           // first free use + 1, chained by next
  IndexArray<int32_t*> owners;    // id >> kOwnerPageBits -> page of layer slot + 1
  IndexArray<LayerBox> boxes;     // layer slot -> box
  PolygonIndex() = default;
  PolygonIndex(const PolygonIndex&) = delete;
  PolygonIndex& operator=(const PolygonIndex&) = delete;
  ~PolygonIndex();
};

constexpr int32_t kOwnerPageBits = 12;

// Each returns false when out of memory; the index must then be dropped.
bool polygonIndexBuild(PolygonIndex* index, const Model* model);
bool polygonIndexAdd(PolygonIndex* index, const Model* model, int32_t layerSlot,
                     int32_t id, bool line, const int32_t* points, int32_t count);
// Before the polygon leaves its layer.
void polygonIndexRemove(PolygonIndex* index, const Model* model, int32_t id,
                        bool line, const int32_t* points, int32_t count);
// The polygon went to the layer in `toSlot`, keeping its id.
void polygonIndexMove(PolygonIndex* index, const Model* model, int32_t id,
                      bool line, const int32_t* points, int32_t count,
                      int32_t toSlot);
// The point in `pointSlot` moved from `from` to its table position.
void polygonIndexPointMoved(PolygonIndex* index, const Model* model,
                            int32_t pointSlot, const float from[3]);
// The point in `pointSlot` leaves the table (its polygons went first).
void polygonIndexPointRemoved(PolygonIndex* index, int32_t pointSlot);
bool polygonIndexLayerAdded(PolygonIndex* index, int32_t layerSlot);
// Before the layer's records are released.
void polygonIndexLayerRemoving(PolygonIndex* index, const Model* model,
                               int32_t layerSlot);
// A point slot's table grew: later uses need room.
bool polygonIndexPointsGrew(PolygonIndex* index, const KeyedTable* points);

// The layer slot holding the id, or -1.
int32_t polygonOwner(const PolygonIndex* index, int32_t id);

// The bounds a full recompute would give (true), or false when unknown.
bool layerBoxBounds(const PolygonIndex* index, int32_t layerSlot, float out[6]);
// A recompute gave `bounds`; `state` as BoxState.
void layerBoxSet(PolygonIndex* index, int32_t layerSlot, const float bounds[6],
                 int32_t state);

// Calls visit(polygon) for each use of the point in `pointSlot` (ids of
// lines negated), most recent first.
template <class Visit>
void forEachUse(const PolygonIndex* index, int32_t pointSlot, Visit visit) {
  if (pointSlot < 0 || pointSlot >= index->firstUse.count) return;
  for (int32_t u = index->firstUse.items[pointSlot]; u != 0;
       u = index->uses.items[u - 1].next)
    visit(index->uses.items[u - 1].polygon);
}

size_t polygonIndexBytes(const PolygonIndex* index);
