// Copying the selection: the marked points under new numbers with what
// belongs to them, and the polygons and lines all of whose points are
// copied, found through the polygon index where the model has one.
#include <algorithm>

#include "model/document_index.h"
#include "model/geometry.h"
#include "model/geometry_support.h"
#include "model/last_error.h"
#include "model/model.h"
#include "model/selection.h"
#include "model/selection_support.h"

namespace {

using namespace selection_detail;
using namespace geometry_detail;

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

bool allCopied(const int32_t* points, int32_t count, const KeyedTable* renumber) {
  for (int32_t i = 0; i < count; ++i) {
    if (tableFind(renumber, points[i]) == nullptr) return false;
  }
  return true;
}

// A polygon or line to copy, found through the polygon index: sorted, they
// come in the order the layer loop below meets them.
struct PolygonCopy {
  int32_t layer;  // slot
  int32_t line;   // 0 polygons, 1 lines
  int32_t slot;   // in its table
  int32_t id;
  bool operator<(const PolygonCopy& o) const {
    if (layer != o.layer) return layer < o.layer;
    if (line != o.line) return line < o.line;
    return slot < o.slot;
  }
  bool operator==(const PolygonCopy& o) const { return id == o.id; }
};

// Every polygon and line all of whose points are copied, through the
// polygon index; false when it cannot be had.
bool findCopies(Model* model, const IntList& originals, const KeyedTable* renumber,
                IndexArray<PolygonCopy>* copies) {
  const PolygonIndex* index = polygonsOf(model);
  if (index == nullptr) return false;
  bool ok = true;
  for (int32_t i = 0; i < originals.count && ok; ++i) {
    const int32_t point = tablePosition(&model->points, originals.items[i], false);
    forEachUse(index, point, [&](int32_t use) {
      const int32_t id = use < 0 ? -use : use;
      const int32_t owner = polygonOwner(index, id);
      if (owner < 0 || !ok) return;
      Layer* layer = tableAt<Layer>(&model->layers, owner);
      const KeyedTable* table = use < 0 ? &layer->lines : &layer->triangles;
      const Triangle* p = static_cast<const Triangle*>(tableFind(table, id));
      if (p == nullptr || !allCopied(polygonPoints(p), p->count, renumber)) return;
      ok = copies->push({owner, use < 0 ? 1 : 0, tablePosition(table, id, false), id});
    });
  }
  if (!ok) return false;
  std::sort(copies->items, copies->items + copies->count);
  copies->count = static_cast<int32_t>(
      std::unique(copies->items, copies->items + copies->count) - copies->items);
  return true;
}

// The ids of the layer's polygons (or lines) to copy, in slot order: from
// `found` when the index gave them, else by scanning the table.
template <class Polygon>
void copiesIn(Model* model, Layer* layer, const KeyedTable* renumber,
              const IndexArray<PolygonCopy>* found, IntList* ids) {
  if (found != nullptr) {
    const PolygonCopy first = {layerSlotOf(model, layer), isLine<Polygon>() ? 1 : 0, -1, 0};
    const PolygonCopy* begin = found->items;
    const PolygonCopy* end = begin + found->count;
    for (const PolygonCopy* c = std::lower_bound(begin, end, first);
         c != end && c->layer == first.layer && c->line == first.line; ++c)
      ids->push(c->id);
    return;
  }
  const KeyedTable* table = polygonTableOf<Polygon>(layer);
  for (int32_t s = tableNextSlot(table, -1); s >= 0; s = tableNextSlot(table, s)) {
    const Polygon* polygon = tableAt<Polygon>(table, s);
    if (allCopied(polygonPoints(polygon), polygon->count, renumber)) ids->push(polygon->id);
  }
}

// Copies the polygons (or lines) of the layer all of whose points are
// copied; the copies take the mark, the originals lose it.
template <class Polygon>
void copyPolygons(Model* model, Layer* layer, const KeyedTable* renumber,
                  const IndexArray<PolygonCopy>* found) {
  KeyedTable* table = polygonTableOf<Polygon>(layer);
  IntList ids;
  copiesIn<Polygon>(model, layer, renumber, found, &ids);
  for (int32_t k = 0; k < ids.count; ++k) {
    Polygon* original = tableFindT<Polygon>(table, ids.items[k]);
    int32_t points[kMaxPolygonPoints];
    const int32_t count = original->count;
    const int32_t kind = original->kind;
    for (int32_t i = 0; i < count; ++i) {
      points[i] = *tableFindT<int32_t>(renumber, polygonPoints(original)[i]);
    }
    original->flags &= ~kItemSelected;
    int32_t id = 0;
    if constexpr (std::is_same<Polygon, Triangle>::value) {
      id = addTriangleToLayer(model, layer, count, points, kind);
    } else {
      id = addLineToLayer(model, layer, count, points, kind);
    }
    if (id == 0) continue;
    tableFindT<Polygon>(table, id)->flags |= kItemSelected;
    notePolygonMarked(model, id, isLine<Polygon>());
  }
  // The originals lost their marks even where no copy could be added.
  if (ids.count > 0) touchLayer(model, layer);
}

}  // namespace

int32_t copySelection(Model* model) {
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
    notePointMarked(model, copy);
  }
  IndexArray<PolygonCopy> found;
  const bool indexed = findCopies(model, originals, &renumber, &found);

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
    copyPolygons<Triangle>(model, layer, &renumber, indexed ? &found : nullptr);
    copyPolygons<Line>(model, layer, &renumber, indexed ? &found : nullptr);
    touchLayer(model, layer);
  }
  tableRelease(&renumber);
  markUveesStale(model);
  touchModel(model);
  return originals.count;
}

