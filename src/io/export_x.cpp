#include "io/exporters.h"

int exportDirectX(const Model*) { return 0; }
