#include "view/display_flags.h"

void setDisplayDefaults(DisplayFlags*) {}
int32_t* displaySwitch(DisplayFlags*, const char*) { return nullptr; }
