// modelr set child and modelr set layer: settings of child models and of
// the chosen layer of the current model.
#include <cstring>
#include <string>

#include "workspace/workspace.h"
#include "cmd/help.h"
#include "cmd/host.h"
#include "cmd/set_items.h"
#include "cmd/subcommands.h"
#include "cmd/values.h"
#include "io/texture_files.h"
#include "model/children.h"
#include "model/geometry.h"
#include "model/last_error.h"
#include "model/transform.h"

namespace {

// ---- set child -------------------------------------------------------------

// Each setter gets the words after the child id and returns false when they
// are not what it takes (the usage text follows).
using ChildSetter = bool (*)(Workspace& ws, Child* child, char** values);

bool childPosition(Workspace&, Child* child, char** values) {
  return readFloats(values, child->position, 3);
}

// Three angles in degrees (about x, then y, then z) or the nine numbers of
// the matrix, row by row, as `get child rotation` prints them.
bool childRotation(Workspace&, Child* child, char** values) {
  float numbers[9];
  int count = 0;
  while (count < 9 && values[count] != nullptr &&
         parseFloat(&numbers[count], values[count])) {
    ++count;
  }
  if (count == 9) {
    std::memcpy(child->rotation, numbers, sizeof numbers);
    return true;
  }
  if (count != 3) return false;
  rotationFromAngles(numbers, child->rotation);
  return true;
}

bool childScale(Workspace& ws, Child* child, char** values) {
  float scale[3];
  if (!readFloats(values, scale, 3)) return false;
  if (scale[0] == 0.0f || scale[1] == 0.0f || scale[2] == 0.0f) {
    reportError(ws, "child scale must not be zero");
    return true;  // refused with its own reason
  }
  std::memcpy(child->scale, scale, sizeof scale);
  return true;
}

// "(none)" detaches the child; the weight stays as it was.
bool childJoint(Workspace& ws, Child* child, char** values) {
  const char* joint = nullptr;
  if (!parseString(&joint, values[0])) return false;
  if (std::strcmp(joint, "(none)") == 0) joint = "";
  if (std::strlen(joint) >= sizeof child->joint) {
    reportError(ws, "child joint name too long");
    return true;
  }
  std::strcpy(child->joint, joint);
  return true;
}

bool childWeight(Workspace&, Child* child, char** values) {
  return readFloats(values, &child->jointWeight, 1);
}

const KeywordRow<ChildSetter> kChildWords[] = {
    {"position", childPosition},
    {"rotation", childRotation},
    {"scale", childScale},
    {"joint", childJoint},
    {"weight", childWeight},
};

// set child <what> <id> <values>, by the id `add child` answers. Children
// are placed afresh every frame, so nothing needs touching.
}  // namespace

void setChild(Workspace& ws, char** words) {
  const char* usage = "modelr: usage: modelr set child <args>";
  // An unknown <what> or an id naming no child is refused with this text.
  const char* pairUsage = "modelr: usage: modelr get child <what> <id>";
  if (words[1] == nullptr) {
    reportError(ws, usage);
    return;
  }
  ChildSetter setter = nullptr;
  if (const KeywordRow<ChildSetter>* row = findKeyword(kChildWords, words[1])) {
    setter = row->handler;
  }
  int32_t id = 0;
  if (setter == nullptr || !parseInt(&id, words[2])) {
    reportError(ws, pairUsage);
    return;
  }
  Model* model = selectedModel(ws);
  if (model == nullptr) return;
  Child* child = childById(model, id);
  if (child == nullptr) {
    reportError(ws, pairUsage);
    return;
  }
  if (!setter(ws, child, words + 3)) reportError(ws, usage);
}

