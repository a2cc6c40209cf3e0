// How an image's RGB pixels become the RGBA texture the view draws: the
// image's strength and its alpha mode are baked into the texels, so that
// every image takes one texture unit and one fixed combine step. No OpenGL
// here.
#pragma once

#include <cstdint>

enum TextureBake : int32_t {
  kBakeDecal,     // colours as they are (the strength is the unit's)
  kBakeModulate,  // white faded toward the colours by the strength
  kBakeShift,     // mid grey faded toward the colours by the strength
  kBakeShade,     // normal map: how far each texel's normal faces out
                  // (blue up), faded from white by the strength
  kBakeBlend,     // colours, with alpha strength times the see-through mask
  kBakeAdd,       // colours times the strength and the mask, alpha opaque
};

struct BakeSettings {
  int32_t bake;     // TextureBake
  float strength;   // taken within 0..1
  int32_t alphaMode;  // ImageExtra: none, invisible colour, alpha texture
  uint8_t invisible[3];
  // The alpha texture (RGB; its brightness is the opacity), or null.
  const unsigned char* alpha;
  int32_t alphaWidth, alphaHeight;
};

// Texels within this much of the invisible colour, in each channel, are
// see-through: a file saved through a lossy step keeps its key colour.
constexpr int kInvisibleTolerance = 2;

// Fills `rgba` (width * height * 4 bytes) from `rgb` (width * height * 3).
// The alpha of every bake but kBakeAdd (always opaque) carries the mask:
// 0 where a texel has the invisible colour (alpha mode 1), the alpha
// texture's brightness at the same place (alpha mode 2, sampled nearest
// whatever its size), else 255.
void bakeTexture(const unsigned char* rgb, int32_t width, int32_t height,
                 const BakeSettings& settings, unsigned char* rgba);

// The invisible colour of an image as bytes (0..1 each, rounded).
void invisibleBytes(const float colour[3], uint8_t out[3]);
