#include "cmd/callbacks.h"

#include <cstdlib>
#include <cstring>

#include "cmd/host.h"
#include "cmd/subcommands.h"
#include "cmd/values.h"

namespace {

char* g_procedures[kCallbackTypes];

void registerFrom(char** words, CallbackType type) {
  const char* procedure = nullptr;
  if (!parseString(&procedure, words[1])) {
    reportError("modelr: usage: modelr callback <type> <proc>");
    return;
  }
  // The joystick is never polled; "none" just empties its slot.
  if (type == kCallbackJoystick && std::strcmp(procedure, "none") == 0) {
    procedure = nullptr;
  }
  setCallbackProcedure(type, procedure);
  // Errors from every part of the program go to the same procedure.
  if (type == kCallbackError) hostSetErrorReporter(procedure);
}

void onError(char** w) { registerFrom(w, kCallbackError); }
void onKeyboard(char** w) { registerFrom(w, kCallbackKeyboard); }
void onMouse(char** w) { registerFrom(w, kCallbackMouse); }
void onJoystick(char** w) { registerFrom(w, kCallbackJoystick); }
void onSimulate(char** w) { registerFrom(w, kCallbackSimulate); }
void onStatus(char** w) { registerFrom(w, kCallbackStatus); }

const SubCommand kCallbackWords[] = {
    {"error", onError},       {"keyboard", onKeyboard},
    {"mouse", onMouse},       {"joystick", onJoystick},
    {"simulate", onSimulate}, {"status", onStatus},
};

}  // namespace

const char* callbackProcedure(CallbackType type) {
  return g_procedures[type];
}

void setCallbackProcedure(CallbackType type, const char* procedure) {
  std::free(g_procedures[type]);
  g_procedures[type] = procedure ? strdup(procedure) : nullptr;
}

void clearCallbacks() {
  for (int i = 0; i < kCallbackTypes; ++i) {
    setCallbackProcedure(static_cast<CallbackType>(i), nullptr);
  }
}

void callbackCommand(char** words) {
  runSubCommand(words, kCallbackWords, "attribute");
}
