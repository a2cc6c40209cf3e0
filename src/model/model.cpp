#include "model/model.h"

#include <cstdlib>
#include <cstring>

#include "model/document_index.h"
#include "model/last_error.h"

namespace {

// Ids are unique in the process, not per document: a view cache, a
// script or a simulation body may still hold the id of a model or polygon
// that was closed, and must never find another under it. So the counters
// live with the code that hands them out, for the life of the process
// (the workspace holds no counter of its own).
int32_t g_modelCounter = 0;
int32_t g_polygonCounter = 0;
int32_t g_childCounter = 0;
int32_t g_collideCounter = 0;

// The file name without directory; both separators are honoured so that
// paths written on either platform load.
const char* baseName(const char* path) {
  const char* base = path;
  for (const char* p = path; *p; ++p) {
    if (*p == '/' || *p == '\\') base = p + 1;
  }
  return base;
}

bool endsWithMod(const char* name, size_t length) {
  return length >= 4 && std::strcmp(name + length - 4, ".mod") == 0;
}

}  // namespace

int32_t nextPolygonId() { return ++g_polygonCounter; }
int32_t peekPolygonId() { return g_polygonCounter + 1; }
int32_t nextPolygonIds(int32_t n) {
  const int32_t first = g_polygonCounter + 1;
  g_polygonCounter += n;
  return first;
}
int32_t nextChildId() { return ++g_childCounter; }
int32_t nextCollideId() { return ++g_collideCounter; }

void initImageTables(Image* image) {
  tableInit(&image->uvees, sizeof(Uvee), kIntKeyed);
}

void initLayerTables(Layer* layer) {
  tableInit(&layer->namedTexts, kNamedTextBytes, kStringKeyed);
  tableInitSequential(&layer->triangles, sizeof(Triangle));
  tableInitSequential(&layer->lines, sizeof(Line));
  tableInit(&layer->images, sizeof(Image), kIntKeyed);
  tableInitSequential(&layer->colours, sizeof(Colour));
  tableInitSequential(&layer->normals, sizeof(VectorEntry));
  tableInitSequential(&layer->surface, sizeof(VectorEntry));
  tableInit(&layer->shaders, sizeof(ShaderEntry), kStringKeyed);
  tableInit(&layer->vertexCache[0], 12, kIntKeyed);
  tableInit(&layer->vertexCache[1], 12, kIntKeyed);
}

void initJointTables(Joint* joint) {
  tableInit(&joint->weights, sizeof(Weight), kIntKeyed);
  tableInit(&joint->morphs, sizeof(Morph), kIntKeyed);
}

Model* createModel(Model* parent, const char* path, const char* directory) {
  if (path == nullptr) path = "";
  const char* base = baseName(path);
  size_t nameLength = std::strlen(base);
  if (endsWithMod(base, nameLength)) nameLength -= 4;
  if (nameLength >= kNameBytes) {
    lastErrorReport("model name too long");
    return nullptr;
  }
  size_t directoryLength =
      directory ? std::strlen(directory) : static_cast<size_t>(base - path);
  if (directoryLength >= kDirectoryBytes) {
    lastErrorReport("model directory too long");
    return nullptr;
  }

  Model* model = static_cast<Model*>(std::calloc(1, sizeof(Model)));
  if (model == nullptr) {
    lastErrorReport("out of memory");
    return nullptr;
  }
  model->parent = parent;
  model->id = ++g_modelCounter;
  model->version = 2.0f;
  std::memcpy(model->directory, directory ? directory : path, directoryLength);
  std::memcpy(model->name, base, nameLength);
  tableInitSequential(&model->points, sizeof(Point));
  tableInitSequential(&model->colours, sizeof(Colour));
  tableInitSequential(&model->normals, sizeof(VectorEntry));
  tableInitSequential(&model->surface, sizeof(VectorEntry));
  tableInit(&model->joints, sizeof(Joint), kStringKeyed);
  tableInit(&model->layers, sizeof(Layer), kStringKeyed);
  tableInit(&model->children, sizeof(Child), kIntKeyed);
  tableInit(&model->collides, sizeof(CollideObject), kIntKeyed);
  tableInit(&model->namedTexts, kNamedTextBytes, kStringKeyed);
  tableInit(&model->worldMorphs, sizeof(Morph), kIntKeyed);
  tableInit(&model->parkedUvees, sizeof(Uvee), kIntKeyed);
  model->displayHandle = -1;
  return model;
}

