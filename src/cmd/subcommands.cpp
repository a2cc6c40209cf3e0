#include "cmd/subcommands.h"

#include <cstring>

#include "cmd/host.h"

const SubCommand* findSubCommand(char** words, const SubCommand* table,
                                 size_t count, char*** position) {
  for (char** w = words + 1; *w != nullptr; ++w) {
    for (size_t i = 0; i < count; ++i) {
      if (std::strcmp(*w, table[i].keyword) == 0) {
        if (position) *position = w;
        return &table[i];
      }
    }
  }
  return nullptr;
}

void runRow(Workspace& ws, const SubCommand& row, char** at) {
  if (row.needsModel && selectedModel(ws) == nullptr) return;
  row.handler(ws, at);
}

const SubCommand* runSubCommand(Workspace& ws, char** words,
                                const SubCommand* table, size_t count,
                                const char* noun) {
  char** at = nullptr;
  const SubCommand* row = findSubCommand(words, table, count, &at);
  if (row != nullptr) {
    runRow(ws, *row, at);
    return row;
  }
  reportUnknownWord(ws, words, noun);
  return nullptr;
}

const char* lastWordTried(char** words) {
  const char* last = words[0];
  for (char** w = words + 1; *w != nullptr; ++w) last = *w;
  return last;
}

void reportUnknownWord(Workspace& ws, char** words, const char* noun) {
  reportErrorf(ws, "modelr: unknown %s %s: %s", words[0], noun, lastWordTried(words));
}
