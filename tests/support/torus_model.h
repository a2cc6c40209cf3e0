// The jittered torus the file benchmarks share: a deterministic jitter,
// and the torus built as a model with the document operations.
#pragma once

#include <cmath>
#include <cstdint>

#include "model/geometry.h"
#include "model/model.h"

// Deterministic jitter, the same on every machine and library.
struct Lcg {
  uint64_t state;
  float next() {  // in [-1, 1)
    state = state * 6364136223846793005ull + 1442695040888963407ull;
    return static_cast<float>(static_cast<int64_t>(state >> 40) - (1 << 23)) /
           static_cast<float>(1 << 23);
  }
};

// A torus of around x across points, wrapped both ways: two triangles per
// point, in one layer of that name, colour and mirror axis (not mirrored).
// Derived data is left for the caller to bring up to date.
inline Model* makeTorusModel(int32_t around, int32_t across, const char* layerName,
                             float red, float green, float blue, int32_t axis) {
  Model* m = createModel(nullptr, "torus", nullptr);
  Lcg rng{42};
  const double pi = 3.14159265358979323846;
  for (int32_t j = 0; j < across; ++j) {
    for (int32_t i = 0; i < around; ++i) {
      const double u = 2 * pi * i / around, v = 2 * pi * j / across;
      const double r = 300 + 120 * std::cos(v) + rng.next();
      addPoint(m, j * around + i + 1, static_cast<float>(r * std::cos(u)),
               static_cast<float>(r * std::sin(u)),
               static_cast<float>(120 * std::sin(v) + rng.next()));
    }
  }
  Layer* layer = addLayer(m, layerName, red, green, blue, 1, 0, axis);
  for (int32_t j = 0; j < across; ++j) {
    for (int32_t i = 0; i < around; ++i) {
      const int32_t i1 = (i + 1) % around, j1 = (j + 1) % across;
      const int32_t a = j * around + i + 1, b = j * around + i1 + 1;
      const int32_t c = j1 * around + i + 1, d = j1 * around + i1 + 1;
      const int32_t t1[] = {a, b, d};
      const int32_t t2[] = {a, d, c};
      addTriangleToLayer(m, layer, 3, t1, 0);
      addTriangleToLayer(m, layer, 3, t2, 0);
    }
  }
  return m;
}
