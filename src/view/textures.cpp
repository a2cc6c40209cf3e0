#include "view/textures.h"

#include <GL/glu.h>

#include <cstring>
#include <new>
#include <unordered_map>

#include "view/texture_bake.h"

namespace {

constexpr int kMaxChildDepth = 64;

// What a texture was made from: the slot's pixels and the image settings
// baked into it. A change of any of them makes it again.
struct TextureSource {
  const unsigned char* pixels[kCubeFaces] = {};  // [0] alone for 2D
  int32_t width[kCubeFaces] = {}, height[kCubeFaces] = {};
  int32_t bake = -1;
  float strength = 0.0f;
  int32_t alphaMode = 0;
  uint8_t invisible[3] = {0, 0, 0};
  const unsigned char* alpha = nullptr;
  uint32_t alphaMark = 0;
  bool cube = false;
  bool tiles = false;  // wraps round (explicit uvees may run past 0..1)

  bool operator==(const TextureSource& o) const {
    return std::memcmp(pixels, o.pixels, sizeof pixels) == 0 &&
           std::memcmp(width, o.width, sizeof width) == 0 &&
           std::memcmp(height, o.height, sizeof height) == 0 &&
           bake == o.bake && strength == o.strength &&
           alphaMode == o.alphaMode &&
           std::memcmp(invisible, o.invisible, sizeof invisible) == 0 &&
           alpha == o.alpha && alphaMark == o.alphaMark && cube == o.cube &&
           tiles == o.tiles;
  }
};

struct CachedTexture {
  GLuint name = 0;
  bool usable = false;
  TextureSource source;
  uint32_t seen = 0;
};

}  // namespace

struct TextureCache {
  std::unordered_map<uint32_t, CachedTexture> byMark;
  uint32_t lastMark = 0;
  uint32_t sweep = 0;
  uint64_t uploads = 0;
  int32_t units = -1;  // not asked yet
  std::vector<unsigned char> baked, scaled;
};

