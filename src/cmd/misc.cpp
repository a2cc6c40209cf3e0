// The small top-level commands: message, system, print and toggle.
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

#include "cmd/context.h"
#include "cmd/families.h"
#include "cmd/host.h"
#include "cmd/subcommands.h"
#include "cmd/values.h"
#include "view/platform.h"
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

// ---- print -----------------------------------------------------------------

namespace {

// The view's viewport as the window shows it, RGB, bottom row first: the
// centred rectangle when the size is fixed, cut to the window.
bool captureView(PlatformWindow* window, std::string* rgb, int* width,
                 int* height) {
  int windowWidth = 0, windowHeight = 0;
  platformWindowSize(window, &windowWidth, &windowHeight);
  int x = 0, y = 0;
  if (g_app.view.fixedSize != 0) {
    x = std::max(0, windowWidth / 2 - g_app.view.viewWidth / 2);
    y = std::max(0, windowHeight / 2 - g_app.view.viewHeight / 2);
  }
  *width = std::max(0, std::min(g_app.view.viewWidth, windowWidth - x));
  *height = std::max(0, std::min(g_app.view.viewHeight, windowHeight - y));
  if (*width == 0 || *height == 0) return false;
  rgb->assign(static_cast<size_t>(*width) * *height * 3, '\0');
  return platformReadPixels(window, x, y, *width, *height,
                            reinterpret_cast<unsigned char*>(&(*rgb)[0]));
}

bool writeAll(int fd, const char* data, size_t size) {
  while (size > 0) {
    ssize_t written = ::write(fd, data, size);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    data += written;
    size -= static_cast<size_t>(written);
  }
  return true;
}

// A binary PPM (top row first), which the print system's image filters
// take; TGA is not among them. The temporary file's path goes to `path`.
bool writeTemporaryPpm(const std::string& rgb, int width, int height,
                       std::string* path) {
  const char* directory = std::getenv("TMPDIR");
  if (directory == nullptr || directory[0] == '\0') directory = "/tmp";
  std::string name = std::string(directory) + "/modelr-print-XXXXXX.ppm";
  int fd = mkstemps(&name[0], 4);
  if (fd < 0) return false;
  char header[64];
  int length = std::snprintf(header, sizeof header, "P6\n%d %d\n255\n", width, height);
  bool ok = writeAll(fd, header, static_cast<size_t>(length));
  const size_t row = static_cast<size_t>(width) * 3;
  for (int r = height - 1; ok && r >= 0; --r) {
    ok = writeAll(fd, rgb.data() + row * r, row);
  }
  ok = ::close(fd) == 0 && ok;
  if (!ok) ::unlink(name.c_str());
  *path = name;
  return ok;
}

// The first line of what the print command said, without the characters
// that the error procedure's script would substitute.
std::string firstLine(const std::string& output) {
  std::string line;
  for (char c : output) {
    if (c == '\n' || line.size() >= 200) break;
    if (std::strchr("[]{}$\"\\", c) == nullptr && c >= ' ') line += c;
  }
  return line;
}

// Runs `lp -t <title> <file>` (CUPS) and waits for it; an empty text when
// the job was queued, else why not.
std::string sendToPrinter(const std::string& file) {
  int pipeEnds[2];
  if (::pipe(pipeEnds) != 0) return "cannot start lp";
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], 1);
  posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], 2);
  posix_spawn_file_actions_addclose(&actions, pipeEnds[0]);
  posix_spawn_file_actions_addclose(&actions, pipeEnds[1]);
  char lp[] = "lp", titleFlag[] = "-t", title[] = "3D Model Builder document";
  std::string fileArgument = file;
  char* argv[] = {lp, titleFlag, title, &fileArgument[0], nullptr};
  pid_t pid = 0;
  int spawned = posix_spawnp(&pid, "lp", &actions, nullptr, argv, environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(pipeEnds[1]);
  std::string output;
  if (spawned == 0) {
    char buffer[512];
    for (;;) {
      ssize_t got = ::read(pipeEnds[0], buffer, sizeof buffer);
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) break;
      if (output.size() < 4096) output.append(buffer, static_cast<size_t>(got));
    }
  }
  ::close(pipeEnds[0]);
  if (spawned != 0) return "no print system (lp not found)";
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return "";
  if (WIFEXITED(status) && WEXITSTATUS(status) == 127) {
    return "no print system (lp not found)";
  }
  std::string said = firstLine(output);
  return said.empty() ? "no printer configured" : said;
}

}  // namespace

// modelr print: the view as the window shows it, as one job titled "3D
// Model Builder document" to the default printer of the print system.
// Nothing of the view's drawing state changes, so there is nothing to
// restore afterwards.
void printCommand(char**) {
  PlatformWindow* window = viewWindow();
  if (window == nullptr) {
    reportError("modelr: print failed: no view window");
    return;
  }
  std::string rgb;
  int width = 0, height = 0;
  if (!captureView(window, &rgb, &width, &height)) {
    reportError("modelr: print failed: the view cannot be read");
    return;
  }
  std::string file;
  if (!writeTemporaryPpm(rgb, width, height, &file)) {
    reportError("modelr: print failed: cannot write a temporary file");
    return;
  }
  // lp hands the file's bytes to the scheduler before it returns.
  std::string refusal = sendToPrinter(file);
  ::unlink(file.c_str());
  if (!refusal.empty()) reportErrorf("modelr: print failed: %s", refusal.c_str());
}

// ---- toggle ----------------------------------------------------------------

namespace {

// Picking is not there yet: the arguments are checked and nothing is
// picked, so the answer is 0 and no selection changes.
void togglePick(char** words, const char* usage) {
  int32_t x = 0, y = 0;
  if (!parseInt(&x, words[1]) || !parseInt(&y, words[2])) {
    reportError(usage);
    return;
  }
  setResult("0");
}

void toggleChild(char** words) {
  togglePick(words, "modelr: usage: modelr pick model <x> <y>");
}

void togglePoint(char** words) {
  togglePick(words, "modelr: usage: modelr pick point <x> <y>");
}

const SubCommand kToggleWords[] = {
    {"child", toggleChild},
    {"point", togglePoint},
};

}  // namespace

// modelr toggle child|point <x> <y>: the picked id, 0 for none.
void toggleCommand(char** words) {
  runSubCommand(words, kToggleWords, "attribute");
}

