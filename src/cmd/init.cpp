// The extension entry and the modelr command procedure.
#include <tcl.h>

#include <new>
#include <string>
#include <vector>

#include "cmd/dispatch.h"
#include "cmd/host.h"
#include "cmd/host_tcl.h"
#include "cmd/sim_tick.h"
#include "cmd/strict.h"
#include "cmd/words.h"

#define MODELR_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

// The extension starts once per process, whatever loads it again: its
// workspace belongs to the first interpreter. Tcl calls the entry with
// nothing but the interpreter, so the flag can only live here.
bool g_initialised = false;

// One modelr command. With `record`, what the error procedure is sent while
// the command itself runs (not the callbacks delivered after it) is kept
// in the extension's reports.
int runModelrCommand(Extension& x, int argc, const char* argv[], bool record) {
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
  if (record) ++x.recording;
  dispatchCommand(ws, list);
  if (record) --x.recording;
  freeCommandWords(list);
  ws.busy = 0;
  // The procedures run now, with the command's result already set.
  hostCommandEnds(ws);
  return TCL_OK;
}

int modelrCommand(ClientData data, Tcl_Interp*, int argc, const char* argv[]) {
  return runModelrCommand(*static_cast<Extension*>(data), argc, argv, false);
}

// ::modelr::strict::call <family> <word> ...: the modelr command, raising
// what it refused as a Tcl error (see strictOutcome).
int strictCommand(ClientData data, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) {
  Extension& x = *static_cast<Extension*>(data);
  if (objc < 2) {
    Tcl_WrongNumArgs(interp, 1, objv, "family ?word ...?");
    return TCL_ERROR;
  }
  // The words as the modelr command gets them; a short call needs no heap.
  constexpr int kShortCall = 32;
  const char* shortWords[kShortCall + 1];
  std::vector<const char*> longWords;
  const char** argv = shortWords;
  if (objc > kShortCall) {
    longWords.resize(static_cast<size_t>(objc) + 1);
    argv = longWords.data();
  }
  argv[0] = "modelr";
  for (int i = 1; i < objc; ++i) argv[i] = Tcl_GetString(objv[i]);
  argv[objc] = nullptr;
  const std::string wrongWord = strictWordRefusal(x, objc, argv);
  if (!wrongWord.empty()) {
    // The error procedure hears of it as it would from modelr.
    hostCommandBegins(x.ws);
    reportError(x.ws, wrongWord.c_str());
    hostCommandEnds(x.ws);
    raiseRefusal(interp, argv[1], wrongWord);
    return TCL_ERROR;
  }
  // A strict call made from a callback of another keeps the outer one's
  // records apart.
  std::vector<std::string> outerReports, outerStatuses;
  outerReports.swap(x.reports);
  outerStatuses.swap(x.statuses);
  x.ws.lastPolygonId = 0;
  const int code = runModelrCommand(x, objc, argv, true);
  std::vector<std::string> reports, statuses;
  reports.swap(x.reports);
  statuses.swap(x.statuses);
  x.reports.swap(outerReports);
  x.statuses.swap(outerStatuses);
  if (code != TCL_OK) return code;
  return strictOutcome(x, argv[1], objc > 2 ? argv[2] : "", reports, statuses);
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
  Tcl_CreateObjCommand(interp, "::modelr::strict::call", strictCommand, x, nullptr);
  // The view finds its parent widgets through Tk, when Tk is there.
  workspaceInit(&x->ws, x, x, hasTk ? interp : nullptr);
  Tcl_CallWhenDeleted(interp, interpreterDeleted, x);
  Tcl_CreateExitHandler(processExits, x);
  Tcl_PkgProvide(interp, "modelr", MODELR_VERSION);
  return TCL_OK;
}
