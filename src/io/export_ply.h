// PLY, binary little-endian, in y-up space with faces wound as they face
// (see export_scene.h): `file export ply`.
#pragma once

#include "model/records.h"

// One vertex per distinct point of each layer (of each half of a
// mirroring layer, of each child model placed), with x y z, nx ny nz when
// some corner has a stored normal, red green blue alpha as the view
// colours the corner, and s t when some layer has an image with uvees;
// one face per triangle. Through a temporary file: false with LastError,
// the previous file at `path` left as it was, when it cannot be written, a
// number is not finite or a polygon names a missing point.
bool writePly(const Model* model, const char* path, const char* title);
