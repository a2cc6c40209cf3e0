#include "view/capture.h"
