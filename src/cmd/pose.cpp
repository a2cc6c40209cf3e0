// modelr pose ...: change the pose and morphs of the current model's joints
// and save or load them as pose files. Usage errors are the command's
// result; a missing model or an unknown joint quietly does nothing.
#include <cstring>
#include <string>

#include "workspace/workspace.h"
#include "cmd/families.h"
#include "cmd/help.h"
#include "cmd/host.h"
#include "cmd/subcommands.h"
#include "cmd/values.h"
#include "io/pose_file.h"
#include "model/last_error.h"
#include "model/skeleton.h"
#include "model/transform.h"

namespace {

constexpr const char* kWorld = "world";

// Reads <jointname> <x> <y> <z> from words[1..4].
bool jointAndTriple(char** words, const char** name, float xyz[3]) {
  return parseString(name, words[1]) && parseFloat(&xyz[0], words[2]) &&
         parseFloat(&xyz[1], words[3]) && parseFloat(&xyz[2], words[4]);
}

Joint* currentJoint(Workspace& ws, const char* name) {
  Model* model = currentModel(ws);
  return model != nullptr ? findJoint(model, name) : nullptr;
}

// move, rotate and scale: <jointname> <x> <y> <z>, applied to the joint.
void poseJoint(Workspace& ws, char** words, const char* usage,
               void (*apply)(Joint* joint, const float xyz[3])) {
  const char* name = nullptr;
  float xyz[3];
  if (!jointAndTriple(words, &name, xyz)) {
    setResult(ws, usage);
    return;
  }
  Joint* joint = currentJoint(ws, name);
  if (joint != nullptr) apply(joint, xyz);
}

void poseMove(Workspace& ws, char** words) {
  poseJoint(ws, words, "modelr: usage: modelr pose move <jointname> <x> <y> <z>",
            [](Joint* joint, const float xyz[3]) {
              for (int i = 0; i < 3; ++i) joint->poseTranslation[i] += xyz[i];
            });
}

// Angles in degrees, turned about x, then y, then z; the new turn comes
// after the present one, about the parent's axes: R * current.
void poseRotate(Workspace& ws, char** words) {
  poseJoint(ws, words, "modelr: usage: modelr pose rotate <jointname> <x> <y> <z>",
            [](Joint* joint, const float angles[3]) {
              float turn[9];
              rotationFromAngles(angles, turn);
              multiply3x3(turn, joint->poseRotation, joint->poseRotation);
            });
}

void poseScale(Workspace& ws, char** words) {
  poseJoint(ws, words, "modelr: usage: modelr pose scale <jointname> <x> <y> <z>",
            [](Joint* joint, const float xyz[3]) {
              for (int i = 0; i < 3; ++i) joint->poseScale[i] *= xyz[i];
            });
}

// Point numbers start at 1; anything else is a usage error here rather
// than a refusal of the document.
bool jointAndPoint(char** words, const char** name, int32_t* point) {
  return parseString(name, words[1]) && parseInt(point, words[2]) &&
         *point >= 1;
}

void poseMorph(Workspace& ws, char** words) {
  const char* name = nullptr;
  int32_t point = 0;
  float xyz[3];
  if (!jointAndPoint(words, &name, &point) || !parseFloat(&xyz[0], words[3]) ||
      !parseFloat(&xyz[1], words[4]) || !parseFloat(&xyz[2], words[5])) {
    setResult(ws, "modelr: usage: modelr pose morph <jointname> <n> <x> <y> <z>");
    return;
  }
  Model* model = currentModel(ws);
  if (model == nullptr) return;
  // An unknown joint is no error here; its LastError is dropped.
  setMorph(model, name, point, xyz[0], xyz[1], xyz[2]);
}

// Zeroes an existing offset; a point without one gets no entry, so that
// demorphing does not add lines of zeros to saved poses.
void poseDemorph(Workspace& ws, char** words) {
  const char* name = nullptr;
  int32_t point = 0;
  if (!wordsReadOrAnswer(ws, jointAndPoint(words, &name, &point),
                           "modelr: usage: modelr pose demorph <jointname> <n>"))
    return;
  Model* model = currentModel(ws);
  if (model == nullptr) return;
  KeyedTable* morphs = nullptr;
  if (std::strcmp(name, kWorld) == 0) {
    morphs = &model->worldMorphs;
  } else if (Joint* joint = findJoint(model, name)) {
    morphs = &joint->morphs;
  }
  Morph* morph = morphs ? tableFindT<Morph>(morphs, point) : nullptr;
  if (morph == nullptr) return;
  morph->dx = morph->dy = morph->dz = 0.0f;
}

void poseReset(Workspace& ws, char** words) {
  const char* name = nullptr;
  const char* what = nullptr;
  const bool parsed = parseString(&name, words[1]) && parseString(&what, words[2]);
  const bool known = parsed && (std::strcmp(what, "move") == 0 ||
                                std::strcmp(what, "scale") == 0 ||
                                std::strcmp(what, "rotate") == 0 ||
                                std::strcmp(what, "morph") == 0);
  if (!known) {
    setResult(ws, "modelr: usage: modelr pose reset <jointname> <move|scale|rotate>");
    return;
  }
  Model* model = currentModel(ws);
  if (model == nullptr) return;
  const bool morph = std::strcmp(what, "morph") == 0;
  if (morph && std::strcmp(name, kWorld) == 0) {
    tableRelease(&model->worldMorphs);
    return;
  }
  Joint* joint = findJoint(model, name);
  if (joint == nullptr) return;
  if (morph) {
    tableRelease(&joint->morphs);
  } else if (std::strcmp(what, "move") == 0) {
    for (float& v : joint->poseTranslation) v = 0.0f;
  } else if (std::strcmp(what, "scale") == 0) {
    for (float& v : joint->poseScale) v = 1.0f;
  } else {
    for (int i = 0; i < 9; ++i) joint->poseRotation[i] = (i % 4 == 0) ? 1.0f : 0.0f;
  }
}

void poseSave(Workspace& ws, char** words) {
  const char* which = nullptr;
  std::string file;
  if (!wordsReadOrAnswer(ws, parseString(&which, words[1]) && fileNameFrom(words + 2, &file),
                           "modelr: usage: modelr pose save <all|selected> <filename>"))
    return;
  // Save and load answer "1" or "0"; a failure also sends its reason to the
  // error procedure.
  const Model* model = modelOrAnswerZero(ws);
  if (model == nullptr) return;
  lastErrorClear();
  answerOutcome(ws, writePoseFile(model, file.c_str(), std::strcmp(which, "selected") == 0));
}

void poseLoad(Workspace& ws, char** words) {
  std::string file;
  if (!fileNameOrAnswer(ws, words, &file, "modelr: usage: modelr pose load <filename>")) return;
  Model* model = modelOrAnswerZero(ws);
  if (model == nullptr) return;
  answerOutcome(ws, readPoseFile(model, file.c_str()));
}

const SubCommand kPoseWords[] = {
    {"move", poseMove},
    {"rotate", poseRotate},
    {"scale", poseScale},
    {"morph", poseMorph},
    {"demorph", poseDemorph},
    {"reset", poseReset},
    {"save", poseSave},
    {"load", poseLoad},
};

}  // namespace

void poseCommand(Workspace& ws, char** words) { runSubCommand(ws, words, kPoseWords, "attribute"); }

void poseHelp(HelpRows* rows) { listKeywords(kPoseWords, "pose", rows); }
