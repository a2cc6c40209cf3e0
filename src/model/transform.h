// Small 3x3 and placement arithmetic shared by children, poses and absorb.
// Matrices are row by row and act on column vectors.
#pragma once

// Rotation about x by angles[0], then y by angles[1], then z by angles[2]
// degrees: R = Rz * Ry * Rx.
void rotationFromAngles(const float angles[3], float rotation[9]);
// out = a * b (out may alias either).
void multiply3x3(const float a[9], const float b[9], float out[9]);
// A child's placement, translation * rotation * scale, applied to a point:
// out = position + rotation * (scale .* p).
void placePoint(const float position[3], const float rotation[9],
                const float scale[3], const float p[3], float out[3]);
