#include "cmd/families.h"

void setCommand(char**) {}
