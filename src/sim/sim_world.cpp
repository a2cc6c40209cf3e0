// The world's lifetime, its bodies and shapes.
#include <cmath>
#include <cstring>

#include "sim/sim_engine.h"

namespace {

constexpr dReal kGravity = -0.01;
constexpr dReal kMaxCorrectingVelocity = 0.1;
constexpr dReal kSurfaceLayer = 0.001;

// The pen: a floor and four walls, as a x + b y + c z = d.
constexpr dReal kPen[5][4] = {
    {0, 0, 1, 0}, {1, 0, 0, -1}, {-1, 0, 0, -1}, {0, -1, 0, -1}, {0, 1, 0, -1},
};

bool anyNonZero(const float v[3]) { return v[0] != 0.0f || v[1] != 0.0f || v[2] != 0.0f; }

// The geometry of a shape type, in `space` (null: in none); false for a
// type that has none of its own.
bool makeGeometry(int32_t type, dSpaceID space, const float rotation[9], dReal distance,
                  dGeomID* out) {
  switch (type) {
    case kShapeBox:
      *out = dCreateBox(space, 1, 1, 1);
      return true;
    case kShapeSphere:
      *out = dCreateSphere(space, 0.5);
      return true;
    case kShapeCapsule:
      *out = dCreateCapsule(space, 0.5, 0);
      return true;
    case kShapeMesh:
      *out = nullptr;
      return true;
    case kShapePlane:
      // The normal is the rotation's diagonal (the engine makes it unit
      // length, or +x when it is zero), the distance the offset's z in
      // simulation units.
      *out = dCreatePlane(space, rotation[0], rotation[4], rotation[8], distance);
      return true;
    default:
      return false;
  }
}

// A transform in the space holding the geometry, which it destroys with
// itself. The engine calls transforms deprecated in favour of offsets on
// the geometry, but those need an engine body: a static shape has none,
// and a disabled shape lets its geometry go while its offset must stay with
// the body, which only a transform does.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
dGeomID makeTransform(dSpaceID space, dGeomID geom) {
  dGeomID transform = dCreateGeomTransform(space);
  dGeomTransformSetCleanup(transform, 1);
  if (geom != nullptr) dGeomTransformSetGeom(transform, geom);
  return transform;
}
#pragma GCC diagnostic pop

}  // namespace

void simInit(SimWorld* world) { *world = SimWorld(); }

void simRelease(SimWorld* world) { simDestroy(world); }

bool simInputOk(float value) {
  return std::isfinite(value) && std::fabs(value) <= kSimLargestInput;
}

bool simInputsOk(const float* values, int count) {
  for (int i = 0; i < count; ++i)
    if (!simInputOk(values[i])) return false;
  return true;
}

bool inRange(const dReal* v, int count) {
  for (int i = 0; i < count; ++i)
    if (!std::isfinite(v[i]) || std::fabs(v[i]) > kSimFarthest) return false;
  return true;
}

SimBody* findBody(SimWorld* world, int32_t id) {
  auto found = world->bodies.find(id);
  return found != world->bodies.end() ? &found->second : nullptr;
}

const SimBody* findBody(const SimWorld* world, int32_t id) {
  auto found = world->bodies.find(id);
  return found != world->bodies.end() ? &found->second : nullptr;
}

SimGeom* findShape(SimWorld* world, int32_t id) {
  if (id <= 0) return nullptr;
  auto found = world->shapes.find(id);
  return found != world->shapes.end() ? &found->second : nullptr;
}

const SimGeom* findShape(const SimWorld* world, int32_t id) {
  if (id <= 0) return nullptr;
  auto found = world->shapes.find(id);
  return found != world->shapes.end() ? &found->second : nullptr;
}

dGeomID outerGeom(const SimGeom& shape) {
  return shape.transform != nullptr ? shape.transform : shape.geom;
}

bool placeable(dGeomID geom) { return geom != nullptr && dGeomGetClass(geom) != dPlaneClass; }

bool simCreate(SimWorld* world) {
  if (world->exists) return true;
  if (!dInitODE2(0)) return false;
  dAllocateODEDataForThread(dAllocateMaskAll);
  // The engine's solver reorders its constraints with its own random
  // numbers: a fresh world starts them afresh, so that the same script
  // moves the same way every time.
  dRandSetSeed(0);
  world->world = dWorldCreate();
  // Hashing suits any mix of sizes and costs about the same per body
  // however many there are; the planes, without bounds, are tested
  // against every shape.
  world->space = dHashSpaceCreate(nullptr);
  world->contacts = dJointGroupCreate(0);
  dWorldSetGravity(world->world, 0, 0, kGravity);
  dWorldSetAutoDisableFlag(world->world, 0);
  dWorldSetContactMaxCorrectingVel(world->world, kMaxCorrectingVelocity);
  dWorldSetContactSurfaceLayer(world->world, kSurfaceLayer);
  for (const dReal* p : kPen) dCreatePlane(world->space, p[0], p[1], p[2], p[3]);
  world->elapsed = 0;
  world->bodies.clear();
  world->shapes.clear();
  world->exists = true;
  return true;
}

void simDestroy(SimWorld* world) {
  if (!world->exists) return;
  dJointGroupEmpty(world->contacts);
  dJointGroupDestroy(world->contacts);
  // The space takes its geometries with it, a transform its inner one;
  // the world its bodies.
  dSpaceDestroy(world->space);
  dWorldDestroy(world->world);
  dCloseODE();
  world->world = nullptr;
  world->space = nullptr;
  world->contacts = nullptr;
  world->bodies.clear();
  world->shapes.clear();
  world->exists = false;
  world->simulating = false;
}

