// One frame of the view, and the OpenGL state the view's context starts
// with. Drawing is guarded against re-entry: a frame asked for while one is
// drawn is dropped.
#pragma once

struct View;

// Once, when the view's GL context exists: clear colour, shading, depth,
// colour material, the fixed lights, the label fonts.
void initContextState(View& view);
// Draws every registered model with flag 0, labels, messages and overlays,
// then swaps. Does nothing without a view window. Counts into the view's
// stats: [0] frames drawn, [1] primitives of the last frame, [2] models
// drawn in the last frame, [3] milliseconds the last frame took.
void drawFrame(View& view);
// Recomputes the camera's projection and loads it into OpenGL, replacing
// the projection matrix; leaves the model-view matrix selected.
void applyProjection(View& view);
// The viewport a frame lays out (x, y, w, h): the client area, or the
// fixed size centred in it.
void viewViewport(View& view, int viewport[4]);
