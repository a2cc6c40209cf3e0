// modelr get ... and modelr find ...: queries of the document and the view.
// They change nothing. The result text is the answer; "unknown" stands for
// an absent item where the script asked for a point or an id list, and an
// empty result for every other absent thing.
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cmd/context.h"
#include "cmd/families.h"
#include "cmd/format.h"
#include "cmd/host.h"
#include "cmd/subcommands.h"
#include "cmd/values.h"
#include "model/children.h"
#include "model/geometry.h"
#include "model/skeleton.h"

namespace {

const char kSelected[] = "(selected)";
const char kGlobal[] = "(global)";
constexpr double kPi = 3.14159265358979323846;

// --- Results -------------------------------------------------------------

void setInts(const int32_t* values, int count) {
  setResult(formatIntList(values, count));
}
void setInt(int32_t value) { setInts(&value, 1); }
void setFloats(const float* values, int count) {
  setResult(formatFloatList(values, count));
}
void setFloat(float value) { setFloats(&value, 1); }
void setUnknown() { setResult("unknown"); }

// Words joined by single spaces, for lists of names. A text that would pass
// the result limit gives nothing, like the number formatters.
struct TextList {
  char text[kMaxResultChars + 1];
  int length;
  bool full;
};
TextList g_text;

void textStart() {
  g_text.text[0] = '\0';
  g_text.length = 0;
  g_text.full = false;
}

void textAdd(const char* word) {
  int separator = g_text.length > 0 ? 1 : 0;
  int add = static_cast<int>(std::strlen(word)) + separator;
  if (g_text.full || g_text.length + add > kMaxResultChars) {
    g_text.full = true;
    return;
  }
  if (separator) g_text.text[g_text.length] = ' ';
  std::strcpy(g_text.text + g_text.length + separator, word);
  g_text.length += add;
}

void textSet() {
  if (!g_text.full) setResult(g_text.text);
}

// A growable list of ids; a failed allocation makes the answer empty rather
// than short.
struct IdList {
  int32_t* ids = nullptr;
  int count = 0;
  int capacity = 0;
  bool failed = false;

  IdList() = default;
  IdList(const IdList&) = delete;
  IdList& operator=(const IdList&) = delete;
  ~IdList() { std::free(ids); }

