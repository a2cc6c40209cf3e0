// The vertices around moved points, rewritten where they lie instead of
// building the layer again: a one-point edit of a big mesh then costs the
// few polygons it changed.
#include <algorithm>
#include <cstddef>
#include <unordered_map>

#include "model/point_moves.h"
#include "view/layer_cache.h"
#include "view/layer_parts.h"

using namespace layer_parts;

namespace {

// Whether the slot holds a polygon the build drew (and smoothed over).
bool drawn(const std::vector<PolygonPlace>& places, int32_t slot) {
  return slot >= 0 && static_cast<size_t>(slot) < places.size() &&
         places[static_cast<size_t>(slot)].triangles >= 0;
}

// Appends the drawn polygons of the layer at the point, once per corner
// naming it, in slot order as the smoothing sums them; false when the
// uses are not known, or with `noLine` when a line uses the point.
bool addUses(const Model* model, const Layer* layer,
             const std::vector<PolygonPlace>& places, int32_t pointSlot,
             bool noLine, IndexArray<int32_t>* uses, IndexArray<int32_t>* to) {
  bool line = false;
  if (!layerPolygonsOfPoint(model, layer, pointSlot, uses, &line) ||
      (noLine && line))
    return false;
  for (int32_t i = 0; i < uses->count; ++i)
    if (drawn(places, uses->items[i]) && !to->push(uses->items[i])) return false;
  return true;
}

// A face's normal (twice its area long) and unit normal, as the full
// build's smoothing computes them; made once per patch.
void faceNormals(const Model* model, const Layer* layer, int32_t slot,
                 LayerPatch* out, float n[6]) {
  auto found = out->faces.find(slot);
  if (found != out->faces.end()) {
    std::copy_n(&out->faceNormals[found->second], 6, n);
    return;
  }
  const Triangle* t = tableAt<Triangle>(&layer->triangles, slot);
  Corner corners[kMaxPolygonPoints];
  std::fill_n(n, 6, 0.0f);
  if (resolveCorners(model, nullptr, polygonPoints(t), t->count, corners)) {
    stripNormal(corners, t->count, n);
    std::copy_n(n, 3, n + 3);
    normalise(n + 3);
  }
  out->faces.emplace(slot, out->faceNormals.size());
  out->faceNormals.insert(out->faceNormals.end(), n, n + 6);
}

void addRun(VertexPatch* patch, int32_t first, size_t before) {
  const int32_t count = static_cast<int32_t>(patch->vertices.size() - before);
  if (!patch->runs.empty()) {
    PatchRun& last = patch->runs.back();
    if (last.first + last.count == first) {
      last.count += count;
      return;
    }
  }
  patch->runs.push_back({first, count});
}

}  // namespace

bool patchLayerVertices(const Model* model, const Layer* layer,
                        NormalMode mode, float normalLength,
                        const uint8_t selection[3],
                        const std::vector<PolygonPlace>& places,
                        const int32_t* moved, int32_t movedCount,
                        LayerPatch* out) {
  for (VertexPatch* p : {&out->triangles, &out->normalLines}) {
    p->runs.clear();
    p->vertices.clear();
  }
  out->faces.clear();
  out->faceNormals.clear();
  out->changed.count = 0;
  out->ring.count = 0;
  out->patched.count = 0;
  out->around.count = 0;
  bool automatic = false;
  mode = effectiveMode(layer, mode, &automatic);
  const bool smooth = mode == kNormalsStoredElseSmooth;

  // The polygons on a moved point change shape; with smoothing, so do the
  // normals at every point of theirs, and with them every polygon there.
  for (int32_t i = 0; i < movedCount; ++i)
    if (!addUses(model, layer, places, moved[i], true, &out->uses, &out->changed))
      return false;
  sortUnique(&out->changed);
  if (smooth) {
    for (int32_t i = 0; i < out->changed.count; ++i) {
      const Triangle* t = tableAt<Triangle>(&layer->triangles, out->changed.items[i]);
      for (int32_t c = 0; c < t->count; ++c)
        if (!out->ring.push(tablePosition(&model->points, polygonPoints(t)[c], false)))
          return false;
    }
    sortUnique(&out->ring);
    for (int32_t i = 0; i < out->ring.count; ++i)
      if (!addUses(model, layer, places, out->ring.items[i], false, &out->uses,
                   &out->patched))
        return false;
    sortUnique(&out->patched);
  } else {
    for (int32_t i = 0; i < out->changed.count; ++i)
      if (!out->patched.push(out->changed.items[i])) return false;
  }

  const LayerSources src = layerSources(model, layer, selection);
  Corner corners[kMaxPolygonPoints];
  float normals[kMaxPolygonPoints][3];
  for (int32_t i = 0; i < out->patched.count; ++i) {
    const int32_t slot = out->patched.items[i];
    const Triangle* t = tableAt<Triangle>(&layer->triangles, slot);
    if (!resolveCorners(model, nullptr, polygonPoints(t), t->count, corners))
      return false;  // drawn before, so a point went: not a pure move
    bool known = true;
    float own[6] = {};
    if (smooth) faceNormals(model, layer, slot, out, own);
    polygonNormals(src, corners, t->count, mode, automatic,
                   [&](int32_t c, float n[3]) {
                     n[0] = n[1] = n[2] = 0.0f;
                     out->around.count = 0;
                     known = known && addUses(model, layer, places, corners[c].slot, false,
                                              &out->uses, &out->around);
                     float g[6];
                     for (int32_t k = 0; k < out->around.count; ++k) {
                       faceNormals(model, layer, out->around.items[k], out, g);
                       addUncreased(own + 3, g + 3, g, n);
                     }
                     return false;
                   },
                   normals);
    if (!known) return false;
    const PolygonPlace& place = places[static_cast<size_t>(slot)];
    const size_t triangles = out->triangles.vertices.size();
    const size_t lines = out->normalLines.vertices.size();
    emitPolygon(src, t, corners, normals, normalLength, &out->triangles.vertices,
                &out->normalLines.vertices);
    addRun(&out->triangles, place.triangles, triangles);
    if (normalLength > 0.0f) addRun(&out->normalLines, place.normalLines, lines);
  }
  return true;
}
