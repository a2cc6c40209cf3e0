// modelr move, modelr rotate and modelr scale: change one named item of the
// current model (or the view's 3D cursor) relative to where it is. Angles
// are degrees, turned about x, then y, then z; rotations and scalings with
// a centre act about it. Refusals of the document are reported as
// "modelr: <reason>" and leave the item as it was.
#include <cstring>

#include "cmd/context.h"
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
void finish(bool ok) {
  if (ok) return;
  const char* reason = lastErrorText();
  reportErrorf("modelr: %s", reason != nullptr ? reason : "failed");
}

// ---- move -------------------------------------------------------------------

void movePointWords(char** words) {
  char** w = words + 1;
  int32_t number = 0;
  float offset[3];
  if (!nextInt(w, &number) || !nextFloats(w, offset, 3)) {
    reportError("modelr: usage: modelr move point <n> <x> <y> <z>");
    return;
  }
  lastErrorClear();
  finish(movePoint(currentModel(), number, offset));
}

// move normal and move surface read the same words.
void moveVectorWords(char** words, bool surface) {
  char** w = words + 1;
  const char* layer = nullptr;
  int32_t number = 0;
  float offset[3];
  if (!nextString(w, &layer) || !nextInt(w, &number) ||
      !nextFloats(w, offset, 3)) {
    reportError(surface
                    ? "modelr: usage: modelr move surface <layer_name> <n> "
                      "<x> <y> <z>"
                    : "modelr: usage: modelr move normal <layer_name> <n> "
                      "<x> <y> <z>");
    return;
  }
  lastErrorClear();
  finish(moveVector(currentModel(), layer, number, offset, surface));
}

void moveNormalWords(char** words) { moveVectorWords(words, false); }
void moveSurfaceWords(char** words) { moveVectorWords(words, true); }

void moveColorWords(char** words) {
  char** w = words + 1;
  const char* layer = nullptr;
  int32_t number = 0;
  float offset[4];
  if (!nextString(w, &layer) || !nextInt(w, &number) ||
      !nextFloats(w, offset, 4)) {
    reportError(
        "modelr: usage: modelr move color <layer_name> <n> <r> <g> <b> <a>");
    return;
  }
  lastErrorClear();
  finish(moveColour(currentModel(), layer, number, offset));
}

void moveJointWords(char** words) {
  char** w = words + 1;
  const char* name = nullptr;
  float offset[3];
  if (!nextString(w, &name) || !nextFloats(w, offset, 3)) {
    reportError("modelr: usage: modelr move joint <name> <x> <y> <z>");
    return;
  }
  lastErrorClear();
  finish(moveJoint(currentModel(), name, offset));
}

void moveWeightWords(char** words) {
  char** w = words + 1;
  const char* name = nullptr;
  int32_t point = 0;
  float offset = 0.0f;
  if (!nextString(w, &name) || !nextInt(w, &point) ||
      !nextFloats(w, &offset, 1)) {
    reportError("modelr: usage: modelr move weight <name> <n> <w>");
    return;
  }
  lastErrorClear();
  finish(moveWeight(currentModel(), name, point, offset));
}

// The only form that needs no model: the cursor belongs to the view.
void moveCursorWords(char** words) {
  char** w = words + 1;
  float offset[3];
  if (!nextFloats(w, offset, 3)) {
    reportError("modelr: usage: modelr move cursor <x> <y> <z>");
    return;
  }
  float* cursor = g_app.view.cursor;
  const float moved[3] = {cursor[0] + offset[0], cursor[1] + offset[1],
                          cursor[2] + offset[2]};
  if (!allFinite(moved, 3)) {
    reportError("modelr: result out of range");
    return;
  }
  std::memcpy(cursor, moved, sizeof moved);
}

// move child and move collide: <id> <x> <y> <z>.
void moveByIdWords(char** words, const char* usage,
                   bool (*operation)(Model*, int32_t, const float*)) {
  char** w = words + 1;
  int32_t id = 0;
  float offset[3];
  if (!nextInt(w, &id) || !nextFloats(w, offset, 3)) {
    reportError(usage);
    return;
  }
  lastErrorClear();
  finish(operation(currentModel(), id, offset));
}

void moveChildWords(char** words) {
  moveByIdWords(words, "modelr: usage: modelr move child <id> <x> <y> <z>",
                moveChild);
}

