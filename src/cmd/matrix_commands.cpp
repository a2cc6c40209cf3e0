// modelr matrix: the scratch matrix of the application context (row order,
// identity at start), built up step by step and applied to points. Every
// step multiplies on the right, as OpenGL's glMultMatrix, glRotate and
// glScale do: the step given last acts on points first.
#include "workspace/workspace.h"
#include "cmd/families.h"
#include "cmd/format.h"
#include "cmd/help.h"
#include "cmd/host.h"
#include "cmd/subcommands.h"
#include "cmd/values.h"
#include "model/last_error.h"
#include "model/transform.h"

namespace {

// scratch = scratch * step, refused when a product would not be a finite
// float (the scratch matrix then stays as it was).
void multiplyScratch(Workspace& ws, const float step[16], const char* failure) {
  float product[16];
  multiply4x4(ws.matrix, step, product);
  if (!allFinite(product, 16)) {
    reportError(ws, failure);
    return;
  }
  for (int i = 0; i < 16; ++i) ws.matrix[i] = product[i];
}

void identityWords(Workspace& ws, char**) { setIdentity(ws.matrix); }

void multiplyWords(Workspace& ws, char** words) {
  float given[16];
  if (!wordsRead(ws, readFloats(words + 1, given, 16),
                 "modelr: usage: modelr matrix multiply <n1> .. <n16>"))
    return;
  multiplyScratch(ws, given, "modelr: matrix multiply failed");
}

// Degrees about x, then y, then z: the matrix get matrix rotation gives.
void rotateWords(Workspace& ws, char** words) {
  float angles[3];
  if (!wordsRead(ws, readFloats(words + 1, angles, 3),
                 "modelr: usage: modelr matrix rotate <x> <y> <z>"))
    return;
  float rotation[9], step[16];
  turnFromAngles(angles, rotation);
  rotation4x4(rotation, step);
  multiplyScratch(ws, step, "modelr: matrix rotate failed");
}

void scaleWords(Workspace& ws, char** words) {
  float factors[3];
  if (!wordsRead(ws, readFloats(words + 1, factors, 3),
                 "modelr: usage: modelr matrix scale <x> <y> <z>"))
    return;
  float step[16];
  setIdentity(step);
  step[0] = factors[0];
  step[5] = factors[1];
  step[10] = factors[2];
  multiplyScratch(ws, step, "modelr: matrix scale failed");
}

// The selected points of the current model, or all of them when none is
// selected.
void applyWords(Workspace& ws, char**) {
  Model* model = selectedModel(ws);
  if (model == nullptr) return;
  lastErrorClear();
  if (applyMatrixToPoints(model, ws.matrix) < 0) {
    const char* reason = lastErrorText();
    reportErrorf(ws, "modelr: matrix apply failed: %s", reason ? reason : "");
  }
}

void resultWords(Workspace& ws, char**) {
  const char* text = formatFloatList(resultText(ws), ws.matrix, 16);
  if (text != nullptr) setResult(ws, text);
}

const SubCommand kMatrixWords[] = {
    {"identity", identityWords},
    {"multiply", multiplyWords},
    {"rotate", rotateWords},
    {"scale", scaleWords},
    {"apply", applyWords},
    {"result", resultWords},
};

}  // namespace

void matrixCommand(Workspace& ws, char** words) {
  runSubCommand(ws, words, kMatrixWords, "attribute");
}

void matrixHelp(HelpRows* rows) { listKeywords(kMatrixWords, "matrix", rows); }
