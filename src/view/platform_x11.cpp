// The view on X11: a Tk child window of the script's frame, with a GLX
// visual and context. Tk delivers the window's events to the handlers here,
// which turn them into ViewEvents for the view.
#include <tk.h>

#include <GL/gl.h>
#include <GL/glx.h>
#include <X11/Xutil.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "view/platform.h"

struct PlatformWindow {
  Tk_Window tkwin;   // null once the window is gone
  Tk_Window parent;
  Display* display;
  GLXContext context;  // null: the window never draws
  Colormap colormap;   // of the GLX visual; None with the parent's visual
  PlatformHandlers handlers;
  void* user;
  // The previous press, for double clicks.
  unsigned int pressButton;
  Time pressTime;
  int pressX, pressY;
};

namespace {

constexpr long kViewEventMask = ExposureMask | StructureNotifyMask |
                                ButtonPressMask | ButtonReleaseMask |
                                PointerMotionMask | KeyPressMask |
                                KeyReleaseMask | FocusChangeMask;
constexpr Time kDoubleClickMs = 400;
constexpr int kDoubleClickPixels = 4;

const char kNoParent[] = "modelr: cannot get handle for parent window.";
const char kNoWindow[] = "modelr: cannot create the view window.";

// The only mutable state of the extension outside the workspace, both
// forced by the window system: the GL context current on this thread is
// process-wide state of GLX, and Xlib's error handler is a plain function
// with no user data, so what it records must live at file scope.
PlatformWindow* g_current = nullptr;  // whose context is current

// X errors raised by GLX calls would end the process through Xlib's default
// handler; while a trap is set they are only recorded.
int g_xError = 0;

int recordXError(Display*, XErrorEvent* event) {
  if (g_xError == 0) g_xError = event->error_code;
  return 0;
}

XErrorHandler beginXTrap(Display* display) {
  XSync(display, False);  // earlier requests' errors still go to Tk
  g_xError = 0;
  return XSetErrorHandler(recordXError);
}

// True when no X error arrived since beginXTrap.
bool endXTrap(Display* display, XErrorHandler previous) {
  XSync(display, False);
  XSetErrorHandler(previous);
  return g_xError == 0;
}

bool alive(const PlatformWindow* window) {
  return window != nullptr && window->tkwin != nullptr;
}

// RGBA, double-buffered, with the deepest depth buffer up to 32 bits;
// multisampled (4 samples, so that silhouettes and wire lines are not
// stair-stepped) where the server offers it, else without.
XVisualInfo* chooseVisual(Display* display, int screen) {
  static const int kDepths[] = {32, 24, 16};
  for (int samples : {4, 0}) {
    for (int depth : kDepths) {
      int attributes[] = {GLX_RGBA,       GLX_DOUBLEBUFFER, GLX_RED_SIZE,       1,
                          GLX_GREEN_SIZE, 1,                GLX_BLUE_SIZE,      1,
                          GLX_DEPTH_SIZE, depth,            GLX_SAMPLE_BUFFERS, samples > 0,
                          GLX_SAMPLES,    samples,          None};
      XVisualInfo* info = glXChooseVisual(display, screen, attributes);
      if (info != nullptr) return info;
    }
  }
  return nullptr;
}

XVisualInfo* glxVisual(Display* display, int screen) {
  XErrorHandler previous = beginXTrap(display);
  int errorBase = 0;
  int eventBase = 0;
  XVisualInfo* info = nullptr;
  if (glXQueryExtension(display, &errorBase, &eventBase)) {
    info = chooseVisual(display, screen);
  }
  if (!endXTrap(display, previous) && info != nullptr) {
    XFree(info);
    info = nullptr;
  }
  return info;
}

GLXContext createContext(Display* display, XVisualInfo* info, Bool direct) {
  XErrorHandler previous = beginXTrap(display);
  GLXContext context = glXCreateContext(display, info, nullptr, direct);
  if (!endXTrap(display, previous) && context != nullptr) {
    previous = beginXTrap(display);
    glXDestroyContext(display, context);
    endXTrap(display, previous);
    context = nullptr;
  }
  return context;
}

void releaseContext(PlatformWindow* window) {
  if (window->context == nullptr) return;
  XErrorHandler previous = beginXTrap(window->display);
  if (g_current == window) {
    glXMakeCurrent(window->display, None, nullptr);
    g_current = nullptr;
  }
  glXDestroyContext(window->display, window->context);
  endXTrap(window->display, previous);
  window->context = nullptr;
}

// A frame that has not been laid out yet reports 1 x 1; its requested size
// is what it will get.
void parentClientSize(Tk_Window parent, int* w, int* h) {
  *w = Tk_Width(parent);
  *h = Tk_Height(parent);
  if (*w <= 1 && *h <= 1) {
    *w = Tk_ReqWidth(parent);
    *h = Tk_ReqHeight(parent);
  }
  if (*w < 1) *w = 1;
  if (*h < 1) *h = 1;
}

unsigned int buttonMask(unsigned int button) {
  return button == 1 ? Button1Mask : button == 2 ? Button2Mask : Button3Mask;
}

// The buttons held decide the button reported: left and right together act
// as the middle button.
void applyHeldButtons(ViewEvent* event, unsigned int held) {
  const bool left = (held & Button1Mask) != 0;
  const bool middle = (held & Button2Mask) != 0;
  const bool right = (held & Button3Mask) != 0;
  int button = 0;
  if (left && right) {
    button = 2;
  } else if (middle) {
    button = 2;
  } else if (right) {
    button = 3;
  } else if (left) {
    button = 1;
  }
  if (button != 0) {
    event->button = button;
    event->pressed = 1;
  }
}

void sendEvent(PlatformWindow* window, const ViewEvent* event) {
  if (window->handlers.event) window->handlers.event(window, event);
}

void mouseButton(PlatformWindow* window, XButtonEvent* x, bool press) {
  // A wheel notch is a press of 4 (up) or 5 (down) and nothing else: no
  // release, no double click, whatever else is held.
  if ((x->button == 4 || x->button == 5) && press) {
    ViewEvent wheel = {};
    wheel.type = kEventMouseButton;
    wheel.button = static_cast<int32_t>(x->button);
    wheel.pressed = 1;
    wheel.x = static_cast<int16_t>(x->x);
    wheel.y = static_cast<int16_t>(x->y);
    sendEvent(window, &wheel);
    return;
  }
  if (x->button < 1 || x->button > 3) return;  // wheel releases, extra buttons
  ViewEvent event = {};
  event.type = kEventMouseButton;
  event.button = static_cast<int32_t>(x->button);
  event.pressed = press ? 1 : 0;
  event.x = static_cast<int16_t>(x->x);
  event.y = static_cast<int16_t>(x->y);
  if (press) {
    const bool again = window->pressButton == x->button &&
                       x->time - window->pressTime <= kDoubleClickMs &&
                       std::abs(x->x - window->pressX) <= kDoubleClickPixels &&
                       std::abs(x->y - window->pressY) <= kDoubleClickPixels;
    if (again) {
      event.pressed = 0;
      event.doubleClick = 1;
      window->pressButton = 0;  // a third click starts over
    } else {
      window->pressButton = x->button;
      window->pressTime = x->time;
      window->pressX = x->x;
      window->pressY = x->y;
    }
  }
  // X gives the state before the event; the view wants the buttons held
  // after it.
  const unsigned int mask = buttonMask(x->button);
  applyHeldButtons(&event, press ? (x->state | mask) : (x->state & ~mask));
  sendEvent(window, &event);
}

void mouseMove(PlatformWindow* window, XMotionEvent* x) {
  ViewEvent event = {};
  event.type = kEventMouseMove;
  event.x = static_cast<int16_t>(x->x);
  event.y = static_cast<int16_t>(x->y);
  applyHeldButtons(&event, x->state);
  sendEvent(window, &event);
}

void key(PlatformWindow* window, XKeyEvent* x, bool press) {
  char text[8];
  KeySym keysym = NoSymbol;
  int count = XLookupString(x, text, sizeof text, &keysym, nullptr);
  ViewEvent event = {};
  event.type = press ? kEventKeyDown : kEventKeyUp;
  event.x = static_cast<int32_t>(keysym);
  event.character = count == 1 ? static_cast<unsigned char>(text[0]) : 0;
  sendEvent(window, &event);
}

void parentEventProc(ClientData data, XEvent* x);

void windowGone(PlatformWindow* window) {
  if (!alive(window)) return;
  releaseContext(window);
  if (window->parent != nullptr) {
    Tk_DeleteEventHandler(window->parent, StructureNotifyMask, parentEventProc,
                          window);
  }
  window->tkwin = nullptr;
  window->parent = nullptr;
  if (window->colormap != None) {
    XFreeColormap(window->display, window->colormap);
    window->colormap = None;
  }
  if (window->handlers.destroyed) window->handlers.destroyed(window);
}

void viewEventProc(ClientData data, XEvent* x) {
  PlatformWindow* window = static_cast<PlatformWindow*>(data);
  if (!alive(window)) return;
  switch (x->type) {
    case Expose:
      if (x->xexpose.count == 0 && window->handlers.paint) {
        window->handlers.paint(window);
      }
      break;
    case ConfigureNotify:
      // Tk's idea of the size is newer than the event's when moves queue up.
      if (window->handlers.resize) {
        window->handlers.resize(window, Tk_Width(window->tkwin),
                                Tk_Height(window->tkwin));
      }
      break;
    case DestroyNotify:
      windowGone(window);
      break;
    case ButtonPress:
    case ButtonRelease:
      mouseButton(window, &x->xbutton, x->type == ButtonPress);
      break;
    case MotionNotify:
      mouseMove(window, &x->xmotion);
      break;
    case KeyPress:
    case KeyRelease:
      key(window, &x->xkey, x->type == KeyPress);
      break;
    default:
      break;  // focus: the defined cursor stays without help
  }
}

// The parent frame changed size: the view follows it.
void parentEventProc(ClientData data, XEvent* x) {
  PlatformWindow* window = static_cast<PlatformWindow*>(data);
  if (x->type == ConfigureNotify) platformFollowParent(window);
}

// The window's own name: Tk names a child by one word without dots.
std::string leafName(const char* name) {
  const char* dot = std::strrchr(name, '.');
  return dot ? std::string(dot + 1) : std::string(name);
}

// Tk keeps one cursor per name; these stock cursors stand for the tools.
struct StockCursor {
  const char* name;
  const char* xCursor;
};

const StockCursor kStockCursors[] = {
    {"cursor", "crosshair"},        {"draw", "pencil"},
    {"rotate", "exchange"},         {"pan", "fleur"},
    {"zoom", "sizing"},             {"x", "sb_h_double_arrow"},
    {"y", "sb_v_double_arrow"},     {"z", "double_arrow"},
    {"pick", "top_left_arrow"},     {"pick_add", "plus"},
    {"pick_toggle", "dotbox"},      {"points", "dot"},
    {"points_add", "plus"},         {"points_draw", "pencil"},
    {"points_toggle", "dotbox"},    {"lighting", "star"},
    {"lighting_add", "plus"},       {"lighting_draw", "spraycan"},
    {"lighting_toggle", "dotbox"},  {"colors", "spraycan"},
    {"colors_add", "plus"},         {"colors_draw", "pencil"},
    {"colors_toggle", "dotbox"},    {"layers", "icon"},
    {"layers_add", "plus"},         {"layers_draw", "pencil"},
    {"layers_toggle", "dotbox"},    {"line", "tcross"},
    {"line_add", "plus"},           {"line_draw", "pencil"},
    {"line_toggle", "dotbox"},      {"kid", "target"},
    {"kid_add", "plus"},            {"kid_draw", "pencil"},
    {"kid_toggle", "dotbox"},       {"hand", "hand2"},
    {"triangle", "diamond_cross"},  {"triangle_add", "plus"},
    {"triangle_draw", "pencil"},    {"triangle_toggle", "dotbox"},
    {"joints", "circle"},           {"joints_add", "plus"},
    {"joints_draw", "pencil"},      {"joints_toggle", "dotbox"},
    {"collide", "cross"},           {"collide_add", "plus"},
    {"collide_draw", "pencil"},     {"collide_toggle", "dotbox"},
    {"move", "fleur"},              {"move_copy", "plus"},
    {"move_rotate", "exchange"},    {"move_rotate_copy", "exchange"},
    {"move_scale", "sizing"},       {"move_scale_copy", "sizing"},
};

const char* stockCursor(const char* name) {
  for (const StockCursor& entry : kStockCursors) {
    if (std::strcmp(entry.name, name) == 0) return entry.xCursor;
  }
  return nullptr;
}

// Tk's cursor description of a file: an X bitmap drawn in black.
std::string cursorFileSpec(const char* file) {
  std::string path = file;
  for (char& c : path) {
    if (c == '\\') c = '/';
  }
  if (path.empty() || access(path.c_str(), R_OK) != 0) return std::string();
  std::string source = "@" + path;
  const char* elements[] = {source.c_str(), "black"};
  char* merged = Tcl_Merge(2, elements);
  std::string spec = merged;
  Tcl_Free(merged);
  return spec;
}

void reportFailure(PlatformWindow* window, const char* text) {
  if (window->handlers.failure) window->handlers.failure(window, text);
}

}  // namespace

