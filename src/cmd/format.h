// Number lists for command results. Both write into one shared 64 KiB text
// that the next call reuses, so hand the text to the result at once.
//  - floats: "%.6f " per value, the last one too ("1.000000 2.000000 ").
//  - integers: "%d " per value except the last ("1 2 3").
// A negative count, or a text that would pass 65500 characters, gives null;
// a count of zero gives "".
#pragma once

#include <cstdint>

constexpr int kMaxResultChars = 65500;

const char* formatFloatList(const float* values, int count);
const char* formatIntList(const int32_t* values, int count);
