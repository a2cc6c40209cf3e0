// Wavefront OBJ in y-up space with faces wound as they face (see
// export_scene.h), with its material library: `file export obj
// -righthanded`.
#pragma once

#include <string>

#include "model/records.h"

// "<name>.mtl" for "<name>.obj", else the path with ".mtl" added.
std::string materialLibraryPath(const std::string& objPath);

// Writes the model (child models through their placement, mirroring
// layers with their reflections) to `path` and its materials to
// materialLibraryPath(path), both through temporary files: false with
// LastError, and both previous files left as they were, when either
// cannot be written, a number is not finite, or a polygon names a missing
// point. `title` names the file in its heading.
bool writeObjYUp(const Model* model, const char* path, const char* title);
