// modelr help: the families of the command and, for one family, its
// subcommands with their usage texts, read from the tables the dispatcher
// and the families run on, so that the help cannot drift from them.
#pragma once

#include <cstddef>
#include <string>
#include <type_traits>
#include <vector>

// One subcommand: its words after the family ("zoom", "view zoom") and its
// usage text ("" where it takes no arguments or answers its own way).
struct HelpRow {
  std::string words;
  std::string usage;
};
using HelpRows = std::vector<HelpRow>;

// The usage text the commands report for "<family> <words>", or "".
std::string reportedUsage(const char* family, const std::string& words);

template <class Row, class = void>
struct HasUsage : std::false_type {};
template <class Row>
struct HasUsage<Row, std::void_t<decltype(std::declval<Row>().usage)>> : std::true_type {};

// Appends every keyword of a table (SubCommand, KeywordRow, ...), after
// `prefix`, with the row's own usage text where it has one, else the one
// its handler reports.
template <class Row, size_t N>
void listKeywords(const Row (&table)[N], const char* family, HelpRows* rows,
                  const char* prefix = "") {
  for (const Row& row : table) {
    HelpRow help;
    help.words = std::string(prefix) + row.keyword;
    if constexpr (HasUsage<Row>::value) {
      if (row.usage != nullptr) help.usage = row.usage;
    }
    if (help.usage.empty()) help.usage = reportedUsage(family, help.words);
    rows->push_back(help);
  }
}

// The listers of the families that have subcommands (each beside its
// family's table).
void absorbHelp(HelpRows* rows);
void addHelp(HelpRows* rows);
void callbackHelp(HelpRows* rows);
void createHelp(HelpRows* rows);
void deleteHelp(HelpRows* rows);
void deselectHelp(HelpRows* rows);
void displayHelp(HelpRows* rows);
void fileHelp(HelpRows* rows);
void findHelp(HelpRows* rows);
void getHelp(HelpRows* rows);
void matrixHelp(HelpRows* rows);
void moveHelp(HelpRows* rows);
void performHelp(HelpRows* rows);
void pickHelp(HelpRows* rows);
void poseHelp(HelpRows* rows);
void rotateHelp(HelpRows* rows);
void scaleHelp(HelpRows* rows);
void selectHelp(HelpRows* rows);
void setHelp(HelpRows* rows);
void setItemsHelp(HelpRows* rows);  // set layer ..., set child ...
void simulateHelp(HelpRows* rows);
void toggleHelp(HelpRows* rows);
// The rows of one family: its subcommands, or {"", its usage} for a family
// without any.
void listFamily(const char* family, HelpRows* rows);
// The family keywords, in the dispatcher's order.
void familyHelp(HelpRows* rows);
// Whether the word is one of those keywords.
bool isFamily(const char* word);
