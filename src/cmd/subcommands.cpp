#include "cmd/subcommands.h"

#include <cstring>

#include "cmd/host.h"

CommandHandler findSubCommand(char** words, const SubCommand* table,
                              size_t count, char*** position) {
  for (char** w = words + 1; *w != nullptr; ++w) {
    for (size_t i = 0; i < count; ++i) {
      if (std::strcmp(*w, table[i].keyword) == 0) {
        if (position) *position = w;
        return table[i].handler;
      }
    }
  }
  return nullptr;
}

CommandHandler runSubCommand(char** words, const SubCommand* table,
                             size_t count, const char* noun) {
  char** at = nullptr;
  CommandHandler handler = findSubCommand(words, table, count, &at);
  if (handler != nullptr) {
    handler(at);
    return handler;
  }
  reportUnknownWord(words, noun);
  return nullptr;
}

const char* lastWordTried(char** words) {
  const char* last = words[0];
  for (char** w = words + 1; *w != nullptr; ++w) last = *w;
  return last;
}

void reportUnknownWord(char** words, const char* noun) {
  reportErrorf("modelr: unknown %s %s: %s", words[0], noun, lastWordTried(words));
}
