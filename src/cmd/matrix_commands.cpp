#include "cmd/families.h"

void matrixCommand(char**) {}
