// Reading argument words. Every handler reads every argument through
// parseValue, so these rules decide which words count as numbers:
//  - classifyNumber: digits and '-' anywhere keep a text an integer; the
//    first '.' makes it a decimal; a second '.' or any other character makes
//    it not a number. "", "-", "--5" and "1-2" are integers.
//  - integer: only integer texts; the value as atoi reads it ("3-4" is 3).
//  - float: integer or decimal texts (no exponents); as atof, narrowed.
//  - string: always; the destination receives the word itself.
//  - boolean: an integer text gives its value (7 stays 7); "on" and "true"
//    give 1, "off" and "false" give 0; everything else is refused.
// Numbers that do not fit the destination (beyond 32 bits, or beyond single
// precision) are refused rather than stored wrapped or infinite.
#pragma once

#include <cstdint>
#include <string>

enum ValueKind {
  kValueInteger = 1,
  kValueFloat = 2,
  kValueString = 3,
  kValueBoolean = 4,
};

enum NumberClass {
  kNumberInteger = 1,
  kNumberDecimal = 2,
  kNotANumber = 3,
};

// 0 for a null text.
int classifyNumber(const char* text);

// Returns 1 when the word was accepted and stored, 0 otherwise (also for a
// null destination or word). Destinations: int32_t for integer and boolean,
// float for float, const char* for string.
int parseValue(void* destination, const char* word, int kind);

inline bool parseInt(int32_t* out, const char* word) {
  return parseValue(out, word, kValueInteger) != 0;
}
inline bool parseFloat(float* out, const char* word) {
  return parseValue(out, word, kValueFloat) != 0;
}
inline bool parseBool(int32_t* out, const char* word) {
  return parseValue(out, word, kValueBoolean) != 0;
}
inline bool parseString(const char** out, const char* word) {
  return parseValue(out, word, kValueString) != 0;
}

// The argument cursor: each reader takes the word under the cursor and moves
// on only when it was accepted, so the list's closing null fails like a bad
// word and a handler can read its words in usage order.
inline bool nextInt(char**& word, int32_t* out) {
  if (!parseInt(out, *word)) return false;
  ++word;
  return true;
}
inline bool nextFloat(char**& word, float* out) {
  if (!parseFloat(out, *word)) return false;
  ++word;
  return true;
}
inline bool nextBool(char**& word, int32_t* out) {
  if (!parseBool(out, *word)) return false;
  ++word;
  return true;
}
inline bool nextString(char**& word, const char** out) {
  if (!parseString(out, *word)) return false;
  ++word;
  return true;
}
inline bool nextFloats(char**& word, float* out, int count) {
  for (int i = 0; i < count; ++i) {
    if (!nextFloat(word, &out[i])) return false;
  }
  return true;
}

// The key an item is named by: a number (points, children, collides) or a
// name (joints, layers).
inline bool nextKey(char**& word, int32_t* number) { return nextInt(word, number); }
inline bool nextKey(char**& word, const char** name) { return nextString(word, name); }

// count floats from words[0] on, without a cursor to move.
inline bool readFloats(char** words, float* out, int count) {
  return nextFloats(words, out, count);
}

// Joins the words from `words` on with single blanks: the word splitter cut
// a file name at its blanks. False when there is no word.
bool fileNameFrom(char** words, std::string* name);
// The same into a fixed text of `size` bytes; false also for a text that
// does not fit (it is refused whole, never cut).
bool joinWords(char** words, char* out, size_t size);

// <name> <n> and `count` numbers (at most 4), from words[1] on: a layer's
// or joint's numbered entry and its values, as move, rotate and add read
// them.
struct Entry {
  const char* name = nullptr;
  int32_t number = 0;
  float values[4] = {};
};
inline bool readEntry(char** words, int count, Entry* entry) {
  char** w = words + 1;
  return count <= 4 && nextString(w, &entry->name) && nextInt(w, &entry->number) &&
         nextFloats(w, entry->values, count);
}
