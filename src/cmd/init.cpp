// The extension entry and the modelr command procedure.
#include <tcl.h>

#include "cmd/context.h"
#include "cmd/dispatch.h"
#include "cmd/host.h"
#include "cmd/host_tcl.h"
#include "cmd/words.h"
#include "io/documents.h"
#include "view/draw_model.h"
#include "view/view_host.h"

#define MODELR_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

bool g_initialised = false;

int modelrCommand(ClientData, Tcl_Interp*, int argc, const char* argv[]) {
  g_app.busy = 1;
  CommandWords* list = splitCommandWords(argc, argv);
  if (list == nullptr) {
    showErrorDialog("modelr: usage: modelr <command> <args>");
    return TCL_ERROR;  // busy stays set on purpose: the command never ran
  }
  if (list->count == 0) {
    freeCommandWords(list);
    return TCL_OK;  // busy stays set, as for the failure above
  }
  dispatchCommand(list);
  freeCommandWords(list);
  g_app.busy = 0;
  return TCL_OK;
}

}  // namespace

MODELR_EXPORT int Modelr_Init(Tcl_Interp* interp) {
  if (g_initialised) return TCL_OK;
  g_initialised = true;

  if (!hostBind(interp)) return TCL_ERROR;
  if (Tcl_CreateCommand(interp, "modelr", modelrCommand, nullptr, nullptr) ==
      nullptr) {
    return TCL_ERROR;
  }
  zeroAppContext();
  viewRegistryInit();
  setIdentity(g_app.matrix);
  initRenderState(&g_app.render);
  setLoaderStatusReporter(reportStatus);
  setRendererErrorReporter(reportError);
  installModelDisplayHooks();  // closing a model frees its GL data
  Tcl_PkgProvide(interp, "modelr", MODELR_VERSION);
  return TCL_OK;
}
