#include "io/documents.h"

#include "cmd/context.h"

namespace {

StatusReporter g_status = nullptr;

}  // namespace

void setLoaderStatusReporter(StatusReporter reporter) { g_status = reporter; }

void loaderStatus(const char* text) {
  if (g_status) g_status(text);
}

void closeAllModels() {
  loaderStatus("Closing currently open Model file");
  registryFreeAll(&g_app.registry);
  registryInit(&g_app.registry);
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
  return model;
}

void setDocumentViewHooks(const DocumentViewHooks*) {}
Model* loadModelDocument(const char*) { return nullptr; }
Model* openModelDocument(const char*) { return nullptr; }
int reloadModelDocuments() { return 0; }
bool removeModelDocument(int32_t) { return false; }
