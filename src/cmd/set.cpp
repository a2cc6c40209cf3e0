// modelr set ...: settings of the view, the chosen layer, child models,
// the matrices and a few stored values. The general words report usage
// texts to the error procedure; `set view` answers its usage texts and
// unknown names in the result instead. Nothing here redraws, except `set
// view size|normal`, which the window carries out.
#include <cstring>
#include <string>

#include "workspace/workspace.h"
#include "cmd/families.h"
#include "cmd/help.h"
#include "cmd/host.h"
#include "cmd/set_items.h"
#include "cmd/subcommands.h"
#include "cmd/values.h"
#include "model/children.h"
#include "model/geometry.h"
#include "model/last_error.h"
#include "model/transform.h"
#include "view/camera.h"
#include "view/view_window.h"

namespace {

ViewState* view(Workspace& ws) { return &ws.view.camera; }

void updateProjection(Workspace& ws) {
  cameraUpdateProjection(&ws.view.camera, &ws.view.render.eyeDistance);
}

// ---- general words ---------------------------------------------------------

void setBackground(Workspace& ws, char** words) {
  if (!readColour(words + 1, view(ws)->background)) {
    reportError(ws, "modelr: usage: modelr set background <red> <green> <blue>");
  }
}

// set cursor <id> | set cursor position <x> <y> <z>
void setCursor(Workspace& ws, char** words) {
  if (words[1] != nullptr && std::strcmp(words[1], "position") == 0) {
    float position[3];
    if (!wordsRead(ws, readFloats(words + 2, position, 3),
                   "modelr: usage: modelr set cursor position <x> <y> <z>"))
      return;
    std::memcpy(view(ws)->cursor, position, sizeof position);
    return;
  }
  int32_t id = 0;
  // A number the window does not know is refused like an unreadable one.
  if (!parseInt(&id, words[1]) || !showViewCursor(ws.view, id)) {
    reportError(ws, "modelr: usage: modelr set cursor <id>");
  }
}

void setFocus(Workspace& ws, char** words) {
  float focus[3];
  if (!wordsRead(ws, readFloats(words + 1, focus, 3),
                 "modelr: usage: modelr set focus <x> <y> <z>"))
    return;
  std::memcpy(view(ws)->focus, focus, sizeof focus);
}

void setFreeRotate(Workspace& ws, char** words) {
  int32_t on = 0;
  if (!wordsRead(ws, parseBool(&on, words[1]),
                 "modelr: usage: modelr set freerotate <on>"))
    return;
  cameraSetFreeRotate(view(ws), on != 0);
}

// set matrix view <n1> .. <n16>, row order.
void setMatrix(Workspace& ws, char** words) {
  const char* usage = "modelr: usage: modelr set matrix <type> <n1> <n2> .. <n16>";
  if (words[1] == nullptr) {
    reportError(ws, usage);
    return;
  }
  if (std::strcmp(words[1], "view") != 0) {
    reportErrorf(ws, "modelr: unknown matrix type: %s", words[1]);
    return;
  }
  float rows[16];
  if (!readFloats(words + 2, rows, 16)) {
    reportError(ws, usage);
    return;
  }
  cameraSetViewMatrix(view(ws), rows);
}

void setPointer(Workspace& ws, char** words) {
  int32_t x = 0, y = 0;
  if (!wordsRead(ws, parseInt(&x, words[1]) && parseInt(&y, words[2]),
                 "modelr: usage: modelr set pointer <x> <y>"))
    return;
  view(ws)->pointerX = x;
  view(ws)->pointerY = y;
}

// set x|y <value>: the pan along that screen axis, in model units (the
// numbers `get pan` answers).
void setPanAxis(Workspace& ws, char** words, float* field, const char* usage) {
  float value = 0.0f;
  if (!parseFloat(&value, words[1])) {
    reportError(ws, usage);
    return;
  }
  *field = value;
  updateProjection(ws);
}

void setX(Workspace& ws, char** words) {
  setPanAxis(ws, words, &view(ws)->panX, "modelr: usage: modelr set x <value>");
}

void setY(Workspace& ws, char** words) {
  setPanAxis(ws, words, &view(ws)->panY, "modelr: usage: modelr set y <value>");
}

constexpr char kCursorPathUsage[] = "modelr: usage: modelr set cursorpath <value>";
constexpr char kLicenseUsage[] = "modelr: usage: modelr set license <filename>";
constexpr char kProductUsage[] = "modelr: usage: modelr set product <key>";
constexpr char kServerUsage[] = "modelr: usage: modelr set server <hostname>";

// cursorpath, license, product and server: the words after the keyword,
// joined, into their stored text; a text too long is refused whole.
template <auto field, const char* usage>
void storeText(Workspace& ws, char** words) {
  char* text = ws.texts.*field;
  wordsRead(ws, joinWords(words + 1, text, sizeof(ws.texts.*field)), usage);
}

void setPoints(Workspace& ws, char** words) {
  if (!readColour(words + 1, ws.view.render.pointColour)) {
    reportError(ws, "modelr: usage: modelr set points <red> <green> <blue>");
  }
}

void setSelection(Workspace& ws, char** words) {
  if (!readColour(words + 1, ws.view.render.selectionColour)) {
    reportError(ws, "modelr: usage: modelr set selection <red> <green> <blue>");
  }
}

void setSprite(Workspace& ws, char** words) {
  int32_t id = 0, on = 0;
  if (!wordsRead(ws, parseInt(&id, words[1]) && parseBool(&on, words[2]),
                 "modelr: usage: modelr set sprite <id> <on>"))
    return;
  int32_t* stored = tableInsertT<int32_t>(&ws.sprites, id);
  if (stored != nullptr) *stored = on != 0;
}

// Shows which layer is chosen: its outline is drawn over the model.
void setShowLayer(Workspace& ws, char** words) {
  int32_t on = 0;
  if (!wordsRead(ws, parseBool(&on, words[1]), "modelr: usage: modelr set showlayer <on>")) return;
  ws.view.render.layerOutline = on != 0;
}

// ---- set view --------------------------------------------------------------

// Each handler gets the words after the view word and returns the usage
// text of a refusal, or null.
using ViewHandler = const char* (*)(Workspace& ws, char** arguments);

// The named views: yaw and pitch in degrees.
struct NamedView {
  const char* word;
  float yaw, pitch;
};

const NamedView kNamedViews[] = {
    {"down", 0, 0},     {"up", 0, 180},    {"south", 180, -90},
    {"north", 0, -90},  {"east", 90, -90}, {"west", -90, -90},
};

constexpr char kRotateUsage[] = "modelr: usage: modelr set view rotate <xangle> <yangle>";
constexpr char kOrthoUsage[] = "modelr: usage: modelr set view ortho <angle> <pitch>";
constexpr char kPanUsage[] = "modelr: usage: modelr set view pan <angle> <pitch>";

// The pan's arguments are pixel distances, whatever its usage text calls
// them.
void panByPixels(ViewState* camera, float dx, float dy) { cameraPan(camera, dx, dy, true); }

// rotate, ortho and pan: two numbers for a camera operation.
template <const char* usage, void (*apply)(ViewState*, float, float)>
const char* viewPair(Workspace& ws, char** arguments) {
  float pair[2];
  if (!readFloats(arguments, pair, 2)) return usage;
  apply(view(ws), pair[0], pair[1]);
  return nullptr;
}

const char* viewParallel(Workspace& ws, char**) {
  view(ws)->perspective = 0;
  return nullptr;
}

const char* viewPerspective(Workspace& ws, char**) {
  view(ws)->perspective = 1;
  return nullptr;
}

const char* viewZoom(Workspace& ws, char** arguments) {
  float zoom = 0.0f;
  if (!readFloats(arguments, &zoom, 1)) return "modelr: usage: modelr set view zoom <factor>";
  cameraSetZoom(view(ws), zoom);
  return nullptr;
}

const char* viewCentre(Workspace& ws, char**) {
  cameraCentre(view(ws), currentModel(ws));
  return nullptr;
}

const char* viewFocus(Workspace& ws, char** arguments) {
  float focus[3];
  if (!readFloats(arguments, focus, 3)) return "modelr: usage: modelr set view focus";
  std::memcpy(view(ws)->focus, focus, sizeof focus);
  return nullptr;
}

const char* viewFit(Workspace& ws, char**) {
  cameraFit(view(ws), currentModel(ws));
  return nullptr;
}

const char* viewVolume(Workspace& ws, char** arguments) {
  float corners[6];
  if (!readFloats(arguments, corners, 6)) {
    return "modelr: usage: modelr set view volume <x> <y> <z> <x> <y> <z>";
  }
  cameraFitBox(view(ws), corners, corners + 3);
  return nullptr;
}

const char* viewSize(Workspace& ws, char** arguments) {
  int32_t width = 0, height = 0;
  if (!parseInt(&width, arguments[0]) || !parseInt(&height, arguments[1])) {
    return "modelr: usage: modelr set view size <width> <height>";
  }
  setViewSize(ws.view, width, height);  // sizes out of range are ignored silently
  return nullptr;
}

const char* viewFull(Workspace&, char**) { return nullptr; }

const char* viewNormal(Workspace& ws, char**) {
  setViewSize(ws.view, 0, 0);
  return nullptr;
}

// After the named views, in this order.
const KeywordRow<ViewHandler> kViewWords[] = {
    {"rotate", viewPair<kRotateUsage, cameraRotate>},
    {"ortho", viewPair<kOrthoUsage, cameraSetAngles>},
    {"pan", viewPair<kPanUsage, panByPixels>},
    {"parallel", viewParallel},
    {"perspective", viewPerspective},
    {"zoom", viewZoom},
    {"centre", viewCentre},
    {"center", viewCentre},
    {"focus", viewFocus},
    {"fit", viewFit},
    {"volume", viewVolume},
    {"size", viewSize},
    {"full", viewFull},
    {"normal", viewNormal},
};

// set view <name> ...: the word right after "view" names the setting.
void setView(Workspace& ws, char** words) {
  const char* name = words[1];
  if (name == nullptr) {
    setResult(ws, "modelr: usage: modelr set view <name>");
    return;
  }
  for (const NamedView& named : kNamedViews) {
    if (std::strcmp(name, named.word) != 0) continue;
    cameraSetAngles(view(ws), named.yaw, named.pitch);
    updateProjection(ws);
    return;
  }
  if (const KeywordRow<ViewHandler>* row = findKeyword(kViewWords, name)) {
    const char* refusal = row->handler(ws, words + 2);
    if (refusal != nullptr) {
      setResult(ws, refusal);
      return;
    }
    updateProjection(ws);
    return;
  }
  std::string text = "modelr: unknown view name: ";
  text += name;
  setResult(ws, text.c_str());
}

// Comparison order.
const SubCommand kSetWords[] = {
    {"background", setBackground},
    {"child", setChild},
    {"cursor", setCursor},
    {"cursorpath", storeText<&StoredTexts::cursorPath, kCursorPathUsage>},
    {"focus", setFocus},
    {"freerotate", setFreeRotate},
    {"layer", setLayer},
    {"license", storeText<&StoredTexts::license, kLicenseUsage>},
    {"matrix", setMatrix},
    {"pointer", setPointer},
    {"points", setPoints},
    {"product", storeText<&StoredTexts::product, kProductUsage>},
    {"selection", setSelection},
    {"server", storeText<&StoredTexts::server, kServerUsage>},
    {"sprite", setSprite},
    {"showlayer", setShowLayer},
    {"view", setView},
    {"x", setX},
    {"y", setY},
};

}  // namespace


// Three colour components into 0..1; false leaves `colour` alone.
bool readColour(char** words, float colour[3]) {
  float rgb[3];
  if (!readFloats(words, rgb, 3)) return false;
  bool byteScale = rgb[0] > 1.0f || rgb[1] > 1.0f || rgb[2] > 1.0f;
  for (int i = 0; i < 3; ++i) {
    float v = byteScale ? rgb[i] * kByteScale : rgb[i];
    colour[i] = v < 0.0f ? 0.0f : (v > 1.0f ? 1.0f : v);
  }
  return true;
}

void setCommand(Workspace& ws, char** words) { runSubCommand(ws, words, kSetWords, "attribute"); }

// The general settings, then those of the view, the chosen layer and
// children under their second word.
void setHelp(HelpRows* rows) {
  listKeywords(kSetWords, "set", rows);
  listKeywords(kViewWords, "set", rows, "view ");
  setItemsHelp(rows);
}