PlatformWindow* platformCreateView(void* toolkit, const char* name,
                                   const char* parentPath,
                                   const PlatformHandlers* handlers, void* user,
                                   const char** error) {
  Tcl_Interp* interp = static_cast<Tcl_Interp*>(toolkit);
  *error = kNoParent;
  if (interp == nullptr || parentPath == nullptr) return nullptr;
  Tk_Window mainWindow = Tk_MainWindow(interp);
  Tk_Window parent =
      mainWindow ? Tk_NameToWindow(interp, parentPath, mainWindow) : nullptr;
  if (parent == nullptr) {
    Tcl_ResetResult(interp);
    return nullptr;
  }
  *error = kNoWindow;
  std::string leaf = leafName(name ? name : "");
  if (leaf.empty()) return nullptr;
  Tk_Window tkwin = Tk_CreateWindow(interp, parent, leaf.c_str(), nullptr);
  if (tkwin == nullptr) {
    Tcl_ResetResult(interp);
    return nullptr;
  }
  PlatformWindow* window =
      static_cast<PlatformWindow*>(std::calloc(1, sizeof(PlatformWindow)));
  if (window == nullptr) {
    Tk_DestroyWindow(tkwin);
    return nullptr;
  }
  window->tkwin = tkwin;
  window->parent = parent;
  window->display = Tk_Display(tkwin);
  window->colormap = None;
  if (handlers) window->handlers = *handlers;
  window->user = user;

  const int screen = Tk_ScreenNumber(tkwin);
  XVisualInfo* info = glxVisual(window->display, screen);
  if (info != nullptr) {
    window->colormap = XCreateColormap(window->display,
                                       RootWindow(window->display, screen),
                                       info->visual, AllocNone);
    Tk_SetWindowVisual(tkwin, info->visual, info->depth, window->colormap);
  } else {
    reportFailure(window, "modelr: no OpenGL visual for the view window.");
  }

  int w = 1;
  int h = 1;
  parentClientSize(parent, &w, &h);
  Tk_GeometryRequest(tkwin, w, h);
  Tk_MoveResizeWindow(tkwin, 0, 0, w, h);
  Tk_CreateEventHandler(tkwin, kViewEventMask, viewEventProc, window);
  Tk_CreateEventHandler(parent, StructureNotifyMask, parentEventProc, window);
  Tk_MakeWindowExist(tkwin);
  Tk_MapWindow(tkwin);
  Tk_RestackWindow(tkwin, Above, nullptr);

  if (info != nullptr) {
    window->context = createContext(window->display, info, True);
    if (window->context == nullptr) {
      window->context = createContext(window->display, info, False);
    }
    XFree(info);
    if (window->context == nullptr) {
      reportFailure(window, "modelr: cannot create the OpenGL context of the view window.");
    }
  }
  return window;
}

