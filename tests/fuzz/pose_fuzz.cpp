// Fuzz target for the .pos reader, run against a model with two joints and
// a few points so that pose and morph lines can take effect.
#include <cstdint>
#include <cstdlib>

#include "io/pose_file.h"
#include "model/geometry.h"
#include "model/last_error.h"
#include "model/model.h"
#include "model/skeleton.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Model* model = createModel(nullptr, "fuzz", nullptr);
  for (int i = 1; i <= 4; ++i) addPoint(model, i, i, 0, 0);
  addJoint(model, "hip", 0, 0, 0, "world", 1, 1, 1);
  addJoint(model, "knee", 0, -1, 0, "hip", 1, 1, 1);
  if (!readPoseBytes(model, reinterpret_cast<const char*>(data), size,
                     "fuzz.pos") &&
      lastErrorText() == nullptr)
    std::abort();
  freeModel(model);
  return 0;
}
