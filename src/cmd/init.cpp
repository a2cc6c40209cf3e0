// The extension entry and the modelr command procedure.
#include <tcl.h>

#include <new>

#include "cmd/dispatch.h"
#include "cmd/host.h"
#include "cmd/host_tcl.h"
#include "cmd/sim_tick.h"
#include "cmd/words.h"

#define MODELR_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

// The extension starts once per process, whatever loads it again: its
// workspace belongs to the first interpreter. Tcl calls the entry with
// nothing but the interpreter, so the flag can only live here.
bool g_initialised = false;

int modelrCommand(ClientData data, Tcl_Interp*, int argc, const char* argv[]) {
  Extension& x = *static_cast<Extension*>(data);
  Workspace& ws = x.ws;
  ws.busy = 1;
  CommandWords* list = splitCommandWords(argc, argv);
  if (list == nullptr) {
    showErrorDialog(ws, "modelr: usage: modelr <command> <args>");
    return TCL_ERROR;  // busy stays set on purpose: the command never ran
  }
  if (list->count == 0) {
    freeCommandWords(list);
    return TCL_OK;  // busy stays set, as for the failure above
  }
  hostCommandBegins(ws);
  dispatchCommand(ws, list);
  freeCommandWords(list);
  ws.busy = 0;
  // The procedures run now, with the command's result already set.
  hostCommandEnds(ws);
  return TCL_OK;
}

// The interpreter is being deleted: no tick may come after it, and the
// world goes with it.
void interpreterDeleted(ClientData data, Tcl_Interp*) {
  Extension& x = *static_cast<Extension*>(data);
  endSimulateTicks(x);
  endSimulationWorld(x.ws);
  x.interp = nullptr;
}

// The process is ending: the tick thread must not outlive the library.
void processExits(ClientData data) { endSimulateTicks(*static_cast<Extension*>(data)); }

}  // namespace

MODELR_EXPORT int Modelr_Init(Tcl_Interp* interp) {
  if (g_initialised) return TCL_OK;
  g_initialised = true;

  bool hasTk = false;
  if (!hostBindStubs(interp, &hasTk)) return TCL_ERROR;
  Extension* x = new (std::nothrow) Extension;
  if (x == nullptr) return TCL_ERROR;
  x->interp = interp;
  // Never freed: Tk may still report a window's end to the view after the
  // command is gone, and the process is ending then anyway.
  if (Tcl_CreateCommand(interp, "modelr", modelrCommand, x, nullptr) == nullptr) {
    delete x;
    return TCL_ERROR;
  }
  // The view finds its parent widgets through Tk, when Tk is there.
  workspaceInit(&x->ws, x, x, hasTk ? interp : nullptr);
  Tcl_CallWhenDeleted(interp, interpreterDeleted, x);
  Tcl_CreateExitHandler(processExits, x);
  Tcl_PkgProvide(interp, "modelr", MODELR_VERSION);
  return TCL_OK;
}
