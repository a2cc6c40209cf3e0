#include "io/export_scene.h"

#include <cmath>
#include <cstring>

#include "model/geometry.h"
#include "model/last_error.h"
#include "model/transform.h"

namespace {

constexpr int kMaxChildDepth = 64;

// (b - a) x (c - a): along the triangle's normal, twice its area long.
void cornerCross(const float a[3], const float b[3], const float c[3],
                 double out[3]) {
  const double u[3] = {double{b[0]} - a[0], double{b[1]} - a[1],
                       double{b[2]} - a[2]};
  const double w[3] = {double{c[0]} - a[0], double{c[1]} - a[1],
                       double{c[2]} - a[2]};
  out[0] = u[1] * w[2] - u[2] * w[1];
  out[1] = u[2] * w[0] - u[0] * w[2];
  out[2] = u[0] * w[1] - u[1] * w[0];
}

void placeChildren(const Model* model, int32_t index, int depth,
                   std::vector<PlacedModel>* out) {
  if (depth >= kMaxChildDepth) return;
  const KeyedTable* children = &model->children;
  for (int32_t s = tableNextSlot(children, -1); s >= 0;
       s = tableNextSlot(children, s)) {
    const Child* child = tableAt<Child>(children, s);
    if (child->model == nullptr) continue;
    PlacedModel placed;
    placed.model = child->model;
    placed.parent = index;
    placed.child = child;
    placed.local = childPlacement(child);
    placed.world = composeAffine((*out)[static_cast<size_t>(index)].world,
                                 placed.local);
    out->push_back(placed);
    placeChildren(child->model, static_cast<int32_t>(out->size() - 1),
                  depth + 1, out);
  }
}

template <class Polygon>
bool anyCorner(const KeyedTable* table, const KeyedTable* a,
               const KeyedTable* b) {
  if (a == nullptr && b == nullptr) return false;
  for (int32_t s = tableNextSlot(table, -1); s >= 0;
       s = tableNextSlot(table, s)) {
    const Polygon* p = tableAt<Polygon>(table, s);
    for (int32_t i = 0; i < p->count; ++i) {
      if ((a && tableFind(a, polygonPoints(p)[i])) || (b && tableFind(b, polygonPoints(p)[i])))
        return true;
    }
  }
  return false;
}

const KeyedTable* nonEmpty(const KeyedTable* t) {
  return tableCount(t) > 0 ? t : nullptr;
}

}  // namespace

Affine identityAffine() {
  return {{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0}};
}

Affine composeAffine(const Affine& b, const Affine& a) {
  Affine out;
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 4; ++c) {
      double v = c == 3 ? b.m[r * 4 + 3] : 0.0;
      for (int k = 0; k < 3; ++k) v += b.m[r * 4 + k] * a.m[k * 4 + c];
      out.m[r * 4 + c] = v;
    }
  }
  return out;
}

Affine childPlacement(const Child* child) {
  Affine out;
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c)
      out.m[r * 4 + c] = double{child->rotation[r * 3 + c]} * child->scale[c];
    out.m[r * 4 + 3] = child->position[r];
  }
  return out;
}

Affine yUpTurn() { return {{1, 0, 0, 0, 0, 0, 1, 0, 0, -1, 0, 0}}; }
Affine yUpTurnInverse() { return {{1, 0, 0, 0, 0, 0, -1, 0, 0, 1, 0, 0}}; }

double affineDeterminant(const Affine& a) {
  const double* m = a.m;
  return m[0] * (m[5] * m[10] - m[6] * m[9]) -
         m[1] * (m[4] * m[10] - m[6] * m[8]) +
         m[2] * (m[4] * m[9] - m[5] * m[8]);
}

