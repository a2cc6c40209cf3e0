#include "cmd/words.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace {

// Calls `take(start, length)` for every space-separated token, in order,
// until 1023 have been taken. A word that begins with a space yields no
// tokens at all; a run of spaces is one separator; trailing spaces yield no
// empty token.
template <class Take>
void forEachToken(int count, const char* const* words, Take take) {
  int taken = 0;
  for (int i = 0; i < count && taken < kMaxCommandWords; ++i) {
    const char* p = words[i];
    if (p == nullptr || p[0] == ' ') continue;
    while (*p != '\0' && taken < kMaxCommandWords) {
      const char* end = std::strchr(p, ' ');
      size_t length = end ? static_cast<size_t>(end - p) : std::strlen(p);
      take(p, length);
      ++taken;
      if (end == nullptr) break;
      p = end;
      while (*p == ' ') ++p;
    }
  }
}

}  // namespace

// The list, its pointer array and the words' text live in one allocation:
// every command is split, so this path is kept to a single malloc.
CommandWords* splitCommandWords(int count, const char* const* words) {
  int tokens = 0;
  size_t textBytes = 0;
  forEachToken(count, words, [&](const char*, size_t length) {
    ++tokens;
    textBytes += length + 1;
  });

  size_t header = sizeof(CommandWords) + (tokens + 1) * sizeof(char*);
  auto* block = static_cast<unsigned char*>(std::malloc(header + textBytes));
  if (block == nullptr) return nullptr;
  auto* list = new (block) CommandWords();
  list->words = reinterpret_cast<char**>(block + sizeof(CommandWords));
  char* text = reinterpret_cast<char*>(block + header);
  forEachToken(count, words, [&](const char* start, size_t length) {
    std::memcpy(text, start, length);
    text[length] = '\0';
    list->words[list->count++] = text;
    text += length + 1;
  });
  list->words[list->count] = nullptr;
  return list;
}

void freeCommandWords(CommandWords* list) { std::free(list); }
