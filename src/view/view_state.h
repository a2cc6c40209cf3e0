// The camera and pointer state of the one view. All zero until a view
// window exists; the window's creation gives the start values.
#pragma once

#include <cstdint>

struct ViewState {
  float yaw, pitch;        // degrees: last named or ortho view
  float panX, panY;
  float zoom;
  float extentX, extentY;  // orthographic half-extents before zoom
  float depth;
  int32_t viewWidth, viewHeight;
  float focus[3];
  int32_t perspective;
  int32_t freeRotate;
  float cameraRotation[16];  // OpenGL column order
  float modelView[16];       // OpenGL column order
  float projection[16];      // OpenGL column order
  float background[3];
  float cursor[3];           // the 3D cursor
  int32_t pointerX, pointerY;
  int32_t fixedSize;
  int32_t hasWindow;
  int32_t stats[4];          // per-frame counters of the renderer
};