void normalMatrix(const Affine& a, double out[9]) {
  const double* m = a.m;
  // The cofactor matrix is the inverse transpose times the determinant;
  // the sign is kept, so a reflecting map still turns normals with it.
  const double cof[9] = {
      m[5] * m[10] - m[6] * m[9], m[6] * m[8] - m[4] * m[10],
      m[4] * m[9] - m[5] * m[8],  m[2] * m[9] - m[1] * m[10],
      m[0] * m[10] - m[2] * m[8], m[1] * m[8] - m[0] * m[9],
      m[1] * m[6] - m[2] * m[5],  m[2] * m[4] - m[0] * m[6],
      m[0] * m[5] - m[1] * m[4]};
  const double det = affineDeterminant(a);
  if (det == 0.0 || !std::isfinite(det)) {
    for (int r = 0; r < 3; ++r)
      for (int c = 0; c < 3; ++c) out[r * 3 + c] = m[r * 4 + c];
    return;
  }
  const double sign = det < 0.0 ? -1.0 : 1.0;
  for (int i = 0; i < 9; ++i) out[i] = cof[i] * sign;
}

std::vector<PlacedModel> placeModels(const Model* model) {
  std::vector<PlacedModel> placed;
  placed.push_back({model, -1, nullptr, identityAffine(), identityAffine()});
  placeChildren(model, 0, 1, &placed);
  return placed;
}

std::string fileWord(const char* name) {
  std::string word = name;
  for (char& c : word) {
    const bool keep = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                      (c >= '0' && c <= '9') || c == '_' || c == '-' ||
                      c == '.';
    if (!keep) c = '_';
  }
  return word.empty() ? std::string("_") : word;
}

std::string exportedLayerName(const PlacedModel& placed, const Layer* layer) {
  // Layer names are one word already; a child's name may be a path.
  if (placed.child == nullptr) return layer->name;
  return fileWord(placed.child->name) + "_" + layer->name;
}

int32_t reflectionAxis(const Layer* layer) {
  const bool reflects = layer->mirror && layer->mirrorAxis >= kAxisX &&
                        layer->mirrorAxis <= kAxisZ;
  return reflects ? layer->mirrorAxis : 0;
}

void viewHalf(const Model* model, const Layer* layer, int32_t half,
              const Affine& place, HalfView* v) {
  v->model = model;
  v->layer = layer;
  v->axis = half == 0 ? 0 : reflectionAxis(layer);
  v->place = place;
  normalMatrix(place, v->normals);
  v->turned = (v->axis != 0) != (affineDeterminant(place) < 0.0);
  v->layerColours = nonEmpty(&layer->colours);
  v->modelColours = nonEmpty(&model->colours);
  v->layerNormals = nonEmpty(&layer->normals);
  v->modelNormals = nonEmpty(&model->normals);
  float rgb[3];
  layerColour(layer, rgb);
  for (int i = 0; i < 3; ++i) v->fallback[i] = toUnit(rgb[i]);
  v->fallback[3] = toUnit(layer->opacity);
  v->image = nullptr;
  v->imageNumber = 0;
  const KeyedTable* images = &layer->images;
  for (int32_t s = tableNextSlot(images, -1); s >= 0;
       s = tableNextSlot(images, s)) {
    const int32_t number = tableIntKeyAt(images, s);
    if (v->image == nullptr || number < v->imageNumber) {
      v->image = tableAt<Image>(images, s);
      v->imageNumber = number;
    }
  }
}

bool cornerPosition(const HalfView& v, int32_t point, float out[3]) {
  const Point* p = tableFindT<Point>(&v.model->points, point);
  if (p == nullptr) return false;
  double in[3] = {p->x, p->y, p->z};
  if (v.axis != 0) in[v.axis - 1] = -in[v.axis - 1];
  double placed[3];
  applyAffine(v.place, in, placed);
  for (int i = 0; i < 3; ++i) out[i] = static_cast<float>(placed[i]);
  return true;
}

bool cornerNormal(const HalfView& v, int32_t point, float out[3]) {
  const VectorEntry* n =
      tableFindEither<const VectorEntry>(v.layerNormals, v.modelNormals, point);
  if (n == nullptr) return false;
  double in[3] = {n->x, n->y, n->z};
  if (v.axis != 0) in[v.axis - 1] = -in[v.axis - 1];
  return turnNormal(v.normals, in, out);
}

void cornerColour(const HalfView& v, int32_t point, float out[4]) {
  const Colour* c = tableFindEither<const Colour>(v.layerColours, v.modelColours, point);
  if (c == nullptr) {
    std::memcpy(out, v.fallback, sizeof v.fallback);
    return;
  }
  out[0] = toUnit(c->r);
  out[1] = toUnit(c->g);
  out[2] = toUnit(c->b);
  out[3] = toUnit(c->a * v.fallback[3]);
}

