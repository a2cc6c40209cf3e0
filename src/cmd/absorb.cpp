#include "cmd/families.h"

void absorbCommand(char**) {}
