#include "view/draw_model.h"

int32_t drawModel(Model*, const DisplayFlags*) { return 0; }
void releaseModelDisplay(Model*) {}
