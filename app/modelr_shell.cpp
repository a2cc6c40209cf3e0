// modelr_shell: an interpreter of its own with the extension loaded.
//   modelr_shell script.tcl [args...]
// runs the script and then, when Tk is up, the event loop until the last
// window closes. The script sees its arguments in ::argv and ::argc.
#include <tcl.h>

#include <cstdio>

#include "cmd/embed.h"

extern "C" int Modelr_Init(Tcl_Interp* interp);

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s script.tcl [args...]\n", argv[0]);
    return 2;
  }
  Tcl_Interp* interp = modelrCreateInterpreter(argv[0]);
  if (Modelr_Init(interp) != TCL_OK) {
    std::fprintf(stderr, "modelr: %s\n", Tcl_GetStringResult(interp));
    return 1;
  }
  Tcl_Obj* args = Tcl_NewListObj(0, nullptr);
  for (int i = 2; i < argc; ++i) {
    Tcl_ListObjAppendElement(interp, args, Tcl_NewStringObj(argv[i], -1));
  }
  Tcl_SetVar2Ex(interp, "argv", nullptr, args, TCL_GLOBAL_ONLY);
  Tcl_SetVar2Ex(interp, "argc", nullptr, Tcl_NewIntObj(argc - 2), TCL_GLOBAL_ONLY);
  Tcl_SetVar(interp, "argv0", argv[1], TCL_GLOBAL_ONLY);

  int status = Tcl_EvalFile(interp, argv[1]);
  if (status != TCL_OK) {
    std::fprintf(stderr, "%s\n",
                 Tcl_GetVar(interp, "errorInfo", TCL_GLOBAL_ONLY));
    return 1;
  }
  if (Tcl_PkgPresent(interp, "Tk", nullptr, 0) != nullptr) {
    Tcl_Eval(interp, "if {[winfo exists .]} {tkwait window .}");
  }
  Tcl_Eval(interp, "exit 0");
  return 0;
}
