#include "model/selection.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "model/document_index.h"
#include "model/geometry.h"
#include "model/geometry_support.h"
#include "model/last_error.h"
#include "model/point_moves.h"
#include "model/model.h"
#include "model/skeleton.h"
#include "model/selection_support.h"
#include "model/transform.h"

namespace {

using namespace selection_detail;
using namespace geometry_detail;

template <class Polygon>
bool markPolygon(Model* model, int32_t id, bool on, const char* what) {
  Layer* layer = nullptr;
  Polygon* polygon = findPolygonById<Polygon>(model, id, &layer);
  if (polygon == nullptr) {
    lastErrorReportf("%s not found: %d", what, id);
    return false;
  }
  setMark(&polygon->flags, on);
  if (on) notePolygonMarked(model, id, isLine<Polygon>());
  touchLayer(model, layer);
  return true;
}

// Takes the mark off the candidate polygon (a line when negative); adds
// the slot of its layer to `touched` (which has room) when it had one.
void clearCandidate(Model* model, int32_t candidate, IndexArray<int32_t>* touched) {
  Layer* layer = nullptr;
  int8_t* flags = nullptr;
  if (candidate < 0) {
    if (Line* line = findPolygonById<Line>(model, -candidate, &layer)) flags = &line->flags;
  } else if (Triangle* t = findPolygonById<Triangle>(model, candidate, &layer)) {
    flags = &t->flags;
  }
  if (flags == nullptr || !marked(*flags)) return;
  setMark(flags, false);
  touched->push(layerSlotOf(model, layer));
}

// Clears the marks of the candidates only; false (nothing cleared) when
// the model does not know them.
bool clearCandidates(Model* model) {
  IndexArray<int32_t> points, polygons, touched;
  if (!markCandidates(model, &points, &polygons) || !touched.reserve(polygons.count))
    return false;
  for (int32_t i = 0; i < points.count; ++i) {
    Point* point = findPoint(model, points.items[i]);
    if (point != nullptr) point->flags &= ~kItemSelected;
  }
  for (int32_t i = 0; i < polygons.count; ++i)
    clearCandidate(model, polygons.items[i], &touched);
  sortUnique(&touched);
  for (int32_t i = 0; i < touched.count; ++i)
    touchLayer(model, tableAt<Layer>(&model->layers, touched.items[i]));
  return true;
}

// True when any mark was taken off.
template <class Item>
bool clearMarks(KeyedTable* table) {
  bool cleared = false;
  for (int32_t s = tableNextSlot(table, -1); s >= 0; s = tableNextSlot(table, s)) {
    Item* item = tableAt<Item>(table, s);
    if (!marked(item->flags)) continue;
    item->flags &= ~kItemSelected;
    cleared = true;
  }
  return cleared;
}

// ---- Transforms ---------------------------------------------------------

struct Affine {
  double linear[9];
  double centre[3];
  double offset[3];
};

// False when a component would not be a finite float.
bool place(const Affine& a, const float in[3], float out[3]) {
  const double d[3] = {in[0] - a.centre[0], in[1] - a.centre[1],
                       in[2] - a.centre[2]};
  for (int r = 0; r < 3; ++r) {
    const double v = a.centre[r] + a.offset[r] + a.linear[r * 3] * d[0] +
                     a.linear[r * 3 + 1] * d[1] + a.linear[r * 3 + 2] * d[2];
    const float f = static_cast<float>(v);
    if (!std::isfinite(f)) return false;
    out[r] = f;
  }
  return true;
}

// Moves one position; without `apply` it only checks the result.
bool moveOne(const Affine& a, float position[3], bool apply) {
  float out[3];
  if (!place(a, position, out)) return false;
  if (apply) std::memcpy(position, out, sizeof out);
  return true;
}

// Children and collide objects: position, and with `turn` the orientation.
template <class Item>
int32_t walkPlaced(KeyedTable* table, const Affine& a, const float linear[9],
                   bool apply, bool turn) {
  int32_t moved = 0;
  for (int32_t s = tableNextSlot(table, -1); s >= 0; s = tableNextSlot(table, s)) {
    Item* item = tableAt<Item>(table, s);
    if (!marked(item->flags)) continue;
    if (!moveOne(a, item->position, apply)) return -1;
    if (apply && turn) multiply3x3(linear, item->rotation, item->rotation);
    ++moved;
  }
  return moved;
}

// One walk over the selected items, checking (apply false) or moving.
// Returns the number of items, or -1 when a result would not be finite.
int32_t walkSelection(Model* model, const Affine& a, const float linear[9],
                      bool apply, bool turn) {
  int32_t moved = 0;
  KeyedTable* points = &model->points;
  for (int32_t s = tableNextSlot(points, -1); s >= 0; s = tableNextSlot(points, s)) {
    Point* point = tableAt<Point>(points, s);
    if (!marked(point->flags)) continue;
    float p[3] = {point->x, point->y, point->z};
    if (!moveOne(a, p, apply)) return -1;
    if (apply) setPointPosition(model, point, tableIntKeyAt(points, s), p);
    ++moved;
  }
  for (int32_t s = tableNextSlot(&model->joints, -1); s >= 0;
       s = tableNextSlot(&model->joints, s)) {
    Joint* joint = tableAt<Joint>(&model->joints, s);
    if (!joint->selected) continue;
    if (!moveOne(a, joint->position, apply)) return -1;
    ++moved;
  }
  const int32_t children = walkPlaced<Child>(&model->children, a, linear, apply, turn);
  const int32_t collides = walkPlaced<CollideObject>(&model->collides, a, linear, apply, turn);
  if (children < 0 || collides < 0) return -1;
  return moved + children + collides;
}

}  // namespace

