// The two commands the dispatcher carries out itself: message and system.
#include <cstdlib>
#include <cstring>

#include "cmd/context.h"
#include "cmd/families.h"
#include "cmd/host.h"
#include "cmd/values.h"

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
void messageCommand(char** words) {
  char text[kMessageBytes] = {0};
  int length = 0;
  for (char** w = words + 1; *w != nullptr; ++w) {
    const char* word = nullptr;
    if (!parseString(&word, *w)) {
      reportError("modelr: usage: modelr message <message>");
      return;
    }
    if (!append(text, kMessageBytes, &length, word, " ")) return;
  }
  postMessageLine(&g_app.render, text);
}

// modelr system <command> <args>: the words joined by single blanks, run
// through the shell. A command line that does not fit is not run at all:
// running a cut-off command could do something else entirely.
void systemCommand(char** words) {
  const char* usage = "modelr: usage: modelr system <command> <args>";
  char line[kSystemBytes] = {0};
  int length = 0;
  if (words[1] == nullptr) {
    reportError(usage);
    return;
  }
  for (char** w = words + 1; *w != nullptr; ++w) {
    const char* word = nullptr;
    if (!parseString(&word, *w) ||
        !append(line, kSystemBytes, &length, word, w[1] ? " " : "")) {
      reportError(usage);
      return;
    }
  }
  int status = std::system(line);
  (void)status;  // the exit status is not the script's business
}

void printCommand(char**) {}
void toggleCommand(char**) {}
