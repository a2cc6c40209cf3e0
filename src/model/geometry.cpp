#include "model/geometry.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "model/last_error.h"
#include "model/model.h"
#include "view/tga.h"

namespace {

uint32_t g_revision = 0;

// Uvees that arrive before their image wait here; the next new image of
// any model takes the whole table.
KeyedTable g_parkedUvees;
bool g_parkedReady = false;

KeyedTable* parkedUvees() {
  if (!g_parkedReady) {
    tableInit(&g_parkedUvees, sizeof(Uvee), kIntKeyed);
    g_parkedReady = true;
  }
  return &g_parkedUvees;
}

bool isGlobalName(const char* name) {
  return name == nullptr || name[0] == '\0' ||
         std::strcmp(name, "(global)") == 0;
}

bool fitsName(const char* text) {
  return std::strlen(text) < static_cast<size_t>(kNameBytes);
}

// The named layer, or null with the reason reported.
Layer* requireLayer(const Model* model, const char* name) {
  Layer* layer = findLayer(model, name);
  if (layer == nullptr) lastErrorReportf("layer not found: %s", name ? name : "");
  return layer;
}

// The model-level tables for "(global)", else the layer's; null when the
// layer is unknown (reported).
struct PointTables {
  KeyedTable* colours;
  KeyedTable* normals;
  KeyedTable* surface;
  Layer* layer;  // null at model level
};

bool resolveTables(Model* model, const char* name, PointTables* out) {
  if (isGlobalName(name)) {
    *out = {&model->colours, &model->normals, &model->surface, nullptr};
    return true;
  }
  Layer* layer = requireLayer(model, name);
  if (layer == nullptr) return false;
  *out = {&layer->colours, &layer->normals, &layer->surface, layer};
  return true;
}

void touchTables(Model* model, const PointTables& tables) {
  if (tables.layer != nullptr) {
    touchLayer(tables.layer);
  } else {
    touchModel(model);
  }
}

void growModelBounds(Model* model, float x, float y, float z) {
  const float p[3] = {x, y, z};
  for (int i = 0; i < 3; ++i) {
    if (p[i] < model->boundsMin[i]) model->boundsMin[i] = p[i];
    if (p[i] > model->boundsMax[i]) model->boundsMax[i] = p[i];
  }
}

bool usesPoint(const int32_t* points, int32_t count, int32_t number) {
  for (int32_t i = 0; i < count; ++i)
    if (points[i] == number) return true;
  return false;
}

bool layerUsesPoint(const Layer* layer, int32_t number) {
  for (int32_t s = tableNextSlot(&layer->triangles, -1); s >= 0;
       s = tableNextSlot(&layer->triangles, s)) {
    const Triangle* t = tableAt<Triangle>(&layer->triangles, s);
    if (usesPoint(t->points, t->count, number)) return true;
  }
  for (int32_t s = tableNextSlot(&layer->lines, -1); s >= 0;
       s = tableNextSlot(&layer->lines, s)) {
    const Line* l = tableAt<Line>(&layer->lines, s);
    if (usesPoint(l->points, l->count, number)) return true;
  }
  return false;
}

void recomputeLayerBounds(const Model* model, Layer* layer) {
  bool first = true;
  float* b = layer->bounds;
  for (int i = 0; i < 6; ++i) b[i] = 0.0f;
  for (int32_t s = tableNextSlot(&layer->triangles, -1); s >= 0;
       s = tableNextSlot(&layer->triangles, s)) {
    const Triangle* t = tableAt<Triangle>(&layer->triangles, s);
    for (int32_t i = 0; i < t->count; ++i) {
      const Point* p = findPoint(model, t->points[i]);
      if (p == nullptr) continue;
      const float v[3] = {p->x, p->y, p->z};
      for (int k = 0; k < 3; ++k) {
        if (first || v[k] < b[k]) b[k] = v[k];
        if (first || v[k] > b[k + 3]) b[k + 3] = v[k];
      }
      first = false;
    }
  }
}

// One texture coordinate by the image's axis code. The y and z rows run
// opposite to x on purpose: that is how existing models were textured.
float axisCoordinate(int32_t code, const Point* p, const float* bounds) {
  const float dx = bounds[3] - bounds[0];
  const float dy = bounds[4] - bounds[1];
  const float dz = bounds[5] - bounds[2];
  switch (code) {
    case kAxisX: return (p->x - bounds[0]) / dx;
    case kAxisY: return 1.0f - (p->y - bounds[1]) / dy;
    case kAxisZ: return 1.0f - (p->z - bounds[2]) / dz;
    case kAxisMinusX: return 1.0f - (p->x - bounds[0]) / dx;
    case kAxisMinusY: return (p->y - bounds[1]) / dy;
    case kAxisMinusZ: return (p->z - bounds[2]) / dz;
    default: return 0.0f;
  }
}

void refillAutomaticUvees(const Model* model, const Layer* layer,
                          Image* image) {
  tableRelease(&image->uvees);
  for (int32_t s = tableNextSlot(&layer->triangles, -1); s >= 0;
       s = tableNextSlot(&layer->triangles, s)) {
    const Triangle* t = tableAt<Triangle>(&layer->triangles, s);
    for (int32_t i = 0; i < t->count; ++i) {
      const Point* p = findPoint(model, t->points[i]);
      if (p == nullptr) continue;
      Uvee* uvee = tableInsertT<Uvee>(&image->uvees, t->points[i]);
      if (uvee == nullptr) return;
      uvee->word = t->points[i];
      uvee->u = axisCoordinate(image->axisU, p, layer->bounds);
      uvee->v = axisCoordinate(image->axisV, p, layer->bounds);
    }
  }
}

// Shared by triangles and lines: both keep {id, flags, count, kind, points}.
template <class Polygon>
int32_t addPolygon(Model* model, Layer* layer, KeyedTable Layer::*table,
                   int32_t minCount, int32_t count, const int32_t* points,
                   int32_t kind) {
  if (count < minCount || count > kMaxPolygonPoints || points == nullptr) {
    lastErrorReportf("bad point count: %d", count);
    return 0;
  }
  if (kind < 0 || kind > 4) {
    lastErrorReportf("bad polygon kind: %d", kind);
    return 0;
  }
  for (int32_t i = 0; i < count; ++i) {
    if (findPoint(model, points[i]) == nullptr) {
      lastErrorReportf("point not found: %d", points[i]);
      return 0;
    }
  }
  int32_t* copy = newPolygonPoints(count);
  if (copy == nullptr) {
    lastErrorReport("out of memory");
    return 0;
  }
  std::memcpy(copy, points, sizeof(int32_t) * static_cast<size_t>(count));
  const int32_t id = nextPolygonId();
  Polygon* polygon = tableInsertT<Polygon>(&(layer->*table), id);
  if (polygon == nullptr) {
    freePolygonPoints(copy, count);
    lastErrorReport("out of memory");
    return 0;
  }
  polygon->id = id;
  polygon->flags = 0;
  polygon->count = static_cast<int16_t>(count);
  polygon->kind = static_cast<int16_t>(kind);
  polygon->points = copy;

  // The reflected half is drawn too, so it counts for the model's extent.
  const int32_t axis = layer->mirrorAxis;
  if (layer->mirror && axis >= kAxisX && axis <= kAxisZ) {
    for (int32_t i = 0; i < count; ++i) {
      const Point* p = findPoint(model, points[i]);
      float r[3] = {p->x, p->y, p->z};
      r[axis - 1] = -r[axis - 1];
      growModelBounds(model, r[0], r[1], r[2]);
    }
  }
  layer->boundsStale = 1;
  touchLayer(layer);
  return id;
}

template <class Polygon>
bool deletePolygon(Model* model, KeyedTable Layer::*table, int32_t id) {
  flushDerived(model);
  for (int32_t s = tableNextSlot(&model->layers, -1); s >= 0;
       s = tableNextSlot(&model->layers, s)) {
    Layer* layer = tableAt<Layer>(&model->layers, s);
    Polygon* polygon = tableFindT<Polygon>(&(layer->*table), id);
    if (polygon == nullptr) continue;
    freePolygonPoints(polygon->points, polygon->count);
    tableRemove(&(layer->*table), id);
    touchLayer(layer);
    return true;
  }
  return false;
}

// True when any was removed.
template <class Polygon>
bool removePolygonsUsing(KeyedTable* table, int32_t number) {
  bool removed = false;
  for (int32_t s = tableNextSlot(table, -1); s >= 0; s = tableNextSlot(table, s)) {
    Polygon* polygon = tableAt<Polygon>(table, s);
    if (!usesPoint(polygon->points, polygon->count, number)) continue;
    freePolygonPoints(polygon->points, polygon->count);
    tableRemove(table, tableIntKeyAt(table, s));
    removed = true;
  }
  return removed;
}

bool storeVector(Model* model, const char* layer, int32_t number, float x,
                 float y, float z, KeyedTable* PointTables::*which) {
  if (number < 1) {
    lastErrorReportf("point number must be 1 or more: %d", number);
    return false;
  }
  PointTables tables;
  if (!resolveTables(model, layer, &tables)) return false;
  VectorEntry* entry = tableInsertT<VectorEntry>(tables.*which, number);
  if (entry == nullptr) {
    lastErrorReport("out of memory");
    return false;
  }
  if (std::isnan(x) || std::isnan(y) || std::isnan(z)) {
    x = 0.0f;
    y = 0.0f;
    z = 1.0f;
  }
  entry->x = x;
  entry->y = y;
  entry->z = z;
  touchTables(model, tables);
  return true;
}

bool removeEntry(Model* model, const char* layer, int32_t point,
                 KeyedTable* PointTables::*which) {
  PointTables tables;
  if (!resolveTables(model, layer, &tables)) return false;
  // An absent entry is already gone.
  if (tableRemove(tables.*which, point)) touchTables(model, tables);
  return true;
}

Image* requireImage(Model* model, const char* layerName, int32_t number) {
  Layer* layer = requireLayer(model, layerName);
  if (layer == nullptr) return nullptr;
  Image* image = tableFindT<Image>(&layer->images, number);
  if (image == nullptr) lastErrorReportf("image not found: %d", number);
  return image;
}

const char* const kCubeFaceNames[kCubeFaces] = {"right", "left", "back",
                                                "front", "top",  "bottom"};

// Reads one TGA file into a malloc'd RGB buffer (freed with the slot).
unsigned char* readPixels(const char* path, int32_t* width, int32_t* height) {
  const char* error = nullptr;
  TgaImage* tga = readTga(path, &error);
  if (tga == nullptr) {
    lastErrorReport(error ? error : "TGA read failed");
    return nullptr;
  }
  const size_t bytes = static_cast<size_t>(tga->width) * tga->height * 3;
  auto* pixels = static_cast<unsigned char*>(std::malloc(bytes ? bytes : 1));
  if (pixels == nullptr) {
    freeTga(tga);
    lastErrorReport("out of memory");
    return nullptr;
  }
  if (bytes) std::memcpy(pixels, tga->pixels, bytes);
  *width = tga->width;
  *height = tga->height;
  freeTga(tga);
  return pixels;
}

}  // namespace

