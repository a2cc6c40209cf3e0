#include "model/skeleton.h"

#include <cstring>

#include "model/geometry_support.h"
#include "model/last_error.h"
#include "model/model.h"

using geometry_detail::acceptName;
using geometry_detail::fitsName;

using geometry_detail::insertOrReport;

namespace {

// Not-a-number falls to 0 with the negatives.
float clampUnit(float value) {
  if (!(value >= 0.0f)) return 0.0f;
  return value > 1.0f ? 1.0f : value;
}

Joint* requireJoint(const Model* model, const char* name) {
  Joint* joint = findJoint(model, name);
  if (joint == nullptr) lastErrorReport("cannot find joint");
  return joint;
}

}  // namespace

Joint* addJoint(Model* model, const char* name, float x, float y, float z,
                const char* parent, float red, float green, float blue) {
  if (name == nullptr || name[0] == '\0') {
    lastErrorReport("joint name must not be empty");
    return nullptr;
  }
  if (parent == nullptr || parent[0] == '\0') parent = "world";
  if (!acceptName(name, "joint") || !acceptName(parent, "joint")) return nullptr;
  if (std::strcmp(name, parent) == 0) {
    lastErrorReport("Bad joint parent");
    return nullptr;
  }
  Joint* joint = tableFindT<Joint>(&model->joints, name);
  if (joint == nullptr) {
    joint = insertOrReport<Joint>(&model->joints, name);
    if (joint == nullptr) return nullptr;
    std::strcpy(joint->name, name);
    initJointTables(joint);
  }
  joint->position[0] = x;
  joint->position[1] = y;
  joint->position[2] = z;
  std::memset(joint->parent, 0, sizeof joint->parent);
  std::strcpy(joint->parent, parent);
  joint->colour[0] = clampUnit(red);
  joint->colour[1] = clampUnit(green);
  joint->colour[2] = clampUnit(blue);
  joint->colour[3] = 1.0f;
  tableRelease(&joint->weights);
  for (int i = 0; i < 3; ++i) {
    joint->poseTranslation[i] = 0.0f;
    joint->poseScale[i] = 1.0f;
  }
  for (int i = 0; i < 9; ++i) joint->poseRotation[i] = (i % 4 == 0) ? 1.0f : 0.0f;
  return joint;
}

Joint* findJoint(const Model* model, const char* name) {
  if (name == nullptr) return nullptr;
  return tableFindT<Joint>(&model->joints, name);
}

bool deleteJoint(Model* model, const char* name) {
  Joint* joint = requireJoint(model, name);
  if (joint == nullptr) return false;
  releaseJoint(joint);
  tableRemove(&model->joints, name);
  return true;
}

bool addWeight(Model* model, const char* jointName, int32_t point,
               float weight) {
  Joint* joint = requireJoint(model, jointName);
  if (joint == nullptr) return false;
  if (point < 1) {
    lastErrorReportf("point number must be 1 or more: %d", point);
    return false;
  }
  Weight* entry = insertOrReport<Weight>(&joint->weights, point);
  if (entry == nullptr) return false;
  entry->point = point;
  entry->weight = weight;
  return true;
}

bool deleteWeight(Model* model, const char* jointName, int32_t point) {
  Joint* joint = requireJoint(model, jointName);
  if (joint == nullptr) return false;
  if (!tableRemove(&joint->weights, point)) {
    lastErrorReportf("no weight for point %d", point);
    return false;
  }
  return true;
}

bool setPose(Model* model, const char* jointName, const float translation[3],
             const float rotation[9], const float scale[3]) {
  Joint* joint = requireJoint(model, jointName);
  if (joint == nullptr) return false;
  std::memcpy(joint->poseTranslation, translation, sizeof joint->poseTranslation);
  std::memcpy(joint->poseRotation, rotation, sizeof joint->poseRotation);
  std::memcpy(joint->poseScale, scale, sizeof joint->poseScale);
  return true;
}

bool setMorph(Model* model, const char* jointName, int32_t point, float dx,
              float dy, float dz) {
  KeyedTable* morphs = nullptr;
  if (jointName != nullptr && std::strcmp(jointName, "world") == 0) {
    morphs = &model->worldMorphs;
  } else {
    Joint* joint = requireJoint(model, jointName);
    if (joint == nullptr) return false;
    morphs = &joint->morphs;
  }
  if (point < 1) {
    lastErrorReportf("point number must be 1 or more: %d", point);
    return false;
  }
  Morph* entry = insertOrReport<Morph>(morphs, point);
  if (entry == nullptr) return false;
  entry->point = point;
  entry->dx = dx;
  entry->dy = dy;
  entry->dz = dz;
  return true;
}

// Compared exactly: any trace a change left (rounding included) counts.
bool poseAtRest(const Joint* joint) {
  for (int i = 0; i < 3; ++i) {
    if (joint->poseTranslation[i] != 0.0f || joint->poseScale[i] != 1.0f)
      return false;
  }
  for (int i = 0; i < 9; ++i) {
    if (joint->poseRotation[i] != ((i % 4 == 0) ? 1.0f : 0.0f)) return false;
  }
  return true;
}
