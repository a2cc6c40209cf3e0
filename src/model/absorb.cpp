// Absorbing a child: the child's own children are absorbed into it first,
// then every point, layer, image and collide object of the child is moved
// into the parent in parent space. A dry run checks everything that can
// refuse before anything changes.
#include "model/absorb.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "model/children.h"
#include "model/document_index.h"
#include "model/geometry.h"
#include "model/geometry_support.h"
#include "model/last_error.h"
#include "model/model.h"
#include "model/skeleton.h"
#include "model/transform.h"

namespace {

// Where one child point goes: its new number and, per mirror axis x y z,
// the number of its reflection (0 until one is made).
struct PointMap {
  int32_t number;
  int32_t reflected[3];
};

// The models being planned, innermost first, to catch a model that is its
// own descendant before the recursion would.
struct Ancestry {
  const Model* model;
  const Ancestry* up;
};

bool outOfMemory() {
  lastErrorReport("out of memory");
  return false;
}

// The first name among <layer>, <child>_<layer>, <child>_<layer>_2, ...
// that `layers` does not hold. False when a candidate no longer fits a name
// field: later ones are no shorter.
bool chooseLayerName(const KeyedTable* layers, const char* childName,
                     const char* layerName, char out[kNameBytes]) {
  char candidate[2 * kNameBytes + 16];
  std::snprintf(candidate, sizeof candidate, "%s", layerName);
  for (int32_t suffix = 1;; ++suffix) {
    if (suffix == 2) {
      std::snprintf(candidate, sizeof candidate, "%s_%s", childName, layerName);
    } else if (suffix > 2) {
      std::snprintf(candidate, sizeof candidate, "%s_%s_%d", childName,
                    layerName, suffix - 1);
    }
    if (std::strlen(candidate) >= static_cast<size_t>(kNameBytes)) {
      lastErrorReportf("layer name too long: %s_%s", childName, layerName);
      return false;
    }
    if (tableFind(layers, candidate) == nullptr) {
      std::strcpy(out, candidate);
      return true;
    }
  }
}

// Picks and takes a name in `layers` for every layer of `incoming`, in its
// slot order, exactly as absorbing will.
bool nameLayers(KeyedTable* layers, const char* childName,
                const KeyedTable* incoming) {
  for (int32_t s = tableNextSlot(incoming, -1); s >= 0;
       s = tableNextSlot(incoming, s)) {
    char name[kNameBytes];
    if (!chooseLayerName(layers, childName, tableStringKeyAt(incoming, s), name))
      return false;
    if (tableInsert(layers, name) == nullptr) return outOfMemory();
  }
  return true;
}

bool copyLayerTable(const KeyedTable* from, KeyedTable* to) {
  tableCopy(from, to);
  return from->capacity == 0 || to->elements != nullptr || outOfMemory();
}

bool planModel(const Model* model, const Ancestry* up, KeyedTable* layers,
               int64_t* pointBound);

// Dry run of absorbing `child`: its layer table as it will be once its own
// children are absorbed (slot for slot, so names come out as they will),
// and at most how many points it brings.
bool planChild(const Child* child, const Ancestry* up, KeyedTable* layers,
               int64_t* pointBound) {
  if (child->model == nullptr) {
    lastErrorReport("child does not exist");
    return false;
  }
  for (const Ancestry* a = up; a != nullptr; a = a->up) {
    if (a->model == child->model) {
      lastErrorReportf("Child in child endless loop: %s", child->name);
      return false;
    }
  }
  return planModel(child->model, up, layers, pointBound);
}

bool planModel(const Model* model, const Ancestry* up, KeyedTable* layers,
               int64_t* pointBound) {
  if (!copyLayerTable(&model->layers, layers)) return false;
  const Ancestry here = {model, up};
  int64_t added = 0;
  for (int32_t s = tableNextSlot(&model->children, -1); s >= 0;
       s = tableNextSlot(&model->children, s)) {
    const Child* child = tableAt<Child>(&model->children, s);
    KeyedTable incoming;
    int64_t bound = 0;
    bool ok = planChild(child, &here, &incoming, &bound);
    if (ok) {
      ok = nameLayers(layers, child->name, &incoming);
      tableRelease(&incoming);
    }
    if (!ok) {
      tableRelease(layers);
      return false;
    }
    added += bound;
  }
  if (highestPointNumber(model) + added > INT32_MAX) {
    tableRelease(layers);
    lastErrorReport("too many points to absorb");
    return false;
  }
  // Every point, plus at most one reflection per mirror axis.
  *pointBound = 4 * static_cast<int64_t>(tableCount(&model->points)) + added;
  return true;
}

// The new number of child point `key`, or of its reflection on `axis`
// (1 to 3); 0 when there is none.
int32_t mapped(const KeyedTable* map, int32_t key, int32_t axis) {
  const PointMap* entry = tableFindT<PointMap>(map, key);
  if (entry == nullptr) return 0;
  return axis == kAxisNone ? entry->number : entry->reflected[axis - 1];
}

int32_t bakedAxis(const Layer* layer) {
  const bool reflects = layer->mirror && layer->mirrorAxis >= kAxisX &&
                        layer->mirrorAxis <= kAxisZ;
  return reflects ? layer->mirrorAxis : kAxisNone;
}

// Normals and surface vectors follow the placement as directions do: by
// the rotation and the inverse scale, keeping their length.
VectorEntry turned(const Child* child, const VectorEntry& v, int32_t axis) {
  double in[3] = {v.x, v.y, v.z};
  if (axis != kAxisNone) in[axis - 1] = -in[axis - 1];
  const double length =
      std::sqrt(in[0] * in[0] + in[1] * in[1] + in[2] * in[2]);
  double out[3];
  for (int r = 0; r < 3; ++r) {
    out[r] = 0.0;
    for (int c = 0; c < 3; ++c)
      out[r] += child->rotation[r * 3 + c] * (in[c] / child->scale[c]);
  }
  const double turnedLength =
      std::sqrt(out[0] * out[0] + out[1] * out[1] + out[2] * out[2]);
  const double factor = turnedLength > 0.0 ? length / turnedLength : 1.0;
  return {static_cast<float>(out[0] * factor),
          static_cast<float>(out[1] * factor),
          static_cast<float>(out[2] * factor), v.flags};
}

bool putVector(KeyedTable* table, int32_t number, const VectorEntry& v) {
  VectorEntry* entry = tableInsertT<VectorEntry>(table, number);
  if (entry == nullptr) return outOfMemory();
  *entry = v;
  return true;
}

bool putColour(KeyedTable* table, int32_t number, const Colour& c) {
  Colour* entry = tableInsertT<Colour>(table, number);
  if (entry == nullptr) return outOfMemory();
  *entry = c;
  return true;
}

// Every point of the child under the next numbers, then the reflections
// that its mirroring layers use.
bool placePoints(Model* model, const Child* child, KeyedTable* map) {
  const Model* source = child->model;
  int32_t next = highestPointNumber(model);
  for (int32_t s = tableNextSlot(&source->points, -1); s >= 0;
       s = tableNextSlot(&source->points, s)) {
    const Point* p = tableAt<Point>(&source->points, s);
    const float in[3] = {p->x, p->y, p->z};
    float out[3];
    placePoint(child->position, child->rotation, child->scale, in, out);
    if (!addPoint(model, ++next, out[0], out[1], out[2])) return false;
    PointMap* entry = tableInsertT<PointMap>(map, tableIntKeyAt(&source->points, s));
    if (entry == nullptr) return outOfMemory();
    *entry = {next, {0, 0, 0}};
  }
  for (int32_t l = tableNextSlot(&source->layers, -1); l >= 0;
       l = tableNextSlot(&source->layers, l)) {
    const Layer* layer = tableAt<Layer>(&source->layers, l);
    const int32_t axis = bakedAxis(layer);
    if (axis == kAxisNone) continue;
    auto reflect = [&](int32_t key) {
      PointMap* entry = tableFindT<PointMap>(map, key);
      if (entry == nullptr || entry->reflected[axis - 1] != 0) return true;
      const Point* p = findPoint(source, key);
      float in[3] = {p->x, p->y, p->z};
      // A point on the mirror plane is its own reflection.
      if (in[axis - 1] == 0.0f) {
        entry->reflected[axis - 1] = entry->number;
        return true;
      }
      in[axis - 1] = -in[axis - 1];
      float out[3];
      placePoint(child->position, child->rotation, child->scale, in, out);
      if (!addPoint(model, ++next, out[0], out[1], out[2])) return false;
      entry->reflected[axis - 1] = next;
      return true;
    };
    for (int32_t s = tableNextSlot(&layer->triangles, -1); s >= 0;
         s = tableNextSlot(&layer->triangles, s)) {
      const Triangle* t = tableAt<Triangle>(&layer->triangles, s);
      for (int32_t i = 0; i < t->count; ++i)
        if (!reflect(polygonPoints(t)[i])) return false;
    }
    for (int32_t s = tableNextSlot(&layer->lines, -1); s >= 0;
         s = tableNextSlot(&layer->lines, s)) {
      const Line* line = tableAt<Line>(&layer->lines, s);
      for (int32_t i = 0; i < line->count; ++i)
        if (!reflect(polygonPoints(line)[i])) return false;
    }
  }
  return true;
}

// Copies the polygons (or lines) of `table` into `layer` under the
// new numbers; a baked mirror adds each reflected, polygons turned to face
// the other way as mirror baking turns them.
template <class Polygon>
bool copyPolygons(Model* model, Layer* layer, const KeyedTable* table,
                  const KeyedTable* map, int32_t axis, bool isTriangle) {
  int32_t points[kMaxPolygonPoints];
  for (int32_t s = tableNextSlot(table, -1); s >= 0; s = tableNextSlot(table, s)) {
    const Polygon* polygon = tableAt<Polygon>(table, s);
    const int32_t count = polygon->count;
    if (count < 1 || count > kMaxPolygonPoints) continue;
    for (int pass = 0; pass < (axis == kAxisNone ? 1 : 2); ++pass) {
      bool complete = true;
      for (int32_t i = 0; i < count; ++i) {
        points[i] = mapped(map, polygonPoints(polygon)[i], pass == 1 ? axis : 0);
        complete = complete && points[i] != 0;
      }
      if (!complete) continue;  // names a point the child does not have
      if (!isTriangle) {
        if (addLineToLayer(model, layer, count, points, polygon->kind) == 0) return false;
        continue;
      }
      if (pass == 0 || count < 3) {
        if (addTriangleToLayer(model, layer, count, points, polygon->kind) == 0) return false;
        continue;
      }
      // The reflected strip faces the other way: (m1 m0 m2), then the rest
      // of the strip from m1, as mirror baking builds it.
      const int32_t first[3] = {points[1], points[0], points[2]};
      if (addTriangleToLayer(model, layer, 3, first, polygon->kind) == 0) return false;
      if (count > 3 &&
          addTriangleToLayer(model, layer, count - 1, points + 1, polygon->kind) == 0)
        return false;
    }
  }
  return true;
}

bool moveColours(const KeyedTable* from, KeyedTable* to, const KeyedTable* map,
                 int32_t axis) {
  for (int32_t s = tableNextSlot(from, -1); s >= 0; s = tableNextSlot(from, s)) {
    const int32_t key = tableIntKeyAt(from, s);
    const Colour& c = *tableAt<Colour>(from, s);
    const int32_t number = mapped(map, key, kAxisNone);
    if (number == 0) continue;
    if (!putColour(to, number, c)) return false;
    const int32_t mirror = axis ? mapped(map, key, axis) : 0;
    if (mirror != 0 && mirror != number && !putColour(to, mirror, c)) return false;
  }
  return true;
}

bool moveVectors(const Child* child, const KeyedTable* from, KeyedTable* to,
                 const KeyedTable* map, int32_t axis) {
  for (int32_t s = tableNextSlot(from, -1); s >= 0; s = tableNextSlot(from, s)) {
    const int32_t key = tableIntKeyAt(from, s);
    const VectorEntry& v = *tableAt<VectorEntry>(from, s);
    const int32_t number = mapped(map, key, kAxisNone);
    if (number == 0) continue;
    if (!putVector(to, number, turned(child, v, kAxisNone))) return false;
    const int32_t mirror = axis ? mapped(map, key, axis) : 0;
    if (mirror != 0 && mirror != number &&
        !putVector(to, mirror, turned(child, v, axis)))
      return false;
  }
  return true;
}

// The child's model-level colour, normal and surface entry of `key` go into
// the layer for `number` where the layer has none of its own, so that the
// point keeps its look without changing the parent's model-level tables.
bool carryGlobals(const Child* child, Layer* to, int32_t key, int32_t number,
                  int32_t axis) {
  const Model* source = child->model;
  const Colour* c = tableFindT<Colour>(&source->colours, key);
  if (c != nullptr && tableFind(&to->colours, number) == nullptr) {
    if (!putColour(&to->colours, number, *c)) return false;
    if (c->a < 1.0f) to->transparent = 1;
  }
  const VectorEntry* n = tableFindT<VectorEntry>(&source->normals, key);
  if (n != nullptr && tableFind(&to->normals, number) == nullptr &&
      !putVector(&to->normals, number, turned(child, *n, axis)))
    return false;
  const VectorEntry* v = tableFindT<VectorEntry>(&source->surface, key);
  if (v != nullptr && tableFind(&to->surface, number) == nullptr &&
      !putVector(&to->surface, number, turned(child, *v, axis)))
    return false;
  return true;
}

template <class Polygon>
bool carryGlobalsOf(const Child* child, const KeyedTable* table, Layer* to,
                    const KeyedTable* map, int32_t axis) {
  for (int32_t s = tableNextSlot(table, -1); s >= 0; s = tableNextSlot(table, s)) {
    const Polygon* polygon = tableAt<Polygon>(table, s);
    for (int32_t i = 0; i < polygon->count; ++i) {
      const int32_t key = polygonPoints(polygon)[i];
      const int32_t number = mapped(map, key, kAxisNone);
      if (number == 0) continue;
      if (!carryGlobals(child, to, key, number, kAxisNone)) return false;
      const int32_t mirror = axis ? mapped(map, key, axis) : 0;
      if (mirror != 0 && mirror != number &&
          !carryGlobals(child, to, key, mirror, axis))
        return false;
    }
  }
  return true;
}

// Moves the images, textures and all, re-keying their uvees; the child's
// records are emptied so that freeing the child leaves them alone.
bool moveImages(Model* model, Layer* from, Layer* to, const KeyedTable* map,
                int32_t axis, bool* automaticUvees) {
  for (int32_t s = tableNextSlot(&from->images, -1); s >= 0;
       s = tableNextSlot(&from->images, s)) {
    Image* image = tableAt<Image>(&from->images, s);
    KeyedTable uvees;
    tableInit(&uvees, sizeof(Uvee), kIntKeyed);
    for (int32_t u = tableNextSlot(&image->uvees, -1); u >= 0;
         u = tableNextSlot(&image->uvees, u)) {
      const int32_t key = tableIntKeyAt(&image->uvees, u);
      const Uvee* uvee = tableAt<Uvee>(&image->uvees, u);
      const int32_t number = mapped(map, key, kAxisNone);
      const int32_t mirror = axis ? mapped(map, key, axis) : 0;
      for (int32_t target : {number, mirror}) {
        if (target == 0) continue;
        Uvee* entry = tableInsertT<Uvee>(&uvees, target);
        if (entry == nullptr) {
          tableRelease(&uvees);
          return outOfMemory();
        }
        *entry = {target, uvee->u, uvee->v};
      }
    }
    Image* moved = tableInsertT<Image>(&to->images, tableIntKeyAt(&from->images, s));
    if (moved == nullptr) {
      tableRelease(&uvees);
      return outOfMemory();
    }
    noteLayerListed(model, kAutoUveeLayers, to);
    tableRelease(&image->uvees);
    *moved = *image;
    moved->uvees = uvees;
    if (!moved->hasUvees) *automaticUvees = true;
    std::memset(image, 0, sizeof *image);
    initImageTables(image);
  }
  return true;
}

// Hands a table's arrays over; the source is left empty.
void moveTable(KeyedTable* from, KeyedTable* to) {
  tableRelease(to);
  *to = *from;
  if (from->sequential) {
    tableInitSequential(from, from->elementSize);
  } else {
    tableInit(from, from->elementSize, static_cast<TableKind>(from->kind));
  }
}

bool absorbLayer(Model* model, const Child* child, Layer* from,
                 const KeyedTable* map, bool* automaticUvees) {
  char name[kNameBytes];
  if (!chooseLayerName(&model->layers, child->name, from->name, name))
    return false;
  const int32_t axis = bakedAxis(from);
  Layer* to = addLayer(model, name, from->origin[0], from->origin[1],
                       from->origin[2], from->singleSided, 0, from->mirrorAxis);
  if (to == nullptr) return false;
  // `to` stays valid below: nothing else is added to the parent's layers.
  to->opacity = from->opacity;
  to->transparent = from->transparent;
  moveTable(&from->namedTexts, &to->namedTexts);
  moveTable(&from->shaders, &to->shaders);
  // Most children keep no model-level entries: no look-ups per corner then.
  const Model* source = child->model;
  const bool globals = tableCount(&source->colours) > 0 ||
                       tableCount(&source->normals) > 0 || tableCount(&source->surface) > 0;
  const bool ok =
      copyPolygons<Triangle>(model, to, &from->triangles, map, axis, true) &&
      copyPolygons<Line>(model, to, &from->lines, map, axis, false) &&
      moveColours(&from->colours, &to->colours, map, axis) &&
      moveVectors(child, &from->normals, &to->normals, map, axis) &&
      moveVectors(child, &from->surface, &to->surface, map, axis) &&
      (!globals || (carryGlobalsOf<Triangle>(child, &from->triangles, to, map, axis) &&
                    carryGlobalsOf<Line>(child, &from->lines, to, map, axis))) &&
      moveImages(model, from, to, map, axis, automaticUvees);
  // Both changed, also when a step failed halfway.
  noteLayerListed(model, kEntryLayers, to);
  touchLayer(model, to);
  touchLayer(child->model, from);
  if (!ok) return false;
  markBoundsStale(model, to);
  return true;
}

// A child that rode on one of the parent's joints keeps riding on it.
bool weightToJoint(Model* model, const Child* child, const KeyedTable* map) {
  if (child->joint[0] == '\0' || findJoint(model, child->joint) == nullptr)
    return true;
  for (int32_t s = tableNextSlot(map, -1); s >= 0; s = tableNextSlot(map, s)) {
    const PointMap* entry = tableAt<PointMap>(map, s);
    if (!addWeight(model, child->joint, entry->number, child->jointWeight))
      return false;
    for (int32_t reflected : entry->reflected) {
      if (reflected != 0 && reflected != entry->number &&
          !addWeight(model, child->joint, reflected, child->jointWeight))
        return false;
    }
  }
  return true;
}

bool moveCollides(Model* model, const Child* child) {
  const Model* source = child->model;
  for (int32_t s = tableNextSlot(&source->collides, -1); s >= 0;
       s = tableNextSlot(&source->collides, s)) {
    const CollideObject* o = tableAt<CollideObject>(&source->collides, s);
    float position[3], size[3], rotation[9];
    placePoint(child->position, child->rotation, child->scale, o->position,
               position);
    multiply3x3(child->rotation, o->rotation, rotation);
    for (int i = 0; i < 3; ++i) size[i] = o->size[i] * std::fabs(child->scale[i]);
    if (addCollide(model, o->name, o->shape, position, size, rotation, o->weight,
                   o->friction, o->bounce, o->dynamic) == 0)
      return false;
  }
  return true;
}

// Absorbs a child the dry run has accepted.
bool absorbPlanned(Model* model, Child* child) {
  Model* source = child->model;
  for (int32_t s = tableNextSlot(&source->children, -1); s >= 0;
       s = tableNextSlot(&source->children, -1)) {
    if (!absorbPlanned(source, tableAt<Child>(&source->children, s))) return false;
  }
  flushDerived(model);
  KeyedTable map;
  tableInit(&map, sizeof(PointMap), kIntKeyed);
  bool automaticUvees = false;
  bool ok = placePoints(model, child, &map);
  for (int32_t l = tableNextSlot(&source->layers, -1); ok && l >= 0;
       l = tableNextSlot(&source->layers, l)) {
    ok = absorbLayer(model, child, tableAt<Layer>(&source->layers, l), &map,
                     &automaticUvees);
  }
  ok = ok && weightToJoint(model, child, &map) && moveCollides(model, child);
  tableRelease(&map);
  // Images without uvees of their own take automatic ones in parent space.
  if (automaticUvees) markUveesStale(model);
  flushDerived(model);
  if (!ok) return false;
  deleteChildByModelId(model, source->id);
  return true;
}

}  // namespace