void flushDerived(Model* model) {
  for (int32_t s = tableNextSlot(&model->layers, -1); s >= 0;
       s = tableNextSlot(&model->layers, s)) {
    Layer* layer = tableAt<Layer>(&model->layers, s);
    if (!layer->boundsStale) continue;
    recomputeLayerBounds(model, layer);
    layer->boundsStale = 0;
    touchLayer(layer);
  }
  if (!model->uveesStale) return;
  model->uveesStale = 0;
  for (int32_t s = tableNextSlot(&model->layers, -1); s >= 0;
       s = tableNextSlot(&model->layers, s)) {
    Layer* layer = tableAt<Layer>(&model->layers, s);
    if (tableCount(&layer->triangles) == 0) continue;
    bool refilled = false;
    for (int32_t i = tableNextSlot(&layer->images, -1); i >= 0;
         i = tableNextSlot(&layer->images, i)) {
      Image* image = tableAt<Image>(&layer->images, i);
      if (image->hasUvees) continue;
      refillAutomaticUvees(model, layer, image);
      refilled = true;
    }
    if (refilled) touchLayer(layer);
  }
}

void markUveesStale(Model* model) { model->uveesStale = 1; }

uint32_t nextRevision() {
  // Zero means never touched; a wrapped counter skips it.
  if (++g_revision == 0) ++g_revision;
  return g_revision;
}

