// Absorbing a child model into its parent: the child's geometry becomes the
// parent's own, placed through the child's placement matrix, so that the
// model draws and saves as it looked.
#pragma once

#include <cstdint>

#include "model/records.h"

// Merges the child with that child id into the model and removes the child
// record (its model is freed). False with the reason in LastError when
// there is no such child or it has no loaded model; the model is then
// unchanged.
bool absorbChild(Model* model, int32_t childId);

// An empty model (no points, layers, children, collide objects, joints or
// model-level entries) takes over `source`'s points and layers as they
// are, and `source` is freed: the document that attaching `source` as a
// child with no placement and absorbing it would give, without copying
// every polygon, but its polygons keep their ids. Only for a plain source
// of its own (no parent; not open): points and layers alone, no baked
// mirror, its points numbered 1, 2, 3 ... in table order (as absorbing
// would number them). False, with both left as they were, when either
// model is not so.
bool absorbWhole(Model* model, Model* source);
