// Script host glue on Tcl's stubs.
#include "cmd/host_tcl.h"

#include <tk.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "cmd/host.h"
#include "io/side_files.h"
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

// A Tcl word holding the text, or "unknown" for none.
Tcl_Obj* word(const char* text) { return Tcl_NewStringObj(text ? text : "unknown", -1); }

// A message box, or stderr when no message box can be shown (no Tk).
void messageBox(Extension& x, const char* title, const char* icon, const std::string& text) {
  Tcl_Obj* objv[] = {word("tk_messageBox"), word("-type"),  word("ok"),
                     word("-title"),        word(title),    word("-icon"),
                     word(icon),            word("-message"), word(text.c_str())};
  const int objc = static_cast<int>(sizeof objv / sizeof objv[0]);
  for (Tcl_Obj* o : objv) Tcl_IncrRefCount(o);
  if (Tcl_EvalObjv(x.interp, objc, objv, TCL_EVAL_GLOBAL) != TCL_OK) {
    std::fprintf(stderr, "modelr: %s\n", text.c_str());
  }
  for (Tcl_Obj* o : objv) Tcl_DecrRefCount(o);
  Tcl_ResetResult(x.interp);
}

// Calls the procedure with the values as its arguments, one word each, in
// the global scope: nothing in a value is ever substituted or run, whatever
// brackets, dollars or quotes it holds (texts carry words from files). On
// failure `*failure` gets the call (as a list) and the interpreter result
// holds the reason. The objects are released here.
int callWords(Extension& x, Tcl_Obj** objv, int objc, std::string* failure) {
  for (int i = 0; i < objc; ++i) Tcl_IncrRefCount(objv[i]);
  int status = Tcl_EvalObjv(x.interp, objc, objv, TCL_EVAL_GLOBAL);
  if (status != TCL_OK && failure != nullptr) {
    Tcl_Obj* call = Tcl_NewListObj(objc, objv);
    Tcl_IncrRefCount(call);
    *failure = Tcl_GetString(call);
    Tcl_DecrRefCount(call);
  }
  for (int i = 0; i < objc; ++i) Tcl_DecrRefCount(objv[i]);
  return status;
}

const char* const kTypeNames[kCallbackTypes] = {"error",    "keyboard", "mouse",
                                                "joystick", "simulate", "status"};

// Runs one queued callback: the procedure and its values as words. The
// command's result stays as it was, and a failing procedure is reported as
// a script error.
void deliver(Workspace& ws, const PendingCallback& item) {
  Extension& x = extensionOf(ws);
  Tcl_Obj* saved = Tcl_GetObjResult(x.interp);
  Tcl_IncrRefCount(saved);
  int objc = 0;
  Tcl_Obj** objv = nullptr;
  Tcl_ListObjGetElements(nullptr, item.call, &objc, &objv);
  std::vector<Tcl_Obj*> words(objv, objv + objc);  // the list may change
  std::string call;
  x.runningMask = item.causes | (1u << item.type);
  if (callWords(x, words.data(), objc, &call) != TCL_OK) {
    std::string reason = Tcl_GetStringResult(x.interp);
    hostReportScriptError(ws, call.c_str(), reason.c_str(), Tcl_GetErrorLine(x.interp));
  }
  Tcl_SetObjResult(x.interp, saved);
  Tcl_DecrRefCount(saved);
}

// A callback whose own type is among its causes came, however indirectly,
// from a procedure of that type: running it could go on for ever (a status
// procedure that opens a model reports status again). It is dropped, and
// the error procedure hears of it once per delivery.
void dropLoop(Workspace& ws, const PendingCallback& item, uint32_t* said) {
  Extension& x = extensionOf(ws);
  if (*said & (1u << item.type)) return;
  *said |= 1u << item.type;
  std::string text = std::string("modelr: the ") + kTypeNames[item.type] +
                     " procedure caused another " + kTypeNames[item.type] +
                     " report, which was dropped";
  const uint32_t errorBit = 1u << kCallbackError;
  const char* procedure = callbackProcedure(ws, kCallbackError);
  if (item.type == kCallbackError || procedure == nullptr || (item.causes & errorBit)) {
    std::fprintf(stderr, "%s\n", text.c_str());
    return;
  }
  Tcl_Obj* objv[] = {word(procedure), word(text.c_str())};
  PendingCallback note = {kCallbackError, Tcl_NewListObj(2, objv), item.causes};
  Tcl_IncrRefCount(note.call);
  x.pending.push_back(note);
}

// Delivers what is queued, in order, unless a command is running (its
// handler may hold document records that a procedure could free) or this
// is already under way further up.
void flushCallbacks(Workspace& ws) {
  Extension& x = extensionOf(ws);
  if (x.commandDepth > 0 || x.delivering || x.interp == nullptr) return;
  x.delivering = true;
  uint32_t said = 0;  // the types whose loops were reported
  while (!x.pending.empty()) {
    PendingCallback item = x.pending.front();
    x.pending.pop_front();
    if (item.causes & (1u << item.type)) {
      dropLoop(ws, item, &said);
    } else {
      deliver(ws, item);
    }
    Tcl_DecrRefCount(item.call);
  }
  x.runningMask = 0;
  x.delivering = false;
}

