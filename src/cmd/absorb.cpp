// modelr absorb child <id>: merges a child model into the current model.
// The result says whether it worked ("1" or "0"); a refusal's reason also
// goes to the error procedure.
#include "workspace/workspace.h"
#include "cmd/families.h"
#include "cmd/help.h"
#include "cmd/host.h"
#include "cmd/subcommands.h"
#include "cmd/values.h"
#include "model/absorb.h"
#include "model/last_error.h"

namespace {

void absorbChildWords(Workspace& ws, char** words) {
  int32_t id = 0;
  if (!wordsRead(ws, parseInt(&id, words[1]), "modelr: usage: modelr absorb child <id>")) return;
  // No model to absorb into is just a failed merge.
  Model* model = modelOrAnswerZero(ws);
  if (model == nullptr) return;
  lastErrorClear();
  answerOutcome(ws, absorbChild(model, id));
}

const SubCommand kAbsorbCommands[] = {
    {"child", absorbChildWords},
};

}  // namespace

void absorbCommand(Workspace& ws, char** words) {
  runSubCommand(ws, words, kAbsorbCommands, "attribute");
}

void absorbHelp(HelpRows* rows) { listKeywords(kAbsorbCommands, "absorb", rows); }
