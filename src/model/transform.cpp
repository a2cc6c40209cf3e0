#include "model/transform.h"

#include <cmath>
#include <cstring>

void rotationFromAngles(const float angles[3], float rotation[9]) {
  const double toRadians = 3.14159265358979323846 / 180.0;
  double cx = std::cos(angles[0] * toRadians), sx = std::sin(angles[0] * toRadians);
  double cy = std::cos(angles[1] * toRadians), sy = std::sin(angles[1] * toRadians);
  double cz = std::cos(angles[2] * toRadians), sz = std::sin(angles[2] * toRadians);
  const double r[9] = {
      cz * cy, cz * sy * sx - sz * cx, cz * sy * cx + sz * sx,
      sz * cy, sz * sy * sx + cz * cx, sz * sy * cx - cz * sx,
      -sy,     cy * sx,                cy * cx,
  };
  for (int i = 0; i < 9; ++i) rotation[i] = static_cast<float>(r[i]);
}

void multiply3x3(const float a[9], const float b[9], float out[9]) {
  float product[9];
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) {
      double sum = 0.0;
      for (int k = 0; k < 3; ++k) sum += double{a[r * 3 + k]} * b[k * 3 + c];
      product[r * 3 + c] = static_cast<float>(sum);
    }
  }
  std::memcpy(out, product, sizeof product);
}

void placePoint(const float position[3], const float rotation[9],
                const float scale[3], const float p[3], float out[3]) {
  const double s[3] = {double{p[0]} * scale[0], double{p[1]} * scale[1],
                       double{p[2]} * scale[2]};
  for (int r = 0; r < 3; ++r) {
    out[r] = static_cast<float>(position[r] + rotation[r * 3] * s[0] +
                                rotation[r * 3 + 1] * s[1] +
                                rotation[r * 3 + 2] * s[2]);
  }
}
