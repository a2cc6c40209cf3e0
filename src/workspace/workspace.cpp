#include "workspace/workspace.h"


void setIdentity(float matrix[16]) {
  for (int i = 0; i < 16; ++i) matrix[i] = (i % 5 == 0) ? 1.0f : 0.0f;
}

void workspaceInit(Workspace* ws, WorkspaceHost* host, ViewSink* viewSink,
                   void* toolkit) {
  ws->busy = 0;
  setIdentity(ws->matrix);
  registryInit(&ws->registry);
  viewInit(&ws->view, viewSink, toolkit);
  simInit(&ws->sim);
  ws->simLinks = SimLinks();
  for (std::string& procedure : ws->callbacks) procedure.clear();
  ws->texts = StoredTexts{};
  tableInit(&ws->sprites, sizeof(int32_t), kIntKeyed);
  ws->host = host;
}

void workspaceRelease(Workspace* ws) {
  registryFreeAll(&ws->registry);
  registryInit(&ws->registry);
  endSimulationWorld(*ws);
  viewRelease(&ws->view);
  tableRelease(&ws->sprites);
}

const char* callbackProcedure(const Workspace& ws, CallbackType type) {
  const std::string& procedure = ws.callbacks[type];
  return procedure.empty() ? nullptr : procedure.c_str();
}

void fillScene(Workspace& ws, Scene* scene) {
  const KeyedTable* table = &ws.registry.models;
  for (int32_t s = tableNextSlot(table, -1); s >= 0; s = tableNextSlot(table, s)) {
    const RegistryEntry* entry = tableAt<RegistryEntry>(table, s);
    if (entry->flag != 0 || entry->model == nullptr) continue;
    scene->models.push_back(entry->model);
  }
  scene->current = ws.registry.current;
  placeSimulatedModels(ws, scene->models, &scene->placed);
  for (int32_t s = tableNextSlot(&ws.sprites, -1); s >= 0; s = tableNextSlot(&ws.sprites, s))
    if (*tableAt<int32_t>(&ws.sprites, s) != 0)
      scene->placed.sprites.insert(tableIntKeyAt(&ws.sprites, s));
}
