#include "io/exporters.h"

int exportObj(const Model*) { return 0; }
