#include "model/children.h"
