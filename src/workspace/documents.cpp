#include "workspace/documents.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "io/export_scene.h"
#include "io/import_scene.h"
#include "io/mod_reader.h"
#include "io/mod_writer.h"
#include "io/texture_files.h"
#include "model/absorb.h"
#include "model/children.h"
#include "model/geometry.h"
#include "model/last_error.h"
#include "view/draw_model.h"
#include "workspace/model_tree.h"
#include "workspace/workspace.h"

namespace {

// The view keeps GL data per model, the world bodies and shapes; a closed
// model's go with it.
void announceClosing(Workspace& ws, Model* model) {
  releaseModelDisplay(ws.view.displays, model);
  forgetSimulatedModel(ws, model);
}

// The camera must see the whole of every open model: twice the largest
// extent of the new one, never shrinking for a smaller one. The model's
// bounds grow as points are added, so nothing needs recomputing here.
void growSceneExtent(Workspace& ws, Model* model) {
  float largest = 0.0f;
  for (int axis = 0; axis < 3; ++axis) {
    float extent = model->boundsMax[axis] - model->boundsMin[axis];
    if (extent > largest) largest = extent;
  }
  if (ws.view.render.sceneExtent < 2.0f * largest) {
    ws.view.render.sceneExtent = 2.0f * largest;
  }
}

// Where a model is reloaded from: its directory (when it has one), its
// name and ".mod".
std::string reloadPath(const Model* model) {
  return std::string(model->directory) + model->name + ".mod";
}

// Every texture the load left without its pixels, each message once (the
// reader's last message, already said, carries the file and line).
void reportTextureFailures(Workspace& ws, const Model* model, std::vector<std::string>* said) {
  auto report = [&](const Model* owner, const TextureSlot* slot, bool cube) {
    if (slot->loaded || slot->file[0] == '\0') return;
    const std::string why = textureFailure(owner, slot->file, cube);
    if (why.empty()) return;
    for (const std::string& old : *said)
      if (old.compare(0, why.size(), why) == 0) return;
    said->push_back(why);
    loaderStatus(ws, why.c_str());
  };
  visitModelTree(model, [&](const Model* m) {
    tableForEach<Layer>(&m->layers, [&](const Layer* layer, int32_t) {
      tableForEach<Image>(&layer->images, [&](const Image* image, int32_t) {
        report(m, &image->main, image->mode == kImageCubeMap);
        if (image->mirrorFlag) report(m, &image->mirror, false);
        if (image->extraKind == kExtraAlphaTexture) report(m, &image->alpha, false);
      });
    });
  });
}

}  // namespace

void loaderStatus(Workspace& ws, const char* text) {
  if (ws.host != nullptr && text != nullptr) ws.host->workspaceStatus(text);
}

void closeAllModels(Workspace& ws) {
  loaderStatus(ws, "Closing currently open Model file");
  ModelRegistry* registry = &ws.registry;
  for (int32_t s = tableNextSlot(&registry->models, -1); s >= 0;
       s = tableNextSlot(&registry->models, s)) {
    announceClosing(ws, tableAt<RegistryEntry>(&registry->models, s)->model);
  }
  registryFreeAll(registry);
  registryInit(registry);
  // Nothing is left to simulate.
  ws.sim.simulating = false;
  resetSceneExtent(&ws.view.render);
  loaderStatus(ws, "Ready");
}

Model* createEmptyModel(Workspace& ws, const char* name) {
  // Make the new model first: a name that cannot be a model name must not
  // cost the user the models that are open.
  Model* model = createModel(nullptr, name, nullptr);
  if (model == nullptr) return nullptr;
  closeAllModels(ws);
  if (!registerModel(&ws.registry, model)) {
    freeModel(model);
    return nullptr;
  }
  return model;
}

Model* loadModelDocument(Workspace& ws, const char* path) {
  loaderStatus(ws, "Loading...");
  // Only what this load says belongs in the status line.
  lastErrorClear();
  Model* model = readModelFile(path, nullptr, nullptr);
  const char* reason = lastErrorText();
  if (reason != nullptr) loaderStatus(ws, reason);
  if (model != nullptr) {
    std::vector<std::string> said;
    if (reason != nullptr) said.emplace_back(reason);
    reportTextureFailures(ws, model, &said);
    // Automatic uvees and layer bounds belong to opening, not to the
    // first frame.
    visitModelTree(model, flushDerived);
  }
  if (model == nullptr) {
    loaderStatus(ws, "Load failed");
    return nullptr;
  }
  growSceneExtent(ws, model);
  if (!registerModel(&ws.registry, model)) {
    freeModel(model);
    loaderStatus(ws, "Load failed");
    return nullptr;
  }
  loaderStatus(ws, "Ready");
  return model;
}

