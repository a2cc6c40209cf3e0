#include "model/transform.h"

#include <cmath>
#include <cstring>

#include "model/document_index.h"
#include "model/geometry.h"
#include "model/last_error.h"
#include "model/point_moves.h"
#include "model/skeleton.h"

void rotationFromAngles(const float angles[3], float rotation[9]) {
  const double toRadians = 3.14159265358979323846 / 180.0;
  double cx = std::cos(angles[0] * toRadians), sx = std::sin(angles[0] * toRadians);
  double cy = std::cos(angles[1] * toRadians), sy = std::sin(angles[1] * toRadians);
  double cz = std::cos(angles[2] * toRadians), sz = std::sin(angles[2] * toRadians);
  const double r[9] = {
      cz * cy, cz * sy * sx - sz * cx, cz * sy * cx + sz * sx,
      sz * cy, sz * sy * sx + cz * cx, sz * sy * cx - cz * sx,
      -sy,     cy * sx,                cy * cx,
  };
  for (int i = 0; i < 9; ++i) rotation[i] = static_cast<float>(r[i]);
}

namespace {

// Row-major n x n product summed in double; out may be a or b.
template <int N>
void multiplySquare(const float* a, const float* b, float* out) {
  float product[N * N];
  for (int r = 0; r < N; ++r) {
    for (int c = 0; c < N; ++c) {
      double sum = 0.0;
      for (int k = 0; k < N; ++k) sum += double{a[r * N + k]} * b[k * N + c];
      product[r * N + c] = static_cast<float>(sum);
    }
  }
  std::memcpy(out, product, sizeof product);
}

}  // namespace

void multiply3x3(const float a[9], const float b[9], float out[9]) {
  multiplySquare<3>(a, b, out);
}

void placePoint(const float position[3], const float rotation[9],
                const float scale[3], const float p[3], float out[3]) {
  const double s[3] = {double{p[0]} * scale[0], double{p[1]} * scale[1],
                       double{p[2]} * scale[2]};
  for (int r = 0; r < 3; ++r) {
    out[r] = static_cast<float>(position[r] + rotation[r * 3] * s[0] +
                                rotation[r * 3 + 1] * s[1] +
                                rotation[r * 3 + 2] * s[2]);
  }
}

// ---- Turning and scaling items of a model ---------------------------------

void snapTurnResidue(float rotation[9]) {
  for (int i = 0; i < 9; ++i) {
    if (std::fabs(rotation[i]) < 5e-7f) rotation[i] = 0.0f;
  }
}

void turnFromAngles(const float angles[3], float rotation[9]) {
  rotationFromAngles(angles, rotation);
  snapTurnResidue(rotation);
}

void rotateAbout(const float rotation[9], const float centre[3],
                 const float p[3], float out[3]) {
  const double d[3] = {double{p[0]} - centre[0], double{p[1]} - centre[1],
                       double{p[2]} - centre[2]};
  float result[3];
  for (int r = 0; r < 3; ++r) {
    result[r] = static_cast<float>(centre[r] + rotation[r * 3] * d[0] +
                                   rotation[r * 3 + 1] * d[1] +
                                   rotation[r * 3 + 2] * d[2]);
  }
  std::memcpy(out, result, sizeof result);
}

void scaleAbout(const float factors[3], const float centre[3],
                const float p[3], float out[3]) {
  for (int i = 0; i < 3; ++i) {
    out[i] = static_cast<float>(centre[i] +
                                double{factors[i]} * (double{p[i]} - centre[i]));
  }
}

void multiply4x4(const float a[16], const float b[16], float out[16]) {
  multiplySquare<4>(a, b, out);
}

void rotation4x4(const float rotation[9], float out[16]) {
  for (int r = 0; r < 4; ++r) {
    for (int c = 0; c < 4; ++c) {
      out[r * 4 + c] = (r < 3 && c < 3) ? rotation[r * 3 + c]
                                        : (r == c ? 1.0f : 0.0f);
    }
  }
}

void transformPoint4x4(const float m[16], const float p[3], float out[3]) {
  double v[4];
  for (int r = 0; r < 4; ++r) {
    v[r] = double{m[r * 4]} * p[0] + double{m[r * 4 + 1]} * p[1] +
           double{m[r * 4 + 2]} * p[2] + m[r * 4 + 3];
  }
  // An affine matrix leaves w at exactly 1; only a projective one divides.
  const double w = v[3] != 0.0 ? v[3] : 1.0;
  for (int i = 0; i < 3; ++i) out[i] = static_cast<float>(v[i] / w);
}

