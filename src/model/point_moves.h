// The moves a model keeps for its view (Model::moves): a one-point edit of
// a big model then costs the view the polygons around the point, not a
// rebuild of every layer. The move operations record and touch through
// here; every other change goes through touchModel, which forgets them.
#pragma once

#include <cstdint>

#include "model/index_array.h"
#include "model/records.h"

// The point in `slot` has just moved (its position is written, the
// model not yet touched).
void recordPointMove(Model* model, int32_t slot);
// Touches the model after moves, keeping what was recorded.
void touchModelMoved(Model* model);

// The slots of the points moved since `revision`, each once, and true;
// false when something other than moves changed the model since then, or
// the moves were not kept.
bool pointsMovedSince(const Model* model, uint32_t revision,
                      IndexArray<int32_t>* slots);

// The slots of the layer's polygons that use the point in `pointSlot`, once
// per corner naming it, in slot order; `line` tells whether a line of the
// layer uses it. False when that is not known (no index could be had).
bool layerPolygonsOfPoint(const Model* model, const Layer* layer,
                          int32_t pointSlot, IndexArray<int32_t>* polygons,
                          bool* line);
