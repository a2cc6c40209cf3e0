#include "model/geometry.h"

#include <cstring>

#include "model/geometry_support.h"
#include "model/last_error.h"
#include "model/model.h"

using namespace geometry_detail;

namespace {

// The reflected half of a mirroring layer is drawn too, so the reflections
// of the new polygons' points count for the model's extent.
void growMirroredBounds(Model* model, const Layer* layer, const int32_t* points,
                        int32_t count) {
  const int32_t axis = layer->mirrorAxis;
  if (!layer->mirror || axis < kAxisX || axis > kAxisZ) return;
  for (int32_t i = 0; i < count; ++i) {
    const Point* p = findPoint(model, points[i]);
    float r[3] = {p->x, p->y, p->z};
    r[axis - 1] = -r[axis - 1];
    growModelBounds(model, r[0], r[1], r[2]);
  }
}

// Shared by triangles and lines: both keep {id, count, kind, flags, points}.
template <class Polygon>
int32_t addPolygon(Model* model, Layer* layer, KeyedTable Layer::*table,
                   int32_t minCount, int32_t count, const int32_t* points,
                   int32_t kind, bool pointsKnown = false) {
  if (count < minCount || count > kMaxPolygonPoints || points == nullptr) {
    lastErrorReportf("bad point count: %d", count);
    return 0;
  }
  if (kind < 0 || kind > 4) {
    lastErrorReportf("bad polygon kind: %d", kind);
    return 0;
  }
  const Point* corners[kMaxPolygonPoints];
  for (int32_t i = 0; i < count && !pointsKnown; ++i) {
    corners[i] = findPoint(model, points[i]);
    if (corners[i] == nullptr) {
      lastErrorReportf("point not found: %d", points[i]);
      return 0;
    }
  }
  const uint32_t layerBefore = layer->revision, modelBefore = model->revision;
  // Made aside first: `points` may lie in a record of this very table,
  // which the insert can move.
  Polygon made = {};
  if (!storePolygonPoints(&made, count, points)) {
    lastErrorReport("out of memory");
    return 0;
  }
  const int32_t id = nextPolygonId();
  Polygon* polygon = tableInsertT<Polygon>(&(layer->*table), id);
  if (polygon == nullptr) {
    releasePolygonPoints(&made);
    lastErrorReport("out of memory");
    return 0;
  }
  made.id = id;
  made.kind = static_cast<int8_t>(kind);
  *polygon = made;

  growMirroredBounds(model, layer, polygonPoints(&made), count);
  notePolygonAdded(model, layer, id, isLine<Polygon>());
  markBoundsStale(model, layer);
  touchLayer(model, layer);
  // Triangles whose points were looked up carry the layer's bounds on.
  if (!isLine<Polygon>() && !pointsKnown)
    noteTrianglesAdded(model, layer, tableSlotOf(&(layer->*table), polygon), 1, corners, count,
                      layerBefore, modelBefore);
  return id;
}

template <class Polygon>
bool deletePolygon(Model* model, int32_t id) {
  flushDerived(model);
  Layer* layer = nullptr;
  Polygon* polygon = findPolygonById<Polygon>(model, id, &layer);
  if (polygon == nullptr) return false;
  removePolygon(model, layer, polygon);
  touchLayer(model, layer);
  return true;
}

// True when any was removed.
template <class Polygon>
bool removePolygonsUsing(Model* model, Layer* layer, int32_t number) {
  KeyedTable* table = polygonTableOf<Polygon>(layer);
  bool removed = false;
  for (int32_t s = tableNextSlot(table, -1); s >= 0; s = tableNextSlot(table, s)) {
    Polygon* polygon = tableAt<Polygon>(table, s);
    if (!usesPoint(polygonPoints(polygon), polygon->count, number)) continue;
    removePolygon(model, layer, polygon);
    removed = true;
  }
  return removed;
}

}  // namespace

namespace geometry_detail {

bool layerUsesPoint(const Layer* layer, int32_t number) {
  for (int32_t s = tableNextSlot(&layer->triangles, -1); s >= 0;
       s = tableNextSlot(&layer->triangles, s)) {
    const Triangle* t = tableAt<Triangle>(&layer->triangles, s);
    if (usesPoint(polygonPoints(t), t->count, number)) return true;
  }
  for (int32_t s = tableNextSlot(&layer->lines, -1); s >= 0;
       s = tableNextSlot(&layer->lines, s)) {
    const Line* l = tableAt<Line>(&layer->lines, s);
    if (usesPoint(polygonPoints(l), l->count, number)) return true;
  }
  return false;
}

bool removePolygonsOfPoint(Model* model, PolygonIndex* index, int32_t number,
                           IndexArray<int32_t>* layers) {
  IndexArray<int32_t> uses;
  bool ok = true;
  forEachUse(index, tablePosition(&model->points, number, false),
             [&](int32_t polygon) { ok = ok && uses.push(polygon); });
  if (!ok || !layers->reserve(uses.count)) return false;
  for (int32_t i = 0; i < uses.count; ++i) {
    const int32_t id = uses.items[i] < 0 ? -uses.items[i] : uses.items[i];
    const int32_t slot = polygonOwner(index, id);
    if (slot < 0) continue;  // named the point twice: gone already
    Layer* layer = tableAt<Layer>(&model->layers, slot);
    if (uses.items[i] < 0) {
      removePolygon(model, layer, tableFindT<Line>(&layer->lines, id));
    } else {
      removePolygon(model, layer, tableFindT<Triangle>(&layer->triangles, id));
    }
    layers->push(slot);
  }
  sortUnique(layers);
  return true;
}

bool layersUsingPoint(const Model* model, int32_t number, IndexArray<int32_t>* layers) {
  const PolygonIndex* index = polygonsOf(model);
  if (index == nullptr) return false;
  bool ok = true;
  forEachUse(index, tablePosition(&model->points, number, false), [&](int32_t polygon) {
    ok = ok && layers->push(polygonOwner(index, polygon < 0 ? -polygon : polygon));
  });
  sortUnique(layers);
  return ok;
}

bool removePolygonsUsingPoint(Model* model, Layer* layer, int32_t number) {
  // Bitwise or: both tables are cleaned whatever the first held.
  return removePolygonsUsing<Triangle>(model, layer, number) |
         removePolygonsUsing<Line>(model, layer, number);
}

}  // namespace geometry_detail

