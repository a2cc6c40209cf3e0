#include "cmd/dispatch.h"

#include <cstring>

#include "cmd/families.h"
#include "cmd/host.h"
#include "cmd/subcommands.h"

namespace {

// Keywords grouped by first letter, each group in comparison order.
// Families that this build does not carry are absent, and so unknown.
const SubCommand kGroupA[] = {{"add", addCommand}, {"absorb", absorbCommand}};
const SubCommand kGroupC[] = {{"callback", callbackCommand},
                              {"create", createCommand}};
const SubCommand kGroupD[] = {{"delete", deleteCommand},
                              {"display", displayCommand},
                              {"draw", drawCommand},
                              {"deselect", deselectCommand}};
const SubCommand kGroupF[] = {{"file", fileCommand}, {"find", findCommand}};
const SubCommand kGroupG[] = {{"get", getCommand}};
const SubCommand kGroupM[] = {{"matrix", matrixCommand},
                              {"message", messageCommand},
                              {"move", moveCommand}};
const SubCommand kGroupP[] = {{"perform", performCommand},
                              {"pose", poseCommand},
                              {"print", printCommand}};
const SubCommand kGroupR[] = {{"reload", reloadCommand},
                              {"reset", resetCommand},
                              {"resize", resizeCommand},
                              {"rotate", rotateCommand}};
const SubCommand kGroupS[] = {{"scale", scaleCommand},
                              {"set", setCommand},
                              {"select", selectCommand},
                              {"system", systemCommand}};
const SubCommand kGroupT[] = {{"toggle", toggleCommand}};

struct Group {
  const SubCommand* entries;
  size_t count;
};

template <size_t N> Group group(const SubCommand (&entries)[N]) {
  return {entries, N};
}

Group groupFor(char first) {
  switch (first) {
    case 'a': return group(kGroupA);
    case 'c': return group(kGroupC);
    case 'd': return group(kGroupD);
    case 'f': return group(kGroupF);
    case 'g': return group(kGroupG);
    case 'm': return group(kGroupM);
    case 'p': return group(kGroupP);
    case 'r': return group(kGroupR);
    case 's': return group(kGroupS);
    case 't': return group(kGroupT);
    default: return {nullptr, 0};
  }
}

CommandHandler lookUp(const char* word) {
  Group g = groupFor(word[0]);
  for (size_t i = 0; i < g.count; ++i) {
    if (std::strcmp(word, g.entries[i].keyword) == 0) return g.entries[i].handler;
  }
  return nullptr;
}

}  // namespace

void dispatchCommand(CommandWords* list) {
  char** words = list->words;
  // Keep the view and the interface current during long scripts; file
  // commands run without it, so that nothing can interleave with a load.
  if (words[1] == nullptr || std::strcmp(words[1], "file") != 0) {
    hostDrainEvents();
  }
  const char* last = words[1];
  for (int i = 1; words[i] != nullptr; ++i) {
    last = words[i];
    CommandHandler handler = lookUp(words[i]);
    if (handler != nullptr) {
      handler(words + i);
      return;
    }
  }
  if (last != nullptr) reportErrorf("modelr: unknown command: %s", last);
}
