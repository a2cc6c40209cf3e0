// Picking a handler by keyword. A handler gets the word list positioned at
// its own keyword (words[0]) and reads its arguments from words[1] on; the
// list ends with a null pointer.
#pragma once

#include <cstddef>

using CommandHandler = void (*)(char** words);

struct SubCommand {
  const char* keyword;
  CommandHandler handler;
};

// The skip loop of every family: from words[1] on, the first word equal to
// a keyword of the table (exact, case-sensitive, in table order) runs its
// handler. Unrecognised words are skipped; when the words run out,
// "modelr: unknown <family> <noun>: <last word tried>" is reported, the
// family's own keyword standing in when there was no word at all.
// Returns the handler that ran, or null.
CommandHandler runSubCommand(char** words, const SubCommand* table,
                             size_t count, const char* noun);

template <size_t N>
CommandHandler runSubCommand(char** words, const SubCommand (&table)[N],
                             const char* noun) {
  return runSubCommand(words, table, N, noun);
}

// The word a failed skip loop names: the last word of the list, or the
// family's own keyword when it has no further word.
const char* lastWordTried(char** words);
// "modelr: unknown <family> <noun>: <last word tried>" to the error procedure.
void reportUnknownWord(char** words, const char* noun);

// The same search without reporting: the handler of the first matching
// word and its position, or null.
CommandHandler findSubCommand(char** words, const SubCommand* table,
                              size_t count, char*** position);
