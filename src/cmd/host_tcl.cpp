// Script host glue on Tcl's stubs.
#include "cmd/host_tcl.h"

#include <tk.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

#include "cmd/host.h"
#include "model/last_error.h"

namespace {

// The head of every interpreter record, as Tcl lays it out; the stubs
// table pointer follows the three public fields.
struct InterpHead {
  char* result;
  void (*freeProc)(char*);
  int errorLine;
  const struct TclStubs* stubTable;
};

constexpr int kReportBytes = 1024;
constexpr int kCallbackLineBytes = 1024;
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

int evalGlobal(Extension& x, const std::string& script) {
  return Tcl_EvalEx(x.interp, script.c_str(), -1, TCL_EVAL_GLOBAL);
}

// A message box, or stderr when no message box can be shown (no Tk).
void messageBox(Extension& x, const char* boxCommand, const std::string& text) {
  if (evalGlobal(x, quotedCall(boxCommand, text)) != TCL_OK) {
    std::fprintf(stderr, "modelr: %s\n", text.c_str());
  }
  Tcl_ResetResult(x.interp);
}

// Formats "%s \"%s\"\n" into a bounded buffer; a text too long for it is
// cut so that the closing quote always survives.
void fireProcedure(Workspace& ws, const char* procedure, const char* text) {
  if (extensionOf(ws).interp == nullptr || procedure == nullptr || text == nullptr) {
    return;
  }
  char buffer[kReportBytes];
  int fixed = static_cast<int>(std::strlen(procedure)) + 4;  // ' ', '"', '"', '\n'
  if (fixed >= kReportBytes) return;
  int room = kReportBytes - 1 - fixed;
  std::snprintf(buffer, sizeof buffer, "%s \"%.*s\"\n", procedure, room, text);
  hostEvaluateCallback(ws, buffer);
}

}  // namespace

bool hostBindStubs(Tcl_Interp* interp, bool* hasTk) {
  *hasTk = false;
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
    return false;
  }
  if (Tcl_InitStubs(interp, "8.4", 0) == nullptr) return false;
  ClientData tkStubs = nullptr;
  if (Tcl_PkgPresentEx(interp, "Tk", "8.4", 0, &tkStubs) != nullptr) {
    if (tkStubs == nullptr) {
      Tcl_SetResult(interp,
                    const_cast<char*>("This implementation of Tk does not support stubs"),
                    TCL_STATIC);
      return false;
    }
    if (Tk_InitStubs(interp, "8.4", 0) == nullptr) return false;
    *hasTk = true;
  }
  Tcl_ResetResult(interp);
  return true;
}

extern "C" int Modelr_BindInterp(Tcl_Interp* interp) {
  bool hasTk = false;
  return hostBindStubs(interp, &hasTk) ? TCL_OK : TCL_ERROR;
}

Extension& extensionOf(Workspace& ws) { return *static_cast<Extension*>(ws.host); }

// ---- what the workspace and the view report ------------------------------

void Extension::workspaceStatus(const char* line) { reportStatus(ws, line); }

void Extension::viewMouse(int32_t button, int32_t x, int32_t y, int32_t dx,
                          int32_t dy) {
  const char* procedure = callbackProcedure(ws, kCallbackMouse);
  if (procedure == nullptr) return;
  char line[kCallbackLineBytes];
  int length = std::snprintf(line, sizeof line, "%s %d %d %d %d %d\n",
                             procedure, button, x, y, dx, dy);
  if (length < 0 || length >= static_cast<int>(sizeof line)) return;
  hostEvaluateCallback(ws, line);
}

// The key's character as one Tcl word: characters the interpreter would
// read as syntax get a backslash, others outside printable ASCII a \x
// escape, so that the procedure always receives the character itself.
void Extension::viewKey(int32_t character) {
  const char* procedure = callbackProcedure(ws, kCallbackKeyboard);
  if (procedure == nullptr || character <= 0 || character > 0xff) return;
  char word[8];
  if (character < 0x20 || character >= 0x7f) {
    std::snprintf(word, sizeof word, "\\x%02x", character);
  } else if (std::strchr("\\[]{}\"$; ", character) != nullptr) {
    std::snprintf(word, sizeof word, "\\%c", character);
  } else {
    std::snprintf(word, sizeof word, "%c", character);
  }
  char line[kCallbackLineBytes];
  int length = std::snprintf(line, sizeof line, "%s %s\n", procedure, word);
  if (length < 0 || length >= static_cast<int>(sizeof line)) return;
  hostEvaluateCallback(ws, line);
}

void Extension::viewError(const char* line) { reportError(ws, line); }

