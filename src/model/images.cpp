#include <cstdlib>
#include <cstring>

#include "model/geometry.h"
#include "model/geometry_support.h"
#include "model/last_error.h"
#include "model/model.h"

using namespace geometry_detail;

namespace {

// The slot takes the file name and, unless the name is "none" (an image
// without a texture file), what was read for it; a failed read leaves the
// slot unloaded and reports the reader's message.
bool storeTexture(TextureSlot* texture, const char* file,
                  TexturePixels* read) {
  releaseTexture(texture);
  std::strcpy(texture->file, file);
  if (std::strcmp(file, "none") == 0) return true;
  if (!read->ok) {
    lastErrorReport(read->error[0] ? read->error : "TGA read failed");
    return false;
  }
  texture->width = read->width;
  texture->height = read->height;
  texture->pixels = read->pixels;
  read->pixels = nullptr;
  for (int face = 0; face < kCubeFaces; ++face) {
    texture->faces[face] = read->faces[face];
    read->faces[face] = nullptr;
    texture->faceWidth[face] = read->faceWidth[face];
    texture->faceHeight[face] = read->faceHeight[face];
  }
  texture->loaded = 1;
  return true;
}

bool addImageTaking(Model* model, const char* layerName, int32_t number,
                    const char* file, int32_t mode, int32_t axisU,
                    int32_t axisV, float strength, TexturePixels* read) {
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
  if (!acceptName(file, "image file")) return false;
  if (mode < 0 || mode > kImageDisplace) {
    lastErrorReportf("bad image mode: %d", mode);
    return false;
  }
  flushDerived(model);
  touchLayer(model, layer);  // whatever happens below changes the layer
  Image* image = tableFindT<Image>(&layer->images, number);
  if (image == nullptr) {
    image = insertOrReport<Image>(&layer->images, number);
    if (image == nullptr) return false;
    noteLayerListed(model, kAutoUveeLayers, layer);
    initImageTables(image);
    // Uvees that arrived before their image: the model's next new image
    // takes the whole table.
    KeyedTable* parked = &model->parkedUvees;
    if (tableCount(parked) > 0) {
      image->uvees = *parked;  // the arrays move with the header
      image->hasUvees = 1;
      tableInit(parked, sizeof(Uvee), kIntKeyed);
    }
  }

  if (mode == kImageSelectMirror) {
    image->mirrorFlag = 1;
    storeTexture(&image->mirror, file, read);
    return true;
  }
  if (mode == kImageSelectAlpha) {
    image->extraKind = kExtraAlphaTexture;
    storeTexture(&image->alpha, file, read);
    return true;
  }
  image->mode = mode;
  image->axisU = axisU;
  image->axisV = axisV;
  image->strength = strength;
  // A plain image whose file is missing stays, unloaded; a cube map must
  // have all its faces.
  const bool loaded = storeTexture(&image->main, file, read);
  return loaded || mode != kImageCubeMap;
}

}  // namespace

void releaseTexturePixels(TexturePixels* read) {
  std::free(read->pixels);
  read->pixels = nullptr;
  for (unsigned char*& face : read->faces) {
    std::free(face);
    face = nullptr;
  }
}

bool addImage(Model* model, const char* layerName, int32_t number,
              const char* file, int32_t mode, int32_t axisU, int32_t axisV,
              float strength, TexturePixels* read) {
  const bool added = addImageTaking(model, layerName, number, file, mode,
                                    axisU, axisV, strength, read);
  releaseTexturePixels(read);  // what the image did not take
  return added;
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
  KeyedTable* table = &model->parkedUvees;
  if (image != nullptr) {
    // Only an image without uvees of its own takes automatic ones.
    if (!image->hasUvees) flushDerived(model);
    image->hasUvees = 1;
    table = &image->uvees;
    touchLayer(model, layer);
  }
  Uvee* uvee = insertOrReport<Uvee>(table, point);
  if (uvee == nullptr) return false;
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
  touchLayer(model, layer);
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
  touchLayer(model, findLayer(model, layerName));
  return true;
}

