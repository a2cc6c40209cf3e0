// Line-oriented text input shared by the model and pose readers: the whole
// file is read into one buffer, then cut into lines and whitespace
// separated tokens in place (each token ends with a NUL written over the
// blank after it). Lines may be of any length; a line keeps its first
// kMaxLineTokens tokens and counts the rest, so that a check on the token
// count still sees them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "io/read_file.h"

constexpr int kMaxLineTokens = 1024;  // a 512-point polygon line needs 514
// The longest line a stream reads: far beyond any line a model needs (a
// 512-point polygon is a few kilobytes), small enough that a file of junk
// without newlines cannot take the memory.
constexpr size_t kMaxLineBytes = size_t{16} << 20;

struct TextBuffer {
  char* data;   // NUL-terminated; null when empty
  size_t size;  // bytes, without the terminator
};

// Reads the whole of a regular file. False (nothing allocated) when it
// cannot be opened (*why says why, when given) or read.
bool loadTextFile(const char* path, TextBuffer* out, ReadOpen* why = nullptr);
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

// Reading a file a chunk at a time: what the model reader uses, so that a
// large file is never held whole and the chunk stays in the cache while its
// lines are parsed. Lines longer than a chunk grow the chunk.
struct LineStream {
  FILE* file;
  char* buffer;     // capacity + 1 bytes: room for a final terminator
  size_t capacity;
  size_t begin;     // first unread byte
  size_t end;       // one past the last byte read
  bool atEnd;       // the file has no more bytes
  bool failed;      // a read error or no memory: the stream ended early
  bool tooLong;     // a line passed kMaxLineBytes: the stream ended there
  int line;         // number of the line last returned, from 1
};

// False (nothing open) when the file cannot be opened: *why (when given)
// says why. Only regular files are opened (read_file.h).
bool lineStreamOpen(LineStream* stream, const char* path, ReadOpen* why = nullptr);
void lineStreamClose(LineStream* stream);
// Moves to the next line that has a token, skipping blank lines; a token
// that starts with "#" starts a comment that runs to the end of the line.
// Blanks are space, tab, CR, VT, FF and NUL (so binary junk cannot end a
// line early). False at the end of the buffer.
bool nextLine(LineCursor* cursor, LineTokens* tokens);
bool nextLine(LineStream* stream, LineTokens* tokens);

// The next line as raw bytes [*begin, *end), blank or not; *end (the
// newline, or the terminator) may be overwritten. A reader with a quick
// path for common line shapes looks at the bytes first and tokenizes only
// when the quick path declines. False at the end.
bool nextRawLine(LineCursor* cursor, char** begin, char** end);
bool nextRawLine(LineStream* stream, char** begin, char** end);
// The next whole lines at once, [*begin, *end) with *end just after a
// newline, at least minBytes of them (a megabyte or so at most); the caller
// reads them and counts them into `line` itself. False, nothing taken, when
// fewer are at hand: the rest is read a line at a time.
bool takeRawLines(LineCursor* cursor, size_t minBytes, char** begin, char** end);
bool takeRawLines(LineStream* stream, size_t minBytes, char** begin, char** end);
// Cuts [begin, end) into tokens in place, as nextLine does; the count.
int tokenizeLine(char* begin, char* end, LineTokens* tokens);

// The separators between tokens: space, tab, CR, VT, FF and NUL.
extern const bool kTokenBlank[256];
inline bool isTokenBlank(char c) { return kTokenBlank[static_cast<unsigned char>(c)]; }

// Strict number conversions of a token: an optional sign, digits (and for
// floats a fraction and exponent, or "nan"/"inf"). A token with anything
// after the number, or one out of range (beyond 32-bit integers, beyond
// float range), is refused. The scan forms read the token that starts at p
// (it ends at a blank or at `end`) and leave p after it, so that a reader
// can convert a line's numbers in one pass over its bytes. Inline: a model
// file is mostly numbers.
inline bool scanIntToken(const char*& p, const char* end, int32_t* out) {
  bool negative = false;
  if (p < end && (*p == '-' || *p == '+')) negative = *p++ == '-';
  const char* digits = p;
  uint64_t value = 0;
  bool fits = true;
  for (; p < end; ++p) {
    const unsigned digit = static_cast<unsigned char>(*p) - '0';
    if (digit > 9) break;
    value = value * 10 + digit;
    if (value > 0xFFFFFFFFu) fits = false, value = 0xFFFFFFFFu;  // far beyond
  }
  if (p == digits || (p < end && !isTokenBlank(*p))) {
    while (p < end && !isTokenBlank(*p)) ++p;
    return false;
  }
  if (!fits || value > (negative ? 2147483648u : 2147483647u)) return false;
  *out = static_cast<int32_t>(negative ? -static_cast<int64_t>(value)
                                       : static_cast<int64_t>(value));
  return true;
}

inline bool tokenInt(const char* word, int32_t length, int32_t* out) {
  const char* p = word;
  const char* const end = word + length;
  return scanIntToken(p, end, out) && p == end;
}

// Every form std::from_chars takes; correctly rounded.
bool tokenFloatSlow(const char* word, int32_t length, float* out);

// Plain decimals ("-12.345678", what the writers print) are converted here:
// digits as an integer divided by an exact power of ten is the correctly
// rounded double, and rounding that to float is correct unless it lies
// exactly halfway between two floats, which goes the slow way, as does
// anything else (exponents, long or tiny numbers, nan, inf).
inline bool scanFloatToken(const char*& cursor, const char* end, float* out) {
  static const double kPow10[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                  1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
  const char* const start = cursor;
  const char* p = start;
  bool negative = false;
  if (p < end && (*p == '-' || *p == '+')) negative = *p++ == '-';
  uint64_t mantissa = 0;
  int digits = 0, decimals = -1;
  for (; p < end; ++p) {
    const unsigned digit = static_cast<unsigned char>(*p) - '0';
    if (digit <= 9) {
      mantissa = mantissa * 10 + digit;  // wraps only past 19 digits: slow way
      ++digits;
      if (decimals >= 0) ++decimals;
    } else if (*p == '.' && decimals < 0) {
      decimals = 0;
    } else {
      break;
    }
  }
  const bool plain = (p == end || isTokenBlank(*p)) && digits > 0 && digits <= 15;
  while (p < end && !isTokenBlank(*p)) ++p;
  cursor = p;
  const int32_t length = static_cast<int32_t>(p - start);
  if (decimals < 0) decimals = 0;
  const double value = plain ? static_cast<double>(mantissa) / kPow10[decimals] : 0.0;
  uint64_t bits = 0;
  static_assert(sizeof bits == sizeof value, "double is 64 bits");
  __builtin_memcpy(&bits, &value, sizeof bits);
  // The 29 bits a float drops: exactly 1 followed by zeros is a tie.
  const bool tie = (bits & 0x1FFFFFFFu) == 0x10000000u;
  const bool tiny = value != 0.0 && value < 1e-30;
  if (!plain || tie || tiny) return tokenFloatSlow(start, length, out);
  const float f = static_cast<float>(value);
  *out = negative ? -f : f;
  return true;
}

inline bool tokenFloat(const char* word, int32_t length, float* out) {
  const char* p = word;
  const char* const end = word + length;
  return scanFloatToken(p, end, out) && p == end;
}

// Does the token start like a number (a digit, or a sign or point followed
// by a digit or point)? This is what makes a line a data line.
bool startsNumber(const char* word);