void Extension::viewAlert(const char* line) { showErrorDialog(ws, line); }

void Extension::viewScene(Scene* scene) { fillScene(ws, scene); }

// ---- results and reports -------------------------------------------------

void setResult(Workspace& ws, const char* text) {
  Extension& x = extensionOf(ws);
  if (x.interp == nullptr || text == nullptr || text[0] == '\0') return;
  Tcl_SetObjResult(x.interp, Tcl_NewStringObj(text, -1));
}

void reportError(Workspace& ws, const char* text) {
  fireProcedure(ws, callbackProcedure(ws, kCallbackError), text);
}

void reportErrorf(Workspace& ws, const char* format, ...) {
  char buffer[kReportBytes];
  va_list args;
  va_start(args, format);
  std::vsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
  reportError(ws, buffer);
}

void reportLastError(Workspace& ws) { reportError(ws, lastErrorText()); }

Model* selectedModel(Workspace& ws) {
  Model* model = currentModel(ws);
  if (model == nullptr) reportError(ws, "modelr: no model selected!");
  return model;
}

Model* modelOrAnswerZero(Workspace& ws) {
  Model* model = currentModel(ws);
  if (model == nullptr) setResult(ws, "0");
  return model;
}

void reportStatus(Workspace& ws, const char* text) {
  fireProcedure(ws, callbackProcedure(ws, kCallbackStatus), text);
}

int hostEvaluate(Workspace& ws, const char* script) {
  Extension& x = extensionOf(ws);
  if (x.interp == nullptr || script == nullptr) return 1;
  // Evaluate a copy: the script may come from a buffer that a nested
  // command rewrites while this one runs.
  std::string copy = script;
  if (evalGlobal(x, copy) == TCL_OK) return 0;
  std::string reason = Tcl_GetStringResult(x.interp);
  hostReportScriptError(ws, copy.c_str(), reason.c_str(), Tcl_GetErrorLine(x.interp));
  return 1;
}

int hostEvaluateCallback(Workspace& ws, const char* script) {
  Extension& x = extensionOf(ws);
  if (x.interp == nullptr) return 1;
  // A callback never disturbs the result of the command that fired it.
  Tcl_Obj* saved = Tcl_GetObjResult(x.interp);
  Tcl_IncrRefCount(saved);
  int status = hostEvaluate(ws, script);
  Tcl_SetObjResult(x.interp, saved);
  Tcl_DecrRefCount(saved);
  return status;
}

void hostReportScriptError(Workspace& ws, const char* script, const char* reason,
                           int line) {
  std::string message = "tcl/tk script error: ";
  message += script ? script : "unknown";
  message += " \nline: " + std::to_string(line) + " \nreason: ";
  message += reason ? reason : "unknown";
  showErrorDialog(ws, message.c_str());
}

void showErrorDialog(Workspace& ws, const char* text) {
  Extension& x = extensionOf(ws);
  if (x.interp == nullptr) return;
  std::string message = singleQuoted(text);
  Tcl_ResetResult(x.interp);
  // Copied: the procedure may register another reporter while it runs.
  const std::string reporter = x.errorReporter;
  if (reporter.empty()) {
    messageBox(x, kErrorBox, message);
    return;
  }
  if (evalGlobal(x, quotedCall(reporter.c_str(), message)) == TCL_OK) {
    Tcl_ResetResult(x.interp);
    return;
  }
  std::string complaint = singleQuoted(Tcl_GetStringResult(x.interp));
  messageBox(x, kErrorBox, "Error TCL error script: " + reporter +
                               "\nhas an error: " + complaint);
}

void showInformation(Workspace& ws, const char* text) {
  Extension& x = extensionOf(ws);
  if (x.interp == nullptr) return;
  Tcl_ResetResult(x.interp);
  messageBox(x, kInfoBox, singleQuoted(text));
}

// Looking for events costs a system call or two (about 15 us), which would
// dwarf a command that adds a point. So events are drained at most every
// 10 ms: a script running command after command still has its view and
// interface serviced a hundred times a second.
void hostDrainEvents(Workspace& ws) {
  constexpr auto kDrainInterval = std::chrono::milliseconds(10);
  Extension& x = extensionOf(ws);
  if (x.interp == nullptr) return;
  auto now = std::chrono::steady_clock::now();
  if (now - x.lastDrain < kDrainInterval) return;
  while (Tcl_DoOneEvent(TCL_DONT_WAIT) != 0) {
  }
  x.lastDrain = std::chrono::steady_clock::now();
}

ResultText* resultText(Workspace& ws) { return &extensionOf(ws).text; }