void layerColour(const Layer* layer, float rgb[3]) {
  const float* o = layer->origin;
  if (o[0] == 0.0f && o[1] == 0.0f && o[2] == 0.0f) {
    rgb[0] = rgb[1] = rgb[2] = 127.0f / 255.0f;
    return;
  }
  const bool bytes = o[0] > 1.0f || o[1] > 1.0f || o[2] > 1.0f;
  for (int i = 0; i < 3; ++i) rgb[i] = bytes ? o[i] * kByteScale : o[i];
}

Layer* findLayer(const Model* model, const char* name) {
  if (isGlobalName(name)) return nullptr;
  return tableFindT<Layer>(&model->layers, name);
}

Layer* addLayer(Model* model, const char* name, float originX, float originY,
                float originZ, int32_t singleSided, int32_t mirror,
                int32_t mirrorAxis) {
  lastErrorClear();
  // "(global)" and no name stand for the model-level tables.
  if (isGlobalName(name)) {
    lastErrorReportf("bad layer name: %s", name ? name : "");
    return nullptr;
  }
  if (!fitsName(name)) {
    lastErrorReport("layer name too long");
    return nullptr;
  }
  if (tableFind(&model->layers, name) != nullptr) {
    lastErrorReport("duplicate layer name not allowed");
    return nullptr;
  }
  Layer* layer = tableInsertT<Layer>(&model->layers, name);
  if (layer == nullptr) {
    lastErrorReport("out of memory");
    return nullptr;
  }
  std::strcpy(layer->name, name);
  layer->origin[0] = originX;
  layer->origin[1] = originY;
  layer->origin[2] = originZ;
  layer->opacity = 1.0f;
  layer->singleSided = singleSided;
  layer->mirror = mirror;
  layer->mirrorAxis = mirrorAxis;
  layer->displayHandle = -1;
  initLayerTables(layer);
  touchLayer(layer);
  return layer;
}