bool absorbChild(Model* model, int32_t childId) {
  if (model == nullptr) {
    lastErrorReport("child does not exist");
    return false;
  }
  Child* child = childById(model, childId);
  if (child == nullptr) return false;
  const Ancestry top = {model, nullptr};
  KeyedTable incoming, names;
  int64_t bound = 0;
  if (!planChild(child, &top, &incoming, &bound)) return false;
  bool ok = copyLayerTable(&model->layers, &names);
  if (ok) {
    ok = nameLayers(&names, child->name, &incoming);
    tableRelease(&names);
  }
  tableRelease(&incoming);
  if (!ok) return false;
  if (highestPointNumber(model) + bound > INT32_MAX) {
    lastErrorReport("too many points to absorb");
    return false;
  }
  return absorbPlanned(model, child);
}

namespace {

bool noModelEntries(const Model* m) {
  return tableCount(&m->children) == 0 && tableCount(&m->collides) == 0 &&
         tableCount(&m->joints) == 0 && tableCount(&m->colours) == 0 &&
         tableCount(&m->normals) == 0 && tableCount(&m->surface) == 0 &&
         tableCount(&m->worldMorphs) == 0 && tableCount(&m->parkedUvees) == 0;
}

// Whether absorbing would keep every point number and layer of `source`.
bool takenAsItIs(const Model* source) {
  if (!noModelEntries(source)) return false;
  int32_t expected = 1;
  for (int32_t s = tableNextSlot(&source->points, -1); s >= 0;
       s = tableNextSlot(&source->points, s)) {
    if (tableIntKeyAt(&source->points, s) != expected++) return false;
  }
  // Absorbing makes each layer afresh: not mirrored, no automatic normals,
  // lit, never drawn.
  for (int32_t l = tableNextSlot(&source->layers, -1); l >= 0;
       l = tableNextSlot(&source->layers, l)) {
    const Layer* layer = tableAt<Layer>(&source->layers, l);
    if (layer->mirror != 0 || layer->autoNormals != 0 || layer->lightingOff != 0 ||
        layer->displayHandle != -1 || tableCount(&layer->vertexCache[0]) != 0 ||
        tableCount(&layer->vertexCache[1]) != 0)
      return false;
  }
  return true;
}

// Absorbed points and polygons come unselected.
template <class Polygon>
void unmarkAll(KeyedTable* table) {
  for (int32_t s = tableNextSlot(table, -1); s >= 0; s = tableNextSlot(table, s))
    tableAt<Polygon>(table, s)->flags = 0;
}

}  // namespace

