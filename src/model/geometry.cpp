#include "model/geometry.h"
