#include "model/geometry.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "model/geometry_support.h"
#include "model/last_error.h"
#include "model/model.h"
#include "model/point_moves.h"

using namespace geometry_detail;

namespace {

// The model-level tables for "(global)", else the layer's; null when the
// layer is unknown (reported).
struct PointTables {
  KeyedTable* colours;
  KeyedTable* normals;
  KeyedTable* surface;
  Layer* layer;  // null at model level
};

bool resolveTables(Model* model, const char* name, PointTables* out) {
  if (isGlobalName(name)) {
    *out = {&model->colours, &model->normals, &model->surface, nullptr};
    return true;
  }
  Layer* layer = requireLayer(model, name);
  if (layer == nullptr) return false;
  *out = {&layer->colours, &layer->normals, &layer->surface, layer};
  return true;
}

void touchTables(Model* model, const PointTables& tables) {
  if (tables.layer != nullptr) {
    touchLayer(model, tables.layer);
  } else {
    touchModel(model);
  }
}

bool storeVector(Model* model, const char* layer, int32_t number, float x,
                 float y, float z, KeyedTable* PointTables::*which) {
  if (number < 1) {
    lastErrorReportf("point number must be 1 or more: %d", number);
    return false;
  }
  PointTables tables;
  if (!resolveTables(model, layer, &tables)) return false;
  VectorEntry* entry = insertOrReport<VectorEntry>(tables.*which, number);
  if (entry == nullptr) return false;
  if (tables.layer != nullptr) noteLayerListed(model, kEntryLayers, tables.layer);
  if (std::isnan(x) || std::isnan(y) || std::isnan(z)) {
    x = 0.0f;
    y = 0.0f;
    z = 1.0f;
  }
  entry->x = x;
  entry->y = y;
  entry->z = z;
  touchTables(model, tables);
  return true;
}

bool removeEntry(Model* model, const char* layer, int32_t point,
                 KeyedTable* PointTables::*which) {
  PointTables tables;
  if (!resolveTables(model, layer, &tables)) return false;
  // An absent entry is already gone.
  if (tableRemove(tables.*which, point)) touchTables(model, tables);
  return true;
}

}  // namespace

uint32_t nextRevision(Model* model) {
  // Zero means never touched; a wrapped counter skips it.
  if (++model->revisionCounter == 0) ++model->revisionCounter;
  return model->revisionCounter;
}

void layerColour(const Layer* layer, float rgb[3]) {
  const float* o = layer->origin;
  if (o[0] == 0.0f && o[1] == 0.0f && o[2] == 0.0f) {
    rgb[0] = rgb[1] = rgb[2] = 127.0f / 255.0f;
    return;
  }
  const bool bytes = o[0] > 1.0f || o[1] > 1.0f || o[2] > 1.0f;
  for (int i = 0; i < 3; ++i) rgb[i] = bytes ? o[i] * kByteScale : o[i];
}

Layer* findLayer(const Model* model, const char* name) {
  if (isGlobalName(name)) return nullptr;
  return tableFindT<Layer>(&model->layers, name);
}

Layer* addLayer(Model* model, const char* name, float originX, float originY,
                float originZ, int32_t singleSided, int32_t mirror,
                int32_t mirrorAxis) {
  lastErrorClear();
  // "(global)" and no name stand for the model-level tables.
  if (isGlobalName(name)) {
    lastErrorReportf("bad layer name: %s", name ? name : "");
    return nullptr;
  }
  if (!acceptName(name, "layer")) return nullptr;
  if (tableFind(&model->layers, name) != nullptr) {
    lastErrorReport("duplicate layer name not allowed");
    return nullptr;
  }
  Layer* layer = insertOrReport<Layer>(&model->layers, name);
  if (layer == nullptr) return nullptr;
  std::strcpy(layer->name, name);
  layer->origin[0] = originX;
  layer->origin[1] = originY;
  layer->origin[2] = originZ;
  layer->opacity = 1.0f;
  layer->singleSided = singleSided;
  layer->mirror = mirror;
  layer->mirrorAxis = mirrorAxis;
  layer->displayHandle = -1;
  initLayerTables(layer);
  touchLayer(model, layer);
  noteLayerAdded(model, layer);
  return layer;
}

