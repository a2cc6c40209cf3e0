#include "view/layer_uvs.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "model/geometry.h"
#include "model/posing.h"
#include "model/transform.h"
#include "view/host_memory.h"
#include "view/layer_parts.h"

namespace {

// Calls visit(a, b, c) with the corners of every strip triangle, at
// `positions` (posed, or null for the stored ones), leaving out the
// polygons buildLayerVertices leaves out.
template <class Visit>
void forEachLayerTriangle(const Model* model, const Layer* layer,
                          const float* positions, Visit visit) {
  layer_parts::Corner corners[kMaxPolygonPoints];
  for (int32_t s = tableNextSlot(&layer->triangles, -1); s >= 0;
       s = tableNextSlot(&layer->triangles, s)) {
    const Triangle* t = tableAt<Triangle>(&layer->triangles, s);
    const int32_t count = t->count;
    if (count < 3 || count > kMaxPolygonPoints) continue;
    if (!layer_parts::resolveCorners(model, positions, polygonPoints(t), count, corners))
      continue;
    forEachStripIndex(count, [&](int32_t a, int32_t b, int32_t c) {
      visit(corners[a], corners[b], corners[c]);
    });
  }
}

void cross(const float a[3], const float b[3], float out[3]) {
  out[0] = a[1] * b[2] - a[2] * b[1];
  out[1] = a[2] * b[0] - a[0] * b[2];
  out[2] = a[0] * b[1] - a[1] * b[0];
}

// Any unit vector square to n (itself a unit vector).
void anySquareTo(const float n[3], float out[3]) {
  const float other[3] = {std::fabs(n[0]) < 0.9f ? 1.0f : 0.0f,
                          std::fabs(n[0]) < 0.9f ? 0.0f : 1.0f, 0.0f};
  cross(n, other, out);
  scaleToUnit(out);
}

// The tangent frame of one triangle from its corners and coordinates.
void triangleFrame(const float p[3][3], const float* uv, float frame[6]) {
  const float e1[3] = {p[1][0] - p[0][0], p[1][1] - p[0][1], p[1][2] - p[0][2]};
  const float e2[3] = {p[2][0] - p[0][0], p[2][1] - p[0][1], p[2][2] - p[0][2]};
  float n[3];
  cross(e1, e2, n);
  if (!scaleToUnit(n)) {
    n[0] = n[1] = 0.0f;
    n[2] = 1.0f;
  }
  float* t = frame;
  float* b = frame + 3;
  bool spanned = false;
  if (uv != nullptr) {
    const float du1 = uv[2] - uv[0], dv1 = uv[3] - uv[1];
    const float du2 = uv[4] - uv[0], dv2 = uv[5] - uv[1];
    const float det = du1 * dv2 - du2 * dv1;
    if (std::fabs(det) > 1e-12f) {
      for (int i = 0; i < 3; ++i) {
        t[i] = (e1[i] * dv2 - e2[i] * dv1) / det;
        b[i] = (e2[i] * du1 - e1[i] * du2) / det;
      }
      spanned = scaleToUnit(t) && scaleToUnit(b);
    }
  }
  if (!spanned) {
    anySquareTo(n, t);
    cross(n, t, b);
  }
}


// The image's uvees spread by point slot: the corners find their points
// anyway, and a slot is cheaper to follow than a second key lookup.
std::vector<float> uveesBySlot(const Model* model, const Image* image) {
  const KeyedTable* uvees = &image->uvees;
  std::vector<float> bySlot(2 * static_cast<size_t>(model->points.capacity), 0.0f);
  for (int32_t s = tableNextSlot(uvees, -1); s >= 0; s = tableNextSlot(uvees, s)) {
    const Point* p = tableFindT<Point>(&model->points, tableIntKeyAt(uvees, s));
    if (p == nullptr) continue;
    const Uvee* uvee = tableAt<Uvee>(uvees, s);
    const size_t slot = static_cast<size_t>(pointSlot(model, p));
    bySlot[2 * slot] = uvee->u;
    bySlot[2 * slot + 1] = uvee->v;
  }
  return bySlot;
}

// The coordinates of the placed polygons in slots [begin, end).
void writePlacedCoords(const Model* model, const Layer* layer,
                       const std::vector<float>& bySlot,
                       const std::vector<PolygonPlace>& places, int32_t begin,
                       int32_t end, float* to) {
  const KeyedTable* polygons = &layer->triangles;
  layer_parts::Corner corners[kMaxPolygonPoints];
  end = std::min(end, static_cast<int32_t>(places.size()));
  for (int32_t s = tableNextSlot(polygons, begin - 1); s >= 0 && s < end;
       s = tableNextSlot(polygons, s)) {
    if (places[static_cast<size_t>(s)].triangles < 0) continue;
    const Triangle* t = tableAt<Triangle>(polygons, s);
    if (!layer_parts::resolveCorners(model, nullptr, polygonPoints(t), t->count, corners))
      continue;
    float* out = to + 2 * static_cast<size_t>(places[static_cast<size_t>(s)].triangles);
    forEachStripIndex(t->count, [&](int32_t a, int32_t b, int32_t c) {
      for (int32_t k : {a, b, c}) {
        const size_t slot = static_cast<size_t>(corners[k].slot);
        *out++ = bySlot[2 * slot];
        *out++ = bySlot[2 * slot + 1];
      }
    });
  }
}

}  // namespace

void writeLayerTexCoords(const Model* model, const Layer* layer,
                         const Image* image,
                         const std::vector<PolygonPlace>& places, float* to) {
  const std::vector<float> bySlot = uveesBySlot(model, image);
  inTwoHalves(static_cast<int32_t>(places.size()), [&](int32_t begin, int32_t end) {
    writePlacedCoords(model, layer, bySlot, places, begin, end, to);
  });
}

void buildLayerTexCoords(const Model* model, const Layer* layer,
                         const Image* image, std::vector<float>* out) {
  out->clear();
  const std::vector<float> bySlot = uveesBySlot(model, image);
  reserveLarge(out, 6 * layerStripTriangles(layer));
  forEachLayerTriangle(model, layer, nullptr,
                       [&](const layer_parts::Corner& a, const layer_parts::Corner& b,
                           const layer_parts::Corner& c) {
                         for (const layer_parts::Corner* corner : {&a, &b, &c}) {
                           const size_t slot = static_cast<size_t>(corner->slot);
                           out->push_back(bySlot[2 * slot]);
                           out->push_back(bySlot[2 * slot + 1]);
                         }
                       });
}

void buildLayerTangents(const Model* model, const Layer* layer,
                        const float* positions,
                        const std::vector<float>& texCoords,
                        std::vector<float>* out) {
  out->clear();
  size_t vertex = 0;
  forEachLayerTriangle(model, layer, positions,
                       [&](const layer_parts::Corner& a, const layer_parts::Corner& b,
                           const layer_parts::Corner& c) {
                         float p[3][3];
                         std::memcpy(p[0], a.position, sizeof p[0]);
                         std::memcpy(p[1], b.position, sizeof p[1]);
                         std::memcpy(p[2], c.position, sizeof p[2]);
                         const float* uv = texCoords.size() >= 2 * (vertex + 3)
                                               ? &texCoords[2 * vertex]
                                               : nullptr;
                         float frame[6];
                         triangleFrame(p, uv, frame);
                         for (int i = 0; i < 3; ++i)
                           out->insert(out->end(), frame, frame + 6);
                         vertex += 3;
                       });
}