// ---- Marks ------------------------------------------------------------------

bool markPoint(Model* model, int32_t number, bool on) {
  Point* point = findPoint(model, number);
  if (point == nullptr) {
    lastErrorReportf("point not found: %d", number);
    return false;
  }
  setMark(&point->flags, on);
  if (on) notePointMarked(model, number);
  touchModel(model);  // markers show the selection colour
  return true;
}

bool markTriangle(Model* model, int32_t id, bool on) {
  return markPolygon<Triangle>(model, id, on, "triangle");
}

bool markLine(Model* model, int32_t id, bool on) {
  return markPolygon<Line>(model, id, on, "line");
}

bool markJoint(Model* model, const char* name, bool on) {
  Joint* joint = name ? findJoint(model, name) : nullptr;
  if (joint == nullptr) {
    lastErrorReportf("joint not found: %s", name ? name : "");
    return false;
  }
  joint->selected = on ? 1 : 0;
  touchModel(model);
  return true;
}

bool markChild(Model* model, int32_t id, bool on) {
  Child* child = tableFindT<Child>(&model->children, id);
  if (child == nullptr) {
    lastErrorReportf("child not found: %d", id);
    return false;
  }
  setMark(&child->flags, on);
  touchModel(model);
  return true;
}

bool markCollide(Model* model, int32_t id, bool on) {
  CollideObject* object = tableFindT<CollideObject>(&model->collides, id);
  if (object == nullptr) {
    lastErrorReport("collide object does not exist");
    return false;
  }
  setMark(&object->flags, on);
  touchModel(model);
  return true;
}

void clearSelection(Model* model) {
  // Only the items that may carry a mark, when the model knows them.
  const bool candidates = clearCandidates(model);
  if (!candidates) clearMarks<Point>(&model->points);
  clearMarks<Child>(&model->children);
  clearMarks<CollideObject>(&model->collides);
  for (int32_t s = tableNextSlot(&model->joints, -1); s >= 0;
       s = tableNextSlot(&model->joints, s)) {
    tableAt<Joint>(&model->joints, s)->selected = 0;
  }
  for (int32_t s = tableNextSlot(&model->layers, -1); s >= 0 && !candidates;
       s = tableNextSlot(&model->layers, s)) {
    Layer* layer = tableAt<Layer>(&model->layers, s);
    // Bitwise or: both tables are cleared whatever the first held.
    if (clearMarks<Triangle>(&layer->triangles) | clearMarks<Line>(&layer->lines)) {
      touchLayer(model, layer);
    }
  }
  touchModel(model);
  marksCleared(model);
}

// ---- Pivot ------------------------------------------------------------------

const SelectionPivot& selectionPivot(const Model* model) {
  return model->pivot;
}

void setPivotCentre(Model* model, const float centre[3]) {
  std::memcpy(model->pivot.centre, centre, sizeof model->pivot.centre);
}

void setPivotAxis(Model* model, const float through[3]) {
  SelectionPivot& pivot = model->pivot;
  for (int i = 0; i < 3; ++i) pivot.axis[i] = through[i] - pivot.centre[i];
}

