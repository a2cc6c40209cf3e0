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

// Replaces the joint's pose ("cannot find joint").
bool setPose(Model* model, const char* joint, const float translation[3],
             const float rotation[9], const float scale[3]);
// Find-or-add the morph offset of the point on the joint, or on the model's
// world morphs for the name "world" ("cannot find joint").
bool setMorph(Model* model, const char* joint, int32_t point, float dx,
              float dy, float dz);
// True when translation, rotation and scale are exactly at rest (0 0 0,
// identity, 1 1 1).
bool poseAtRest(const Joint* joint);
