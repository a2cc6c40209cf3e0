// The script host: everything the rest of the extension needs from the
// interpreter, without Tcl's headers. All evaluation goes to the one
// interpreter the extension was loaded into.
#pragma once

// Makes a copy of the text the command's result; null or "" leaves the
// result as it is.
void setResult(const char* text);

// Sends the text to the registered error procedure as the script
// "%s \"%s\"\n"; silent when none is registered or the text is null.
void reportError(const char* text);
void reportErrorf(const char* format, ...) __attribute__((format(printf, 1, 2)));
// The same with the status procedure.
void reportStatus(const char* text);

// Evaluates a script in the global interpreter: 0 on success, 1 on error
// (then reported as a script error). The command's result is left empty.
int hostEvaluate(const char* script);
// The same for a callback line: the command's result is kept as it was.
int hostEvaluateCallback(const char* script);
// Sources base directory + subdirectory + name, with forward slashes.
int hostSource(const char* fileName);
// The two prefixes of hostSource; null clears one.
void hostSetScriptPaths(const char* baseDirectory, const char* subdirectory);
// The path hostSource built last.
const char* hostLastScriptPath();

// "tcl/tk script error: %s \nline: %d \nreason: %s" through showErrorDialog.
void hostReportScriptError(const char* script, const char* reason, int line);
// Through the error reporter procedure when one is set, else a Tk message
// box; double quotes become single quotes so the text stays one word.
void showErrorDialog(const char* text);
void showInformation(const char* text);
// Null or "" clears the reporter.
void hostSetErrorReporter(const char* procedure);

// Runs every pending interpreter event without waiting.
void hostDrainEvents();
