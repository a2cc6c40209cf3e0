#include "sim/sim_world.h"

void simInit(SimWorld* world) { *world = SimWorld(); }

void simRelease(SimWorld* world) { *world = SimWorld(); }
