// Child models placed in a model, and collide objects.
#pragma once

#include <cstdint>

#include "model/records.h"

// Inserts a Child under the next child id (returned; 0 on refusal): a name
// of 128 or more characters or a zero scale component is refused. `child`
// may be null (resolved after a load). `joint` may be null or "".
int32_t addChild(Model* model, Model* child, const char* name,
                 const float position[3], const float scale[3],
                 const float rotation[9], const char* joint,
                 float jointWeight);
// Inserts a CollideObject under the next collide id (returned; 0 on
// refusal): a name of 128 or more characters or a zero size component is
// refused.
int32_t addCollide(Model* model, const char* name, int32_t shape,
                   const float position[3], const float size[3],
                   const float rotation[9], float weight, float friction,
                   float bounce, int32_t dynamic);
// n-th child in slot order, from 1 ("child does not exist"; no message for
// n below 1).
Child* childByPosition(const Model* model, int32_t n);
Child* childByName(const Model* model, const char* name);
Child* childById(const Model* model, int32_t id);
CollideObject* collideByName(const Model* model, const char* name);
CollideObject* collideById(const Model* model, int32_t id);
// "box", "sphere", "capsule", "cylinder", "mesh", "plane"; "none" otherwise.
const char* collideShapeName(const Model* model, int32_t id);
// Finds the child whose loaded model has this model id, frees that model
// and removes the record.
bool deleteChildByModelId(Model* model, int32_t modelId);
bool deleteCollide(Model* model, int32_t id);
