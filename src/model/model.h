// Model lifecycle, the process-wide counters and the registry of open
// models.
#pragma once

#include <cstdint>

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

// Point arrays of polygons and lines. Models hold millions of three- and
// four-point polygons, so those come from a pool of 16-byte slots (freed
// slots are reused, never handed back to the system); longer arrays come
// from malloc. Release with the same count the array was made for.
int32_t* newPolygonPoints(int32_t count);
void freePolygonPoints(int32_t* points, int32_t count);

// Process-wide counters, never reset: each call hands out the next id.
// Triangles and lines share one counter.
int32_t nextPolygonId();
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
