#include "cmd/context.h"

#include <cstring>

AppContext g_app;

void zeroAppContext() {
  std::memset(&g_app, 0, sizeof g_app);
  registryInit(&g_app.registry);
}

void setIdentity(float matrix[16]) {
  for (int i = 0; i < 16; ++i) matrix[i] = (i % 5 == 0) ? 1.0f : 0.0f;
}
