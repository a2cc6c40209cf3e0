// Script host glue on Tcl's stubs.
#include "cmd/host_tcl.h"

#include <tk.h>

#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

#include "cmd/callbacks.h"
#include "cmd/host.h"

namespace {

struct HostState {
  Tcl_Interp* interp = nullptr;
  bool hasTk = false;
  std::string baseDirectory;
  std::string subdirectory;
  std::string errorReporter;
  std::string lastScriptPath;
};

HostState g_host;

// The head of every interpreter record, as Tcl lays it out; the stubs
// table pointer follows the three public fields.
struct InterpHead {
  char* result;
  void (*freeProc)(char*);
  int errorLine;
  const struct TclStubs* stubTable;
};

constexpr int kReportBytes = 1024;
const char kErrorBox[] = "tk_messageBox -type ok -title Error -icon error -message";
const char kInfoBox[] = "tk_messageBox -type ok -title Information -icon info -message";

std::string singleQuoted(const char* text) {
  std::string out = text ? text : "unknown";
  for (char& c : out) {
    if (c == '"') c = '\'';
  }
  return out;
}

std::string quotedCall(const char* command, const std::string& text) {
  std::string script = command;
  script += " \"";
  script += text;
  script += "\"";
  return script;
}

int evalGlobal(const std::string& script) {
  return Tcl_EvalEx(g_host.interp, script.c_str(), -1, TCL_EVAL_GLOBAL);
}

// A message box, or stderr when no message box can be shown (no Tk).
void messageBox(const char* boxCommand, const std::string& text) {
  if (evalGlobal(quotedCall(boxCommand, text)) != TCL_OK) {
    std::fprintf(stderr, "modelr: %s\n", text.c_str());
  }
  Tcl_ResetResult(g_host.interp);
}

// Formats "%s \"%s\"\n" into a bounded buffer; a text too long for it is
// cut so that the closing quote always survives.
void fireProcedure(const char* procedure, const char* text) {
  if (g_host.interp == nullptr || procedure == nullptr || text == nullptr) {
    return;
  }
  char buffer[kReportBytes];
  int fixed = static_cast<int>(std::strlen(procedure)) + 4;  // ' ', '"', '"', '\n'
  if (fixed >= kReportBytes) return;
  int room = kReportBytes - 1 - fixed;
  std::snprintf(buffer, sizeof buffer, "%s \"%.*s\"\n", procedure, room, text);
  hostEvaluateCallback(buffer);
}

}  // namespace

bool hostBind(Tcl_Interp* interp) {
  g_host = HostState();
  g_host.interp = interp;
  InterpHead* head = reinterpret_cast<InterpHead*>(interp);
  if (head == nullptr || head->stubTable == nullptr ||
      head->stubTable->magic != static_cast<int>(TCL_STUB_MAGIC)) {
    // Without a stubs table no Tcl call is safe: the message goes straight
    // into the interpreter's record, as Tcl's own stub library does.
    if (head) {
      head->result =
          const_cast<char*>("This interpreter does not support stubs-enabled extensions.");
      head->freeProc = nullptr;  // static text
    }
    g_host.interp = nullptr;
    return false;
  }
  if (Tcl_InitStubs(interp, "8.4", 0) == nullptr) {
    g_host.interp = nullptr;
    return false;
  }
  ClientData tkStubs = nullptr;
  if (Tcl_PkgPresentEx(interp, "Tk", "8.4", 0, &tkStubs) != nullptr) {
    if (tkStubs == nullptr) {
      Tcl_SetResult(interp,
                    const_cast<char*>("This implementation of Tk does not support stubs"),
                    TCL_STATIC);
      g_host.interp = nullptr;
      return false;
    }
    if (Tk_InitStubs(interp, "8.4", 0) == nullptr) {
      g_host.interp = nullptr;
      return false;
    }
    g_host.hasTk = true;
  }
  Tcl_ResetResult(interp);
  return true;
}

Tcl_Interp* hostInterp() { return g_host.interp; }
bool hostHasTk() { return g_host.hasTk; }

extern "C" int Modelr_BindInterp(Tcl_Interp* interp) {
  return hostBind(interp) ? TCL_OK : TCL_ERROR;
}

