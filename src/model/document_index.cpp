#include "model/document_index.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "model/geometry.h"
#include "model/point_moves.h"

// Slots of the layers an operation has to look at; while not `known`, it
// looks at every layer. Repeats are dropped whenever the list has doubled.
struct SlotList {
  bool known = false;
  IndexArray<int32_t> slots;
  int32_t limit = 0;
};

// A layer's bounds folded as its triangles came (see noteTrianglesAdded):
// valid while the layer and the model still have the revisions recorded.
struct RunningBounds {
  float bounds[6];
  uint32_t layerRevision;
  uint32_t modelRevision;
  int32_t lastSlot;  // the highest slot the layer's triangles take
  bool nan;
  bool valid;
};

struct DocumentIndex {
  bool off = false;
  std::vector<RunningBounds> running;  // by layer slot
  std::unique_ptr<PositionIndex> positions;
  std::unique_ptr<NumberHeap> numbers;
  std::unique_ptr<PolygonIndex> polygons;
  SlotList stale;      // bounds due
  SlotList automatic;  // may hold an image without uvees of its own
  SlotList entries;    // may hold colour, normal or surface entries
  bool marksKnown = false;
  IndexArray<int32_t> markedPoints;
  IndexArray<int32_t> markedPolygons;
  int32_t marksLimit = 0;  // candidates that make the lists lose repeats
};

namespace {

// The model's index record, made on first want; null when switched off or
// out of memory. A cache: making it changes nothing a reader sees.
DocumentIndex* recordOf(const Model* model) {
  Model* m = const_cast<Model*>(model);
  if (m->index == nullptr) m->index = new (std::nothrow) DocumentIndex;
  return m->index != nullptr && !m->index->off ? m->index : nullptr;
}

DocumentIndex* existing(const Model* model) {
  DocumentIndex* index = model->index;
  return index != nullptr && !index->off ? index : nullptr;
}

template <class Index, class Build>
Index* buildOnce(std::unique_ptr<Index>* slot, Build build) {
  if (*slot) return slot->get();
  slot->reset(new (std::nothrow) Index);
  if (*slot && !build(slot->get())) slot->reset();
  return slot->get();
}

int32_t pointSlot(const Model* model, int32_t number) {
  return tablePosition(&model->points, number, false);
}

// Once a push fails the candidates are no longer complete. Marking the
// same items over and over repeats them: the lists lose their repeats
// whenever they have doubled, so they stay within twice the items marked.
void pushMark(DocumentIndex* index, IndexArray<int32_t>* list, int32_t value) {
  if (!index->marksKnown) return;
  if (!list->push(value)) {
    index->marksKnown = false;
    return;
  }
  const int32_t held = index->markedPoints.count + index->markedPolygons.count;
  if (held < index->marksLimit) return;
  sortUnique(&index->markedPoints);
  sortUnique(&index->markedPolygons);
  index->marksLimit =
      std::max(1024, 2 * (index->markedPoints.count + index->markedPolygons.count));
}

bool copyList(const IndexArray<int32_t>& from, IndexArray<int32_t>* to) {
  to->count = 0;
  if (!to->reserve(from.count)) return false;
  std::copy(from.items, from.items + from.count, to->items);
  to->count = from.count;
  sortUnique(to);
  return true;
}

void listPush(SlotList* list, int32_t slot) {
  if (!list->known) return;
  if (!list->slots.push(slot)) {
    list->known = false;
    return;
  }
  if (list->slots.count < list->limit) return;
  sortUnique(&list->slots);
  list->limit = std::max(64, 2 * list->slots.count);
}

// The list sorted, each slot once; false while not known.
bool listTake(const SlotList& list, IndexArray<int32_t>* slots) {
  return list.known && copyList(list.slots, slots);
}

// After a look at the layers: `slots` (taken over) are all there are,
// unless not `complete`.
void listSet(SlotList* list, IndexArray<int32_t>* slots, bool complete) {
  std::swap(list->slots.items, slots->items);
  std::swap(list->slots.count, slots->count);
  std::swap(list->slots.capacity, slots->capacity);
  list->known = complete;
  list->limit = std::max(64, 2 * list->slots.count);
}

void listForget(SlotList* list) {
  list->known = false;
  list->slots.count = 0;
}

}  // namespace

