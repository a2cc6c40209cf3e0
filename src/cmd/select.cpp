// modelr select and modelr deselect: marking items of the current model,
// choosing the model and the layer, and acting on what is marked. Every
// refusal is the sub-command's own fixed text; the document's reason is
// passed on only where no text is fixed.
#include <cstring>

#include "workspace/workspace.h"
#include "cmd/families.h"
#include "cmd/format.h"
#include "cmd/help.h"
#include "cmd/host.h"
#include "cmd/subcommands.h"
#include "cmd/values.h"
#include "model/geometry.h"
#include "model/last_error.h"
#include "model/model.h"
#include "model/selection.h"

namespace {

const char kSelectModelUsage[] = "modelr: usage: modelr select model <id>";
const char kSelectLayerUsage[] = "modelr: usage: modelr select layer <name>";
const char kSelectTranslateUsage[] =
    "modelr: usage: modelr select translate <x> <y> <z>";
const char kSelectScaleUsage[] = "modelr: usage: modelr select scale <x> <y> <z>";
const char kSelectRotateUsage[] =
    "modelr: usage: modelr select rotate <a1> <a2> <a3>";
const char kSelectCentreUsage[] =
    "modelr: usage: modelr select rotate centre <x> <y> <z>";
const char kSelectAxisUsage[] =
    "modelr: usage: modelr select rotate axis <x> <y> <z>";
const char kSelectRelocateUsage[] = "modelr: usage: modelr select relocate <name>";

const char kPointFailed[] = "modelr: select point failed";
const char kTriangleNotFound[] = "modelr: triangle not found";
const char kLineNotFound[] = "modelr: line not found";
const char kCollideNotFound[] = "modelr: collision object id not found";

void passOnReason(Workspace& ws) {
  const char* reason = lastErrorText();
  if (reason != nullptr && *reason != '\0') reportError(ws, reason);
}

// ---- Marking one item -------------------------------------------------------

struct MarkForm {
  const char* usage;
  const char* failure;
};

void markNumbered(Workspace& ws, char** words, const MarkForm& form,
                  bool (*mark)(Model*, int32_t, bool), bool on) {
  int32_t number = 0;
  if (!parseInt(&number, words[1])) {
    reportError(ws, form.usage);
    return;
  }
  Model* model = currentModel(ws);
  if (model == nullptr || !mark(model, number, on)) reportError(ws, form.failure);
}

void markNamed(Workspace& ws, char** words, const MarkForm& form, bool on) {
  const char* name = nullptr;
  if (!parseString(&name, words[1])) {
    reportError(ws, form.usage);
    return;
  }
  Model* model = currentModel(ws);
  if (model == nullptr || !markJoint(model, name, on)) reportError(ws, form.failure);
}

const MarkForm kSelectPoint = {"modelr: usage: modelr select point <n>", kPointFailed};
const MarkForm kSelectTriangle = {"modelr: usage: modelr select triangle <n>",
                                  kTriangleNotFound};
const MarkForm kSelectLine = {"modelr: usage: modelr select line <n>", kLineNotFound};
const MarkForm kSelectJoint = {"modelr: usage: modelr select joint <name>", kPointFailed};
const MarkForm kSelectChild = {"modelr: usage: modelr select child <id>",
                               "modelr: child id not found"};
const MarkForm kSelectCollide = {"modelr: usage: modelr select collide <id>",
                                 kCollideNotFound};

const MarkForm kDeselectPoint = {"modelr: usage: modelr deselect point <n>", kPointFailed};
const MarkForm kDeselectTriangle = {"modelr: usage: modelr deselect triangle <n>",
                                    kTriangleNotFound};
const MarkForm kDeselectLine = {"modelr: usage: modelr deselect line <n>", kLineNotFound};
const MarkForm kDeselectJoint = {"modelr: usage: modelr deselect joint <name>",
                                 kPointFailed};
const MarkForm kDeselectChild = {"modelr: usage: modelr deselect child <id>",
                                 "Select child model failed..."};
const MarkForm kDeselectCollide = {"modelr: usage: modelr deselect collide <id>",
                                   kCollideNotFound};

void selectPointWords(Workspace& ws, char** w) { markNumbered(ws, w, kSelectPoint, markPoint, true); }
void selectTriangleWords(Workspace& ws, char** w) { markNumbered(ws, w, kSelectTriangle, markTriangle, true); }
void selectLineWords(Workspace& ws, char** w) { markNumbered(ws, w, kSelectLine, markLine, true); }
void selectJointWords(Workspace& ws, char** w) { markNamed(ws, w, kSelectJoint, true); }
void selectChildWords(Workspace& ws, char** w) { markNumbered(ws, w, kSelectChild, markChild, true); }
void selectCollideWords(Workspace& ws, char** w) { markNumbered(ws, w, kSelectCollide, markCollide, true); }

void deselectPointWords(Workspace& ws, char** w) { markNumbered(ws, w, kDeselectPoint, markPoint, false); }
void deselectTriangleWords(Workspace& ws, char** w) {
  markNumbered(ws, w, kDeselectTriangle, markTriangle, false);
}
void deselectLineWords(Workspace& ws, char** w) { markNumbered(ws, w, kDeselectLine, markLine, false); }
void deselectJointWords(Workspace& ws, char** w) { markNamed(ws, w, kDeselectJoint, false); }
void deselectChildWords(Workspace& ws, char** w) { markNumbered(ws, w, kDeselectChild, markChild, false); }
void deselectCollideWords(Workspace& ws, char** w) {
  markNumbered(ws, w, kDeselectCollide, markCollide, false);
}

// ---- Model and layer --------------------------------------------------------

void selectModelWords(Workspace& ws, char** words) {
  int32_t id = 0;
  if (!parseInt(&id, words[1])) {
    reportError(ws, kSelectModelUsage);
    return;
  }
  Model* model = registryFind(&ws.registry, id);
  if (model == nullptr) {
    reportError(ws, "modelr: model id not found");
    return;
  }
  ws.registry.current = model;
}

// "global" (and "(global)") chooses no layer: the whole model.
void selectLayerWords(Workspace& ws, char** words) {
  const char* name = nullptr;
  if (!parseString(&name, words[1])) {
    reportError(ws, kSelectLayerUsage);
    return;
  }
  char* chosen = ws.view.render.chosenLayer;
  if (std::strcmp(name, "global") == 0 || std::strcmp(name, "(global)") == 0) {
    chosen[0] = '\0';
    setResult(ws, "1");
    return;
  }
  const Model* model = currentModel(ws);
  if (model == nullptr || findLayer(model, name) == nullptr) {
    reportErrorf(ws, "modelr: could not select layer: %s", name);
    setResult(ws, "0");
    return;
  }
  // An existing layer's name always fits.
  std::strncpy(chosen, name, kNameBytes - 1);
  chosen[kNameBytes - 1] = '\0';
  setResult(ws, "1");
}

// ---- Transforms -------------------------------------------------------------

void selectTranslateWords(Workspace& ws, char** words) {
  float offset[3];
  if (!wordsRead(ws, readFloats(words + 1, offset, 3), kSelectTranslateUsage)) return;
  Model* model = currentModel(ws);
  if (model == nullptr || translateSelection(model, offset) < 0) {
    reportError(ws, "modelr: translate failed");
  }
}

void selectScaleWords(Workspace& ws, char** words) {
  float factors[3];
  if (!wordsRead(ws, readFloats(words + 1, factors, 3), kSelectScaleUsage)) return;
  // No refusal of its own: without a model, or out of range, nothing moves.
  Model* model = currentModel(ws);
  if (model != nullptr) scaleSelection(model, factors, selectionPivot(model));
}

// rotate centre|center <x> <y> <z>, rotate axis <x> <y> <z>, or
// rotate <a1> <a2> <a3>.
void selectRotateWords(Workspace& ws, char** words) {
  const char* form = words[1];
  const bool centre = form != nullptr && (std::strcmp(form, "centre") == 0 ||
                                          std::strcmp(form, "center") == 0);
  const bool axis = form != nullptr && std::strcmp(form, "axis") == 0;
  float values[3];
  if (centre || axis) {
    if (!readFloats(words + 2, values, 3)) {
      reportError(ws, centre ? kSelectCentreUsage : kSelectAxisUsage);
      return;
    }
    if (currentModel(ws) == nullptr) {
      reportError(ws, centre ? "modelr: rotate centre failed" : "modelr: rotate axis failed");
      return;
    }
    if (centre) {
      setPivotCentre(currentModel(ws), values);
    } else {
      setPivotAxis(currentModel(ws), values);
    }
    return;
  }
  if (!readFloats(words + 1, values, 3)) {
    reportError(ws, kSelectRotateUsage);
    return;
  }
  Model* model = currentModel(ws);
  if (model == nullptr || rotateSelection(model, values, selectionPivot(model)) < 0) {
    reportError(ws, "modelr: rotate failed");
  }
}

// ---- Acting on the selection -------------------------------------------------

void selectRelocateWords(Workspace& ws, char** words) {
  const char* name = nullptr;
  if (!parseString(&name, words[1])) {
    reportError(ws, kSelectRelocateUsage);
    return;
  }
  Model* model = currentModel(ws);
  if (model == nullptr || !relocateSelection(model, name)) {
    reportErrorf(ws, "modelr: relocate to layer failed: %s", name);
    setResult(ws, "0");
    return;
  }
  setResult(ws, "1");
}

void selectClearWords(Workspace& ws, char**) {
  Model* model = currentModel(ws);
  if (model != nullptr) clearSelection(model);
  ws.view.render.chosenLayer[0] = '\0';
}

void selectCopyWords(Workspace& ws, char**) {
  Model* model = currentModel(ws);
  if (model != nullptr && copySelection(model) < 0) passOnReason(ws);
}

void selectDeleteWords(Workspace& ws, char**) {
  Model* model = currentModel(ws);
  if (model != nullptr && deleteSelection(model) < 0) passOnReason(ws);
}

void selectCentreWords(Workspace& ws, char**) {
  const Model* model = currentModel(ws);
  float centre[3];
  if (model != nullptr && selectionCentre(model, centre)) {
    setResult(ws, formatFloatList(resultText(ws), centre, 3));
  }
}

const SubCommand kSelectWords[] = {
    {"model", selectModelWords},
    {"layer", selectLayerWords},
    {"point", selectPointWords},
    {"triangle", selectTriangleWords},
    {"line", selectLineWords},
    {"joint", selectJointWords},
    {"child", selectChildWords},
    {"collide", selectCollideWords},
    {"translate", selectTranslateWords},
    {"scale", selectScaleWords},
    {"rotate", selectRotateWords},
    {"relocate", selectRelocateWords},
    {"clear", selectClearWords},
    {"copy", selectCopyWords},
    {"delete", selectDeleteWords},
    {"centre", selectCentreWords},
    {"center", selectCentreWords},
};

const SubCommand kDeselectWords[] = {
    {"point", deselectPointWords},
    {"triangle", deselectTriangleWords},
    {"line", deselectLineWords},
    {"joint", deselectJointWords},
    {"child", deselectChildWords},
    {"collide", deselectCollideWords},
};

}  // namespace

void selectCommand(Workspace& ws, char** words) { runSubCommand(ws, words, kSelectWords, "command"); }

void deselectCommand(Workspace& ws, char** words) {
  runSubCommand(ws, words, kDeselectWords, "command");
}

void selectHelp(HelpRows* rows) { listKeywords(kSelectWords, "select", rows); }
void deselectHelp(HelpRows* rows) { listKeywords(kDeselectWords, "deselect", rows); }
