// modelr simulate ...: default collide objects, starting and stopping the
// simulation, and pushing, turning, moving and asking after one collide
// object, named by its model's id and its own name. Usage errors are the
// command's result; a model or collide object that names nothing ends the
// command quietly. Naming a collide object puts it into the world (and
// makes the world) when it is not there yet.
#include <cstring>

#include "cmd/families.h"
#include "cmd/help.h"
#include "cmd/host.h"
#include "cmd/query_support.h"
#include "cmd/sim_tick.h"
#include "cmd/subcommands.h"
#include "cmd/values.h"
#include "model/children.h"
#include "view/view_window.h"
#include "workspace/simulation.h"

namespace {

// Written once for push and used by most of the family.
constexpr const char* kPushUsage =
    "modelr: usage: modelr simulate push <model name> <collide name> <x> <y> <z>";
constexpr const char* kRotateUsage =
    "modelr: usage: modelr simulate rotate <model name> <collide name> <x> <y> <z>";
constexpr const char* kAutoUsage = "modelr: usage: modelr simulate auto [<id> <dynamic>]";
constexpr const char* kStepUsage = "modelr: usage: modelr simulate step <n>";
constexpr int32_t kMostSteps = 1000000;
constexpr float kAutoSmallestSide = 10.0f;
constexpr float kIdentity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};

// The collide object a command names, with its link.
struct Target {
  Model* model = nullptr;
  const CollideObject* object = nullptr;
  const SimLink* link = nullptr;
};

bool readNames(char**& word, int32_t* modelId, const char** name) {
  return nextInt(word, modelId) && nextString(word, name);
}

// x y z that may enter the world.
bool readVector(char**& word, float xyz[3]) {
  return nextFloats(word, xyz, 3) && simInputsOk(xyz, 3);
}

// Finds the collide object and puts it into the world; false when the
// names name nothing.
bool findTarget(Workspace& ws, int32_t modelId, const char* name, Target* target) {
  target->model = findOpenModel(ws, modelId);
  if (target->model == nullptr) return false;
  target->object = collideByName(target->model, name);
  if (target->object == nullptr) return false;
  target->link = simLinkFor(ws, target->model, target->object);
  return target->link != nullptr;
}

// <model name> <collide name>, then <x> <y> <z> into `xyz` when it is
// given (the vector's usage text given with it): the collide object named,
// put into the world. False after a usage text, or when nothing is named.
bool namedTarget(Workspace& ws, char** words, Target* target, float* xyz = nullptr,
                 const char* vectorUsage = nullptr) {
  char** word = words + 1;
  int32_t modelId = 0;
  const char* name = nullptr;
  if (!wordsReadOrAnswer(ws, readNames(word, &modelId, &name), kPushUsage)) return false;
  if (xyz != nullptr && !wordsReadOrAnswer(ws, readVector(word, xyz), vectorUsage)) return false;
  return findTarget(ws, modelId, name, target);
}

// A box collide object named "auto" around the model's bounds.
void addAutoBox(Model* model, float smallestSide, int32_t dynamic) {
  float centre[3], size[3];
  for (int i = 0; i < 3; ++i) {
    const float extent = model->boundsMax[i] - model->boundsMin[i];
    centre[i] = model->boundsMin[i] + extent * 0.5f;
    size[i] = extent < smallestSide ? smallestSide : extent;
  }
  addCollide(model, "auto", kShapeBox, centre, size, kIdentity, 1.0f, 1.0f, 1.0f, dynamic);
}

// auto: every open model a box, unless the first already has collide
// objects (the others are not looked at). auto <id> <dynamic>: that model,
// when it has none, a box at least 10 on each side.
void simulateAuto(Workspace& ws, char** words) {
  if (words[1] == nullptr) {
    simCreate(&ws.sim);
    const KeyedTable* models = &ws.registry.models;
    const int32_t first = tableNextSlot(models, -1);
    if (first < 0) return;
    const Model* head = tableAt<RegistryEntry>(models, first)->model;
    if (head == nullptr || tableCount(&head->collides) > 0) return;
    for (int32_t s = first; s >= 0; s = tableNextSlot(models, s)) {
      Model* model = tableAt<RegistryEntry>(models, s)->model;
      if (model != nullptr) addAutoBox(model, 0.0f, 1);
    }
    return;
  }
  char** word = words + 1;
  int32_t id = 0, dynamic = 0;
  if (!wordsReadOrAnswer(ws, nextInt(word, &id) && nextInt(word, &dynamic), kAutoUsage))
    return;
  Model* model = findOpenModel(ws, id);
  if (model != nullptr && tableCount(&model->collides) == 0)
    addAutoBox(model, kAutoSmallestSide, dynamic != 0 ? 1 : 0);
}

