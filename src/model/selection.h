// Selecting items and acting on the selection.
#pragma once

#include "model/records.h"