bool deleteLayer(Model* model, const char* name) {
  flushDerived(model);
  Layer* layer = requireLayer(model, name);
  if (layer == nullptr) return false;
  releaseLayer(layer);
  tableRemove(&model->layers, name);
  return true;
}

bool addPoint(Model* model, int32_t number, float x, float y, float z) {
  if (number < 1) {
    lastErrorReportf("point number must be 1 or more: %d", number);
    return false;
  }
  if (findPoint(model, number) != nullptr) flushDerived(model);
  const bool first = tableCount(&model->points) == 0;
  Point* point = tableInsertT<Point>(&model->points, number);
  if (point == nullptr) {
    lastErrorReport("out of memory");
    return false;
  }
  point->x = x;
  point->y = y;
  point->z = z;
  point->flags = 0;
  touchModel(model);
  if (first) {
    model->boundsMin[0] = model->boundsMax[0] = x;
    model->boundsMin[1] = model->boundsMax[1] = y;
    model->boundsMin[2] = model->boundsMax[2] = z;
  } else {
    growModelBounds(model, x, y, z);
  }
  return true;
}

Point* findPoint(const Model* model, int32_t number) {
  return tableFindT<Point>(&model->points, number);
}

int32_t findPointAt(const Model* model, float x, float y, float z) {
  for (int32_t s = tableNextSlot(&model->points, -1); s >= 0;
       s = tableNextSlot(&model->points, s)) {
    const Point* p = tableAt<Point>(&model->points, s);
    if (p->x == x && p->y == y && p->z == z)
      return tableIntKeyAt(&model->points, s);
  }
  return 0;
}

