#include "cmd/families.h"

void performCommand(char**) {}
