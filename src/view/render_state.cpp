#include "view/render_state.h"

#include <cstdio>
#include <cstring>

namespace {

void setColour(float colour[3], float r, float g, float b) {
  colour[0] = r;
  colour[1] = g;
  colour[2] = b;
}

}  // namespace

void initRenderState(RenderState* state) {
  std::memset(state, 0, sizeof *state);
  setDisplayDefaults(&state->display);
  // Labels read on the default black background; point markers and
  // selections stand out from white labels and from each other.
  setColour(state->labelColour, 1.0f, 1.0f, 1.0f);
  setColour(state->pointColour, 1.0f, 1.0f, 0.0f);
  setColour(state->selectionColour, 1.0f, 0.0f, 0.0f);
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
