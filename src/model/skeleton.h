// Skeleton: joints with their weights, poses and morphs.
#pragma once

#include <cstdint>

#include "model/records.h"

// Find-or-add by name: colour clamped into 0..1, alpha 1, pose at rest,
// weights emptied. A parent equal to the joint's own name is refused
// ("Bad joint parent"); so is a name or parent of 128 or more characters.
Joint* addJoint(Model* model, const char* name, float x, float y, float z,
                const char* parent, float red, float green, float blue);
Joint* findJoint(const Model* model, const char* name);
// Removes the joint (its weights and morphs go with it).
bool deleteJoint(Model* model, const char* name);
// Find-or-add the point's weight in the joint ("cannot find joint").
bool addWeight(Model* model, const char* joint, int32_t point, float weight);
bool deleteWeight(Model* model, const char* joint, int32_t point);
