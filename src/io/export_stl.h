// ASCII STL export: the writer behind exportStl, callable on a model that
// is already prepared for export (mirrors baked).
#pragma once

#include "model/records.h"

// Writes a prepared model to `path`; `title` is the name the file gives
// itself (the "solid" line). False with LastError when the file cannot be
// written or a polygon names a point that is not there; the previous file
// at `path` is then left as it was.
bool writeStl(const Model* prepared, const char* path, const char* title);