namespace {

bool finiteOrReport(const float* values, int count) {
  if (allFinite(values, count)) return true;
  lastErrorReport("result out of range");
  return false;
}

Point* requirePoint(const Model* model, int32_t number) {
  Point* point = findPoint(model, number);
  if (point == nullptr) lastErrorReportf("point not found: %d", number);
  return point;
}

Joint* requireJoint(const Model* model, const char* name) {
  Joint* joint = name != nullptr ? findJoint(model, name) : nullptr;
  if (joint == nullptr) lastErrorReportf("joint not found: %s", name ? name : "");
  return joint;
}

Child* requireChild(const Model* model, int32_t id) {
  Child* child = tableFindT<Child>(&model->children, id);
  if (child == nullptr) lastErrorReportf("child not found: %d", id);
  return child;
}

CollideObject* requireCollide(const Model* model, int32_t id) {
  CollideObject* object = tableFindT<CollideObject>(&model->collides, id);
  if (object == nullptr) lastErrorReportf("collide object not found: %d", id);
  return object;
}

bool isModelLevel(const char* layer) {
  return layer == nullptr || layer[0] == '\0' ||
         std::strcmp(layer, "(global)") == 0;
}

// The layer for a layer name, null for the model level; false when a named
// layer does not exist (reported).
bool resolveLayer(const Model* model, const char* name, Layer** layer) {
  *layer = nullptr;
  if (isModelLevel(name)) return true;
  *layer = findLayer(model, name);
  if (*layer == nullptr) lastErrorReportf("layer not found: %s", name);
  return *layer != nullptr;
}

void touchOwner(Model* model, Layer* layer) {
  if (layer != nullptr) {
    touchLayer(model, layer);
  } else {
    touchModel(model);
  }
}

// The normal or surface entry of the point, or null (reported).
VectorEntry* requireVector(Model* model, const char* name, int32_t number,
                           bool surface, Layer** layer) {
  if (!resolveLayer(model, name, layer)) return nullptr;
  KeyedTable* table = *layer != nullptr
                          ? (surface ? &(*layer)->surface : &(*layer)->normals)
                          : (surface ? &model->surface : &model->normals);
  VectorEntry* entry = tableFindT<VectorEntry>(table, number);
  if (entry == nullptr) {
    lastErrorReportf("%s not found: %d", surface ? "surface" : "normal", number);
  }
  return entry;
}

float clampUnit(float value) {
  return value < 0.0f ? 0.0f : (value > 1.0f ? 1.0f : value);
}

}  // namespace

bool placeModelPoint(Model* model, int32_t number, const float p[3]) {
  if (requirePoint(model, number) == nullptr) return false;
  if (!finiteOrReport(p, 3)) return false;
  flushDerived(model);
  setPointPosition(model, findPoint(model, number), number, p);
  touchModelMoved(model);
  return true;
}

namespace {

// How a position moves: by an offset, turned about a centre, or scaled
// about one. Points and joints take them alike.
struct Offset {
  const float* offset;
  void operator()(const float* from, float* to) const {
    for (int i = 0; i < 3; ++i) to[i] = from[i] + offset[i];
  }
};
struct TurnAbout {
  const float* rotation;
  const float* centre;
  void operator()(const float* from, float* to) const { rotateAbout(rotation, centre, from, to); }
};
struct ScaleAbout {
  const float* factors;
  const float* centre;
  void operator()(const float* from, float* to) const { scaleAbout(factors, centre, from, to); }
};

template <class Place>
bool placePointBy(Model* model, int32_t number, Place place) {
  const Point* point = requirePoint(model, number);
  if (point == nullptr) return false;
  const float p[3] = {point->x, point->y, point->z};
  float out[3];
  place(p, out);
  return placeModelPoint(model, number, out);
}

}  // namespace

bool movePoint(Model* model, int32_t number, const float offset[3]) {
  return placePointBy(model, number, Offset{offset});
}

bool rotatePoint(Model* model, int32_t number, const float rotation[9],
                 const float centre[3]) {
  return placePointBy(model, number, TurnAbout{rotation, centre});
}

bool scalePoint(Model* model, int32_t number, const float factors[3],
                const float centre[3]) {
  return placePointBy(model, number, ScaleAbout{factors, centre});
}

