// The command's word list. Every word the interpreter hands over is cut
// again at spaces (and only at spaces), so an argument never holds a space
// and an empty argument disappears. At most 1023 words are kept.
#pragma once

constexpr int kMaxCommandWords = 1023;

// A null-terminated array of NUL-terminated words, owned by the list; word
// 0 is the command's own name.
struct CommandWords {
  char** words;
  int count;
};

// Returns null only when memory runs out.
CommandWords* splitCommandWords(int count, const char* const* words);
void freeCommandWords(CommandWords* list);