  void push(int32_t id) {
    if (failed) return;
    if (count == capacity) {
      int grown = capacity ? capacity * 2 : 64;
      void* more = std::realloc(ids, sizeof(int32_t) * grown);
      if (more == nullptr) {
        failed = true;
        return;
      }
      ids = static_cast<int32_t*>(more);
      capacity = grown;
    }
    ids[count++] = id;
  }
};

void setIds(const IdList& list) {
  if (!list.failed) setInts(list.ids, list.count);
}

void setIdsOrUnknown(const IdList& list) {
  if (list.failed) return;
  if (list.count == 0) {
    setUnknown();
    return;
  }
  setInts(list.ids, list.count);
}

// --- What an optional [<layername>] word selects ---------------------------

enum ScopeKind { kScopeAll, kScopeSelected, kScopeLayer, kScopeMissing };

struct Scope {
  ScopeKind kind;
  const Layer* layer;
};

// No word and "(global)" both mean the whole model.
Scope readScope(const Model* model, const char* word) {
  if (word == nullptr || std::strcmp(word, kGlobal) == 0) {
    return {kScopeAll, nullptr};
  }
  if (std::strcmp(word, kSelected) == 0) return {kScopeSelected, nullptr};
  const Layer* layer = findLayer(model, word);
  return {layer ? kScopeLayer : kScopeMissing, layer};
}

bool selected(int32_t flags) { return (flags & kItemSelected) != 0; }

// Ids of the polygons (T = Triangle) or lines (T = Line) in scope: layers in
// slot order, then each layer's table in slot order.
template <class T>
void collectPolygons(const Model* model, const Scope& scope,
                     KeyedTable Layer::*member, IdList* out) {
  for (int32_t l = tableNextSlot(&model->layers, -1); l >= 0;
       l = tableNextSlot(&model->layers, l)) {
    const Layer* layer = tableAt<Layer>(&model->layers, l);
    if (scope.kind == kScopeLayer && layer != scope.layer) continue;
    const KeyedTable* table = &(layer->*member);
    for (int32_t s = tableNextSlot(table, -1); s >= 0;
         s = tableNextSlot(table, s)) {
      const T* item = tableAt<T>(table, s);
      if (scope.kind == kScopeSelected && !selected(item->flags)) continue;
      out->push(item->id);
    }
  }
}

template <class T>
void addUsedPoints(const KeyedTable* table, KeyedTable* seen) {
  for (int32_t s = tableNextSlot(table, -1); s >= 0;
       s = tableNextSlot(table, s)) {
    const T* item = tableAt<T>(table, s);
    for (int i = 0; i < item->count; ++i) tableInsert(seen, item->points[i]);
  }
}

// Point numbers in scope: slot order for the model and the selection; for
// a layer, the distinct points its polygons and lines use, ascending.
void collectPoints(const Model* model, const Scope& scope, IdList* out) {
  if (scope.kind == kScopeLayer) {
    KeyedTable seen;
    tableInit(&seen, 1, kIntKeyed);
    addUsedPoints<Triangle>(&scope.layer->triangles, &seen);
    addUsedPoints<Line>(&scope.layer->lines, &seen);
    for (int32_t s = tableNextSlot(&seen, -1); s >= 0;
         s = tableNextSlot(&seen, s)) {
      out->push(tableIntKeyAt(&seen, s));
    }
    tableRelease(&seen);
    if (!out->failed) std::sort(out->ids, out->ids + out->count);
    return;
  }
  const KeyedTable* points = &model->points;
  for (int32_t s = tableNextSlot(points, -1); s >= 0;
       s = tableNextSlot(points, s)) {
    if (scope.kind == kScopeSelected &&
        !selected(tableAt<Point>(points, s)->flags)) {
      continue;
    }
    out->push(tableIntKeyAt(points, s));
  }
}

void collectChildren(const Model* model, bool onlySelected, IdList* out) {
  const KeyedTable* children = &model->children;
  for (int32_t s = tableNextSlot(children, -1); s >= 0;
       s = tableNextSlot(children, s)) {
    const Child* child = tableAt<Child>(children, s);
    if (onlySelected && !selected(child->flags)) continue;
    out->push(child->id);
  }
}

int32_t polygonCount(const Model* model) {
  int32_t total = 0;
  for (int32_t l = tableNextSlot(&model->layers, -1); l >= 0;
       l = tableNextSlot(&model->layers, l)) {
    total += tableCount(&tableAt<Layer>(&model->layers, l)->triangles);
  }
  return total;
}

// --- Item queries: child, collide, layer ---------------------------------

struct ChildQuery {
  const char* what;
  void (*answer)(const Child& child);
};

const ChildQuery kChildQueries[] = {
    {"position", [](const Child& c) { setFloats(c.position, 3); }},
    {"scale", [](const Child& c) { setFloats(c.scale, 3); }},
    {"rotation", [](const Child& c) { setFloats(c.rotation, 9); }},
    {"name", [](const Child& c) { setResult(c.name); }},
    {"joint", [](const Child& c) { setResult(c.joint[0] ? c.joint : "(none)"); }},
    {"weight", [](const Child& c) { setFloat(c.jointWeight); }},
    // The loaded model's id: what "delete child" and "find images" take.
    {"model", [](const Child& c) { if (c.model) setInt(c.model->id); }},
};

// get child <what> <id>, by child id.
void getChild(char** words) {
  const char* what = nullptr;
  int32_t id = 0;
  if (!parseString(&what, words[1]) || !parseInt(&id, words[2])) {
    reportError("modelr: usage: modelr get child <what> <id>");
    return;
  }
  for (const ChildQuery& query : kChildQueries) {
    if (std::strcmp(what, query.what) != 0) continue;
    Model* model = currentModel();
    const Child* child = model ? childById(model, id) : nullptr;
    if (child != nullptr) query.answer(*child);
    return;
  }
  reportError("modelr: usage: modelr get child <what> <id>");
}

struct CollideQuery {
  const char* what;
  void (*answer)(const CollideObject& collide);
};

const CollideQuery kCollideQueries[] = {
    {"position", [](const CollideObject& c) { setFloats(c.position, 3); }},
    {"size", [](const CollideObject& c) { setFloats(c.size, 3); }},
    {"rotation", [](const CollideObject& c) { setFloats(c.rotation, 9); }},
    {"name", [](const CollideObject& c) { setResult(c.name); }},
    {"shape", [](const CollideObject& c) {
       setResult(collideShapeName(currentModel(), c.id));
     }},
    {"weight", [](const CollideObject& c) { setFloat(c.weight); }},
    {"friction", [](const CollideObject& c) { setFloat(c.friction); }},
    {"bounce", [](const CollideObject& c) { setFloat(c.bounce); }},
    {"dynamic", [](const CollideObject& c) { setInt(c.dynamic); }},
};

// get collide <what> <id>
void getCollide(char** words) {
  const char* what = nullptr;
  int32_t id = 0;
  if (!parseString(&what, words[1]) || !parseInt(&id, words[2])) {
    reportError("modelr: usage: modelr get collide <what> <id>");
    return;
  }
  for (const CollideQuery& query : kCollideQueries) {
    if (std::strcmp(what, query.what) != 0) continue;
    Model* model = currentModel();
    const CollideObject* collide = model ? collideById(model, id) : nullptr;
    if (collide != nullptr) query.answer(*collide);
    return;
  }
  reportError("modelr: usage: modelr get collide <what> <id>");
}

const char* axisName(int32_t code) {
  static const char* const kNames[] = {"none", "x", "y", "z", "-x", "-y", "-z"};
  return code >= 1 && code <= 6 ? kNames[code] : "none";
}

struct LayerQuery {
  const char* what;
  void (*answer)(Model* model, Layer* layer);
};

const LayerQuery kLayerQueries[] = {
    // The three numbers of the layer line: 127 127 127 for a layer made on
    // the fly by add triangle or add line.
    {"color", [](Model*, Layer* l) { setFloats(l->origin, 3); }},
    {"transparency", [](Model*, Layer* l) { setFloat(1.0f - l->opacity); }},
    // 1 or 2, as "set layer sides" takes it.
    {"sides", [](Model*, Layer* l) { setInt(l->singleSided ? 1 : 2); }},
    {"mirror", [](Model*, Layer* l) {
       setResult(l->mirror ? axisName(l->mirrorAxis) : "none");
     }},
    {"images", [](Model*, Layer* l) {
       IdList numbers;
       for (int32_t s = tableNextSlot(&l->images, -1); s >= 0;
            s = tableNextSlot(&l->images, s)) {
         numbers.push(tableIntKeyAt(&l->images, s));
       }
       setIds(numbers);
     }},
    {"bounds", [](Model* m, Layer* l) {
       flushDerived(m);
       setFloats(l->bounds, 6);
     }},
};

// get layer names | get layer <what> <name> | get layer uvee <name> <n> <pt>
void getLayer(char** words) {
  const char* usage = "modelr: usage: modelr get layer <what> <name>";
  const char* what = nullptr;
  if (!parseString(&what, words[1])) {
    reportError(usage);
    return;
  }
  Model* model = currentModel();
  if (std::strcmp(what, "names") == 0) {
    if (model == nullptr) return;
    textStart();
    for (int32_t s = tableNextSlot(&model->layers, -1); s >= 0;
         s = tableNextSlot(&model->layers, s)) {
      textAdd(tableAt<Layer>(&model->layers, s)->name);
    }
    textSet();
    return;
  }
  const char* name = nullptr;
  if (std::strcmp(what, "uvee") == 0) {
    int32_t image = 0, point = 0;
    if (!parseString(&name, words[2]) || !parseInt(&image, words[3]) ||
        !parseInt(&point, words[4])) {
      reportError("modelr: usage: modelr get layer uvee <name> <n> <pt>");
      return;
    }
    Layer* layer = model ? findLayer(model, name) : nullptr;
    if (layer == nullptr) return;
    flushDerived(model);
    const Image* found = tableFindT<Image>(&layer->images, image);
    const Uvee* uvee = found ? tableFindT<Uvee>(&found->uvees, point) : nullptr;
    if (uvee != nullptr) {
      float uv[2] = {uvee->u, uvee->v};
      setFloats(uv, 2);
    }
    return;
  }
  for (const LayerQuery& query : kLayerQueries) {
    if (std::strcmp(what, query.what) != 0) continue;
    if (!parseString(&name, words[2])) break;
    Layer* layer = model ? findLayer(model, name) : nullptr;
    if (layer != nullptr) query.answer(model, layer);
    return;
  }
  reportError(usage);
}

// --- get: the document ----------------------------------------------------

void getCentre(char**) {
  const Model* model = currentModel();
  if (model == nullptr) return;
  float centre[3];
  for (int i = 0; i < 3; ++i) {
    centre[i] = model->boundsMin[i] +
                (model->boundsMax[i] - model->boundsMin[i]) * 0.5f;
  }
  setFloats(centre, 3);
}

// get children [(selected)]: child ids.
void getChildren(char** words) {
  bool onlySelected = words[1] != nullptr;
  if (onlySelected && std::strcmp(words[1], kSelected) != 0) {
    reportError("modelr: usage: modelr get children");
    return;
  }
  const Model* model = currentModel();
  IdList ids;
  if (model != nullptr) collectChildren(model, onlySelected, &ids);
  setIdsOrUnknown(ids);
}

void getCollides(char**) {
  const Model* model = currentModel();
  IdList ids;
  if (model != nullptr) {
    for (int32_t s = tableNextSlot(&model->collides, -1); s >= 0;
         s = tableNextSlot(&model->collides, s)) {
      ids.push(tableAt<CollideObject>(&model->collides, s)->id);
    }
  }
  setIdsOrUnknown(ids);
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
const void* findEntry(char** words, const char* usage,
                      KeyedTable Model::*global, KeyedTable Layer::*perLayer) {
  const char* layerName = nullptr;
  int32_t number = 0;
  if (!parseString(&layerName, words[1]) || !parseInt(&number, words[2])) {
    reportError(usage);
    return nullptr;
  }
  Model* model = currentModel();
  if (model == nullptr) return nullptr;
  const KeyedTable* table = entryTable(model, layerName, global, perLayer);
  return table ? tableFind(table, number) : nullptr;
}

void getColor(char** words) {
  const Colour* c = static_cast<const Colour*>(
      findEntry(words, "modelr: usage: modelr get color <layername> <n>",
                &Model::colours, &Layer::colours));
  if (c == nullptr) return;
  float rgba[4] = {c->r, c->g, c->b, c->a};
  setFloats(rgba, 4);
}

void setVector(const void* entry) {
  const VectorEntry* v = static_cast<const VectorEntry*>(entry);
  if (v == nullptr) return;
  float xyz[3] = {v->x, v->y, v->z};
  setFloats(xyz, 3);
}

void getNormal(char** words) {
  setVector(findEntry(words, "modelr: usage: modelr get normal <layername> <n>",
                      &Model::normals, &Layer::normals));
}
void getSurface(char** words) {
  setVector(findEntry(words, "modelr: usage: modelr get surface <layername> <n>",
                      &Model::surface, &Layer::surface));
}

void getHighest(char**) {
  const Model* model = currentModel();
  if (model != nullptr) setInt(highestPointNumber(model));
}

void getHostname(char**) {
  char name[256] = {0};
  if (gethostname(name, sizeof name - 1) == 0) setResult(name);
}

// get joint <name>: position, colour r g b, pose translation; each triple
// as the float formatter writes it (ending in a space), joined by spaces.
void getJoint(char** words) {
  const char* name = nullptr;
  if (!parseString(&name, words[1])) {
    reportError("modelr: usage: modelr get joint <name>");
    return;
  }
  const Model* model = currentModel();
  const Joint* joint = model ? findJoint(model, name) : nullptr;
  if (joint == nullptr) return;
  const float* triples[3] = {joint->position, joint->colour,
                             joint->poseTranslation};
  char parts[3][256];
  for (int i = 0; i < 3; ++i) {
    const char* text = formatFloatList(triples[i], 3);
    if (text == nullptr) return;
    std::snprintf(parts[i], sizeof parts[i], "%s", text);
  }
  char text[800];
  std::snprintf(text, sizeof text, "%s %s %s", parts[0], parts[1], parts[2]);
  setResult(text);
}

// get joints: "name parent" pairs in slot order, parent "world" for a root.
void getJoints(char**) {
  const Model* model = currentModel();
  if (model == nullptr) return;
  textStart();
  for (int32_t s = tableNextSlot(&model->joints, -1); s >= 0;
       s = tableNextSlot(&model->joints, s)) {
    const Joint* joint = tableAt<Joint>(&model->joints, s);
    textAdd(joint->name);
    textAdd(joint->parent[0] ? joint->parent : "world");
  }
  textSet();
}

// lines, triangles [<layername>]: ids, "unknown" if none.
template <class T>
void getPolygonIds(char** words, KeyedTable Layer::*member) {
  const Model* model = currentModel();
  IdList ids;
  if (model != nullptr) {
    Scope scope = readScope(model, words[1]);
    if (scope.kind != kScopeMissing) {
      collectPolygons<T>(model, scope, member, &ids);
    }
  }
  setIdsOrUnknown(ids);
}

void getLines(char** words) { getPolygonIds<Line>(words, &Layer::lines); }
void getTriangles(char** words) {
  getPolygonIds<Triangle>(words, &Layer::triangles);
}

// numlines, numtris [<layername>]: a count; empty for a missing layer.
template <class T>
void getPolygonCount(char** words, KeyedTable Layer::*member) {
  const Model* model = currentModel();
  if (model == nullptr) return;
  Scope scope = readScope(model, words[1]);
  if (scope.kind == kScopeMissing) return;
  IdList ids;
  collectPolygons<T>(model, scope, member, &ids);
  if (!ids.failed) setInt(ids.count);
}

void getNumLines(char** words) {
  getPolygonCount<Line>(words, &Layer::lines);
}
void getNumTris(char** words) {
  getPolygonCount<Triangle>(words, &Layer::triangles);
}

// Rows of a column-order matrix.
void setTransposed(const float* columnOrder) {
  float rows[16];
  for (int r = 0; r < 4; ++r) {
    for (int c = 0; c < 4; ++c) rows[r * 4 + c] = columnOrder[c * 4 + r];
  }
  setFloats(rows, 16);
}

// Identity turned by x, then y, then z degrees; each elementary rotation
// multiplies from the left. What would print as zero is made zero, so that
// the residue of cos(90) never shows as "-0.000000".
void setRotationMatrix(float x, float y, float z) {
  double m[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
  const float angles[3] = {x, y, z};
  for (int axis = 0; axis < 3; ++axis) {
    if (angles[axis] == 0.0f) continue;
    double radians = angles[axis] * kPi / 180.0;
    double c = std::cos(radians), s = std::sin(radians);
    double e[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    // The two axes the rotation turns, a before b.
    int a = axis == 0 ? 1 : 0;
    int b = axis == 2 ? 1 : 2;
    double sign = axis == 1 ? -1.0 : 1.0;  // about y the sines swap sides
    e[a * 4 + a] = c;
    e[a * 4 + b] = -s * sign;
    e[b * 4 + a] = s * sign;
    e[b * 4 + b] = c;
    double product[16];
    for (int r = 0; r < 4; ++r) {
      for (int k = 0; k < 4; ++k) {
        double sum = 0;
        for (int j = 0; j < 4; ++j) sum += e[r * 4 + j] * m[j * 4 + k];
        product[r * 4 + k] = sum;
      }
    }
    std::memcpy(m, product, sizeof m);
  }
  float rows[16];
  for (int i = 0; i < 16; ++i) {
    rows[i] = std::fabs(m[i]) < 5e-7 ? 0.0f : static_cast<float>(m[i]);
  }
  setFloats(rows, 16);
}

// get matrix view|projection|rotation <x> <y> <z>: 16 floats, row order.
void getMatrix(char** words) {
  const char* type = nullptr;
  if (!parseString(&type, words[1])) {
    reportError("modelr: usage: modelr get matrix <type>");
    return;
  }
  if (std::strcmp(type, "view") == 0) {
    setTransposed(g_app.view.modelView);
  } else if (std::strcmp(type, "projection") == 0) {
    setTransposed(g_app.view.projection);
  } else if (std::strcmp(type, "rotation") == 0) {
    float x = 0, y = 0, z = 0;
    if (!parseFloat(&x, words[2]) || !parseFloat(&y, words[3]) ||
        !parseFloat(&z, words[4])) {
      reportError("modelr: usage: modelr get matrix <type>");
      return;
    }
    setRotationMatrix(x, y, z);
  } else {
    reportErrorf("modelr: unknown matrix type: %s", type);
  }
}

void getName(char**) {
  Model* model = currentModel();
  setResult(model ? model->name : "unknown");
}

void getNumCollides(char**) {
  const Model* model = currentModel();
  if (model != nullptr) setInt(tableCount(&model->collides));
}

void getNumJoints(char**) {
  const Model* model = currentModel();
  if (model != nullptr) setInt(tableCount(&model->joints));
}

void getNumPoints(char** words) {
  const Model* model = currentModel();
  if (model == nullptr) return;
  Scope scope = readScope(model, words[1]);
  if (scope.kind == kScopeMissing) return;
  if (scope.kind == kScopeAll) {
    setInt(tableCount(&model->points));
    return;
  }
  IdList ids;
  collectPoints(model, scope, &ids);
  if (!ids.failed) setInt(ids.count);
}

// numkids [(selected)]: children are not in layers, so any other word
// names nothing and answers nothing.
void getNumKids(char** words) {
  const Model* model = currentModel();
  if (model == nullptr) return;
  bool onlySelected = words[1] != nullptr;
  if (onlySelected && std::strcmp(words[1], kSelected) != 0) return;
  IdList ids;
  collectChildren(model, onlySelected, &ids);
  if (!ids.failed) setInt(ids.count);
}

void getPan(char**) {
  float pan[2] = {g_app.view.panX, g_app.view.panY};
  setFloats(pan, 2);
}

// get point <n> [exclusive]. Picking resolves nothing beyond the point's
// own position yet, so both forms answer the same.
void getPoint(char** words) {
  int32_t number = 0;
  if (!parseInt(&number, words[1])) {
    // The optional word stays out: the error procedure's line is evaluated,
    // and "[exclusive]" would run as a command.
    reportError("modelr: usage: modelr get point <n>");
    return;
  }
  const Model* model = currentModel();
  const Point* point = model ? findPoint(model, number) : nullptr;
  if (point == nullptr) {
    setUnknown();
    return;
  }
  float xyz[3] = {point->x, point->y, point->z};
  setFloats(xyz, 3);
}

void getPoints(char** words) {
  const Model* model = currentModel();
  IdList ids;
  if (model != nullptr) {
    Scope scope = readScope(model, words[1]);
    if (scope.kind != kScopeMissing) collectPoints(model, scope, &ids);
  }
  setIdsOrUnknown(ids);
}

void getPointer(char**) {
  int32_t pointer[2] = {g_app.view.pointerX, g_app.view.pointerY};
  setInts(pointer, 2);
}

// Four counters of the last frame and the model's polygon count.
void getStats(char**) {
  const Model* model = currentModel();
  int32_t stats[5];
  std::memcpy(stats, g_app.view.stats, sizeof g_app.view.stats);
  stats[4] = model ? polygonCount(model) : 0;
  setInts(stats, 5);
}

void getCursor(char**) { setFloats(g_app.view.cursor, 3); }

// The volume of the model's bounding box.
void getVolume(char**) {
  const Model* model = currentModel();
  if (model == nullptr) return;
  float volume = 1.0f;
  for (int i = 0; i < 3; ++i) volume *= model->boundsMax[i] - model->boundsMin[i];
  setFloat(volume);
}

void getZoom(char**) { setFloat(g_app.view.zoom); }

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
void visitModels(Visit visit) {
  const KeyedTable* models = &g_app.registry.models;
  for (int32_t s = tableNextSlot(models, -1); s >= 0;
       s = tableNextSlot(models, s)) {
    Model* model = tableAt<RegistryEntry>(models, s)->model;
    if (model != nullptr && visitModel(model, visit)) return;
  }
}

// find images <id>: "layer number file" for every image of the model with
// that id, layers and images in slot order; "(none)" for an image without
// a main texture file.
void findImages(char** words) {
  int32_t id = 0;
  if (!parseInt(&id, words[1])) {
    reportError("modelr: usage: modelr find images <id>");
    return;
  }
  Model* found = nullptr;
  visitModels([&](Model* model) {
    if (model->id == id) found = model;
    return found != nullptr;
  });
  if (found == nullptr) return;
  textStart();
  for (int32_t l = tableNextSlot(&found->layers, -1); l >= 0;
       l = tableNextSlot(&found->layers, l)) {
    const Layer* layer = tableAt<Layer>(&found->layers, l);
    for (int32_t s = tableNextSlot(&layer->images, -1); s >= 0;
         s = tableNextSlot(&layer->images, s)) {
      const Image* image = tableAt<Image>(&layer->images, s);
      char number[16];
      std::snprintf(number, sizeof number, "%d",
                    tableIntKeyAt(&layer->images, s));
      textAdd(layer->name);
      textAdd(number);
      textAdd(image->main.file[0] ? image->main.file : "(none)");
    }
  }
  textSet();
}

// find point <x> <y> <z>: the number of the first point there, 0 if none.
void findPointCommand(char** words) {
  float x = 0, y = 0, z = 0;
  if (!parseFloat(&x, words[1]) || !parseFloat(&y, words[2]) ||
      !parseFloat(&z, words[3])) {
    reportError("modelr: usage: modelr add point <n> <x> <y> <z>");
    return;
  }
  const Model* model = currentModel();
  if (model != nullptr) setInt(findPointAt(model, x, y, z));
}

// find model <name>: the id of the first model of that name.
void findModel(char** words) {
  const char* name = nullptr;
  if (!parseString(&name, words[1])) {
    reportError("modelr: usage: modelr find model <name>");
    return;
  }
  const Model* found = nullptr;
  visitModels([&](Model* model) {
    if (std::strcmp(model->name, name) == 0) found = model;
    return found != nullptr;
  });
  if (found == nullptr) {
    setUnknown();
    return;
  }
  setInt(found->id);
}

const SubCommand kFindWords[] = {
    {"images", findImages},
    {"point", findPointCommand},
    {"model", findModel},
};

}  // namespace

void getCommand(char** words) { runSubCommand(words, kGetWords, "attribute"); }

void findCommand(char** words) { runSubCommand(words, kFindWords, "command"); }