namespace {

// A finite result goes into the entry and touches its layer (or model).
bool storeVector(Model* model, Layer* owner, VectorEntry* entry, const float v[3]) {
  if (!finiteOrReport(v, 3)) return false;
  entry->x = v[0];
  entry->y = v[1];
  entry->z = v[2];
  touchOwner(model, owner);
  return true;
}

}  // namespace

bool moveVector(Model* model, const char* layer, int32_t number,
                const float offset[3], bool surface) {
  Layer* owner = nullptr;
  VectorEntry* entry = requireVector(model, layer, number, surface, &owner);
  if (entry == nullptr) return false;
  const float v[3] = {entry->x + offset[0], entry->y + offset[1],
                      entry->z + offset[2]};
  return storeVector(model, owner, entry, v);
}

bool rotateVector(Model* model, const char* layer, int32_t number,
                  const float rotation[9], bool surface) {
  Layer* owner = nullptr;
  VectorEntry* entry = requireVector(model, layer, number, surface, &owner);
  if (entry == nullptr) return false;
  const float origin[3] = {0.0f, 0.0f, 0.0f};
  const float v[3] = {entry->x, entry->y, entry->z};
  float out[3];
  rotateAbout(rotation, origin, v, out);
  return storeVector(model, owner, entry, out);
}

bool moveColour(Model* model, const char* layer, int32_t number,
                const float offset[4]) {
  Layer* owner = nullptr;
  if (!resolveLayer(model, layer, &owner)) return false;
  KeyedTable* table = owner != nullptr ? &owner->colours : &model->colours;
  const Colour* colour = tableFindT<Colour>(table, number);
  if (colour == nullptr) {
    lastErrorReportf("colour not found: %d", number);
    return false;
  }
  // NaN cannot arise: both terms are finite floats, and clamping bounds
  // an infinite sum.
  return addColour(model, owner != nullptr ? owner->name : nullptr, number,
                   clampUnit(colour->r + offset[0]),
                   clampUnit(colour->g + offset[1]),
                   clampUnit(colour->b + offset[2]),
                   clampUnit(colour->a + offset[3]));
}

// The joint's position becomes what `place` makes of it, when that is
// finite.
template <class Place>
bool placeJoint(Model* model, const char* name, Place place) {
  Joint* joint = requireJoint(model, name);
  if (joint == nullptr) return false;
  float p[3];
  place(joint->position, p);
  if (!finiteOrReport(p, 3)) return false;
  std::memcpy(joint->position, p, sizeof p);
  return true;
}

bool moveJoint(Model* model, const char* name, const float offset[3]) {
  return placeJoint(model, name, Offset{offset});
}

bool rotateJoint(Model* model, const char* name, const float rotation[9],
                 const float centre[3]) {
  return placeJoint(model, name, TurnAbout{rotation, centre});
}

bool scaleJoint(Model* model, const char* name, const float factors[3],
                const float centre[3]) {
  return placeJoint(model, name, ScaleAbout{factors, centre});
}

bool moveWeight(Model* model, const char* jointName, int32_t point,
                float offset) {
  Joint* joint = requireJoint(model, jointName);
  if (joint == nullptr) return false;
  Weight* weight = tableFindT<Weight>(&joint->weights, point);
  if (weight == nullptr) {
    lastErrorReportf("weight not found: %d", point);
    return false;
  }
  const float sum = weight->weight + offset;
  if (!finiteOrReport(&sum, 1)) return false;
  weight->weight = sum;
  return true;
}

