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
