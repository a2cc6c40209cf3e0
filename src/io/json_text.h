// A JSON text built front to back, for the glTF writer: objects and arrays
// opened and closed in order, commas placed by the builder.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct JsonText {
  std::string text;
  std::string closers;      // per open object or array: '}' or ']'
  std::vector<char> empty;  // per open object or array: nothing in it yet
  bool finite = true;       // false once a number was infinite or NaN
};

// `key` names the member inside an object; null inside an array.
void jsonOpen(JsonText* j, const char* key, char bracket);  // '{' or '['
void jsonClose(JsonText* j);
void jsonString(JsonText* j, const char* key, const std::string& value);
void jsonInt(JsonText* j, const char* key, int64_t value);
// As a float, in the fewest digits that read back as it; a value that is
// not finite is written as 0 and clears `finite`.
void jsonNumber(JsonText* j, const char* key, double value);
void jsonBool(JsonText* j, const char* key, bool value);
void jsonNumbers(JsonText* j, const char* key, const double* values, int n);
