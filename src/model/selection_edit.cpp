// Bulk edits of the selection: delete, relocate into a layer, and turning
// polygons into triangles (copying is selection_copy.cpp). Each sweeps the
// tables it touches once.
#include "model/selection.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "model/document_index.h"
#include "model/geometry.h"
#include "model/geometry_support.h"
#include "model/last_error.h"
#include "model/model.h"
#include "model/selection_support.h"
#include "model/skeleton.h"

namespace selection_detail {

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

// The marked points among the candidates, in slot order, as a list and a
// set; false when the candidates are not known.
static bool collectMarkedCandidates(const Model* model, IntList* list, NumberSet* set) {
  IndexArray<int32_t> points, polygons;
  if (!markCandidates(model, &points, &polygons)) return false;
  IndexArray<int32_t> slots;
  for (int32_t i = 0; i < points.count; ++i) {
    const int32_t slot = tablePosition(&model->points, points.items[i], false);
    if (slot >= 0 && marked(tableAt<Point>(&model->points, slot)->flags) &&
        !slots.push(slot))
      return false;
  }
  std::sort(slots.items, slots.items + slots.count);
  for (int32_t i = 0; i < slots.count; ++i) {
    list->push(tableIntKeyAt(&model->points, slots.items[i]));
    set->add(tableIntKeyAt(&model->points, slots.items[i]));
  }
  return true;
}

bool collectMarkedPoints(Model* model, IntList* list, NumberSet* set) {
  flushDerived(model);
  if (!collectMarkedCandidates(model, list, set)) {
    for (int32_t s = tableNextSlot(&model->points, -1); s >= 0;
         s = tableNextSlot(&model->points, s)) {
      if (!marked(tableAt<Point>(&model->points, s)->flags)) continue;
      list->push(tableIntKeyAt(&model->points, s));
      set->add(tableIntKeyAt(&model->points, s));
    }
  }
  if (!list->failed) return true;
  lastErrorReport("out of memory");
  return false;
}

}  // namespace selection_detail

namespace {

using namespace selection_detail;
using namespace geometry_detail;

// Removes the polygons that are marked or use a marked point; returns how
// many.
template <class Polygon>
int32_t removeMarkedPolygons(Model* model, Layer* layer) {
  KeyedTable* table = polygonTableOf<Polygon>(layer);
  int32_t removed = 0;
  for (int32_t s = tableNextSlot(table, -1); s >= 0; s = tableNextSlot(table, s)) {
    Polygon* polygon = tableAt<Polygon>(table, s);
    bool doomed = marked(polygon->flags);
    for (int32_t i = 0; i < polygon->count && !doomed; ++i) {
      doomed = pointMarked(model, polygonPoints(polygon)[i]);
    }
    if (!doomed) continue;
    removePolygon(model, layer, polygon);
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
int32_t movePolygons(Model* model, Layer* source, Layer* target, NumberSet* points) {
  KeyedTable* from = polygonTableOf<Polygon>(source);
  KeyedTable* to = polygonTableOf<Polygon>(target);
  int32_t moved = 0;
  for (int32_t s = tableNextSlot(from, -1); s >= 0; s = tableNextSlot(from, s)) {
    const Polygon polygon = *tableAt<Polygon>(from, s);
    if (!marked(polygon.flags)) continue;
    Polygon* copy = tableInsertT<Polygon>(to, polygon.id);
    if (copy == nullptr) break;
    *copy = polygon;
    tableRemove(from, polygon.id);
    const int32_t* corners = polygonPoints(&polygon);
    notePolygonMoved(model, target, polygon.id, isLine<Polygon>(), corners, polygon.count);
    for (int32_t i = 0; i < polygon.count; ++i) points->add(corners[i]);
    ++moved;
  }
  return moved;
}

template <class Polygon>
void addUsedPoints(const KeyedTable* table, NumberSet* points) {
  for (int32_t s = tableNextSlot(table, -1); s >= 0; s = tableNextSlot(table, s)) {
    const Polygon* polygon = tableAt<Polygon>(table, s);
    const int32_t* corners = polygonPoints(polygon);
    for (int32_t i = 0; i < polygon->count; ++i) points->add(corners[i]);
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
      movePolygons<Triangle>(model, source, target, &moved) +
      movePolygons<Line>(model, source, target, &moved);
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
  noteLayerListed(model, kEntryLayers, target);
  markBoundsStale(model, source);
  markBoundsStale(model, target);
  touchLayer(model, source);
  touchLayer(model, target);
  markUveesStale(model);
}

}  // namespace

// ---- Bulk edits ---------------------------------------------------------------

int32_t deleteSelection(Model* model) {
  IntList doomed;
  NumberSet doomedSet;
  if (!collectMarkedPoints(model, &doomed, &doomedSet)) return -1;

  // Polygons first, while the points still carry their marks.
  int32_t deleted = 0;
  for (int32_t s = tableNextSlot(&model->layers, -1); s >= 0;
       s = tableNextSlot(&model->layers, s)) {
    Layer* layer = tableAt<Layer>(&model->layers, s);
    const int32_t polygons = removeMarkedPolygons<Triangle>(model, layer) +
                             removeMarkedPolygons<Line>(model, layer);
    const bool entries = removeEntries(&layer->colours, doomed, doomedSet) |
                         removeEntries(&layer->normals, doomed, doomedSet) |
                         removeEntries(&layer->surface, doomed, doomedSet);
    if (polygons > 0 || entries) touchLayer(model, layer);
    deleted += polygons;
  }
  for (int32_t i = 0; i < doomed.count; ++i) {
    notePointRemoving(model, doomed.items[i]);
    tableRemove(&model->points, doomed.items[i]);
  }
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
      // A copy: the triangles added below may move the table.
      Triangle polygon = *tableFindT<Triangle>(&layer->triangles, ids.items[k]);
      notePolygonRemoving(model, polygon.id, false, polygonPoints(&polygon), polygon.count);
      tableRemove(&layer->triangles, polygon.id);
      forEachStripTriangle(polygonPoints(&polygon), polygon.count,
                           [&](int32_t a, int32_t b, int32_t c) {
        const int32_t corners[3] = {a, b, c};
        const int32_t id = addTriangleToLayer(model, layer, 3, corners, polygon.kind);
        if (id == 0) return;
        tableFindT<Triangle>(&layer->triangles, id)->flags = polygon.flags;
        if (marked(polygon.flags)) notePolygonMarked(model, id, false);
      });
      releasePolygonPoints(&polygon);
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