bool deletePoint(Model* model, int32_t number) {
  // Deleting what is not there is no error worth a message.
  if (findPoint(model, number) == nullptr) return false;
  flushDerived(model);
  tableRemove(&model->points, number);
  touchModel(model);
  for (int32_t s = tableNextSlot(&model->layers, -1); s >= 0;
       s = tableNextSlot(&model->layers, s)) {
    Layer* layer = tableAt<Layer>(&model->layers, s);
    // Bitwise or: every table is cleaned whatever the others held.
    const bool changed =
        tableRemove(&layer->colours, number) |
        tableRemove(&layer->normals, number) |
        tableRemove(&layer->surface, number) |
        removePolygonsUsing<Triangle>(&layer->triangles, number) |
        removePolygonsUsing<Line>(&layer->lines, number);
    if (changed) touchLayer(layer);
  }
  return true;
}

int32_t highestPointNumber(const Model* model) {
  int32_t highest = 0;
  for (int32_t s = tableNextSlot(&model->points, -1); s >= 0;
       s = tableNextSlot(&model->points, s)) {
    const int32_t key = tableIntKeyAt(&model->points, s);
    if (key > highest) highest = key;
  }
  return highest;
}

bool addNormal(Model* model, const char* layer, int32_t number, float x,
               float y, float z) {
  return storeVector(model, layer, number, x, y, z, &PointTables::normals);
}

bool addSurface(Model* model, const char* layer, int32_t number, float x,
                float y, float z) {
  return storeVector(model, layer, number, x, y, z, &PointTables::surface);
}

bool addColour(Model* model, const char* layer, int32_t point, float red,
               float green, float blue, float alpha) {
  PointTables tables;
  if (!resolveTables(model, layer, &tables)) return false;
  if (findPoint(model, point) == nullptr) {
    lastErrorReport("colour defined for an undefined point");
    return false;
  }
  Colour* colour = tableInsertT<Colour>(tables.colours, point);
  if (colour == nullptr) {
    lastErrorReport("out of memory");
    return false;
  }
  colour->r = red > 1.0f ? 1.0f : red;
  colour->g = green > 1.0f ? 1.0f : green;
  colour->b = blue > 1.0f ? 1.0f : blue;
  colour->a = alpha > 1.0f ? 1.0f : alpha;
  touchTables(model, tables);
  if (!(alpha < 1.0f)) return true;
  if (tables.layer != nullptr) {
    tables.layer->transparent = 1;
    return true;
  }
  for (int32_t s = tableNextSlot(&model->layers, -1); s >= 0;
       s = tableNextSlot(&model->layers, s)) {
    Layer* each = tableAt<Layer>(&model->layers, s);
    if (!each->transparent && layerUsesPoint(each, point)) {
      each->transparent = 1;
      touchLayer(each);
    }
  }
  return true;
}

bool deleteColour(Model* model, const char* layer, int32_t point) {
  return removeEntry(model, layer, point, &PointTables::colours);
}

bool deleteNormal(Model* model, const char* layer, int32_t point) {
  return removeEntry(model, layer, point, &PointTables::normals);
}

bool deleteSurface(Model* model, const char* layer, int32_t point) {
  return removeEntry(model, layer, point, &PointTables::surface);
}

int32_t addTriangle(Model* model, const char* layerName, int32_t count,
                    const int32_t* points, int32_t kind) {
  Layer* layer = requireLayer(model, layerName);
  if (layer == nullptr) return 0;
  return addTriangleToLayer(model, layer, count, points, kind);
}

int32_t addLine(Model* model, const char* layerName, int32_t count,
                const int32_t* points, int32_t kind) {
  Layer* layer = requireLayer(model, layerName);
  if (layer == nullptr) return 0;
  return addLineToLayer(model, layer, count, points, kind);
}

int32_t addTriangleToLayer(Model* model, Layer* layer, int32_t count,
                           const int32_t* points, int32_t kind) {
  return addPolygon<Triangle>(model, layer, &Layer::triangles, 3, count, points,
                              kind);
}

int32_t addLineToLayer(Model* model, Layer* layer, int32_t count,
                       const int32_t* points, int32_t kind) {
  return addPolygon<Line>(model, layer, &Layer::lines, 2, count, points, kind);
}

