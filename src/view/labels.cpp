#include "view/labels.h"

bool labelsInit() { return false; }
void drawTextAt(int, float, float, const char*) {}
void drawTextAtPoint(int, float, float, float, const char*) {}
void drawMessageLines() {}
