// Mirror baking: turning a mirroring layer's reflection into real geometry
// in a layer "<name>_mirror", and the prepared copy the exporters write.
#pragma once

#include "model/records.h"

// Bakes one layer; false (nothing created) when the layer does not exist,
// does not mirror, or uses no points. With `sharePoints` an existing point
// exactly at a reflected position is reused.
bool bakeMirror(Model* model, const char* layer, bool sharePoints);
// Bakes every mirroring layer until a pass bakes nothing. Always true.
bool bakeAllMirrors(Model* model, bool sharePoints);
// A duplicate of the model (points, model-level normals and colours, every
// layer with its settings, polygons, lines, normals, colours, images and
// uvees, and the children, loaded again) with every mirror baked, points
// not shared. The open document is never touched. Null with LastError on
// failure; free with freeModel.
Model* prepareExportCopy(const Model* model);
