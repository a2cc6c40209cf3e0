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

}  // namespace

void getCommand(char** words) { runSubCommand(words, kGetWords, "attribute"); }
