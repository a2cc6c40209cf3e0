// Baking a layer's reflection into a layer of its own, and the deep copy
// the exporters bake and write instead of the open document.
#include "model/mirror.h"

#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <unordered_map>
#include <vector>

#include "model/document_index.h"
#include "model/geometry.h"
#include "model/last_error.h"
#include "model/model.h"

namespace {

// Polygons and lines of this many points or more are left out of a bake.
constexpr int32_t kBakePointLimit = 256;

bool outOfMemory() {
  lastErrorReport("out of memory");
  return false;
}

// The coordinate on the mirror axis negated; codes other than x, y, z
// leave the position as it is. Adding 0 turns a reflected 0 into 0, not
// -0, so that points on the mirror plane print as they did.
void reflect(int32_t axis, float v[3]) {
  if (axis >= kAxisX && axis <= kAxisZ) v[axis - 1] = -v[axis - 1] + 0.0f;
}

// Projection axes on the mirror axis change direction: x <-> -x for a layer
// mirrored on x, and likewise for y and z.
int32_t swapAxis(int32_t code, int32_t mirrorAxis) {
  if (mirrorAxis < kAxisX || mirrorAxis > kAxisZ) return code;
  if (code == mirrorAxis) return mirrorAxis + 3;
  if (code == mirrorAxis + 3) return mirrorAxis;
  return code;
}

size_t rgbBytes(int32_t width, int32_t height) {
  return static_cast<size_t>(width) * static_cast<size_t>(height) * 3;
}

unsigned char* duplicateBytes(const unsigned char* from, size_t bytes) {
  auto* to = static_cast<unsigned char*>(std::malloc(bytes ? bytes : 1));
  if (to != nullptr && bytes) std::memcpy(to, from, bytes);
  return to;
}

// `to` gets the slot with pixel buffers of its own, copied from `from`'s
// (not read again from the files, which may have changed since).
bool copyTexture(const TextureSlot* from, TextureSlot* to) {
  *to = *from;
  to->pixels = nullptr;
  for (unsigned char*& face : to->faces) face = nullptr;
  to->glName = 0;  // texture names belong to the view's original
  if (!from->loaded) return true;
  bool ok = true;
  if (from->pixels != nullptr) {
    to->pixels = duplicateBytes(from->pixels, rgbBytes(from->width, from->height));
    ok = to->pixels != nullptr;
  }
  for (int face = 0; face < kCubeFaces && ok; ++face) {
    if (from->faces[face] == nullptr) continue;
    to->faces[face] = duplicateBytes(
        from->faces[face], rgbBytes(from->faceWidth[face], from->faceHeight[face]));
    ok = to->faces[face] != nullptr;
  }
  if (ok) return true;
  releaseTexture(to);
  to->loaded = 0;
  return outOfMemory();
}

bool copyTable(const KeyedTable* from, KeyedTable* to) {
  tableCopy(from, to);
  return from->capacity == 0 || to->elements != nullptr || outOfMemory();
}

// Exact position lookup standing in for findPointAt, which scans every
// point: the first point in slot order at a position, kept current as the
// bake adds points. -0 and 0 compare equal, so keys use 0.
struct PositionKey {
  float x, y, z;
  bool operator==(const PositionKey& o) const {
    return x == o.x && y == o.y && z == o.z;
  }
};

struct PositionHash {
  size_t operator()(const PositionKey& k) const {
    uint32_t bits[3];
    std::memcpy(&bits[0], &k.x, 4);
    std::memcpy(&bits[1], &k.y, 4);
    std::memcpy(&bits[2], &k.z, 4);
    return (bits[0] * 73856093u) ^ (bits[1] * 19349663u) ^ (bits[2] * 83492791u);
  }
};

using PositionIndex = std::unordered_map<PositionKey, int32_t, PositionHash>;

PositionKey positionKey(float x, float y, float z) {
  return {x + 0.0f, y + 0.0f, z + 0.0f};
}

// Records that the point in `slot` lies at its position, unless a point in
// an earlier slot already does. NaN positions never match and stay out.
void indexPosition(PositionIndex* index, const Model* model, int32_t slot) {
  const Point* p = tableAt<Point>(&model->points, slot);
  if (std::isnan(p->x) || std::isnan(p->y) || std::isnan(p->z)) return;
  auto found = index->emplace(positionKey(p->x, p->y, p->z), slot);
  if (!found.second && slot < found.first->second) found.first->second = slot;
}

// What one bake works from: the distinct points of the source layer in the
// order its triangles, then lines, use them, and where each one goes.
struct BakePlan {
  std::vector<int32_t> oldNumbers;
  std::vector<int32_t> newNumbers;
  std::unordered_map<int32_t, int32_t> indexOfOld;
  int32_t firstNew = 0;
};

template <class Polygon>
void collectPoints(const KeyedTable* table, BakePlan* plan) {
  for (int32_t s = tableNextSlot(table, -1); s >= 0; s = tableNextSlot(table, s)) {
    const Polygon* polygon = tableAt<Polygon>(table, s);
    for (int32_t i = 0; i < polygon->count; ++i) {
      const int32_t number = polygonPoints(polygon)[i];
      const auto index = static_cast<int32_t>(plan->oldNumbers.size());
      if (plan->indexOfOld.emplace(number, index).second)
        plan->oldNumbers.push_back(number);
    }
  }
}

// The reflected points (shared or new), and the layer's normals reflected
// under the new numbers.
bool placePoints(Model* model, const Layer* source, Layer* target,
                 bool sharePoints, BakePlan* plan) {
  const int32_t axis = source->mirrorAxis;
  PositionIndex positions;
  if (sharePoints) {
    for (int32_t s = tableNextSlot(&model->points, -1); s >= 0;
         s = tableNextSlot(&model->points, s))
      indexPosition(&positions, model, s);
  }
  int32_t next = plan->firstNew;
  plan->newNumbers.assign(plan->oldNumbers.size(), 0);
  for (size_t i = 0; i < plan->oldNumbers.size(); ++i) {
    const Point* p = findPoint(model, plan->oldNumbers[i]);
    if (p == nullptr) continue;  // its polygons are left out below
    float v[3] = {p->x, p->y, p->z};
    reflect(axis, v);
    int32_t number = 0;
    if (sharePoints) {
      auto at = positions.find(positionKey(v[0], v[1], v[2]));
      if (at != positions.end()) number = tableIntKeyAt(&model->points, at->second);
    }
    if (number == 0) {
      number = next++;
      if (!addPoint(model, number, v[0], v[1], v[2])) return false;
      if (sharePoints)
        indexPosition(&positions, model, tablePosition(&model->points, number, false));
    }
    plan->newNumbers[i] = number;

    const auto* normal = tableFindT<VectorEntry>(&source->normals, plan->oldNumbers[i]);
    if (normal == nullptr) continue;
    float n[3] = {normal->x, normal->y, normal->z};
    reflect(axis, n);
    auto* entry = tableInsertT<VectorEntry>(&target->normals, number);
    if (entry == nullptr) return outOfMemory();
    *entry = {n[0], n[1], n[2], normal->flags};
  }
  return true;
}

// The polygon's points under their new numbers; false when one has none.
bool mapPoints(const BakePlan& plan, const int32_t* points, int32_t count,
               int32_t* out) {
  for (int32_t i = 0; i < count; ++i) {
    const auto at = plan.indexOfOld.find(points[i]);
    out[i] = at == plan.indexOfOld.end() ? 0 : plan.newNumbers[at->second];
    if (out[i] == 0) return false;
  }
  return true;
}

// Polygons and lines under the new numbers. A polygon's first three points
// turn round; the rest of a longer one goes into a second polygon without
// its first point (so a quad gives two triangles).
bool bakePolygons(Model* model, const Layer* source, Layer* target,
                  const BakePlan& plan) {
  int32_t m[kBakePointLimit];
  for (int32_t s = tableNextSlot(&source->triangles, -1); s >= 0;
       s = tableNextSlot(&source->triangles, s)) {
    const Triangle* t = tableAt<Triangle>(&source->triangles, s);
    if (t->count >= kBakePointLimit || !mapPoints(plan, polygonPoints(t), t->count, m))
      continue;
    const int32_t turned[3] = {m[1], m[0], m[2]};
    if (addTriangleToLayer(model, target, 3, turned, t->kind) == 0) return false;
    if (t->count > 3 &&
        addTriangleToLayer(model, target, t->count - 1, m + 1, t->kind) == 0)
      return false;
  }
  for (int32_t s = tableNextSlot(&source->lines, -1); s >= 0;
       s = tableNextSlot(&source->lines, s)) {
    const Line* l = tableAt<Line>(&source->lines, s);
    if (l->count >= kBakePointLimit || !mapPoints(plan, polygonPoints(l), l->count, m))
      continue;
    if (addLineToLayer(model, target, l->count, m, l->kind) == 0) return false;
  }
  return true;
}

// Colours. A key that equals the new number of the i-th collected point
// becomes firstNew + i; others stay. Compared with the new numbers, not
// the old ones: files made that way rely on it.
bool bakeColours(const Layer* source, Layer* target, const BakePlan& plan) {
  std::unordered_map<int32_t, int32_t> indexOfNew;
  for (size_t i = 0; i < plan.newNumbers.size(); ++i)
    indexOfNew.emplace(plan.newNumbers[i], static_cast<int32_t>(i));
  for (int32_t s = tableNextSlot(&source->colours, -1); s >= 0;
       s = tableNextSlot(&source->colours, s)) {
    int32_t key = tableIntKeyAt(&source->colours, s);
    const auto at = indexOfNew.find(key);
    if (at != indexOfNew.end()) key = plan.firstNew + at->second;
    const Colour* from = tableAt<Colour>(&source->colours, s);
    Colour* to = tableInsertT<Colour>(&target->colours, key);
    if (to == nullptr) return outOfMemory();
    *to = *from;
    if (from->a < 1.0f) target->transparent = 1;
  }
  return true;
}

// Each image under its own number, projected the mirrored way; uvees of
// its own stay under the old point numbers.
bool bakeImages(Model* model, const Layer* source, Layer* target) {
  const int32_t axis = source->mirrorAxis;
  for (int32_t s = tableNextSlot(&source->images, -1); s >= 0;
       s = tableNextSlot(&source->images, s)) {
    const Image* from = tableAt<Image>(&source->images, s);
    const TextureSlot* texture =
        from->mirrorFlag ? &from->mirror : from->main.loaded ? &from->main : nullptr;
    if (texture == nullptr) continue;
    Image* to = tableInsertT<Image>(&target->images, tableIntKeyAt(&source->images, s));
    if (to == nullptr) return outOfMemory();
    noteLayerListed(model, kAutoUveeLayers, target);
    initImageTables(to);
    to->mode = from->mode;
    to->strength = from->strength;
    to->axisU = swapAxis(from->axisU, axis);
    to->axisV = swapAxis(from->axisV, axis);
    if (!copyTexture(texture, &to->main)) return false;
    if (from->extraKind == kExtraAlphaTexture && from->alpha.loaded) {
      to->extraKind = kExtraAlphaTexture;
      if (!copyTexture(&from->alpha, &to->alpha)) return false;
    }
    if (from->extraKind == kExtraInvisibleColour) {
      to->extraKind = kExtraInvisibleColour;
      std::memcpy(to->invisible, from->invisible, sizeof to->invisible);
    }
    if (!from->hasUvees) continue;
    to->hasUvees = 1;
    for (int32_t p = tableNextSlot(&model->points, -1); p >= 0;
         p = tableNextSlot(&model->points, p)) {
      const int32_t number = tableIntKeyAt(&model->points, p);
      const Uvee* uvee = tableFindT<Uvee>(&from->uvees, number);
      if (uvee == nullptr) continue;
      Uvee* copy = tableInsertT<Uvee>(&to->uvees, number);
      if (copy == nullptr) return outOfMemory();
      *copy = *uvee;
    }
  }
  return true;
}

// The checks that refuse before anything changes; fills the plan's points
// and both layer names.
bool planBake(const Model* model, const char* layerName, char sourceName[kNameBytes],
              char mirrorName[kNameBytes], BakePlan* plan) {
  const Layer* source = layerName ? findLayer(model, layerName) : nullptr;
  if (source == nullptr) {
    lastErrorReportf("layer not found: %s", layerName ? layerName : "");
    return false;
  }
  if (!source->mirror) {
    lastErrorReportf("layer does not mirror: %s", source->name);
    return false;
  }
  char name[kNameBytes + 16];
  std::snprintf(name, sizeof name, "%s_mirror", source->name);
  if (std::strlen(name) >= static_cast<size_t>(kNameBytes)) {
    lastErrorReportf("mirror layer name too long: %s", name);
    return false;
  }
  if (findLayer(model, name) != nullptr) {
    lastErrorReportf("mirror layer exists already: %s", name);
    return false;
  }
  std::strcpy(sourceName, source->name);
  std::strcpy(mirrorName, name);
  collectPoints<Triangle>(&source->triangles, plan);
  collectPoints<Line>(&source->lines, plan);
  if (plan->oldNumbers.empty()) {
    lastErrorReportf("layer uses no points: %s", source->name);
    return false;
  }
  const int64_t highest = highestPointNumber(model);
  if (highest + static_cast<int64_t>(plan->oldNumbers.size()) > INT32_MAX) {
    lastErrorReportf("too many points to bake: %s", source->name);
    return false;
  }
  plan->firstNew = static_cast<int32_t>(highest + 1);
  return true;
}

struct Ancestry {
  const Model* model;
  const Ancestry* up;
};

// Copies the table and gives every long polygon a point array of its own;
// once `ok` is false the rest get none (null), so that freeing them is
// safe.
template <class Polygon>
bool copyPolygonTable(const KeyedTable* from, KeyedTable* to, bool ok) {
  ok = copyTable(from, to) && ok;
  for (int32_t s = tableNextSlot(to, -1); s >= 0; s = tableNextSlot(to, s)) {
    Polygon* polygon = tableAt<Polygon>(to, s);
    if (polygon->count <= kInlinePolygonPoints) continue;
    if (ok) {
      ok = ownPolygonPoints(polygon);
    } else {
      polygon->spill = nullptr;
    }
  }
  return ok;
}

// `layer` holds a byte copy of the original's record; gives it tables and
// buffers of its own. The tables are detached before anything can fail, so
// a failed copy never frees what the original owns.
bool ownLayer(Model* model, Layer* layer) {
  const Layer shared = *layer;
  initLayerTables(layer);
  layer->displayHandle = -1;
  if (!copyTable(&shared.namedTexts, &layer->namedTexts) ||
      !copyTable(&shared.colours, &layer->colours) ||
      !copyTable(&shared.normals, &layer->normals) ||
      !copyTable(&shared.surface, &layer->surface) ||
      !copyTable(&shared.shaders, &layer->shaders))
    return false;
  for (int32_t s = tableNextSlot(&layer->shaders, -1); s >= 0;
       s = tableNextSlot(&layer->shaders, s))
    tableAt<ShaderEntry>(&layer->shaders, s)->handle = 0;  // the view's

  bool ok = copyPolygonTable<Triangle>(&shared.triangles, &layer->triangles, true);
  ok = copyPolygonTable<Line>(&shared.lines, &layer->lines, ok);
  ok = copyTable(&shared.images, &layer->images) && ok;
  for (int32_t s = tableNextSlot(&layer->images, -1); s >= 0;
       s = tableNextSlot(&layer->images, s)) {
    Image* image = tableAt<Image>(&layer->images, s);
    const Image original = *image;
    for (TextureSlot* slot : {&image->main, &image->mirror, &image->alpha}) {
      slot->pixels = nullptr;
      for (unsigned char*& face : slot->faces) face = nullptr;
    }
    initImageTables(image);
    ok = ok && copyTexture(&original.main, &image->main) &&
         copyTexture(&original.mirror, &image->mirror) &&
         copyTexture(&original.alpha, &image->alpha) &&
         copyTable(&original.uvees, &image->uvees);
  }
  if (ok) touchLayer(model, layer);
  return ok;
}

Model* copyModel(const Model* from, Model* parent, const Ancestry* up) {
  Model* to = createModel(parent, "", from->directory);
  if (to == nullptr) return nullptr;
  std::memcpy(to->name, from->name, sizeof to->name);
  to->version = from->version;
  std::memcpy(to->boundsMin, from->boundsMin, sizeof to->boundsMin);
  std::memcpy(to->boundsMax, from->boundsMax, sizeof to->boundsMax);
  to->uveesStale = from->uveesStale;
  // The layers arrive with the original's revisions: later ones must not
  // repeat them.
  to->revisionCounter = from->revisionCounter;
  bool ok = copyTable(&from->points, &to->points) &&
            copyTable(&from->colours, &to->colours) &&
            copyTable(&from->normals, &to->normals) &&
            copyTable(&from->surface, &to->surface) &&
            copyTable(&from->namedTexts, &to->namedTexts);

  // Slot for slot, so that layers come out in the order they do now.
  ok = ok && copyTable(&from->layers, &to->layers);
  for (int32_t s = tableNextSlot(&to->layers, -1); s >= 0;
       s = tableNextSlot(&to->layers, s)) {
    Layer* layer = tableAt<Layer>(&to->layers, s);
    if (ok) {
      ok = ownLayer(to, layer);
    } else {
      initLayerTables(layer);  // nothing shared with the original
    }
  }

  // Children are copied from what is open, as loading their files would
  // give, a model that contains itself left out as the loader does.
  const Ancestry here = {from, up};
  ok = ok && copyTable(&from->children, &to->children);
  for (int32_t s = tableNextSlot(&to->children, -1); s >= 0;
       s = tableNextSlot(&to->children, s)) {
    Child* child = tableAt<Child>(&to->children, s);
    const Model* shared = child->model;
    child->model = nullptr;
    child->bodyHandle = -1;
    if (!ok || shared == nullptr) continue;
    bool loop = false;
    for (const Ancestry* a = &here; a != nullptr; a = a->up) loop = loop || a->model == shared;
    if (loop) {
      tableRemove(&to->children, tableIntKeyAt(&to->children, s));
      continue;
    }
    child->model = copyModel(shared, to, &here);
    ok = child->model != nullptr;
  }
  if (!ok) {
    freeModel(to);
    return nullptr;
  }
  touchModel(to);
  return to;
}

}  // namespace

