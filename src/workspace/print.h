// Printing the view through the system's print service.
#pragma once

#include <string>

struct Workspace;

// Sends the view's viewport to the default printer. "" when the job was
// queued, else why not: "no view window", "the view cannot be read",
// "cannot write a temporary file", "no print system (lp not found)", "no
// printer configured", or the first line of what lp said (without the
// characters a script would substitute).
std::string printView(Workspace& ws);
