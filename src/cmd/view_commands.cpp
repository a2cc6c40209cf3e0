// draw, reset and resize: the view's own top-level commands. Without a
// view window each does nothing.
#include "cmd/families.h"
#include "workspace/workspace.h"
#include "view/view_window.h"

void drawCommand(Workspace& ws, char**) { redrawView(ws.view); }
void resetCommand(Workspace& ws, char**) { resetView(ws.view); }
void resizeCommand(Workspace& ws, char**) { resizeViewToParent(ws.view); }
