// Derived data: layer bounds and automatic uvees, recomputed when due
// (see geometry.h).
#include <cmath>
#include <cstring>

#include "model/document_index.h"
#include "model/geometry.h"
#include "model/geometry_support.h"

namespace {

// Calls visit(number, point) for every corner of the layer's triangles
// whose point exists, in slot order; stops when visit returns false.
template <class Visit>
void forEachTriangleCorner(const Model* model, const Layer* layer,
                           Visit visit) {
  for (int32_t s = tableNextSlot(&layer->triangles, -1); s >= 0;
       s = tableNextSlot(&layer->triangles, s)) {
    const Triangle* t = tableAt<Triangle>(&layer->triangles, s);
    for (int32_t i = 0; i < t->count; ++i) {
      const Point* p = findPoint(model, polygonPoints(t)[i]);
      if (p != nullptr && !visit(polygonPoints(t)[i], p)) return;
    }
  }
}

// Returns what the box index may keep of the result (a BoxState).
int32_t recomputeLayerBounds(const Model* model, Layer* layer) {
  bool first = true;
  bool nan = false;
  float* b = layer->bounds;
  for (int i = 0; i < 6; ++i) b[i] = 0.0f;
  forEachTriangleCorner(model, layer, [&](int32_t, const Point* p) {
    const float v[3] = {p->x, p->y, p->z};
    foldCorner(b, v, first);
    nan = nan || std::isnan(v[0]) || std::isnan(v[1]) || std::isnan(v[2]);
    first = false;
    return true;
  });
  return first ? kBoxEmpty : nan ? kBoxUnknown : kBoxKnown;
}

// The layer's bounds as a recompute gives them: from its box when the
// polygon index knows it, else from the fold the triangles' adds kept.
void refreshBounds(Model* model, Layer* layer) {
  const int32_t slot = layerSlotOf(model, layer);
  PolygonIndex* index = builtPolygons(model);
  const bool boxed = index != nullptr && layerBoxBounds(index, slot, layer->bounds);
  int32_t state = kBoxEmpty;
  bool folded = false;
  if (!boxed) {
    folded = runningBounds(model, layer, layer->bounds, &state);
    if (!folded) state = recomputeLayerBounds(model, layer);
    if (index != nullptr) layerBoxSet(index, slot, layer->bounds, state);
  }
  layer->boundsStale = 0;
  touchLayer(model, layer);
  // Later adds carry the fold on from here.
  if (!boxed) noteBoundsRecomputed(model, layer, state, folded);
}

// Which coordinate an image axis code reads and whether it runs from the
// far side: the y and z rows run opposite to x on purpose, as existing
// models were textured. False for a code that names no axis.
bool axisOfCode(int32_t code, int32_t* axis, bool* reversed) {
  switch (code) {
    case kAxisX: *axis = 0; *reversed = false; return true;
    case kAxisY: *axis = 1; *reversed = true; return true;
    case kAxisZ: *axis = 2; *reversed = true; return true;
    case kAxisMinusX: *axis = 0; *reversed = true; return true;
    case kAxisMinusY: *axis = 1; *reversed = false; return true;
    case kAxisMinusZ: *axis = 2; *reversed = false; return true;
    default: return false;
  }
}

// One texture coordinate by the image's axis code (0 for no axis).
float axisCoordinate(int32_t code, const Point* p, const float* bounds) {
  int32_t axis = 0;
  bool reversed = false;
  if (!axisOfCode(code, &axis, &reversed)) return 0.0f;
  const float at[3] = {p->x, p->y, p->z};
  const float t = (at[axis] - bounds[axis]) / (bounds[axis + 3] - bounds[axis]);
  return reversed ? 1.0f - t : t;
}

}  // namespace

bool automaticUveePlane(int32_t code, const float* bounds, float plane[4]) {
  int32_t axis = 0;
  bool reversed = false;
  plane[0] = plane[1] = plane[2] = plane[3] = 0.0f;
  if (!axisOfCode(code, &axis, &reversed)) return true;
  const float low = bounds[axis], extent = bounds[axis + 3] - low;
  const float scale = 1.0f / extent;
  if (!std::isfinite(low) || !std::isfinite(scale) || extent == 0.0f) return false;
  // t = (c - low) / extent, or 1 - that.
  plane[axis] = reversed ? -scale : scale;
  plane[3] = reversed ? 1.0f + low * scale : -low * scale;
  return true;
}

