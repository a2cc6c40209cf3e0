#include "model/geometry_support.h"

#include <cstring>

#include "model/last_error.h"

namespace geometry_detail {

bool isGlobalName(const char* name) {
  return name == nullptr || name[0] == '\0' ||
         std::strcmp(name, "(global)") == 0;
}

bool savableName(const char* text) {
  if (text == nullptr || text[0] == '\0' || text[0] == '#') return false;
  return std::strpbrk(text, " \t\n\v\f\r") == nullptr;
}

bool acceptName(const char* text, const char* what) {
  if (!fitsName(text)) {
    lastErrorReportf("%s name too long", what);
    return false;
  }
  if (!savableName(text)) {
    lastErrorReportf("bad %s name: %s", what, text);
    return false;
  }
  return true;
}

bool fitsName(const char* text) {
  return std::strlen(text) < static_cast<size_t>(kNameBytes);
}

Layer* requireLayer(const Model* model, const char* name) {
  Layer* layer = findLayer(model, name);
  if (layer == nullptr) lastErrorReportf("layer not found: %s", name ? name : "");
  return layer;
}

Image* requireImage(Model* model, const char* layerName, int32_t number) {
  Layer* layer = requireLayer(model, layerName);
  if (layer == nullptr) return nullptr;
  Image* image = tableFindT<Image>(&layer->images, number);
  if (image == nullptr) lastErrorReportf("image not found: %d", number);
  return image;
}

void growModelBounds(Model* model, float x, float y, float z) {
  const float p[3] = {x, y, z};
  for (int i = 0; i < 3; ++i) {
    if (p[i] < model->boundsMin[i]) model->boundsMin[i] = p[i];
    if (p[i] > model->boundsMax[i]) model->boundsMax[i] = p[i];
  }
}

void takeIntoModelBounds(Model* model, float x, float y, float z, bool first) {
  if (!first) {
    growModelBounds(model, x, y, z);
    return;
  }
  model->boundsMin[0] = model->boundsMax[0] = x;
  model->boundsMin[1] = model->boundsMax[1] = y;
  model->boundsMin[2] = model->boundsMax[2] = z;
}

}  // namespace geometry_detail
