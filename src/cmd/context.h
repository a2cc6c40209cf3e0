// The application context: the one global record that holds every piece of
// the extension's state. Start-up zero-fills it once; it is never freed.
#pragma once

#include <cstdint>

#include "model/model.h"
#include "view/render_state.h"
#include "view/view_state.h"

struct AppContext {
  int32_t busy;          // 1 while a modelr command is dispatched
  float matrix[16];      // scratch matrix of the matrix commands, row order
  ViewState view;
  RenderState render;
  ModelRegistry registry;
};

extern AppContext g_app;

// Zero-fills the context; the registry comes out empty and usable.
void zeroAppContext();
void setIdentity(float matrix[16]);

// The current model, or null.
inline Model* currentModel() { return g_app.registry.current; }
