#include "cmd/families.h"

void moveCommand(char**) {}
void rotateCommand(char**) {}
void scaleCommand(char**) {}
