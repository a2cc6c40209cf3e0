// The strict scripting face: a refusal of the modelr command becomes a Tcl
// error (see strict.cpp and the modelr::strict package).
#pragma once

#include <tcl.h>

#include <string>
#include <vector>

struct Extension;

// After a modelr command run for the strict face: TCL_ERROR with the first
// refusal as the message and -errorcode {MODELR <family> <reason>} when
// the error procedure was sent anything (`reports`), the result is a
// refusal text ("modelr: ...") or a status line says a file failed
// (`statuses`: "could not find: ...", "Load failed"); else TCL_OK with the
// result as it is, or, for an add that made a polygon and answered
// nothing, its number.
// The refusal of words the modelr command would skip: a first word that is
// no family ("modelr: unknown command: %s") or, for a family with
// subcommands, a second word that is none of them ("modelr: unknown %s
// attribute: %s"); "" when the words are fine.
std::string strictWordRefusal(Extension& x, int argc, const char* const argv[]);

// Sets the refusal as the interpreter's error, with its -errorcode.
void raiseRefusal(Tcl_Interp* interp, const char* family, const std::string& refusal);

int strictOutcome(Extension& x, const char* family, const std::vector<std::string>& reports,
                  const std::vector<std::string>& statuses);
