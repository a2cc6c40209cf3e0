// modelr pick <what> <x> <y> [<axis>]: what lies under a window position
// (origin top left). Numbers come back as one decimal integer, 0 for no
// hit (-1 for the origin marker of pick point); joints and layers by name,
// nothing for no hit. Picking changes nothing in the document.
#include <cstdio>
#include <cstring>

#include "workspace/workspace.h"
#include "cmd/families.h"
#include "cmd/help.h"
#include "cmd/host.h"
#include "cmd/subcommands.h"
#include "cmd/values.h"
#include "view/display_flags.h"
#include "workspace/picking.h"

namespace {

// The window position after the keyword; false when either is missing or
// not an integer.
bool readPosition(char** words, int32_t* x, int32_t* y) {
  return words[1] != nullptr && words[2] != nullptr && parseInt(x, words[1]) &&
         parseInt(y, words[2]);
}

void answer(Workspace& ws, PickKind kind, const PickAnswer& picked) {
  if (kind == PickKind::kJoint || kind == PickKind::kLayer) {
    if (picked.hit) setResult(ws, picked.name);
    return;
  }
  char text[16];
  std::snprintf(text, sizeof text, "%d", picked.hit ? static_cast<int32_t>(picked.number) : 0);
  setResult(ws, text);
}

// A picker's keyword, what it picks and its usage text.
struct Picker {
  const char* keyword;
  PickKind kind;
  const char* usage;
};

const Picker kPickers[] = {
    {"point", PickKind::kPoint, "modelr: usage: modelr pick point <x> <y>"},
    {"triangle", PickKind::kTriangle, "modelr: usage: modelr pick triangle <x> <y>"},
    // Lines share the triangle picker's usage text.
    {"line", PickKind::kLine, "modelr: usage: modelr pick triangle <x> <y>"},
    {"joint", PickKind::kJoint, "modelr: usage: modelr pick joint <x> <y>"},
    {"layer", PickKind::kLayer, "modelr: usage: modelr pick layer <x> <y>"},
    {"child", PickKind::kChild, "modelr: usage: modelr pick child <x> <y>"},
    {"collide", PickKind::kCollide, "modelr: usage: modelr pick collide <x> <y>"},
    {"model", PickKind::kModel, "modelr: usage: modelr pick model <x> <y>"},
    {"cursor", PickKind::kCursor, "modelr: usage: modelr pick cursor <x> <y>"},
    {"arc", PickKind::kArc, "modelr: usage: modelr pick arc <x> <y> <axis>"},
};

// toggle answers with the pick usage texts, the model one for child.
const Picker kTogglers[] = {
    {"child", PickKind::kChild, "modelr: usage: modelr pick model <x> <y>"},
    {"point", PickKind::kPoint, "modelr: usage: modelr pick point <x> <y>"},
};

void pickWords(Workspace& ws, char** words, const Picker& picker, bool toggle) {
  int32_t x = 0, y = 0;
  if (!wordsRead(ws, readPosition(words, &x, &y), picker.usage)) return;
  int32_t axis = 0;
  if (picker.kind == PickKind::kArc) {
    if (!wordsRead(ws, words[3] != nullptr, picker.usage)) return;
    axis = displayAxisCode(words[3]);
  }
  PickAnswer picked;
  if (toggle)
    toggleInView(ws, picker.kind, x, y, &picked);
  else
    pickInView(ws, picker.kind, x, y, axis, &picked);
  answer(ws, picker.kind, picked);
}

// The families' skip loop over a table of pickers.
template <size_t N>
void runPicker(Workspace& ws, char** words, const Picker (&table)[N], bool toggle) {
  for (char** w = words + 1; *w != nullptr; ++w) {
    if (const Picker* picker = findKeyword(table, *w)) {
      pickWords(ws, w, *picker, toggle);
      return;
    }
  }
  reportUnknownWord(ws, words, "attribute");
}

}  // namespace

void pickCommand(Workspace& ws, char** words) { runPicker(ws, words, kPickers, false); }

// modelr toggle child|point <x> <y>: the picked id, 0 for none; the picked
// item's selection flips.
void toggleCommand(Workspace& ws, char** words) { runPicker(ws, words, kTogglers, true); }

void pickHelp(HelpRows* rows) { listKeywords(kPickers, "pick", rows); }
void toggleHelp(HelpRows* rows) { listKeywords(kTogglers, "toggle", rows); }
