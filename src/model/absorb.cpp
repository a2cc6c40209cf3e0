#include "model/absorb.h"

bool absorbChild(Model*, int32_t) { return false; }