int32_t addTriangle(Model* model, const char* layerName, int32_t count,
                    const int32_t* points, int32_t kind) {
  Layer* layer = requireLayer(model, layerName);
  if (layer == nullptr) return 0;
  return addTriangleToLayer(model, layer, count, points, kind);
}

int32_t addLine(Model* model, const char* layerName, int32_t count,
                const int32_t* points, int32_t kind) {
  Layer* layer = requireLayer(model, layerName);
  if (layer == nullptr) return 0;
  return addLineToLayer(model, layer, count, points, kind);
}

int32_t addTriangleToLayer(Model* model, Layer* layer, int32_t count,
                           const int32_t* points, int32_t kind) {
  return addPolygon<Triangle>(model, layer, &Layer::triangles, 3, count, points,
                              kind);
}

int32_t addTriangleOfKnownPoints(Model* model, Layer* layer, const int32_t points[3]) {
  return addPolygon<Triangle>(model, layer, &Layer::triangles, 3, 3, points, 0, true);
}

namespace {

// Stores `n` triangles of three points each (corners three by three) and
// `kind` as one run at the end of the layer's table, with ids in turn:
// the first of them, or null, nothing changed, when the table cannot take
// them so. The points must be there.
Triangle* storeTriangleRun(Model* model, Layer* layer, int32_t n, const int32_t* corners,
                           int32_t kind) {
  const int32_t firstId = peekPolygonId();
  auto* run = static_cast<Triangle*>(tableAppendRun(&layer->triangles, firstId, n));
  if (run == nullptr) return nullptr;
  nextPolygonIds(n);
  for (int32_t i = 0; i < n; ++i) {
    Triangle* t = run + i;  // zero-filled: no flags
    t->id = firstId + i;
    t->count = 3;
    t->kind = static_cast<int8_t>(kind);
    std::memcpy(t->points, corners + 3 * i, 3 * sizeof(int32_t));
  }
  growMirroredBounds(model, layer, corners, 3 * n);
  notePolygonsAdded(model, layer, firstId, n);
  markBoundsStale(model, layer);
  touchLayer(model, layer);
  return run;
}

}  // namespace

int32_t addTrianglesOfKnownPoints(Model* model, Layer* layer, int32_t n,
                                  const int32_t* corners) {
  if (n < 1) return 0;
  if (const Triangle* run = storeTriangleRun(model, layer, n, corners, 0)) return run->id;
  int32_t first = 0;
  for (int32_t i = 0; i < n; ++i) {
    const int32_t id = addTriangleOfKnownPoints(model, layer, corners + 3 * i);
    if (id == 0) return 0;
    if (i == 0) first = id;
  }
  return first;
}

int32_t addTriangles(Model* model, Layer* layer, int32_t n, const int32_t* corners,
                     int32_t kind) {
  if (kind < 0 || kind > 4) return 0;
  constexpr int32_t kChunk = 1024;
  const Point* found[3 * kChunk];
  int32_t added = 0;
  while (added < n) {
    const int32_t* chunk = corners + 3 * static_cast<size_t>(added);
    const int32_t most = n - added < kChunk ? n - added : kChunk;
    int32_t whole = 0;  // triangles whose points are all there
    for (; whole < most; ++whole) {
      const int32_t* c = chunk + 3 * whole;
      const Point* a = findPoint(model, c[0]);
      const Point* b = findPoint(model, c[1]);
      const Point* d = findPoint(model, c[2]);
      if (a == nullptr || b == nullptr || d == nullptr) break;
      found[3 * whole] = a, found[3 * whole + 1] = b, found[3 * whole + 2] = d;
    }
    if (whole == 0) break;
    const uint32_t layerBefore = layer->revision, modelBefore = model->revision;
    if (const Triangle* run = storeTriangleRun(model, layer, whole, chunk, kind)) {
      // They carry the layer's bounds on, as one by one they would.
      noteTrianglesAdded(model, layer, tableSlotOf(&layer->triangles, run), whole, found,
                         3 * whole, layerBefore, modelBefore);
    } else {
      for (int32_t i = 0; i < whole; ++i)
        if (addTriangleToLayer(model, layer, 3, chunk + 3 * i, kind) == 0) return added + i;
    }
    added += whole;
    if (whole < most) break;
  }
  return added;
}

int32_t addLineToLayer(Model* model, Layer* layer, int32_t count,
                       const int32_t* points, int32_t kind) {
  return addPolygon<Line>(model, layer, &Layer::lines, 2, count, points, kind);
}

bool deleteTriangle(Model* model, int32_t id) {
  if (deletePolygon<Triangle>(model, id)) return true;
  lastErrorReportf("triangle not found: %d", id);
  return false;
}

bool deleteLine(Model* model, int32_t id) {
  if (deletePolygon<Line>(model, id)) return true;
  lastErrorReportf("line not found: %d", id);
  return false;
}

