// Bulk edits of the selection: copy, delete, relocate into a layer, and
// turning polygons into triangles. Each sweeps the tables it touches once.
#include "model/selection.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "model/geometry.h"
#include "model/last_error.h"
#include "model/model.h"
#include "model/selection_support.h"
#include "model/skeleton.h"

namespace {

using namespace selection_detail;

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
  // The originals lost their marks even where no copy could be added.
  if (ids.count > 0) touchLayer(model, layer);
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
  touchLayer(model, source);
  touchLayer(model, target);
  markUveesStale(model);
}

// The numbers of the marked points, as a list and a set; false (reported)
// when out of memory.
bool collectMarkedPoints(const Model* model, IntList* list, NumberSet* set) {
  for (int32_t s = tableNextSlot(&model->points, -1); s >= 0;
       s = tableNextSlot(&model->points, s)) {
    if (!marked(tableAt<Point>(&model->points, s)->flags)) continue;
    list->push(tableIntKeyAt(&model->points, s));
    set->add(tableIntKeyAt(&model->points, s));
  }
  if (!list->failed) return true;
  lastErrorReport("out of memory");
  return false;
}

}  // namespace

// ---- Bulk edits ---------------------------------------------------------------

int32_t copySelection(Model* model) {
  flushDerived(model);
  IntList originals;
  NumberSet originalSet;
  if (!collectMarkedPoints(model, &originals, &originalSet)) return -1;
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
    touchLayer(model, layer);
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
  if (!collectMarkedPoints(model, &doomed, &doomedSet)) return -1;

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
    if (polygons > 0 || entries) touchLayer(model, layer);
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
      forEachStripTriangle(polygon.points, polygon.count,
                           [&](int32_t a, int32_t b, int32_t c) {
        const int32_t corners[3] = {a, b, c};
        const int32_t id = addTriangleToLayer(model, layer, 3, corners, polygon.kind);
        if (id != 0) tableFindT<Triangle>(&layer->triangles, id)->flags = polygon.flags;
      });
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
  touchLayer(model, layer);
  return true;
}
