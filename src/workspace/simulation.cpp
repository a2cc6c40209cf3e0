#include "workspace/simulation.h"

#include <cmath>
#include <unordered_set>
#include <vector>

#include "model/children.h"
#include "sim/sim_world.h"
#include "view/view.h"
#include "workspace/model_tree.h"
#include "workspace/workspace.h"

namespace {

constexpr float kIdentity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
constexpr float kOrigin[3] = {0, 0, 0};
// The scene extent when it is no usable scale.
constexpr float kDefaultScale = 100.0f;

// Every open model, in registry order, without its children.
template <class Visit>
void forEachOpenModel(const Workspace& ws, Visit visit) {
  const KeyedTable* models = &ws.registry.models;
  for (int32_t s = tableNextSlot(models, -1); s >= 0; s = tableNextSlot(models, s)) {
    Model* model = tableAt<RegistryEntry>(models, s)->model;
    if (model != nullptr) visit(model);
  }
}

// Every open model and its children's models.
template <class Visit>
void visitOpenModels(const Workspace& ws, Visit visit) {
  forEachOpenModel(ws, [&](Model* model) { visitModelTree(model, visit); });
}

void localPlacement(const CollideObject* object, float out[16]) {
  for (int c = 0; c < 3; ++c) {
    for (int r = 0; r < 3; ++r) out[c * 4 + r] = object->rotation[r * 3 + c];
    out[c * 4 + 3] = 0.0f;
    out[12 + c] = object->position[c];
  }
  out[15] = 1.0f;
}

// out = a * b, column order.
void multiplyColumnOrder(const float a[16], const float b[16], float out[16]) {
  for (int c = 0; c < 4; ++c)
    for (int r = 0; r < 4; ++r)
      out[c * 4 + r] = a[r] * b[c * 4] + a[4 + r] * b[c * 4 + 1] + a[8 + r] * b[c * 4 + 2] +
                       a[12 + r] * b[c * 4 + 3];
}

void dropLink(Workspace& ws, const SimLink& link) {
  if (link.shapeId > 0) simRemoveShape(&ws.sim, link.shapeId);
}

// The view the world belongs to was closed: the world goes with it.
void retireWithView(Workspace& ws) {
  if (ws.view.window.created && ws.view.window.window == nullptr && ws.sim.exists)
    endSimulationWorld(ws);
}

// Links whose collide object is gone (deleted, absorbed into another
// model) take their shapes with them. Runs every step, so it marks what
// it finds instead of building anything.
void dropStaleLinks(Workspace& ws) {
  SimLinks& links = ws.simLinks;
  if (links.byCollide.empty()) return;
  const uint32_t look = ++links.looks;
  visitOpenModels(ws, [&](Model* model) {
    tableForEach<CollideObject>(&model->collides, [&](const CollideObject* o, int32_t) {
      auto found = links.byCollide.find(o->id);
      if (found != links.byCollide.end() && found->second.modelId == model->id)
        found->second.seen = look;
    });
  });
  for (auto it = links.byCollide.begin(); it != links.byCollide.end();) {
    if (it->second.seen == look) {
      ++it;
      continue;
    }
    dropLink(ws, it->second);
    it = links.byCollide.erase(it);
  }
}

// The place each model's bodies take at a start.
void placeTree(Workspace& ws, Model* model, const float position[3], const float rotation[9],
               int depth) {
  tableForEach<CollideObject>(&model->collides, [&](const CollideObject* o, int32_t) {
    const SimLink* link = simLinkFor(ws, model, o);
    if (link == nullptr) return;
    simSetBodyPlacement(&ws.sim, link->bodyId, position, true);
    simSetBodyRotation(&ws.sim, link->bodyId, rotation);
  });
  if (depth >= kMaxChildDepth) return;
  tableForEach<Child>(&model->children, [&](const Child* child, int32_t) {
    if (child->model == nullptr) return;
    float at[3];
    for (int i = 0; i < 3; ++i) at[i] = position[i] + child->position[i];
    placeTree(ws, child->model, at, child->rotation, depth + 1);
  });
}

}  // namespace

float worldScale(const Workspace& ws) {
  const float extent = ws.view.render.sceneExtent;
  return std::isfinite(extent) && extent >= 1.0f && extent <= kSimLargestInput ? extent
                                                                                : kDefaultScale;
}

Model* findOpenModel(const Workspace& ws, int32_t id) {
  Model* found = nullptr;
  visitOpenModels(ws, [&](Model* model) {
    if (found == nullptr && model->id == id) found = model;
  });
  return found;
}

