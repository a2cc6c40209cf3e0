// STL files in y-up space with faces wound as they face (see
// export_scene.h): the ASCII variant behind `file export stl -righthanded`
// and binary STL (`file export stlb`).
#pragma once

#include "model/records.h"

// Both write the model with its child models through their placement and
// its mirroring layers' reflections, through a temporary file: false with
// LastError (the previous file at `path` left as it was) when the file
// cannot be written, a number is not finite, or a polygon names a missing
// point. `title` names the file in its heading.
bool writeStlYUp(const Model* model, const char* path, const char* title);
// 80-byte header, the triangle count, then 50 bytes a triangle: 84 + 50 n
// bytes.
bool writeStlBinary(const Model* model, const char* path, const char* title);
