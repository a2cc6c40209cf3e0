#include "model/point_moves.h"

#include <algorithm>

#include "model/document_index.h"
#include "model/geometry.h"

void recordPointMove(Model* model, int32_t slot) {
  PointMoves& moves = model->moves;
  if (moves.count < 0) return;
  if (moves.since == 0) {
    moves.since = model->revision;  // 0 (never touched) keeps nothing
    moves.count = 0;
    if (moves.since == 0) return;
  }
  for (int32_t i = 0; i < moves.count; ++i) {
    if (moves.slots[i] == slot) {
      moves.from[i] = model->revision;
      return;
    }
  }
  if (moves.count == kKeptPointMoves) {
    moves.count = -1;
    return;
  }
  moves.slots[moves.count] = slot;
  moves.from[moves.count] = model->revision;
  ++moves.count;
}

void touchModelMoved(Model* model) {
  PointMoves& moves = model->moves;
  if (moves.count < 0) {
    moves = PointMoves{};
  } else if (moves.since == 0) {
    moves.since = model->revision;  // only placements moved, no point
    moves.count = 0;
  }
  model->revision = nextRevision(model);
  // A wrapped counter no longer orders revisions.
  if (model->revision < moves.since) moves = PointMoves{};
}

bool pointsMovedSince(const Model* model, uint32_t revision,
                      IndexArray<int32_t>* slots) {
  const PointMoves& moves = model->moves;
  slots->count = 0;
  if (moves.since == 0 || moves.count < 0 || revision < moves.since ||
      revision > model->revision)
    return false;
  for (int32_t i = 0; i < moves.count; ++i)
    if (moves.from[i] >= revision && !slots->push(moves.slots[i])) return false;
  return true;
}

bool layerPolygonsOfPoint(const Model* model, const Layer* layer,
                          int32_t pointSlot, IndexArray<int32_t>* polygons,
                          bool* line) {
  polygons->count = 0;
  *line = false;
  const PolygonIndex* index = polygonsOf(model);
  if (index == nullptr) return false;
  const int32_t layerSlot = layerSlotOf(model, layer);
  const KeyedTable* triangles = &layer->triangles;
  bool ok = true;
  forEachUse(index, pointSlot, [&](int32_t id) {
    const bool isLine = id < 0;
    if (polygonOwner(index, isLine ? -id : id) != layerSlot) return;
    if (isLine) {
      *line = true;
      return;
    }
    const int32_t slot = tablePosition(triangles, id, false);
    ok = ok && slot >= 0 && polygons->push(slot);
  });
  std::sort(polygons->items, polygons->items + polygons->count);
  return ok;
}
