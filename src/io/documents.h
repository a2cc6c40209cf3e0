// Opening and closing documents: the registry of open models as the file
// commands and "create model" change it, with the status lines the user
// interface shows while it happens.
#pragma once

#include "model/model.h"

using StatusReporter = void (*)(const char* text);

// The loader reports its progress lines ("Loading...", "Ready", ...)
// through this function; null silences it.
void setLoaderStatusReporter(StatusReporter reporter);
void loaderStatus(const char* text);

// Frees every open model, empties the registry and puts the scene extent
// back to its start value.
void closeAllModels();

// Closes every open model, then creates an empty model of that name and
// registers it as the current model. Null on refusal (LastError set).
Model* createEmptyModel(const char* name);

// What the view does when a model opens or closes (its display resources);
// both null until a view is there.
struct DocumentViewHooks {
  void (*modelOpened)(Model* model);
  void (*modelClosing)(Model* model);
};
void setDocumentViewHooks(const DocumentViewHooks* hooks);

// Loads a file as a top-level model beside the open ones: status
// "Loading...", the reader's message (if any) as a status line, "Load
// failed" on failure; else the scene extent grows to twice the model's
// largest extent, the model is registered (and becomes current) and the
// status is "Ready". Null on failure; the registry is unchanged then.
Model* loadModelDocument(const char* path);
// Closes every open model, then loads the file.
Model* openModelDocument(const char* path);
// Reloads every open model from its file, all or nothing; when nothing
// could be reloaded an empty model named "untitled" is created. The number
// of models open afterwards.
int reloadModelDocuments();
// Releases, frees and unregisters one open model; false when the id is not
// open.
bool removeModelDocument(int32_t id);
