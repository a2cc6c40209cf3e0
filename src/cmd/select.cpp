#include "cmd/families.h"

void selectCommand(char**) {}
void deselectCommand(char**) {}
