// modelr set ...: settings of the view, the chosen layer, child models,
// the matrices and a few stored values. The general words report usage
// texts to the error procedure; `set view` answers its usage texts and
// unknown names in the result instead. Nothing here redraws, except `set
// view size|normal`, which the window carries out.
#include <cstring>
#include <string>

#include "cmd/context.h"
#include "cmd/families.h"
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

ViewState* view() { return &g_app.view; }

void updateProjection() {
  cameraUpdateProjection(&g_app.view, &g_app.render.eyeDistance);
}

// ---- general words ---------------------------------------------------------

void setBackground(char** words) {
  if (!readColour(words + 1, view()->background)) {
    reportError("modelr: usage: modelr set background <red> <green> <blue>");
  }
}

// set cursor <id> | set cursor position <x> <y> <z>
void setCursor(char** words) {
  if (words[1] != nullptr && std::strcmp(words[1], "position") == 0) {
    float position[3];
    if (!readFloats(words + 2, position, 3)) {
      reportError("modelr: usage: modelr set cursor position <x> <y> <z>");
      return;
    }
    std::memcpy(view()->cursor, position, sizeof position);
    return;
  }
  int32_t id = 0;
  // A number the window does not know is refused like an unreadable one.
  if (!parseInt(&id, words[1]) || !showViewCursor(id)) {
    reportError("modelr: usage: modelr set cursor <id>");
  }
}

void setFocus(char** words) {
  float focus[3];
  if (!readFloats(words + 1, focus, 3)) {
    reportError("modelr: usage: modelr set focus <x> <y> <z>");
    return;
  }
  std::memcpy(view()->focus, focus, sizeof focus);
}

void setFreeRotate(char** words) {
  int32_t on = 0;
  if (!parseBool(&on, words[1])) {
    reportError("modelr: usage: modelr set freerotate <on>");
    return;
  }
  cameraSetFreeRotate(view(), on != 0);
}

// set matrix view <n1> .. <n16>, row order.
void setMatrix(char** words) {
  const char* usage = "modelr: usage: modelr set matrix <type> <n1> <n2> .. <n16>";
  if (words[1] == nullptr) {
    reportError(usage);
    return;
  }
  if (std::strcmp(words[1], "view") != 0) {
    reportErrorf("modelr: unknown matrix type: %s", words[1]);
    return;
  }
  float rows[16];
  if (!readFloats(words + 2, rows, 16)) {
    reportError(usage);
    return;
  }
  cameraSetViewMatrix(view(), rows);
}

void setPointer(char** words) {
  int32_t x = 0, y = 0;
  if (!parseInt(&x, words[1]) || !parseInt(&y, words[2])) {
    reportError("modelr: usage: modelr set pointer <x> <y>");
    return;
  }
  view()->pointerX = x;
  view()->pointerY = y;
}

// set x|y <value>: the pan along that screen axis, in model units (the
// numbers `get pan` answers).
void setPanAxis(char** words, float* field, const char* usage) {
  float value = 0.0f;
  if (!parseFloat(&value, words[1])) {
    reportError(usage);
    return;
  }
  *field = value;
  updateProjection();
}

void setX(char** words) {
  setPanAxis(words, &view()->panX, "modelr: usage: modelr set x <value>");
}

void setY(char** words) {
  setPanAxis(words, &view()->panY, "modelr: usage: modelr set y <value>");
}

// Texts kept for the cursor files and the licence check. Nothing reads
// them yet: cursor files are taken as given, and the licence check always
// passes.
struct StoredTexts {
  char cursorPath[kDirectoryBytes];
  char license[kDirectoryBytes];
  char product[kNameBytes];
  char server[kNameBytes];
};

StoredTexts g_texts;

// The words after the setting's keyword; a text too long is refused whole.
void storeText(char** words, char* field, size_t size, const char* usage) {
  if (!joinWords(words + 1, field, size)) reportError(usage);
}

void setCursorPath(char** words) {
  storeText(words, g_texts.cursorPath, sizeof g_texts.cursorPath,
            "modelr: usage: modelr set cursorpath <value>");
}

void setLicense(char** words) {
  storeText(words, g_texts.license, sizeof g_texts.license,
            "modelr: usage: modelr set license <filename>");
}

void setProduct(char** words) {
  storeText(words, g_texts.product, sizeof g_texts.product,
            "modelr: usage: modelr set product <key>");
}

void setServer(char** words) {
  storeText(words, g_texts.server, sizeof g_texts.server,
            "modelr: usage: modelr set server <hostname>");
}

void setPoints(char** words) {
  if (!readColour(words + 1, g_app.render.pointColour)) {
    reportError("modelr: usage: modelr set points <red> <green> <blue>");
  }
}

void setSelection(char** words) {
  if (!readColour(words + 1, g_app.render.selectionColour)) {
    reportError("modelr: usage: modelr set selection <red> <green> <blue>");
  }
}

// Sprite switches by id (int-keyed, int32_t 0 or 1). Nothing draws sprites
// yet; the switches are kept for when something does.
KeyedTable g_sprites;

void setSprite(char** words) {
  int32_t id = 0, on = 0;
  if (!parseInt(&id, words[1]) || !parseBool(&on, words[2])) {
    reportError("modelr: usage: modelr set sprite <id> <on>");
    return;
  }
  if (g_sprites.elementSize == 0) tableInit(&g_sprites, sizeof(int32_t), kIntKeyed);
  int32_t* stored = tableInsertT<int32_t>(&g_sprites, id);
  if (stored != nullptr) *stored = on != 0;
}

// Kept in the render state; drawing does not use it yet.
void setShowLayer(char** words) {
  int32_t on = 0;
  if (!parseBool(&on, words[1])) {
    reportError("modelr: usage: modelr set showlayer <on>");
    return;
  }
  g_app.render.showLayer = on != 0;
}

