#include "io/texture_files.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "io/side_files.h"
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
    // The reader's message, cut to the room the image keeps for it.
    std::snprintf(error, sizeof error, "%.*s", static_cast<int>(sizeof error - 1),
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

// The name of a cube map's face: the file without its extension, then
// "_<face>.tga".
std::string faceFile(const char* file, int face) {
  std::string base = file;
  const size_t dot = base.rfind('.');
  if (dot != std::string::npos && base.find_first_of("/\\", dot) == std::string::npos)
    base.resize(dot);
  return base + "_" + kCubeFaceNames[face] + ".tga";
}

bool readsNothing(const char* file) {
  return file == nullptr || file[0] == '\0' ||
         std::strlen(file) >= static_cast<size_t>(kNameBytes) ||
         std::strcmp(file, "none") == 0;
}

// Reads from `path`, the name as found (it may be longer than a name the
// model keeps).
void readPixelsAt(const char* path, bool cubeMap, TexturePixels* out) {
  out->ok = true;
  if (!cubeMap) {
    out->pixels = readPixels(path, &out->width, &out->height, out->error);
    out->ok = out->pixels != nullptr;
    return;
  }
  for (int face = 0; face < kCubeFaces; ++face) {
    const std::string name = faceFile(path, face);
    out->faces[face] = readPixels(name.c_str(), &out->faceWidth[face],
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

// Where the model's texture `file` is read from: beside the model first.
std::string texturePath(const Model* model, const char* file, bool cubeMap) {
  const std::string probe = cubeMap ? faceFile(file, 0) : std::string(file);
  return besideModel(model != nullptr ? model->directory : "", file, probe.c_str());
}

}  // namespace

void readTexturePixels(const char* file, bool cubeMap, TexturePixels* out) {
  out->ok = true;
  if (readsNothing(file)) return;
  readPixelsAt(file, cubeMap, out);
}

bool addImageFromFiles(Model* model, const char* layer, int32_t number,
                       const char* file, int32_t mode, int32_t axisU,
                       int32_t axisV, float strength) {
  TexturePixels read = {};
  const bool cubeMap = mode == kImageCubeMap;
  read.ok = true;
  if (!readsNothing(file))
    readPixelsAt(texturePath(model, file, cubeMap).c_str(), cubeMap, &read);
  return addImage(model, layer, number, file, mode, axisU, axisV, strength,
                  &read);
}

std::string textureFailure(const Model* model, const char* file, bool cubeMap) {
  if (readsNothing(file)) return std::string();
  TexturePixels read = {};
  readPixelsAt(texturePath(model, file, cubeMap).c_str(), cubeMap, &read);
  releaseTexturePixels(&read);
  return read.ok ? std::string() : std::string(read.error);
}
