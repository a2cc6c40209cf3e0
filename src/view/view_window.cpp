// The one view window: creation, the paint and resize handlers that keep
// the viewport laid out, mouse and keys to the script, the window size
// command and the cursor table.
#include "view/view_window.h"

#include <GL/gl.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>
#include <vector>

#include "view/camera.h"
#include "view/draw_model.h"
#include "view/frame.h"
#include "view/render_state.h"
#include "view/view.h"

namespace {

constexpr int kMinViewSize = 20;
constexpr int kMaxViewSize = 3000;
constexpr int kNormalViewSize = 300;

void fireMouse(View& v, int32_t button, int32_t x, int32_t y, int32_t dx, int32_t dy) {
  if (v.sink != nullptr) v.sink->viewMouse(button, x, y, dx, dy);
}

void fireKey(View& v, int32_t character) {
  if (v.sink == nullptr || character <= 0 || character > 0xff) return;
  v.sink->viewKey(character);
}

void handleOneEvent(View& v, const ViewEvent* event) {
  ViewState& view = v.camera;
  ViewWindowState& win = v.window;
  switch (event->type) {
    case kEventMouseButton:
      win.lastX = view.pointerX = event->x;
      win.lastY = view.pointerY = event->y;
      if (event->pressed) {
        fireMouse(v, event->button, event->x, event->y, 0, 0);
      } else {
        fireMouse(v, 0, 0, 0, 0, 0);
      }
      break;
    case kEventMouseMove:
      view.pointerX = event->x;
      view.pointerY = event->y;
      if (!event->pressed) {
        win.lastX = event->x;
        win.lastY = event->y;
        fireMouse(v, 0, event->x, event->y, 0, 0);
        break;
      }
      win.lastDx = event->x - win.lastX;
      win.lastDy = event->y - win.lastY;
      fireMouse(v, event->button, event->x, event->y, win.lastDx, win.lastDy);
      win.lastX = event->x;
      win.lastY = event->y;
      break;
    case kEventKeyDown:
      fireKey(v, event->character);
      break;
    default:
      break;  // key releases
  }
}

// Lays the viewport out centred in the client area, sets the projection
// and draws.
void layOutAndDraw(View& v, PlatformWindow* window, int w, int h) {
  ViewState& view = v.camera;
  if (!platformMakeCurrent(window)) return;
  glViewport(w / 2 - view.viewWidth / 2, h / 2 - view.viewHeight / 2,
             view.viewWidth, view.viewHeight);
  applyProjection(v);
  drawFrame(v);
}

// One pass of the resize handler. A new size is only taken (extents scaled
// so that the picture keeps its scale) and true returned; an unchanged size,
// or any size while the view size is fixed, lays out and draws.
bool resizeStep(View& v, PlatformWindow* window, int w, int h) {
  ViewState& view = v.camera;
  if (w + h == 0 || !view.hasWindow) return false;
  if (w != view.viewWidth || h != view.viewHeight) {
    float extentX = view.viewWidth > 0 ? view.extentX * w / view.viewWidth : view.extentX;
    float extentY = view.viewHeight > 0 ? view.extentY * h / view.viewHeight : view.extentY;
    platformMoveWindow(window, 0, 0, w, h);
    if (view.fixedSize == 0) {
      view.extentX = extentX;
      view.extentY = extentY;
      view.viewWidth = w;
      view.viewHeight = h;
      cameraUpdateProjection(&view, &v.render.eyeDistance);
      return true;
    }
  }
  layOutAndDraw(v, window, w, h);
  return false;
}

View& viewOf(PlatformWindow* window) {
  return *static_cast<View*>(platformUserData(window));
}

void resizeHandler(PlatformWindow* window, int w, int h) {
  resizeStep(viewOf(window), window, w, h);
}

// Takes the window's present size and draws: a second pass finds the size
// it just took.
void settle(View& v, PlatformWindow* window) {
  int w = 0;
  int h = 0;
  platformWindowSize(window, &w, &h);
  if (resizeStep(v, window, w, h)) resizeStep(v, window, w, h);
}

// A paint follows the frame first.
void paintHandler(PlatformWindow* window) {
  platformFollowParent(window);
  settle(viewOf(window), window);
}

void eventHandler(PlatformWindow* window, const ViewEvent* event) {
  viewHandleEvent(viewOf(window), event);
}

void destroyedHandler(PlatformWindow* window) {
  View& v = viewOf(window);
  forgetModelDisplays(v.displays);  // their GL names died with the context
  v.window.window = nullptr;
  v.camera.hasWindow = 0;
}

void createHandler(View& v, PlatformWindow* window) {
  int w = 0;
  int h = 0;
  platformMakeCurrent(window);
  platformWindowSize(window, &w, &h);
  cameraInit(&v.camera, w, h);
  v.camera.hasWindow = 1;
  initContextState(v);
}

void failureHandler(PlatformWindow* window, const char* text) {
  viewReportError(&viewOf(window), text);
}

const PlatformHandlers kHandlers = {paintHandler, resizeHandler, eventHandler,
                                    destroyedHandler, failureHandler};

}  // namespace

