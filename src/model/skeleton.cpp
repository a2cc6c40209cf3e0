#include "model/skeleton.h"
