#include "view/camera.h"
