// modelr callback <type> <proc>: the script procedures that the user
// interface registers, one name per type, kept in the workspace.
#include <cstring>

#include "cmd/families.h"
#include "cmd/host.h"
#include "cmd/host_tcl.h"
#include "cmd/subcommands.h"
#include "cmd/values.h"

namespace {

void registerFrom(Workspace& ws, char** words, CallbackType type) {
  const char* procedure = nullptr;
  if (!wordsRead(ws, parseString(&procedure, words[1]),
                 "modelr: usage: modelr callback <type> <proc>"))
    return;
  // The joystick is never polled; "none" just empties its slot.
  if (type == kCallbackJoystick && std::strcmp(procedure, "none") == 0) {
    procedure = "";
  }
  ws.callbacks[type] = procedure;
  // Errors from every part of the program go to the same procedure.
  if (type == kCallbackError) extensionOf(ws).errorReporter = procedure;
}

void onError(Workspace& ws, char** w) { registerFrom(ws, w, kCallbackError); }
void onKeyboard(Workspace& ws, char** w) { registerFrom(ws, w, kCallbackKeyboard); }
void onMouse(Workspace& ws, char** w) { registerFrom(ws, w, kCallbackMouse); }
void onJoystick(Workspace& ws, char** w) { registerFrom(ws, w, kCallbackJoystick); }
void onSimulate(Workspace& ws, char** w) { registerFrom(ws, w, kCallbackSimulate); }
void onStatus(Workspace& ws, char** w) { registerFrom(ws, w, kCallbackStatus); }

const SubCommand kCallbackWords[] = {
    {"error", onError},       {"keyboard", onKeyboard},
    {"mouse", onMouse},       {"joystick", onJoystick},
    {"simulate", onSimulate}, {"status", onStatus},
};

}  // namespace

void callbackCommand(Workspace& ws, char** words) {
  runSubCommand(ws, words, kCallbackWords, "attribute");
}