bool deleteLayer(Model* model, const char* name) {
  flushDerived(model);
  Layer* layer = requireLayer(model, name);
  if (layer == nullptr) return false;
  noteLayerRemoving(model, layer);
  releaseLayer(layer);
  tableRemove(&model->layers, name);
  return true;
}

bool addPoint(Model* model, int32_t number, float x, float y, float z) {
  if (number < 1) {
    lastErrorReportf("point number must be 1 or more: %d", number);
    return false;
  }
  const Point* old = findPoint(model, number);
  const bool moved = old != nullptr;
  float from[3] = {0.0f, 0.0f, 0.0f};
  if (moved) {
    from[0] = old->x;
    from[1] = old->y;
    from[2] = old->z;
    flushDerived(model);
  }
  const bool first = tableCount(&model->points) == 0;
  Point* point = insertOrReport<Point>(&model->points, number);
  if (point == nullptr) return false;
  point->x = x;
  point->y = y;
  point->z = z;
  point->flags = 0;
  if (moved) {
    notePointMoved(model, number, from);
    touchModelMoved(model);
  } else {
    notePointAdded(model, number);
    touchModel(model);
  }
  takeIntoModelBounds(model, x, y, z, first);
  return true;
}

bool addNewPoints(Model* model, int32_t firstNumber, int32_t n, const float* xyz) {
  if (n < 1) return true;
  const bool first = tableCount(&model->points) == 0;
  auto* run = firstNumber >= 1
                  ? static_cast<Point*>(tableAppendRun(&model->points, firstNumber, n))
                  : nullptr;
  if (run == nullptr) {
    for (int32_t i = 0; i < n; ++i)
      if (!addPoint(model, firstNumber + i, xyz[3 * i], xyz[3 * i + 1], xyz[3 * i + 2]))
        return false;
    return true;
  }
  for (int32_t i = 0; i < n; ++i) {
    const float* p = xyz + 3 * static_cast<size_t>(i);
    run[i] = Point{p[0], p[1], p[2], 0};
  }
  // The model's bounds grow as by addPoint's, point after point.
  float bounds[6] = {model->boundsMin[0], model->boundsMin[1], model->boundsMin[2],
                     model->boundsMax[0], model->boundsMax[1], model->boundsMax[2]};
  foldEach(bounds, static_cast<size_t>(n), first, [&](size_t i, float v[3]) {
    v[0] = xyz[3 * i], v[1] = xyz[3 * i + 1], v[2] = xyz[3 * i + 2];
  });
  for (int k = 0; k < 3; ++k) {
    model->boundsMin[k] = bounds[k];
    model->boundsMax[k] = bounds[k + 3];
  }
  notePointsAdded(model, firstNumber, n);
  touchModel(model);
  return true;
}

Point* findPoint(const Model* model, int32_t number) {
  return tableFindT<Point>(&model->points, number);
}

int32_t findPointAt(const Model* model, float x, float y, float z) {
  if (const PositionIndex* index = positionsOf(model)) {
    const int32_t slot = positionIndexFind(index, &model->points, x, y, z);
    return slot >= 0 ? tableIntKeyAt(&model->points, slot) : 0;
  }
  for (int32_t s = tableNextSlot(&model->points, -1); s >= 0;
       s = tableNextSlot(&model->points, s)) {
    const Point* p = tableAt<Point>(&model->points, s);
    if (p->x == x && p->y == y && p->z == z)
      return tableIntKeyAt(&model->points, s);
  }
  return 0;
}

