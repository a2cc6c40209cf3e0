// DirectX .x text export: the writer behind exportDirectX, callable on a
// model that is already prepared for export (mirrors baked).
#pragma once

#include "model/records.h"

// exportDirectX writes to exportTarget(model, "x", ...) (export_support.h):
// beside the model's file, "<name>.mod.x".
//
// Writes the model as a DirectX text mesh file at `path` through a
// temporary file: one material per layer with content and an image, one
// frame for the model, one mesh per layer with content. `flat` gives one
// normal per triangle instead of one per vertex. Derived data (automatic
// uvees) must be flushed by the caller. False, with LastError set and
// any previous file at `path` left as it was, when the file cannot be
// written or a polygon or line names a point the model lacks.
bool writeDirectX(const Model* prepared, const char* path, bool flat = false);
