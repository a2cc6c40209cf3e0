// Exporters: the current model as ASCII STL, Wavefront OBJ and DirectX .x
// text files. Each writes a prepared copy of the model (mirrors baked; the
// open document is never touched) through a temporary file renamed into
// place, and returns 1 written or 0 failed (LastError says why).
#pragma once

#include "model/records.h"

int exportStl(const Model* model);
int exportObj(const Model* model);
int exportDirectX(const Model* model);
