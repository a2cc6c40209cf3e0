// modelr perform: operations over a whole layer or model of the current
// document.
#include "cmd/context.h"
#include "cmd/families.h"
#include "cmd/host.h"
#include "cmd/subcommands.h"
#include "cmd/values.h"
#include "model/last_error.h"
#include "model/selection.h"

namespace {

void performAutoNormalsWords(char** words) {
  int32_t on = 0;
  const char* layer = nullptr;
  if (!parseBool(&on, words[1]) || !parseString(&layer, words[2])) {
    reportError("modelr: usage: modelr perform autonormals <0|1> <layer_name>");
    return;
  }
  lastErrorClear();
  if (!setAutoNormals(currentModel(), layer, on != 0)) {
    const char* reason = lastErrorText();
    if (reason != nullptr) reportError(reason);
  }
}

void performConvertWords(char**) { convertToTriangles(currentModel()); }

const SubCommand kPerformWords[] = {
    {"autonormals", performAutoNormalsWords},
    {"convert", performConvertWords},
};

}  // namespace

// Like add and delete, refuses before reading a word without a model.
void performCommand(char** words) {
  if (currentModel() == nullptr) {
    reportError("modelr: no model selected!");
    return;
  }
  runSubCommand(words, kPerformWords, "command");
}