void platformDestroyView(PlatformWindow* window) {
  if (window == nullptr) return;
  if (alive(window)) {
    Tk_Window tkwin = window->tkwin;
    windowGone(window);
    Tk_DeleteEventHandler(tkwin, kViewEventMask, viewEventProc, window);
    Tk_DestroyWindow(tkwin);
  }
  std::free(window);
}

bool platformHasContext(PlatformWindow* window) {
  return alive(window) && window->context != nullptr;
}

void* platformUserData(PlatformWindow* window) {
  return window != nullptr ? window->user : nullptr;
}

void* platformWidgetHandle(void* toolkit, const char* path) {
  Tcl_Interp* interp = static_cast<Tcl_Interp*>(toolkit);
  if (interp == nullptr || path == nullptr) return nullptr;
  Tk_Window mainWindow = Tk_MainWindow(interp);
  Tk_Window widget =
      mainWindow ? Tk_NameToWindow(interp, path, mainWindow) : nullptr;
  if (widget == nullptr) Tcl_ResetResult(interp);
  return widget;
}

bool platformMakeCurrent(PlatformWindow* window) {
  if (window == nullptr) {
    if (g_current != nullptr) {
      glXMakeCurrent(g_current->display, None, nullptr);
      g_current = nullptr;
    }
    return true;
  }
  if (!platformHasContext(window)) return false;
  if (g_current == window && glXGetCurrentContext() == window->context) {
    return true;
  }
  XErrorHandler previous = beginXTrap(window->display);
  Bool made = glXMakeCurrent(window->display, Tk_WindowId(window->tkwin),
                             window->context);
  if (!endXTrap(window->display, previous) || !made) {
    g_current = nullptr;
    reportFailure(window, "modelr: cannot make the view's OpenGL context current.");
    return false;
  }
  g_current = window;
  return true;
}

