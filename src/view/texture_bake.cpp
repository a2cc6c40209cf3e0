#include "view/texture_bake.h"

#include <cmath>
#include <cstdlib>

#include "model/records.h"

namespace {

uint8_t clampByte(float v) {
  if (!(v > 0.0f)) return 0;
  if (v >= 255.0f) return 255;
  return static_cast<uint8_t>(v + 0.5f);
}

float fade(float from, float to, float strength) {
  return from + (to - from) * strength;
}

uint8_t maskAt(const unsigned char* texel, int32_t x, int32_t y,
               int32_t width, int32_t height, const BakeSettings& s) {
  if (s.alphaMode == kExtraInvisibleColour) {
    for (int c = 0; c < 3; ++c)
      if (std::abs(texel[c] - s.invisible[c]) > kInvisibleTolerance)
        return 255;
    return 0;
  }
  if (s.alphaMode != kExtraAlphaTexture || s.alpha == nullptr ||
      s.alphaWidth <= 0 || s.alphaHeight <= 0)
    return 255;
  const int64_t ax = static_cast<int64_t>(x) * s.alphaWidth / width;
  const int64_t ay = static_cast<int64_t>(y) * s.alphaHeight / height;
  const unsigned char* a = s.alpha + 3 * (ay * s.alphaWidth + ax);
  return static_cast<uint8_t>((a[0] + a[1] + a[2] + 1) / 3);
}

// How far a normal-map texel's normal faces along the surface normal.
float facing(const unsigned char* texel) {
  float n[3];
  for (int c = 0; c < 3; ++c) n[c] = texel[c] / 127.5f - 1.0f;
  const float length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
  if (!(length > 0.0f)) return 1.0f;
  const float z = n[2] / length;
  return z > 0.0f ? z : 0.0f;
}

}  // namespace

void invisibleBytes(const float colour[3], uint8_t out[3]) {
  for (int c = 0; c < 3; ++c) out[c] = clampByte(colour[c] * 255.0f);
}

void bakeTexture(const unsigned char* rgb, int32_t width, int32_t height,
                 const BakeSettings& settings, unsigned char* rgba) {
  float s = settings.strength;
  if (!(s > 0.0f)) s = 0.0f;
  if (s > 1.0f) s = 1.0f;
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      const size_t i = static_cast<size_t>(y) * width + x;
      const unsigned char* in = rgb + 3 * i;
      unsigned char* out = rgba + 4 * i;
      const uint8_t mask = maskAt(in, x, y, width, height, settings);
      out[3] = mask;
      switch (settings.bake) {
        case kBakeModulate:
        case kBakeShift: {
          const float from = settings.bake == kBakeModulate ? 255.0f : 128.0f;
          for (int c = 0; c < 3; ++c) out[c] = clampByte(fade(from, in[c], s));
          break;
        }
        case kBakeShade: {
          const uint8_t shade = clampByte(fade(255.0f, 255.0f * facing(in), s));
          out[0] = out[1] = out[2] = shade;
          break;
        }
        case kBakeBlend:
          for (int c = 0; c < 3; ++c) out[c] = in[c];
          out[3] = clampByte(s * mask);
          break;
        case kBakeAdd:
          for (int c = 0; c < 3; ++c) out[c] = clampByte(in[c] * s * mask / 255.0f);
          out[3] = 255;
          break;
        default:  // kBakeDecal
          for (int c = 0; c < 3; ++c) out[c] = in[c];
          break;
      }
    }
  }
}
