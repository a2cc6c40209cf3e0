// Model lifecycle, the process-wide counters and the registry of open
// models.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "model/records.h"

// Creates a zero-filled model with every table initialised, version 2.0,
// display handle -1 and the next model id. The name is the file name of
// `path` without its directory and without a ".mod" ending; the directory
// is `directory` when given, else the directory part of `path` with its
// trailing separator. Refuses (null, LastError set) a name of 128 or more
// characters or a directory of 256 or more.
Model* createModel(Model* parent, const char* path, const char* directory);
// Releases every record's heap arrays, every table, the child models and
// the record itself. Null is ignored.
void freeModel(Model* model);

// Releases what a record owns; the record itself stays.
void releaseTexture(TextureSlot* texture);
void releaseImage(Image* image);
void releaseLayer(Layer* layer);
void releaseJoint(Joint* joint);
void initLayerTables(Layer* layer);
void initJointTables(Joint* joint);
void initImageTables(Image* image);

// Point numbers of polygons and lines (records.h): in the record up to
// kInlinePolygonPoints, else in a malloc'd array the record owns.
// storePolygonPoints sets the count and points of a fresh record; false
// when out of memory, the record untouched.
template <class Polygon>
bool storePolygonPoints(Polygon* p, int32_t count, const int32_t* points) {
  int32_t* to = p->points;
  if (count > kInlinePolygonPoints) {
    to = static_cast<int32_t*>(std::malloc(sizeof(int32_t) * static_cast<size_t>(count)));
    if (to == nullptr) return false;
    p->spill = to;
  }
  p->count = static_cast<int16_t>(count);
  if (count == 3) {
    // Triangles, by far the most, are copied by fixed moves: a copy of
    // unknown length became a string move whose start took longer than
    // the rest of adding the triangle.
    to[0] = points[0];
    to[1] = points[1];
    to[2] = points[2];
  } else {
    std::memcpy(to, points, sizeof(int32_t) * static_cast<size_t>(count));
  }
  return true;
}

// Frees the array of a long polygon; the record keeps its count.
template <class Polygon>
void releasePolygonPoints(Polygon* p) {
  if (p->count <= kInlinePolygonPoints) return;
  std::free(p->spill);
  p->spill = nullptr;
}

// Gives a byte copy of a record an array of its own, so that the copy and
// the original free theirs apart; false (spill null) when out of memory.
template <class Polygon>
bool ownPolygonPoints(Polygon* p) {
  if (p->count <= kInlinePolygonPoints) return true;
  const int32_t* shared = p->spill;
  const size_t bytes = sizeof(int32_t) * static_cast<size_t>(p->count);
  p->spill = static_cast<int32_t*>(std::malloc(bytes));
  if (p->spill == nullptr) return false;
  std::memcpy(p->spill, shared, bytes);
  return true;
}

// Process-wide counters, never reset: each call hands out the next id.
// Triangles and lines share one counter.
int32_t nextPolygonId();
// The ids of a run of polygons: the first of the next `n`, taken only by
// nextPolygonIds, which hands them all out at once.
int32_t peekPolygonId();
int32_t nextPolygonIds(int32_t n);
int32_t nextChildId();
int32_t nextCollideId();

// Open models keyed by model id, and the current model.
struct RegistryEntry {
  Model* model;
  int32_t flag;
};

struct ModelRegistry {
  KeyedTable models;  // int-keyed, RegistryEntry
  Model* current;
};

void registryInit(ModelRegistry* registry);
// Adds the model under its id with flag 0 and makes it current.
bool registerModel(ModelRegistry* registry, Model* model);
Model* registryFind(const ModelRegistry* registry, int32_t id);
// Takes the model out of the registry without freeing it; when it was
// current, the first remaining model (slot order) becomes current.
bool registryRemove(ModelRegistry* registry, int32_t id);
// Frees every registered model and empties the registry.
void registryFreeAll(ModelRegistry* registry);
