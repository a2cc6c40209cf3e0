// The one view window: creation, the paint and resize handlers that keep
// the viewport laid out, mouse and keys to the script, the window size
// command and the cursor table.
#include "view/view_window.h"

#include <GL/gl.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "cmd/callbacks.h"
#include "cmd/context.h"
#include "cmd/host.h"
#include "view/camera.h"
#include "view/draw_model.h"
#include "view/frame.h"
#include "view/render_state.h"

namespace {

constexpr int kMinViewSize = 20;
constexpr int kMaxViewSize = 3000;
constexpr int kNormalViewSize = 300;
constexpr int kPendingEvents = 64;
constexpr int kCallbackLineBytes = 1024;

struct ViewWindowState {
  PlatformWindow* window;  // null before creation and after it is gone
  bool created;            // only one window, ever
  void* statusWidget;      // the script's .status widget, if it has one
  std::vector<void*> cursors;  // cursor n at n - 1
  int32_t shownCursor;
  // Mouse: the last position and motion delta sent to the script.
  int32_t lastX, lastY;
  int32_t lastDx, lastDy;
  // A callback that runs the event loop brings the next events in while
  // the first is handled; they wait here and follow in order.
  bool handlingEvent;
  ViewEvent pending[kPendingEvents];
  int pendingCount;
};

ViewWindowState g_view;

void fireMouse(int32_t button, int32_t x, int32_t y, int32_t dx, int32_t dy) {
  const char* procedure = callbackProcedure(kCallbackMouse);
  if (procedure == nullptr) return;
  char line[kCallbackLineBytes];
  int length = std::snprintf(line, sizeof line, "%s %d %d %d %d %d\n",
                             procedure, button, x, y, dx, dy);
  if (length < 0 || length >= static_cast<int>(sizeof line)) return;
  hostEvaluateCallback(line);
}

// The key's character as one Tcl word: characters the interpreter would
// read as syntax get a backslash, others outside printable ASCII a \x
// escape, so that the procedure always receives the character itself.
void fireKey(int32_t character) {
  const char* procedure = callbackProcedure(kCallbackKeyboard);
  if (procedure == nullptr || character <= 0 || character > 0xff) return;
  char word[8];
  if (character < 0x20 || character >= 0x7f) {
    std::snprintf(word, sizeof word, "\\x%02x", character);
  } else if (std::strchr("\\[]{}\"$; ", character) != nullptr) {
    std::snprintf(word, sizeof word, "\\%c", character);
  } else {
    std::snprintf(word, sizeof word, "%c", character);
  }
  char line[kCallbackLineBytes];
  int length = std::snprintf(line, sizeof line, "%s %s\n", procedure, word);
  if (length < 0 || length >= static_cast<int>(sizeof line)) return;
  hostEvaluateCallback(line);
}

void handleOneEvent(const ViewEvent* event) {
  ViewState& view = g_app.view;
  switch (event->type) {
    case kEventMouseButton:
      g_view.lastX = view.pointerX = event->x;
      g_view.lastY = view.pointerY = event->y;
      if (event->pressed) {
        fireMouse(event->button, event->x, event->y, 0, 0);
      } else {
        fireMouse(0, 0, 0, 0, 0);
      }
      break;
    case kEventMouseMove:
      view.pointerX = event->x;
      view.pointerY = event->y;
      if (!event->pressed) {
        g_view.lastX = event->x;
        g_view.lastY = event->y;
        fireMouse(0, event->x, event->y, 0, 0);
        break;
      }
      g_view.lastDx = event->x - g_view.lastX;
      g_view.lastDy = event->y - g_view.lastY;
      fireMouse(event->button, event->x, event->y, g_view.lastDx, g_view.lastDy);
      g_view.lastX = event->x;
      g_view.lastY = event->y;
      break;
    case kEventKeyDown:
      fireKey(event->character);
      break;
    default:
      break;  // key releases
  }
}

// Lays the viewport out centred in the client area, sets the projection
// and draws.
void layOutAndDraw(PlatformWindow* window, int w, int h) {
  ViewState& view = g_app.view;
  if (!platformMakeCurrent(window)) return;
  glViewport(w / 2 - view.viewWidth / 2, h / 2 - view.viewHeight / 2,
             view.viewWidth, view.viewHeight);
  applyProjection();
  drawFrame();
}

// One pass of the resize handler. A new size is only taken (extents scaled
// so that the picture keeps its scale) and true returned; an unchanged size,
// or any size while the view size is fixed, lays out and draws.
bool resizeStep(PlatformWindow* window, int w, int h) {
  ViewState& view = g_app.view;
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
      cameraUpdateProjection(&view, &g_app.render.eyeDistance);
      return true;
    }
  }
  layOutAndDraw(window, w, h);
  return false;
}

