// Times the simulation world against a plain program that builds the same
// world straight on ODE: n boxes dropped side by side into a pen made wide
// enough for them (the world scale grows with n) and left to fall and
// settle for a number of steps. Rows: the plain program with a
// hash space (the world's broad phase) and with sweep and prune, the world
// itself (simStep), and the workspace's step (the ticks' path: stale links
// looked for, then simStep) with n models of one box each. Prints ms per
// step, us per step and body, and the ratio to the plain program, best of
// three rounds taken in turn.
//
//   sim_bench [steps [n ...]]     defaults: 200 steps, n = 100 1000 5000
#include <ode/ode.h>

#include <algorithm>
#include <array>
#include <cfloat>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "model/children.h"
#include "model/model.h"
#include "sim/sim_world.h"
#include "workspace/simulation.h"
#include "workspace/workspace.h"

namespace {

using Clock = std::chrono::steady_clock;

// The boxes' side and spacing in model units.
constexpr float kSide = 4.0f;
constexpr float kSpacing = 6.0f;
constexpr float kIdentity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};

// Boxes across one row of the grid.
int across(int n) { return static_cast<int>(std::ceil(std::sqrt(static_cast<double>(n)))); }

// The world scale (model units per simulation unit) that gives n boxes a
// pen wide enough to lie side by side, 100 at least.
float scaleFor(int n) { return std::max(100.0f, across(n) * kSpacing / 1.8f); }

// Centres of n boxes: a square grid within 90% of the pen, 6 apart and 10
// above the floor, so that every box falls on its own and the work per box
// is alike at every size.
std::vector<std::array<float, 3>> dropGrid(int n) {
  const int side = across(n);
  std::vector<std::array<float, 3>> at;
  for (int i = 0; i < n; ++i) {
    const float x = (i % side - (side - 1) * 0.5f) * kSpacing;
    const float y = (i / side - (side - 1) * 0.5f) * kSpacing;
    at.push_back({x, y, 10.0f});
  }
  return at;
}

// ---- the plain program ---------------------------------------------------

struct Plain {
  dWorldID world;
  dSpaceID space;
  dJointGroupID contacts;
};

void plainContacts(void* data, dGeomID a, dGeomID b) {
  Plain* p = static_cast<Plain*>(data);
  dBodyID ba = dGeomGetBody(a), bb = dGeomGetBody(b);
  if (ba != nullptr && bb != nullptr && dAreConnectedExcluding(ba, bb, dJointTypeContact)) return;
  if (ba == bb) return;
  dContact c[4] = {};
  const int n = dCollide(a, b, 4, &c[0].geom, sizeof(dContact));
  for (int i = 0; i < n; ++i) {
    c[i].surface.mode = dContactBounce | dContactSoftERP | dContactSoftCFM;
    c[i].surface.mu = FLT_MAX;
    c[i].surface.bounce = 0.3;
    c[i].surface.bounce_vel = 0.1;
    c[i].surface.soft_erp = 0.5;
    c[i].surface.soft_cfm = 0.2;
    dJointAttach(dJointCreateContact(p->world, p->contacts, &c[i]), ba, bb);
  }
}

// Also answers where the first box ended, to compare the runs' motion.
double runPlain(int n, int steps, bool sweepAndPrune, dReal* endZ) {
  std::vector<dBodyID> bodies;
  dInitODE2(0);
  dAllocateODEDataForThread(dAllocateMaskAll);
  dRandSetSeed(0);
  Plain p;
  p.world = dWorldCreate();
  p.space = sweepAndPrune ? dSweepAndPruneSpaceCreate(nullptr, dSAP_AXES_XYZ)
                          : dHashSpaceCreate(nullptr);
  p.contacts = dJointGroupCreate(0);
  dWorldSetGravity(p.world, 0, 0, -0.01);
  dWorldSetAutoDisableFlag(p.world, 0);
  dWorldSetContactMaxCorrectingVel(p.world, 0.1);
  dWorldSetContactSurfaceLayer(p.world, 0.001);
  const dReal pen[5][4] = {{0, 0, 1, 0}, {1, 0, 0, -1}, {-1, 0, 0, -1}, {0, -1, 0, -1}, {0, 1, 0, -1}};
  for (const dReal* q : pen) dCreatePlane(p.space, q[0], q[1], q[2], q[3]);
  // The world's own arithmetic: times the float inverse of the scale, the
  // cube's side the mean of three, so that both move alike to the bit.
  const dReal inverse = 1.0f / scaleFor(n);
  const dReal side = kSide * inverse;
  const dReal meanSide = (side + side + side) * 0.33333334f;
  for (const auto& c : dropGrid(n)) {
    dBodyID body = dBodyCreate(p.world);
    dBodySetPosition(body, c[0] * inverse, c[1] * inverse, c[2] * inverse);
    dGeomID box = dCreateBox(p.space, side, side, side);
    dGeomSetBody(box, body);
    dMass m;
    dMassSetBox(&m, 1.0, meanSide, meanSide, meanSide);
    dBodySetMass(body, &m);
    bodies.push_back(body);
  }
  const auto start = Clock::now();
  for (int i = 0; i < steps; ++i) {
    dSpaceCollide(p.space, &p, plainContacts);
    dWorldQuickStep(p.world, 1.0);
    dJointGroupEmpty(p.contacts);
  }
  const double ms = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
  *endZ = dBodyGetPosition(bodies.front())[2];
  dJointGroupDestroy(p.contacts);
  dSpaceDestroy(p.space);
  dWorldDestroy(p.world);
  dCloseODE();
  return ms / steps;
}

