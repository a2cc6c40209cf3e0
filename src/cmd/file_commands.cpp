// modelr file ...: opening, saving and checking files. Usage errors of this
// family are the command's result, not error reports, so the file dialogs
// can show them directly.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "workspace/workspace.h"
#include "cmd/families.h"
#include "cmd/format.h"
#include "cmd/help.h"
#include "cmd/host.h"
#include "cmd/subcommands.h"
#include "cmd/values.h"
#include "io/capture_file.h"
#include "workspace/documents.h"
#include "io/exporters.h"
#include "io/mod_writer.h"
#include "model/geometry.h"
#include "model/last_error.h"
#include "io/tga.h"
#include "view/view_window.h"

namespace {

// file validate <filename.tga>: "1" when the texture reader takes it, else
// the reader's reason.
void fileValidate(Workspace& ws, char** words) {
  std::string name;
  if (!fileNameOrAnswer(ws, words, &name,
                        "modelr: usage: modelr file validate <filename.tga>"))
    return;
  TgaMessage error;
  error.text[0] = '\0';
  TgaImage* image = readTga(name.c_str(), &error);
  if (image == nullptr) {
    setResult(ws, error.text);
    return;
  }
  freeTga(image);
  setResult(ws, "1");
}

void setIntResult(Workspace& ws, int32_t value) {
  char text[16];
  std::snprintf(text, sizeof text, "%d", value);
  setResult(ws, text);
}

// file open <filename>: closes every open model and loads the file; the
// new model's id, or 0 when it did not load (the status line says why).
void fileOpen(Workspace& ws, char** words) {
  std::string name;
  if (!fileNameOrAnswer(ws, words, &name, "modelr: usage: modelr file open <filename>")) return;
  Model* model = openModelDocument(ws, name.c_str());
  setIntResult(ws, model ? model->id : 0);
}

// file add and file new: a model made from the file name words; its id,
// or the failure text.
void fileMakeModel(Workspace& ws, char** words, Model* (*make)(Workspace&, const char*), const char* usage,
                   const char* failure) {
  std::string name;
  if (!fileNameFrom(words + 1, &name)) {
    setResult(ws, usage);
    return;
  }
  Model* model = make(ws, name.c_str());
  if (model == nullptr) {
    setResult(ws, failure);
    return;
  }
  setIntResult(ws, model->id);
}

// file add <filename>: loads the file beside the open models.
void fileAdd(Workspace& ws, char** words) {
  fileMakeModel(ws, words, loadModelDocument, "modelr: usage: modelr file add <filename>",
                "modelr: file add failed");
}

// file new <filename>: closes every open model and starts an empty one.
// Its usage text is open's, as the command has always answered.
constexpr char kNewUsage[] = "modelr: usage: modelr file open <filename>";

void fileNew(Workspace& ws, char** words) {
  fileMakeModel(ws, words, createEmptyModel, kNewUsage, "modelr: file open failed");
}

// file reload: every open model again from its file; the open ids.
void fileReload(Workspace& ws, char**) {
  reloadModelDocuments(ws);
  std::vector<int32_t> ids;
  const KeyedTable* models = &ws.registry.models;
  for (int32_t s = tableNextSlot(models, -1); s >= 0;
       s = tableNextSlot(models, s)) {
    ids.push_back(tableIntKeyAt(models, s));
  }
  if (ids.empty()) {
    setResult(ws, "0");
    return;
  }
  setResult(ws, formatIntList(resultText(ws), ids.data(), static_cast<int>(ids.size())));
}

// file name <id>: the open model's name, or "unknown".
void fileName(Workspace& ws, char** words) {
  int32_t id = 0;
  if (!wordsReadOrAnswer(ws, parseInt(&id, words[1]),
                           "modelr: usage: modelr file name <id>"))
    return;
  const Model* model = registryFind(&ws.registry, id);
  setResult(ws, model ? model->name : "unknown");
}

// file remove <id>: 1 when the model was open and is gone now, else 0.
void fileRemove(Workspace& ws, char** words) {
  int32_t id = 0;
  if (!wordsReadOrAnswer(ws, parseInt(&id, words[1]),
                           "modelr: usage: modelr file remove <id>"))
    return;
  setResult(ws, removeModelDocument(ws, id) ? "1" : "0");
}

// file rename <name>: the current model's name, which is also the name it
// is saved under by default.
void fileRename(Workspace& ws, char** words) {
  std::string name;
  if (!fileNameOrAnswer(ws, words, &name, "modelr: usage: modelr file rename <name>")) return;
  Model* model = selectedModel(ws);
  if (model == nullptr) return;
  if (name.size() >= sizeof model->name) {
    reportErrorf(ws, "modelr: file rename failed: a name has at most %d characters",
                 static_cast<int>(sizeof model->name) - 1);
    return;
  }
  std::memcpy(model->name, name.c_str(), name.size() + 1);
}

// The licence check before saving and exporting: every copy may.
bool licenceAllowsSaving() { return true; }

// file save [<filename>]: writes the current model under the name, else
// back where it came from (its directory and name); 1 written, 0 failed,
// -1 refused by the licence check.
void fileSave(Workspace& ws, char** words) {
  if (!licenceAllowsSaving()) {
    setResult(ws, "-1");
    return;
  }
  Model* model = modelOrAnswerZero(ws);
  if (model == nullptr) return;
  std::string name;
  if (!fileNameFrom(words + 1, &name) && model->name[0] != '\0') {
    name = std::string(model->directory) + model->name;
  }
  setResult(ws, saveModelDocument(model, name.empty() ? nullptr : name.c_str())
                ? "1"
                : "0");
}

// file export <format> [-righthanded] [<file>]: the current model as an
// STL, OBJ or DirectX file, beside its .mod file unless a file is named;
// 1 written, 0 failed or no model, -1 for a format this build cannot
// write or a licence refusal.
void fileExport(Workspace& ws, char** words) {
  const char* format = nullptr;
  if (words[1] == nullptr || !parseString(&format, words[1])) {
    setResult(ws, "modelr: usage: modelr file export <format>");
    return;
  }
  if (!licenceAllowsSaving()) {
    setResult(ws, "-1");
    return;
  }
  ExportRequest request = {ExportFormat::kStl, nullptr, false};
  if (!exportFormatFromWord(format, &request.format)) {
    if (std::strcmp(format, "w3d") == 0)
      reportError(ws, "modelr: file export: the w3d format is not supported");
    setResult(ws, "-1");
    return;
  }
  char** rest = words + 2;
  if (*rest != nullptr && std::strcmp(*rest, "-righthanded") == 0) {
    if (!exportFormatTakesRightHanded(request.format)) {
      reportErrorf(ws, "modelr: file export: %s files have no right-handed variant", format);
      setResult(ws, "-1");
      return;
    }
    request.rightHanded = true;
    ++rest;
  }
  std::string target;
  if (fileNameFrom(rest, &target)) request.path = target.c_str();
  Model* model = modelOrAnswerZero(ws);
  if (model == nullptr) return;
  lastErrorClear();
  const int written = exportModelDocument(model, request);
  setIntResult(ws, written);
  if (written == 0) reportLastError(ws);
}

// file import <filename>: another tool's file (OBJ, STL, PLY, glTF, FBX,
// ...) into the current model, or as a new one when none is open; the id
// of the model it went into, or 0 with the reason sent to the error
// procedure and the document as it was.
void fileImport(Workspace& ws, char** words) {
  std::string name;
  if (!fileNameOrAnswer(ws, words, &name, "modelr: usage: modelr file import <filename>"))
    return;
  Model* model = importModelDocument(ws, name.c_str());
  setIntResult(ws, model ? model->id : 0);
  if (model == nullptr) reportLastError(ws);
}

// file savescreen <filename>: the view's viewport as a TGA file. Without a
// view there is nothing to capture and nothing happens.
void fileSaveScreen(Workspace& ws, char** words) {
  std::string name;
  if (!fileNameOrAnswer(ws, words, &name,
                        "modelr: usage: modelr file savescreen <filename>"))
    return;
  ViewportPixels pixels;
  if (!captureViewport(ws.view, &pixels)) return;
  // Pixels the window cannot give stay black.
  if (!writeCaptureFile(name.c_str(), pixels.width, pixels.height, pixels.rgb.data()))
    reportLastError(ws);
}

const SubCommand kFileWords[] = {
    {"open", fileOpen},
    {"add", fileAdd},
    {"new", fileNew, kNewUsage},
    {"reload", fileReload},
    {"name", fileName},
    {"remove", fileRemove},
    {"rename", fileRename},
    {"save", fileSave},
    {"validate", fileValidate},
    {"savescreen", fileSaveScreen},
    {"export", fileExport},
    {"import", fileImport},
};

}  // namespace

void fileCommand(Workspace& ws, char** words) { runSubCommand(ws, words, kFileWords, "command"); }

// modelr reload: as file reload, with an empty result.
void reloadCommand(Workspace& ws, char**) { reloadModelDocuments(ws); }

void fileHelp(HelpRows* rows) { listKeywords(kFileWords, "file", rows); }
