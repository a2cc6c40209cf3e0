#include "cmd/words.h"

#include <cstdlib>
#include <cstring>

CommandWords* splitCommandWords(int count, const char* const* words) {
  auto* list = static_cast<CommandWords*>(std::calloc(1, sizeof(CommandWords)));
  if (list == nullptr) return nullptr;
  list->words =
      static_cast<char**>(std::calloc(kMaxCommandWords + 1, sizeof(char*)));
  if (list->words == nullptr) {
    std::free(list);
    return nullptr;
  }

  for (int i = 0; i < count && list->count < kMaxCommandWords; ++i) {
    const char* text = words[i];
    if (text == nullptr) continue;
    // A word that begins with a space yields no tokens at all.
    if (text[0] == ' ') continue;
    const char* p = text;
    while (*p != '\0' && list->count < kMaxCommandWords) {
      const char* end = std::strchr(p, ' ');
      size_t length = end ? static_cast<size_t>(end - p) : std::strlen(p);
      char* word = static_cast<char*>(std::malloc(length + 1));
      if (word == nullptr) {
        freeCommandWords(list);
        return nullptr;
      }
      std::memcpy(word, p, length);
      word[length] = '\0';
      list->words[list->count++] = word;
      if (end == nullptr) break;
      p = end;
      while (*p == ' ') ++p;  // a run of spaces is one separator
    }
  }
  return list;
}

void freeCommandWords(CommandWords* list) {
  if (list == nullptr) return;
  for (int i = 0; i < list->count; ++i) std::free(list->words[i]);
  std::free(list->words);
  std::free(list);
}
