// The one view window: creation, its handlers (paint, resize, mouse and
// keys to the script), its size state, the cursor table. Built on
// platform.h; the renderer draws through viewMakeCurrent/viewSwap.
#pragma once

#include <cstdint>
#include <vector>

#include "view/platform.h"

struct View;

// create window <name> <parent>. On failure the message box has been shown
// ("modelr: can only support 1 window at the moment.", "modelr: cannot get
// handle for parent window.") through the sink's alert and false is
// returned.
bool createViewWindow(View& view, const char* name, const char* parentPath);
// The view window, or null before one exists.
PlatformWindow* viewWindow(const View& view);

// set view size W H (0 0: follow the frame again). False when ignored.
bool setViewSize(View& view, int32_t width, int32_t height);
// The resize command: the view follows its parent now.
void resizeViewToParent(View& view);

// create cursor <name|file>: the new cursor number (1, 2, ...), 0 when it
// does not load. set cursor <n>: false for an unknown number.
int32_t createViewCursor(View& view, const char* nameOrFile);
bool showViewCursor(View& view, int32_t number);

// Draws one frame now when a window exists (the draw command).
void redrawView(View& view);
// The reset command: the render state back to its start values, keeping
// the display switches, the message lines and the scene extent, then a
// frame. Nothing happens without a window.
void resetView(View& view);
// The number of the cursor shown on the view (0: the arrow).
int32_t shownViewCursor(const View& view);

// Feeds one event to the view's event handler (what the platform does);
// exposed for the tests of the mouse state machine.
void viewHandleEvent(View& view, const ViewEvent* event);

// The view's viewport as the window shows it, RGB, bottom row first (as GL
// reads them): the centred rectangle when the size is fixed, cut to the
// window. False without a window or without the memory for the pixels.
// `read` is false when nothing could be read (an empty rectangle, or the
// window refused); the pixels stay black.
struct ViewportPixels {
  int width = 0, height = 0;
  std::vector<unsigned char> rgb;
  bool read = false;
};
bool captureViewport(const View& view, ViewportPixels* out);