namespace {

uint32_t newMark(TextureCache* cache) {
  if (++cache->lastMark == 0) cache->lastMark = 1;
  return cache->lastMark;
}

void markSlot(TextureCache* cache, const TextureSlot* slot) {
  if (slot->glName == 0) return;
  auto found = cache->byMark.find(slot->glName);
  if (found != cache->byMark.end()) found->second.seen = cache->sweep;
}

void markModel(TextureCache* cache, const Model* model, int depth) {
  if (model == nullptr || depth > kMaxChildDepth) return;
  tableForEach<Layer>(&model->layers, [&](const Layer* layer, int32_t) {
    tableForEach<Image>(&layer->images, [&](const Image* image, int32_t) {
      markSlot(cache, &image->main);
      markSlot(cache, &image->mirror);
    });
  });
  tableForEach<Child>(&model->children, [&](const Child* child, int32_t) {
    markModel(cache, child->model, depth + 1);
  });
}

bool powerOfTwo(int32_t v) { return v > 0 && (v & (v - 1)) == 0; }

int32_t nextPowerOfTwo(int32_t v) {
  int32_t p = 1;
  while (p < v && p < (1 << 30)) p <<= 1;
  return p;
}

// The size the GL takes for w x h: within its limit and, without
// non-power-of-two support, a power of two each way.
void fittedSize(int32_t limit, int32_t* w, int32_t* h) {
  const bool anySize = GLEW_VERSION_2_0 || GLEW_ARB_texture_non_power_of_two;
  if (!anySize) {
    *w = nextPowerOfTwo(*w);
    *h = nextPowerOfTwo(*h);
  }
  while (*w > limit || *h > limit) {
    *w = *w > 1 ? *w / 2 : 1;
    *h = *h > 1 ? *h / 2 : 1;
  }
  if (!anySize && (!powerOfTwo(*w) || !powerOfTwo(*h))) {
    *w = nextPowerOfTwo(*w);
    *h = nextPowerOfTwo(*h);
  }
}

// Bakes one picture and hands it to `target` at its fitted size.
bool uploadPicture(TextureCache* cache, GLenum target, GLint limit,
                   const unsigned char* rgb, int32_t w, int32_t h,
                   const BakeSettings& bake, int32_t toW, int32_t toH) {
  const size_t bytes = static_cast<size_t>(w) * h * 4;
  cache->baked.resize(bytes);
  bakeTexture(rgb, w, h, bake, cache->baked.data());
  int32_t fw = toW, fh = toH;
  fittedSize(limit, &fw, &fh);
  const unsigned char* data = cache->baked.data();
  if (fw != w || fh != h) {
    cache->scaled.resize(static_cast<size_t>(fw) * fh * 4);
    if (gluScaleImage(GL_RGBA, w, h, GL_UNSIGNED_BYTE, data, fw, fh,
                      GL_UNSIGNED_BYTE, cache->scaled.data()) != 0)
      return false;
    data = cache->scaled.data();
  }
  glTexImage2D(target, 0, GL_RGBA8, fw, fh, 0, GL_RGBA, GL_UNSIGNED_BYTE, data);
  // Big pictures are not worth keeping the scratch for.
  if (bytes > (1u << 22)) {
    cache->baked = std::vector<unsigned char>();
    cache->scaled = std::vector<unsigned char>();
  }
  return true;
}

bool upload(TextureCache* cache, CachedTexture* t, const Image* image) {
  const TextureSource& src = t->source;
  BakeSettings bake = {};
  bake.bake = src.bake;
  bake.strength = src.strength;
  bake.alphaMode = src.alphaMode;
  std::memcpy(bake.invisible, src.invisible, sizeof bake.invisible);
  if (src.alphaMode == kExtraAlphaTexture && image->alpha.loaded) {
    bake.alpha = image->alpha.pixels;
    bake.alphaWidth = image->alpha.width;
    bake.alphaHeight = image->alpha.height;
  }
  for (int i = 0; i < 8 && glGetError() != GL_NO_ERROR; ++i) {
  }
  const GLenum target = src.cube ? GL_TEXTURE_CUBE_MAP : GL_TEXTURE_2D;
  if (t->name == 0) glGenTextures(1, &t->name);
  glBindTexture(target, t->name);
  const bool mipmaps = glGenerateMipmap != nullptr;
  if (!mipmaps && GLEW_VERSION_1_4)
    glTexParameteri(target, GL_GENERATE_MIPMAP, GL_TRUE);
  const bool mipmapped = mipmaps || GLEW_VERSION_1_4;
  glTexParameteri(target, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
  glTexParameteri(target, GL_TEXTURE_MIN_FILTER,
                  mipmapped ? GL_LINEAR_MIPMAP_LINEAR : GL_LINEAR);
  bool ok = true;
  if (src.cube) {
    GLint limit = 0;
    glGetIntegerv(GL_MAX_CUBE_MAP_TEXTURE_SIZE, &limit);
    // Every face the size of the first, square.
    const int32_t side = src.width[0] > src.height[0] ? src.width[0] : src.height[0];
    for (int f = 0; f < kCubeFaces && ok; ++f) {
      // Files right, left, back, front, top, bottom; the model's z is up.
      static const GLenum kFaces[kCubeFaces] = {
          GL_TEXTURE_CUBE_MAP_POSITIVE_X, GL_TEXTURE_CUBE_MAP_NEGATIVE_X,
          GL_TEXTURE_CUBE_MAP_POSITIVE_Y, GL_TEXTURE_CUBE_MAP_NEGATIVE_Y,
          GL_TEXTURE_CUBE_MAP_POSITIVE_Z, GL_TEXTURE_CUBE_MAP_NEGATIVE_Z};
      ok = uploadPicture(cache, kFaces[f], limit, src.pixels[f], src.width[f],
                         src.height[f], bake, side, side);
    }
    glTexParameteri(target, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(target, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glTexParameteri(target, GL_TEXTURE_WRAP_R, GL_CLAMP_TO_EDGE);
  } else {
    GLint limit = 0;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &limit);
    ok = uploadPicture(cache, target, limit, src.pixels[0], src.width[0],
                       src.height[0], bake, src.width[0], src.height[0]);
    // Explicit uvees beyond 0..1 tile the picture; otherwise an edge must
    // not take colour from the opposite one.
    const GLint wrap = src.tiles ? GL_REPEAT : GL_CLAMP_TO_EDGE;
    glTexParameteri(target, GL_TEXTURE_WRAP_S, wrap);
    glTexParameteri(target, GL_TEXTURE_WRAP_T, wrap);
  }
  if (ok && mipmaps) glGenerateMipmap(target);
  glBindTexture(target, 0);
  ++cache->uploads;
  return ok && glGetError() == GL_NO_ERROR;
}

// What the slot would make now; false when it holds nothing to draw.
bool sourceOf(const TextureSlot* slot, Image* image, int32_t bake,
              TextureSource* out) {
  if (!slot->loaded) return false;
  out->cube = image->mode == kImageCubeMap && slot->faces[0] != nullptr;
  if (out->cube) {
    for (int f = 0; f < kCubeFaces; ++f) {
      if (slot->faces[f] == nullptr || slot->faceWidth[f] <= 0 ||
          slot->faceHeight[f] <= 0)
        return false;
      out->pixels[f] = slot->faces[f];
      out->width[f] = slot->faceWidth[f];
      out->height[f] = slot->faceHeight[f];
    }
  } else {
    if (slot->pixels == nullptr || slot->width <= 0 || slot->height <= 0)
      return false;
    out->pixels[0] = slot->pixels;
    out->width[0] = slot->width;
    out->height[0] = slot->height;
  }
  out->bake = bake;
  out->tiles = image->hasUvees != 0 && bake != kBakeBlend && bake != kBakeAdd;
  out->strength = image->strength;
  out->alphaMode = image->extraKind;
  if (image->extraKind == kExtraInvisibleColour)
    invisibleBytes(image->invisible, out->invisible);
  if (image->extraKind == kExtraAlphaTexture && image->alpha.loaded) {
    out->alpha = image->alpha.pixels;
    out->alphaMark = image->alpha.glName;
  }
  return true;
}

}  // namespace

TextureCache* newTextureCache() { return new (std::nothrow) TextureCache; }

void freeTextureCache(TextureCache* cache) { delete cache; }

void forgetTextures(TextureCache* cache) {
  if (cache == nullptr) return;
  cache->byMark.clear();
  cache->units = -1;
}

void sweepTextures(TextureCache* cache, const std::vector<Model*>& models) {
  if (cache == nullptr || cache->byMark.empty()) return;
  ++cache->sweep;
  for (const Model* model : models) markModel(cache, model, 0);
  std::vector<GLuint> doomed;
  for (auto it = cache->byMark.begin(); it != cache->byMark.end();) {
    if (it->second.seen == cache->sweep) {
      ++it;
      continue;
    }
    if (it->second.name != 0) doomed.push_back(it->second.name);
    it = cache->byMark.erase(it);
  }
  if (!doomed.empty())
    glDeleteTextures(static_cast<GLsizei>(doomed.size()), doomed.data());
}

GLuint imageTexture(TextureCache* cache, TextureSlot* slot, Image* image,
                    int32_t bake, bool* cube) {
  *cube = false;
  if (cache == nullptr || textureUnits(cache) == 0) return 0;
  TextureSource source;
  // The alpha texture is told apart by its own mark.
  if (image->extraKind == kExtraAlphaTexture && image->alpha.loaded &&
      image->alpha.glName == 0)
    image->alpha.glName = newMark(cache);
  if (!sourceOf(slot, image, bake, &source)) return 0;
  if (slot->glName == 0) slot->glName = newMark(cache);
  CachedTexture& t = cache->byMark[slot->glName];
  t.seen = cache->sweep;
  if (t.name == 0 || !(t.source == source)) {
    t.source = source;
    t.usable = upload(cache, &t, image);
  }
  *cube = source.cube;
  return t.usable ? t.name : 0;
}

uint64_t textureUploads(const TextureCache* cache) {
  return cache != nullptr ? cache->uploads : 0;
}

int32_t textureUnits(TextureCache* cache) {
  if (cache->units >= 0) return cache->units;
  GLint units = 0;
  if (GLEW_VERSION_1_3) glGetIntegerv(GL_MAX_TEXTURE_UNITS, &units);
  cache->units = units > 0 ? units : 0;
  return cache->units;
}