void selectionTurn(const float angles[3], const float axis[3],
                   float rotation[9]) {
  const double length = std::sqrt(double{axis[0]} * axis[0] +
                                  double{axis[1]} * axis[1] +
                                  double{axis[2]} * axis[2]);
  if (!(length > 0.0) || !std::isfinite(length)) {
    rotationFromAngles(angles, rotation);
    snapTurnResidue(rotation);
    return;
  }
  // Rz * Ry * A, where A turns by the first angle about the axis
  // (Rodrigues' formula).
  const float rest[3] = {0.0f, angles[1], angles[2]};
  float yz[9];
  rotationFromAngles(rest, yz);
  const double x = axis[0] / length, y = axis[1] / length, z = axis[2] / length;
  const double t = angles[0] * (3.14159265358979323846 / 180.0);
  const double c = std::cos(t), s = std::sin(t), k = 1.0 - c;
  const double a[9] = {
      c + x * x * k,     x * y * k - z * s, x * z * k + y * s,
      y * x * k + z * s, c + y * y * k,     y * z * k - x * s,
      z * x * k - y * s, z * y * k + x * s, c + z * z * k,
  };
  float about[9];
  for (int i = 0; i < 9; ++i) about[i] = static_cast<float>(a[i]);
  snapTurnResidue(about);
  snapTurnResidue(yz);
  multiply3x3(yz, about, rotation);
  snapTurnResidue(rotation);
}

// ---- Transforms -----------------------------------------------------------

bool selectionCentre(const Model* model, float centre[3]) {
  float low[3] = {0, 0, 0}, high[3] = {0, 0, 0};
  bool any = false;
  auto include = [&](float x, float y, float z) {
    const float p[3] = {x, y, z};
    for (int i = 0; i < 3; ++i) {
      if (!any || p[i] < low[i]) low[i] = p[i];
      if (!any || p[i] > high[i]) high[i] = p[i];
    }
    any = true;
  };
  for (int32_t s = tableNextSlot(&model->points, -1); s >= 0;
       s = tableNextSlot(&model->points, s)) {
    const Point* p = tableAt<Point>(&model->points, s);
    if (marked(p->flags)) include(p->x, p->y, p->z);
  }
  for (int32_t s = tableNextSlot(&model->joints, -1); s >= 0;
       s = tableNextSlot(&model->joints, s)) {
    const Joint* j = tableAt<Joint>(&model->joints, s);
    if (j->selected) include(j->position[0], j->position[1], j->position[2]);
  }
  for (int32_t s = tableNextSlot(&model->children, -1); s >= 0;
       s = tableNextSlot(&model->children, s)) {
    const Child* c = tableAt<Child>(&model->children, s);
    if (marked(c->flags)) include(c->position[0], c->position[1], c->position[2]);
  }
  for (int32_t s = tableNextSlot(&model->collides, -1); s >= 0;
       s = tableNextSlot(&model->collides, s)) {
    const CollideObject* o = tableAt<CollideObject>(&model->collides, s);
    if (marked(o->flags)) include(o->position[0], o->position[1], o->position[2]);
  }
  if (!any) return false;
  for (int i = 0; i < 3; ++i) centre[i] = low[i] + (high[i] - low[i]) * 0.5f;
  return true;
}

int32_t transformSelection(Model* model, const float linear[9],
                           const float centre[3], const float offset[3],
                           bool turnOrientation) {
  Affine a;
  for (int i = 0; i < 9; ++i) a.linear[i] = linear[i];
  for (int i = 0; i < 3; ++i) {
    a.centre[i] = centre[i];
    a.offset[i] = offset[i];
  }
  // Moving points changes what layer bounds and automatic uvees are
  // computed from, so what is due is done first.
  flushDerived(model);
  // Checked before anything moves, so that a refusal changes nothing.
  if (walkSelection(model, a, linear, false, turnOrientation) < 0) {
    lastErrorReport("result out of range");
    return -1;
  }
  const int32_t moved = walkSelection(model, a, linear, true, turnOrientation);
  if (moved > 0) touchModelMoved(model);
  return moved;
}

int32_t translateSelection(Model* model, const float offset[3]) {
  const float identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  const float origin[3] = {0, 0, 0};
  return transformSelection(model, identity, origin, offset, false);
}

int32_t scaleSelection(Model* model, const float factors[3],
                       const SelectionPivot& pivot) {
  const float diagonal[9] = {factors[0], 0, 0, 0, factors[1], 0, 0, 0, factors[2]};
  const float none[3] = {0, 0, 0};
  return transformSelection(model, diagonal, pivot.centre, none, false);
}

int32_t rotateSelection(Model* model, const float angles[3],
                        const SelectionPivot& pivot) {
  float rotation[9];
  selectionTurn(angles, pivot.axis, rotation);
  const float none[3] = {0, 0, 0};
  return transformSelection(model, rotation, pivot.centre, none, true);
}