const SimLink* simLinkFor(Workspace& ws, Model* model, const CollideObject* object) {
  retireWithView(ws);
  SimLinks& links = ws.simLinks;
  auto found = links.byCollide.find(object->id);
  if (found != links.byCollide.end()) return &found->second;
  if (!simCreate(&ws.sim)) return nullptr;
  SimLink link;
  link.collideId = object->id;
  link.modelId = model->id;
  localPlacement(object, link.local);
  auto body = links.bodyOfModel.find(model->id);
  if (body == links.bodyOfModel.end() || ws.sim.bodies.count(body->second) == 0) {
    link.bodyId = simAddBody(&ws.sim, object->dynamic != 0, kOrigin, kIdentity);
    links.bodyOfModel[model->id] = link.bodyId;
  } else {
    link.bodyId = body->second;
  }
  link.shapeId = simAddShape(&ws.sim, object->shape, link.bodyId, object->weight,
                             object->friction, object->bounce, object->position,
                             object->size, object->rotation);
  if (link.shapeId != 0) simEnableShape(&ws.sim, link.shapeId);
  simReset(&ws.sim, worldScale(ws));
  return &(links.byCollide[object->id] = link);
}

void destroyLinkedShape(Workspace& ws, int32_t collideId) {
  auto found = ws.simLinks.byCollide.find(collideId);
  if (found == ws.simLinks.byCollide.end() || !ws.sim.exists) return;
  dropLink(ws, found->second);
  found->second.shapeId = 0;
}

void startSimulation(Workspace& ws) {
  retireWithView(ws);
  if (!simCreate(&ws.sim)) return;
  dropStaleLinks(ws);
  // Every link first: a new one resets the world, which would undo the
  // places already given.
  visitOpenModels(ws, [&](Model* model) {
    tableForEach<CollideObject>(&model->collides, [&](const CollideObject* o, int32_t) {
      simLinkFor(ws, model, o);
    });
  });
  simReset(&ws.sim, worldScale(ws));
  ws.sim.simulating = true;
  forEachOpenModel(ws, [&](Model* model) { placeTree(ws, model, kOrigin, kIdentity, 0); });
}

void stopSimulation(Workspace& ws) {
  retireWithView(ws);
  if (!simCreate(&ws.sim)) return;
  simReset(&ws.sim, worldScale(ws));
  ws.sim.simulating = false;
}

bool stepSimulation(Workspace& ws, float stepSize) {
  retireWithView(ws);
  if (!ws.sim.exists) return true;
  dropStaleLinks(ws);
  return simStep(&ws.sim, stepSize);
}

bool simulationRunning(Workspace& ws) {
  retireWithView(ws);
  return ws.sim.exists && ws.sim.simulating;
}

void placeSimulatedModels(Workspace& ws, const std::vector<Model*>& models,
                          ScenePlacements* placed) {
  retireWithView(ws);
  bool any = false;
  for (Model* top : models) {
    visitModelTree(top, [&](Model* model) {
      tableForEach<CollideObject>(&model->collides, [&](const CollideObject* o, int32_t) {
        any = true;
        simLinkFor(ws, model, o);
      });
    });
  }
  if (!any || !simulationRunning(ws)) return;
  dropStaleLinks(ws);
  std::unordered_map<int32_t, int32_t> firstShape;  // model id -> lowest collide id
  for (const auto& [collideId, link] : ws.simLinks.byCollide) {
    SceneFrame frame;
    if (link.shapeId <= 0 || !simDrawingMatrix(&ws.sim, link.shapeId, frame.m)) continue;
    // A model goes with its first collide object that has a shape.
    auto first = firstShape.find(link.modelId);
    if (first == firstShape.end() || collideId < first->second) {
      firstShape[link.modelId] = collideId;
      placed->models[link.modelId] = frame;
    }
    // The shape's own place on its body is in the frame only when the
    // engine holds it there: a shape without one sits at the body itself.
    if (ws.sim.shapes.at(link.shapeId).transform != nullptr) {
      SceneFrame shape;
      multiplyColumnOrder(frame.m, link.local, shape.m);
      frame = shape;
    }
    placed->collides.emplace(collideId, frame);
  }
}

void forgetSimulatedModel(Workspace& ws, const Model* model) {
  SimLinks& links = ws.simLinks;
  std::unordered_set<int32_t> ids;
  visitModelTree(model, [&](const Model* m) { ids.insert(m->id); });
  for (auto it = links.byCollide.begin(); it != links.byCollide.end();) {
    if (ids.count(it->second.modelId) == 0) {
      ++it;
      continue;
    }
    dropLink(ws, it->second);
    it = links.byCollide.erase(it);
  }
  for (int32_t id : ids) links.bodyOfModel.erase(id);
}

void endSimulationWorld(Workspace& ws) {
  simDestroy(&ws.sim);
  ws.simLinks.byCollide.clear();
  ws.simLinks.bodyOfModel.clear();
}
