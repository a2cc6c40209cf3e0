// modelr move, modelr rotate and modelr scale: change one named item of the
// current model (or the view's 3D cursor) relative to where it is. Angles
// are degrees, turned about x, then y, then z; rotations and scalings with
// a centre act about it. Refusals of the document are reported as
// "modelr: <reason>" and leave the item as it was.
#include <cstring>

#include "workspace/workspace.h"
#include "cmd/families.h"
#include "cmd/help.h"
#include "cmd/host.h"
#include "cmd/subcommands.h"
#include "cmd/values.h"
#include "model/last_error.h"
#include "model/transform.h"

namespace {

// Refusals of the document carry its reason.
void finish(Workspace& ws, bool ok) {
  if (ok) return;
  const char* reason = lastErrorText();
  reportErrorf(ws, "modelr: %s", reason != nullptr ? reason : "failed");
}

// The forms on a table entry read <name> <n> and `count` numbers: the layer
// (normal, surface, color) or the joint (weight), then the entry's number.
bool readEntry(Workspace& ws, char** words, const char* usage, int count, Entry* entry) {
  return wordsRead(ws, readEntry(words, count, entry), usage);
}

// ---- move -------------------------------------------------------------------

// move point, child, collide and joint: <item> <x> <y> <z>.
template <class Key>
void moveItem(Workspace& ws, char** words, const char* usage,
              bool (*operation)(Model*, Key, const float*)) {
  char** w = words + 1;
  Key key{};
  float offset[3];
  if (!wordsRead(ws, nextKey(w, &key) && nextFloats(w, offset, 3), usage)) return;
  lastErrorClear();
  finish(ws, operation(currentModel(ws), key, offset));
}

void movePointWords(Workspace& ws, char** words) {
  moveItem(ws, words, "modelr: usage: modelr move point <n> <x> <y> <z>", movePoint);
}

void moveJointWords(Workspace& ws, char** words) {
  moveItem(ws, words, "modelr: usage: modelr move joint <name> <x> <y> <z>", moveJoint);
}

void moveChildWords(Workspace& ws, char** words) {
  moveItem(ws, words, "modelr: usage: modelr move child <id> <x> <y> <z>", movePlaced<Child>);
}

void moveCollideWords(Workspace& ws, char** words) {
  moveItem(ws, words, "modelr: usage: modelr move collide <id> <x> <y> <z>", movePlaced<CollideObject>);
}

// move and rotate of normals and surface directions read the same words;
// directions turn without a centre.
void vectorWords(Workspace& ws, char** words, bool surface, bool turn) {
  static const char* const kUsage[2][2] = {
      {"modelr: usage: modelr move normal <layer_name> <n> <x> <y> <z>",
       "modelr: usage: modelr move surface <layer_name> <n> <x> <y> <z>"},
      {"modelr: usage: modelr rotate normal <layer_name> <n> <x> <y> <z>",
       "modelr: usage: modelr rotate surface <layer_name> <n> <x> <y> <z>"}};
  Entry entry;
  if (!readEntry(ws, words, kUsage[turn][surface], 3, &entry)) return;
  lastErrorClear();
  Model* model = currentModel(ws);
  if (!turn) {
    finish(ws, moveVector(model, entry.name, entry.number, entry.values, surface));
    return;
  }
  float rotation[9];
  turnFromAngles(entry.values, rotation);
  finish(ws, rotateVector(model, entry.name, entry.number, rotation, surface));
}

void moveNormalWords(Workspace& ws, char** words) { vectorWords(ws, words, false, false); }
void moveSurfaceWords(Workspace& ws, char** words) { vectorWords(ws, words, true, false); }

void moveColorWords(Workspace& ws, char** words) {
  Entry entry;
  if (!readEntry(ws, words, "modelr: usage: modelr move color <layer_name> <n> <r> <g> <b> <a>",
                 4, &entry)) {
    return;
  }
  lastErrorClear();
  finish(ws, moveColour(currentModel(ws), entry.name, entry.number, entry.values));
}

void moveWeightWords(Workspace& ws, char** words) {
  Entry entry;
  if (!readEntry(ws, words, "modelr: usage: modelr move weight <name> <n> <w>", 1, &entry)) return;
  lastErrorClear();
  finish(ws, moveWeight(currentModel(ws), entry.name, entry.number, entry.values[0]));
}

// The only form that needs no model: the cursor belongs to the view.
void moveCursorWords(Workspace& ws, char** words) {
  float offset[3];
  if (!wordsRead(ws, readFloats(words + 1, offset, 3),
                 "modelr: usage: modelr move cursor <x> <y> <z>")) {
    return;
  }
  float* cursor = ws.view.camera.cursor;
  const float moved[3] = {cursor[0] + offset[0], cursor[1] + offset[1],
                          cursor[2] + offset[2]};
  if (!allFinite(moved, 3)) {
    reportError(ws, "modelr: result out of range");
    return;
  }
  std::memcpy(cursor, moved, sizeof moved);
}

const SubCommand kMoveWords[] = {
    {"point", movePointWords},
    {"normal", moveNormalWords},
    {"surface", moveSurfaceWords},
    {"color", moveColorWords},
    {"joint", moveJointWords},
    {"weight", moveWeightWords},
    {"cursor", moveCursorWords},
    {"child", moveChildWords},
    {"collide", moveCollideWords},
};

// ---- rotate and scale -------------------------------------------------------

// The forms with a centre read <item> <x> <y> <z> <cx> <cy> <cz>: angles,
// which become the turn's matrix, or factors. Scalings of children and
// collides (the operations that take a Flag) also read [explicit]; any
// other word after the centre is ignored, as unrecognised words are
// elsewhere.
template <class Key, class... Flag>
void aboutCentre(Workspace& ws, char** words, const char* usage, bool turn,
                 bool (*operation)(Model*, Key, const float*, const float*, Flag...)) {
  char** w = words + 1;
  Key key{};
  float xyz[3], centre[3], rotation[9];
  if (!wordsRead(ws, nextKey(w, &key) && nextFloats(w, xyz, 3) && nextFloats(w, centre, 3),
                 usage)) {
    return;
  }
  if (turn) turnFromAngles(xyz, rotation);
  [[maybe_unused]] const bool explicitSize = *w != nullptr && std::strcmp(*w, "explicit") == 0;
  lastErrorClear();
  finish(ws, operation(currentModel(ws), key, turn ? rotation : xyz, centre,
                       Flag(explicitSize)...));
}

// The rows of rotate and scale: their usage texts, and the form each
// instantiates.
constexpr char kRotatePoint[] = "modelr: usage: modelr rotate point <n> <x> <y> <z> <cx> <cy> <cz>";
constexpr char kRotateChild[] = "modelr: usage: modelr rotate child <id> <x> <y> <z> <cx> <cy> <cz>";
constexpr char kRotateCollide[] = "modelr: usage: modelr rotate collide <id> <x> <y> <z> <cx> <cy> <cz>";
constexpr char kRotateJoint[] = "modelr: usage: modelr rotate joint <name> <x> <y> <z> <cx> <cy> <cz>";
constexpr char kScalePoint[] = "modelr: usage: modelr scale point <n> <x> <y> <z> <cx> <cy> <cz>";
constexpr char kScaleJoint[] = "modelr: usage: modelr scale joint <name> <x> <y> <z> <cx> <cy> <cz>";
constexpr char kScaleChild[] = "modelr: usage: modelr scale child <id> <x> <y> <z> <cx> <cy> <cz> [explicit]";
constexpr char kScaleCollide[] = "modelr: usage: modelr scale collide <id> <x> <y> <z> <cx> <cy> <cz> [explicit]";

template <const char* usage, bool turn, auto operation>
void aboutCentreWords(Workspace& ws, char** words) {
  aboutCentre(ws, words, usage, turn, operation);
}

void rotateNormalWords(Workspace& ws, char** words) { vectorWords(ws, words, false, true); }
void rotateSurfaceWords(Workspace& ws, char** words) { vectorWords(ws, words, true, true); }

const SubCommand kRotateWords[] = {
    {"point", aboutCentreWords<kRotatePoint, true, rotatePoint>},
    {"normal", rotateNormalWords},
    {"surface", rotateSurfaceWords},
    {"joint", aboutCentreWords<kRotateJoint, true, rotateJoint>},
    {"child", aboutCentreWords<kRotateChild, true, rotatePlaced<Child>>},
    {"collide", aboutCentreWords<kRotateCollide, true, rotatePlaced<CollideObject>>},
};

const SubCommand kScaleWords[] = {
    {"point", aboutCentreWords<kScalePoint, false, scalePoint>},
    {"joint", aboutCentreWords<kScaleJoint, false, scaleJoint>},
    {"child", aboutCentreWords<kScaleChild, false, scalePlaced<Child>>},
    {"collide", aboutCentreWords<kScaleCollide, false, scalePlaced<CollideObject>>},
};

}  // namespace

// Every form but move cursor needs a model; without one the command is
// refused before any argument is read.
void moveCommand(Workspace& ws, char** words) {
  char** at = nullptr;
  const SubCommand* row = findSubCommand(words, kMoveWords, &at);
  if ((row == nullptr || row->handler != moveCursorWords) && selectedModel(ws) == nullptr) {
    return;
  }
  if (row == nullptr) {
    reportUnknownWord(ws, words, "attribute");
    return;
  }
  runRow(ws, *row, at);
}

void rotateCommand(Workspace& ws, char** words) {
  if (selectedModel(ws) == nullptr) return;
  runSubCommand(ws, words, kRotateWords, "attribute");
}

void scaleCommand(Workspace& ws, char** words) {
  if (selectedModel(ws) == nullptr) return;
  runSubCommand(ws, words, kScaleWords, "attribute");
}

void moveHelp(HelpRows* rows) { listKeywords(kMoveWords, "move", rows); }
void rotateHelp(HelpRows* rows) { listKeywords(kRotateWords, "rotate", rows); }
void scaleHelp(HelpRows* rows) { listKeywords(kScaleWords, "scale", rows); }