void setResult(const char* text) {
  if (g_host.interp == nullptr || text == nullptr || text[0] == '\0') return;
  Tcl_SetObjResult(g_host.interp, Tcl_NewStringObj(text, -1));
}

void reportError(const char* text) {
  fireProcedure(callbackProcedure(kCallbackError), text);
}

void reportErrorf(const char* format, ...) {
  char buffer[kReportBytes];
  va_list args;
  va_start(args, format);
  std::vsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
  reportError(buffer);
}

void reportStatus(const char* text) {
  fireProcedure(callbackProcedure(kCallbackStatus), text);
}

int hostEvaluate(const char* script) {
  if (g_host.interp == nullptr || script == nullptr) return 1;
  // Evaluate a copy: the script may come from a buffer that a nested
  // command rewrites while this one runs.
  std::string copy = script;
  if (evalGlobal(copy) == TCL_OK) return 0;
  std::string reason = Tcl_GetStringResult(g_host.interp);
  hostReportScriptError(copy.c_str(), reason.c_str(),
                        Tcl_GetErrorLine(g_host.interp));
  return 1;
}

int hostEvaluateCallback(const char* script) {
  if (g_host.interp == nullptr) return 1;
  // A callback never disturbs the result of the command that fired it.
  Tcl_Obj* saved = Tcl_GetObjResult(g_host.interp);
  Tcl_IncrRefCount(saved);
  int status = hostEvaluate(script);
  Tcl_SetObjResult(g_host.interp, saved);
  Tcl_DecrRefCount(saved);
  return status;
}

void hostSetScriptPaths(const char* baseDirectory, const char* subdirectory) {
  g_host.baseDirectory = baseDirectory ? baseDirectory : "";
  g_host.subdirectory = subdirectory ? subdirectory : "";
}

const char* hostLastScriptPath() { return g_host.lastScriptPath.c_str(); }

int hostSource(const char* fileName) {
  std::string path = g_host.baseDirectory + g_host.subdirectory +
                     (fileName ? fileName : "");
  for (char& c : path) {
    if (c == '\\') c = '/';
  }
  g_host.lastScriptPath = path;
  return hostEvaluate(("source \"" + path + "\"").c_str());
}

void hostReportScriptError(const char* script, const char* reason, int line) {
  std::string message = "tcl/tk script error: ";
  message += script ? script : "unknown";
  message += " \nline: " + std::to_string(line) + " \nreason: ";
  message += reason ? reason : "unknown";
  showErrorDialog(message.c_str());
}

void showErrorDialog(const char* text) {
  if (g_host.interp == nullptr) return;
  std::string message = singleQuoted(text);
  Tcl_ResetResult(g_host.interp);
  if (g_host.errorReporter.empty()) {
    messageBox(kErrorBox, message);
    return;
  }
  if (evalGlobal(quotedCall(g_host.errorReporter.c_str(), message)) == TCL_OK) {
    Tcl_ResetResult(g_host.interp);
    return;
  }
  std::string complaint = singleQuoted(Tcl_GetStringResult(g_host.interp));
  messageBox(kErrorBox, "Error TCL error script: " + g_host.errorReporter +
                            "\nhas an error: " + complaint);
}

void showInformation(const char* text) {
  if (g_host.interp == nullptr) return;
  Tcl_ResetResult(g_host.interp);
  messageBox(kInfoBox, singleQuoted(text));
}

void hostSetErrorReporter(const char* procedure) {
  g_host.errorReporter = procedure ? procedure : "";
}

// Looking for events costs a system call or two (about 15 us), which would
// dwarf a command that adds a point. So events are drained at most every
// 10 ms: a script running command after command still has its view and
// interface serviced a hundred times a second.
void hostDrainEvents() {
  constexpr auto kDrainInterval = std::chrono::milliseconds(10);
  static std::chrono::steady_clock::time_point last;
  if (g_host.interp == nullptr) return;
  auto now = std::chrono::steady_clock::now();
  if (now - last < kDrainInterval) return;
  while (Tcl_DoOneEvent(TCL_DONT_WAIT) != 0) {
  }
  last = std::chrono::steady_clock::now();
}
