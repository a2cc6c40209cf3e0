// Helpers shared by the files that implement geometry.h; not for callers
// outside the model folder.
#pragma once

#include <cstdint>

#include "model/geometry.h"
#include "model/keyed_table.h"
#include "model/last_error.h"
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
// Whether any polygon or line of the layer uses the point.
bool layerUsesPoint(const Layer* layer, int32_t number);
// Removes the layer's polygons and lines that use the point; true when any
// went.
bool removePolygonsUsingPoint(Layer* layer, int32_t number);

}  // namespace geometry_detail
