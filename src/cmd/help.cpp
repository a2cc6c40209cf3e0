// modelr help [<family>]: without a word the families, as a list; with one
// a dictionary from each subcommand's words to its usage text (the family's
// own usage under "" for the families without subcommands). An unknown
// family gives "modelr: unknown help attribute: <word>", more words the
// usage text.
#include "cmd/help.h"

#include <tcl.h>

#include <cstring>

#include "cmd/families.h"
#include "cmd/host.h"
#include "cmd/subcommands.h"

namespace {

const char* const kUsageTexts[] = {
#include "cmd/usage_texts.inc"
};

struct FamilyLister {
  const char* keyword;
  void (*list)(HelpRows* rows);
};

const FamilyLister kListers[] = {
    {"absorb", absorbHelp},     {"add", addHelp},           {"callback", callbackHelp},
    {"create", createHelp},     {"delete", deleteHelp},     {"deselect", deselectHelp},
    {"display", displayHelp},   {"file", fileHelp},         {"find", findHelp},
    {"get", getHelp},           {"matrix", matrixHelp},     {"move", moveHelp},
    {"perform", performHelp},   {"pick", pickHelp},         {"pose", poseHelp},
    {"rotate", rotateHelp},     {"scale", scaleHelp},       {"select", selectHelp},
    {"set", setHelp},           {"simulate", simulateHelp}, {"toggle", toggleHelp},
};

void setList(Workspace& ws, const std::vector<std::string>& items) {
  std::vector<const char*> argv;
  argv.reserve(items.size());
  for (const std::string& item : items) argv.push_back(item.c_str());
  char* merged = Tcl_Merge(static_cast<int>(argv.size()), argv.data());
  setResult(ws, merged);
  Tcl_Free(merged);
}

}  // namespace

// The text for the words, else for the words without their last (the
// settings of a child share "set child <args>").
std::string reportedUsage(const char* family, const std::string& words) {
  std::string prefix = std::string("modelr: usage: modelr ") + family;
  if (!words.empty()) prefix += " " + words;
  for (const char* text : kUsageTexts) {
    const size_t n = prefix.size();
    if (std::strncmp(text, prefix.c_str(), n) == 0 && (text[n] == '\0' || text[n] == ' '))
      return text;
  }
  const size_t space = words.rfind(' ');
  return space == std::string::npos ? "" : reportedUsage(family, words.substr(0, space));
}

void listFamily(const char* family, HelpRows* rows) {
  if (const FamilyLister* lister = findKeyword(kListers, family))
    lister->list(rows);
  else
    rows->push_back({"", reportedUsage(family, "")});
}

void helpCommand(Workspace& ws, char** words) {
  HelpRows rows;
  const char* family = words[1];
  if (family == nullptr) {
    familyHelp(&rows);
    std::vector<std::string> names;
    for (const HelpRow& row : rows) names.push_back(row.words);
    setList(ws, names);
    return;
  }
  if (words[2] != nullptr) {
    reportError(ws, "modelr: usage: modelr help [<family>]");
    return;
  }
  if (!isFamily(family)) {
    reportErrorf(ws, "modelr: unknown help attribute: %s", family);
    return;
  }
  listFamily(family, &rows);
  std::vector<std::string> pairs;
  for (const HelpRow& row : rows) {
    pairs.push_back(row.words);
    pairs.push_back(row.usage);
  }
  setList(ws, pairs);
}
