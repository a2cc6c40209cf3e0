// The view's textures: one GL texture per image slot (main or mirror),
// uploaded the first time the slot is drawn and again only when its pixels
// or the image settings baked into it change. A slot carries the view's
// mark (TextureSlot::glName, a number the cache hands out, not a GL name);
// the document zeroes it when it frees the pixels, so a slot never meets
// the texture of pixels it no longer has. Textures whose slots are gone
// are deleted at the start of the next frame, in the view's context.
#pragma once

#include <GL/glew.h>

#include <cstdint>
#include <vector>

#include "model/records.h"

struct TextureCache;

TextureCache* newTextureCache();  // null when memory runs out
void freeTextureCache(TextureCache* cache);
// The context went away with its textures: forget them without OpenGL.
void forgetTextures(TextureCache* cache);

// At the start of a frame, with the context current: deletes the textures
// whose slots no model of the scene (children included) holds any more.
void sweepTextures(TextureCache* cache, const std::vector<Model*>& models);

// The texture to draw `slot` of `image` with, made by `bake` (TextureBake)
// and the image's strength and alpha mode (the alpha texture from
// image->alpha); a cube map for an image of mode 7 with its faces. 0 when
// the slot holds no pixels or the GL cannot take them. `cube` says which
// target it is.
GLuint imageTexture(TextureCache* cache, TextureSlot* slot, Image* image,
                    int32_t bake, bool* cube);

// Textures uploaded since the cache was made (a cube map counts once).
uint64_t textureUploads(const TextureCache* cache);
// The fixed-function texture units there are to combine images in; 0
// without OpenGL 1.3 (no combiners, no cube maps).
int32_t textureUnits(TextureCache* cache);
