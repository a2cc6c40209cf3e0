// The strict face: a refusal of the modelr command becomes a Tcl error
// (see the modelr::strict package).
#pragma once

#include <tcl.h>

#include <string>
#include <vector>

struct Extension;

// The refusal of words the modelr command would skip: a first word that is
// no family ("modelr: unknown command: %s") or, for a family with
// subcommands, a second word that is none of them ("modelr: unknown %s
// attribute: %s"); "" when the words are fine.
std::string strictWordRefusal(Extension& x, int argc, const char* const argv[]);

// Sets the refusal as the interpreter's error, with its -errorcode.
void raiseRefusal(Tcl_Interp* interp, const char* family, const std::string& refusal);

// After a modelr command run for the strict face: TCL_ERROR with the first
// refusal as the message and -errorcode {MODELR <family> <reason>} when
// the error procedure was sent anything (`reports`), a status line says a
// load or save failed (`statuses`: "could not find: ...", "Load failed"),
// the result is a refusal text ("modelr: ...") or a file save or export
// (`word` is the subcommand) answered 0; else TCL_OK with the result as it
// is, or, for an add that made a polygon and answered nothing, its number.
int strictOutcome(Extension& x, const char* family, const char* word,
                  const std::vector<std::string>& reports,
                  const std::vector<std::string>& statuses);
