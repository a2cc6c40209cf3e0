// modelr file ...: opening, saving and checking files. Usage errors of this
// family are the command's result, not error reports, so the file dialogs
// can show them directly.
#include <string>

#include "cmd/families.h"
#include "cmd/host.h"
#include "cmd/subcommands.h"
#include "cmd/values.h"
#include "view/tga.h"

namespace {

// Joins words[1..] with single blanks: the word splitter cut the file name
// at its blanks. False when there is no word at all.
bool fileNameFrom(char** words, std::string* name) {
  name->clear();
  for (char** w = words + 1; *w != nullptr; ++w) {
    const char* word = nullptr;
    if (!parseString(&word, *w)) return false;
    if (w != words + 1) *name += ' ';
    *name += word;
  }
  return !name->empty();
}

// file validate <filename.tga>: "1" when the texture reader takes it, else
// the reader's reason.
void fileValidate(char** words) {
  std::string name;
  if (!fileNameFrom(words, &name)) {
    setResult("modelr: usage: modelr file validate <filename.tga>");
    return;
  }
  const char* error = nullptr;
  TgaImage* image = readTga(name.c_str(), &error);
  if (image == nullptr) {
    setResult(error);
    return;
  }
  freeTga(image);
  setResult("1");
}

const SubCommand kFileWords[] = {
    {"validate", fileValidate},
};

}  // namespace

void fileCommand(char** words) { runSubCommand(words, kFileWords, "command"); }
