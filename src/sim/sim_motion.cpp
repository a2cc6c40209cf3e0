// Placing, sizing and pushing what is in the world: reset and rescale,
// positions and rotations, forces, and the frames shapes are drawn in.
#include <cmath>

#include "sim/sim_engine.h"

namespace {

// A scale the world can divide by; anything else keeps the old one.
bool usableScale(float scale) {
  return std::isfinite(scale) && scale > 0.0f && std::isfinite(1.0f / scale);
}

void takeScale(SimWorld* world, float scale) {
  world->scale = scale;
  world->inverseScale = 1.0f / scale;
}

// A mass the engine accepts: positive and finite, with a positive inertia
// (the engine aborts on any other).
bool massOk(const dMass& m) {
  return std::isnormal(m.mass) && m.mass > 0 && std::isnormal(m.I[0]) && m.I[0] > 0 &&
         std::isnormal(m.I[5]) && m.I[5] > 0 && std::isnormal(m.I[10]) && m.I[10] > 0;
}

// The dynamic body of a shape, or null.
SimBody* dynamicBodyOf(SimWorld* world, const SimGeom* shape) {
  SimBody* body = findBody(world, shape->bodyId);
  return body != nullptr && body->dynamic && body->body != nullptr ? body : nullptr;
}

SimGeom* shapeFor(SimWorld* world, int32_t shapeId) {
  return world->exists ? findShape(world, shapeId) : nullptr;
}

}  // namespace

void applySizeAndMass(SimWorld* world, SimGeom* shape) {
  SimBody* body = dynamicBodyOf(world, shape);
  const bool massive = body != nullptr;
  double s[3];
  for (int i = 0; i < 3; ++i)
    s[i] = std::fmax(std::fabs(static_cast<double>(shape->size[i]) * world->inverseScale *
                               shape->sizeFactor[i]),
                     kSimSmallest);
  const double d = shape->density;
  dGeomID geom = shape->geom;
  dMass m;
  dMassSetZero(&m);
  switch (shape->type) {
    case kShapeBox: {
      if (geom != nullptr) dGeomBoxSetLengths(geom, s[0], s[1], s[2]);
      // Weighed as a cube of the sides' mean.
      const double side = (s[0] + s[1] + s[2]) * 0.33333334f;
      if (massive) dMassSetBox(&m, d, side, side, side);
      break;
    }
    case kShapeSphere:
      if (geom != nullptr) dGeomSphereSetRadius(geom, s[0] * 0.5);
      if (massive) dMassSetSphere(&m, d, s[0] * 0.5);
      break;
    case kShapeCapsule: {
      // Size z is the whole length, caps included; a capsule shorter than
      // its width would have a negative length, which the engine refuses:
      // it becomes a sphere.
      const double length = std::fmax(s[2] - s[0], 0.0);
      if (geom != nullptr) dGeomCapsuleSetParams(geom, s[0] * 0.5, length);
      // Weighed lying along y although it stands along z.
      if (massive) dMassSetCapsule(&m, d, 2, s[0] * 0.5, length);
      break;
    }
    case kShapeMesh:
    case kShapePlane:
      if (massive) dMassSetBox(&m, d, s[0], s[1], s[2]);
      break;
    default:
      return;
  }
  // A density of 0 or less, or a shape too small to weigh anything, leaves
  // the body's mass as it was.
  if (massive && massOk(m)) dBodySetMass(body->body, &m);
}

void simReset(SimWorld* world, float scale) {
  if (!world->exists) return;
  if (usableScale(scale)) takeScale(world, scale);
  const dReal k = world->inverseScale;
  for (auto& [id, body] : world->bodies) {
    if (!body.dynamic || body.body == nullptr) continue;
    // A stored place beyond the world's range at this scale is not taken.
    const dReal at[3] = {body.position[0] * k, body.position[1] * k, body.position[2] * k};
    if (inRange(at, 3)) dBodySetPosition(body.body, at[0], at[1], at[2]);
    dMatrix3 r;
    engineRotation(body.rotation, r);
    dBodySetRotation(body.body, r);
    // Velocities stay: a body that was moving goes on moving.
    dBodySetForce(body.body, 0, 0, 0);
    dBodySetTorque(body.body, 0, 0, 0);
  }
  for (auto& [id, shape] : world->shapes) {
    if (shape.transform == nullptr || shape.geom == nullptr) continue;
    const dReal at[3] = {shape.offset[0] * k, shape.offset[1] * k, shape.offset[2] * k};
    if (inRange(at, 3)) dGeomSetPosition(shape.geom, at[0], at[1], at[2]);
    dMatrix3 r;
    engineRotation(shape.rotation, r);
    dGeomSetRotation(shape.geom, r);
  }
  for (auto& [id, shape] : world->shapes) applySizeAndMass(world, &shape);
}

