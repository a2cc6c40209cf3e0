// The simulation as the open models see it: one link per collide object
// between the document and the world (its body and shape ids), made the
// first time the object is drawn, picked, placed at a start or named by a
// simulate command; starting, stopping and stepping; and the frames that
// drawing and picking place moving models and shapes in.
//
// Each model with collide objects has one body, made with its first link
// (dynamic unless that collide object is fixed); each collide object is a
// shape on it. A new link resets the whole world, so every body goes back
// to its stored place, keeping its speed.
//
// The world scale is the scene extent of the view (100 model units, or
// twice the largest open model): the pen's walls stand at the edge of what
// the camera shows, and one simulation unit is one scene extent.
#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "model/records.h"

struct Workspace;
struct ScenePlacements;

struct SimLink {
  int32_t collideId = 0;
  int32_t modelId = 0;
  int32_t bodyId = 0;
  int32_t shapeId = 0;  // 0: no shape (refused, or destroyed)
  uint32_t seen = 0;    // the last look for stale links that found it
  // The collide object's place in its model: offset, then rotation
  // (column order).
  float local[16];
};

struct SimLinks {
  std::unordered_map<int32_t, SimLink> byCollide;
  std::unordered_map<int32_t, int32_t> bodyOfModel;  // model id -> body id
  uint32_t looks = 0;  // looks for stale links so far
};

// Model units per simulation unit.
float worldScale(const Workspace& ws);

// An open model, or a child model of one at any depth, by its id.
Model* findOpenModel(const Workspace& ws, int32_t id);

// The collide object's link, made (with the world, its body and shape)
// when it has none. Null only when the world cannot be made.
const SimLink* simLinkFor(Workspace& ws, Model* model, const CollideObject* object);

// Removes the collide object's shape from the world; its link stays,
// without a shape, so that nothing puts it back.
void destroyLinkedShape(Workspace& ws, int32_t collideId);

// Creates the world, links every collide object of the open models, resets
// the world, sets it simulating and places each model's body at its model:
// children at their parent's position plus their offset, turned as the
// child is.
void startSimulation(Workspace& ws);
// Creates the world when needed, resets it and stops simulating; bodies
// keep their speed.
void stopSimulation(Workspace& ws);
// One step of that size. False when the world had run out of range and
// was put back at rest.
bool stepSimulation(Workspace& ws, float stepSize);
// True while a started simulation runs (and the view it belongs to is
// still there).
bool simulationRunning(Workspace& ws);

// Links every collide object of the models (and their children) that has
// none, then, while the simulation runs, gives each simulated model and
// collide object its frame: a model its body's, a collide object its
// shape's.
void placeSimulatedModels(Workspace& ws, const std::vector<Model*>& models,
                          ScenePlacements* placed);

// The model is closing: its shapes, bodies and links go (its children's
// too).
void forgetSimulatedModel(Workspace& ws, const Model* model);
// Destroys the world and every link.
void endSimulationWorld(Workspace& ws);
