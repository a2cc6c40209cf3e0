// Mirror baking: turning a mirroring layer's reflection into real geometry
// in a layer "<name>_mirror", and the prepared copy the exporters write.
#pragma once

#include "model/records.h"

// Bakes one layer into "<layer>_mirror": reflected points numbered after
// the highest, polygons turned round, lines, normals, colours and images.
// Clears the layer's mirror flag. False (nothing created) when the layer
// does not exist, does not mirror, uses no points, or "<layer>_mirror"
// exists or would not fit a name. With `sharePoints` an existing point
// exactly at a reflected position is reused.
bool bakeMirror(Model* model, const char* layer, bool sharePoints);
// Bakes every mirroring layer until a pass bakes nothing. Always true.
bool bakeAllMirrors(Model* model, bool sharePoints);
// A duplicate of the model (points, model-level normals, colours and
// surface vectors, every layer with its settings, polygons, lines, normals,
// colours, images with their own pixel buffers and uvees, and the children,
// copied as they are open, unbaked) with every mirror of its own layers
// baked, points not shared. Joints, collide objects and morphs are not
// copied. The open document is never touched. Null with LastError on
// failure; free with freeModel.
Model* prepareExportCopy(const Model* model);
