// Wavefront OBJ export: the writer behind exportObj, callable on a model
// that is already prepared for export (mirrors baked).
#pragma once

#include "model/records.h"

// Writes a prepared model to `path`; `title` is the name the file gives
// itself (its heading). `flat`: one normal per triangle; else the points'
// stored normals (the layer's before the model's), and for a triangle with
// a corner that has neither, its face normal. False with LastError when the
// file cannot be written or a polygon names a point that is not there; the
// previous file at `path` is then left as it was.
bool writeObj(const Model* prepared, const char* path, const char* title,
              bool flat);
