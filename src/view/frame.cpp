#include "view/frame.h"

void initContextState() {}
void drawFrame() {}
void applyProjection() {}
