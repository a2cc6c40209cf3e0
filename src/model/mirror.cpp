#include "model/mirror.h"

bool bakeMirror(Model*, const char*, bool) { return false; }
bool bakeAllMirrors(Model*, bool) { return true; }
Model* prepareExportCopy(const Model*) { return nullptr; }
