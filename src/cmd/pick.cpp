// modelr pick <what> <x> <y> [<axis>]: what lies under a window position
// (origin top left). Numbers come back as one decimal integer, 0 for no
// hit (-1 for the origin marker of pick point); joints and layers by name,
// nothing for no hit. Picking changes nothing in the document.
#include <cstdio>
#include <cstring>

#include "workspace/workspace.h"
#include "cmd/families.h"
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

template <PickKind kind, const char* usage>
void pickWords(Workspace& ws, char** words) {
  int32_t x = 0, y = 0;
  if (!wordsRead(ws, readPosition(words, &x, &y), usage)) return;
  int32_t axis = 0;
  if (kind == PickKind::kArc) {
    if (!wordsRead(ws, words[3] != nullptr, usage)) return;
    axis = displayAxisCode(words[3]);
  }
  PickAnswer picked;
  pickInView(ws, kind, x, y, axis, &picked);
  answer(ws, kind, picked);
}

constexpr char kPointUsage[] = "modelr: usage: modelr pick point <x> <y>";
constexpr char kTriangleUsage[] = "modelr: usage: modelr pick triangle <x> <y>";
constexpr char kJointUsage[] = "modelr: usage: modelr pick joint <x> <y>";
constexpr char kLayerUsage[] = "modelr: usage: modelr pick layer <x> <y>";
constexpr char kChildUsage[] = "modelr: usage: modelr pick child <x> <y>";
constexpr char kCollideUsage[] = "modelr: usage: modelr pick collide <x> <y>";
constexpr char kModelUsage[] = "modelr: usage: modelr pick model <x> <y>";
constexpr char kCursorUsage[] = "modelr: usage: modelr pick cursor <x> <y>";
constexpr char kArcUsage[] = "modelr: usage: modelr pick arc <x> <y> <axis>";

const SubCommand kPickWords[] = {
    {"point", pickWords<PickKind::kPoint, kPointUsage>},
    {"triangle", pickWords<PickKind::kTriangle, kTriangleUsage>},
    // Lines share the triangle picker's usage text.
    {"line", pickWords<PickKind::kLine, kTriangleUsage>},
    {"joint", pickWords<PickKind::kJoint, kJointUsage>},
    {"layer", pickWords<PickKind::kLayer, kLayerUsage>},
    {"child", pickWords<PickKind::kChild, kChildUsage>},
    {"collide", pickWords<PickKind::kCollide, kCollideUsage>},
    {"model", pickWords<PickKind::kModel, kModelUsage>},
    {"cursor", pickWords<PickKind::kCursor, kCursorUsage>},
    {"arc", pickWords<PickKind::kArc, kArcUsage>},
};

// toggle uses the pick usage texts: the model one for child.
template <PickKind kind, const char* usage>
void toggleWords(Workspace& ws, char** words) {
  int32_t x = 0, y = 0;
  if (!wordsRead(ws, readPosition(words, &x, &y), usage)) return;
  PickAnswer picked;
  toggleInView(ws, kind, x, y, &picked);
  answer(ws, kind, picked);
}

const SubCommand kToggleWords[] = {
    {"child", toggleWords<PickKind::kChild, kModelUsage>},
    {"point", toggleWords<PickKind::kPoint, kPointUsage>},
};

}  // namespace

void pickCommand(Workspace& ws, char** words) {
  runSubCommand(ws, words, kPickWords, "attribute");
}

// modelr toggle child|point <x> <y>: the picked id, 0 for none; the picked
// item's selection flips.
void toggleCommand(Workspace& ws, char** words) {
  runSubCommand(ws, words, kToggleWords, "attribute");
}
