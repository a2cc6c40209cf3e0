#include "io/text_lines.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr size_t kChunkBytes = size_t{1} << 20;

inline bool isBlank(char c) { return isTokenBlank(c); }

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

// Cuts [p, end) into tokens in place; *end is the line's newline or the
// buffer's terminator and becomes NUL. Returns the token count.
int tokenize(char* p, char* end, LineTokens* tokens) {
  *end = '\0';
  int count = 0;
  for (;;) {
    while (p < end && isBlank(*p)) ++p;
    if (p >= end || *p == '#') break;  // a comment runs to the end of the line
    char* start = p;
    while (p < end && !isBlank(*p)) ++p;
    if (count < kMaxLineTokens) {
      tokens->word[count] = start;
      tokens->length[count] = static_cast<int32_t>(p - start);
    }
    ++count;
    *p = '\0';  // a blank, or the end already NUL
    if (p < end) ++p;
  }
  tokens->count = count;
  tokens->stored = count < kMaxLineTokens ? count : kMaxLineTokens;
  return count;
}

// Reads more of the file after the unread part, which moves to the front;
// a line longer than the chunk doubles it. False when nothing more came.
bool refill(LineStream* s) {
  if (s->atEnd) return false;
  const size_t unread = s->end - s->begin;
  if (s->begin > 0) std::memmove(s->buffer, s->buffer + s->begin, unread);
  s->begin = 0;
  s->end = unread;
  if (unread == s->capacity) {
    if (s->capacity >= kMaxLineBytes) {
      s->tooLong = true;
      s->failed = true;
      s->atEnd = true;
      return false;
    }
    char* grown = static_cast<char*>(std::realloc(s->buffer, 2 * s->capacity + 1));
    if (grown == nullptr) {
      s->failed = true;
      s->atEnd = true;
      return false;
    }
    s->buffer = grown;
    s->capacity *= 2;
  }
  const size_t got = std::fread(s->buffer + s->end, 1, s->capacity - s->end, s->file);
  s->end += got;
  if (got == 0) {
    s->atEnd = true;
    if (std::ferror(s->file)) s->failed = true;
    return false;
  }
  return true;
}

// Skips the lines without a token, from a buffer or a stream alike.
template <class Source>
bool nextTokenLine(Source* source, LineTokens* tokens) {
  char *begin, *end;
  while (nextRawLine(source, &begin, &end)) {
    if (tokenize(begin, end, tokens) > 0) return true;
  }
  return false;
}

}  // namespace

bool loadTextFile(const char* path, TextBuffer* out, ReadOpen* why) {
  out->data = nullptr;
  out->size = 0;
  FILE* file = openForReading(path, why);
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

bool nextRawLine(LineCursor* cursor, char** begin, char** end) {
  char* const last = cursor->end;
  if (cursor->next == nullptr || cursor->next >= last) return false;
  char* start = cursor->next;
  char* newline = static_cast<char*>(std::memchr(start, '\n', last - start));
  *begin = start;
  *end = newline ? newline : last;
  cursor->next = newline ? newline + 1 : last;
  ++cursor->line;
  return true;
}

bool nextLine(LineCursor* cursor, LineTokens* tokens) {
  return nextTokenLine(cursor, tokens);
}

bool lineStreamOpen(LineStream* stream, const char* path, ReadOpen* why) {
  std::memset(stream, 0, sizeof *stream);
  stream->file = openForReading(path, why);
  if (stream->file == nullptr) return false;
  stream->buffer = static_cast<char*>(std::malloc(kChunkBytes + 1));
  if (stream->buffer == nullptr) {
    std::fclose(stream->file);
    stream->file = nullptr;
    return false;
  }
  stream->capacity = kChunkBytes;
  return true;
}

void lineStreamClose(LineStream* stream) {
  if (stream->file) std::fclose(stream->file);
  std::free(stream->buffer);
  std::memset(stream, 0, sizeof *stream);
}

bool nextRawLine(LineStream* s, char** begin, char** end) {
  for (;;) {
    char* start = s->buffer + s->begin;
    char* newline = static_cast<char*>(std::memchr(start, '\n', s->end - s->begin));
    if (newline == nullptr) {
      if (refill(s)) continue;
      if (s->begin == s->end || s->tooLong) return false;
      // The last line has no newline: the spare byte ends it.
      start = s->buffer + s->begin;
      newline = s->buffer + s->end;
      *newline = '\0';
    }
    s->begin = static_cast<size_t>(newline - s->buffer) + (newline < s->buffer + s->end);
    ++s->line;
    *begin = start;
    *end = newline;
    return true;
  }
}

bool nextLine(LineStream* s, LineTokens* tokens) {
  return nextTokenLine(s, tokens);
}

namespace {

// The end of the last whole line in [first, last): just after its newline,
// looked for no further back than a long line; null when none is there.
char* afterLastNewline(char* first, char* last) {
  constexpr size_t kLookBack = size_t{64} << 10;
  char* stop = last - first > static_cast<ptrdiff_t>(kLookBack) ? last - kLookBack : first;
  for (char* p = last; p > stop; --p) {
    if (p[-1] == '\n') return p;
  }
  return nullptr;
}

}  // namespace

bool takeRawLines(LineCursor* cursor, size_t minBytes, char** begin, char** end) {
  if (cursor->next == nullptr || cursor->next >= cursor->end) return false;
  char* first = cursor->next;
  const size_t left = static_cast<size_t>(cursor->end - first);
  if (left < minBytes) return false;
  const size_t most = std::max(minBytes, std::min(kChunkBytes, 4 * minBytes));
  char* last = afterLastNewline(first, first + std::min(left, most));
  if (last == nullptr || static_cast<size_t>(last - first) < minBytes) return false;
  *begin = first;
  *end = last;
  cursor->next = last;
  return true;
}

bool takeRawLines(LineStream* s, size_t minBytes, char** begin, char** end) {
  // Refilled only when short, as the unread bytes move to the front first,
  // and never when full, which would grow the chunk as a long line does.
  if (s->end - s->begin < std::min(minBytes, s->capacity / 2) && !s->atEnd) refill(s);
  const size_t left = s->end - s->begin;
  if (left < minBytes || s->tooLong) return false;
  char* first = s->buffer + s->begin;
  // A chunk grown by a long line still hands out blocks of the usual size.
  char* last = afterLastNewline(first, first + std::min(left, std::max(minBytes, kChunkBytes)));
  if (last == nullptr || static_cast<size_t>(last - first) < minBytes) return false;
  *begin = first;
  *end = last;
  s->begin = static_cast<size_t>(last - s->buffer);
  return true;
}

int tokenizeLine(char* begin, char* end, LineTokens* tokens) {
  return tokenize(begin, end, tokens);
}

// Everything that separates tokens: blanks, and NUL and the control
// characters a binary file brings along, which must neither glue tokens
// together nor end the buffer early.
const bool kTokenBlank[256] = {
    true,  false, false, false, false, false, false, false,  // NUL
    false, true,  false, true,  true,  true,  false, false,  // TAB VT FF CR
    false, false, false, false, false, false, false, false,
    false, false, false, false, false, false, false, false,
    true,                                                    // space
};

bool tokenFloatSlow(const char* word, int32_t length, float* out) {
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
