// Helpers shared by the files that implement geometry.h; not for callers
// outside the model folder.
#pragma once

#include <cstdint>
#include <type_traits>

#include "model/document_index.h"
#include "model/geometry.h"
#include "model/keyed_table.h"
#include "model/last_error.h"
#include "model/model.h"
#include "model/records.h"

namespace geometry_detail {

// No name, "" and "(global)" stand for the model-level tables.
bool isGlobalName(const char* name);
bool fitsName(const char* text);
// A name the model file can carry as one word and read back: not empty, no
// blank (space, tab, CR, VT, FF) or line feed, no leading "#" (a comment).
// Names that are not are refused where they enter, so that every file the
// writer produces reads back.
bool savableName(const char* text);
// Both checks, with the reason on refusal: "<what> name too long" or
// "bad <what> name: <text>" ("layer", "joint", "image file", ...).
bool acceptName(const char* text, const char* what);
// The named layer, or null with the reason reported.
Layer* requireLayer(const Model* model, const char* name);
// The layer's image `number`, or null with the reason reported.
Image* requireImage(Model* model, const char* layerName, int32_t number);

void growModelBounds(Model* model, float x, float y, float z);
// A point into the model's bounds as adding it leaves them: the first
// point of an empty model sets them, whatever they were.
void takeIntoModelBounds(Model* model, float x, float y, float z, bool first);

// Find-or-add of a keyed record; null with "out of memory" as the reason.
template <class T, class Key>
T* insertOrReport(KeyedTable* table, Key key) {
  T* record = tableInsertT<T>(table, key);
  if (record == nullptr) lastErrorReport("out of memory");
  return record;
}

inline bool usesPoint(const int32_t* points, int32_t count, int32_t number) {
  for (int32_t i = 0; i < count; ++i)
    if (points[i] == number) return true;
  return false;
}

template <class Polygon>
constexpr bool isLine() {
  return std::is_same<Polygon, Line>::value;
}

template <class Polygon>
KeyedTable* polygonTableOf(Layer* layer) {
  if constexpr (isLine<Polygon>()) {
    return &layer->lines;
  } else {
    return &layer->triangles;
  }
}

// The polygon (or line) with the id and the layer holding it, or null:
// through the polygon index, else the first layer in slot order that has
// it.
template <class Polygon>
Polygon* findPolygonById(const Model* model, int32_t id, Layer** owner) {
  if (const PolygonIndex* index = polygonsOf(model)) {
    const int32_t slot = polygonOwner(index, id);
    if (slot < 0) return nullptr;
    Layer* layer = tableAt<Layer>(&model->layers, slot);
    Polygon* polygon = tableFindT<Polygon>(polygonTableOf<Polygon>(layer), id);
    if (polygon != nullptr) *owner = layer;
    return polygon;
  }
  for (int32_t s = tableNextSlot(&model->layers, -1); s >= 0;
       s = tableNextSlot(&model->layers, s)) {
    Layer* layer = tableAt<Layer>(&model->layers, s);
    Polygon* polygon = tableFindT<Polygon>(polygonTableOf<Polygon>(layer), id);
    if (polygon == nullptr) continue;
    *owner = layer;
    return polygon;
  }
  return nullptr;
}

// Takes the polygon (or line) out of its layer, its point array freed; the
// caller touches the layer.
template <class Polygon>
void removePolygon(Model* model, Layer* layer, Polygon* polygon) {
  const int32_t id = polygon->id;
  notePolygonRemoving(model, id, isLine<Polygon>(), polygonPoints(polygon),
                      polygon->count);
  releasePolygonPoints(polygon);
  tableRemove(polygonTableOf<Polygon>(layer), id);
}

// Whether any polygon or line of the layer uses the point.
bool layerUsesPoint(const Layer* layer, int32_t number);
// Removes every polygon and line that uses the point, found through the
// index; `layers` gets the slots of the layers that lost one, in slot
// order. False (nothing removed) when out of memory.
bool removePolygonsOfPoint(Model* model, PolygonIndex* index, int32_t number,
                           IndexArray<int32_t>* layers);
// The slots of the layers with a polygon or line using the point, in slot
// order, through the index; false when it cannot be had.
bool layersUsingPoint(const Model* model, int32_t number, IndexArray<int32_t>* layers);
// Removes the layer's polygons and lines that use the point, scanning
// them; true when any went.
bool removePolygonsUsingPoint(Model* model, Layer* layer, int32_t number);

}  // namespace geometry_detail
