// For a program that embeds the interpreter instead of being loaded by one:
// builds and sets up an interpreter with Tcl and, when a display is there,
// Tk, and binds the extension's host glue to it.
#pragma once

#include <tcl.h>

// Steps, in order: TCL_LIBRARY and TK_LIBRARY into the environment (kept
// when already set; else this installation's script directories); the
// executable's name to Tcl; a new interpreter; the globals argv "", argc 0,
// argv0, tcl_interactive 0, tcl_library, tcl_libPath, tk_library and
// env(TCL_LIBRARY), env(TK_LIBRARY); Tcl's initialisation and its tclIndex;
// Tk's initialisation, Tk as a static package, its tclIndex; the binding.
// Returns the interpreter (never null).
Tcl_Interp* modelrCreateInterpreter(const char* argv0);