void platformSwapBuffers(PlatformWindow* window) {
  if (g_current != window || !platformHasContext(window)) return;
  glXSwapBuffers(window->display, Tk_WindowId(window->tkwin));
}

void platformWindowSize(PlatformWindow* window, int* w, int* h) {
  *w = *h = 0;
  if (!alive(window)) return;
  *w = Tk_Width(window->tkwin);
  *h = Tk_Height(window->tkwin);
}

void platformParentSize(PlatformWindow* window, int* w, int* h) {
  *w = *h = 0;
  if (!alive(window)) return;
  parentClientSize(window->parent, w, h);
}

void platformMoveWindow(PlatformWindow* window, int x, int y, int w, int h) {
  if (!alive(window)) return;
  Tk_Window tkwin = window->tkwin;
  if (w < 1) w = 1;
  if (h < 1) h = 1;
  // Moving to where it is would still cost a configure round and a frame.
  if (Tk_X(tkwin) == x && Tk_Y(tkwin) == y && Tk_Width(tkwin) == w &&
      Tk_Height(tkwin) == h) {
    return;
  }
  Tk_GeometryRequest(tkwin, w, h);
  Tk_MoveResizeWindow(tkwin, x, y, w, h);
}

void platformFollowParent(PlatformWindow* window) {
  if (!alive(window)) return;
  int w = 0;
  int h = 0;
  parentClientSize(window->parent, &w, &h);
  platformMoveWindow(window, 0, 0, w, h);
}

