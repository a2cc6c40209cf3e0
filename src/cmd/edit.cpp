// modelr add ... and modelr delete ...: create and remove the items of the
// current model. Each handler reads its words in usage order, calls one
// document operation and passes on the operation's reason when it refuses.
#include <cmath>
#include <cstdio>
#include <cstring>

#include "workspace/workspace.h"
#include "cmd/families.h"
#include "cmd/help.h"
#include "cmd/host.h"
#include "cmd/subcommands.h"
#include "cmd/values.h"
#include "io/mod_reader.h"
#include "model/children.h"
#include "model/transform.h"
#include "model/geometry.h"
#include "model/last_error.h"
#include "model/model.h"
#include "model/skeleton.h"

namespace {

enum Usage {
  kAddChild,
  kAddCollide,
  kAddColor,
  kAddJoint,
  kAddLayer,
  kAddLine,
  kAddNormal,
  kAddPoint,
  kAddSurface,
  kAddTriangle,
  kAddUvee,
  kAddWeight,
  kDeleteChild,
  kDeleteCollide,
  kDeleteColor,
  kDeleteImage,
  kDeleteJoint,
  kDeleteLayer,
  kDeleteLine,
  kDeleteMirrorImage,
  kDeleteNormal,
  kDeletePoint,
  kDeleteSurface,
  kDeleteTriangle,
  kDeleteWeight,
  kUsageCount,
};

const char* const kUsageTexts[] = {
    "modelr: usage: modelr add child <name> <px> <py> <pz> <sx> <sy> <sz> "
    "<a1> <a2> <a3> [<joint> <weight>]",
    "modelr: usage: modelr add collide <name> <shape> <x> <y> <z> <sx> <sy> "
    "<sz> <r0> .. <r8> <weight> <slip> <dynamic>",
    "modelr: usage: modelr add color <layername> <n> <r> <g> <b> <a>",
    "modelr: usage: modelr add joint <name> <x> <y> <z> <parent> <r> <g> <b>",
    "modelr: usage: modelr add layer <name>",
    "modelr: usage: modelr add line <layername> <nsides> <p1> <p2> <...> <pn>",
    "modelr: usage: modelr add normal <layername> <n> <x> <y> <z>",
    "modelr: usage: modelr add point <n> <x> <y> <z>",
    "modelr: usage: modelr add surface <layername> <n> <x> <y> <z>",
    "modelr: usage: modelr add triangle <layername> <nsides> <p1> <p2> <...> "
    "<pn>",
    "modelr: usage: modelr add uvee <layer> <imagenumber> <pt> <u> <v>",
    "modelr: usage: modelr add weight <jointname> <pt> <weight>",
    "modelr: usage: modelr delete child <id>",
    "modelr: usage: modelr delete collide <id>",
    "modelr: usage: modelr delete color <n> [<layername>]",
    "modelr: usage: modelr delete image <layername> <n>",
    "modelr: usage: modelr delete joint <name>",
    "modelr: usage: modelr delete layer <name>",
    "modelr: usage: modelr delete line <is>",
    "modelr: usage: modelr delete mirrorimage <layername> <n>",
    "modelr: usage: modelr delete normal <n> [<layername>]",
    "modelr: usage: modelr delete point <n>",
    "modelr: usage: modelr delete surface <n> [<layername>]",
    "modelr: usage: modelr delete triangle <id>",
    "modelr: usage: modelr delete weight <jointname> <pt>",
};
static_assert(sizeof kUsageTexts / sizeof kUsageTexts[0] == kUsageCount,
              "one usage text per sub-command");

bool wordsRead(Workspace& ws, bool read, Usage which) {
  return wordsRead(ws, read, kUsageTexts[which]);
}

// Point words of add line and add triangle end where word 512, counted from
// "add", would be: 508 points when nothing was skipped.
constexpr int kPolygonWordBound = kMaxPolygonPoints;
constexpr const char* kGlobalLayer = "(global)";

// "(global)" names the model-level tables, which the operations take as no
// layer at all.
const char* layerArgument(const char* name) {
  return std::strcmp(name, kGlobalLayer) == 0 ? nullptr : name;
}

// The new item's id as the result; 0 is a refusal.
void answerId(Workspace& ws, int32_t id) {
  if (!passOnRefusal(ws, id != 0)) return;
  char text[16];
  std::snprintf(text, sizeof text, "%d", id);
  setResult(ws, text);
}

// ---- add ------------------------------------------------------------------

void addChildWords(Workspace& ws, char** words, char**) {
  Model* model = currentModel(ws);
  char** w = words + 1;
  const char* name = nullptr;
  float position[3], scale[3], angles[3];
  if (!wordsRead(ws, nextString(w, &name) &&
                 nextFloats(w, position, 3) &&
                 nextFloats(w, scale, 3) &&
                 nextFloats(w, angles, 3), kAddChild)) return;
  const char* joint = nullptr;
  float jointWeight = 0.0f;
  if (*w != nullptr &&
      !wordsRead(ws, nextString(w, &joint) && nextFloat(w, &jointWeight), kAddChild)) {
    return;
  }

  float rotation[9];
  rotationFromAngles(angles, rotation);
  bool loaded = false;
  const int32_t id = addChildFromFile(model, name, position, scale, rotation, joint,
                                      jointWeight, &loaded);
  if (!loaded) {
    reportError(ws, "Load failed");
    return;
  }
  answerId(ws, id);
}

// Shape words in code order: box is 1 ... plane is 6.
const char* const kShapeWords[] = {"box",      "sphere", "capsule",
                                   "cylinder", "mesh",   "plane"};
constexpr int32_t kShapeCount = sizeof kShapeWords / sizeof kShapeWords[0];

bool nextShape(char**& word, int32_t* shape) {
  if (*word == nullptr) return false;
  for (int32_t i = 0; i < kShapeCount; ++i) {
    if (std::strcmp(*word, kShapeWords[i]) == 0) {
      *shape = i + 1;
      ++word;
      return true;
    }
  }
  int32_t code = 0;
  if (!parseInt(&code, *word) || code < 1 || code > kShapeCount) return false;
  *shape = code;
  ++word;
  return true;
}

void addCollideWords(Workspace& ws, char** words, char**) {
  char** w = words + 1;
  const char* name = nullptr;
  int32_t shape = 0, dynamic = 0;
  float position[3], size[3], rotation[9], weight = 0.0f, slip = 0.0f;
  if (!wordsRead(ws, nextString(w, &name) &&
                 nextShape(w, &shape) &&
                 nextFloats(w, position, 3) &&
                 nextFloats(w, size, 3) &&
                 nextFloats(w, rotation, 9) &&
                 nextFloat(w, &weight) &&
                 nextFloat(w, &slip) &&
                 nextInt(w, &dynamic), kAddCollide)) return;
  lastErrorClear();
  // Slip is the friction; commands give no bounce.
  int32_t id = addCollide(currentModel(ws), name, shape, position, size, rotation,
                          weight, slip, 0.0f, dynamic);
  answerId(ws, id);
}

void addColorWords(Workspace& ws, char** words, char**) {
  Entry e;
  if (!wordsRead(ws, readEntry(words, 4, &e), kAddColor)) return;
  const float* rgba = e.values;
  lastErrorClear();
  passOnRefusal(ws, addColour(currentModel(ws), layerArgument(e.name), e.number, rgba[0],
                              rgba[1], rgba[2], rgba[3]));
}

void addJointWords(Workspace& ws, char** words, char**) {
  char** w = words + 1;
  const char* name = nullptr;
  const char* parent = nullptr;
  float position[3], rgb[3];
  if (!wordsRead(ws, nextString(w, &name) &&
                 nextFloats(w, position, 3) &&
                 nextString(w, &parent) &&
                 nextFloats(w, rgb, 3), kAddJoint)) return;
  lastErrorClear();
  passOnRefusal(ws, addJoint(currentModel(ws), name, position[0], position[1], position[2],
                  parent, rgb[0], rgb[1], rgb[2]) != nullptr);
}

void addLayerWords(Workspace& ws, char** words, char**) {
  char** w = words + 1;
  const char* name = nullptr;
  if (!wordsRead(ws, nextString(w, &name), kAddLayer)) return;
  lastErrorClear();
  // A plain new layer: at the origin, single sided, not mirrored; the axis
  // is x so that turning mirroring on later has a sensible axis.
  passOnRefusal(ws, addLayer(currentModel(ws), name, 0.0f, 0.0f, 0.0f, 1, 0, kAxisX) !=
         nullptr);
}

void addPolygon(Workspace& ws, char** words, char** addWords, bool triangle) {
  Usage usageText = triangle ? kAddTriangle : kAddLine;
  Model* model = currentModel(ws);
  char** w = words + 1;
  const char* layer = nullptr;
  int32_t kind = 0;
  if (!wordsRead(ws, nextString(w, &layer) &&
                 nextInt(w, &kind), usageText)) return;
  int32_t points[kMaxPolygonPoints];
  int32_t count = 0;
  char** bound = addWords + kPolygonWordBound;
  while (*w != nullptr && w < bound) {
    if (!wordsRead(ws, nextInt(w, &points[count]), usageText)) return;
    ++count;
  }
  // A warning only: the points read so far still make the polygon.
  if (*w != nullptr) reportError(ws, "modelr: too many points!");

  if (findLayer(model, layer) == nullptr) {
    lastErrorClear();
    if (!passOnRefusal(ws, addLayer(model, layer, kOnTheFlyLayerGrey, kOnTheFlyLayerGrey,
                                    kOnTheFlyLayerGrey, 1, 0, kAxisNone) != nullptr)) {
      return;
    }
  }
  if (count < (triangle ? 3 : 2)) return;

  lastErrorClear();
  int32_t id = triangle ? addTriangle(model, layer, count, points, kind)
                        : addLine(model, layer, count, points, kind);
  if (!passOnRefusal(ws, id != 0)) return;
  markUveesStale(model);
  ws.lastPolygonId = id;
}

void addLineWords(Workspace& ws, char** words, char** addWords) {
  addPolygon(ws, words, addWords, false);
}

void addTriangleWords(Workspace& ws, char** words, char** addWords) {
  addPolygon(ws, words, addWords, true);
}

// add normal and add surface read the same words.
void addVector(Workspace& ws, char** words, Usage usageText, bool surface) {
  Entry e;
  if (!wordsRead(ws, readEntry(words, 3, &e), usageText)) return;
  const char* layer = e.name;
  const int32_t number = e.number;
  const float* v = e.values;
  lastErrorClear();
  Model* model = currentModel(ws);
  const char* target = layerArgument(layer);
  passOnRefusal(ws, surface ? addSurface(model, target, number, v[0], v[1], v[2])
                 : addNormal(model, target, number, v[0], v[1], v[2]));
}

void addNormalWords(Workspace& ws, char** words, char**) { addVector(ws, words, kAddNormal, false); }
void addSurfaceWords(Workspace& ws, char** words, char**) { addVector(ws, words, kAddSurface, true); }

void addPointWords(Workspace& ws, char** words, char**) {
  char** w = words + 1;
  int32_t number = 0;
  float p[3];
  if (!wordsRead(ws, nextInt(w, &number) &&
                 nextFloats(w, p, 3), kAddPoint)) return;
  lastErrorClear();
  passOnRefusal(ws, addPoint(currentModel(ws), number, p[0], p[1], p[2]));
}

void addUveeWords(Workspace& ws, char** words, char**) {
  char** w = words + 1;
  const char* layer = nullptr;
  int32_t image = 0, point = 0;
  float uv[2];
  if (!wordsRead(ws, nextString(w, &layer) &&
                 nextInt(w, &image) &&
                 nextInt(w, &point) &&
                 nextFloats(w, uv, 2), kAddUvee)) return;
  lastErrorClear();
  passOnRefusal(ws, addUvee(currentModel(ws), layer, image, point, uv[0], uv[1]));
}

void addWeightWords(Workspace& ws, char** words, char**) {
  char** w = words + 1;
  const char* joint = nullptr;
  int32_t point = 0;
  float weight = 0.0f;
  if (!wordsRead(ws, nextString(w, &joint) &&
                 nextInt(w, &point) &&
                 nextFloat(w, &weight), kAddWeight)) return;
  lastErrorClear();
  passOnRefusal(ws, addWeight(currentModel(ws), joint, point, weight));
}

// Add handlers also get the list at "add" itself: line and triangle bound
// their point words from there.
using AddHandler = void (*)(Workspace& ws, char** words, char** addWords);

const KeywordRow<AddHandler> kAddWords[] = {
    {"child", addChildWords},
    {"collide", addCollideWords},
    {"color", addColorWords},
    {"joint", addJointWords},
    {"layer", addLayerWords},
    {"line", addLineWords},
    {"normal", addNormalWords},
    {"point", addPointWords},
    {"surface", addSurfaceWords},
    {"triangle", addTriangleWords},
    {"uvee", addUveeWords},
    {"weight", addWeightWords},
};

// ---- delete ---------------------------------------------------------------

// delete child, collide, joint, layer, line, point and triangle: one key.
// delete child takes the child's model id, which is what the document
// removes children by.
template <class Key, Usage usageText, bool (*operation)(Model*, Key)>
void deleteByKey(Workspace& ws, char** words) {
  char** w = words + 1;
  Key key{};
  if (!wordsRead(ws, nextKey(w, &key), usageText)) return;
  lastErrorClear();
  passOnRefusal(ws, operation(currentModel(ws), key));
}

// delete color, normal and surface: <n> [<layername>]; without a layer name
// the model-level table is meant, as with "(global)". delete image,
// mirrorimage and weight: <name> <n>.
template <Usage usageText, bool layerLast,
          bool (*operation)(Model*, const char*, int32_t)>
void deleteKeyedEntry(Workspace& ws, char** words) {
  char** w = words + 1;
  const char* name = nullptr;
  int32_t number = 0;
  if (layerLast) {
    if (!wordsRead(ws, nextInt(w, &number), usageText)) return;
    if (*w != nullptr && nextString(w, &name)) name = layerArgument(name);
  } else if (!wordsRead(ws, nextString(w, &name) && nextInt(w, &number), usageText)) {
    return;
  }
  lastErrorClear();
  passOnRefusal(ws, operation(currentModel(ws), name, number));
}

// Each row instantiates one of the two forms above with its usage text and
// document operation.
const SubCommand kDeleteWords[] = {
    {"child", deleteByKey<int32_t, kDeleteChild, deleteChildByModelId>},
    {"collide", deleteByKey<int32_t, kDeleteCollide, deleteCollide>},
    {"color", deleteKeyedEntry<kDeleteColor, true, deleteColour>},
    {"image", deleteKeyedEntry<kDeleteImage, false, deleteImage>},
    {"joint", deleteByKey<const char*, kDeleteJoint, deleteJoint>},
    {"layer", deleteByKey<const char*, kDeleteLayer, deleteLayer>},
    {"line", deleteByKey<int32_t, kDeleteLine, deleteLine>},
    {"mirrorimage", deleteKeyedEntry<kDeleteMirrorImage, false, deleteMirrorImage>},
    {"normal", deleteKeyedEntry<kDeleteNormal, true, deleteNormal>},
    {"point", deleteByKey<int32_t, kDeletePoint, deletePoint>},
    {"surface", deleteKeyedEntry<kDeleteSurface, true, deleteSurface>},
    {"triangle", deleteByKey<int32_t, kDeleteTriangle, deleteTriangle>},
    {"weight", deleteKeyedEntry<kDeleteWeight, false, deleteWeight>},
};

}  // namespace

// The same skip loop as runSubCommand, but the handler is also given the
// list at "add".
// Both families refuse before reading a single word.
void addCommand(Workspace& ws, char** words) {
  if (selectedModel(ws) == nullptr) return;
  for (char** w = words + 1; *w != nullptr; ++w) {
    if (const KeywordRow<AddHandler>* row = findKeyword(kAddWords, *w)) {
      row->handler(ws, w, words);
      return;
    }
  }
  reportUnknownWord(ws, words, "attribute");
}

void deleteCommand(Workspace& ws, char** words) {
  if (selectedModel(ws) == nullptr) return;
  runSubCommand(ws, words, kDeleteWords, "attribute");
}

void addHelp(HelpRows* rows) { listKeywords(kAddWords, "add", rows); }
void deleteHelp(HelpRows* rows) { listKeywords(kDeleteWords, "delete", rows); }
