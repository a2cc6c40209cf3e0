// The modelr command: event draining and the choice of a family by the
// first recognised keyword.
#pragma once

#include "cmd/words.h"

struct Workspace;

// Finds the family of the first recognised word and runs it. Leading words
// that name no family are skipped; when none is found,
// "modelr: unknown command: %s" names the last word examined.
void dispatchCommand(Workspace& ws, CommandWords* list);