namespace {

void refillAutomaticUvees(const Model* model, const Layer* layer,
                          Image* image) {
  tableRelease(&image->uvees);
  forEachTriangleCorner(model, layer, [&](int32_t number, const Point* p) {
    Uvee* uvee = tableInsertT<Uvee>(&image->uvees, number);
    if (uvee == nullptr) return false;
    uvee->word = number;
    uvee->u = axisCoordinate(image->axisU, p, layer->bounds);
    uvee->v = axisCoordinate(image->axisV, p, layer->bounds);
    return true;
  });
}

// Refills the layer's images of automatic uvees when it has triangles;
// true when it has such an image at all.
bool refillLayer(Model* model, Layer* layer) {
  bool automatic = false;
  for (int32_t i = tableNextSlot(&layer->images, -1); i >= 0;
       i = tableNextSlot(&layer->images, i)) {
    Image* image = tableAt<Image>(&layer->images, i);
    if (image->hasUvees) continue;
    automatic = true;
    if (tableCount(&layer->triangles) > 0) refillAutomaticUvees(model, layer, image);
  }
  if (automatic && tableCount(&layer->triangles) > 0) touchLayer(model, layer);
  return automatic;
}

}  // namespace

void flushDerived(Model* model) {
  // In slot order either way, so that the layers are touched as before.
  IndexArray<int32_t> stale;
  if (takeStaleLayers(model, &stale)) {
    for (int32_t i = 0; i < stale.count; ++i) {
      const int32_t s = stale.items[i];
      if (tableNextSlot(&model->layers, s - 1) != s) continue;  // deleted
      Layer* layer = tableAt<Layer>(&model->layers, s);
      if (layer->boundsStale) refreshBounds(model, layer);
    }
  } else {
    for (int32_t s = tableNextSlot(&model->layers, -1); s >= 0;
         s = tableNextSlot(&model->layers, s)) {
      Layer* layer = tableAt<Layer>(&model->layers, s);
      if (layer->boundsStale) refreshBounds(model, layer);
    }
    staleLayersKnown(model);
  }
  if (!model->uveesStale) return;
  model->uveesStale = 0;
  // Only layers with an image of automatic uvees, when the model knows them.
  IndexArray<int32_t> listed, kept;
  bool complete = true;
  if (takeListedLayers(model, kAutoUveeLayers, &listed)) {
    for (int32_t i = 0; i < listed.count; ++i) {
      const int32_t s = listed.items[i];
      if (tableNextSlot(&model->layers, s - 1) != s) continue;  // deleted
      if (refillLayer(model, tableAt<Layer>(&model->layers, s)))
        complete = kept.push(s) && complete;
    }
  } else {
    for (int32_t s = tableNextSlot(&model->layers, -1); s >= 0;
         s = tableNextSlot(&model->layers, s)) {
      if (refillLayer(model, tableAt<Layer>(&model->layers, s)))
        complete = kept.push(s) && complete;
    }
  }
  listedLayersAre(model, kAutoUveeLayers, &kept, complete);
}


void markUveesStale(Model* model) { model->uveesStale = 1; }

void layerBoundsFound(Model* model, Layer* layer, const float bounds[6]) {
  if (!layer->boundsStale || builtPolygons(model) != nullptr) return;
  std::memcpy(layer->bounds, bounds, sizeof layer->bounds);
  layer->boundsStale = 0;
  touchLayer(model, layer);
}

const float* layerBounds(Model* model, Layer* layer) {
  flushDerived(model);
  return layer->bounds;
}

const Uvee* layerUvee(Model* model, Layer* layer, int32_t image, int32_t point) {
  flushDerived(model);
  const Image* found = tableFindT<Image>(&layer->images, image);
  return found ? tableFindT<Uvee>(&found->uvees, point) : nullptr;
}
