#include "view/platform.h"

PlatformWindow* platformCreateView(const char*, const char*, const PlatformHandlers*,
                                   const char** error) {
  *error = "modelr: cannot get handle for parent window.";
  return nullptr;
}
void platformDestroyView(PlatformWindow*) {}
bool platformMakeCurrent(PlatformWindow*) { return false; }
void platformSwapBuffers(PlatformWindow*) {}
void platformWindowSize(PlatformWindow*, int* w, int* h) { *w = *h = 0; }
void platformParentSize(PlatformWindow*, int* w, int* h) { *w = *h = 0; }
void platformMoveWindow(PlatformWindow*, int, int, int, int) {}
void platformFollowParent(PlatformWindow*) {}
void* platformLoadCursor(PlatformWindow*, const char*) { return nullptr; }
void platformShowCursor(PlatformWindow*, void*) {}
bool platformReadPixels(PlatformWindow*, int, int, int, int, unsigned char*) { return false; }
void platformFlush(PlatformWindow*) {}