bool bakeMirror(Model* model, const char* layer, bool sharePoints) {
  if (model == nullptr) {
    lastErrorReport("no model");
    return false;
  }
  // `layer` may point into the layer record, which moves when a layer is
  // added: the plan keeps the name.
  BakePlan plan;
  char sourceName[kNameBytes];
  char mirrorName[kNameBytes];
  if (!planBake(model, layer, sourceName, mirrorName, &plan)) return false;
  flushDerived(model);

  const Layer* before = findLayer(model, sourceName);
  Layer* target = addLayer(model, mirrorName, before->origin[0], before->origin[1],
                           before->origin[2], before->singleSided, 0, kAxisNone);
  if (target == nullptr) return false;
  Layer* source = findLayer(model, sourceName);
  target->opacity = source->opacity;
  if (target->opacity != 1.0f) target->transparent = 1;
  // Not file settings, but the reflection was drawn with them.
  target->autoNormals = source->autoNormals;
  target->lightingOff = source->lightingOff;

  const bool ok = placePoints(model, source, target, sharePoints, &plan) &&
                  bakePolygons(model, source, target, plan) &&
                  bakeColours(source, target, plan) &&
                  bakeImages(model, source, target);
  if (!ok) {
    // Only running out of memory gets here; the half-made layer goes.
    deleteLayer(model, mirrorName);
    return false;
  }
  noteLayerListed(model, kEntryLayers, target);
  touchLayer(model, target);
  source->mirror = 0;
  touchLayer(model, source);
  // The new layer's images without uvees of their own want automatic ones.
  markUveesStale(model);
  return true;
}

bool bakeAllMirrors(Model* model, bool sharePoints) {
  if (model == nullptr) return true;
  for (;;) {
    bool baked = false;
    for (int32_t s = tableNextSlot(&model->layers, -1); s >= 0 && !baked;
         s = tableNextSlot(&model->layers, s)) {
      const Layer* layer = tableAt<Layer>(&model->layers, s);
      if (!layer->mirror) continue;
      char name[kNameBytes];
      std::strcpy(name, layer->name);
      // A bake changes the layer table: the walk starts again.
      baked = bakeMirror(model, name, sharePoints);
    }
    if (!baked) return true;
  }
}

Model* prepareExportCopy(const Model* model) {
  if (model == nullptr) {
    lastErrorReport("no model");
    return nullptr;
  }
  Model* copy = copyModel(model, nullptr, nullptr);
  if (copy == nullptr) return nullptr;
  bakeAllMirrors(copy, false);
  return copy;
}
