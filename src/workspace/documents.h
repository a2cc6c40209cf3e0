// Opening and closing documents: the registry of open models as the file
// commands and "create model" change it, with the status lines the user
// interface shows while it happens.
#pragma once

#include "io/exporters.h"
#include "model/model.h"

struct Workspace;

// The loader reports its progress lines ("Loading...", "Ready", ...)
// through the workspace's host.
void loaderStatus(Workspace& ws, const char* text);

// Frees every open model (and its display resources), empties the registry
// and puts the scene extent back to its start value.
void closeAllModels(Workspace& ws);

// Closes every open model, then creates an empty model of that name and
// registers it as the current model. Null on refusal (LastError set).
Model* createEmptyModel(Workspace& ws, const char* name);

// Loads a file as a top-level model beside the open ones: status
// "Loading...", the reader's message (if any) as a status line, "Load
// failed" on failure; else the scene extent grows to twice the model's
// largest extent, the model is registered (and becomes current) and the
// status is "Ready". Null on failure; the registry is unchanged then.
Model* loadModelDocument(Workspace& ws, const char* path);
// Closes every open model, then loads the file.
Model* openModelDocument(Workspace& ws, const char* path);
// Reloads every open model from its file, all or nothing; when nothing
// could be reloaded an empty model named "untitled" is created. The number
// of models open afterwards.
int reloadModelDocuments(Workspace& ws);
// Releases, frees and unregisters one open model; false when the id is not
// open.
bool removeModelDocument(Workspace& ws, int32_t id);

// Imports another tool's file (io/import_scene.h) into the current model,
// or as a new current model when none is open. The file is read into a
// model aside; only when that succeeded is it merged (as absorbing a
// child merges one: points numbered after the highest, layer names that
// are taken become "<file>_<layer>", ...) or registered. Status lines:
// "Importing...", each note of the reader, "Imported %d points, %d
// triangles in %d layers from %s", "Ready". Null with the reason in
// LastError, the document unchanged; else the model it went into.
Model* importModelDocument(Workspace& ws, const char* path);

// Writes the model to its file (`path`, or its own name when null): 1 or 0
// as the writer answers. The writer only reads, so what the last edits left
// due (automatic uvees, bounds) is brought up to date first.
bool saveModelDocument(Model* model, const char* path);
// The same for an export (io/exporters.h): its answer.
int exportModelDocument(Model* model, const ExportRequest& request);
