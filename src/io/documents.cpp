#include "io/documents.h"

#include <string>
#include <vector>

#include "cmd/context.h"
#include "io/mod_reader.h"
#include "model/geometry.h"
#include "model/last_error.h"

namespace {

StatusReporter g_status = nullptr;
DocumentViewHooks g_hooks = {nullptr, nullptr};

void announceOpened(Model* model) {
  if (g_hooks.modelOpened) g_hooks.modelOpened(model);
}

void announceClosing(Model* model) {
  if (g_hooks.modelClosing) g_hooks.modelClosing(model);
}

// The camera must see the whole of every open model: twice the largest
// extent of the new one, never shrinking for a smaller one. The model's
// bounds grow as points are added, so nothing needs recomputing here.
void growSceneExtent(Model* model) {
  float largest = 0.0f;
  for (int axis = 0; axis < 3; ++axis) {
    float extent = model->boundsMax[axis] - model->boundsMin[axis];
    if (extent > largest) largest = extent;
  }
  if (g_app.render.sceneExtent < 2.0f * largest) {
    g_app.render.sceneExtent = 2.0f * largest;
  }
}

// Where a model is reloaded from: its directory (when it has one), its
// name and ".mod".
std::string reloadPath(const Model* model) {
  return std::string(model->directory) + model->name + ".mod";
}

}  // namespace

void setLoaderStatusReporter(StatusReporter reporter) { g_status = reporter; }

void loaderStatus(const char* text) {
  if (g_status) g_status(text);
}

void setDocumentViewHooks(const DocumentViewHooks* hooks) {
  g_hooks = hooks ? *hooks : DocumentViewHooks{nullptr, nullptr};
}

void closeAllModels() {
  loaderStatus("Closing currently open Model file");
  ModelRegistry* registry = &g_app.registry;
  for (int32_t s = tableNextSlot(&registry->models, -1); s >= 0;
       s = tableNextSlot(&registry->models, s)) {
    announceClosing(tableAt<RegistryEntry>(&registry->models, s)->model);
  }
  registryFreeAll(registry);
  registryInit(registry);
  resetSceneExtent(&g_app.render);
  loaderStatus("Ready");
}

Model* createEmptyModel(const char* name) {
  // Make the new model first: a name that cannot be a model name must not
  // cost the user the models that are open.
  Model* model = createModel(nullptr, name, nullptr);
  if (model == nullptr) return nullptr;
  closeAllModels();
  if (!registerModel(&g_app.registry, model)) {
    freeModel(model);
    return nullptr;
  }
  announceOpened(model);
  return model;
}

Model* loadModelDocument(const char* path) {
  loaderStatus("Loading...");
  // Only what this load says belongs in the status line.
  lastErrorClear();
  Model* model = readModelFile(path, nullptr, nullptr);
  if (const char* reason = lastErrorText()) loaderStatus(reason);
  if (model == nullptr) {
    loaderStatus("Load failed");
    return nullptr;
  }
  growSceneExtent(model);
  if (!registerModel(&g_app.registry, model)) {
    freeModel(model);
    loaderStatus("Load failed");
    return nullptr;
  }
  announceOpened(model);
  loaderStatus("Ready");
  return model;
}

Model* openModelDocument(const char* path) {
  closeAllModels();
  return loadModelDocument(path);
}

int reloadModelDocuments() {
  ModelRegistry* registry = &g_app.registry;
  std::vector<std::string> paths;
  for (int32_t s = tableNextSlot(&registry->models, -1); s >= 0;
       s = tableNextSlot(&registry->models, s)) {
    paths.push_back(reloadPath(tableAt<RegistryEntry>(&registry->models, s)->model));
  }
  closeAllModels();
  size_t loaded = 0;
  for (const std::string& path : paths) {
    if (loadModelDocument(path.c_str()) != nullptr) ++loaded;
  }
  // All or nothing: scripts never see some of their models come back.
  if (loaded < paths.size()) closeAllModels();
  if (tableCount(&registry->models) == 0) createEmptyModel("untitled");
  return tableCount(&registry->models);
}

bool removeModelDocument(int32_t id) {
  Model* model = registryFind(&g_app.registry, id);
  if (model == nullptr) return false;
  announceClosing(model);
  registryRemove(&g_app.registry, id);
  freeModel(model);
  return true;
}
