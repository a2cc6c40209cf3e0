// Loading the child models a .mod file names, once the file has been read.
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "io/mod_reader.h"
#include "io/mod_reader_state.h"
#include "model/children.h"
#include "model/last_error.h"
#include "model/model.h"
#include "model/transform.h"

namespace {

// Files can name each other in a chain that never repeats a name (through
// different directories); this bounds how deep such a chain may go.
constexpr int kMaxChildDepth = 64;

bool isAbsolute(const char* path) {
  return path[0] == '/' || path[0] == '\\' ||
         (path[0] != '\0' && path[1] == ':');
}

std::string modelPath(const Model* model) {
  return std::string(model->directory) + model->name + ".mod";
}

std::string canonical(const std::string& path) {
  char resolved[PATH_MAX];
  if (realpath(path.c_str(), resolved) == nullptr) return std::string();
  return resolved;
}

// A child that is the model itself or one of its ancestors, by name or by
// the file it would load.
bool wouldLoop(const Model* model, const char* name, const std::string& path) {
  const std::string target = canonical(path);
  for (const Model* m = model; m != nullptr; m = m->parent) {
    if (std::strcmp(m->name, name) == 0) return true;
    if (!target.empty() && canonical(modelPath(m)) == target) return true;
  }
  return false;
}

int depthOf(const Model* model) {
  int depth = 0;
  for (const Model* m = model; m != nullptr; m = m->parent) ++depth;
  return depth;
}

void growBounds(Model* model, const float p[3], bool first) {
  for (int i = 0; i < 3; ++i) {
    if (first || p[i] < model->boundsMin[i]) model->boundsMin[i] = p[i];
    if (first || p[i] > model->boundsMax[i]) model->boundsMax[i] = p[i];
  }
}

// Each placed corner of the child's bounds widens the model's bounds;
// `first` lets the first corner set them (a model with no points).
void growByChild(Model* model, const Child* child, bool* first) {
  const Model* m = child->model;
  if (m == nullptr) return;
  for (int corner = 0; corner < 8; ++corner) {
    const float p[3] = {(corner & 1) ? m->boundsMax[0] : m->boundsMin[0],
                        (corner & 2) ? m->boundsMax[1] : m->boundsMin[1],
                        (corner & 4) ? m->boundsMax[2] : m->boundsMin[2]};
    float placed[3];
    placePoint(child->position, child->rotation, child->scale, p, placed);
    growBounds(model, placed, *first);
    *first = false;
  }
}

void growByChildren(Model* model) {
  bool first = tableCount(&model->points) == 0;
  for (int32_t s = tableNextSlot(&model->children, -1); s >= 0;
       s = tableNextSlot(&model->children, s)) {
    growByChild(model, tableAt<Child>(&model->children, s), &first);
  }
}

Model* topOf(Model* model) {
  while (model->parent != nullptr) model = model->parent;
  return model;
}

}  // namespace

int32_t addChildFromFile(Model* parent, const char* name, const float position[3],
                         const float scale[3], const float rotation[9],
                         const char* joint, float jointWeight, bool* loaded) {
  Model* top = topOf(parent);
  top->modelsLoaded = 0;  // a new load
  Model* child = readModelFile(childModelPath(parent, name).c_str(), parent, nullptr);
  *loaded = child != nullptr;
  if (child == nullptr) return 0;
  lastErrorClear();
  const int32_t id = addChild(parent, child, name, position, scale, rotation, joint,
                              jointWeight);
  if (id == 0) {
    freeModel(child);
    return 0;
  }
  bool first = tableCount(&parent->points) == 0 && tableCount(&parent->children) == 1;
  growByChild(parent, tableFindT<Child>(&parent->children, id), &first);
  return id;
}

std::string childModelPath(const Model* parent, const char* name) {
  if (isAbsolute(name)) return std::string(name) + ".mod";
  std::string path = parent->directory;
  // A directory given without its separator still takes the name after one.
  if (!path.empty() && path.back() != '/' && path.back() != '\\') path += '/';
  return path + name + ".mod";
}

bool resolveChildren(Model* model) {
  const bool tooDeep = depthOf(model) > kMaxChildDepth;
  Model* top = topOf(model);  // where this load counts its models
  // Each child's read starts with a clean LastError; the last child that
  // was dropped is what the status line should still say afterwards.
  std::string dropped;
  bool again = true;
  while (again) {
    again = false;
    for (int32_t s = tableNextSlot(&model->children, -1); s >= 0;
         s = tableNextSlot(&model->children, s)) {
      Child* child = tableAt<Child>(&model->children, s);
      if (child->model != nullptr) continue;
      const int32_t id = child->id;
      const std::string path = childModelPath(model, child->name);
      Model* loaded = nullptr;
      if (wouldLoop(model, child->name, path)) {
        lastErrorReportf("%s: %s", "Child in child endless loop", child->name);
      } else if (tooDeep) {
        lastErrorReportf("child models nested too deeply: %s", child->name);
      } else if (top->modelsLoaded >= kMaxModelsPerLoad) {
        lastErrorReportf("too many child models in one load (limit %d): %s",
                         kMaxModelsPerLoad, child->name);
      } else {
        // Counted before it reads its own children, so that the models of
        // every unfinished branch count too. The children table is not
        // touched while the child reads its own file, so `child` stays
        // valid.
        ++top->modelsLoaded;
        loaded = readModelFile(path.c_str(), model, nullptr);
        if (loaded == nullptr) --top->modelsLoaded;
      }
      if (loaded == nullptr) {
        if (lastErrorText() != nullptr) dropped = lastErrorText();
        tableRemove(&model->children, id);
        again = true;  // start over from the first child
        break;
      }
      child->model = loaded;
    }
  }
  growByChildren(model);
  if (!dropped.empty() && lastErrorText() == nullptr) lastErrorReport(dropped.c_str());
  return true;
}
