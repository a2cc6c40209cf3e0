// Picking a handler by keyword. A handler gets the workspace and the word
// list positioned at its own keyword (words[0]) and reads its arguments
// from words[1] on; the list ends with a null pointer.
#pragma once

#include <cstddef>
#include <cstring>

struct Workspace;

using CommandHandler = void (*)(Workspace& ws, char** words);

// One row of a family's table: its keyword, its handler and, where the
// family words them so, its usage text and whether it needs a current model
// ("modelr: no model selected!" before any word is read).
struct SubCommand {
  const char* keyword;
  CommandHandler handler;
  const char* usage = nullptr;
  bool needsModel = false;
};

// The skip loop of every family: from words[1] on, the first word equal to
// a keyword of the table (exact, case-sensitive, in table order) runs its
// handler. Unrecognised words are skipped; when the words run out,
// "modelr: unknown <family> <noun>: <last word tried>" is reported, the
// family's own keyword standing in when there was no word at all.
// Returns the row that ran, or null.
const SubCommand* runSubCommand(Workspace& ws, char** words,
                                const SubCommand* table, size_t count,
                                const char* noun);

template <size_t N>
const SubCommand* runSubCommand(Workspace& ws, char** words,
                                const SubCommand (&table)[N], const char* noun) {
  return runSubCommand(ws, words, table, N, noun);
}

// Runs the row's handler on the words at its keyword, after its model check.
void runRow(Workspace& ws, const SubCommand& row, char** at);

// The word a failed skip loop names: the last word of the list, or the
// family's own keyword when it has no further word.
const char* lastWordTried(char** words);
// "modelr: unknown <family> <noun>: <last word tried>" to the error procedure.
void reportUnknownWord(Workspace& ws, char** words, const char* noun);

// The same search without running anything: the first matching row and
// the position of its word, or null.
const SubCommand* findSubCommand(char** words, const SubCommand* table,
                                 size_t count, char*** position);
template <size_t N>
const SubCommand* findSubCommand(char** words, const SubCommand (&table)[N],
                                 char*** position) {
  return findSubCommand(words, table, N, position);
}

// A keyword and what it runs, for the tables whose handlers take more than
// the words (a layer, a child, the view): the same exact, case-sensitive
// match as the families.
template <class Handler>
struct KeywordRow {
  const char* keyword;
  Handler handler;
};

// The row of a table (SubCommand, KeywordRow, ...) whose keyword is the
// word, or null (also for a null word).
template <class Row, size_t N>
const Row* findKeyword(const Row (&table)[N], const char* word) {
  if (word == nullptr) return nullptr;
  for (const Row& row : table) {
    if (std::strcmp(word, row.keyword) == 0) return &row;
  }
  return nullptr;
}