void moveCollideWords(char** words) {
  moveByIdWords(words, "modelr: usage: modelr move collide <id> <x> <y> <z>",
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

void rotateByIdWords(char** words, const char* usage,
                     bool (*operation)(Model*, int32_t, const float*,
                                       const float*)) {
  char** w = words + 1;
  int32_t id = 0;
  Turn turn;
  if (!nextInt(w, &id) || !nextTurn(w, &turn)) {
    reportError(usage);
    return;
  }
  lastErrorClear();
  finish(operation(currentModel(), id, turn.rotation, turn.centre));
}

void rotatePointWords(char** words) {
  rotateByIdWords(
      words,
      "modelr: usage: modelr rotate point <n> <x> <y> <z> <cx> <cy> <cz>",
      rotatePoint);
}

void rotateChildWords(char** words) {
  rotateByIdWords(
      words,
      "modelr: usage: modelr rotate child <id> <x> <y> <z> <cx> <cy> <cz>",
      rotateChild);
}

void rotateCollideWords(char** words) {
  rotateByIdWords(
      words,
      "modelr: usage: modelr rotate collide <id> <x> <y> <z> <cx> <cy> <cz>",
      rotateCollide);
}

void rotateJointWords(char** words) {
  char** w = words + 1;
  const char* name = nullptr;
  Turn turn;
  if (!nextString(w, &name) || !nextTurn(w, &turn)) {
    reportError(
        "modelr: usage: modelr rotate joint <name> <x> <y> <z> <cx> <cy> <cz>");
    return;
  }
  lastErrorClear();
  finish(rotateJoint(currentModel(), name, turn.rotation, turn.centre));
}

// Directions turn without a centre.
void rotateVectorWords(char** words, bool surface) {
  char** w = words + 1;
  const char* layer = nullptr;
  int32_t number = 0;
  float angles[3];
  if (!nextString(w, &layer) || !nextInt(w, &number) ||
      !nextFloats(w, angles, 3)) {
    reportError(surface
                    ? "modelr: usage: modelr rotate surface <layer_name> <n> "
                      "<x> <y> <z>"
                    : "modelr: usage: modelr rotate normal <layer_name> <n> "
                      "<x> <y> <z>");
    return;
  }
  float rotation[9];
  turnFromAngles(angles, rotation);
  lastErrorClear();
  finish(rotateVector(currentModel(), layer, number, rotation, surface));
}

void rotateNormalWords(char** words) { rotateVectorWords(words, false); }
void rotateSurfaceWords(char** words) { rotateVectorWords(words, true); }

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

void scalePointWords(char** words) {
  char** w = words + 1;
  int32_t number = 0;
  float factors[3], centre[3];
  if (!nextInt(w, &number) || !nextScaling(w, factors, centre)) {
    reportError(
        "modelr: usage: modelr scale point <n> <x> <y> <z> <cx> <cy> <cz>");
    return;
  }
  lastErrorClear();
  finish(scalePoint(currentModel(), number, factors, centre));
}

void scaleJointWords(char** words) {
  char** w = words + 1;
  const char* name = nullptr;
  float factors[3], centre[3];
  if (!nextString(w, &name) || !nextScaling(w, factors, centre)) {
    reportError(
        "modelr: usage: modelr scale joint <name> <x> <y> <z> <cx> <cy> <cz>");
    return;
  }
  lastErrorClear();
  finish(scaleJoint(currentModel(), name, factors, centre));
}

// scale child and scale collide; any other word after the centre is
// ignored, as unrecognised words are elsewhere.
void scaleByIdWords(char** words, const char* usage,
                    bool (*operation)(Model*, int32_t, const float*,
                                      const float*, bool)) {
  char** w = words + 1;
  int32_t id = 0;
  float factors[3], centre[3];
  if (!nextInt(w, &id) || !nextScaling(w, factors, centre)) {
    reportError(usage);
    return;
  }
  const bool explicitSize = *w != nullptr && std::strcmp(*w, "explicit") == 0;
  lastErrorClear();
  finish(operation(currentModel(), id, factors, centre, explicitSize));
}

void scaleChildWords(char** words) {
  scaleByIdWords(words,
                 "modelr: usage: modelr scale child <id> <x> <y> <z> <cx> "
                 "<cy> <cz> [explicit]",
                 scaleChild);
}

void scaleCollideWords(char** words) {
  scaleByIdWords(words,
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

bool modelSelected() {
  if (currentModel() != nullptr) return true;
  reportError("modelr: no model selected!");
  return false;
}

}  // namespace

// Every form but move cursor needs a model; without one the command is
// refused before any argument is read.
void moveCommand(char** words) {
  char** at = nullptr;
  CommandHandler handler = findSubCommand(
      words, kMoveWords, sizeof kMoveWords / sizeof kMoveWords[0], &at);
  if (handler != moveCursorWords && !modelSelected()) return;
  if (handler == nullptr) {
    reportUnknownWord(words, "attribute");
    return;
  }
  handler(at);
}

void rotateCommand(char** words) {
  if (!modelSelected()) return;
  runSubCommand(words, kRotateWords, "attribute");
}

void scaleCommand(char** words) {
  if (!modelSelected()) return;
  runSubCommand(words, kScaleWords, "attribute");
}
