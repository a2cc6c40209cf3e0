#include "cmd/families.h"

void displayCommand(char**) {}
