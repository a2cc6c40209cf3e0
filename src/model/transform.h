// Small 3x3, 4x4 and placement arithmetic shared by children, poses and
// absorb, and the operations that move, turn and scale single items of a
// model. Matrices are row by row and act on column vectors.
#pragma once

#include <cmath>
#include <cstdint>

#include "model/records.h"

// Rotation about x by angles[0], then y by angles[1], then z by angles[2]
// degrees: R = Rz * Ry * Rx.
void rotationFromAngles(const float angles[3], float rotation[9]);
// out = a * b (out may alias either).
void multiply3x3(const float a[9], const float b[9], float out[9]);
// A child's placement, translation * rotation * scale, applied to a point:
// out = position + rotation * (scale .* p).
void placePoint(const float position[3], const float rotation[9],
                const float scale[3], const float p[3], float out[3]);

// ---- Turning and scaling items of a model ---------------------------------

// rotationFromAngles with what would be rounding residue (below 5e-7) made
// exactly zero, so that quarter turns permute axes exactly and four of them
// bring a point back bit for bit.
void turnFromAngles(const float angles[3], float rotation[9]);
// Makes entries below 5e-7 (the residue of cos 90 and the like) exactly 0.
void snapTurnResidue(float rotation[9]);
// out = centre + rotation * (p - centre).
void rotateAbout(const float rotation[9], const float centre[3],
                 const float p[3], float out[3]);
// out = centre + factors .* (p - centre).
void scaleAbout(const float factors[3], const float centre[3],
                const float p[3], float out[3]);

// 4x4 matrices in row order acting on column vectors (x, y, z, 1).
void multiply4x4(const float a[16], const float b[16], float out[16]);
// The 4x4 form of a 3x3 rotation (no translation).
void rotation4x4(const float rotation[9], float out[16]);
// out = m * (p, 1), divided by the resulting w unless w is 0.
void transformPoint4x4(const float m[16], const float p[3], float out[3]);
// Inline: importers ask it of every vertex.
inline bool allFinite(const float* values, int count) {
  for (int i = 0; i < count; ++i)
    if (!std::isfinite(values[i])) return false;
  return true;
}
// Scales v to unit length; false, with v untouched, when its length is zero
// or not finite (each caller has its own fallback direction).
template <class T>
bool scaleToUnit(T v[3]) {
  const T length = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
  if (!(length > T(0) && std::isfinite(length))) return false;
  v[0] /= length;
  v[1] /= length;
  v[2] /= length;
  return true;
}

// Document operations on single items. Each returns false with the reason
// in LastError ("point not found: 7", "joint not found: hip", ...) and
// changes nothing when the item is missing or a result would not be a
// finite float ("result out of range").

// Puts an existing point at p, keeping its flags; flushes derived data
// first, grows the model bounds and touches the model.
bool placeModelPoint(Model* model, int32_t number, const float p[3]);
bool movePoint(Model* model, int32_t number, const float offset[3]);
bool rotatePoint(Model* model, int32_t number, const float rotation[9],
                 const float centre[3]);
bool scalePoint(Model* model, int32_t number, const float factors[3],
                const float centre[3]);

// Normals and surface vectors of a layer, or of the model for null, "" or
// "(global)": the entry must exist. Rotation has no centre.
bool moveVector(Model* model, const char* layer, int32_t number,
                const float offset[3], bool surface);
bool rotateVector(Model* model, const char* layer, int32_t number,
                  const float rotation[9], bool surface);
// Adds to an existing colour entry; each sum is kept within 0..1 and
// stored as add color stores it (alpha below 1 marks transparency).
bool moveColour(Model* model, const char* layer, int32_t number,
                const float offset[4]);

// The joint's rest position.
bool moveJoint(Model* model, const char* name, const float offset[3]);
bool rotateJoint(Model* model, const char* name, const float rotation[9],
                 const float centre[3]);
bool scaleJoint(Model* model, const char* name, const float factors[3],
                const float centre[3]);
// Adds to the weight the joint already gives the point.
bool moveWeight(Model* model, const char* joint, int32_t point, float offset);

// Children and collide objects by id. Turning moves the position about the
// centre and composes the orientation: new rotation = rotation * old.
// Scaling moves the position about the centre; `explicitSize` instead
// multiplies the child's scale or the collide object's size and leaves the
// position (a zero factor is then refused, as a zero size is on adding).
// Item is Child or CollideObject.
template <class Item>
bool movePlaced(Model* model, int32_t id, const float offset[3]);
template <class Item>
bool rotatePlaced(Model* model, int32_t id, const float rotation[9], const float centre[3]);
template <class Item>
bool scalePlaced(Model* model, int32_t id, const float factors[3], const float centre[3],
                 bool explicitSize);

// Applies m to the selected points, or to every point when none is
// selected; one pass to look, one to move. Returns the number of points
// moved, or -1 (nothing changed, LastError set) when a result would not be
// finite.
int32_t applyMatrixToPoints(Model* model, const float m[16]);

// Moves point `number` (the record `point`) to p, keeping the document's
// indexes and the model's bounds up to date (the bounds only grow; the
// caller touches the model).
void setPointPosition(Model* model, Point* point, int32_t number, const float p[3]);