void* platformLoadCursor(void* toolkit, PlatformWindow* window, const char* nameOrFile) {
  Tcl_Interp* interp = static_cast<Tcl_Interp*>(toolkit);
  if (interp == nullptr || nameOrFile == nullptr) return nullptr;
  Tk_Window tkwin = alive(window) ? window->tkwin : Tk_MainWindow(interp);
  if (tkwin == nullptr) {
    Tcl_ResetResult(interp);
    return nullptr;
  }
  const char* stock = stockCursor(nameOrFile);
  std::string spec = stock ? std::string(stock) : cursorFileSpec(nameOrFile);
  if (spec.empty()) return nullptr;
  Tk_Cursor cursor = Tk_GetCursor(interp, tkwin, Tk_GetUid(spec.c_str()));
  if (cursor == nullptr) Tcl_ResetResult(interp);
  return cursor;
}

void platformShowCursor(PlatformWindow* window, void* cursor) {
  if (!alive(window)) return;
  if (cursor == nullptr) {
    Tk_UndefineCursor(window->tkwin);  // the frame's arrow shows through
  } else {
    Tk_DefineCursor(window->tkwin, static_cast<Tk_Cursor>(cursor));
  }
}

// What the window shows is the front buffer once a frame has been swapped.
// What the window shows, read from the X server as any other window's
// contents are: the front buffer of a GLX drawable is not readable through
// GL on every server (Xvfb's software GL gives black). X rows run from the
// top; the caller wants GL's order, bottom row first.
bool platformReadPixels(PlatformWindow* window, int x, int y, int w, int h,
                        unsigned char* rgb) {
  if (rgb == nullptr || w <= 0 || h <= 0 || !alive(window)) return false;
  int width = 0, height = 0;
  platformWindowSize(window, &width, &height);
  if (x < 0 || y < 0 || x + w > width || y + h > height) return false;
  glFinish();
  XSync(window->display, False);
  XErrorHandler previous = beginXTrap(window->display);
  XImage* image = XGetImage(window->display, Tk_WindowId(window->tkwin), x,
                            height - (y + h), static_cast<unsigned>(w),
                            static_cast<unsigned>(h), AllPlanes, ZPixmap);
  if (!endXTrap(window->display, previous) || image == nullptr) {
    if (image != nullptr) XDestroyImage(image);
    return false;
  }
  // Channel positions from the visual's masks (24- and 32-bit TrueColor).
  auto shiftOf = [](unsigned long mask) {
    int shift = 0;
    while (mask != 0 && (mask & 1) == 0) {
      mask >>= 1;
      ++shift;
    }
    return shift;
  };
  const int rs = shiftOf(image->red_mask), gs = shiftOf(image->green_mask),
            bs = shiftOf(image->blue_mask);
  for (int row = 0; row < h; ++row) {
    unsigned char* out = rgb + static_cast<size_t>(h - 1 - row) * w * 3;
    for (int col = 0; col < w; ++col) {
      const unsigned long pixel = XGetPixel(image, col, row);
      *out++ = static_cast<unsigned char>(pixel >> rs);
      *out++ = static_cast<unsigned char>(pixel >> gs);
      *out++ = static_cast<unsigned char>(pixel >> bs);
    }
  }
  XDestroyImage(image);
  return true;
}

void platformFlush(PlatformWindow* window) {
  if (alive(window)) XSync(window->display, False);
  while (Tcl_DoOneEvent(TCL_DONT_WAIT | TCL_WINDOW_EVENTS | TCL_IDLE_EVENTS) != 0) {
  }
}
