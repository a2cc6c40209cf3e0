// modelr absorb child <id>: merges a child model into the current model.
// The result says whether it worked ("1" or "0"); a refusal's reason also
// goes to the error procedure.
#include "workspace/workspace.h"
#include "cmd/families.h"
#include "cmd/host.h"
#include "cmd/subcommands.h"
#include "cmd/values.h"
#include "model/absorb.h"
#include "model/last_error.h"

namespace {

void absorbChildWords(Workspace& ws, char** words) {
  int32_t id = 0;
  if (!parseInt(&id, words[1])) {
    reportError(ws, "modelr: usage: modelr absorb child <id>");
    return;
  }
  Model* model = currentModel(ws);
  // No model to absorb into is just a failed merge.
  if (model == nullptr) {
    setResult(ws, "0");
    return;
  }
  lastErrorClear();
  if (absorbChild(model, id)) {
    setResult(ws, "1");
    return;
  }
  setResult(ws, "0");
  const char* reason = lastErrorText();
  if (reason != nullptr && *reason != '\0') reportError(ws, reason);
}

const SubCommand kAbsorbCommands[] = {
    {"child", absorbChildWords},
};

}  // namespace

void absorbCommand(Workspace& ws, char** words) {
  runSubCommand(ws, words, kAbsorbCommands, "attribute");
}
