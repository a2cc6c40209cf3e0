// What the display switches add over the models: the skeleton, the grid,
// the 3D cursor's handles with the arc, mover and scaler, and the surface
// vectors (overlays.cpp says how each looks). Needs the view's GL context
// current and the scene's matrix (focus shift included) in force.
#pragma once

struct View;
struct Scene;

void drawOverlays(const View& view, const Scene& scene);
