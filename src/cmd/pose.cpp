#include "cmd/families.h"

void poseCommand(char**) {}
