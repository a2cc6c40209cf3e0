// modelr move, modelr rotate and modelr scale: change one named item of the
// current model (or the view's 3D cursor) relative to where it is. Angles
// are degrees, turned about x, then y, then z; rotations and scalings with
// a centre act about it. Refusals of the document are reported as
// "modelr: <reason>" and leave the item as it was.
#include <cstring>

#include "workspace/workspace.h"
#include "cmd/families.h"
#include "cmd/host.h"
#include "cmd/subcommands.h"
#include "cmd/values.h"
#include "model/last_error.h"
#include "model/transform.h"

namespace {

// Sequential readers: each takes the next word and moves on only when it
// was accepted, so a missing word (the list's null) fails like a bad one.
bool nextInt(char**& word, int32_t* out) {
  if (!parseInt(out, *word)) return false;
  ++word;
  return true;
}

bool nextFloats(char**& word, float* out, int count) {
  for (int i = 0; i < count; ++i) {
    if (!parseFloat(&out[i], *word)) return false;
    ++word;
  }
  return true;
}

bool nextString(char**& word, const char** out) {
  if (!parseString(out, *word)) return false;
  ++word;
  return true;
}

// Runs one document operation with a clean LastError and reports its
// reason when it refuses.
void finish(Workspace& ws, bool ok) {
  if (ok) return;
  const char* reason = lastErrorText();
  reportErrorf(ws, "modelr: %s", reason != nullptr ? reason : "failed");
}

// ---- move -------------------------------------------------------------------

void movePointWords(Workspace& ws, char** words) {
  char** w = words + 1;
  int32_t number = 0;
  float offset[3];
  if (!nextInt(w, &number) || !nextFloats(w, offset, 3)) {
    reportError(ws, "modelr: usage: modelr move point <n> <x> <y> <z>");
    return;
  }
  lastErrorClear();
  finish(ws, movePoint(currentModel(ws), number, offset));
}

// move normal and move surface read the same words.
void moveVectorWords(Workspace& ws, char** words, bool surface) {
  char** w = words + 1;
  const char* layer = nullptr;
  int32_t number = 0;
  float offset[3];
  if (!nextString(w, &layer) || !nextInt(w, &number) ||
      !nextFloats(w, offset, 3)) {
    reportError(ws, surface
                    ? "modelr: usage: modelr move surface <layer_name> <n> "
                      "<x> <y> <z>"
                    : "modelr: usage: modelr move normal <layer_name> <n> "
                      "<x> <y> <z>");
    return;
  }
  lastErrorClear();
  finish(ws, moveVector(currentModel(ws), layer, number, offset, surface));
}

void moveNormalWords(Workspace& ws, char** words) { moveVectorWords(ws, words, false); }
void moveSurfaceWords(Workspace& ws, char** words) { moveVectorWords(ws, words, true); }

void moveColorWords(Workspace& ws, char** words) {
  char** w = words + 1;
  const char* layer = nullptr;
  int32_t number = 0;
  float offset[4];
  if (!nextString(w, &layer) || !nextInt(w, &number) ||
      !nextFloats(w, offset, 4)) {
    reportError(ws, 
        "modelr: usage: modelr move color <layer_name> <n> <r> <g> <b> <a>");
    return;
  }
  lastErrorClear();
  finish(ws, moveColour(currentModel(ws), layer, number, offset));
}

void moveJointWords(Workspace& ws, char** words) {
  char** w = words + 1;
  const char* name = nullptr;
  float offset[3];
  if (!nextString(w, &name) || !nextFloats(w, offset, 3)) {
    reportError(ws, "modelr: usage: modelr move joint <name> <x> <y> <z>");
    return;
  }
  lastErrorClear();
  finish(ws, moveJoint(currentModel(ws), name, offset));
}

void moveWeightWords(Workspace& ws, char** words) {
  char** w = words + 1;
  const char* name = nullptr;
  int32_t point = 0;
  float offset = 0.0f;
  if (!nextString(w, &name) || !nextInt(w, &point) ||
      !nextFloats(w, &offset, 1)) {
    reportError(ws, "modelr: usage: modelr move weight <name> <n> <w>");
    return;
  }
  lastErrorClear();
  finish(ws, moveWeight(currentModel(ws), name, point, offset));
}

// The only form that needs no model: the cursor belongs to the view.
void moveCursorWords(Workspace& ws, char** words) {
  char** w = words + 1;
  float offset[3];
  if (!nextFloats(w, offset, 3)) {
    reportError(ws, "modelr: usage: modelr move cursor <x> <y> <z>");
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

// move child and move collide: <id> <x> <y> <z>.
void moveByIdWords(Workspace& ws, char** words, const char* usage,
                   bool (*operation)(Model*, int32_t, const float*)) {
  char** w = words + 1;
  int32_t id = 0;
  float offset[3];
  if (!nextInt(w, &id) || !nextFloats(w, offset, 3)) {
    reportError(ws, usage);
    return;
  }
  lastErrorClear();
  finish(ws, operation(currentModel(ws), id, offset));
}

void moveChildWords(Workspace& ws, char** words) {
  moveByIdWords(ws, words, "modelr: usage: modelr move child <id> <x> <y> <z>",
                moveChild);
}

void moveCollideWords(Workspace& ws, char** words) {
  moveByIdWords(ws, words, "modelr: usage: modelr move collide <id> <x> <y> <z>",
                moveCollide);
}

const SubCommand kMoveWords[] = {
    {"point", movePointWords},   {"normal", moveNormalWords},
    {"surface", moveSurfaceWords}, {"color", moveColorWords},
    {"joint", moveJointWords},   {"weight", moveWeightWords},
    {"cursor", moveCursorWords}, {"child", moveChildWords},
    {"collide", moveCollideWords},
};

// ---- rotate -----------------------------------------------------------------

// The forms with a centre read <item> <x> <y> <z> <cx> <cy> <cz>, the item
// an integer (point, child, collide) or a name (joint).
struct Turn {
  float rotation[9];
  float centre[3];
};

bool nextTurn(char**& w, Turn* turn) {
  float angles[3];
  if (!nextFloats(w, angles, 3) || !nextFloats(w, turn->centre, 3)) return false;
  turnFromAngles(angles, turn->rotation);
  return true;
}

void rotateByIdWords(Workspace& ws, char** words, const char* usage,
                     bool (*operation)(Model*, int32_t, const float*,
                                       const float*)) {
  char** w = words + 1;
  int32_t id = 0;
  Turn turn;
  if (!nextInt(w, &id) || !nextTurn(w, &turn)) {
    reportError(ws, usage);
    return;
  }
  lastErrorClear();
  finish(ws, operation(currentModel(ws), id, turn.rotation, turn.centre));
}

void rotatePointWords(Workspace& ws, char** words) {
  rotateByIdWords(ws, 
      words,
      "modelr: usage: modelr rotate point <n> <x> <y> <z> <cx> <cy> <cz>",
      rotatePoint);
}

void rotateChildWords(Workspace& ws, char** words) {
  rotateByIdWords(ws, 
      words,
      "modelr: usage: modelr rotate child <id> <x> <y> <z> <cx> <cy> <cz>",
      rotateChild);
}

void rotateCollideWords(Workspace& ws, char** words) {
  rotateByIdWords(ws, 
      words,
      "modelr: usage: modelr rotate collide <id> <x> <y> <z> <cx> <cy> <cz>",
      rotateCollide);
}

void rotateJointWords(Workspace& ws, char** words) {
  char** w = words + 1;
  const char* name = nullptr;
  Turn turn;
  if (!nextString(w, &name) || !nextTurn(w, &turn)) {
    reportError(ws, 
        "modelr: usage: modelr rotate joint <name> <x> <y> <z> <cx> <cy> <cz>");
    return;
  }
  lastErrorClear();
  finish(ws, rotateJoint(currentModel(ws), name, turn.rotation, turn.centre));
}

// Directions turn without a centre.
void rotateVectorWords(Workspace& ws, char** words, bool surface) {
  char** w = words + 1;
  const char* layer = nullptr;
  int32_t number = 0;
  float angles[3];
  if (!nextString(w, &layer) || !nextInt(w, &number) ||
      !nextFloats(w, angles, 3)) {
    reportError(ws, surface
                    ? "modelr: usage: modelr rotate surface <layer_name> <n> "
                      "<x> <y> <z>"
                    : "modelr: usage: modelr rotate normal <layer_name> <n> "
                      "<x> <y> <z>");
    return;
  }
  float rotation[9];
  turnFromAngles(angles, rotation);
  lastErrorClear();
  finish(ws, rotateVector(currentModel(ws), layer, number, rotation, surface));
}

void rotateNormalWords(Workspace& ws, char** words) { rotateVectorWords(ws, words, false); }
void rotateSurfaceWords(Workspace& ws, char** words) { rotateVectorWords(ws, words, true); }

const SubCommand kRotateWords[] = {
    {"point", rotatePointWords},     {"normal", rotateNormalWords},
    {"surface", rotateSurfaceWords}, {"joint", rotateJointWords},
    {"child", rotateChildWords},     {"collide", rotateCollideWords},
};

// ---- scale ------------------------------------------------------------------

// <x> <y> <z> <cx> <cy> <cz>: factors, then the centre.
bool nextScaling(char**& w, float factors[3], float centre[3]) {
  return nextFloats(w, factors, 3) && nextFloats(w, centre, 3);
}

void scalePointWords(Workspace& ws, char** words) {
  char** w = words + 1;
  int32_t number = 0;
  float factors[3], centre[3];
  if (!nextInt(w, &number) || !nextScaling(w, factors, centre)) {
    reportError(ws, 
        "modelr: usage: modelr scale point <n> <x> <y> <z> <cx> <cy> <cz>");
    return;
  }
  lastErrorClear();
  finish(ws, scalePoint(currentModel(ws), number, factors, centre));
}

void scaleJointWords(Workspace& ws, char** words) {
  char** w = words + 1;
  const char* name = nullptr;
  float factors[3], centre[3];
  if (!nextString(w, &name) || !nextScaling(w, factors, centre)) {
    reportError(ws, 
        "modelr: usage: modelr scale joint <name> <x> <y> <z> <cx> <cy> <cz>");
    return;
  }
  lastErrorClear();
  finish(ws, scaleJoint(currentModel(ws), name, factors, centre));
}

// scale child and scale collide; any other word after the centre is
// ignored, as unrecognised words are elsewhere.
void scaleByIdWords(Workspace& ws, char** words, const char* usage,
                    bool (*operation)(Model*, int32_t, const float*,
                                      const float*, bool)) {
  char** w = words + 1;
  int32_t id = 0;
  float factors[3], centre[3];
  if (!nextInt(w, &id) || !nextScaling(w, factors, centre)) {
    reportError(ws, usage);
    return;
  }
  const bool explicitSize = *w != nullptr && std::strcmp(*w, "explicit") == 0;
  lastErrorClear();
  finish(ws, operation(currentModel(ws), id, factors, centre, explicitSize));
}

void scaleChildWords(Workspace& ws, char** words) {
  scaleByIdWords(ws, words,
                 "modelr: usage: modelr scale child <id> <x> <y> <z> <cx> "
                 "<cy> <cz> [explicit]",
                 scaleChild);
}

void scaleCollideWords(Workspace& ws, char** words) {
  scaleByIdWords(ws, words,
                 "modelr: usage: modelr scale collide <id> <x> <y> <z> <cx> "
                 "<cy> <cz> [explicit]",
                 scaleCollide);
}

const SubCommand kScaleWords[] = {
    {"point", scalePointWords},
    {"joint", scaleJointWords},
    {"child", scaleChildWords},
    {"collide", scaleCollideWords},
};

bool modelSelected(Workspace& ws) {
  if (currentModel(ws) != nullptr) return true;
  reportError(ws, "modelr: no model selected!");
  return false;
}

}  // namespace

// Every form but move cursor needs a model; without one the command is
// refused before any argument is read.
void moveCommand(Workspace& ws, char** words) {
  char** at = nullptr;
  const SubCommand* row = findSubCommand(words, kMoveWords, &at);
  if ((row == nullptr || row->handler != moveCursorWords) && !modelSelected(ws)) return;
  if (row == nullptr) {
    reportUnknownWord(ws, words, "attribute");
    return;
  }
  runRow(ws, *row, at);
}

void rotateCommand(Workspace& ws, char** words) {
  if (!modelSelected(ws)) return;
  runSubCommand(ws, words, kRotateWords, "attribute");
}

void scaleCommand(Workspace& ws, char** words) {
  if (!modelSelected(ws)) return;
  runSubCommand(ws, words, kScaleWords, "attribute");
}
