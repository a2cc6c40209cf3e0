// Script procedures that the user interface registers with
// "modelr callback <type> <proc>": one name per type.
#pragma once

enum CallbackType {
  kCallbackError,
  kCallbackKeyboard,
  kCallbackMouse,
  kCallbackJoystick,
  kCallbackSimulate,
  kCallbackStatus,
  kCallbackTypes,
};

// The registered procedure name, or null when none is.
const char* callbackProcedure(CallbackType type);
// Replaces the name; null clears the slot.
void setCallbackProcedure(CallbackType type, const char* procedure);
void clearCallbacks();

// modelr callback <type> <proc>
void callbackCommand(char** words);
