// Texture files: reads the TGA file(s) an image names and hands the pixels
// to the model, which reads no files itself.
#pragma once

#include <cstdint>

#include "model/geometry.h"

// Reads `file` into `out` (zero it first): one TGA file, or for a cube map
// the six files "%s_right.tga" ... "%s_bottom.tga" named after the file
// without its extension, all or nothing. The name "none", an empty name
// and one too long to store read nothing. Free with releaseTexturePixels
// unless handed to addImage.
void readTexturePixels(const char* file, bool cubeMap, TexturePixels* out);

// addImage (model/geometry.h) with the pixels of `file`, read as that mode
// wants them; the same results and messages.
bool addImageFromFiles(Model* model, const char* layer, int32_t number,
                       const char* file, int32_t mode, int32_t axisU,
                       int32_t axisV, float strength);
