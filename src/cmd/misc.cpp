// The small top-level commands: message, system and print.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "workspace/workspace.h"
#include "cmd/families.h"
#include "cmd/host.h"
#include "cmd/subcommands.h"
#include "cmd/values.h"
#include "workspace/print.h"
#include "view/view_window.h"

extern char** environ;

namespace {

constexpr int kMessageBytes = 512;
constexpr int kSystemBytes = 2048;

// Appends `word` and `separator` to the text if both fit with the
// terminator; false when they do not.
bool append(char* text, int capacity, int* length, const char* word,
            const char* separator) {
  int add = static_cast<int>(std::strlen(word) + std::strlen(separator));
  if (*length + add > capacity - 1) return false;
  std::strcpy(text + *length, word);
  std::strcat(text + *length, separator);
  *length += add;
  return true;
}

}  // namespace

// modelr message <message> ...: each word followed by one space; a text
// beyond 511 characters shows nothing; no words clears the line.
void messageCommand(Workspace& ws, char** words) {
  char text[kMessageBytes] = {0};
  int length = 0;
  for (char** w = words + 1; *w != nullptr; ++w) {
    const char* word = nullptr;
    if (!wordsRead(ws, parseString(&word, *w), "modelr: usage: modelr message <message>")) return;
    if (!append(text, kMessageBytes, &length, word, " ")) return;
  }
  postMessageLine(&ws.view.render, text);
}

// modelr system <command> <args>: the words joined by single blanks, run
// through the shell. A command line that does not fit is not run at all:
// running a cut-off command could do something else entirely.
void systemCommand(Workspace& ws, char** words) {
  const char* usage = "modelr: usage: modelr system <command> <args>";
  char line[kSystemBytes] = {0};
  int length = 0;
  if (words[1] == nullptr) {
    reportError(ws, usage);
    return;
  }
  for (char** w = words + 1; *w != nullptr; ++w) {
    const char* word = nullptr;
    if (!parseString(&word, *w) ||
        !append(line, kSystemBytes, &length, word, w[1] ? " " : "")) {
      reportError(ws, usage);
      return;
    }
  }
  int status = std::system(line);
  (void)status;  // the exit status is not the script's business
}

// ---- print -----------------------------------------------------------------

// modelr print: the view as the window shows it, as one job titled "3D
// Model Builder document" to the default printer of the print system.
void printCommand(Workspace& ws, char**) {
  std::string refusal = printView(ws);
  if (!refusal.empty()) reportErrorf(ws, "modelr: print failed: %s", refusal.c_str());
}


// modelr encode <words>: the registration words of the licence check. The
// check always passes, so the words are only kept (joined with blanks); a
// text too long for them is refused whole.
void encodeCommand(Workspace& ws, char** words) {
  wordsRead(ws, joinWords(words + 1, ws.texts.encoded, sizeof ws.texts.encoded),
            "modelr: usage: modelr encode <words>");
}
