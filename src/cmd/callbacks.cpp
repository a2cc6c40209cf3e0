// modelr callback <type> <proc>: the script procedures that the user
// interface registers, one name per type, kept in the workspace.
#include <cstring>

#include "cmd/families.h"
#include "cmd/help.h"
#include "cmd/host.h"
#include "cmd/subcommands.h"
#include "cmd/values.h"

namespace {

constexpr char kUsage[] = "modelr: usage: modelr callback <type> <proc>";

void registerFrom(Workspace& ws, char** words, CallbackType type) {
  const char* procedure = nullptr;
  if (!wordsRead(ws, parseString(&procedure, words[1]), kUsage)) return;
  // The joystick is never polled; "none" just empties its slot.
  if (type == kCallbackJoystick && std::strcmp(procedure, "none") == 0) {
    procedure = "";
  }
  // Errors from every part of the program, script errors of callbacks
  // included, go to the error procedure.
  ws.callbacks[type] = procedure;
}

void onError(Workspace& ws, char** w) { registerFrom(ws, w, kCallbackError); }
void onKeyboard(Workspace& ws, char** w) { registerFrom(ws, w, kCallbackKeyboard); }
void onMouse(Workspace& ws, char** w) { registerFrom(ws, w, kCallbackMouse); }
void onJoystick(Workspace& ws, char** w) { registerFrom(ws, w, kCallbackJoystick); }
void onSimulate(Workspace& ws, char** w) { registerFrom(ws, w, kCallbackSimulate); }
void onStatus(Workspace& ws, char** w) { registerFrom(ws, w, kCallbackStatus); }

const SubCommand kCallbackWords[] = {
    {"error", onError, kUsage},
    {"keyboard", onKeyboard, kUsage},
    {"mouse", onMouse, kUsage},
    {"joystick", onJoystick, kUsage},
    {"simulate", onSimulate, kUsage},
    {"status", onStatus, kUsage},
};

}  // namespace

// The type word is the one after "callback", matched exactly; any other
// word there (or none) is named in the refusal.
void callbackCommand(Workspace& ws, char** words) {
  const char* type = words[1] != nullptr ? words[1] : words[0];
  if (const SubCommand* row = findKeyword(kCallbackWords, type)) {
    row->handler(ws, words + 1);
    return;
  }
  reportErrorf(ws, "modelr: unknown callback attribute: %s", type);
}

void callbackHelp(HelpRows* rows) { listKeywords(kCallbackWords, "callback", rows); }