bool deleteTriangle(Model* model, int32_t id) {
  if (deletePolygon<Triangle>(model, &Layer::triangles, id)) return true;
  lastErrorReportf("triangle not found: %d", id);
  return false;
}

bool deleteLine(Model* model, int32_t id) {
  if (deletePolygon<Line>(model, &Layer::lines, id)) return true;
  lastErrorReportf("line not found: %d", id);
  return false;
}

bool addImage(Model* model, const char* layerName, int32_t number,
              const char* file, int32_t mode, int32_t axisU, int32_t axisV,
              float strength) {
  Layer* layer = requireLayer(model, layerName);
  if (layer == nullptr) return false;
  if (number < 1) {
    lastErrorReport("image number must be 1 or more");
    return false;
  }
  if (file == nullptr || file[0] == '\0') {
    lastErrorReport("image file name must not be empty");
    return false;
  }
  if (!fitsName(file)) {
    lastErrorReport("image file name too long");
    return false;
  }
  if (mode < 0 || mode > kImageDisplace) {
    lastErrorReportf("bad image mode: %d", mode);
    return false;
  }
  flushDerived(model);
  touchLayer(layer);  // whatever happens below changes the layer
  Image* image = tableFindT<Image>(&layer->images, number);
  if (image == nullptr) {
    image = tableInsertT<Image>(&layer->images, number);
    if (image == nullptr) {
      lastErrorReport("out of memory");
      return false;
    }
    initImageTables(image);
    KeyedTable* parked = parkedUvees();
    if (tableCount(parked) > 0) {
      image->uvees = *parked;  // the arrays move with the header
      image->hasUvees = 1;
      tableInit(parked, sizeof(Uvee), kIntKeyed);
    }
  }

  if (mode == kImageSelectMirror) {
    image->mirrorFlag = 1;
    loadTexture(&image->mirror, file, false);
    return true;
  }
  if (mode == kImageSelectAlpha) {
    image->extraKind = kExtraAlphaTexture;
    loadTexture(&image->alpha, file, false);
    return true;
  }
  image->mode = mode;
  image->axisU = axisU;
  image->axisV = axisV;
  image->strength = strength;
  // A plain image whose file is missing stays, unloaded; a cube map must
  // have all its faces.
  const bool loaded = loadTexture(&image->main, file, mode == kImageCubeMap);
  return loaded || mode != kImageCubeMap;
}

bool addUvee(Model* model, const char* layerName, int32_t imageNumber,
             int32_t point, float u, float v) {
  Layer* layer = findLayer(model, layerName);
  if (layer == nullptr) {
    lastErrorReport("cannot find layer for uvee");
    return false;
  }
  if (findPoint(model, point) == nullptr) {
    lastErrorReport("uvee point not found in model");
    return false;
  }
  if (imageNumber < 1) {
    lastErrorReport("image number must be 1 or more");
    return false;
  }
  Image* image = tableFindT<Image>(&layer->images, imageNumber);
  KeyedTable* table = parkedUvees();
  if (image != nullptr) {
    // Only an image without uvees of its own takes automatic ones.
    if (!image->hasUvees) flushDerived(model);
    image->hasUvees = 1;
    table = &image->uvees;
    touchLayer(layer);
  }
  Uvee* uvee = tableInsertT<Uvee>(table, point);
  if (uvee == nullptr) {
    lastErrorReport("out of memory");
    return false;
  }
  uvee->word = point;
  uvee->u = u;
  uvee->v = v;
  return true;
}

bool deleteImage(Model* model, const char* layerName, int32_t number) {
  flushDerived(model);
  Image* image = requireImage(model, layerName, number);
  if (image == nullptr) return false;
  Layer* layer = findLayer(model, layerName);
  touchLayer(layer);
  releaseImage(image);
  int32_t last = number;
  for (;;) {
    Image* next = tableFindT<Image>(&layer->images, last + 1);
    if (next == nullptr) break;
    // The whole record moves down; its tables and pixels go with it.
    *tableFindT<Image>(&layer->images, last) = *next;
    ++last;
  }
  tableRemove(&layer->images, last);
  return true;
}

