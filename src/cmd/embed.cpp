// Linked against the real Tcl and Tk libraries, not their stubs: before an
// interpreter exists there is no stubs table to go through.
#include "cmd/embed.h"

#include <tk.h>

#include <cstdlib>
#include <string>

#include "cmd/host_tcl.h"

namespace {

std::string libraryDirectory(const char* variable, const char* fallback) {
  const char* value = std::getenv(variable);
  return value && value[0] ? value : fallback;
}

}  // namespace

Tcl_Interp* modelrCreateInterpreter(const char* argv0) {
  std::string tclLibrary = libraryDirectory("TCL_LIBRARY", MODELR_TCL_LIBRARY);
  std::string tkLibrary = libraryDirectory("TK_LIBRARY", MODELR_TK_LIBRARY);
  setenv("TCL_LIBRARY", tclLibrary.c_str(), 1);
  setenv("TK_LIBRARY", tkLibrary.c_str(), 1);

  Tcl_FindExecutable(argv0);
  Tcl_Interp* interp = Tcl_CreateInterp();
  Tcl_SetVar(interp, "argv", "", TCL_GLOBAL_ONLY);
  Tcl_SetVar(interp, "argc", "0", TCL_GLOBAL_ONLY);
  Tcl_SetVar(interp, "argv0", argv0 ? argv0 : "", TCL_GLOBAL_ONLY);
  Tcl_SetVar(interp, "tcl_interactive", "0", TCL_GLOBAL_ONLY);
  Tcl_SetVar(interp, "tcl_library", tclLibrary.c_str(), TCL_GLOBAL_ONLY);
  Tcl_SetVar(interp, "tcl_libPath", tclLibrary.c_str(), TCL_GLOBAL_ONLY);
  Tcl_SetVar(interp, "tk_library", tkLibrary.c_str(), TCL_GLOBAL_ONLY);
  Tcl_SetVar2(interp, "env", "TCL_LIBRARY", tclLibrary.c_str(), TCL_GLOBAL_ONLY);
  Tcl_SetVar2(interp, "env", "TK_LIBRARY", tkLibrary.c_str(), TCL_GLOBAL_ONLY);

  if (Tcl_Init(interp) == TCL_OK) {
    Tcl_Eval(interp, "set dir $tcl_library;source $dir/tclIndex;unset dir");
  }
  // Tk needs a display; without one the interpreter carries on without it.
  if (Tk_Init(interp) == TCL_OK) {
    Tcl_StaticPackage(interp, "Tk", Tk_Init, Tk_SafeInit);
    Tcl_Eval(interp, "set dir $tk_library;source $dir/tclIndex;unset dir");
    Modelr_BindInterp(interp);
  }
  Tcl_ResetResult(interp);
  return interp;
}
