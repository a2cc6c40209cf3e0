#include "model/last_error.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr int kErrorBytes = kErrorTextBytes;

// The one channel through which every document operation says why it
// refused; it outlives any one document (a failed load has none), so it
// is the process's, as errno is.
char* g_text = nullptr;
char g_contextFile[kErrorBytes];
bool g_hasContextFile = false;
int g_contextLine = 0;

}  // namespace

void lastErrorReport(const char* text) {
  std::free(g_text);
  g_text = nullptr;
  if (text == nullptr || text[0] == '\0') return;

  std::string message = text;
  if (g_contextLine > 0 && g_hasContextFile) {
    message += " (file: " + std::string(g_contextFile) +
               ", line: " + std::to_string(g_contextLine) + ")";
  } else if (g_contextLine > 0) {
    message += " (line: " + std::to_string(g_contextLine) + ")";
  }
  if (message.size() > kErrorBytes - 1) message.resize(kErrorBytes - 1);
  g_text = strdup(message.c_str());
}

void lastErrorReportf(const char* format, ...) {
  char buffer[kErrorBytes];
  va_list args;
  va_start(args, format);
  std::vsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
  lastErrorReport(buffer);
}

const char* lastErrorText() { return g_text; }

void lastErrorClear() { lastErrorReport(nullptr); }

void lastErrorSetContext(const char* file, int line) {
  g_hasContextFile = file != nullptr;
  if (file) std::snprintf(g_contextFile, sizeof g_contextFile, "%s", file);
  g_contextLine = line;
}

void lastErrorSetLine(int line) { g_contextLine = line; }

void lastErrorClearContext() {
  g_hasContextFile = false;
  g_contextLine = 0;
}
