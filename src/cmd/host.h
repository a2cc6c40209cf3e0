// The script host as the command families see it: results, reports to the
// script's procedures and script evaluation, all through the workspace the
// command runs in, without Tcl's headers.
#pragma once

#include <string>

#include "cmd/values.h"
#include "workspace/workspace.h"

// Makes a copy of the text the command's result; null or "" leaves the
// result as it is.
void setResult(Workspace& ws, const char* text);

// Calls the registered error procedure with the text as its one argument,
// never substituted; silent when none is registered or the text is null.
void reportError(Workspace& ws, const char* text);
void reportErrorf(Workspace& ws, const char* format, ...)
    __attribute__((format(printf, 2, 3)));
// The document's reason for its last refusal (LastError), when it has one.
void reportLastError(Workspace& ws);
// The words were read; else the usage text to the error procedure.
inline bool wordsRead(Workspace& ws, bool read, const char* usage) {
  if (!read) reportError(ws, usage);
  return read;
}
// The same for the families that answer refusals in the result (file,
// create, pose): the usage text becomes the command's result.
inline bool wordsReadOrAnswer(Workspace& ws, bool read, const char* usage) {
  if (!read) setResult(ws, usage);
  return read;
}

// The file name of a file or pose command: its words from words[1] on,
// joined with blanks; else the usage text as the result.
inline bool fileNameOrAnswer(Workspace& ws, char** words, std::string* name,
                             const char* usage) {
  return wordsReadOrAnswer(ws, fileNameFrom(words + 1, name), usage);
}

// An operation's outcome: on refusal its reason goes to the error procedure.
// Callers clear LastError before the operation, so that a refusal without a
// reason of its own does not repeat an old one.
inline bool passOnRefusal(Workspace& ws, bool ok) {
  if (!ok) reportLastError(ws);
  return ok;
}
// The same for the families that answer "1" or "0" as well.
inline void answerOutcome(Workspace& ws, bool ok) {
  setResult(ws, ok ? "1" : "0");
  passOnRefusal(ws, ok);
}

// The current model, or null after "modelr: no model selected!".
Model* selectedModel(Workspace& ws);
// The current model, or null with "0" as the result: for the families where
// no model is just a failed outcome.
Model* modelOrAnswerZero(Workspace& ws);
// The same with the status procedure.
void reportStatus(Workspace& ws, const char* text);
// Calls the simulate procedure with SIMULATE as its one argument.
void fireSimulateProcedure(Workspace& ws);

// "tcl/tk script error: %s \nline: %d \nreason: %s" through showErrorDialog.
void hostReportScriptError(Workspace& ws, const char* script,
                           const char* reason, int line);
// Through the error reporter procedure when one is set (the text as its
// one argument), else a Tk message box.
void showErrorDialog(Workspace& ws, const char* text);
void showInformation(Workspace& ws, const char* text);

// Runs every pending interpreter event without waiting (at most every
// 10 ms: see host_tcl.cpp).
void hostDrainEvents(Workspace& ws);

// The text the number formatters write into (format.h).
struct ResultText;
ResultText* resultText(Workspace& ws);
