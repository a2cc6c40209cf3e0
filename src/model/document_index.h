// The indexes a model keeps beside its tables, so that one edit or query
// costs about the same on a large model as on a small one:
//   positions  point position -> point, for findPointAt (point_index.h)
//   numbers    the highest point number (point_index.h)
//   polygons   point -> the polygons and lines using it, polygon id ->
//              layer, and each layer's box as a recompute would give it
//              (polygon_index.h)
//   layers     the layers whose bounds are due, those with images of
//              automatic uvees, and those with colour, normal or surface
//              entries, so that flushDerived and deletePoint visit only
//              those
//   marks      the points and polygons that may carry a mark, so that
//              clearing and copying the selection visit only those
// Each is built the first time an operation wants it and from then on kept
// current by every change to what it indexes; the operations in this
// folder call the notes below, and new code that changes points, polygons,
// layers or marks must go through them or call the notes itself. Answers never differ from the plain scans
// they replace: where an index cannot be had (memory, or indexing switched
// off) the operations scan as before. Internal to src/model, but for
// documentIndexBytes, which the edit benchmark reports.
#pragma once

#include <cstddef>
#include <cstdint>

#include "model/index_array.h"
#include "model/point_index.h"
#include "model/polygon_index.h"
#include "model/records.h"

// Switched off, a model keeps no index and every operation scans: what
// the tests check the indexes against. On again, they are rebuilt as
// wanted.
void setDocumentIndexing(Model* model, bool on);
void freeDocumentIndex(Model* model);
// `to` took over `from`'s points and layers wholesale, slot for slot: the
// index `from` kept of them goes along, unless `to` is kept without one.
void handOverDocumentIndex(Model* from, Model* to);

struct DocumentIndexBytes {
  size_t positions;
  size_t numbers;
  size_t polygons;
  size_t lists;  // the layer lists and the marked items
};
DocumentIndexBytes documentIndexBytes(const Model* model);

// The index, built now if need be; null when it cannot be had. Building
// changes nothing a reader of the model sees, so const models build too.
PositionIndex* positionsOf(const Model* model);
NumberHeap* numbersOf(const Model* model);
PolygonIndex* polygonsOf(const Model* model);
// The index if it is built, else null.
PolygonIndex* builtPolygons(const Model* model);

inline int32_t layerSlotOf(const Model* model, const Layer* layer) {
  return tableSlotOf(&model->layers, layer);
}

// ---- Changes ----------------------------------------------------------------
// A new point number was inserted, its position set.
void notePointAdded(Model* model, int32_t number);
// `n` new numbers from `firstNumber` on, their positions set.
void notePointsAdded(Model* model, int32_t firstNumber, int32_t n);
// The point's position changed from `from` to what the table holds. Builds
// the polygon index when the model has any: layer bounds follow moves
// through it.
void notePointMoved(Model* model, int32_t number, const float from[3]);
// The point is about to leave the table; its polygons went first.
void notePointRemoving(Model* model, int32_t number);
// After the polygon (or line) was stored in the layer.
void notePolygonAdded(Model* model, const Layer* layer, int32_t id, bool line);
// After `n` triangles with ids from `firstId` on were stored in the layer.
void notePolygonsAdded(Model* model, const Layer* layer, int32_t firstId, int32_t n);
// Before the polygon leaves its layer; its record is still there.
void notePolygonRemoving(Model* model, int32_t id, bool line,
                         const int32_t* points, int32_t count);
// The polygon went to `to` under the same id.
void notePolygonMoved(Model* model, const Layer* to, int32_t id, bool line,
                      const int32_t* points, int32_t count);
void noteLayerAdded(Model* model, const Layer* layer);
// Before the layer's records are released.
void noteLayerRemoving(Model* model, const Layer* layer);
// The layer table was rebuilt and slots moved.
void noteLayersRenumbered(Model* model);
// A mark was set on the point, or on the polygon or line.
void notePointMarked(Model* model, int32_t number);
void notePolygonMarked(Model* model, int32_t id, bool line);

// ---- Due bounds ---------------------------------------------------------------
// Marks the layer's bounds as due (Layer::boundsStale) and lists it.
void markBoundsStale(Model* model, Layer* layer);

// Bounds kept as triangles go to the end of a layer's table (a file's
// layers, a script adding triangle after triangle): the fold of the due
// recompute (derived.cpp), carried on corner by corner, so that the
// recompute need not look every corner up again. Each call comes after
// the change's revisions were bumped; `layerBefore` and `modelBefore` are
// the revisions the layer and the model had before it. A fold that
// missed any other change of the layer or the points no longer matches
// their revisions and is not used.
// The `added` triangles in the slots from `firstSlot` on were added with
// the points of their corners, `count` of them in slot order.
void noteTrianglesAdded(Model* model, const Layer* layer, int32_t firstSlot, int32_t added,
                        const Point* const* corners, int32_t count,
                        uint32_t layerBefore, uint32_t modelBefore);
// The layer's bounds were recomputed (`state` a BoxState), or taken from
// the fold (`folded`): the fold goes on from them.
void noteBoundsRecomputed(Model* model, const Layer* layer, int32_t state, bool folded);
// The fold's bounds and BoxState when it stands for the recompute now.
bool runningBounds(const Model* model, const Layer* layer, float bounds[6],
                   int32_t* state);
// The slots of the layers whose bounds are due, in slot order, and true;
// false when not known (every layer is to be looked at). The list empties.
bool takeStaleLayers(Model* model, IndexArray<int32_t>* slots);
// Every layer was looked at: from now on the list is complete.
void staleLayersKnown(Model* model);

// ---- Listed layers -------------------------------------------------------------
// Two lists of layers that a pass would otherwise look for among all of
// them: those that may hold an image without uvees of its own (their
// automatic uvees are due), and those that may hold colour, normal or
// surface entries.
enum LayerList : int32_t {
  kAutoUveeLayers = 0,
  kEntryLayers = 1,
};
// The layer took an image (kAutoUveeLayers) or an entry (kEntryLayers).
void noteLayerListed(Model* model, LayerList list, const Layer* layer);
// The listed slots, in slot order, and true; false when not known (every
// layer is to be looked at).
bool takeListedLayers(Model* model, LayerList list, IndexArray<int32_t>* slots);
// After a look: these are all such layers, unless not `complete` (`slots`
// is taken over).
void listedLayersAre(Model* model, LayerList list, IndexArray<int32_t>* slots, bool complete);

// ---- Marks --------------------------------------------------------------------
// The points and polygons (lines negated) that may be marked, each once,
// and true; false when not known (every item is to be looked at).
bool markCandidates(const Model* model, IndexArray<int32_t>* points,
                    IndexArray<int32_t>* polygons);
// Every mark was taken off: from now on the candidates are complete.
void marksCleared(Model* model);
