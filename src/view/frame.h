// One frame of the view, and the OpenGL state the view's context starts
// with. Drawing is guarded against re-entry: a frame asked for while one is
// drawn is dropped.
#pragma once

// Once, when the view's GL context exists: clear colour, shading, depth,
// colour material, the fixed lights, the label fonts.
void initContextState();
// Draws every registered model with flag 0, labels, messages and overlays,
// then swaps. Does nothing without a view window.
void drawFrame();
// Loads the camera's projection into OpenGL (picking uses it too).
void applyProjection();