// Queues a callback (the procedure, then each value as one word) and
// delivers the queue when no command is running.
void fireCallback(Workspace& ws, CallbackType type, Tcl_Obj** objv, int objc) {
  Extension& x = extensionOf(ws);
  PendingCallback item = {type, Tcl_NewListObj(objc, objv),
                          x.delivering ? x.runningMask : 0u};
  Tcl_IncrRefCount(item.call);
  x.pending.push_back(item);
  flushCallbacks(ws);
}

// The text as the procedure's one argument. A text longer than the report
// buffer of old is cut there, so that every procedure sees what it always
// saw of a long text.
void fireProcedure(Workspace& ws, CallbackType type, const char* procedure,
                   const char* text) {
  if (extensionOf(ws).interp == nullptr || procedure == nullptr || text == nullptr) {
    return;
  }
  int fixed = static_cast<int>(std::strlen(procedure)) + 4;  // ' ', '"', '"', '\n'
  if (fixed >= kReportBytes) return;
  int room = kReportBytes - 1 - fixed;
  int length = static_cast<int>(std::strlen(text));
  Tcl_Obj* objv[] = {word(procedure), Tcl_NewStringObj(text, length < room ? length : room)};
  fireCallback(ws, type, objv, 2);
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
  if (procedure == nullptr || interp == nullptr) return;
  Tcl_Obj* objv[] = {word(procedure), Tcl_NewIntObj(button), Tcl_NewIntObj(x),
                     Tcl_NewIntObj(y),    Tcl_NewIntObj(dx),     Tcl_NewIntObj(dy)};
  fireCallback(ws, kCallbackMouse, objv, 6);
}

// The key's character (Latin-1) as the procedure's one argument.
void Extension::viewKey(int32_t character) {
  const char* procedure = callbackProcedure(ws, kCallbackKeyboard);
  if (procedure == nullptr || interp == nullptr || character <= 0 || character > 0xff) return;
  Tcl_UniChar code = static_cast<Tcl_UniChar>(character);
  Tcl_Obj* objv[] = {word(procedure), Tcl_NewUnicodeObj(&code, 1)};
  fireCallback(ws, kCallbackKeyboard, objv, 2);
}

void Extension::viewError(const char* line) { reportError(ws, line); }

void Extension::viewAlert(const char* line) { showErrorDialog(ws, line); }

void Extension::viewScene(Scene* scene) { fillScene(ws, scene); }

bool Extension::viewShaderSource(const char* directory, const char* file,
                                 std::string* text, std::string* why) {
  return readTextBesideModel(directory, file, text, why);
}

// ---- results and reports -------------------------------------------------

void setResult(Workspace& ws, const char* text) {
  Extension& x = extensionOf(ws);
  if (x.interp == nullptr || text == nullptr || text[0] == '\0') return;
  Tcl_SetObjResult(x.interp, Tcl_NewStringObj(text, -1));
}

namespace {

constexpr size_t kKeptReports = 16;

void record(const Extension& x, std::vector<std::string>* kept, const char* text) {
  if (x.recording > 0 && text != nullptr && kept->size() < kKeptReports) kept->push_back(text);
}

}  // namespace

void reportError(Workspace& ws, const char* text) {
  Extension& x = extensionOf(ws);
  record(x, &x.reports, text);
  fireProcedure(ws, kCallbackError, callbackProcedure(ws, kCallbackError), text);
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
  Extension& x = extensionOf(ws);
  record(x, &x.statuses, text);
  fireProcedure(ws, kCallbackStatus, callbackProcedure(ws, kCallbackStatus), text);
}

void fireSimulateProcedure(Workspace& ws) {
  const char* procedure = callbackProcedure(ws, kCallbackSimulate);
  if (extensionOf(ws).interp == nullptr || procedure == nullptr) return;
  Tcl_Obj* objv[] = {word(procedure), word("SIMULATE")};
  fireCallback(ws, kCallbackSimulate, objv, 2);
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
  std::string message = text ? text : "unknown";
  Tcl_ResetResult(x.interp);
  // Copied: the procedure may register another reporter while it runs.
  const char* registered = callbackProcedure(ws, kCallbackError);
  const std::string reporter = registered != nullptr ? registered : "";
  if (reporter.empty()) {
    messageBox(x, "Error", "error", message);
    return;
  }
  Tcl_Obj* objv[] = {word(reporter.c_str()), word(message.c_str())};
  if (callWords(x, objv, 2, nullptr) == TCL_OK) {
    Tcl_ResetResult(x.interp);
    return;
  }
  std::string complaint = Tcl_GetStringResult(x.interp);
  messageBox(x, "Error", "error",
             "Error TCL error script: " + reporter + "\nhas an error: " + complaint);
}

void showInformation(Workspace& ws, const char* text) {
  Extension& x = extensionOf(ws);
  if (x.interp == nullptr) return;
  Tcl_ResetResult(x.interp);
  messageBox(x, "Information", "info", text ? text : "unknown");
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

void hostCommandBegins(Workspace& ws) { ++extensionOf(ws).commandDepth; }

void hostCommandEnds(Workspace& ws) {
  Extension& x = extensionOf(ws);
  if (x.commandDepth > 0) --x.commandDepth;
  flushCallbacks(ws);
}
