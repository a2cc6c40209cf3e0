#include "io/texture_files.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "io/tga.h"

namespace {

const char* const kCubeFaceNames[kCubeFaces] = {"right", "left", "back",
                                                "front", "top",  "bottom"};

// One TGA file as a malloc'd RGB buffer; null with *error set.
unsigned char* readPixels(const char* path, int32_t* width, int32_t* height,
                          char (&error)[kErrorTextBytes]) {
  TgaMessage message;
  message.text[0] = '\0';
  TgaImage* tga = readTga(path, &message);
  if (tga == nullptr) {
    std::snprintf(error, sizeof error, "%s",
                  message.text[0] ? message.text : "TGA read failed");
    return nullptr;
  }
  // The reader's buffer is already malloc'd RGB rows: taken, not copied.
  unsigned char* pixels = tga->pixels;
  tga->pixels = nullptr;
  *width = tga->width;
  *height = tga->height;
  freeTga(tga);
  return pixels;
}

}  // namespace

void readTexturePixels(const char* file, bool cubeMap, TexturePixels* out) {
  out->ok = true;
  if (file == nullptr || file[0] == '\0' ||
      std::strlen(file) >= static_cast<size_t>(kNameBytes) ||
      std::strcmp(file, "none") == 0)
    return;
  if (!cubeMap) {
    out->pixels = readPixels(file, &out->width, &out->height, out->error);
    out->ok = out->pixels != nullptr;
    return;
  }

  // Faces are named after the file without its extension.
  char base[kNameBytes];
  std::strcpy(base, file);
  char* dot = std::strrchr(base, '.');
  if (dot != nullptr && std::strpbrk(dot, "/\\") == nullptr) *dot = '\0';
  for (int face = 0; face < kCubeFaces; ++face) {
    char path[kNameBytes + 16];
    std::snprintf(path, sizeof path, "%s_%s.tga", base, kCubeFaceNames[face]);
    out->faces[face] = readPixels(path, &out->faceWidth[face],
                                  &out->faceHeight[face], out->error);
    if (out->faces[face] == nullptr) {
      releaseTexturePixels(out);
      out->ok = false;
      return;
    }
  }
  out->width = out->faceWidth[0];
  out->height = out->faceHeight[0];
}

bool addImageFromFiles(Model* model, const char* layer, int32_t number,
                       const char* file, int32_t mode, int32_t axisU,
                       int32_t axisV, float strength) {
  TexturePixels read = {};
  readTexturePixels(file, mode == kImageCubeMap, &read);
  return addImage(model, layer, number, file, mode, axisU, axisV, strength,
                  &read);
}
