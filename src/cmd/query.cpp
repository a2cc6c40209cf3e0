// modelr get ... and modelr find ...: queries of the document and the view.
// They change nothing. The result text is the answer; "unknown" stands for
// an absent item where the script asked for a point or an id list, and an
// empty result for every other absent thing.
// Item and view queries live in query_items.cpp, shared helpers in
// query_support.cpp.
#include <cstdio>
#include <cstring>

#include "workspace/workspace.h"
#include "cmd/families.h"
#include "cmd/format.h"
#include "cmd/help.h"
#include "cmd/host.h"
#include "cmd/query_support.h"
#include "cmd/subcommands.h"
#include "cmd/values.h"
#include "workspace/picking.h"
#include "model/geometry.h"
#include "model/skeleton.h"

namespace {

using namespace query;

// --- get: the document ----------------------------------------------------

void getCentre(Workspace& ws, char**) {
  const Model* model = currentModel(ws);
  if (model == nullptr) return;
  float centre[3];
  // In double: the extent of a model spread across the float range
  // overflows a float, its half does not.
  for (int i = 0; i < 3; ++i) {
    const double low = model->boundsMin[i], high = model->boundsMax[i];
    centre[i] = static_cast<float>(low + (high - low) / 2.0);
  }
  setFloats(ws, centre, 3);
}

// get children [(selected)]: child ids.
void getChildren(Workspace& ws, char** words) {
  bool onlySelected = words[1] != nullptr;
  if (onlySelected && std::strcmp(words[1], kSelected) != 0) {
    reportError(ws, "modelr: usage: modelr get children");
    return;
  }
  const Model* model = currentModel(ws);
  IntList ids;
  if (model != nullptr) collectChildren(model, onlySelected, &ids);
  setIdsOrUnknown(ws, ids);
}

void getCollides(Workspace& ws, char**) {
  const Model* model = currentModel(ws);
  IntList ids;
  if (model != nullptr) {
    for (int32_t s = tableNextSlot(&model->collides, -1); s >= 0;
         s = tableNextSlot(&model->collides, s)) {
      ids.push(tableAt<CollideObject>(&model->collides, s)->id);
    }
  }
  setIdsOrUnknown(ws, ids);
}

// The colour, normal or surface table a <layername> names; null when the
// layer does not exist.
const KeyedTable* entryTable(Model* model, const char* layerName,
                             KeyedTable Model::*global,
                             KeyedTable Layer::*perLayer) {
  if (std::strcmp(layerName, kGlobal) == 0) return &(model->*global);
  const Layer* layer = findLayer(model, layerName);
  return layer ? &(layer->*perLayer) : nullptr;
}

// Reads <layername> <n> and finds that entry; null when the words are bad
// (usage reported) or there is no such entry.
const void* findEntry(Workspace& ws, char** words, const char* usage,
                      KeyedTable Model::*global, KeyedTable Layer::*perLayer) {
  const char* layerName = nullptr;
  int32_t number = 0;
  if (!parseString(&layerName, words[1]) || !parseInt(&number, words[2])) {
    reportError(ws, usage);
    return nullptr;
  }
  Model* model = currentModel(ws);
  if (model == nullptr) return nullptr;
  const KeyedTable* table = entryTable(model, layerName, global, perLayer);
  return table ? tableFind(table, number) : nullptr;
}

void getColor(Workspace& ws, char** words) {
  const Colour* c = static_cast<const Colour*>(
      findEntry(ws, words, "modelr: usage: modelr get color <layername> <n>",
                &Model::colours, &Layer::colours));
  if (c == nullptr) return;
  float rgba[4] = {c->r, c->g, c->b, c->a};
  setFloats(ws, rgba, 4);
}

void setVector(Workspace& ws, const void* entry) {
  const VectorEntry* v = static_cast<const VectorEntry*>(entry);
  if (v == nullptr) return;
  float xyz[3] = {v->x, v->y, v->z};
  setFloats(ws, xyz, 3);
}

void getNormal(Workspace& ws, char** words) {
  setVector(ws, findEntry(ws, words, "modelr: usage: modelr get normal <layername> <n>",
                      &Model::normals, &Layer::normals));
}
void getSurface(Workspace& ws, char** words) {
  setVector(ws, findEntry(ws, words, "modelr: usage: modelr get surface <layername> <n>",
                      &Model::surface, &Layer::surface));
}

void getHighest(Workspace& ws, char**) {
  const Model* model = currentModel(ws);
  if (model != nullptr) setInt(ws, highestPointNumber(model));
}

// get joint <name>: position, colour r g b, pose translation; each triple
// as the float formatter writes it (ending in a space), joined by spaces.
void getJoint(Workspace& ws, char** words) {
  const char* name = nullptr;
  if (!wordsRead(ws, parseString(&name, words[1]),
                 "modelr: usage: modelr get joint <name>"))
    return;
  const Model* model = currentModel(ws);
  const Joint* joint = model ? findJoint(model, name) : nullptr;
  if (joint == nullptr) return;
  const float* triples[3] = {joint->position, joint->colour,
                             joint->poseTranslation};
  char parts[3][256];
  for (int i = 0; i < 3; ++i) {
    const char* text = formatFloatList(resultText(ws), triples[i], 3);
    if (text == nullptr) return;
    std::snprintf(parts[i], sizeof parts[i], "%s", text);
  }
  char text[800];
  std::snprintf(text, sizeof text, "%s %s %s", parts[0], parts[1], parts[2]);
  setResult(ws, text);
}

// get joints: "name parent" pairs in slot order, parent "world" for a root.
void getJoints(Workspace& ws, char**) {
  const Model* model = currentModel(ws);
  if (model == nullptr) return;
  textStart(ws);
  for (int32_t s = tableNextSlot(&model->joints, -1); s >= 0;
       s = tableNextSlot(&model->joints, s)) {
    const Joint* joint = tableAt<Joint>(&model->joints, s);
    textAdd(ws, joint->name);
    textAdd(ws, joint->parent[0] ? joint->parent : "world");
  }
  textSet(ws);
}

// lines, triangles [<layername>]: ids, "unknown" if none.
template <class T>
void getPolygonIds(Workspace& ws, char** words, KeyedTable Layer::*member) {
  const Model* model = currentModel(ws);
  IntList ids;
  if (model != nullptr) {
    Scope scope = readScope(model, words[1]);
    if (scope.kind != kScopeMissing) {
      collectPolygons<T>(model, scope, member, &ids);
    }
  }
  setIdsOrUnknown(ws, ids);
}

void getLines(Workspace& ws, char** words) { getPolygonIds<Line>(ws, words, &Layer::lines); }
void getTriangles(Workspace& ws, char** words) {
  getPolygonIds<Triangle>(ws, words, &Layer::triangles);
}

// numlines, numtris [<layername>]: a count; empty for a missing layer.
template <class T>
void getPolygonCount(Workspace& ws, char** words, KeyedTable Layer::*member) {
  const Model* model = currentModel(ws);
  if (model == nullptr) return;
  Scope scope = readScope(model, words[1]);
  if (scope.kind == kScopeMissing) return;
  IntList ids;
  collectPolygons<T>(model, scope, member, &ids);
  if (!ids.failed) setInt(ws, ids.count);
}

void getNumLines(Workspace& ws, char** words) {
  getPolygonCount<Line>(ws, words, &Layer::lines);
}
void getNumTris(Workspace& ws, char** words) {
  getPolygonCount<Triangle>(ws, words, &Layer::triangles);
}

void getName(Workspace& ws, char**) {
  Model* model = currentModel(ws);
  setResult(ws, model ? model->name : "unknown");
}

void getNumCollides(Workspace& ws, char**) {
  const Model* model = currentModel(ws);
  if (model != nullptr) setInt(ws, tableCount(&model->collides));
}

void getNumJoints(Workspace& ws, char**) {
  const Model* model = currentModel(ws);
  if (model != nullptr) setInt(ws, tableCount(&model->joints));
}

void getNumPoints(Workspace& ws, char** words) {
  const Model* model = currentModel(ws);
  if (model == nullptr) return;
  Scope scope = readScope(model, words[1]);
  if (scope.kind == kScopeMissing) return;
  if (scope.kind == kScopeAll) {
    setInt(ws, tableCount(&model->points));
    return;
  }
  IntList ids;
  collectPoints(model, scope, &ids);
  if (!ids.failed) setInt(ws, ids.count);
}

// numkids [(selected)]: children are not in layers, so any other word
// names nothing and answers nothing.
void getNumKids(Workspace& ws, char** words) {
  const Model* model = currentModel(ws);
  if (model == nullptr) return;
  bool onlySelected = words[1] != nullptr;
  if (onlySelected && std::strcmp(words[1], kSelected) != 0) return;
  IntList ids;
  collectChildren(model, onlySelected, &ids);
  if (!ids.failed) setInt(ws, ids.count);
}

// get point <n> [exclusive]: the stored position, or with "exclusive" the
// one the point picker sees (posed when the pose switch is on).
void getPoint(Workspace& ws, char** words) {
  int32_t number = 0;
  if (!parseInt(&number, words[1])) {
    // The optional word stays out: the error procedure's line is evaluated,
    // and "[exclusive]" would run as a command.
    reportError(ws, "modelr: usage: modelr get point <n>");
    return;
  }
  const bool asPicked = words[2] != nullptr && std::strcmp(words[2], "exclusive") == 0;
  const Model* model = currentModel(ws);
  const Point* point = model ? findPoint(model, number) : nullptr;
  float xyz[3];
  if (point == nullptr || (asPicked && !pointAsPicked(ws, number, xyz))) {
    setUnknown(ws);
    return;
  }
  if (!asPicked) {
    xyz[0] = point->x;
    xyz[1] = point->y;
    xyz[2] = point->z;
  }
  setFloats(ws, xyz, 3);
}

void getPoints(Workspace& ws, char** words) {
  const Model* model = currentModel(ws);
  IntList ids;
  if (model != nullptr) {
    Scope scope = readScope(model, words[1]);
    if (scope.kind != kScopeMissing) collectPoints(model, scope, &ids);
  }
  setIdsOrUnknown(ws, ids);
}

// The volume of the model's bounding box.
void getVolume(Workspace& ws, char**) {
  const Model* model = currentModel(ws);
  if (model == nullptr) return;
  // In double, so that a flat box is 0 whatever its other extents; a
  // volume beyond the float range answers inf, never nan.
  double volume = 1.0;
  for (int i = 0; i < 3; ++i)
    volume *= static_cast<double>(model->boundsMax[i]) - model->boundsMin[i];
  setFloat(ws, static_cast<float>(volume));
}

const SubCommand kGetWords[] = {
    {"centre", getCentre},
    {"child", getChild},
    {"collide", getCollide},
    {"children", getChildren},
    {"collides", getCollides},
    {"color", getColor},
    {"cursor", getCursor},
    {"highest", getHighest},
    {"hostname", getHostname},
    {"joint", getJoint},
    {"joints", getJoints},
    {"layer", getLayer},
    {"lines", getLines},
    {"matrix", getMatrix},
    {"name", getName},
    {"normal", getNormal},
    {"numcollides", getNumCollides},
    {"numpoints", getNumPoints},
    {"numjoints", getNumJoints},
    {"numlines", getNumLines},
    {"numtris", getNumTris},
    {"numkids", getNumKids},
    {"pan", getPan},
    {"point", getPoint},
    {"points", getPoints},
    {"pointer", getPointer},
    {"surface", getSurface},
    {"stats", getStats},
    {"triangles", getTriangles},
    {"volume", getVolume},
    {"zoom", getZoom},
};

// --- find -----------------------------------------------------------------

// Every model in the document: the open ones in registry order, each
// followed by its child models, depth first. Stops when visit says so.
template <class Visit>
bool visitModel(Model* model, Visit& visit) {
  if (visit(model)) return true;
  for (int32_t s = tableNextSlot(&model->children, -1); s >= 0;
       s = tableNextSlot(&model->children, s)) {
    Model* child = tableAt<Child>(&model->children, s)->model;
    if (child != nullptr && visitModel(child, visit)) return true;
  }
  return false;
}

template <class Visit>
void visitModels(Workspace& ws, Visit visit) {
  const KeyedTable* models = &ws.registry.models;
  for (int32_t s = tableNextSlot(models, -1); s >= 0;
       s = tableNextSlot(models, s)) {
    Model* model = tableAt<RegistryEntry>(models, s)->model;
    if (model != nullptr && visitModel(model, visit)) return;
  }
}

// find images <id>: "layer number file" for every image of the model with
// that id, layers and images in slot order; "(none)" for an image without
// a main texture file.
void findImages(Workspace& ws, char** words) {
  int32_t id = 0;
  if (!wordsRead(ws, parseInt(&id, words[1]), "modelr: usage: modelr find images <id>")) return;
  Model* found = nullptr;
  visitModels(ws, [&](Model* model) {
    if (model->id == id) found = model;
    return found != nullptr;
  });
  if (found == nullptr) return;
  textStart(ws);
  for (int32_t l = tableNextSlot(&found->layers, -1); l >= 0;
       l = tableNextSlot(&found->layers, l)) {
    const Layer* layer = tableAt<Layer>(&found->layers, l);
    for (int32_t s = tableNextSlot(&layer->images, -1); s >= 0;
         s = tableNextSlot(&layer->images, s)) {
      const Image* image = tableAt<Image>(&layer->images, s);
      char number[16];
      std::snprintf(number, sizeof number, "%d",
                    tableIntKeyAt(&layer->images, s));
      textAdd(ws, layer->name);
      textAdd(ws, number);
      textAdd(ws, image->main.file[0] ? image->main.file : "(none)");
    }
  }
  textSet(ws);
}

// find point <x> <y> <z>: the number of the first point there, 0 if none.
// find point answers with add point's usage text, as it always has.
constexpr char kFindPointUsage[] = "modelr: usage: modelr add point <n> <x> <y> <z>";

void findPointCommand(Workspace& ws, char** words) {
  float x = 0, y = 0, z = 0;
  if (!parseFloat(&x, words[1]) || !parseFloat(&y, words[2]) ||
      !parseFloat(&z, words[3])) {
    reportError(ws, kFindPointUsage);
    return;
  }
  const Model* model = currentModel(ws);
  if (model != nullptr) setInt(ws, findPointAt(model, x, y, z));
}

// find model <name>: the id of the first model of that name.
void findModel(Workspace& ws, char** words) {
  const char* name = nullptr;
  if (!wordsRead(ws, parseString(&name, words[1]),
                 "modelr: usage: modelr find model <name>"))
    return;
  const Model* found = nullptr;
  visitModels(ws, [&](Model* model) {
    if (std::strcmp(model->name, name) == 0) found = model;
    return found != nullptr;
  });
  if (found == nullptr) {
    setUnknown(ws);
    return;
  }
  setInt(ws, found->id);
}

const SubCommand kFindWords[] = {
    {"images", findImages},
    {"point", findPointCommand, kFindPointUsage},
    {"model", findModel},
};

}  // namespace

void getCommand(Workspace& ws, char** words) { runSubCommand(ws, words, kGetWords, "attribute"); }

void findCommand(Workspace& ws, char** words) { runSubCommand(ws, words, kFindWords, "command"); }

void getHelp(HelpRows* rows) { listKeywords(kGetWords, "get", rows); }
void findHelp(HelpRows* rows) { listKeywords(kFindWords, "find", rows); }