void releaseTexture(TextureSlot* texture) {
  std::free(texture->pixels);
  texture->pixels = nullptr;
  for (int face = 0; face < kCubeFaces; ++face) {
    std::free(texture->faces[face]);
    texture->faces[face] = nullptr;
    texture->faceWidth[face] = texture->faceHeight[face] = 0;
  }
  texture->loaded = 0;
  texture->width = texture->height = 0;
  texture->glName = 0;  // the view's upload was of the pixels just freed
}

void releaseImage(Image* image) {
  releaseTexture(&image->main);
  releaseTexture(&image->mirror);
  releaseTexture(&image->alpha);
  tableRelease(&image->uvees);
}

void releaseLayer(Layer* layer) {
  for (int32_t s = tableNextSlot(&layer->triangles, -1); s >= 0;
       s = tableNextSlot(&layer->triangles, s)) {
    releasePolygonPoints(tableAt<Triangle>(&layer->triangles, s));
  }
  for (int32_t s = tableNextSlot(&layer->lines, -1); s >= 0;
       s = tableNextSlot(&layer->lines, s)) {
    releasePolygonPoints(tableAt<Line>(&layer->lines, s));
  }
  for (int32_t s = tableNextSlot(&layer->images, -1); s >= 0;
       s = tableNextSlot(&layer->images, s)) {
    releaseImage(tableAt<Image>(&layer->images, s));
  }
  tableRelease(&layer->namedTexts);
  tableRelease(&layer->triangles);
  tableRelease(&layer->lines);
  tableRelease(&layer->images);
  tableRelease(&layer->colours);
  tableRelease(&layer->normals);
  tableRelease(&layer->surface);
  tableRelease(&layer->shaders);
  tableRelease(&layer->vertexCache[0]);
  tableRelease(&layer->vertexCache[1]);
}

void releaseJoint(Joint* joint) {
  tableRelease(&joint->weights);
  tableRelease(&joint->morphs);
}

void freeModel(Model* model) {
  if (model == nullptr) return;
  for (int32_t s = tableNextSlot(&model->layers, -1); s >= 0;
       s = tableNextSlot(&model->layers, s)) {
    releaseLayer(tableAt<Layer>(&model->layers, s));
  }
  for (int32_t s = tableNextSlot(&model->joints, -1); s >= 0;
       s = tableNextSlot(&model->joints, s)) {
    releaseJoint(tableAt<Joint>(&model->joints, s));
  }
  for (int32_t s = tableNextSlot(&model->children, -1); s >= 0;
       s = tableNextSlot(&model->children, s)) {
    freeModel(tableAt<Child>(&model->children, s)->model);
  }
  tableRelease(&model->points);
  tableRelease(&model->colours);
  tableRelease(&model->normals);
  tableRelease(&model->surface);
  tableRelease(&model->joints);
  tableRelease(&model->layers);
  tableRelease(&model->children);
  tableRelease(&model->collides);
  tableRelease(&model->namedTexts);
  tableRelease(&model->worldMorphs);
  tableRelease(&model->parkedUvees);
  freeDocumentIndex(model);
  std::free(model);
}

void registryInit(ModelRegistry* registry) {
  tableInit(&registry->models, sizeof(RegistryEntry), kIntKeyed);
  registry->current = nullptr;
}

bool registerModel(ModelRegistry* registry, Model* model) {
  if (model == nullptr) return false;
  auto* entry = tableInsertT<RegistryEntry>(&registry->models, model->id);
  if (entry == nullptr) {
    lastErrorReport("out of memory");
    return false;
  }
  entry->model = model;
  entry->flag = 0;
  registry->current = model;
  return true;
}

Model* registryFind(const ModelRegistry* registry, int32_t id) {
  auto* entry = tableFindT<RegistryEntry>(&registry->models, id);
  return entry ? entry->model : nullptr;
}

bool registryRemove(ModelRegistry* registry, int32_t id) {
  Model* model = registryFind(registry, id);
  if (model == nullptr || !tableRemove(&registry->models, id)) return false;
  if (registry->current == model) {
    int32_t first = tableNextSlot(&registry->models, -1);
    registry->current =
        first >= 0 ? tableAt<RegistryEntry>(&registry->models, first)->model
                   : nullptr;
  }
  return true;
}

void registryFreeAll(ModelRegistry* registry) {
  for (int32_t s = tableNextSlot(&registry->models, -1); s >= 0;
       s = tableNextSlot(&registry->models, s)) {
    freeModel(tableAt<RegistryEntry>(&registry->models, s)->model);
  }
  tableRelease(&registry->models);
  registry->current = nullptr;
}
