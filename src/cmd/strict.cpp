#include "cmd/strict.h"

#include <cstdio>
#include <cstring>

#include "cmd/help.h"
#include "cmd/host_tcl.h"
#include "model/last_error.h"

namespace {

// The reason word of -errorcode: USAGE (bad or missing words), UNKNOWN (a
// word no table knows), NOMODEL, FILE (a file could not be read or
// written) or REFUSED (the document said no).
// Words of the messages that say a file could not be read or written.
const char* const kFileWords[] = {"could not", "cannot open", "(file:", "TGA",
                                  "permission denied", "not a regular file"};

bool aboutFiles(const std::string& text) {
  for (const char* word : kFileWords)
    if (text.find(word) != std::string::npos) return true;
  return false;
}

// A status line of a load or save that went wrong ("Load failed" too).
bool failingStatus(const std::string& line) {
  return aboutFiles(line) || line.find("failed") != std::string::npos;
}

bool fileFamily(const char* family) {
  return std::strcmp(family, "file") == 0 || std::strcmp(family, "pose") == 0;
}

const char* reasonOf(const char* family, const std::string& text) {
  if (text.find("usage:") != std::string::npos) return "USAGE";
  if (text.compare(0, 15, "modelr: unknown") == 0) return "UNKNOWN";
  if (text.find("no model selected") != std::string::npos) return "NOMODEL";
  if (aboutFiles(text) || fileFamily(family)) return "FILE";
  return "REFUSED";
}

const std::vector<std::string>& wordsOf(Extension& x, const char* family) {
  auto found = x.familyWords.find(family);
  if (found != x.familyWords.end()) return found->second;
  std::vector<std::string>& words = x.familyWords[family];
  if (!isFamily(family)) return words;  // empty: no such family
  HelpRows rows;
  listFamily(family, &rows);
  for (const HelpRow& row : rows) words.push_back(row.words.substr(0, row.words.find(' ')));
  return words;
}

}  // namespace

std::string strictWordRefusal(Extension& x, int argc, const char* const argv[]) {
  const char* family = argv[1];
  const std::vector<std::string>& words = wordsOf(x, family);
  if (words.empty()) return std::string("modelr: unknown command: ") + family;
  if (words.size() == 1 && words[0].empty()) return "";  // no subcommands
  const char* word = argc > 2 ? argv[2] : "";
  for (const std::string& known : words)
    if (known == word) return "";
  return std::string("modelr: unknown ") + family + " attribute: " + word;
}

void raiseRefusal(Tcl_Interp* interp, const char* family, const std::string& refusal) {
  Tcl_SetObjResult(interp, Tcl_NewStringObj(refusal.c_str(), -1));
  Tcl_SetErrorCode(interp, "MODELR", family, reasonOf(family, refusal), nullptr);
}

int strictOutcome(Extension& x, const char* family, const char* word,
                  const std::vector<std::string>& reports,
                  const std::vector<std::string>& statuses) {
  Tcl_Interp* interp = x.interp;
  const char* result = Tcl_GetStringResult(interp);
  std::string refusal;
  if (!reports.empty()) refusal = reports.front();
  // The first status line that tells of a failure says the most ("could
  // not find: f.mod" before "Load failed" and a result "... failed").
  for (size_t i = 0; refusal.empty() && i < statuses.size(); ++i)
    if (failingStatus(statuses[i])) refusal = statuses[i];
  if (refusal.empty() && std::strncmp(result, "modelr: ", 8) == 0) refusal = result;
  // A save or export answers 0 and keeps its reason to itself.
  if (refusal.empty() && std::strcmp(family, "file") == 0 && std::strcmp(result, "0") == 0 &&
      (std::strcmp(word, "save") == 0 || std::strcmp(word, "export") == 0)) {
    const char* reason = lastErrorText();
    refusal = std::string("modelr: file ") + word + " failed" +
              (reason != nullptr && reason[0] != '\0' ? std::string(": ") + reason : "");
  }
  if (!refusal.empty()) {
    raiseRefusal(interp, family, refusal);
    return TCL_ERROR;
  }
  if (result[0] == '\0' && std::strcmp(family, "add") == 0 && x.ws.lastPolygonId != 0) {
    char number[16];
    std::snprintf(number, sizeof number, "%d", x.ws.lastPolygonId);
    Tcl_SetObjResult(interp, Tcl_NewStringObj(number, -1));
  }
  return TCL_OK;
}