namespace {

// ---- set layer -------------------------------------------------------------

// The layer that `select layer` chose in the current model, or null.
Layer* chosenLayer(Workspace& ws, Model* model) {
  const char* name = ws.view.render.chosenLayer;
  if (name[0] == '\0' || std::strcmp(name, "global") == 0) return nullptr;
  return findLayer(model, name);
}

// Each handler gets the model, the chosen layer and the words after the
// attribute; it reports its own refusals and touches the layer on change.
using LayerSetter = void (*)(Workspace& ws, Model* model, Layer* layer, char** values);

struct WordCode {
  const char* word;
  int32_t code;
};

// The code of `word` in the table, or -1.
template <size_t N>
int32_t wordCode(const char* word, const WordCode (&table)[N]) {
  if (word == nullptr) return -1;
  for (const WordCode& entry : table) {
    if (std::strcmp(word, entry.word) == 0) return entry.code;
  }
  return -1;
}

const WordCode kAxisWords[] = {
    {"x", kAxisX},
    {"y", kAxisY},
    {"z", kAxisZ},
    {"-x", kAxisMinusX},
    {"-y", kAxisMinusY},
    {"-z", kAxisMinusZ},
};

// The layer's image `number`, or null after "image not found: <n>".
Image* layerImage(Workspace& ws, Layer* layer, int32_t number) {
  Image* image = tableFindT<Image>(&layer->images, number);
  if (image == nullptr) reportErrorf(ws, "image not found: %d", number);
  return image;
}

void layerName(Workspace& ws, Model* model, Layer* layer, char** values) {
  const char* name = nullptr;
  if (!wordsRead(ws, parseString(&name, values[0]),
                 "modelr: usage: modelr set layer name <name>"))
    return;
  if (std::strcmp(name, layer->name) == 0) return;
  // "(global)" names the model's own tables; "global" chooses no layer.
  if (std::strcmp(name, "(global)") == 0 || std::strcmp(name, "global") == 0) {
    reportErrorf(ws, "bad layer name: %s", name);
    return;
  }
  if (std::strlen(name) >= sizeof layer->name) {
    reportError(ws, "layer name too long");
    return;
  }
  if (findLayer(model, name) != nullptr) {
    reportError(ws, "duplicate layer name not allowed");
    return;
  }
  if (!renameLayer(model, layer, name)) {
    reportLastError(ws);
    return;
  }
  std::strcpy(ws.view.render.chosenLayer, name);
}

void layerSides(Workspace& ws, Model* model, Layer* layer, char** values) {
  int32_t sides = 0;
  if (!parseInt(&sides, values[0]) || (sides != 1 && sides != 2)) {
    reportError(ws, "modelr: usage: modelr set layer sides 1|2");
    return;
  }
  setLayerSides(model, layer, sides == 1);
}

constexpr char kXAxisUsage[] = "modelr: usage: modelr set layer xaxis <n> x|y|z|-x|-y|-z";
constexpr char kYAxisUsage[] = "modelr: usage: modelr set layer yaxis <n> x|y|z|-x|-y|-z";

// xaxis|yaxis <n> <axis>: automatic uvees follow the new axis.
template <bool xAxis, const char* usage>
void layerAxis(Workspace& ws, Model* model, Layer* layer, char** values) {
  int32_t number = 0;
  if (!parseInt(&number, values[0]) || wordCode(values[1], kAxisWords) < 0) {
    reportError(ws, usage);
    return;
  }
  Image* image = layerImage(ws, layer, number);
  if (image == nullptr) return;
  setImageAxis(model, layer, image, xAxis, wordCode(values[1], kAxisWords));
}

// none, or the axis the layer is reflected on; "none" keeps the axis.
void layerMirror(Workspace& ws, Model* model, Layer* layer, char** values) {
  static const WordCode kWords[] = {
      {"none", kAxisNone}, {"x", kAxisX}, {"y", kAxisY}, {"z", kAxisZ}};
  const int32_t code = wordCode(values[0], kWords);
  if (code < 0) {
    reportError(ws, "modelr: usage: modelr set layer mirror none|x|y|z");
    return;
  }
  setLayerMirror(model, layer, code);
}

void layerLighting(Workspace& ws, Model* model, Layer* layer, char** values) {
  int32_t on = 0;
  if (!wordsRead(ws, parseBool(&on, values[0]),
                 "modelr: usage: modelr set layer lighting <on>"))
    return;
  setLayerLighting(model, layer, on != 0);
}

// The layer colour is the layer line's three numbers, kept as given: the
// renderer reads components above 1 as the 0..255 scale.
void layerColor(Workspace& ws, Model* model, Layer* layer, char** values) {
  float rgb[3];
  if (!wordsRead(ws, readFloats(values, rgb, 3),
                 "modelr: usage: modelr set layer color <r> <g> <b>"))
    return;
  setLayerColour(model, layer, rgb);
}

void layerTransparency(Workspace& ws, Model* model, Layer* layer, char** values) {
  float value = 0.0f;
  if (!wordsRead(ws, parseFloat(&value, values[0]),
                 "modelr: usage: modelr set layer transparency <f>"))
    return;
  if (!setTransparency(model, layer->name, value)) reportError(ws, lastErrorText());
}

constexpr char kImageUsage[] = "modelr: usage: modelr set layer image <n> <filename>";
constexpr char kMirrorImageUsage[] =
    "modelr: usage: modelr set layer mirrorimage <n> <filename>";
constexpr char kAlphaImageUsage[] =
    "modelr: usage: modelr set layer alphaimage <n> <filename>";

// image|mirrorimage|alphaimage <n> <filename>: file name words joined with
// blanks. A file that does not load keeps the image, unloaded, and its
// reason is reported.
template <int32_t mode, const char* usage>
void layerImageFile(Workspace& ws, Model* model, Layer* layer, char** values) {
  int32_t number = 0;
  char file[kNameBytes];
  if (!parseInt(&number, values[0]) || number < 1 ||
      !joinWords(values + 1, file, sizeof file)) {
    reportError(ws, usage);
    return;
  }
  // A main image keeps the axes and strength it has; a new one projects x
  // and y at full strength.
  int32_t axisU = kAxisX, axisV = kAxisY;
  float strength = 1.0f;
  if (const Image* old = tableFindT<Image>(&layer->images, number)) {
    axisU = old->axisU;
    axisV = old->axisV;
    strength = old->strength;
  }
  lastErrorClear();
  const bool added = addImageFromFiles(model, layer->name, number, file, mode,
                                       axisU, axisV, strength);
  const char* reason = lastErrorText();
  if (reason != nullptr && reason[0] != '\0') reportError(ws, reason);
  if (added) markUveesStale(model);
}

void layerBlend(Workspace& ws, Model* model, Layer* layer, char** values) {
  int32_t number = 0;
  float strength = 0.0f;
  if (!wordsRead(ws, parseInt(&number, values[0]) && parseFloat(&strength, values[1]),
                 "modelr: usage: modelr set layer blend <n> <f>"))
    return;
  Image* image = layerImage(ws, layer, number);
  if (image == nullptr) return;
  setImageStrength(model, layer, image, strength);
}

// Reads <n> <word> for the mode words: the word's code, or -1 after the
// usage text. The word is looked at only once <n> is there: the list ends
// at the first missing word.
template <size_t N>
int32_t readImageCode(Workspace& ws, char** values, int32_t* number,
                      const WordCode (&words)[N], const char* usage) {
  int32_t code = -1;
  if (parseInt(number, values[0])) code = wordCode(values[1], words);
  if (code < 0) reportError(ws, usage);
  return code;
}

// decal 1 .. additive 4, and displace 9, which the usage text leaves out.
void layerImageMode(Workspace& ws, Model* model, Layer* layer, char** values) {
  static const WordCode kWords[] = {
      {"decal", kImageDecal},
      {"smooth", kImageSmooth},
      {"reflect", kImageReflect},
      {"additive", kImageAdditive},
      {"displace", kImageDisplace},
  };
  int32_t number = 0;
  const int32_t code = readImageCode(ws, 
      values, &number, kWords,
      "modelr: usage: modelr set layer imagemode <n> "
      "<decal|smooth|reflect|additive>");
  if (code < 0) return;
  Image* image = layerImage(ws, layer, number);
  if (image == nullptr) return;
  setImageMode(model, layer, image, code);
}

void layerAlphaMode(Workspace& ws, Model* model, Layer* layer, char** values) {
  static const WordCode kWords[] = {{"none", kExtraNone},
                                    {"color", kExtraInvisibleColour},
                                    {"image", kExtraAlphaTexture}};
  int32_t number = 0;
  const int32_t code = readImageCode(ws, 
      values, &number, kWords,
      "modelr: usage: modelr set layer alphamode <n> <none|color|image>");
  if (code < 0) return;
  Image* image = layerImage(ws, layer, number);
  if (image == nullptr) return;
  setImageAlphaMode(model, layer, image, code);
}

// invisible <0|1> <r> <g> <b>: for every image of the layer, 1 makes the
// colour see-through (alpha mode color), 0 takes that back. Components
// above 1 are on the 0..255 scale.
void layerInvisible(Workspace& ws, Model* model, Layer* layer, char** values) {
  int32_t flag = 0;
  float rgb[3];
  if (!parseInt(&flag, values[0]) || (flag != 0 && flag != 1) ||
      !readFloats(values + 1, rgb, 3)) {
    reportError(ws, "modelr: usage: modelr set layer invisible <0|1> <r> <g> <b>");
    return;
  }
  if (tableCount(&layer->images) == 0) {
    reportErrorf(ws, "layer has no images: %s", layer->name);
    return;
  }
  if (rgb[0] > 1.0f || rgb[1] > 1.0f || rgb[2] > 1.0f) {
    for (float& c : rgb) c *= kByteScale;
  }
  if (!setLayerInvisible(model, layer, flag == 1, rgb)) reportError(ws, lastErrorText());
}

const KeywordRow<LayerSetter> kLayerWords[] = {
    {"name", layerName},
    {"sides", layerSides},
    {"xaxis", layerAxis<true, kXAxisUsage>},
    {"yaxis", layerAxis<false, kYAxisUsage>},
    {"mirror", layerMirror},
    {"lighting", layerLighting},
    {"color", layerColor},
    {"transparency", layerTransparency},
    {"image", layerImageFile<kImageSmooth, kImageUsage>},
    {"mirrorimage", layerImageFile<kImageSelectMirror, kMirrorImageUsage>},
    {"alphaimage", layerImageFile<kImageSelectAlpha, kAlphaImageUsage>},
    {"blend", layerBlend},
    {"imagemode", layerImageMode},
    {"alphamode", layerAlphaMode},
    {"invisible", layerInvisible},
};

// set layer <attribute> <values>: acts on the chosen layer. Unknown words
// before the attribute are skipped, as everywhere.
}  // namespace

void setLayer(Workspace& ws, char** words) {
  Model* model = selectedModel(ws);
  if (model == nullptr) return;
  Layer* layer = chosenLayer(ws, model);
  if (layer == nullptr) {
    reportError(ws, "modelr: no layer selected!");
    return;
  }
  if (words[1] == nullptr) {
    reportError(ws, "modelr: usage: modelr set layer <args>");
    return;
  }
  for (char** w = words + 1; *w != nullptr; ++w) {
    if (const KeywordRow<LayerSetter>* row = findKeyword(kLayerWords, *w)) {
      row->handler(ws, model, layer, w + 1);
      return;
    }
  }
  reportErrorf(ws, "modelr: unknown layer argument: %s", lastWordTried(words));
}

void setItemsHelp(HelpRows* rows) {
  listKeywords(kLayerWords, "set", rows, "layer ");
  listKeywords(kChildWords, "set", rows, "child ");
}
