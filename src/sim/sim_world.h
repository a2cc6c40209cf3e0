// The simulation world: collide objects as rigid bodies. Only this folder
// will talk to the physics engine; the document keeps integer ids of its
// bodies and shapes.
#pragma once

#include <cstdint>

// Nothing is simulated yet; the record holds the world's switches so that
// the workspace has its room for it.
struct SimWorld {
  int32_t created = 0;  // the world is made on first use
  int32_t running = 0;
};

void simInit(SimWorld* world);
void simRelease(SimWorld* world);
