// Printing the view: its viewport as the window shows it, as a binary PPM
// handed to the print system (CUPS lp), titled "3D Model Builder document".
#include "workspace/print.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "view/view_window.h"
#include "workspace/workspace.h"

extern char** environ;

namespace {

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
bool writeTemporaryPpm(const std::vector<unsigned char>& rgb, int width, int height,
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
    ok = writeAll(fd, reinterpret_cast<const char*>(rgb.data()) + row * r, row);
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

// Nothing of the view's drawing state changes, so there is nothing to
// restore afterwards.
std::string printView(Workspace& ws) {
  ViewportPixels pixels;
  if (viewWindow(ws.view) == nullptr) return "no view window";
  if (!captureViewport(ws.view, &pixels)) return "the view cannot be read";
  if (!pixels.read) return "the view cannot be read";
  std::string file;
  if (!writeTemporaryPpm(pixels.rgb, pixels.width, pixels.height, &file))
    return "cannot write a temporary file";
  // lp hands the file's bytes to the scheduler before it returns.
  std::string refusal = sendToPrinter(file);
  ::unlink(file.c_str());
  return refusal;
}
