// Posing: where the points of a model are shown, picked and exported
// once its joints' poses and its morphs are applied.
#pragma once

#include <cstdint>
#include <vector>

#include "model/records.h"

// Slot of the point in the model's table: the per-slot arrays (posed
// positions, accumulated normals) are indexed by it.
int32_t pointSlot(const Model* model, const Point* p);

// The display copy of the points, by point slot: each point moved by its
// morph offsets (the world morphs and every joint's), then by the joint
// poses it is weighted to. A joint's pose acts about its rest position:
//   x -> position + translation + rotation * (scale .* (x - position)),
// applied after its parent's (the joint's world transform is the parent's
// world transform times its own). A point weighted w to a joint moves by
// w times the difference that joint's transform makes (a linear blend;
// weights are not normalised, so a lone weight of 0.5 moves it halfway).
// False, with `out` untouched, when the model has no joints and no world
// morphs (the stored points are the display points).
bool computeDisplayPoints(const Model* model, std::vector<float>* out);

// Where each joint stands once posed, by joint slot (3 floats a slot):
// its rest position taken through its own and its ancestors' poses, i.e.
// its parent's world transform applied to position + translation.
void computePosedJoints(const Model* model, std::vector<float>* out);

// A hash of everything computeDisplayPoints reads besides the points:
// joints (rest position, parent, pose), weights and morphs.
uint64_t poseSignature(const Model* model);
