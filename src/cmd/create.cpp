// modelr create model|cursor|window. Unlike most families, create answers
// failures in the command's result text.
#include <cstdio>

#include "cmd/families.h"
#include "cmd/help.h"
#include "cmd/host.h"
#include "cmd/subcommands.h"
#include "cmd/values.h"
#include "workspace/documents.h"
#include "view/view_window.h"

namespace {

// create model <name>: closes the open models and starts an empty one,
// which becomes the current model; the result is its model id.
void createModelCommand(Workspace& ws, char** words) {
  const char* name = nullptr;
  if (!wordsReadOrAnswer(ws, parseString(&name, words[1]),
                           "modelr: usage: modelr create model <name>"))
    return;
  Model* model = createEmptyModel(ws, name);
  if (model == nullptr) {
    setResult(ws, "modelr: create model failed");
    return;
  }
  char id[16];
  std::snprintf(id, sizeof id, "%d", model->id);
  setResult(ws, id);
}

// create window <name> <parent>: the one view, inside the Tk widget
// <parent>. Why it failed has been shown already.
void createWindowCommand(Workspace& ws, char** words) {
  const char* name = nullptr;
  const char* parent = nullptr;
  if (!wordsReadOrAnswer(ws, parseString(&name, words[1]) && parseString(&parent, words[2]),
                           "modelr: usage: modelr create window <name> <parent>"))
    return;
  if (!createViewWindow(ws.view, name, parent)) setResult(ws, "modelr: create window failed");
}

// create cursor <filename>: a tool cursor's name or a cursor file; the
// result is the new cursor's number.
void createCursorCommand(Workspace& ws, char** words) {
  const char* file = nullptr;
  if (!wordsReadOrAnswer(ws, parseString(&file, words[1]),
                           "modelr: usage: modelr create cursor <filename>"))
    return;
  int32_t number = createViewCursor(ws.view, file);
  if (number == 0) {
    setResult(ws, "modelr: create cursor failed");
    return;
  }
  char text[16];
  std::snprintf(text, sizeof text, "%d", number);
  setResult(ws, text);
}

const SubCommand kCreateWords[] = {
    {"model", createModelCommand},
    {"window", createWindowCommand},
    {"cursor", createCursorCommand},
};

}  // namespace

void createCommand(Workspace& ws, char** words) {
  char** at = nullptr;
  if (const SubCommand* row = findSubCommand(words, kCreateWords, &at)) {
    runRow(ws, *row, at);
    return;
  }
  char text[256];
  std::snprintf(text, sizeof text, "modelr: unknown create command: %.200s",
                lastWordTried(words));
  setResult(ws, text);
}

void createHelp(HelpRows* rows) { listKeywords(kCreateWords, "create", rows); }
