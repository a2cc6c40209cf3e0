// Buffered text output for the writers, with number formatting that gives
// exactly the bytes of the matching printf conversions (checked against
// snprintf in the tests) at a fraction of their cost, and saving through a
// temporary file: the target is replaced only when the whole file was
// written, so a failed or interrupted save leaves the previous file intact.
#pragma once

#include <signal.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

// While a file is written, SIGXFSZ (a file-size limit reached) is ignored,
// so that the write fails, the save answers 0 and the model stays open,
// instead of the signal ending the process; the previous action comes back
// when the file is committed or dropped.
struct TextOut {
  FILE* file;         // the temporary file; null when not open
  std::string name;   // the target as given, for messages
  std::string path;   // the target (links followed, dangling ones too)
  std::string temp;   // the temporary file beside it
  char* buffer;       // pending bytes
  size_t used;
  size_t capacity;
  uint64_t written;   // bytes handed to the system so far
  uint64_t flushed;   // of those, the ones whose write-back has been started
  bool failed;        // a write failed; commit will refuse
  bool nonFinite;     // an infinite or NaN number was written: refused too
  bool linked;        // the target has other hard links: rewritten in place
  bool signalSaved;
  struct sigaction previousXfsz;
};

// Creates a temporary file in the target's directory. False when it cannot
// be created (nothing is left behind), with "could not write: <path>" in
// LastError.
bool textOutOpen(TextOut* out, const char* path);
// Flushes, syncs, closes and renames the temporary file over the target,
// then syncs the directory. An existing target keeps its mode and, where
// permitted, its owner and group; one with other hard links is rewritten
// in place from the finished temporary, so the links stay one file. False
// (and the temporary file removed, the target untouched, "could not write:
// <path>" in LastError) when any write failed, or "could not write: <path>
// (a number is not finite)" when a number written was infinite or NaN.
bool textOutCommit(TextOut* out);
// Drops everything written; the target is untouched.
void textOutAbort(TextOut* out);

// Appenders. Each matches the printf conversion named beside it; floats are
// formatted as the double printf would receive them.
void outText(TextOut* out, const char* text);                 // %s
void outChars(TextOut* out, const char* text, size_t length);
void outChar(TextOut* out, char c);
void outPadRight(TextOut* out, const char* text, int width);  // %-8s
void outInt(TextOut* out, int32_t value);                     // %d
void outIntPadRight(TextOut* out, int32_t value, int width);  // %-3d
void outFixed(TextOut* out, double value, int decimals);      // %.6f, %.4f
void outFixedWidth(TextOut* out, double value, int width,     // %6.3f
                   int decimals);
// count values "%.6f", separated by single blanks.
void outFloatList(TextOut* out, const float* values, int count);
// `gap`, then count values "%.6f" separated by single blanks: a column of
// the model and pose files' records.
void outFloatField(TextOut* out, const char* gap, const float* values,
                   int count);
// "<keyword><name>%-8s<gap>": how the named records of model and pose files
// (joint, collide, child, pose, morph) begin.
void outNamedRecord(TextOut* out, const char* keyword, const char* name,
                    const char* gap);
// The heading of model and pose files: "#\n# <what>: <path>\n#\n" and
// the version line.
void outFileHeading(TextOut* out, const char* what, const char* path);
// A string literal, appended without measuring it.
template <size_t N>
inline void outLiteral(TextOut* out, const char (&text)[N]) {
  outChars(out, text, N - 1);
}

// The save-name rule of model and pose files: null or "" gives
// `fallback` ("untitled.mod", "noname.pos"); `extension` (".mod", ".pos")
// is appended unless the name has at least five characters and its
// fourth character from the end is ".".
std::string savedFileName(const char* name, const char* extension,
                          const char* fallback);