// ---- set view --------------------------------------------------------------

// Each handler gets the words after the view word and returns the usage
// text of a refusal, or null.
using ViewHandler = const char* (*)(char** arguments);

// The named views: yaw and pitch in degrees.
struct NamedView {
  const char* word;
  float yaw, pitch;
};

const NamedView kNamedViews[] = {
    {"down", 0, 0},     {"up", 0, 180},    {"south", 180, -90},
    {"north", 0, -90},  {"east", 90, -90}, {"west", -90, -90},
};

const char* viewRotate(char** arguments) {
  float angles[2];
  if (!readFloats(arguments, angles, 2)) {
    return "modelr: usage: modelr set view rotate <xangle> <yangle>";
  }
  cameraRotate(view(), angles[0], angles[1]);
  return nullptr;
}

const char* viewOrtho(char** arguments) {
  float angles[2];
  if (!readFloats(arguments, angles, 2)) {
    return "modelr: usage: modelr set view ortho <angle> <pitch>";
  }
  cameraSetAngles(view(), angles[0], angles[1]);
  return nullptr;
}

// The arguments are pixel distances, whatever the usage text calls them.
const char* viewPan(char** arguments) {
  float delta[2];
  if (!readFloats(arguments, delta, 2)) {
    return "modelr: usage: modelr set view pan <angle> <pitch>";
  }
  cameraPan(view(), delta[0], delta[1], true);
  return nullptr;
}

const char* viewParallel(char**) {
  view()->perspective = 0;
  return nullptr;
}

const char* viewPerspective(char**) {
  view()->perspective = 1;
  return nullptr;
}

const char* viewZoom(char** arguments) {
  float zoom = 0.0f;
  if (!readFloats(arguments, &zoom, 1)) return "modelr: usage: modelr set view zoom <factor>";
  cameraSetZoom(view(), zoom);
  return nullptr;
}

const char* viewCentre(char**) {
  cameraCentre(view(), currentModel());
  return nullptr;
}

const char* viewFocus(char** arguments) {
  float focus[3];
  if (!readFloats(arguments, focus, 3)) return "modelr: usage: modelr set view focus";
  std::memcpy(view()->focus, focus, sizeof focus);
  return nullptr;
}

const char* viewFit(char**) {
  cameraFit(view(), currentModel());
  return nullptr;
}

const char* viewVolume(char** arguments) {
  float corners[6];
  if (!readFloats(arguments, corners, 6)) {
    return "modelr: usage: modelr set view volume <x> <y> <z> <x> <y> <z>";
  }
  cameraFitBox(view(), corners, corners + 3);
  return nullptr;
}

const char* viewSize(char** arguments) {
  int32_t width = 0, height = 0;
  if (!parseInt(&width, arguments[0]) || !parseInt(&height, arguments[1])) {
    return "modelr: usage: modelr set view size <width> <height>";
  }
  setViewSize(width, height);  // sizes out of range are ignored silently
  return nullptr;
}

const char* viewFull(char**) { return nullptr; }

const char* viewNormal(char**) {
  setViewSize(0, 0);
  return nullptr;
}

struct ViewWord {
  const char* word;
  ViewHandler handler;
};

// After the named views, in this order.
const ViewWord kViewWords[] = {
    {"rotate", viewRotate},
    {"ortho", viewOrtho},
    {"pan", viewPan},
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
void setView(char** words) {
  const char* name = words[1];
  if (name == nullptr) {
    setResult("modelr: usage: modelr set view <name>");
    return;
  }
  for (const NamedView& named : kNamedViews) {
    if (std::strcmp(name, named.word) != 0) continue;
    cameraSetAngles(view(), named.yaw, named.pitch);
    updateProjection();
    return;
  }
  for (const ViewWord& entry : kViewWords) {
    if (std::strcmp(name, entry.word) != 0) continue;
    const char* refusal = entry.handler(words + 2);
    if (refusal != nullptr) {
      setResult(refusal);
      return;
    }
    updateProjection();
    return;
  }
  std::string text = "modelr: unknown view name: ";
  text += name;
  setResult(text.c_str());
}

// Comparison order.
const SubCommand kSetWords[] = {
    {"background", setBackground},
    {"child", setChild},
    {"cursor", setCursor},
    {"cursorpath", setCursorPath},
    {"focus", setFocus},
    {"freerotate", setFreeRotate},
    {"layer", setLayer},
    {"license", setLicense},
    {"matrix", setMatrix},
    {"pointer", setPointer},
    {"points", setPoints},
    {"product", setProduct},
    {"selection", setSelection},
    {"server", setServer},
    {"sprite", setSprite},
    {"showlayer", setShowLayer},
    {"view", setView},
    {"x", setX},
    {"y", setY},
};

}  // namespace


// Reads count floats from words[0] on; a missing word fails like a bad one.
bool readFloats(char** words, float* out, int count) {
  for (int i = 0; i < count; ++i) {
    if (words[i] == nullptr || !parseFloat(&out[i], words[i])) return false;
  }
  return true;
}

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

// Joins the words from `words` on with single blanks, as file names are
// joined elsewhere; false for no word or a text that does not fit.
bool joinWords(char** words, char* out, size_t size) {
  std::string text;
  for (char** w = words; *w != nullptr; ++w) {
    const char* word = nullptr;
    if (!parseString(&word, *w)) return false;
    if (!text.empty()) text += ' ';
    text += word;
  }
  if (text.empty() || text.size() >= size) return false;
  std::memcpy(out, text.c_str(), text.size() + 1);
  return true;
}

void setCommand(char** words) { runSubCommand(words, kSetWords, "attribute"); }
