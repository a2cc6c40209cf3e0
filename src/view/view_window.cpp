#include "view/view_window.h"

bool createViewWindow(const char*, const char*) { return false; }
PlatformWindow* viewWindow() { return nullptr; }
bool setViewSize(int32_t, int32_t) { return false; }
void resizeViewToParent() {}
int32_t createViewCursor(const char*) { return 0; }
bool showViewCursor(int32_t) { return false; }
void redrawView() {}
void viewHandleEvent(const ViewEvent*) {}