bool absorbWhole(Model* model, Model* source) {
  if (model == nullptr || source == nullptr || model == source || source->parent != nullptr ||
      tableCount(&model->points) != 0 || tableCount(&model->layers) != 0 ||
      !noModelEntries(model) || !takenAsItIs(source))
    return false;
  moveTable(&source->points, &model->points);
  moveTable(&source->layers, &model->layers);
  handOverDocumentIndex(source, model);
  // Bounds as adding the points one by one would leave them: the first
  // point into an empty model sets them, whatever they were.
  bool first = true;
  for (int32_t s = tableNextSlot(&model->points, -1); s >= 0;
       s = tableNextSlot(&model->points, s)) {
    Point* p = tableAt<Point>(&model->points, s);
    geometry_detail::takeIntoModelBounds(model, p->x, p->y, p->z, first);
    first = false;
    p->flags = 0;
  }
  touchModel(model);
  bool automaticUvees = false;
  for (int32_t l = tableNextSlot(&model->layers, -1); l >= 0;
       l = tableNextSlot(&model->layers, l)) {
    Layer* layer = tableAt<Layer>(&model->layers, l);
    unmarkAll<Triangle>(&layer->triangles);
    unmarkAll<Line>(&layer->lines);
    // Revisions from this model's own count: the view tells layers apart
    // by them.
    touchLayer(model, layer);
    noteLayerListed(model, kEntryLayers, layer);
    if (tableCount(&layer->images) > 0) noteLayerListed(model, kAutoUveeLayers, layer);
    tableForEach<const Image>(&layer->images, [&](const Image* image, int32_t) {
      if (!image->hasUvees) automaticUvees = true;
    });
  }
  if (automaticUvees) markUveesStale(model);
  flushDerived(model);
  freeModel(source);
  return true;
}
