#include "model/children.h"

#include <cstring>

#include "model/geometry_support.h"
#include "model/last_error.h"
#include "model/model.h"

using geometry_detail::acceptName;
using geometry_detail::insertOrReport;

namespace {

const float kOrigin[3] = {0.0f, 0.0f, 0.0f};
const float kUnitScale[3] = {1.0f, 1.0f, 1.0f};
const float kIdentity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};

bool anyZero(const float v[3]) {
  return v[0] == 0.0f || v[1] == 0.0f || v[2] == 0.0f;
}

}  // namespace

int32_t addChild(Model* model, Model* child, const char* name,
                 const float position[3], const float scale[3],
                 const float rotation[9], const char* joint,
                 float jointWeight) {
  if (name == nullptr) name = "";
  if (joint == nullptr) joint = "";
  if (!acceptName(name, "child") || (joint[0] != '\0' && !acceptName(joint, "child joint"))) {
    return 0;
  }
  if (position == nullptr) position = kOrigin;
  if (scale == nullptr) scale = kUnitScale;
  if (rotation == nullptr) rotation = kIdentity;
  if (anyZero(scale)) {
    lastErrorReport("child scale must not be zero");
    return 0;
  }
  const int32_t id = nextChildId();
  Child* record = insertOrReport<Child>(&model->children, id);
  if (record == nullptr) return 0;
  std::strcpy(record->name, name);
  record->id = id;
  record->model = child;
  std::memcpy(record->position, position, sizeof record->position);
  std::memcpy(record->scale, scale, sizeof record->scale);
  std::memcpy(record->rotation, rotation, sizeof record->rotation);
  std::strcpy(record->joint, joint);
  record->jointWeight = jointWeight;
  record->bodyHandle = -1;
  return id;
}

int32_t addCollide(Model* model, const char* name, int32_t shape,
                   const float position[3], const float size[3],
                   const float rotation[9], float weight, float friction,
                   float bounce, int32_t dynamic) {
  if (name == nullptr) name = "";
  if (!acceptName(name, "collide object")) return 0;
  if (position == nullptr) position = kOrigin;
  if (size == nullptr) size = kUnitScale;
  if (rotation == nullptr) rotation = kIdentity;
  if (anyZero(size)) {
    lastErrorReport("collide object size must not be zero");
    return 0;
  }
  const int32_t id = nextCollideId();
  CollideObject* record = insertOrReport<CollideObject>(&model->collides, id);
  if (record == nullptr) return 0;
  std::strcpy(record->name, name);
  record->id = id;
  record->shape = shape;
  std::memcpy(record->position, position, sizeof record->position);
  std::memcpy(record->size, size, sizeof record->size);
  std::memcpy(record->rotation, rotation, sizeof record->rotation);
  record->weight = weight;
  record->friction = friction;
  record->bounce = bounce;
  record->dynamic = dynamic;
  record->bodyHandle = -1;
  return id;
}

Child* childByPosition(const Model* model, int32_t n) {
  if (n < 1) {
    lastErrorClear();  // not a position at all: nothing to say
    return nullptr;
  }
  Child* child = static_cast<Child*>(tableNth(&model->children, n - 1));
  if (child == nullptr) lastErrorReport("child does not exist");
  return child;
}

// The first record of the table with that name; null with `missing` as
// the reason. Children and collide objects are keyed by id, not by name.
template <class T>
T* findNamed(const KeyedTable* table, const char* name, const char* missing) {
  for (int32_t s = tableNextSlot(table, -1); s >= 0; s = tableNextSlot(table, s)) {
    T* record = tableAt<T>(table, s);
    if (name != nullptr && std::strcmp(record->name, name) == 0) return record;
  }
  lastErrorReport(missing);
  return nullptr;
}

Child* childByName(const Model* model, const char* name) {
  return findNamed<Child>(&model->children, name, "child does not exist");
}

Child* childById(const Model* model, int32_t id) {
  Child* child = tableFindT<Child>(&model->children, id);
  if (child == nullptr) lastErrorReport("child does not exist");
  return child;
}

CollideObject* collideByName(const Model* model, const char* name) {
  return findNamed<CollideObject>(&model->collides, name, "collide object does not exist");
}

CollideObject* collideById(const Model* model, int32_t id) {
  CollideObject* object = tableFindT<CollideObject>(&model->collides, id);
  if (object == nullptr) lastErrorReport("collide object does not exist");
  return object;
}

const char* collideShapeName(const Model* model, int32_t id) {
  static const char* const kNames[] = {"box",      "sphere", "capsule",
                                       "cylinder", "mesh",   "plane"};
  const CollideObject* object =
      tableFindT<CollideObject>(&model->collides, id);
  if (object == nullptr || object->shape < kShapeBox ||
      object->shape > kShapePlane)
    return "none";
  return kNames[object->shape - kShapeBox];
}

bool deleteChildByModelId(Model* model, int32_t modelId) {
  for (int32_t s = tableNextSlot(&model->children, -1); s >= 0;
       s = tableNextSlot(&model->children, s)) {
    Child* child = tableAt<Child>(&model->children, s);
    if (child->model == nullptr || child->model->id != modelId) continue;
    freeModel(child->model);
    tableRemove(&model->children, tableIntKeyAt(&model->children, s));
    return true;
  }
  return false;
}

bool deleteCollide(Model* model, int32_t id) {
  return tableRemove(&model->collides, id);
}