void simulateDestroy(Workspace& ws, char** words) {
  Target target;
  if (namedTarget(ws, words, &target)) destroyLinkedShape(ws, target.object->id);
}

void simulateDisable(Workspace& ws, char** words) {
  Target target;
  if (namedTarget(ws, words, &target)) simDisableShape(&ws.sim, target.link->shapeId);
}

void simulateEnable(Workspace& ws, char** words) {
  Target target;
  if (namedTarget(ws, words, &target)) simEnableShape(&ws.sim, target.link->shapeId);
}

// Accepted and looked up; following a shape with the camera is not done.
void simulateFollow(Workspace& ws, char** words) {
  Target target;
  float xyz[3];
  namedTarget(ws, words, &target, xyz, kPushUsage);
}

void simulateGetpos(Workspace& ws, char** words) {
  char** word = words + 1;
  int32_t modelId = 0;
  const char* name = nullptr;
  if (!wordsReadOrAnswer(ws, readNames(word, &modelId, &name), kPushUsage)) return;
  float position[3] = {0, 0, 0};
  Target target;
  if (findTarget(ws, modelId, name, &target))
    simShapePosition(&ws.sim, target.link->shapeId, position);
  query::setFloats(ws, position, 3);
}

// Looked up, answering nothing.
void simulateGetrot(Workspace& ws, char** words) {
  Target target;
  namedTarget(ws, words, &target);
}

void simulateMove(Workspace& ws, char** words) {
  Target target;
  float xyz[3];
  if (namedTarget(ws, words, &target, xyz, kPushUsage))
    simMoveShape(&ws.sim, target.link->shapeId, xyz);
}

void simulatePush(Workspace& ws, char** words) {
  Target target;
  float xyz[3];
  if (namedTarget(ws, words, &target, xyz, kPushUsage))
    simPush(&ws.sim, target.link->shapeId, xyz);
}

void simulateRotate(Workspace& ws, char** words) {
  Target target;
  float xyz[3];
  if (namedTarget(ws, words, &target, xyz, kRotateUsage))
    simSpinWorld(&ws.sim, target.link->shapeId, xyz);
}

void simulateReset(Workspace& ws, char**) { simReset(&ws.sim, worldScale(ws)); }

// To the place, turning a fifth of the way back to upright.
void simulateSetpos(Workspace& ws, char** words) {
  Target target;
  float xyz[3];
  if (namedTarget(ws, words, &target, xyz, kRotateUsage))
    simSetShapePlacement(&ws.sim, target.link->shapeId, xyz, true);
}

void simulateStart(Workspace& ws, char**) {
  startSimulation(ws);
  startSimulateTicks(ws);
  redrawView(ws.view);
}

void simulateStop(Workspace& ws, char**) {
  stopSimulation(ws);
  stopSimulateTicks(ws);
  redrawView(ws.view);
}

// step <n>: n steps at once, without the ticks or the simulate procedure.
void simulateStep(Workspace& ws, char** words) {
  char** word = words + 1;
  int32_t steps = 0;
  if (!wordsReadOrAnswer(ws, nextInt(word, &steps) && steps >= 0 && steps <= kMostSteps,
                         kStepUsage))
    return;
  for (int32_t i = 0; i < steps; ++i) {
    if (!stepSimulation(ws, 1.0f)) {
      reportSimulationReset(ws);
      return;
    }
  }
}

void simulateTurn(Workspace& ws, char** words) {
  Target target;
  float xyz[3];
  if (namedTarget(ws, words, &target, xyz, kPushUsage))
    simSpinBody(&ws.sim, target.link->shapeId, xyz);
}

// Most forms answer with the push usage text, as the command always has;
// the rows carry the text each one reports, for modelr help.
const SubCommand kSimulateWords[] = {
    {"auto", simulateAuto, kAutoUsage},       {"destroy", simulateDestroy, kPushUsage},
    {"disable", simulateDisable, kPushUsage}, {"enable", simulateEnable, kPushUsage},
    {"follow", simulateFollow, kPushUsage},   {"getpos", simulateGetpos, kPushUsage},
    {"getrot", simulateGetrot, kPushUsage},   {"move", simulateMove, kPushUsage},
    {"push", simulatePush, kPushUsage},       {"rotate", simulateRotate, kRotateUsage},
    {"reset", simulateReset},                 {"setpos", simulateSetpos, kRotateUsage},
    {"start", simulateStart},                 {"step", simulateStep, kStepUsage},
    {"stop", simulateStop},                   {"turn", simulateTurn, kPushUsage},
};

}  // namespace

void simulateCommand(Workspace& ws, char** words) {
  runSubCommand(ws, words, kSimulateWords, "attribute");
}

void simulateHelp(HelpRows* rows) { listKeywords(kSimulateWords, "simulate", rows); }
