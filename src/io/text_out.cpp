#include "io/text_out.h"
