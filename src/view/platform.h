// The platform template: everything the view needs from the window system,
// in one small interface. platform_x11.cpp fills it with a Tk child window
// and GLX; a Win32/WGL backend fills the same functions. Nothing outside
// the backend includes a window-system header.
//
// Errors of the window system (X errors around GLX calls) are trapped by
// the backend and turned into a failed result with a message through
// rendererError(), never into an exit.
#pragma once

#include <cstdint>

#include "view/view_event.h"

struct PlatformWindow;  // one native child window with its GL context

// The backend calls these from the interpreter's event loop. Mouse events
// come from buttons 1 to 3 only (the wheel is not passed on); a press of
// the same button within 400 ms and 4 pixels of the previous press is a
// double click.
struct PlatformHandlers {
  void (*paint)(PlatformWindow* window);                 // expose
  void (*resize)(PlatformWindow* window, int w, int h);  // size changed
  void (*event)(PlatformWindow* window, const ViewEvent* event);
  // The native window went away (its Tk parent was destroyed); the record
  // stays, every call on it does nothing from then on.
  void (*destroyed)(PlatformWindow* window);
  // A failure of the window system ("modelr: ...").
  void (*failure)(PlatformWindow* window, const char* text);
};

// Creates the view as a child of the Tk widget `parentPath` (an X window
// with a double-buffered RGBA visual and the deepest depth buffer up to 32
// bits), sized to the parent and following it, and its GL context. Null on
// failure with *error set to "modelr: cannot get handle for parent window."
// for an unknown parent, or another text.
// `toolkit` is the toolkit handle the parent is looked up through (the Tk
// interpreter on X11); `user` is handed back by platformUserData.
PlatformWindow* platformCreateView(void* toolkit, const char* name,
                                   const char* parentPath,
                                   const PlatformHandlers* handlers, void* user,
                                   const char** error);
void* platformUserData(PlatformWindow* window);
void platformDestroyView(PlatformWindow* window);
// False when the window exists but no GL context could be made for it (no
// GLX visual, or context creation failed): it never draws.
bool platformHasContext(PlatformWindow* window);
// The native handle of an existing Tk widget, or null.
void* platformWidgetHandle(void* toolkit, const char* path);

// Makes the window's context current; null releases the current context.
bool platformMakeCurrent(PlatformWindow* window);
void platformSwapBuffers(PlatformWindow* window);
// Client size of the view, and of its parent.
void platformWindowSize(PlatformWindow* window, int* w, int* h);
void platformParentSize(PlatformWindow* window, int* w, int* h);
void platformMoveWindow(PlatformWindow* window, int x, int y, int w, int h);
// Keeps the view the size of its parent (what a paint does first).
void platformFollowParent(PlatformWindow* window);

// Cursors: a stock cursor of similar meaning for a built-in name, or a
// cursor file. Null when it cannot be loaded.
void* platformLoadCursor(void* toolkit, PlatformWindow* window,
                         const char* nameOrFile);
void platformShowCursor(PlatformWindow* window, void* cursor);  // null: arrow

// Reads w x h pixels of what the window shows, RGB, bottom row first (as
// glReadPixels gives them), from (x, y) counted from the bottom left.
bool platformReadPixels(PlatformWindow* window, int x, int y, int w, int h,
                        unsigned char* rgb);

// Runs pending window-system events (expose, configure) now.
void platformFlush(PlatformWindow* window);