int32_t simAddBody(SimWorld* world, bool dynamic, const float position[3],
                   const float rotation[9]) {
  if (!world->exists || !simInputsOk(position, 3) || !simInputsOk(rotation, 9)) return 0;
  const dReal k = world->inverseScale;
  const dReal at[3] = {position[0] * k, position[1] * k, position[2] * k};
  if (!inRange(at, 3)) return 0;
  SimBody body;
  body.id = world->nextBodyId;
  body.dynamic = dynamic ? 1 : 0;
  std::memcpy(body.position, position, sizeof body.position);
  std::memcpy(body.rotation, rotation, sizeof body.rotation);
  if (dynamic) {
    body.body = dBodyCreate(world->world);
    dBodySetPosition(body.body, at[0], at[1], at[2]);
    dMatrix3 r;
    engineRotation(rotation, r);
    dBodySetRotation(body.body, r);
  }
  world->bodies[body.id] = body;
  ++world->nextBodyId;
  return body.id;
}

int32_t simAddShape(SimWorld* world, int32_t type, int32_t bodyId, float density,
                    float extra1, float extra2, const float offset[3],
                    const float size[3], const float rotation[9]) {
  if (!world->exists) return 0;
  SimBody* body = findBody(world, bodyId);
  if (body == nullptr) return 0;
  if (!simInputOk(density) || !simInputsOk(offset, 3) || !simInputsOk(size, 3) ||
      !simInputsOk(rotation, 9))
    return 0;
  const dReal k = world->inverseScale;
  const dReal at[3] = {offset[0] * k, offset[1] * k, offset[2] * k};
  if (!inRange(at, 3)) return 0;
  SimGeom shape;
  shape.id = world->nextShapeId;
  shape.type = type;
  shape.bodyId = bodyId;
  std::memcpy(shape.offset, offset, sizeof shape.offset);
  std::memcpy(shape.size, size, sizeof shape.size);
  std::memcpy(shape.rotation, rotation, sizeof shape.rotation);
  shape.density = density;
  shape.extra[0] = extra1;
  shape.extra[1] = extra2;

  // A plane is never held in a transform: its offset is its distance.
  const bool transformed = anyNonZero(offset) && type != kShapePlane;
  dGeomID geom = nullptr;
  if (!makeGeometry(type, transformed ? nullptr : world->space, rotation, at[2], &geom)) {
    // Left half made under the next id, which the next shape takes over.
    world->shapes[shape.id] = shape;
    return 0;
  }
  shape.geom = geom;
  if (transformed) {
    shape.transform = makeTransform(world->space, geom);
    if (geom != nullptr) {
      // Where the reset that follows every new shape puts it.
      dGeomSetPosition(geom, at[0], at[1], at[2]);
      dMatrix3 r;
      engineRotation(rotation, r);
      dGeomSetRotation(geom, r);
    }
  }
  ++body->shapeCount;
  world->shapes[shape.id] = shape;
  ++world->nextShapeId;
  return shape.id;
}

bool simEnableShape(SimWorld* world, int32_t shapeId) {
  if (!world->exists) return false;
  SimGeom* shape = findShape(world, shapeId);
  if (shape == nullptr) return false;
  SimBody* body = findBody(world, shape->bodyId);
  if (body != nullptr && body->dynamic && body->body != nullptr) {
    dGeomID outer = outerGeom(*shape);
    if (placeable(outer)) dGeomSetBody(outer, body->body);
    dBodyEnable(body->body);
    dBodySetForce(body->body, 0, 0, 0);
    dBodySetTorque(body->body, 0, 0, 0);
    body->active = 1;
  }
  return true;
}

void simDisableShape(SimWorld* world, int32_t shapeId) {
  if (!world->exists) return;
  SimGeom* shape = findShape(world, shapeId);
  if (shape == nullptr) return;
  SimBody* body = findBody(world, shape->bodyId);
  if (body == nullptr || !body->dynamic || body->body == nullptr) return;
  if (body->shapeCount == 1) dBodyDisable(body->body);
  // The geometry itself, not its transform: a transformed shape stays with
  // its body (only a geometry held directly is let go).
  if (shape->transform == nullptr && placeable(shape->geom)) dGeomSetBody(shape->geom, nullptr);
  if (body->shapeCount == 1) body->active = 0;
}

void simRemoveShape(SimWorld* world, int32_t shapeId) {
  if (!world->exists) return;
  SimGeom* shape = findShape(world, shapeId);
  if (shape == nullptr) return;
  SimBody* body = findBody(world, shape->bodyId);
  if (outerGeom(*shape) != nullptr) dGeomDestroy(outerGeom(*shape));
  if (body != nullptr) {
    --body->shapeCount;
    if (body->body != nullptr) {
      // A body that keeps other shapes becomes static: they are let go
      // where they are, and stay there.
      for (auto& [id, other] : world->shapes) {
        dGeomID outer = outerGeom(other);
        if (id != shapeId && other.bodyId == body->id && placeable(outer))
          dGeomSetBody(outer, nullptr);
      }
      dBodyDestroy(body->body);
      body->body = nullptr;
    }
    body->dynamic = 0;
    body->active = 0;
    if (body->shapeCount <= 0) world->bodies.erase(body->id);
  }
  world->shapes.erase(shapeId);
}

dxBody* simEngineBody(const SimWorld* world, int32_t shapeId) {
  const SimGeom* shape = world->exists ? findShape(world, shapeId) : nullptr;
  const SimBody* body = shape != nullptr ? findBody(world, shape->bodyId) : nullptr;
  return body != nullptr ? body->body : nullptr;
}

dxGeom* simEngineGeom(const SimWorld* world, int32_t shapeId) {
  const SimGeom* shape = world->exists ? findShape(world, shapeId) : nullptr;
  return shape != nullptr ? shape->geom : nullptr;
}
