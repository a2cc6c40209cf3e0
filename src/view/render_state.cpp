#include "view/render_state.h"

#include <cstdio>
#include <cstring>

void initRenderState(RenderState* state) {
  std::memset(state, 0, sizeof *state);
  resetSceneExtent(state);
}

void postMessageLine(RenderState* state, const char* text) {
  if (text == nullptr) text = "";
  char line[kMessageLineBytes];
  std::snprintf(line, sizeof line, "%s", text);
  if (std::strcmp(line, state->messages[0]) == 0) return;
  std::memmove(state->messages[1], state->messages[0],
               sizeof state->messages[0] * (kMessageLines - 1));
  std::memcpy(state->messages[0], line, sizeof line);
}

void resetSceneExtent(RenderState* state) {
  state->sceneExtent = kDefaultSceneExtent;
  state->sceneExtra[0] = state->sceneExtra[1] = state->sceneExtra[2] = 0.0f;
}