bool createViewWindow(View& v, const char* name, const char* parentPath) {
  ViewWindowState& win = v.window;
  if (win.created) {
    if (v.sink) v.sink->viewAlert("modelr: can only support 1 window at the moment.");
    return false;
  }
  const char* error = nullptr;
  PlatformWindow* window =
      platformCreateView(v.toolkit, name, parentPath, &kHandlers, &v, &error);
  if (window == nullptr) {
    if (v.sink) v.sink->viewAlert(error);
    return false;
  }
  win.window = window;
  win.created = true;
  if (platformHasContext(window)) createHandler(v, window);
  if (win.shownCursor > 0) {
    platformShowCursor(window, win.cursors[win.shownCursor - 1]);
  }
  win.statusWidget = platformWidgetHandle(v.toolkit, ".status");
  return true;
}

PlatformWindow* viewWindow(const View& v) { return v.window.window; }

bool setViewSize(View& v, int32_t width, int32_t height) {
  PlatformWindow* window = v.window.window;
  ViewState& view = v.camera;
  if (window == nullptr || !view.hasWindow) return false;
  if (width == 0 && height == 0) {
    view.fixedSize = 0;
    platformMoveWindow(window, 0, 0, kNormalViewSize, kNormalViewSize);
    settle(v, window);
    postMessageLine(&v.render, "Window size = Normal");
    return true;
  }
  if (width < kMinViewSize || width > kMaxViewSize || height < kMinViewSize ||
      height > kMaxViewSize) {
    return false;
  }
  if (width == view.viewWidth && height == view.viewHeight) return false;
  view.fixedSize = 1;
  if (view.viewWidth > 0) view.extentX *= static_cast<float>(width) / view.viewWidth;
  if (view.viewHeight > 0) view.extentY *= static_cast<float>(height) / view.viewHeight;
  view.viewWidth = width;
  view.viewHeight = height;
  int w = 0;
  int h = 0;
  platformWindowSize(window, &w, &h);
  layOutAndDraw(v, window, w, h);
  char text[64];
  std::snprintf(text, sizeof text, "Window size = %dx%d", width, height);
  postMessageLine(&v.render, text);
  return true;
}

void resizeViewToParent(View& v) {
  PlatformWindow* window = v.window.window;
  if (window == nullptr) return;
  platformFollowParent(window);
  settle(v, window);
}

int32_t createViewCursor(View& v, const char* nameOrFile) {
  ViewWindowState& win = v.window;
  if (nameOrFile == nullptr || nameOrFile[0] == '\0') return 0;
  if (win.cursors.size() >= static_cast<size_t>(INT32_MAX)) return 0;
  void* cursor = platformLoadCursor(v.toolkit, win.window, nameOrFile);
  if (cursor == nullptr) return 0;
  win.cursors.push_back(cursor);
  return static_cast<int32_t>(win.cursors.size());
}

bool showViewCursor(View& v, int32_t number) {
  ViewWindowState& win = v.window;
  if (number < 0 || static_cast<size_t>(number) > win.cursors.size()) {
    return false;
  }
  win.shownCursor = number;
  platformShowCursor(win.window,
                     number == 0 ? nullptr : win.cursors[number - 1]);
  return true;
}

int32_t shownViewCursor(const View& v) { return v.window.shownCursor; }

void redrawView(View& v) {
  if (v.window.window == nullptr || !v.camera.hasWindow) return;
  drawFrame(v);
}

void resetView(View& v) {
  if (v.window.window == nullptr || !v.camera.hasWindow) return;
  RenderState& render = v.render;
  // Start values, but the user's display switches, the posted messages
  // and the extent of the open models stay.
  RenderState fresh;
  initRenderState(&fresh);
  fresh.display = render.display;
  std::memcpy(fresh.messages, render.messages, sizeof fresh.messages);
  fresh.sceneExtent = render.sceneExtent;
  std::memcpy(fresh.sceneExtra, render.sceneExtra, sizeof fresh.sceneExtra);
  fresh.frameBusy = render.frameBusy;
  render = fresh;
  drawFrame(v);
}

void viewHandleEvent(View& v, const ViewEvent* event) {
  if (event == nullptr) return;
  ViewWindowState& win = v.window;
  if (win.handlingEvent) {
    if (win.pendingCount < kPendingViewEvents) {
      win.pending[win.pendingCount++] = *event;
    }
    return;
  }
  win.handlingEvent = true;
  handleOneEvent(v, event);
  for (int i = 0; i < win.pendingCount; ++i) {
    ViewEvent next = win.pending[i];
    handleOneEvent(v, &next);
  }
  win.pendingCount = 0;
  win.handlingEvent = false;
}

bool captureViewport(const View& v, ViewportPixels* out) {
  PlatformWindow* window = v.window.window;
  if (window == nullptr) return false;
  int windowWidth = 0, windowHeight = 0;
  platformWindowSize(window, &windowWidth, &windowHeight);
  const ViewState& view = v.camera;
  // A fixed-size viewport sits centred in the window; it may overhang it.
  int x = 0, y = 0;
  if (view.fixedSize != 0) {
    x = std::max(0, windowWidth / 2 - view.viewWidth / 2);
    y = std::max(0, windowHeight / 2 - view.viewHeight / 2);
  }
  out->width = std::max(0, std::min(view.viewWidth, windowWidth - x));
  out->height = std::max(0, std::min(view.viewHeight, windowHeight - y));
  try {
    out->rgb.assign(static_cast<size_t>(out->width) * out->height * 3, 0);
  } catch (const std::bad_alloc&) {
    *out = ViewportPixels();
    return false;
  }
  out->read = !out->rgb.empty() &&
              platformReadPixels(window, x, y, out->width, out->height, out->rgb.data());
  return true;
}
