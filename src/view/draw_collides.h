// The outlines collide objects are drawn with (display collide), unlit in
// one colour, as line segments in the object's own frame: centred on its
// position, along its axes.
//   box (and mesh, cylinder and unknown shapes): the 12 edges of its size
//   sphere: three circles of diameter size x about its axes
//   capsule: diameter size x, whole length size z along z, caps included:
//            the circles where the caps meet the side, four side lines and
//            the caps' half circles
//   plane: a square of side `planeSide` about its centre, and its normal
// A moving object is drawn through its shape's frame from the simulation,
// the others through their model's placement.
#pragma once

#include <cstdint>
#include <vector>

#include "model/records.h"
#include "view/layer_cache.h"
#include "view/view.h"

void buildCollideOutline(const CollideObject* object, float planeSide, const uint8_t colour[4],
                         std::vector<DrawVertex>* out);

// Draws the model's collide objects: through `placed->collides` (relative
// to `sceneMatrix`) where an object has a frame there, else through
// `modelMatrix` and the object's place in the model. Loads the model-view
// matrix; the caller puts its own back. Returns the segments drawn.
int32_t drawCollideOutlines(const Model* model, const float modelMatrix[16],
                            const float sceneMatrix[16], const ScenePlacements* placed,
                            float planeSide, std::vector<DrawVertex>* scratch);
