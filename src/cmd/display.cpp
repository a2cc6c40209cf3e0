// modelr display ...: reads and sets the display switches the renderer
// consults every frame. Answers, usage texts and the unknown-word text are
// all the command's result; nothing is redrawn until the script asks.
#include <cstdio>
#include <cstring>
#include <string>

#include "workspace/workspace.h"
#include "cmd/families.h"
#include "cmd/help.h"
#include "cmd/host.h"
#include "cmd/subcommands.h"
#include "cmd/values.h"
#include "view/display_flags.h"

namespace {

DisplayFlags* flags(Workspace& ws) { return &ws.view.render.display; }

// The usage text of a switch names it.
void switchUsage(Workspace& ws, const char* name) {
  setResult(ws, ("modelr: usage: modelr display " + std::string(name) + " <on>").c_str());
}

// display <switch> [<on>]: "on"/"off" without a value; a value that is not
// a boolean leaves the switch as it was.
void displaySwitchWord(Workspace& ws, int32_t* field, char** words) {
  if (words[1] == nullptr) {
    setResult(ws, *field != 0 ? "on" : "off");
    return;
  }
  int32_t value = 0;
  if (!parseBool(&value, words[1])) {
    switchUsage(ws, words[0]);
    return;
  }
  *field = value != 0 ? 1 : 0;
}

// display lod [<n>]
void displayLod(Workspace& ws, char** words) {
  if (words[1] == nullptr) {
    char text[16];
    std::snprintf(text, sizeof text, "%d", flags(ws)->lod);
    setResult(ws, text);
    return;
  }
  int32_t level = 0;
  if (!parseInt(&level, words[1])) {
    setResult(ws, "modelr: usage: modelr display lod <n>");
    return;
  }
  flags(ws)->lod = level;
}

// display arc <axis> <angle> <value>: all three or nothing.
void displayArc(Workspace& ws, char** words) {
  const char* axis = nullptr;
  int32_t angle = 0;
  int32_t value = 0;
  if (!parseString(&axis, words[1]) || !parseInt(&angle, words[2]) ||
      !parseInt(&value, words[3])) {
    setResult(ws, "modelr: usage: modelr display arc <axis> <angle> <value>");
    return;
  }
  flags(ws)->arcAxis = displayAxisCode(axis);
  flags(ws)->arcAngle = angle;
  flags(ws)->arcValue = value;
}

// display mover <axis> <value>
void displayMover(Workspace& ws, char** words) {
  const char* axis = nullptr;
  int32_t value = 0;
  if (!parseString(&axis, words[1]) || !parseInt(&value, words[2])) {
    setResult(ws, "modelr: usage: modelr display mover <axis> <value>");
    return;
  }
  flags(ws)->moverAxis = displayAxisCode(axis);
  flags(ws)->moverValue = value;
}

// display scaler <x> <y> <z>
void displayScaler(Workspace& ws, char** words) {
  float scaler[3];
  for (int i = 0; i < 3; ++i) {
    if (!parseFloat(&scaler[i], words[1 + i])) {
      setResult(ws, "modelr: usage: modelr display scaler <x> <y> <z>");
      return;
    }
  }
  std::memcpy(flags(ws)->scaler, scaler, sizeof scaler);
}

const SubCommand kSettingWords[] = {
    {"lod", displayLod},
    {"arc", displayArc},
    {"mover", displayMover},
    {"scaler", displayScaler},
};

}  // namespace

void displayCommand(Workspace& ws, char** words) {
  // An unknown word is skipped and the next one tried.
  for (char** w = words + 1; *w != nullptr; ++w) {
    if (int32_t* field = displaySwitch(flags(ws), *w)) {
      displaySwitchWord(ws, field, w);
      return;
    }
    if (const SubCommand* setting = findKeyword(kSettingWords, *w)) {
      setting->handler(ws, w);
      return;
    }
  }
  std::string text = "modelr: unknown display attribute: ";
  text += lastWordTried(words);
  setResult(ws, text.c_str());
}

// Every switch, then the numeric settings.
void displayHelp(HelpRows* rows) {
  for (int i = 0; i < displaySwitchCount(); ++i) {
    const std::string name = displaySwitchName(i);
    rows->push_back({name, "modelr: usage: modelr display " + name + " <on>"});
  }
  listKeywords(kSettingWords, "display", rows);
}
