// modelr perform: operations over a whole layer or model of the current
// document.
#include <cstring>

#include "workspace/workspace.h"
#include "cmd/families.h"
#include "cmd/help.h"
#include "cmd/host.h"
#include "cmd/subcommands.h"
#include "cmd/values.h"
#include "model/last_error.h"
#include "model/mirror.h"
#include "model/selection.h"

namespace {

void performAutoNormalsWords(Workspace& ws, char** words) {
  int32_t on = 0;
  const char* layer = nullptr;
  if (!wordsRead(ws, parseBool(&on, words[1]) && parseString(&layer, words[2]),
                 "modelr: usage: modelr perform autonormals <0|1> <layer_name>"))
    return;
  lastErrorClear();
  if (!setAutoNormals(currentModel(ws), layer, on != 0)) {
    const char* reason = lastErrorText();
    if (reason != nullptr) reportError(ws, reason);
  }
}

void performConvertWords(Workspace& ws, char**) { convertToTriangles(currentModel(ws)); }

// The optional last word of the bake words: absent, "share", or a boolean.
bool parseShareWord(const char* word, int32_t* share) {
  *share = 0;
  if (word == nullptr) return true;
  if (std::strcmp(word, "share") == 0) {
    *share = 1;
    return true;
  }
  return parseBool(share, word);
}

void performBakeWords(Workspace& ws, char** words) {
  const char* layer = nullptr;
  int32_t share = 0;
  if (!wordsRead(ws, parseString(&layer, words[1]) && parseShareWord(words[2], &share),
                 "modelr: usage: modelr perform bake <layer_name> ?share?"))
    return;
  lastErrorClear();
  if (bakeMirror(currentModel(ws), layer, share != 0)) {
    setResult(ws, "1");
    return;
  }
  setResult(ws, "0");
  const char* reason = lastErrorText();
  reportErrorf(ws, "modelr: bake mirror failed: %s",
               reason != nullptr ? reason : layer);
}

void performBakeAllWords(Workspace& ws, char** words) {
  int32_t share = 0;
  if (!wordsRead(ws, parseShareWord(words[1], &share),
                 "modelr: usage: modelr perform bakeall ?share?"))
    return;
  bakeAllMirrors(currentModel(ws), share != 0);
  setResult(ws, "1");
}

const SubCommand kPerformWords[] = {
    {"autonormals", performAutoNormalsWords},
    {"bake", performBakeWords},
    {"bakeall", performBakeAllWords},
    {"convert", performConvertWords},
};

}  // namespace

// Like add and delete, refuses before reading a word without a model.
void performCommand(Workspace& ws, char** words) {
  if (selectedModel(ws) == nullptr) return;
  runSubCommand(ws, words, kPerformWords, "command");
}

void performHelp(HelpRows* rows) { listKeywords(kPerformWords, "perform", rows); }