Model* openModelDocument(Workspace& ws, const char* path) {
  closeAllModels(ws);
  return loadModelDocument(ws, path);
}

int reloadModelDocuments(Workspace& ws) {
  ModelRegistry* registry = &ws.registry;
  std::vector<std::string> paths;
  for (int32_t s = tableNextSlot(&registry->models, -1); s >= 0;
       s = tableNextSlot(&registry->models, s)) {
    paths.push_back(reloadPath(tableAt<RegistryEntry>(&registry->models, s)->model));
  }
  closeAllModels(ws);
  size_t loaded = 0;
  for (const std::string& path : paths) {
    if (loadModelDocument(ws, path.c_str()) != nullptr) ++loaded;
  }
  // All or nothing: scripts never see some of their models come back.
  if (loaded < paths.size()) closeAllModels(ws);
  if (tableCount(&registry->models) == 0) createEmptyModel(ws, "untitled");
  return tableCount(&registry->models);
}

bool removeModelDocument(Workspace& ws, int32_t id) {
  Model* model = registryFind(&ws.registry, id);
  if (model == nullptr) return false;
  announceClosing(ws, model);
  registryRemove(&ws.registry, id);
  freeModel(model);
  return true;
}

namespace {

std::string directoryOf(const char* path) {
  const std::string text = path;
  const size_t slash = text.rfind('/');
  return slash == std::string::npos ? std::string() : text.substr(0, slash + 1);
}

// The imported model's geometry into `into`, as absorbing a child with no
// placement does; false (LastError) with `into` as it was.
bool mergeImported(Model* into, Model* imported) {
  // Into an empty model, as most imports go, the tables change hands.
  if (absorbWhole(into, imported)) return true;
  float boundsMin[3], boundsMax[3];
  std::memcpy(boundsMin, into->boundsMin, sizeof boundsMin);
  std::memcpy(boundsMax, into->boundsMax, sizeof boundsMax);
  const float origin[3] = {0, 0, 0}, unit[3] = {1, 1, 1};
  const float identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  const int32_t child = addChild(into, imported, imported->name, origin, unit,
                                 identity, nullptr, 1.0f);
  if (child == 0) {
    freeModel(imported);
    return false;
  }
  if (absorbChild(into, child)) return true;
  // Refused before anything moved: take the child out again.
  const std::string why = lastErrorText() ? lastErrorText() : "";
  deleteChildByModelId(into, imported->id);
  std::memcpy(into->boundsMin, boundsMin, sizeof boundsMin);
  std::memcpy(into->boundsMax, boundsMax, sizeof boundsMax);
  lastErrorReport(why.c_str());
  return false;
}

}  // namespace

Model* importModelDocument(Workspace& ws, const char* path) {
  loaderStatus(ws, "Importing...");
  lastErrorClear();
  Model* current = ws.registry.current;
  // Pictures are named from where the model that takes them lies.
  const std::string fileDirectory = directoryOf(path);
  const bool elsewhere =
      current != nullptr && fileDirectory != current->directory;
  ImportReport report;
  Model* imported = importModelFile(
      path, elsewhere ? fileDirectory.c_str() : nullptr, &report);
  if (imported == nullptr) {
    loaderStatus(ws, "Import failed");
    return nullptr;
  }
  for (const std::string& note : report.notes) loaderStatus(ws, note.c_str());
  Model* target = current;
  if (current == nullptr) {
    growSceneExtent(ws, imported);
    if (!registerModel(&ws.registry, imported)) {
      freeModel(imported);
      lastErrorReport("out of memory");
      loaderStatus(ws, "Import failed");
      return nullptr;
    }
    target = imported;
  } else if (!mergeImported(current, imported)) {
    loaderStatus(ws, "Import failed");
    return nullptr;
  } else {
    growSceneExtent(ws, current);
  }
  char line[512];
  std::snprintf(line, sizeof line, "Imported %d points, %d triangles in %d layers from %s",
                report.counts.points, report.counts.triangles, report.counts.layers, path);
  loaderStatus(ws, line);
  loaderStatus(ws, "Ready");
  return target;
}

bool saveModelDocument(Model* model, const char* path) {
  flushDerived(model);
  return writeModelFile(model, path);
}

int exportModelDocument(Model* model, const ExportRequest& request) {
  flushForExport(model);
  return exportModel(model, request);
}
