// draw, reset and resize: the view's own top-level commands. Without a
// view window each does nothing.
#include "cmd/families.h"
#include "view/view_window.h"

void drawCommand(char**) { redrawView(); }
void resetCommand(char**) { resetView(); }
void resizeCommand(char**) { resizeViewToParent(); }
