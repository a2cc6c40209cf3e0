// Drawing one model: its layers (from vertex data kept on the GL side and
// rebuilt only when the layer or the model's points changed), mirror
// halves, children through their placement, poses when the pose switch is
// on. Returns the number of primitives drawn.
#pragma once

#include <cstdint>

#include "model/records.h"
#include "view/display_flags.h"

int32_t drawModel(Model* model, const DisplayFlags* flags);
// Frees the GL resources of the model (and its children); safe without a
// context (then only forgets them).
void releaseModelDisplay(Model* model);
