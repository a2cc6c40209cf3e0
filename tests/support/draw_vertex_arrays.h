// The benchmarks' limit draws: the position, normal and colour arrays of
// DrawVertex records in the buffer bound to GL_ARRAY_BUFFER.
#pragma once

#include <GL/glew.h>

#include <cstddef>

#include "view/layer_cache.h"

// Enables the three arrays and points them into the bound buffer.
inline void enableDrawVertexArrays() {
  glEnableClientState(GL_VERTEX_ARRAY);
  glEnableClientState(GL_NORMAL_ARRAY);
  glEnableClientState(GL_COLOR_ARRAY);
  const GLsizei stride = sizeof(DrawVertex);
  glVertexPointer(3, GL_FLOAT, stride, reinterpret_cast<void*>(offsetof(DrawVertex, position)));
  glNormalPointer(GL_SHORT, stride, reinterpret_cast<void*>(offsetof(DrawVertex, normal)));
  glColorPointer(4, GL_UNSIGNED_BYTE, stride,
                 reinterpret_cast<void*>(offsetof(DrawVertex, colour)));
}

inline void disableDrawVertexArrays() {
  glDisableClientState(GL_VERTEX_ARRAY);
  glDisableClientState(GL_NORMAL_ARRAY);
  glDisableClientState(GL_COLOR_ARRAY);
}
