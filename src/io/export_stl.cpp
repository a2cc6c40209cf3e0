#include "io/exporters.h"

int exportStl(const Model*) { return 0; }
