// The pieces a layer's vertices are made of, shared by the full build
// (layer_cache.cpp) and the rewrite after moves (layer_patch.cpp), so that
// both give the same bytes. Internal to the view.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "model/geometry.h"
#include "view/layer_cache.h"

namespace layer_parts {

struct Corner {
  int32_t number;
  int32_t slot;
  float position[3];
};

struct LayerSources {
  const Model* model;
  const Layer* layer;
  const KeyedTable* layerColours;  // null when empty: skips the lookup
  const KeyedTable* modelColours;
  const KeyedTable* layerNormals;
  const KeyedTable* modelNormals;
  uint8_t fallback[4];
  float opacity;
  const uint8_t* selection;  // r g b of selected polygons and lines
};

LayerSources layerSources(const Model* model, const Layer* layer,
                          const uint8_t selection[3]);
// Looks up every point of a polygon (`positions`: posed, or null for the
// stored ones); false when one is missing.
bool resolveCorners(const Model* model, const float* positions,
                    const int32_t* points, int32_t count, Corner* out);
// The sum of the strip triangles' cross products: twice the area long.
void stripNormal(const Corner* corners, int32_t count, float n[3]);
// A degenerate normal points along z.
void normalise(float v[3]);
bool storedNormal(const LayerSources& s, int32_t number, float out[3]);
void cornerColour(const LayerSources& s, int32_t number, uint8_t out[4]);

// Automatic normals smooth over whatever the tables hold.
inline NormalMode effectiveMode(const Layer* layer, NormalMode mode,
                                bool* automatic) {
  *automatic = layer->autoNormals != 0 && mode != kNormalsFaceOnly;
  return *automatic ? kNormalsStoredElseSmooth : mode;
}

// The normal of every corner; smooth(i, out) gives the smoothed one of
// corner i and says whether it is already of unit length. `faceUnit`, when
// not null, is the polygon's unit normal as stripNormal and normalise give
// it (the smoothing pass made it already).
template <class Smooth>
void polygonNormals(const LayerSources& src, const Corner* corners,
                    int32_t count, NormalMode mode, bool automatic,
                    Smooth smooth, float (*normals)[3],
                    const float* faceUnit = nullptr) {
  float face[3];
  if (faceUnit != nullptr) {
    std::memcpy(face, faceUnit, sizeof face);
  } else {
    stripNormal(corners, count, face);
    normalise(face);
  }
  for (int32_t i = 0; i < count; ++i) {
    float* n = normals[i];
    if (mode == kNormalsFaceOnly || automatic ||
        !storedNormal(src, corners[i].number, n)) {
      if (mode == kNormalsStoredElseSmooth) {
        if (!smooth(i, n)) normalise(n);
      } else {
        std::memcpy(n, face, sizeof face);
      }
    }
  }
}

// Appends the polygon's triangles and, when `normalLength` is above 0, its
// normal lines; true when it is selected.
bool emitPolygon(const LayerSources& src, const Triangle* t,
                 const Corner* corners, const float (*normals)[3],
                 float normalLength, std::vector<DrawVertex>* triangles,
                 std::vector<DrawVertex>* normalLines);

}  // namespace layer_parts
