// Line-oriented text input shared by the model and pose readers: the whole
// file is read into one buffer, then cut into lines and whitespace
// separated tokens in place (each token ends with a NUL written over the
// blank after it). Lines may be of any length; a line keeps its first
// kMaxLineTokens tokens and counts the rest, so that a check on the token
// count still sees them.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr int kMaxLineTokens = 1024;  // a 512-point polygon line needs 514

struct TextBuffer {
  char* data;   // NUL-terminated; null when empty
  size_t size;  // bytes, without the terminator
};

// Reads the whole file. False (nothing allocated) when it cannot be opened
// or read.
bool loadTextFile(const char* path, TextBuffer* out);
// Copies bytes (any content, NULs included) into a buffer of its own.
bool loadTextBytes(const char* bytes, size_t size, TextBuffer* out);
void freeTextBuffer(TextBuffer* buffer);

struct LineCursor {
  char* next;  // start of the next unread line
  char* end;   // the buffer's terminator
  int line;    // number of the line last returned, from 1
};

struct LineTokens {
  int count;   // tokens on the line, including those not kept
  int stored;  // tokens kept: min(count, kMaxLineTokens)
  char* word[kMaxLineTokens];
  int32_t length[kMaxLineTokens];
};

void lineCursorInit(LineCursor* cursor, TextBuffer* buffer);
// Moves to the next line that has a token, skipping blank lines; a token
// that starts with "#" starts a comment that runs to the end of the line.
// Blanks are space, tab, CR, VT, FF and NUL (so binary junk cannot end a
// line early). False at the end of the buffer.
bool nextLine(LineCursor* cursor, LineTokens* tokens);

// Strict number conversions of a whole token: an optional sign, digits (and
// for floats a fraction and exponent, or "nan"/"inf"). A token with
// anything after the number, or one out of range (beyond 32-bit integers,
// beyond float range), is refused.
bool tokenInt(const char* word, int32_t length, int32_t* out);
bool tokenFloat(const char* word, int32_t length, float* out);
// Does the token start like a number (a digit, or a sign or point followed
// by a digit or point)? This is what makes a line a data line.
bool startsNumber(const char* word);
