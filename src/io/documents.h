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
