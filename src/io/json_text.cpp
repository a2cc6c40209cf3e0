#include "io/json_text.h"

#include <charconv>
#include <cmath>
#include <cstdio>

namespace {

void quoted(std::string* out, const std::string& value) {
  *out += '"';
  for (unsigned char c : value) {
    if (c == '"' || c == '\\') {
      *out += '\\';
      *out += static_cast<char>(c);
    } else if (c < 0x20) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
      *out += escaped;
    } else {
      *out += static_cast<char>(c);
    }
  }
  *out += '"';
}

void member(JsonText* j, const char* key) {
  if (!j->empty.empty()) {
    if (!j->empty.back()) j->text += ',';
    j->empty.back() = 0;
  }
  if (key == nullptr) return;
  quoted(&j->text, key);
  j->text += ':';
}

}  // namespace

void jsonOpen(JsonText* j, const char* key, char bracket) {
  member(j, key);
  j->text += bracket;
  j->closers += bracket == '{' ? '}' : ']';
  j->empty.push_back(1);
}

void jsonClose(JsonText* j) {
  if (j->closers.empty()) return;
  j->text += j->closers.back();
  j->closers.pop_back();
  j->empty.pop_back();
}

void jsonString(JsonText* j, const char* key, const std::string& value) {
  member(j, key);
  quoted(&j->text, value);
}

void jsonInt(JsonText* j, const char* key, int64_t value) {
  member(j, key);
  j->text += std::to_string(value);
}

void jsonNumber(JsonText* j, const char* key, double value) {
  member(j, key);
  float f = static_cast<float>(value);
  if (!std::isfinite(f)) {
    j->finite = false;
    f = 0.0f;
  }
  // The shortest text that reads back as the same float, whatever the
  // locale says a decimal point is.
  char text[32];
  const std::to_chars_result r =
      std::to_chars(text, text + sizeof text, f + 0.0f);
  j->text.append(text, r.ptr);
}

void jsonBool(JsonText* j, const char* key, bool value) {
  member(j, key);
  j->text += value ? "true" : "false";
}

void jsonNumbers(JsonText* j, const char* key, const double* values, int n) {
  jsonOpen(j, key, '[');
  for (int i = 0; i < n; ++i) jsonNumber(j, nullptr, values[i]);
  jsonClose(j);
}