bool cornerUv(const HalfView& v, int32_t point, float out[2]) {
  if (v.image == nullptr) return false;
  const Uvee* uv = tableFindT<Uvee>(&v.image->uvees, point);
  if (uv == nullptr) return false;
  out[0] = uv->u;
  out[1] = uv->v;
  return true;
}

bool halfHasColourEntries(const HalfView& v) {
  return anyCorner<Triangle>(&v.layer->triangles, v.layerColours,
                             v.modelColours) ||
         anyCorner<Line>(&v.layer->lines, v.layerColours, v.modelColours);
}

bool halfHasStoredNormals(const HalfView& v) {
  return anyCorner<Triangle>(&v.layer->triangles, v.layerNormals,
                             v.modelNormals) ||
         anyCorner<Line>(&v.layer->lines, v.layerNormals, v.modelNormals);
}

int64_t exportedTriangles(const std::vector<PlacedModel>& placed) {
  int64_t total = 0;
  for (const PlacedModel& p : placed) {
    const KeyedTable* layers = &p.model->layers;
    for (int32_t l = tableNextSlot(layers, -1); l >= 0;
         l = tableNextSlot(layers, l)) {
      const Layer* layer = tableAt<Layer>(layers, l);
      int64_t n = 0;
      const KeyedTable* polygons = &layer->triangles;
      for (int32_t s = tableNextSlot(polygons, -1); s >= 0;
           s = tableNextSlot(polygons, s))
        n += stripTriangleCount(tableAt<Triangle>(polygons, s)->count);
      total += n * layerHalves(layer);
    }
  }
  return total;
}

void triangleNormal(const float a[3], const float b[3], const float c[3],
                    float out[3]) {
  double n[3];
  cornerCross(a, b, c, n);
  if (!scaleToUnit(n)) n[0] = n[1] = n[2] = 0.0;
  // No "-0.000000" in text files for components that are zero.
  for (int i = 0; i < 3; ++i) out[i] = static_cast<float>(n[i] + 0.0);
}

void flushForExport(Model* model) {
  // Children deeper than the writers go are left alone, as they are.
  struct Walk {
    static void flush(Model* m, int depth) {
      flushDerived(m);
      if (depth >= kMaxChildDepth) return;
      for (int32_t s = tableNextSlot(&m->children, -1); s >= 0;
           s = tableNextSlot(&m->children, s)) {
        Child* child = tableAt<Child>(&m->children, s);
        if (child->model != nullptr) flush(child->model, depth + 1);
      }
    }
  };
  Walk::flush(model, 1);
}

namespace {

void numberPoints(const Model* model, HalfPoints* out) {
  out->numbered = model;
  out->slotOf.clear();
  const KeyedTable* points = &model->points;
  const int64_t highest = highestPointNumber(model);
  if (highest > 4 * int64_t{tableCount(points)} + 1024) return;
  out->slotOf.assign(static_cast<size_t>(highest) + 1, 0);
  for (int32_t s = tableNextSlot(points, -1); s >= 0; s = tableNextSlot(points, s))
    out->slotOf[static_cast<size_t>(tableIntKeyAt(points, s))] = s + 1;
}

inline int32_t slotOfNumber(const Model* model, const HalfPoints& p, int32_t number) {
  if (p.slotOf.empty()) return tablePosition(&model->points, number, false);
  return number > 0 && static_cast<size_t>(number) < p.slotOf.size()
             ? p.slotOf[static_cast<size_t>(number)] - 1
             : -1;
}

// Empties `out` for a half of v's model, its index as long as the point
// table. Only the entries the last collection set are cleared: a model of
// many small layers costs what its layers hold, not layers times points.
void resetHalfPoints(const HalfView& v, HalfPoints* out) {
  if (out->numbered != v.model) numberPoints(v.model, out);
  for (int32_t slot : out->slots) out->index[static_cast<size_t>(slot)] = 0;
  out->slots.clear();
  const size_t capacity = static_cast<size_t>(v.model->points.capacity);
  if (out->index.size() < capacity) out->index.resize(capacity, 0);
}

}  // namespace