bool deleteMirrorImage(Model* model, const char* layerName, int32_t number) {
  flushDerived(model);
  Image* image = requireImage(model, layerName, number);
  if (image == nullptr) return false;
  releaseTexture(&image->mirror);
  image->mirrorFlag = 0;
  image->mirror.file[0] = '\0';
  touchLayer(findLayer(model, layerName));
  return true;
}

bool setTransparency(Model* model, const char* layerName, float value) {
  Layer* layer = requireLayer(model, layerName);
  if (layer == nullptr) return false;
  if (!(value >= 0.0f && value <= 1.0f)) {
    lastErrorReport("transparency out of range (should be 0.0 to 1.0)");
    return false;
  }
  layer->opacity = 1.0f - value;
  if (layer->opacity != 1.0f) layer->transparent = 1;
  touchLayer(layer);
  return true;
}

bool setInvisibleColour(Model* model, const char* layerName, int32_t number,
                        float red, float green, float blue) {
  flushDerived(model);
  Image* image = requireImage(model, layerName, number);
  if (image == nullptr) return false;
  const float rgb[3] = {red, green, blue};
  for (float c : rgb) {
    if (!(c >= 0.0f && c <= 1.0f)) {
      lastErrorReport("invisible color out of range (should be 0.0 to 1.0");
      return false;
    }
  }
  image->extraKind = kExtraInvisibleColour;
  for (int i = 0; i < 3; ++i) image->invisible[i] = rgb[i];
  touchLayer(findLayer(model, layerName));
  return true;
}

bool setShader(Model* model, const char* layerName, const char* kind,
               const char* file) {
  Layer* layer = requireLayer(model, layerName);
  if (layer == nullptr) return false;
  int32_t code = 0;
  if (kind != nullptr && std::strcmp(kind, "pixel") == 0) code = 1;
  if (kind != nullptr && std::strcmp(kind, "vertex") == 0) code = 2;
  if (code == 0) {
    lastErrorReportf("unknown shader kind: %s", kind ? kind : "");
    return false;
  }
  if (file == nullptr) file = "";
  if (!fitsName(file)) {
    lastErrorReport("shader file name too long");
    return false;
  }
  ShaderEntry* entry = tableInsertT<ShaderEntry>(&layer->shaders, kind);
  if (entry == nullptr) {
    lastErrorReport("out of memory");
    return false;
  }
  std::strcpy(entry->file, file);
  entry->kind = code;
  entry->handle = 0;  // a new file must be compiled again by the view
  touchLayer(layer);
  return true;
}

bool loadTexture(TextureSlot* texture, const char* file, bool cubeMap) {
  releaseTexture(texture);
  if (file == nullptr || !fitsName(file)) {
    texture->file[0] = '\0';
    lastErrorReport("texture file name too long");
    return false;
  }
  std::strcpy(texture->file, file);
  // "none" names an image that has no texture file; it is kept, not read.
  if (std::strcmp(file, "none") == 0) return true;
  if (!cubeMap) {
    texture->pixels = readPixels(file, &texture->width, &texture->height);
    if (texture->pixels == nullptr) return false;
    texture->loaded = 1;
    return true;
  }

  // Faces are named after the file without its extension.
  char base[kNameBytes];
  std::strcpy(base, file);
  char* dot = std::strrchr(base, '.');
  if (dot != nullptr && std::strpbrk(dot, "/\\") == nullptr) *dot = '\0';
  int32_t width = 0, height = 0;
  for (int face = 0; face < kCubeFaces; ++face) {
    char path[kNameBytes + 16];
    std::snprintf(path, sizeof path, "%s_%s.tga", base, kCubeFaceNames[face]);
    int32_t w = 0, h = 0;
    texture->faces[face] = readPixels(path, &w, &h);
    if (texture->faces[face] == nullptr) {
      for (unsigned char*& loaded : texture->faces) {
        std::free(loaded);
        loaded = nullptr;
      }
      return false;
    }
    if (face == 0) {
      width = w;
      height = h;
    }
  }
  texture->width = width;
  texture->height = height;
  texture->loaded = 1;
  return true;
}