void simRescale(SimWorld* world, float scale) {
  if (!world->exists || !usableScale(scale)) return;
  const dReal factor = static_cast<dReal>(world->scale) / scale;
  takeScale(world, scale);
  for (auto& [id, body] : world->bodies) {
    if (!body.dynamic || body.body == nullptr) continue;
    const dReal* p = dBodyGetPosition(body.body);
    const dReal at[3] = {p[0] * factor, p[1] * factor, p[2] * factor};
    if (inRange(at, 3)) dBodySetPosition(body.body, at[0], at[1], at[2]);
  }
  for (auto& [id, shape] : world->shapes) {
    if (shape.transform == nullptr || shape.geom == nullptr) continue;
    const dReal* p = dGeomGetPosition(shape.geom);
    const dReal at[3] = {p[0] * factor, p[1] * factor, p[2] * factor};
    if (inRange(at, 3)) dGeomSetPosition(shape.geom, at[0], at[1], at[2]);
  }
  for (auto& [id, shape] : world->shapes) applySizeAndMass(world, &shape);
}

void simSetBodyPlacement(SimWorld* world, int32_t bodyId, const float xyz[3], bool blend) {
  SimBody* body = world->exists ? findBody(world, bodyId) : nullptr;
  if (body == nullptr || body->body == nullptr || !simInputsOk(xyz, 3)) return;
  const dReal k = world->inverseScale;
  const dReal at[3] = {xyz[0] * k, xyz[1] * k, xyz[2] * k};
  if (!inRange(at, 3)) return;
  dBodySetPosition(body->body, at[0], at[1], at[2]);
  if (!blend) return;
  dQuaternion q;
  blendTowardUpright(dBodyGetQuaternion(body->body), q);
  dBodySetQuaternion(body->body, q);
}

void simSetBodyRotation(SimWorld* world, int32_t bodyId, const float rotation[9]) {
  SimBody* body = world->exists ? findBody(world, bodyId) : nullptr;
  if (body == nullptr || body->body == nullptr || !simInputsOk(rotation, 9)) return;
  dMatrix3 r;
  engineRotation(rotation, r);
  dBodySetRotation(body->body, r);
}

void simSetShapePlacement(SimWorld* world, int32_t shapeId, const float xyz[3], bool blend) {
  SimGeom* shape = shapeFor(world, shapeId);
  if (shape == nullptr || !simInputsOk(xyz, 3)) return;
  const dReal k = world->inverseScale;
  dReal p[3];
  for (int i = 0; i < 3; ++i) p[i] = (static_cast<dReal>(xyz[i]) + shape->offset[i]) * k;
  if (!inRange(p, 3)) return;
  if (SimBody* body = dynamicBodyOf(world, shape)) {
    dBodySetPosition(body->body, p[0], p[1], p[2]);
    // A geometry let go by a disable is placed with it.
    dGeomID outer = outerGeom(*shape);
    const bool loose = placeable(outer) && dGeomGetBody(outer) == nullptr;
    if (loose) dGeomSetPosition(outer, p[0], p[1], p[2]);
    if (!blend) return;
    dQuaternion q;
    blendTowardUpright(dBodyGetQuaternion(body->body), q);
    dBodySetQuaternion(body->body, q);
    if (loose) dGeomSetQuaternion(outer, q);
    return;
  }
  if (!placeable(shape->geom)) return;
  dGeomSetPosition(shape->geom, p[0], p[1], p[2]);
  if (!blend) return;
  dQuaternion now, q;
  dGeomGetQuaternion(shape->geom, now);
  blendTowardUpright(now, q);
  dGeomSetQuaternion(shape->geom, q);
}

void simSetShapeRotation(SimWorld* world, int32_t shapeId, const float rotation[9]) {
  SimGeom* shape = shapeFor(world, shapeId);
  if (shape == nullptr || !simInputsOk(rotation, 9)) return;
  dMatrix3 r;
  engineRotation(rotation, r);
  if (SimBody* body = dynamicBodyOf(world, shape)) {
    dBodySetRotation(body->body, r);
  } else if (placeable(shape->geom)) {
    dGeomSetRotation(shape->geom, r);
  }
}

void simSetShapeSize(SimWorld* world, int32_t shapeId, const float size[3]) {
  SimGeom* shape = shapeFor(world, shapeId);
  if (shape == nullptr || !simInputsOk(size, 3)) return;
  for (int i = 0; i < 3; ++i) shape->size[i] = size[i];
  applySizeAndMass(world, shape);
}

