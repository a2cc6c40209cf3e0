#include "io/text_lines.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// Everything at or below a blank is a separator: NUL and the control
// characters a binary file brings along must not glue tokens together or
// end the buffer early.
inline bool isBlank(unsigned char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f' ||
         c == '\0';
}

bool allocate(size_t size, TextBuffer* out) {
  out->data = static_cast<char*>(std::malloc(size + 1));
  out->size = size;
  if (out->data == nullptr) {
    out->size = 0;
    return false;
  }
  out->data[size] = '\0';
  return true;
}

}  // namespace

bool loadTextFile(const char* path, TextBuffer* out) {
  out->data = nullptr;
  out->size = 0;
  FILE* file = std::fopen(path, "rb");
  if (file == nullptr) return false;
  bool ok = std::fseek(file, 0, SEEK_END) == 0;
  long size = ok ? std::ftell(file) : -1;
  ok = ok && size >= 0 && std::fseek(file, 0, SEEK_SET) == 0;
  ok = ok && allocate(static_cast<size_t>(size), out);
  if (ok && size > 0) {
    ok = std::fread(out->data, 1, static_cast<size_t>(size), file) ==
         static_cast<size_t>(size);
  }
  std::fclose(file);
  if (!ok) freeTextBuffer(out);
  return ok;
}

bool loadTextBytes(const char* bytes, size_t size, TextBuffer* out) {
  if (!allocate(size, out)) return false;
  if (size > 0) std::memcpy(out->data, bytes, size);
  return true;
}

void freeTextBuffer(TextBuffer* buffer) {
  std::free(buffer->data);
  buffer->data = nullptr;
  buffer->size = 0;
}

void lineCursorInit(LineCursor* cursor, TextBuffer* buffer) {
  cursor->next = buffer->data;
  cursor->end = buffer->data ? buffer->data + buffer->size : nullptr;
  cursor->line = 0;
}

bool nextLine(LineCursor* cursor, LineTokens* tokens) {
  char* p = cursor->next;
  char* const end = cursor->end;
  while (p != nullptr && p < end) {
    ++cursor->line;
    int count = 0;
    bool comment = false;
    // One pass over the line: cut tokens in place until the newline.
    for (;;) {
      while (p < end && *p != '\n' && isBlank(static_cast<unsigned char>(*p))) ++p;
      if (p >= end || *p == '\n') break;
      if (*p == '#') comment = true;
      char* start = p;
      while (p < end && *p != '\n' && !isBlank(static_cast<unsigned char>(*p))) ++p;
      if (comment) continue;  // skip to the newline, keeping nothing
      if (count < kMaxLineTokens) {
        tokens->word[count] = start;
        tokens->length[count] = static_cast<int32_t>(p - start);
      }
      ++count;
      if (p < end && *p != '\n') *p++ = '\0';  // a blank becomes the end
      else if (p < end) {
        *p = '\0';  // the newline itself ends the last token
        break;
      } else {
        break;  // the buffer's own terminator ends it
      }
    }
    // p is at the newline (possibly overwritten with NUL) or at the end.
    if (p < end) ++p;
    if (count > 0) {
      cursor->next = p;
      tokens->count = count;
      tokens->stored = count < kMaxLineTokens ? count : kMaxLineTokens;
      return true;
    }
  }
  cursor->next = end;
  return false;
}

bool tokenInt(const char* word, int32_t length, int32_t* out) {
  const char* first = word;
  const char* last = word + length;
  if (first < last && *first == '+') ++first;
  int32_t value = 0;
  auto [ptr, ec] = std::from_chars(first, last, value);
  if (ec != std::errc() || ptr != last || first == last) return false;
  *out = value;
  return true;
}

bool tokenFloat(const char* word, int32_t length, float* out) {
  const char* first = word;
  const char* last = word + length;
  if (first < last && *first == '+') ++first;
  float value = 0.0f;
  auto [ptr, ec] = std::from_chars(first, last, value);
  if (ec != std::errc() || ptr != last || first == last) return false;
  *out = value;
  return true;
}

bool startsNumber(const char* word) {
  auto digit = [](char c) { return c >= '0' && c <= '9'; };
  if (digit(word[0])) return true;
  if (word[0] == '-' || word[0] == '+') ++word;
  if (digit(word[0])) return true;
  return word[0] == '.' && digit(word[1]);
}