bool deletePoint(Model* model, int32_t number) {
  // Deleting what is not there is no error worth a message.
  if (findPoint(model, number) == nullptr) return false;
  flushDerived(model);
  // Through the index, the polygons go first, while the point still is.
  IndexArray<int32_t> emptied;
  PolygonIndex* index = polygonsOf(model);
  if (index != nullptr && !removePolygonsOfPoint(model, index, number, &emptied))
    index = nullptr;
  notePointRemoving(model, number);
  tableRemove(&model->points, number);
  touchModel(model);
  // The layers that lost a polygon or may hold an entry, when the model
  // knows them, in slot order; else every layer.
  IndexArray<int32_t> listed, visit, kept;
  const bool known = index != nullptr && takeListedLayers(model, kEntryLayers, &listed) &&
                     visit.reserve(listed.count + emptied.count);
  if (known) {
    visit.count = static_cast<int32_t>(
        std::set_union(listed.items, listed.items + listed.count, emptied.items,
                       emptied.items + emptied.count, visit.items) -
        visit.items);
  }
  bool complete = true;
  auto clean = [&](int32_t s) {
    Layer* layer = tableAt<Layer>(&model->layers, s);
    const bool lostPolygons =
        index != nullptr ? std::binary_search(emptied.items, emptied.items + emptied.count, s)
                         : removePolygonsUsingPoint(model, layer, number);
    // Bitwise or: every table is cleaned whatever the others held.
    const bool changed =
        tableRemove(&layer->colours, number) |
        tableRemove(&layer->normals, number) |
        tableRemove(&layer->surface, number) | lostPolygons;
    if (changed) touchLayer(model, layer);
    if (tableCount(&layer->colours) + tableCount(&layer->normals) +
            tableCount(&layer->surface) > 0)
      complete = kept.push(s) && complete;
  };
  if (known) {
    for (int32_t i = 0; i < visit.count; ++i) {
      const int32_t s = visit.items[i];
      if (tableNextSlot(&model->layers, s - 1) == s) clean(s);  // not deleted
    }
  } else {
    for (int32_t s = tableNextSlot(&model->layers, -1); s >= 0;
         s = tableNextSlot(&model->layers, s))
      clean(s);
  }
  listedLayersAre(model, kEntryLayers, &kept, complete);
  return true;
}

int32_t highestPointNumber(const Model* model) {
  if (NumberHeap* heap = numbersOf(model)) return numberHeapTop(heap, &model->points);
  int32_t highest = 0;
  for (int32_t s = tableNextSlot(&model->points, -1); s >= 0;
       s = tableNextSlot(&model->points, s)) {
    const int32_t key = tableIntKeyAt(&model->points, s);
    if (key > highest) highest = key;
  }
  return highest;
}

bool addNormal(Model* model, const char* layer, int32_t number, float x,
               float y, float z) {
  return storeVector(model, layer, number, x, y, z, &PointTables::normals);
}

bool addSurface(Model* model, const char* layer, int32_t number, float x,
                float y, float z) {
  return storeVector(model, layer, number, x, y, z, &PointTables::surface);
}

bool addColour(Model* model, const char* layer, int32_t point, float red,
               float green, float blue, float alpha) {
  PointTables tables;
  if (!resolveTables(model, layer, &tables)) return false;
  if (findPoint(model, point) == nullptr) {
    lastErrorReport("colour defined for an undefined point");
    return false;
  }
  Colour* colour = insertOrReport<Colour>(tables.colours, point);
  if (colour == nullptr) return false;
  if (tables.layer != nullptr) noteLayerListed(model, kEntryLayers, tables.layer);
  colour->r = red > 1.0f ? 1.0f : red;
  colour->g = green > 1.0f ? 1.0f : green;
  colour->b = blue > 1.0f ? 1.0f : blue;
  colour->a = alpha > 1.0f ? 1.0f : alpha;
  touchTables(model, tables);
  if (!(alpha < 1.0f)) return true;
  if (tables.layer != nullptr) {
    tables.layer->transparent = 1;
    return true;
  }
  IndexArray<int32_t> users;
  if (layersUsingPoint(model, point, &users)) {
    for (int32_t i = 0; i < users.count; ++i) {
      Layer* each = tableAt<Layer>(&model->layers, users.items[i]);
      if (each->transparent) continue;
      each->transparent = 1;
      touchLayer(model, each);
    }
    return true;
  }
  for (int32_t s = tableNextSlot(&model->layers, -1); s >= 0;
       s = tableNextSlot(&model->layers, s)) {
    Layer* each = tableAt<Layer>(&model->layers, s);
    if (!each->transparent && layerUsesPoint(each, point)) {
      each->transparent = 1;
      touchLayer(model, each);
    }
  }
  return true;
}

bool deleteColour(Model* model, const char* layer, int32_t point) {
  return removeEntry(model, layer, point, &PointTables::colours);
}

bool deleteNormal(Model* model, const char* layer, int32_t point) {
  return removeEntry(model, layer, point, &PointTables::normals);
}

bool deleteSurface(Model* model, const char* layer, int32_t point) {
  return removeEntry(model, layer, point, &PointTables::surface);
}

