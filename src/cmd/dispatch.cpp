#include "cmd/dispatch.h"

#include <cstring>

#include "cmd/families.h"
#include "cmd/help.h"
#include "cmd/host.h"
#include "cmd/subcommands.h"

namespace {

// Every family of the modelr command. Keywords match whole words only, so
// the order of the rows decides nothing.
const SubCommand kFamilies[] = {
    {"absorb", absorbCommand},
    {"add", addCommand},
    {"callback", callbackCommand},
    {"create", createCommand},
    {"delete", deleteCommand},
    {"deselect", deselectCommand},
    {"display", displayCommand},
    {"draw", drawCommand},
    {"encode", encodeCommand},
    {"file", fileCommand},
    {"find", findCommand},
    {"get", getCommand},
    {"help", helpCommand},
    {"matrix", matrixCommand},
    {"message", messageCommand},
    {"move", moveCommand},
    {"perform", performCommand},
    {"pick", pickCommand},
    {"pose", poseCommand},
    {"print", printCommand},
    {"reload", reloadCommand},
    {"reset", resetCommand},
    {"resize", resizeCommand},
    {"rotate", rotateCommand},
    {"scale", scaleCommand},
    {"select", selectCommand},
    {"set", setCommand},
    {"simulate", simulateCommand},
    {"system", systemCommand},
    {"toggle", toggleCommand},
};

}  // namespace

void familyHelp(HelpRows* rows) {
  for (const SubCommand& family : kFamilies) rows->push_back({family.keyword, ""});
}

bool isFamily(const char* word) { return findKeyword(kFamilies, word) != nullptr; }

void dispatchCommand(Workspace& ws, CommandWords* list) {
  char** words = list->words;
  // Keep the view and the interface current during long scripts; file
  // commands run without it, so that nothing can interleave with a load.
  if (words[1] == nullptr || std::strcmp(words[1], "file") != 0) {
    hostDrainEvents(ws);
  }
  const char* last = words[1];
  for (int i = 1; words[i] != nullptr; ++i) {
    last = words[i];
    if (const SubCommand* family = findKeyword(kFamilies, words[i])) {
      family->handler(ws, words + i);
      return;
    }
  }
  if (last != nullptr) reportErrorf(ws, "modelr: unknown command: %s", last);
}