void setDocumentIndexing(Model* model, bool on) {
  freeDocumentIndex(model);
  if (on) return;
  model->index = new (std::nothrow) DocumentIndex;
  if (model->index != nullptr) model->index->off = true;
}

void freeDocumentIndex(Model* model) {
  delete model->index;
  model->index = nullptr;
}

void handOverDocumentIndex(Model* from, Model* to) {
  if (to->index != nullptr && to->index->off) {
    freeDocumentIndex(from);
    return;
  }
  freeDocumentIndex(to);
  to->index = from->index;
  from->index = nullptr;
}

DocumentIndexBytes documentIndexBytes(const Model* model) {
  DocumentIndexBytes bytes = {0, 0, 0, 0};
  const DocumentIndex* index = model->index;
  if (index == nullptr) return bytes;
  if (index->positions)
    bytes.positions = index->positions->heads.bytes() + index->positions->next.bytes();
  if (index->numbers) bytes.numbers = index->numbers->heap.bytes();
  if (index->polygons) bytes.polygons = polygonIndexBytes(index->polygons.get());
  bytes.lists = index->stale.slots.bytes() + index->automatic.slots.bytes() +
                index->entries.slots.bytes() + index->markedPoints.bytes() +
                index->markedPolygons.bytes();
  return bytes;
}

PositionIndex* positionsOf(const Model* model) {
  DocumentIndex* index = recordOf(model);
  if (index == nullptr) return nullptr;
  return buildOnce(&index->positions, [&](PositionIndex* built) {
    return positionIndexBuild(built, &model->points);
  });
}

NumberHeap* numbersOf(const Model* model) {
  DocumentIndex* index = recordOf(model);
  if (index == nullptr) return nullptr;
  return buildOnce(&index->numbers, [&](NumberHeap* built) {
    return numberHeapBuild(built, &model->points);
  });
}

PolygonIndex* polygonsOf(const Model* model) {
  DocumentIndex* index = recordOf(model);
  if (index == nullptr) return nullptr;
  return buildOnce(&index->polygons, [&](PolygonIndex* built) {
    return polygonIndexBuild(built, model);
  });
}

PolygonIndex* builtPolygons(const Model* model) {
  DocumentIndex* index = existing(model);
  return index != nullptr ? index->polygons.get() : nullptr;
}

void notePointAdded(Model* model, int32_t number) {
  DocumentIndex* index = existing(model);
  if (index == nullptr) return;
  const int32_t slot = pointSlot(model, number);
  if (index->positions && !positionIndexAdd(index->positions.get(), &model->points, slot))
    index->positions.reset();
  if (index->numbers && !numberHeapAdd(index->numbers.get(), &model->points, number))
    index->numbers.reset();
  if (index->polygons && !polygonIndexPointsGrew(index->polygons.get(), &model->points))
    index->polygons.reset();
}

void notePointsAdded(Model* model, int32_t firstNumber, int32_t n) {
  if (existing(model) == nullptr) return;
  for (int32_t i = 0; i < n; ++i) notePointAdded(model, firstNumber + i);
}

void notePointMoved(Model* model, int32_t number, const float from[3]) {
  const int32_t slot = pointSlot(model, number);
  recordPointMove(model, slot);
  DocumentIndex* index = existing(model);
  if (index == nullptr) return;
  if (index->positions) {
    positionIndexRemove(index->positions.get(), &model->points, slot, from);
    if (!positionIndexAdd(index->positions.get(), &model->points, slot))
      index->positions.reset();
  }
  if (tableCount(&model->layers) == 0) return;
  if (index->polygons) {
    polygonIndexPointMoved(index->polygons.get(), model, slot, from);
  } else {
    polygonsOf(model);  // built from the positions as they are now
  }
}

void notePointRemoving(Model* model, int32_t number) {
  DocumentIndex* index = existing(model);
  if (index == nullptr) return;
  const int32_t slot = pointSlot(model, number);
  if (slot < 0) return;
  if (index->positions) {
    const Point* p = tableAt<Point>(&model->points, slot);
    const float at[3] = {p->x, p->y, p->z};
    positionIndexRemove(index->positions.get(), &model->points, slot, at);
  }
  if (index->polygons) polygonIndexPointRemoved(index->polygons.get(), slot);
  // The number heap lets deleted numbers go when they reach the top.
}

