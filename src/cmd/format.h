// Number lists for command results, written into the command's result
// text (one per extension; the next call reuses it, so hand the text to the
// result at once).
//  - floats: "%.6f " per value, the last one too ("1.000000 2.000000 ").
//  - integers: "%d " per value except the last ("1 2 3").
// A negative count, or a text that would pass 65500 characters, gives null;
// a count of zero gives "".
#pragma once

#include <cstdint>

constexpr int kMaxResultChars = 65500;

struct ResultText {
  char text[65536];
  // A list of words being built (query_support.h): its length so far and
  // whether it outgrew the result.
  int length;
  bool full;
};

const char* formatFloatList(ResultText* out, const float* values, int count);
const char* formatIntList(ResultText* out, const int32_t* values, int count);
