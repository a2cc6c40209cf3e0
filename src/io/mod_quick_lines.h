// The .mod reader's quick paths: point and polygon lines are nearly all of
// a large file, and these read the writer's shapes straight from a line's
// bytes. Anything else (a comment, an exponent, another polygon form, a bad
// number) makes them decline, and the line goes through the tokenizer and
// the general handlers, which give the same result or the right message.
// Pure functions of the bytes, so that a second thread may run them too.
// Internal to src/io.
#pragma once

#include <cstdint>

#include "io/text_lines.h"
#include "model/records.h"

inline const char* skipBlanks(const char* p, const char* end) {
  while (p < end && isTokenBlank(*p)) ++p;
  return p;
}

inline bool quickInt(const char*& p, const char* end, int32_t* out) {
  return *p != '#' && scanIntToken(p, end, out);
}

inline bool quickFloat(const char*& p, const char* end, float* out) {
  return *p != '#' && scanFloatToken(p, end, out);
}

// NUMBER X Y Z, anything after them ignored as the general path does.
inline bool parseQuickPoint(const char* p, const char* end, int32_t* number,
                            float xyz[3]) {
  p = skipBlanks(p, end);
  if (!quickInt(p, end, number)) return false;
  for (int i = 0; i < 3; ++i) {
    p = skipBlanks(p, end);
    if (!quickFloat(p, end, &xyz[i])) return false;
  }
  return true;
}

// 5 KIND P1 ... Pn: the writer's polygon form; points[] holds
// kMaxPolygonPoints.
inline bool parseQuickPolygon(const char* p, const char* end, int32_t* kind,
                              int32_t* points, int32_t* count) {
  int32_t form;
  p = skipBlanks(p, end);
  if (!quickInt(p, end, &form) || form != 5) return false;
  p = skipBlanks(p, end);
  if (!quickInt(p, end, kind)) return false;
  int32_t n = 0;
  for (p = skipBlanks(p, end); p < end; p = skipBlanks(p, end)) {
    if (n == kMaxPolygonPoints || !quickInt(p, end, &points[n])) return false;
    ++n;
  }
  *count = n;
  return n >= 3;
}

// A line the tokenizer finds no token on: blanks, or a comment.
inline bool isEmptyLine(const char* p, const char* end) {
  p = skipBlanks(p, end);
  return p == end || *p == '#';
}
