// The render state: what the view keeps between frames that is not OpenGL
// state itself. It exists from extension start-up, before any window.
#pragma once

#include <cstdint>

#include "model/records.h"
#include "view/display_flags.h"

constexpr int kMessageLines = 9;
constexpr int kMessageLineBytes = 256;
constexpr float kDefaultSceneExtent = 100.0f;

struct RenderState {
  int32_t frameBusy;
  char chosenLayer[kNameBytes];  // "" or "global": the whole model
  int32_t layerOutline;  // set showlayer: the chosen layer's outline
  float shininess;
  float sceneExtent;     // grows as models load; 100 after closing all
  float sceneExtra[3];   // kept beside the extent; cleared with it
  char messages[kMessageLines][kMessageLineBytes];  // newest first
  DisplayFlags display;
  float labelColour[3];
  float pointColour[3];
  float selectionColour[3];
  int32_t eyeDistance;   // of the perspective projection
  int32_t primitives;    // drawn in the last frame
};

// Zero-fills the state and sets its start values.
void initRenderState(RenderState* state);

// Posts a line to the view's message lines: a repeat of the newest line
// changes nothing; otherwise the lines move down one place (the ninth is
// lost) and the text, cut to 255 characters, becomes the newest.
void postMessageLine(RenderState* state, const char* text);

// Back to the state of no open model: extent 100, its companions cleared.
void resetSceneExtent(RenderState* state);
