#include "cmd/families.h"

void drawCommand(char**) {}
void resetCommand(char**) {}
void resizeCommand(char**) {}
