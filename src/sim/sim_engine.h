// What the world's source files share: the engine's headers and the
// helpers that more than one of them needs. Included by src/sim only.
#pragma once

#include <ode/ode.h>

#include "sim/sim_world.h"

// The engine's broad phase counts in integer cells: positions (and
// speeds, which make the next positions) stay within this many simulation
// units, and what would go beyond is refused or put back.
constexpr dReal kSimFarthest = 1.0e7;
// Sizes below this (in simulation units) are raised to it: a speck would
// weigh so little that the smallest push sent it out of every range.
constexpr dReal kSimSmallest = 1.0e-6;

// Each component finite and within kSimFarthest.
bool inRange(const dReal* v, int count);

SimBody* findBody(SimWorld* world, int32_t id);
const SimBody* findBody(const SimWorld* world, int32_t id);
SimGeom* findShape(SimWorld* world, int32_t id);
const SimGeom* findShape(const SimWorld* world, int32_t id);

// The geometry bound to the body: the transform when there is one, else
// the geometry itself; null for a shape without either.
dGeomID outerGeom(const SimGeom& shape);
// Planes have no position of their own: the engine refuses to place them
// or bind them to a body.
bool placeable(dGeomID geom);

// A proper rotation for the engine from nine numbers, row by row: the
// nearest turn through a unit quaternion, the identity when the numbers
// describe none. The engine takes them as given, and a matrix that is not
// a rotation would skew every contact.
void engineRotation(const float rotation[9], dMatrix3 out);
// The quaternion turned a fifth of the way back to the identity, along the
// shorter arc.
void blendTowardUpright(const dReal in[4], dQuaternion out);

// The shape's size in the world and, on a dynamic body, its mass.
void applySizeAndMass(SimWorld* world, SimGeom* shape);
