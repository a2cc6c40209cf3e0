// Rotations as the engine needs them.
#include <cmath>

#include "sim/sim_engine.h"

void engineRotation(const float m[9], dMatrix3 out) {
  // The quaternion of the matrix, from its largest diagonal term, so that
  // no division is by a small number.
  const double m00 = m[0], m01 = m[1], m02 = m[2];
  const double m10 = m[3], m11 = m[4], m12 = m[5];
  const double m20 = m[6], m21 = m[7], m22 = m[8];
  const double trace = m00 + m11 + m22;
  dQuaternion q;
  if (trace > 0) {
    const double s = std::sqrt(trace + 1.0) * 2.0;
    q[0] = 0.25 * s;
    q[1] = (m21 - m12) / s;
    q[2] = (m02 - m20) / s;
    q[3] = (m10 - m01) / s;
  } else if (m00 > m11 && m00 > m22) {
    const double s = std::sqrt(1.0 + m00 - m11 - m22) * 2.0;
    q[0] = (m21 - m12) / s;
    q[1] = 0.25 * s;
    q[2] = (m01 + m10) / s;
    q[3] = (m02 + m20) / s;
  } else if (m11 > m22) {
    const double s = std::sqrt(1.0 + m11 - m00 - m22) * 2.0;
    q[0] = (m02 - m20) / s;
    q[1] = (m01 + m10) / s;
    q[2] = 0.25 * s;
    q[3] = (m12 + m21) / s;
  } else {
    const double s = std::sqrt(1.0 + m22 - m00 - m11) * 2.0;
    q[0] = (m10 - m01) / s;
    q[1] = (m02 + m20) / s;
    q[2] = (m12 + m21) / s;
    q[3] = 0.25 * s;
  }
  const double length = std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3]);
  if (!std::isfinite(length) || length < 1e-9) {
    q[0] = 1;
    q[1] = q[2] = q[3] = 0;
  } else {
    for (int i = 0; i < 4; ++i) q[i] /= length;
  }
  dRfromQ(out, q);
}

void blendTowardUpright(const dReal in[4], dQuaternion out) {
  constexpr double t = 0.2;
  // q and -q are the same turn: start from the one nearer the identity.
  const double sign = in[0] < 0 ? -1.0 : 1.0;
  double q[4];
  for (int i = 0; i < 4; ++i) q[i] = in[i] * sign;
  const double cosine = std::fmin(q[0], 1.0);  // q . identity
  const double angle = std::acos(cosine);
  const double sine = std::sin(angle);
  double a = 1.0 - t, b = t;  // near the identity: a straight blend
  if (sine > 1e-6) {
    a = std::sin((1.0 - t) * angle) / sine;
    b = std::sin(t * angle) / sine;
  }
  out[0] = a * q[0] + b;
  out[1] = a * q[1];
  out[2] = a * q[2];
  out[3] = a * q[3];
  const double length =
      std::sqrt(out[0] * out[0] + out[1] * out[1] + out[2] * out[2] + out[3] * out[3]);
  if (!(length > 0)) {
    out[0] = 1;
    out[1] = out[2] = out[3] = 0;
    return;
  }
  for (int i = 0; i < 4; ++i) out[i] /= length;
}
