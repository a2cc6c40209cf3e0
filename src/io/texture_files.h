// Texture files: reads the TGA file(s) an image names and hands the pixels
// to the model, which reads no files itself.
#pragma once

#include <cstdint>
#include <string>

#include "model/geometry.h"

// Reads `file` into `out` (zero it first): one TGA file, or for a cube map
// the six files "%s_right.tga" ... "%s_bottom.tga" named after the file
// without its extension, all or nothing. The name "none", an empty name
// and one too long to store read nothing. Free with releaseTexturePixels
// unless handed to addImage.
void readTexturePixels(const char* file, bool cubeMap, TexturePixels* out);

// addImage (model/geometry.h) with the pixels of `file`, read as that mode
// wants them, from the model's directory when it is there (see
// side_files.h), else as named; the same results and messages. The image
// keeps the name as given.
bool addImageFromFiles(Model* model, const char* layer, int32_t number,
                       const char* file, int32_t mode, int32_t axisU,
                       int32_t axisV, float strength);

// Why the model's texture `file` does not load now (the reader's message
// for the path it was looked for at), or empty when it loads; for telling
// the user about every texture a load left without its pixels.
std::string textureFailure(const Model* model, const char* file, bool cubeMap);