void notePolygonAdded(Model* model, const Layer* layer, int32_t id, bool line) {
  DocumentIndex* index = existing(model);
  if (index == nullptr || !index->polygons) return;
  const int32_t* points = nullptr;
  int32_t count = 0;
  if (line) {
    const Line* l = tableFindT<Line>(&layer->lines, id);
    points = polygonPoints(l);
    count = l->count;
  } else {
    const Triangle* t = tableFindT<Triangle>(&layer->triangles, id);
    points = polygonPoints(t);
    count = t->count;
  }
  if (!polygonIndexAdd(index->polygons.get(), model, layerSlotOf(model, layer), id,
                       line, points, count))
    index->polygons.reset();
}

void notePolygonsAdded(Model* model, const Layer* layer, int32_t firstId, int32_t n) {
  DocumentIndex* index = existing(model);
  if (index == nullptr || !index->polygons) return;
  for (int32_t i = 0; i < n; ++i) notePolygonAdded(model, layer, firstId + i, false);
}

void notePolygonRemoving(Model* model, int32_t id, bool line,
                         const int32_t* points, int32_t count) {
  DocumentIndex* index = existing(model);
  if (index == nullptr || !index->polygons) return;
  polygonIndexRemove(index->polygons.get(), model, id, line, points, count);
}

void notePolygonMoved(Model* model, const Layer* to, int32_t id, bool line,
                      const int32_t* points, int32_t count) {
  DocumentIndex* index = existing(model);
  if (index == nullptr || !index->polygons) return;
  polygonIndexMove(index->polygons.get(), model, id, line, points, count,
                   layerSlotOf(model, to));
}

void noteLayerAdded(Model* model, const Layer* layer) {
  DocumentIndex* index = existing(model);
  if (index == nullptr || !index->polygons) return;
  if (!polygonIndexLayerAdded(index->polygons.get(), layerSlotOf(model, layer)))
    index->polygons.reset();
}

void noteLayerRemoving(Model* model, const Layer* layer) {
  DocumentIndex* index = existing(model);
  if (index == nullptr) return;
  if (index->polygons)
    polygonIndexLayerRemoving(index->polygons.get(), model, layerSlotOf(model, layer));
}

void noteLayersRenumbered(Model* model) {
  DocumentIndex* index = existing(model);
  if (index == nullptr) return;
  index->polygons.reset();
  index->running.clear();
  listForget(&index->stale);
  listForget(&index->automatic);
  listForget(&index->entries);
}

void notePointMarked(Model* model, int32_t number) {
  DocumentIndex* index = existing(model);
  if (index != nullptr) pushMark(index, &index->markedPoints, number);
}

void notePolygonMarked(Model* model, int32_t id, bool line) {
  DocumentIndex* index = existing(model);
  if (index != nullptr) pushMark(index, &index->markedPolygons, line ? -id : id);
}

void markBoundsStale(Model* model, Layer* layer) {
  if (layer->boundsStale) return;
  layer->boundsStale = 1;
  DocumentIndex* index = existing(model);
  if (index != nullptr) listPush(&index->stale, layerSlotOf(model, layer));
}

namespace {

RunningBounds* runningOf(const Model* model, const Layer* layer, bool grow) {
  DocumentIndex* index = grow ? recordOf(model) : existing(model);
  if (index == nullptr) return nullptr;
  const size_t slot = static_cast<size_t>(layerSlotOf(model, layer));
  if (slot >= index->running.size()) {
    if (!grow) return nullptr;
    try {
      index->running.resize(slot + 1, RunningBounds{{0, 0, 0, 0, 0, 0}, 0, 0, -1, false, false});
    } catch (const std::bad_alloc&) {
      return nullptr;  // a cache: the recompute runs instead
    }
  }
  return &index->running[slot];
}

}  // namespace