bool collectHalfPoints(const HalfView& v, bool lines, HalfPoints* out) {
  resetHalfPoints(v, out);
  int32_t missing = 0;
  auto take = [&](int32_t number) {
    const int32_t slot = slotOfNumber(v.model, *out, number);
    if (slot < 0) {
      if (missing == 0) missing = number;
      return;
    }
    int32_t& place = out->index[static_cast<size_t>(slot)];
    if (place != 0) return;
    out->slots.push_back(slot);
    place = static_cast<int32_t>(out->slots.size());
  };
  const KeyedTable* polygons = &v.layer->triangles;
  for (int32_t s = tableNextSlot(polygons, -1); s >= 0;
       s = tableNextSlot(polygons, s)) {
    const Triangle* t = tableAt<Triangle>(polygons, s);
    if (t->count < 3) continue;
    for (int32_t i = 0; i < t->count; ++i) take(polygonPoints(t)[i]);
  }
  if (lines) {
    const KeyedTable* table = &v.layer->lines;
    for (int32_t s = tableNextSlot(table, -1); s >= 0;
         s = tableNextSlot(table, s)) {
      const Line* line = tableAt<Line>(table, s);
      if (line->count < 2) continue;
      for (int32_t i = 0; i < line->count; ++i) take(polygonPoints(line)[i]);
    }
  }
  if (missing != 0) {
    lastErrorReportf("point not found: %d", missing);
    return false;
  }
  return true;
}

void adoptHalfPoints(const HalfView& v, const int32_t* slots, size_t count,
                     HalfPoints* out) {
  resetHalfPoints(v, out);
  out->slots.assign(slots, slots + count);
  for (size_t i = 0; i < count; ++i)
    out->index[static_cast<size_t>(slots[i])] = static_cast<int32_t>(i + 1);
}

int32_t halfPointIndex(const HalfView& v, const HalfPoints& points,
                       int32_t number) {
  const int32_t slot = slotOfNumber(v.model, points, number);
  return slot < 0 ? -1 : points.index[static_cast<size_t>(slot)] - 1;
}

void slotPosition(const HalfView& v, int32_t slot, float out[3]) {
  const Point* p = tableAt<Point>(&v.model->points, slot);
  double in[3] = {p->x, p->y, p->z};
  if (v.axis != 0) in[v.axis - 1] = -in[v.axis - 1];
  double placed[3];
  applyAffine(v.place, in, placed);
  for (int i = 0; i < 3; ++i) out[i] = static_cast<float>(placed[i]);
}

int32_t slotNumber(const HalfView& v, int32_t slot) {
  return tableIntKeyAt(&v.model->points, slot);
}

void halfVertexNormals(const HalfView& v, const HalfPoints& points,
                       std::vector<float>* out) {
  const size_t n = points.slots.size();
  out->assign(3 * n, 0.0f);
  std::vector<double> sums(3 * n, 0.0);
  forEachHalfTriangle(v, [&](int32_t a, int32_t b, int32_t c) {
    const int32_t ia = halfPointIndex(v, points, a);
    const int32_t ib = halfPointIndex(v, points, b);
    const int32_t ic = halfPointIndex(v, points, c);
    if (ia < 0 || ib < 0 || ic < 0) return;
    float pa[3], pb[3], pc[3];
    slotPosition(v, points.slots[static_cast<size_t>(ia)], pa);
    slotPosition(v, points.slots[static_cast<size_t>(ib)], pb);
    slotPosition(v, points.slots[static_cast<size_t>(ic)], pc);
    // The cross product's length is twice the area: the weights.
    double cross[3];
    cornerCross(pa, pb, pc, cross);
    for (int32_t i : {ia, ib, ic})
      for (int k = 0; k < 3; ++k) sums[3 * static_cast<size_t>(i) + k] += cross[k];
  });
  for (size_t i = 0; i < n; ++i) {
    float* normal = &(*out)[3 * i];
    if (cornerNormal(v, slotNumber(v, points.slots[i]), normal)) continue;
    double mean[3] = {sums[3 * i], sums[3 * i + 1], sums[3 * i + 2]};
    if (!scaleToUnit(mean)) continue;
    for (int k = 0; k < 3; ++k) normal[k] = static_cast<float>(mean[k]);
  }
}
