// glTF 2.0 binary in y-up space (see export_scene.h): `file export glb`.
#pragma once

#include "model/records.h"

// A scene of one node for the model and one for each child model below
// its parent's, with the child's placement as its matrix; under each, a
// node and a mesh per layer with polygons or lines (its reflection in the
// same mesh): positions, normals where some corner has a stored one (the
// others the mean of their faces), TEXCOORD_0 when the first image has
// uvees, COLOR_0 when some corner has a colour entry; a triangle and a
// line primitive; a material from the layer's colour and opacity, its
// sides, and its first image's pixels as an embedded PNG. Colours are
// written as linear light, as glTF wants them. Through a temporary file:
// false with LastError, the previous file left as it was, when it cannot
// be written, a number is not finite or a polygon names a missing point.
bool writeGlb(const Model* model, const char* path, const char* title);
