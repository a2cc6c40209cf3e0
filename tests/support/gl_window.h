// A bare X window with a GLX context, for the programs that drive the view
// code without Tk (benchmarks, the picker comparison). Run them under
// xvfb-run.
#pragma once

#include <GL/glew.h>
#include <GL/glx.h>
#include <X11/Xlib.h>

#include <cstdio>

struct GlWindow {
  Display* display = nullptr;
  Window window = 0;
  GLXContext context = nullptr;
};

inline int& glWindowXError() {
  static int error = 0;
  return error;
}

inline int glWindowOnXError(Display*, XErrorEvent* event) {
  glWindowXError() = event->error_code;
  return 0;
}

// Opens a mapped window of that size with a current double-buffered RGBA
// context with depth, and loads GLEW. `who` prefixes the messages.
inline bool openGlWindow(GlWindow* w, int width, int height, const char* who) {
  w->display = XOpenDisplay(nullptr);
  if (w->display == nullptr) {
    std::fprintf(stderr, "%s: no X display (run under xvfb-run)\n", who);
    return false;
  }
  XSetErrorHandler(glWindowOnXError);
  int attributes[] = {GLX_RGBA, GLX_DOUBLEBUFFER, GLX_RED_SIZE, 8, GLX_GREEN_SIZE, 8,
                      GLX_BLUE_SIZE, 8, GLX_DEPTH_SIZE, 24, None};
  const int screen = DefaultScreen(w->display);
  XVisualInfo* visual = glXChooseVisual(w->display, screen, attributes);
  if (visual == nullptr) {
    std::fprintf(stderr, "%s: no double-buffered RGBA visual with depth\n", who);
    return false;
  }
  const Window root = RootWindow(w->display, screen);
  XSetWindowAttributes set = {};
  set.colormap = XCreateColormap(w->display, root, visual->visual, AllocNone);
  w->window = XCreateWindow(w->display, root, 0, 0, width, height, 0, visual->depth,
                            InputOutput, visual->visual, CWColormap, &set);
  XMapWindow(w->display, w->window);
  w->context = glXCreateContext(w->display, visual, nullptr, True);
  XFree(visual);
  XSync(w->display, False);
  if (w->context == nullptr || glWindowXError() != 0 ||
      !glXMakeCurrent(w->display, w->window, w->context)) {
    std::fprintf(stderr, "%s: no GL context (X error %d)\n", who, glWindowXError());
    return false;
  }
  if (glewInit() != GLEW_OK || glGenBuffers == nullptr) {
    std::fprintf(stderr, "%s: buffer objects are not available\n", who);
    return false;
  }
  return true;
}

inline void closeGlWindow(GlWindow* w) {
  if (w->display == nullptr) return;
  glXMakeCurrent(w->display, None, nullptr);
  if (w->context != nullptr) glXDestroyContext(w->display, w->context);
  if (w->window != 0) XDestroyWindow(w->display, w->window);
  XCloseDisplay(w->display);
  *w = GlWindow();
}