void simMoveShape(SimWorld* world, int32_t shapeId, const float d[3]) {
  SimGeom* shape = shapeFor(world, shapeId);
  SimBody* body = shape != nullptr ? dynamicBodyOf(world, shape) : nullptr;
  if (body == nullptr || !simInputsOk(d, 3)) return;
  const dReal* p = dBodyGetPosition(body->body);
  const dReal scale = world->scale;
  const dReal at[3] = {p[0] + d[0] / scale, p[1] + d[1] / scale, p[2] + d[2] / scale};
  if (!inRange(at, 3)) return;
  dBodySetPosition(body->body, at[0], at[1], at[2]);
  dBodyEnable(body->body);
}

void simShapePosition(const SimWorld* world, int32_t shapeId, float out[3]) {
  out[0] = out[1] = out[2] = 0.0f;
  const SimGeom* shape = world->exists ? findShape(world, shapeId) : nullptr;
  if (shape == nullptr) return;
  const SimBody* body = findBody(world, shape->bodyId);
  const dReal zero[3] = {0, 0, 0};
  const dReal* p = zero;
  if (body != nullptr && body->dynamic && body->active && body->body != nullptr) {
    p = dBodyGetPosition(body->body);
  } else if (placeable(shape->geom)) {
    p = dGeomGetPosition(shape->geom);
  }
  for (int i = 0; i < 3; ++i)
    out[i] = static_cast<float>(p[i] * world->scale - shape->offset[i]);
}

void simPush(SimWorld* world, int32_t shapeId, const float xyz[3]) {
  SimGeom* shape = shapeFor(world, shapeId);
  SimBody* body = shape != nullptr ? dynamicBodyOf(world, shape) : nullptr;
  if (body == nullptr || !simInputsOk(xyz, 3)) return;
  const dReal k = shape->density * 1e-07;
  dBodyEnable(body->body);
  dBodyAddRelForce(body->body, k * xyz[0], k * xyz[1], k * xyz[2]);
}

namespace {

// Turning forces: about x a push along z at (0, d, 0), about y along z at
// (d, 0, 0), about z along x at (0, d, 0), d the density; world points
// (not the body's) in world axes, or both in the body's own.
void spin(SimWorld* world, int32_t shapeId, const float xyz[3], bool bodyAxes) {
  SimGeom* shape = shapeFor(world, shapeId);
  SimBody* body = shape != nullptr ? dynamicBodyOf(world, shape) : nullptr;
  if (body == nullptr || !simInputsOk(xyz, 3)) return;
  const dReal d = shape->density;
  const dReal k = d * 1e-08;
  auto add = bodyAxes ? dBodyAddRelForceAtRelPos : dBodyAddForceAtPos;
  dBodyEnable(body->body);
  if (xyz[0] != 0.0f) add(body->body, 0, 0, k * xyz[0], 0, d, 0);
  if (xyz[1] != 0.0f) add(body->body, 0, 0, k * xyz[1], d, 0, 0);
  if (xyz[2] != 0.0f) add(body->body, k * xyz[2], 0, 0, 0, d, 0);
}

}  // namespace

void simSpinWorld(SimWorld* world, int32_t shapeId, const float xyz[3]) {
  spin(world, shapeId, xyz, false);
}

void simSpinBody(SimWorld* world, int32_t shapeId, const float xyz[3]) {
  spin(world, shapeId, xyz, true);
}

bool simDrawingMatrix(const SimWorld* world, int32_t shapeId, float out[16]) {
  const SimGeom* shape = world->exists ? findShape(world, shapeId) : nullptr;
  if (shape == nullptr) return false;
  for (int i = 0; i < 16; ++i) out[i] = (i % 5 == 0) ? 1.0f : 0.0f;
  const SimBody* body = findBody(world, shape->bodyId);
  const dReal* p = nullptr;
  const dReal* r = nullptr;
  if (shape->transform != nullptr) {
    const bool moving = body != nullptr && body->body != nullptr;
    p = moving ? dBodyGetPosition(body->body) : dGeomGetPosition(shape->transform);
    r = moving ? dBodyGetRotation(body->body) : dGeomGetRotation(shape->transform);
  } else if (placeable(shape->geom)) {
    p = dGeomGetPosition(shape->geom);
    r = dGeomGetRotation(shape->geom);
  } else {
    for (int i = 0; i < 3; ++i) out[12 + i] = shape->offset[i];
    return true;
  }
  for (int c = 0; c < 3; ++c) {
    for (int row = 0; row < 3; ++row)
      out[c * 4 + row] = static_cast<float>(r[row * 4 + c] * shape->sizeFactor[c]);
    out[12 + c] = static_cast<float>(p[c] * world->scale);
  }
  return true;
}
