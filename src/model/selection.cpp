#include "model/selection.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "model/geometry.h"
#include "model/last_error.h"
#include "model/model.h"
#include "model/skeleton.h"
#include "model/transform.h"

namespace {

SelectionPivot g_pivot;

bool marked(int32_t flags) { return (flags & kItemSelected) != 0; }

void setMark(int32_t* flags, bool on) {
  if (on) {
    *flags |= kItemSelected;
  } else {
    *flags &= ~kItemSelected;
  }
}

bool pointMarked(const Model* model, int32_t number) {
  const Point* point = findPoint(model, number);
  return point != nullptr && marked(point->flags);
}

// A growable list of numbers. A failed allocation is remembered, so that
// the caller can refuse instead of acting on part of the list.
struct IntList {
  int32_t* items = nullptr;
  int32_t count = 0;
  int32_t capacity = 0;
  bool failed = false;

  IntList() = default;
  IntList(const IntList&) = delete;
  IntList& operator=(const IntList&) = delete;
  ~IntList() { std::free(items); }

  void push(int32_t value) {
    if (failed) return;
    if (count == capacity) {
      const int32_t grown = capacity ? capacity * 2 : 64;
      void* more = std::realloc(items, sizeof(int32_t) * static_cast<size_t>(grown));
      if (more == nullptr) {
        failed = true;
        return;
      }
      items = static_cast<int32_t*>(more);
      capacity = grown;
    }
    items[count++] = value;
  }
};

// A set of point numbers as a table of one-byte elements.
struct NumberSet {
  KeyedTable table;
  NumberSet() { tableInit(&table, 1, kIntKeyed); }
  NumberSet(const NumberSet&) = delete;
  NumberSet& operator=(const NumberSet&) = delete;
  ~NumberSet() { tableRelease(&table); }
  void add(int32_t n) { tableInsert(&table, n); }
  bool has(int32_t n) const { return tableFind(&table, n) != nullptr; }
};

template <class Polygon>
Polygon* findPolygon(Model* model, KeyedTable Layer::*member, int32_t id,
                     Layer** owner) {
  for (int32_t s = tableNextSlot(&model->layers, -1); s >= 0;
       s = tableNextSlot(&model->layers, s)) {
    Layer* layer = tableAt<Layer>(&model->layers, s);
    Polygon* polygon = tableFindT<Polygon>(&(layer->*member), id);
    if (polygon == nullptr) continue;
    *owner = layer;
    return polygon;
  }
  return nullptr;
}

template <class Polygon>
bool markPolygon(Model* model, KeyedTable Layer::*member, int32_t id, bool on,
                 const char* what) {
  Layer* layer = nullptr;
  Polygon* polygon = findPolygon<Polygon>(model, member, id, &layer);
  if (polygon == nullptr) {
    lastErrorReportf("%s not found: %d", what, id);
    return false;
  }
  setMark(&polygon->flags, on);
  touchLayer(layer);
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

void growBounds(Model* model, const float p[3]) {
  for (int i = 0; i < 3; ++i) {
    if (p[i] < model->boundsMin[i]) model->boundsMin[i] = p[i];
    if (p[i] > model->boundsMax[i]) model->boundsMax[i] = p[i];
  }
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
    if (apply) {
      point->x = p[0];
      point->y = p[1];
      point->z = p[2];
      growBounds(model, p);
    }
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

// ---- Bulk edits -----------------------------------------------------------

// The keys of `table` that are also in `numbers`, found from whichever of
// the two is smaller.
void commonKeys(const KeyedTable* table, const IntList& numbers,
                const NumberSet& numberSet, IntList* out) {
  if (tableCount(table) < numbers.count) {
    for (int32_t s = tableNextSlot(table, -1); s >= 0; s = tableNextSlot(table, s)) {
      const int32_t key = tableIntKeyAt(table, s);
      if (numberSet.has(key)) out->push(key);
    }
    return;
  }
  for (int32_t i = 0; i < numbers.count; ++i) {
    if (tableFind(table, numbers.items[i]) != nullptr) out->push(numbers.items[i]);
  }
}

// Gives each copied point the entry its original has; `fix` puts the new
// number into records that carry their own point number.
template <class Entry>
bool copyEntries(KeyedTable* table, const IntList& originals,
                 const NumberSet& originalSet, const KeyedTable* renumber,
                 void (*fix)(Entry*, int32_t)) {
  if (tableCount(table) == 0) return false;
  IntList keys;
  commonKeys(table, originals, originalSet, &keys);
  for (int32_t i = 0; i < keys.count; ++i) {
    const int32_t copy = *tableFindT<int32_t>(renumber, keys.items[i]);
    const Entry value = *tableFindT<Entry>(table, keys.items[i]);
    Entry* entry = tableInsertT<Entry>(table, copy);
    if (entry == nullptr) continue;
    *entry = value;
    if (fix != nullptr) fix(entry, copy);
  }
  return keys.count > 0;
}

void fixWeight(Weight* weight, int32_t number) { weight->point = number; }
void fixUvee(Uvee* uvee, int32_t number) { uvee->word = number; }

// Copies the polygons (or lines) of the table all of whose points are
// copied; the copies take the mark, the originals lose it.
template <class Polygon>
void copyPolygons(Model* model, Layer* layer, KeyedTable Layer::*member,
                  const KeyedTable* renumber) {
  KeyedTable* table = &(layer->*member);
  IntList ids;
  for (int32_t s = tableNextSlot(table, -1); s >= 0; s = tableNextSlot(table, s)) {
    const Polygon* polygon = tableAt<Polygon>(table, s);
    bool all = true;
    for (int32_t i = 0; i < polygon->count && all; ++i) {
      all = tableFind(renumber, polygon->points[i]) != nullptr;
    }
    if (all) ids.push(polygon->id);
  }
  for (int32_t k = 0; k < ids.count; ++k) {
    Polygon* original = tableFindT<Polygon>(table, ids.items[k]);
    int32_t points[kMaxPolygonPoints];
    const int32_t count = original->count;
    const int32_t kind = original->kind;
    for (int32_t i = 0; i < count; ++i) {
      points[i] = *tableFindT<int32_t>(renumber, original->points[i]);
    }
    original->flags &= ~kItemSelected;
    int32_t id = 0;
    if constexpr (std::is_same<Polygon, Triangle>::value) {
      id = addTriangleToLayer(model, layer, count, points, kind);
    } else {
      id = addLineToLayer(model, layer, count, points, kind);
    }
    if (id != 0) tableFindT<Polygon>(table, id)->flags |= kItemSelected;
  }
}

// Removes the polygons that are marked or use a marked point; returns how
// many.
template <class Polygon>
int32_t removeMarkedPolygons(const Model* model, KeyedTable* table) {
  int32_t removed = 0;
  for (int32_t s = tableNextSlot(table, -1); s >= 0; s = tableNextSlot(table, s)) {
    Polygon* polygon = tableAt<Polygon>(table, s);
    bool doomed = marked(polygon->flags);
    for (int32_t i = 0; i < polygon->count && !doomed; ++i) {
      doomed = pointMarked(model, polygon->points[i]);
    }
    if (!doomed) continue;
    freePolygonPoints(polygon->points, polygon->count);
    tableRemove(table, tableIntKeyAt(table, s));
    ++removed;
  }
  return removed;
}

bool removeEntries(KeyedTable* table, const IntList& numbers,
                   const NumberSet& numberSet) {
  IntList keys;
  commonKeys(table, numbers, numberSet, &keys);
  for (int32_t i = 0; i < keys.count; ++i) tableRemove(table, keys.items[i]);
  return keys.count > 0;
}

// Moves the marked polygons of one table to another (same id), noting
// their points.
template <class Polygon>
int32_t movePolygons(KeyedTable* from, KeyedTable* to, NumberSet* points) {
  int32_t moved = 0;
  for (int32_t s = tableNextSlot(from, -1); s >= 0; s = tableNextSlot(from, s)) {
    const Polygon polygon = *tableAt<Polygon>(from, s);
    if (!marked(polygon.flags)) continue;
    Polygon* copy = tableInsertT<Polygon>(to, polygon.id);
    if (copy == nullptr) break;
    *copy = polygon;
    tableRemove(from, polygon.id);
    for (int32_t i = 0; i < polygon.count; ++i) points->add(polygon.points[i]);
    ++moved;
  }
  return moved;
}

template <class Polygon>
void addUsedPoints(const KeyedTable* table, NumberSet* points) {
  for (int32_t s = tableNextSlot(table, -1); s >= 0; s = tableNextSlot(table, s)) {
    const Polygon* polygon = tableAt<Polygon>(table, s);
    for (int32_t i = 0; i < polygon->count; ++i) points->add(polygon->points[i]);
  }
}

// The entry of the point goes to `to`; it leaves `from` unless still used.
template <class Entry>
void carryEntry(KeyedTable* from, KeyedTable* to, int32_t point, bool keep) {
  const Entry* entry = tableFindT<Entry>(from, point);
  if (entry == nullptr) return;
  const Entry value = *entry;
  Entry* copy = tableInsertT<Entry>(to, point);
  if (copy != nullptr) *copy = value;
  if (!keep) tableRemove(from, point);
}

void relocateFrom(Model* model, Layer* source, Layer* target) {
  NumberSet moved;
  const int32_t count =
      movePolygons<Triangle>(&source->triangles, &target->triangles, &moved) +
      movePolygons<Line>(&source->lines, &target->lines, &moved);
  if (count == 0) return;
  NumberSet kept;
  addUsedPoints<Triangle>(&source->triangles, &kept);
  addUsedPoints<Line>(&source->lines, &kept);
  for (int32_t s = tableNextSlot(&moved.table, -1); s >= 0;
       s = tableNextSlot(&moved.table, s)) {
    const int32_t point = tableIntKeyAt(&moved.table, s);
    const bool keep = kept.has(point);
    carryEntry<Colour>(&source->colours, &target->colours, point, keep);
    carryEntry<VectorEntry>(&source->normals, &target->normals, point, keep);
    carryEntry<VectorEntry>(&source->surface, &target->surface, point, keep);
  }
  source->boundsStale = 1;
  target->boundsStale = 1;
  touchLayer(source);
  touchLayer(target);
  markUveesStale(model);
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
  touchModel(model);  // markers show the selection colour
  return true;
}

bool markTriangle(Model* model, int32_t id, bool on) {
  return markPolygon<Triangle>(model, &Layer::triangles, id, on, "triangle");
}

bool markLine(Model* model, int32_t id, bool on) {
  return markPolygon<Line>(model, &Layer::lines, id, on, "line");
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
  clearMarks<Point>(&model->points);
  clearMarks<Child>(&model->children);
  clearMarks<CollideObject>(&model->collides);
  for (int32_t s = tableNextSlot(&model->joints, -1); s >= 0;
       s = tableNextSlot(&model->joints, s)) {
    tableAt<Joint>(&model->joints, s)->selected = 0;
  }
  for (int32_t s = tableNextSlot(&model->layers, -1); s >= 0;
       s = tableNextSlot(&model->layers, s)) {
    Layer* layer = tableAt<Layer>(&model->layers, s);
    // Bitwise or: both tables are cleared whatever the first held.
    if (clearMarks<Triangle>(&layer->triangles) | clearMarks<Line>(&layer->lines)) {
      touchLayer(layer);
    }
  }
  touchModel(model);
}

// ---- Pivot ------------------------------------------------------------------

const SelectionPivot& selectionPivot() { return g_pivot; }

void setPivotCentre(const float centre[3]) {
  std::memcpy(g_pivot.centre, centre, sizeof g_pivot.centre);
}

void setPivotAxis(const float through[3]) {
  for (int i = 0; i < 3; ++i) g_pivot.axis[i] = through[i] - g_pivot.centre[i];
}

void resetPivot() { g_pivot = SelectionPivot{}; }

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
  if (moved > 0) touchModel(model);
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

// ---- Bulk edits ---------------------------------------------------------------

int32_t copySelection(Model* model) {
  flushDerived(model);
  IntList originals;
  NumberSet originalSet;
  for (int32_t s = tableNextSlot(&model->points, -1); s >= 0;
       s = tableNextSlot(&model->points, s)) {
    if (!marked(tableAt<Point>(&model->points, s)->flags)) continue;
    originals.push(tableIntKeyAt(&model->points, s));
    originalSet.add(tableIntKeyAt(&model->points, s));
  }
  if (originals.failed) {
    lastErrorReport("out of memory");
    return -1;
  }
  if (originals.count == 0) return 0;
  const int32_t highest = highestPointNumber(model);
  if (highest > INT32_MAX - originals.count) {
    lastErrorReport("no point numbers left for the copies");
    return -1;
  }

  // Old number to new: after the highest, in slot order.
  KeyedTable renumber;
  tableInit(&renumber, sizeof(int32_t), kIntKeyed);
  for (int32_t i = 0; i < originals.count; ++i) {
    const int32_t copy = highest + 1 + i;
    int32_t* slot = tableInsertT<int32_t>(&renumber, originals.items[i]);
    if (slot != nullptr) *slot = copy;
    Point* original = findPoint(model, originals.items[i]);
    const float x = original->x, y = original->y, z = original->z;
    original->flags &= ~kItemSelected;
    if (slot == nullptr || !addPoint(model, copy, x, y, z)) {
      tableRelease(&renumber);
      lastErrorReport("out of memory");
      return -1;
    }
    findPoint(model, copy)->flags |= kItemSelected;
  }

  copyEntries<Colour>(&model->colours, originals, originalSet, &renumber, nullptr);
  copyEntries<VectorEntry>(&model->normals, originals, originalSet, &renumber, nullptr);
  copyEntries<VectorEntry>(&model->surface, originals, originalSet, &renumber, nullptr);
  for (int32_t s = tableNextSlot(&model->joints, -1); s >= 0;
       s = tableNextSlot(&model->joints, s)) {
    copyEntries<Weight>(&tableAt<Joint>(&model->joints, s)->weights, originals,
                        originalSet, &renumber, fixWeight);
  }
  for (int32_t s = tableNextSlot(&model->layers, -1); s >= 0;
       s = tableNextSlot(&model->layers, s)) {
    Layer* layer = tableAt<Layer>(&model->layers, s);
    copyEntries<Colour>(&layer->colours, originals, originalSet, &renumber, nullptr);
    copyEntries<VectorEntry>(&layer->normals, originals, originalSet, &renumber, nullptr);
    copyEntries<VectorEntry>(&layer->surface, originals, originalSet, &renumber, nullptr);
    for (int32_t i = tableNextSlot(&layer->images, -1); i >= 0;
         i = tableNextSlot(&layer->images, i)) {
      Image* image = tableAt<Image>(&layer->images, i);
      // Automatic uvees are refilled for the copies anyway.
      if (image->hasUvees) {
        copyEntries<Uvee>(&image->uvees, originals, originalSet, &renumber, fixUvee);
      }
    }
    copyPolygons<Triangle>(model, layer, &Layer::triangles, &renumber);
    copyPolygons<Line>(model, layer, &Layer::lines, &renumber);
    touchLayer(layer);
  }
  tableRelease(&renumber);
  markUveesStale(model);
  touchModel(model);
  return originals.count;
}

int32_t deleteSelection(Model* model) {
  flushDerived(model);
  IntList doomed;
  NumberSet doomedSet;
  for (int32_t s = tableNextSlot(&model->points, -1); s >= 0;
       s = tableNextSlot(&model->points, s)) {
    if (!marked(tableAt<Point>(&model->points, s)->flags)) continue;
    doomed.push(tableIntKeyAt(&model->points, s));
    doomedSet.add(tableIntKeyAt(&model->points, s));
  }
  if (doomed.failed) {
    lastErrorReport("out of memory");
    return -1;
  }

  // Polygons first, while the points still carry their marks.
  int32_t deleted = 0;
  for (int32_t s = tableNextSlot(&model->layers, -1); s >= 0;
       s = tableNextSlot(&model->layers, s)) {
    Layer* layer = tableAt<Layer>(&model->layers, s);
    const int32_t polygons = removeMarkedPolygons<Triangle>(model, &layer->triangles) +
                             removeMarkedPolygons<Line>(model, &layer->lines);
    const bool entries = removeEntries(&layer->colours, doomed, doomedSet) |
                         removeEntries(&layer->normals, doomed, doomedSet) |
                         removeEntries(&layer->surface, doomed, doomedSet);
    if (polygons > 0 || entries) touchLayer(layer);
    deleted += polygons;
  }
  for (int32_t i = 0; i < doomed.count; ++i) tableRemove(&model->points, doomed.items[i]);
  deleted += doomed.count;

  for (int32_t s = tableNextSlot(&model->joints, -1); s >= 0;
       s = tableNextSlot(&model->joints, s)) {
    Joint* joint = tableAt<Joint>(&model->joints, s);
    if (!joint->selected) continue;
    char name[kTableKeyBytes];
    std::memcpy(name, tableStringKeyAt(&model->joints, s), sizeof name);
    releaseJoint(joint);
    tableRemove(&model->joints, name);
    ++deleted;
  }
  for (int32_t s = tableNextSlot(&model->children, -1); s >= 0;
       s = tableNextSlot(&model->children, s)) {
    Child* child = tableAt<Child>(&model->children, s);
    if (!marked(child->flags)) continue;
    freeModel(child->model);
    tableRemove(&model->children, tableIntKeyAt(&model->children, s));
    ++deleted;
  }
  for (int32_t s = tableNextSlot(&model->collides, -1); s >= 0;
       s = tableNextSlot(&model->collides, s)) {
    if (!marked(tableAt<CollideObject>(&model->collides, s)->flags)) continue;
    tableRemove(&model->collides, tableIntKeyAt(&model->collides, s));
    ++deleted;
  }
  if (deleted > 0) touchModel(model);
  return deleted;
}

bool relocateSelection(Model* model, const char* name) {
  if (findLayer(model, name) == nullptr &&
      addLayer(model, name, 0.0f, 0.0f, 0.0f, 1, 0, kAxisX) == nullptr) {
    return false;  // addLayer says why
  }
  flushDerived(model);
  // Layer pointers are stable from here: no layer is added.
  Layer* target = findLayer(model, name);
  for (int32_t s = tableNextSlot(&model->layers, -1); s >= 0;
       s = tableNextSlot(&model->layers, s)) {
    Layer* source = tableAt<Layer>(&model->layers, s);
    if (source != target) relocateFrom(model, source, target);
  }
  return true;
}

int32_t convertToTriangles(Model* model) {
  flushDerived(model);
  int32_t converted = 0;
  for (int32_t s = tableNextSlot(&model->layers, -1); s >= 0;
       s = tableNextSlot(&model->layers, s)) {
    Layer* layer = tableAt<Layer>(&model->layers, s);
    IntList ids;
    for (int32_t t = tableNextSlot(&layer->triangles, -1); t >= 0;
         t = tableNextSlot(&layer->triangles, t)) {
      const Triangle* polygon = tableAt<Triangle>(&layer->triangles, t);
      if (polygon->count > 3) ids.push(polygon->id);
    }
    for (int32_t k = 0; k < ids.count; ++k) {
      const Triangle polygon = *tableFindT<Triangle>(&layer->triangles, ids.items[k]);
      tableRemove(&layer->triangles, polygon.id);
      for (int32_t i = 1; i + 1 < polygon.count; ++i) {
        const int32_t fan[3] = {polygon.points[0], polygon.points[i],
                                polygon.points[i + 1]};
        const int32_t id = addTriangleToLayer(model, layer, 3, fan, polygon.kind);
        if (id != 0) tableFindT<Triangle>(&layer->triangles, id)->flags = polygon.flags;
      }
      freePolygonPoints(polygon.points, polygon.count);
    }
    converted += ids.count;
  }
  if (converted > 0) markUveesStale(model);
  return converted;
}

bool setAutoNormals(Model* model, const char* name, bool on) {
  Layer* layer = findLayer(model, name);
  if (layer == nullptr) {
    lastErrorReportf("layer not found: %s", name ? name : "");
    return false;
  }
  layer->autoNormals = on ? 1 : 0;
  touchLayer(layer);
  return true;
}
