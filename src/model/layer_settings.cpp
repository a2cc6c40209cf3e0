// Layer and image settings: the set commands' changes, each touching the
// layer it changes.
#include <cstring>

#include "model/geometry.h"
#include "model/geometry_support.h"
#include "model/last_error.h"

using namespace geometry_detail;

bool setTransparency(Model* model, const char* layerName, float value) {
  Layer* layer = requireLayer(model, layerName);
  if (layer == nullptr) return false;
  if (!(value >= 0.0f && value <= 1.0f)) {
    lastErrorReport("transparency out of range (should be 0.0 to 1.0)");
    return false;
  }
  layer->opacity = 1.0f - value;
  if (layer->opacity != 1.0f) layer->transparent = 1;
  touchLayer(model, layer);
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
  touchLayer(model, findLayer(model, layerName));
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
  if (file[0] != '\0' && !acceptName(file, "shader file")) return false;
  ShaderEntry* entry = insertOrReport<ShaderEntry>(&layer->shaders, kind);
  if (entry == nullptr) return false;
  std::strcpy(entry->file, file);
  entry->kind = code;
  entry->handle = 0;  // a new file must be compiled again by the view
  touchLayer(model, layer);
  return true;
}


bool renameLayer(Model* model, Layer* layer, const char* name) {
  if (!savableName(name)) {
    lastErrorReportf("bad layer name: %s", name ? name : "");
    return false;
  }
  // Rebuilt in slot order: a plain remove and insert could move the layer
  // into an earlier hole. Layers are few; the records move whole.
  KeyedTable renamed;
  tableInit(&renamed, sizeof(Layer), kStringKeyed);
  for (int32_t s = tableNextSlot(&model->layers, -1); s >= 0;
       s = tableNextSlot(&model->layers, s)) {
    Layer* old = tableAt<Layer>(&model->layers, s);
    const char* key = old == layer ? name : tableStringKeyAt(&model->layers, s);
    Layer* copy = tableInsertT<Layer>(&renamed, key);
    if (copy == nullptr) {
      tableRelease(&renamed);  // the records' own tables stay with the old
      lastErrorReport("out of memory");
      return false;
    }
    *copy = *old;
    if (old == layer) {
      std::strcpy(copy->name, name);
      touchLayer(model, copy);
    }
  }
  tableRelease(&model->layers);
  model->layers = renamed;
  noteLayersRenumbered(model);
  return true;
}

void setLayerSides(Model* model, Layer* layer, bool singleSided) {
  layer->singleSided = singleSided;
  touchLayer(model, layer);
}

void setLayerMirror(Model* model, Layer* layer, int32_t axis) {
  layer->mirror = axis != kAxisNone;
  if (axis != kAxisNone) layer->mirrorAxis = axis;
  touchLayer(model, layer);
}

void setLayerLighting(Model* model, Layer* layer, bool on) {
  layer->lightingOff = !on;
  touchLayer(model, layer);
}

void setLayerColour(Model* model, Layer* layer, const float rgb[3]) {
  std::memcpy(layer->origin, rgb, sizeof layer->origin);
  touchLayer(model, layer);
}

void setImageAxis(Model* model, Layer* layer, Image* image, bool u,
                  int32_t axis) {
  flushDerived(model);
  (u ? image->axisU : image->axisV) = axis;
  if (!image->hasUvees) markUveesStale(model);
  touchLayer(model, layer);
}

void setImageStrength(Model* model, Layer* layer, Image* image,
                      float strength) {
  image->strength = strength;
  touchLayer(model, layer);
}

void setImageMode(Model* model, Layer* layer, Image* image, int32_t mode) {
  image->mode = mode;
  touchLayer(model, layer);
}

void setImageAlphaMode(Model* model, Layer* layer, Image* image,
                       int32_t extraKind) {
  image->extraKind = extraKind;
  touchLayer(model, layer);
}

bool setLayerInvisible(Model* model, Layer* layer, bool on,
                       const float rgb[3]) {
  for (int32_t s = tableNextSlot(&layer->images, -1); s >= 0;
       s = tableNextSlot(&layer->images, s)) {
    Image* image = tableAt<Image>(&layer->images, s);
    if (!on) {
      if (image->extraKind == kExtraInvisibleColour) image->extraKind = kExtraNone;
      continue;
    }
    // The range check is the same for every image: the first refusal stops.
    if (!setInvisibleColour(model, layer->name, tableIntKeyAt(&layer->images, s),
                            rgb[0], rgb[1], rgb[2]))
      return false;
  }
  touchLayer(model, layer);
  return true;
}