void resizeHandler(PlatformWindow* window, int w, int h) {
  resizeStep(window, w, h);
}

// Takes the window's present size and draws: a second pass finds the size
// it just took.
void settle(PlatformWindow* window) {
  int w = 0;
  int h = 0;
  platformWindowSize(window, &w, &h);
  if (resizeStep(window, w, h)) resizeStep(window, w, h);
}

// A paint follows the frame first.
void paintHandler(PlatformWindow* window) {
  platformFollowParent(window);
  settle(window);
}

void eventHandler(PlatformWindow*, const ViewEvent* event) {
  viewHandleEvent(event);
}

void destroyedHandler(PlatformWindow*) {
  forgetModelDisplays();  // their GL names died with the context
  g_view.window = nullptr;
  g_app.view.hasWindow = 0;
}

void createHandler(PlatformWindow* window) {
  int w = 0;
  int h = 0;
  platformMakeCurrent(window);
  platformWindowSize(window, &w, &h);
  cameraInit(&g_app.view, w, h);
  g_app.view.hasWindow = 1;
  initContextState();
}

const PlatformHandlers kHandlers = {paintHandler, resizeHandler, eventHandler,
                                    destroyedHandler};

}  // namespace

bool createViewWindow(const char* name, const char* parentPath) {
  if (g_view.created) {
    showErrorDialog("modelr: can only support 1 window at the moment.");
    return false;
  }
  const char* error = nullptr;
  PlatformWindow* window = platformCreateView(name, parentPath, &kHandlers, &error);
  if (window == nullptr) {
    showErrorDialog(error);
    return false;
  }
  g_view.window = window;
  g_view.created = true;
  if (platformHasContext(window)) createHandler(window);
  if (g_view.shownCursor > 0) {
    platformShowCursor(window, g_view.cursors[g_view.shownCursor - 1]);
  }
  g_view.statusWidget = platformWidgetHandle(".status");
  return true;
}

PlatformWindow* viewWindow() { return g_view.window; }

bool setViewSize(int32_t width, int32_t height) {
  PlatformWindow* window = g_view.window;
  ViewState& view = g_app.view;
  if (window == nullptr || !view.hasWindow) return false;
  if (width == 0 && height == 0) {
    view.fixedSize = 0;
    platformMoveWindow(window, 0, 0, kNormalViewSize, kNormalViewSize);
    settle(window);
    postMessageLine(&g_app.render, "Window size = Normal");
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
  layOutAndDraw(window, w, h);
  char text[64];
  std::snprintf(text, sizeof text, "Window size = %dx%d", width, height);
  postMessageLine(&g_app.render, text);
  return true;
}

void resizeViewToParent() {
  PlatformWindow* window = g_view.window;
  if (window == nullptr) return;
  platformFollowParent(window);
  settle(window);
}

int32_t createViewCursor(const char* nameOrFile) {
  if (nameOrFile == nullptr || nameOrFile[0] == '\0') return 0;
  if (g_view.cursors.size() >= static_cast<size_t>(INT32_MAX)) return 0;
  void* cursor = platformLoadCursor(g_view.window, nameOrFile);
  if (cursor == nullptr) return 0;
  g_view.cursors.push_back(cursor);
  return static_cast<int32_t>(g_view.cursors.size());
}

bool showViewCursor(int32_t number) {
  if (number < 0 || static_cast<size_t>(number) > g_view.cursors.size()) {
    return false;
  }
  g_view.shownCursor = number;
  platformShowCursor(g_view.window,
                     number == 0 ? nullptr : g_view.cursors[number - 1]);
  return true;
}

int32_t shownViewCursor() { return g_view.shownCursor; }

void redrawView() {
  if (g_view.window == nullptr || !g_app.view.hasWindow) return;
  drawFrame();
}

void resetView() {
  if (g_view.window == nullptr || !g_app.view.hasWindow) return;
  RenderState& render = g_app.render;
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
  drawFrame();
}

void viewHandleEvent(const ViewEvent* event) {
  if (event == nullptr) return;
  if (g_view.handlingEvent) {
    if (g_view.pendingCount < kPendingEvents) {
      g_view.pending[g_view.pendingCount++] = *event;
    }
    return;
  }
  g_view.handlingEvent = true;
  handleOneEvent(event);
  for (int i = 0; i < g_view.pendingCount; ++i) {
    ViewEvent next = g_view.pending[i];
    handleOneEvent(&next);
  }
  g_view.pendingCount = 0;
  g_view.handlingEvent = false;
}