void noteTrianglesAdded(Model* model, const Layer* layer, int32_t firstSlot, int32_t added,
                        const Point* const* corners, int32_t count,
                        uint32_t layerBefore, uint32_t modelBefore) {
  RunningBounds* r = runningOf(model, layer, true);
  if (r == nullptr) return;
  // Slot order is the fold's order only while each triangle lands after
  // all the others.
  const bool alone = tableCount(&layer->triangles) == added;
  const bool goesOn = r->valid && r->layerRevision == layerBefore &&
                      r->modelRevision == modelBefore && firstSlot > r->lastSlot;
  r->layerRevision = layer->revision;
  r->modelRevision = model->revision;
  r->lastSlot = firstSlot + added - 1;
  r->valid = alone || goesOn;
  if (!r->valid) return;
  // Element by element in and out: a block copy of floats just stored one
  // by one waits for the stores.
  float b[6];
  for (int k = 0; k < 6; ++k) b[k] = r->bounds[k];
  bool nan = alone ? false : r->nan;
  foldEach(b, static_cast<size_t>(count), alone, [&](size_t i, float v[3]) {
    v[0] = corners[i]->x, v[1] = corners[i]->y, v[2] = corners[i]->z;
    nan |= (v[0] != v[0]) | (v[1] != v[1]) | (v[2] != v[2]);
  });
  for (int k = 0; k < 6; ++k) r->bounds[k] = b[k];
  r->nan = nan;
}

void noteBoundsRecomputed(Model* model, const Layer* layer, int32_t state, bool folded) {
  RunningBounds* r = runningOf(model, layer, state != kBoxEmpty);
  if (r == nullptr) return;
  r->valid = state != kBoxEmpty;
  // From the fold, the last slot is the one its last add took.
  if (!folded) {
    r->lastSlot = -1;
    for (int32_t s = tableNextSlot(&layer->triangles, -1); s >= 0;
         s = tableNextSlot(&layer->triangles, s))
      r->lastSlot = s;
  }
  std::memcpy(r->bounds, layer->bounds, sizeof r->bounds);
  r->nan = state == kBoxUnknown;
  r->layerRevision = layer->revision;
  r->modelRevision = model->revision;
}

bool runningBounds(const Model* model, const Layer* layer, float bounds[6],
                   int32_t* state) {
  const RunningBounds* r = runningOf(model, layer, false);
  if (r == nullptr || !r->valid || r->layerRevision != layer->revision ||
      r->modelRevision != model->revision || tableCount(&layer->triangles) == 0)
    return false;
  std::memcpy(bounds, r->bounds, sizeof r->bounds);
  *state = r->nan ? kBoxUnknown : kBoxKnown;
  return true;
}

bool takeStaleLayers(Model* model, IndexArray<int32_t>* slots) {
  DocumentIndex* index = existing(model);
  if (index == nullptr || !listTake(index->stale, slots)) return false;
  index->stale.slots.count = 0;
  return true;
}

void staleLayersKnown(Model* model) {
  DocumentIndex* index = recordOf(model);
  if (index == nullptr) return;
  IndexArray<int32_t> none;
  listSet(&index->stale, &none, true);
}

namespace {

SlotList* listOf(DocumentIndex* index, LayerList list) {
  return list == kAutoUveeLayers ? &index->automatic : &index->entries;
}

}  // namespace

void noteLayerListed(Model* model, LayerList list, const Layer* layer) {
  DocumentIndex* index = existing(model);
  if (index != nullptr) listPush(listOf(index, list), layerSlotOf(model, layer));
}

bool takeListedLayers(Model* model, LayerList list, IndexArray<int32_t>* slots) {
  DocumentIndex* index = existing(model);
  return index != nullptr && listTake(*listOf(index, list), slots);
}

void listedLayersAre(Model* model, LayerList list, IndexArray<int32_t>* slots, bool complete) {
  DocumentIndex* index = recordOf(model);
  if (index != nullptr) listSet(listOf(index, list), slots, complete);
}

bool markCandidates(const Model* model, IndexArray<int32_t>* points,
                    IndexArray<int32_t>* polygons) {
  DocumentIndex* index = existing(model);
  if (index == nullptr || !index->marksKnown) return false;
  return copyList(index->markedPoints, points) &&
         copyList(index->markedPolygons, polygons);
}

void marksCleared(Model* model) {
  DocumentIndex* index = recordOf(model);
  if (index == nullptr) return;
  index->marksKnown = true;
  index->markedPoints.count = 0;
  index->markedPolygons.count = 0;
  index->marksLimit = 1024;
}
