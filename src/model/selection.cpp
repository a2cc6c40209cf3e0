#include "model/selection.h"
