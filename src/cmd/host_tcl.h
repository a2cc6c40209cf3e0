// Binding the extension to an interpreter. Only the extension entry and the
// platform view need Tcl's and Tk's headers; everything else uses host.h.
#pragma once

#include <tcl.h>

// Clears the host state, remembers the interpreter and binds the Tcl stubs
// (8.4 or later) and, when the Tk package is present, the Tk stubs. On
// failure the interpreter result says why and false is returned.
bool hostBind(Tcl_Interp* interp);
Tcl_Interp* hostInterp();
// Whether Tk is loaded in the interpreter (its stubs are bound).
bool hostHasTk();

extern "C" {
// For an embedding program that made its own interpreter (see embed.h).
__attribute__((visibility("default"))) int Modelr_BindInterp(Tcl_Interp* interp);
}
