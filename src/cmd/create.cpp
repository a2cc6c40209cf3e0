// modelr create model|cursor|window. Unlike most families, create answers
// failures in the command's result text.
#include <cstdio>

#include "cmd/families.h"
#include "cmd/host.h"
#include "cmd/subcommands.h"
#include "cmd/values.h"
#include "io/documents.h"

namespace {

// create model <name>: closes the open models and starts an empty one,
// which becomes the current model; the result is its model id.
void createModelCommand(char** words) {
  const char* name = nullptr;
  if (!parseString(&name, words[1])) {
    setResult("modelr: usage: modelr create model <name>");
    return;
  }
  Model* model = createEmptyModel(name);
  if (model == nullptr) {
    setResult("modelr: create model failed");
    return;
  }
  char id[16];
  std::snprintf(id, sizeof id, "%d", model->id);
  setResult(id);
}

const SubCommand kCreateWords[] = {
    {"model", createModelCommand},
};

}  // namespace

void createCommand(char** words) {
  char** at = nullptr;
  CommandHandler handler = findSubCommand(
      words, kCreateWords, sizeof kCreateWords / sizeof kCreateWords[0], &at);
  if (handler != nullptr) {
    handler(at);
    return;
  }
  char text[256];
  std::snprintf(text, sizeof text, "modelr: unknown create command: %.200s",
                lastWordTried(words));
  setResult(text);
}
