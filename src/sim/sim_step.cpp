// Advancing the world: contacts between every close pair of shapes, one
// step of the engine's iterative solver, and the guard that keeps a world
// gone wild from spreading NaN.
#include <cfloat>

#include "sim/sim_engine.h"

namespace {

constexpr int kMaxContacts = 4;

void contactHandler(void* data, dGeomID a, dGeomID b) {
  SimWorld* world = static_cast<SimWorld*>(data);
  dBodyID bodyA = dGeomGetBody(a);
  dBodyID bodyB = dGeomGetBody(b);
  // Bodies already joined (by anything but a contact) pass through each
  // other. Two shapes of one body cannot hold it against itself, and two
  // shapes of no body move nothing: the engine is not asked about them.
  if (bodyA != nullptr && bodyB != nullptr && dAreConnectedExcluding(bodyA, bodyB, dJointTypeContact))
    return;
  if (bodyA == bodyB) return;
  dContact contacts[kMaxContacts] = {};
  const int n = dCollide(a, b, kMaxContacts, &contacts[0].geom, sizeof(dContact));
  for (int i = 0; i < n; ++i) {
    dSurfaceParameters& s = contacts[i].surface;
    s.mode = dContactBounce | dContactSoftERP | dContactSoftCFM;
    s.mu = FLT_MAX;
    s.bounce = 0.3;
    s.bounce_vel = 0.1;
    s.soft_erp = 0.5;
    s.soft_cfm = 0.2;
    dJointID joint = dJointCreateContact(world->world, world->contacts, &contacts[i]);
    dJointAttach(joint, bodyA, bodyB);
  }
}

// Positions, speeds and turning rates within the world's range, and a
// finite orientation: what the next step can start from.
bool bodiesInRange(const SimWorld* world) {
  for (const auto& [id, body] : world->bodies) {
    dBodyID b = body.body;
    if (b == nullptr) continue;
    if (!inRange(dBodyGetPosition(b), 3) || !inRange(dBodyGetQuaternion(b), 4) ||
        !inRange(dBodyGetLinearVel(b), 3) || !inRange(dBodyGetAngularVel(b), 3))
      return false;
  }
  return true;
}

}  // namespace

bool simStep(SimWorld* world, float stepSize) {
  if (!world->exists) return true;
  if (stepSize > 0.0f && std::isfinite(stepSize)) {
    world->elapsed += stepSize;
    dSpaceCollide(world->space, world, contactHandler);
    dWorldQuickStep(world->world, stepSize);
  }
  dJointGroupEmpty(world->contacts);
  if (bodiesInRange(world)) return true;
  for (auto& [id, body] : world->bodies) {
    if (body.body == nullptr) continue;
    dBodySetLinearVel(body.body, 0, 0, 0);
    dBodySetAngularVel(body.body, 0, 0, 0);
  }
  simReset(world, world->scale);
  return false;
}
