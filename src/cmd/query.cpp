// modelr get ...: queries of the document and the view. The result text is
// the answer; "unknown" stands for an absent item.
#include "cmd/context.h"
#include "cmd/families.h"
#include "cmd/host.h"
#include "cmd/subcommands.h"

namespace {

void getName(char**) {
  Model* model = currentModel();
  setResult(model ? model->name : "unknown");
}

const SubCommand kGetWords[] = {
    {"name", getName},
};

const SubCommand kFindWords[] = {
    {"model", getName},  // placeholder until find lands
};

}  // namespace

void getCommand(char** words) { runSubCommand(words, kGetWords, "attribute"); }

void findCommand(char** words) { runSubCommand(words, kFindWords, "command"); }