// ---- the world, and the workspace around it --------------------------------

double runWorld(int n, int steps, dReal* endZ) {
  SimWorld w;
  simInit(&w);
  simCreate(&w);
  simReset(&w, scaleFor(n));
  const float size[3] = {kSide, kSide, kSide}, zero[3] = {0, 0, 0};
  for (const auto& c : dropGrid(n)) {
    const int32_t body = simAddBody(&w, true, c.data(), kIdentity);
    simEnableShape(&w, simAddShape(&w, kShapeBox, body, 1, 1, 1, zero, size, kIdentity));
  }
  simReset(&w, scaleFor(n));
  const auto start = Clock::now();
  for (int i = 0; i < steps; ++i) simStep(&w, 1.0f);
  const double ms = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
  *endZ = dBodyGetPosition(simEngineBody(&w, w.shapes.begin()->first))[2];
  simRelease(&w);
  return ms / steps;
}

double runWorkspace(int n, int steps) {
  Workspace* ws = new Workspace;
  workspaceInit(ws, nullptr, nullptr, nullptr);
  ws->view.render.sceneExtent = scaleFor(n);
  const float size[3] = {kSide, kSide, kSide}, zero[3] = {0, 0, 0};
  std::vector<std::array<float, 3>> grid = dropGrid(n);
  std::vector<Model*> models;
  for (int i = 0; i < n; ++i) {
    Model* model = createModel(nullptr, "box", nullptr);
    addCollide(model, "box", kShapeBox, zero, size, kIdentity, 1, 1, 1, 1);
    registerModel(&ws->registry, model);
    models.push_back(model);
  }
  startSimulation(*ws);
  for (int i = 0; i < n; ++i) {
    const SimLink* link = simLinkFor(*ws, models[i], tableAt<CollideObject>(&models[i]->collides,
                                                                          tableNextSlot(&models[i]->collides, -1)));
    simSetShapePlacement(&ws->sim, link->shapeId, grid[i].data(), false);
  }
  const auto start = Clock::now();
  for (int i = 0; i < steps; ++i) stepSimulation(*ws, 1.0f);
  const double ms = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
  workspaceRelease(ws);
  delete ws;
  return ms / steps;
}

}  // namespace

int main(int argc, char** argv) {
  const int steps = argc > 1 ? std::max(1, std::atoi(argv[1])) : 200;
  std::vector<int> sizes;
  for (int i = 2; i < argc; ++i) sizes.push_back(std::max(1, std::atoi(argv[i])));
  if (sizes.empty()) sizes = {100, 1000, 5000};
  std::printf("%d steps of boxes of side %.0f dropped side by side into the pen\n", steps, kSide);
  std::printf("%6s %6s  %-28s %10s %14s %8s\n", "boxes", "scale", "", "ms/step", "us/step/box",
              "ratio");
  for (int n : sizes) {
    // Rounds of each in turn, best of each: the machine's load drifts, and
    // every row should see the same of it.
    dReal plainZ = 0, sapZ = 0, worldZ = 0;
    double plain = 1e300, sap = 1e300, world = 1e300, workspace = 1e300;
    for (int round = 0; round < 3; ++round) {
      plain = std::min(plain, runPlain(n, steps, false, &plainZ));
      sap = std::min(sap, runPlain(n, steps, true, &sapZ));
      world = std::min(world, runWorld(n, steps, &worldZ));
      workspace = std::min(workspace, runWorkspace(n, steps));
    }
    auto row = [&](const char* what, double ms) {
      std::printf("%6d %6.0f  %-28s %10.3f %14.3f %8.2f\n", n, scaleFor(n), what, ms,
                  ms * 1000.0 / n, ms / plain);
    };
    row("plain ODE, hash space", plain);
    row("plain ODE, sweep and prune", sap);
    row("SimWorld (simStep)", world);
    row("workspace (stepSimulation)", workspace);
    std::printf("%13s  the world moved %s the plain program\n", "",
                worldZ == plainZ ? "to the bit as" : "otherwise than");
  }
  return 0;
}