namespace {

// Children and collide objects share the arithmetic on their position,
// orientation and size (the child's scale).
bool movePlacement(float position[3], const float offset[3]) {
  const float p[3] = {position[0] + offset[0], position[1] + offset[1],
                      position[2] + offset[2]};
  if (!finiteOrReport(p, 3)) return false;
  std::memcpy(position, p, sizeof p);
  return true;
}

bool rotatePlacement(float position[3], float orientation[9],
                     const float rotation[9], const float centre[3]) {
  float p[3];
  rotateAbout(rotation, centre, position, p);
  if (!finiteOrReport(p, 3)) return false;
  std::memcpy(position, p, sizeof p);
  multiply3x3(rotation, orientation, orientation);
  return true;
}

bool scalePlacement(float position[3], float size[3], const float factors[3],
                    const float centre[3], bool explicitSize) {
  float out[3];
  if (!explicitSize) {
    scaleAbout(factors, centre, position, out);
    if (!finiteOrReport(out, 3)) return false;
    std::memcpy(position, out, sizeof out);
    return true;
  }
  for (int i = 0; i < 3; ++i) {
    if (factors[i] == 0.0f) {
      lastErrorReport("zero scale not allowed");
      return false;
    }
    out[i] = size[i] * factors[i];
    // An underflow to zero would leave the size a refused one.
    if (out[i] == 0.0f) {
      lastErrorReport("result out of range");
      return false;
    }
  }
  if (!finiteOrReport(out, 3)) return false;
  std::memcpy(size, out, sizeof out);
  return true;
}

// Children and collide objects are placed alike: a position, a rotation
// and the child's scale or the collide object's size.
Child* requirePlaced(Model* model, int32_t id, Child*) { return requireChild(model, id); }
CollideObject* requirePlaced(Model* model, int32_t id, CollideObject*) {
  return requireCollide(model, id);
}
float* extentOf(Child* child) { return child->scale; }
float* extentOf(CollideObject* object) { return object->size; }

}  // namespace

template <class Item>
bool movePlaced(Model* model, int32_t id, const float offset[3]) {
  Item* item = requirePlaced(model, id, static_cast<Item*>(nullptr));
  return item != nullptr && movePlacement(item->position, offset);
}

template <class Item>
bool rotatePlaced(Model* model, int32_t id, const float rotation[9], const float centre[3]) {
  Item* item = requirePlaced(model, id, static_cast<Item*>(nullptr));
  return item != nullptr && rotatePlacement(item->position, item->rotation, rotation, centre);
}

template <class Item>
bool scalePlaced(Model* model, int32_t id, const float factors[3], const float centre[3],
                 bool explicitSize) {
  Item* item = requirePlaced(model, id, static_cast<Item*>(nullptr));
  return item != nullptr &&
         scalePlacement(item->position, extentOf(item), factors, centre, explicitSize);
}

template bool movePlaced<Child>(Model*, int32_t, const float[3]);
template bool movePlaced<CollideObject>(Model*, int32_t, const float[3]);
template bool rotatePlaced<Child>(Model*, int32_t, const float[9], const float[3]);
template bool rotatePlaced<CollideObject>(Model*, int32_t, const float[9], const float[3]);
template bool scalePlaced<Child>(Model*, int32_t, const float[3], const float[3], bool);
template bool scalePlaced<CollideObject>(Model*, int32_t, const float[3], const float[3], bool);

int32_t applyMatrixToPoints(Model* model, const float m[16]) {
  KeyedTable* points = &model->points;
  bool anySelected = false;
  for (int32_t s = tableNextSlot(points, -1); s >= 0 && !anySelected;
       s = tableNextSlot(points, s)) {
    anySelected = (tableAt<Point>(points, s)->flags & kItemSelected) != 0;
  }
  auto chosen = [&](const Point* p) {
    return !anySelected || (p->flags & kItemSelected) != 0;
  };
  // A first pass checks every result, so that a refusal changes nothing.
  for (int32_t s = tableNextSlot(points, -1); s >= 0;
       s = tableNextSlot(points, s)) {
    const Point* point = tableAt<Point>(points, s);
    if (!chosen(point)) continue;
    const float p[3] = {point->x, point->y, point->z};
    float out[3];
    transformPoint4x4(m, p, out);
    if (!finiteOrReport(out, 3)) return -1;
  }
  flushDerived(model);
  int32_t moved = 0;
  for (int32_t s = tableNextSlot(points, -1); s >= 0;
       s = tableNextSlot(points, s)) {
    Point* point = tableAt<Point>(points, s);
    if (!chosen(point)) continue;
    const float p[3] = {point->x, point->y, point->z};
    float out[3];
    transformPoint4x4(m, p, out);
    setPointPosition(model, point, tableIntKeyAt(points, s), out);
    ++moved;
  }
  if (moved > 0) touchModelMoved(model);
  return moved;
}

void setPointPosition(Model* model, Point* point, int32_t number, const float p[3]) {
  const float from[3] = {point->x, point->y, point->z};
  point->x = p[0];
  point->y = p[1];
  point->z = p[2];
  notePointMoved(model, number, from);
  for (int i = 0; i < 3; ++i) {
    if (p[i] < model->boundsMin[i]) model->boundsMin[i] = p[i];
    if (p[i] > model->boundsMax[i]) model->boundsMax[i] = p[i];
  }
}
