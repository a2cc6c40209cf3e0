#include "view/tga.h"
