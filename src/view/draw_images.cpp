#include "view/draw_images.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "model/geometry.h"
#include "view/layer_uvs.h"
#include "view/model_displays.h"
#include "view/shaders.h"
#include "view/texture_bake.h"

namespace {

constexpr float kMaxLodBias = 15.0f;

enum Lookup { kByUvees, kBySphere, kByCube };

struct ImageRole {
  int32_t bake;  // TextureBake
  Lookup lookup;
};

// How an image of this mode is drawn; false for modes that draw nothing
// (0, and the selectors 5 and 6) and for reflections the switches leave
// out.
bool roleOf(const Image* image, const DisplayFlags* flags, ImageRole* role) {
  switch (image->mode) {
    case kImageDecal: *role = {kBakeDecal, kByUvees}; return true;
    case kImageSmooth: *role = {kBakeModulate, kByUvees}; return true;
    case kImageDisplace: *role = {kBakeShift, kByUvees}; return true;
    case kImageNormalMap: *role = {kBakeShade, kByUvees}; return true;
    case kImageReflect: *role = {kBakeBlend, kBySphere}; return flags->reflect != 0;
    case kImageAdditive: *role = {kBakeAdd, kBySphere}; return flags->reflect != 0;
    case kImageCubeMap:
      *role = {kBakeBlend, kByCube};
      return flags->reflect != 0 && flags->cubeMapReflection != 0;
    default: return false;
  }
}

// The images in number order.
std::vector<std::pair<int32_t, Image*>> imagesOf(Layer* layer) {
  std::vector<std::pair<int32_t, Image*>> images;
  KeyedTable* table = &layer->images;
  for (int32_t s = tableNextSlot(table, -1); s >= 0; s = tableNextSlot(table, s))
    images.emplace_back(tableIntKeyAt(table, s), tableAt<Image>(table, s));
  std::sort(images.begin(), images.end(),
            [](const auto& a, const auto& b) { return a.first < b.first; });
  return images;
}

// Moves `data` to the GL side when buffer objects take it.
void uploadFloats(std::vector<float>&& data, FloatRun* run,
                  std::vector<GLuint>* doomed) {
  run->host = std::move(data);
  if (!haveBuffers() || run->host.empty()) return;
  for (int i = 0; i < 8 && glGetError() != GL_NO_ERROR; ++i) {
  }
  glGenBuffers(1, &run->buffer);
  glBindBuffer(GL_ARRAY_BUFFER, run->buffer);
  glBufferData(GL_ARRAY_BUFFER,
               static_cast<GLsizeiptr>(run->host.size() * sizeof(float)),
               run->host.data(), GL_STATIC_DRAW);
  glBindBuffer(GL_ARRAY_BUFFER, 0);
  if (glGetError() == GL_NO_ERROR) {
    run->host = std::vector<float>();
  } else {
    doomed->push_back(run->buffer);
    run->buffer = 0;
  }
}

bool empty(const FloatRun& run) { return run.buffer == 0 && run.host.empty(); }

// Binds the run's buffer (or none) and gives the pointer to hand the GL.
const void* floatsAt(const FloatRun& run, size_t floats) {
  if (haveBuffers()) glBindBuffer(GL_ARRAY_BUFFER, run.buffer);
  if (run.buffer != 0) return reinterpret_cast<const void*>(floats * sizeof(float));
  return run.host.data() + floats;
}

void dropRun(FloatRun* run, std::vector<GLuint>* doomed) {
  if (run->buffer != 0) doomed->push_back(run->buffer);
  run->buffer = 0;
  run->host = std::vector<float>();
}

const FloatRun* coordsFor(const ImageDraw& draw, const Model* model,
                          const Layer* layer, int32_t number,
                          const Image* image, LayerImageRuns* runs) {
  std::vector<GLuint>* doomed = draw.doomed;
  if (runs->layerRevision != layer->revision ||
      runs->modelRevision != model->revision) {
    for (CoordRun& coords : runs->coords) dropRun(&coords.run, doomed);
    runs->coords.clear();
    runs->layerRevision = layer->revision;
    runs->modelRevision = model->revision;
  }
  for (const CoordRun& coords : runs->coords)
    if (coords.image == number) return &coords.run;
  CoordRun coords;
  coords.image = number;
  const size_t floats = 2 * static_cast<size_t>(draw.vertices);
  if (draw.places == nullptr ||
      !writeMappedBuffer(&coords.run.buffer, floats * sizeof(float),
                         [&](void* to) {
                           writeLayerTexCoords(model, layer, image, *draw.places,
                                               static_cast<float*>(to));
                         },
                         doomed)) {
    std::vector<float> data;
    buildLayerTexCoords(model, layer, image, &data);
    uploadFloats(std::move(data), &coords.run, doomed);
  }
  runs->coords.push_back(std::move(coords));
  return &runs->coords.back().run;
}

void combine(GLenum rgb, GLenum alpha) {
  glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_COMBINE);
  glTexEnvi(GL_TEXTURE_ENV, GL_COMBINE_RGB, rgb);
  glTexEnvi(GL_TEXTURE_ENV, GL_COMBINE_ALPHA, alpha);
  glTexEnvi(GL_TEXTURE_ENV, GL_SRC0_RGB, GL_TEXTURE);
  glTexEnvi(GL_TEXTURE_ENV, GL_OPERAND0_RGB, GL_SRC_COLOR);
  glTexEnvi(GL_TEXTURE_ENV, GL_SRC1_RGB, GL_PREVIOUS);
  glTexEnvi(GL_TEXTURE_ENV, GL_OPERAND1_RGB, GL_SRC_COLOR);
  // Alpha: the texture's times what came before, or what came before.
  glTexEnvi(GL_TEXTURE_ENV, GL_SRC0_ALPHA,
            alpha == GL_REPLACE ? GL_PREVIOUS : GL_TEXTURE);
  glTexEnvi(GL_TEXTURE_ENV, GL_OPERAND0_ALPHA, GL_SRC_ALPHA);
  glTexEnvi(GL_TEXTURE_ENV, GL_SRC1_ALPHA, GL_PREVIOUS);
  glTexEnvi(GL_TEXTURE_ENV, GL_OPERAND1_ALPHA, GL_SRC_ALPHA);
}

// The interpolation weight: the strength (decal) or the texel's alpha.
void interpolateBy(GLenum source, float strength) {
  glTexEnvi(GL_TEXTURE_ENV, GL_SRC2_RGB, source);
  glTexEnvi(GL_TEXTURE_ENV, GL_OPERAND2_RGB, GL_SRC_ALPHA);
  float s = strength > 0.0f ? (strength < 1.0f ? strength : 1.0f) : 0.0f;
  const GLfloat constant[4] = {0.0f, 0.0f, 0.0f, s};
  glTexEnvfv(GL_TEXTURE_ENV, GL_TEXTURE_ENV_COLOR, constant);
}

void setCombiner(int32_t bake, float strength) {
  switch (bake) {
    case kBakeDecal:
      combine(GL_INTERPOLATE, GL_MODULATE);
      interpolateBy(GL_CONSTANT, strength);
      break;
    case kBakeShift: combine(GL_ADD_SIGNED, GL_MODULATE); break;
    case kBakeBlend:
      combine(GL_INTERPOLATE, GL_REPLACE);
      interpolateBy(GL_TEXTURE, 1.0f);
      break;
    case kBakeAdd: combine(GL_ADD, GL_REPLACE); break;
    default: combine(GL_MODULATE, GL_MODULATE); break;  // modulate, shade
  }
}

void generate(GLenum mode, bool r) {
  glTexGeni(GL_S, GL_TEXTURE_GEN_MODE, mode);
  glTexGeni(GL_T, GL_TEXTURE_GEN_MODE, mode);
  glEnable(GL_TEXTURE_GEN_S);
  glEnable(GL_TEXTURE_GEN_T);
  if (!r) return;
  glTexGeni(GL_R, GL_TEXTURE_GEN_MODE, mode);
  glEnable(GL_TEXTURE_GEN_R);
}

// Reflection vectors come in eye space; the cube is the model's world, so
// they are turned back by the camera's rotation (its transpose).
void cubeLookupInScene(const float* scene) {
  float m[16] = {0};
  for (int c = 0; c < 3; ++c)
    for (int r = 0; r < 3; ++r) m[c * 4 + r] = scene[r * 4 + c];
  m[15] = 1.0f;
  glMatrixMode(GL_TEXTURE);
  glLoadMatrixf(m);
  glMatrixMode(GL_MODELVIEW);
}

// Automatic uvees follow the stored points linearly, so the GL makes them
// from the vertices themselves: no array of coordinates to build, fill and
// keep. Not for a posed model, whose vertices have left the points the
// uvees were taken from.
bool uveesArePlanes(const ImageDraw& draw, const Layer* layer, const Image* image,
                    float planes[2][4]) {
  return !draw.posed && !image->hasUvees &&
         automaticUveePlane(image->axisU, layer->bounds, planes[0]) &&
         automaticUveePlane(image->axisV, layer->bounds, planes[1]);
}

bool cutsSurface(const Image* image) {
  return image->extraKind == kExtraInvisibleColour ||
         (image->extraKind == kExtraAlphaTexture && image->alpha.loaded);
}

}  // namespace

int32_t bindLayerImages(const ImageDraw& draw, const Model* model,
                        Layer* layer, LayerImageRuns* runs, bool* fromEye) {
  *fromEye = false;
  const DisplayFlags* flags = draw.flags;
  if (!flags->textures || tableCount(&layer->images) == 0) return 0;
  const int32_t limit = textureUnits(draw.textures);
  float bias = static_cast<float>(flags->lod - 1);
  bias = bias > 0.0f ? (bias < kMaxLodBias ? bias : kMaxLodBias) : 0.0f;
  int32_t units = 0;
  for (const auto& numbered : imagesOf(layer)) {
    if (units >= limit) break;
    Image* image = numbered.second;
    ImageRole role;
    if (!roleOf(image, flags, &role)) continue;
    TextureSlot* slot = &image->main;
    if (draw.mirrorHalf && image->mirrorFlag && image->mirror.loaded)
      slot = &image->mirror;
    bool cube = false;
    const GLuint texture = imageTexture(draw.textures, slot, image, role.bake, &cube);
    if (texture == 0) continue;  // no pixels: the surface stays plain
    if (role.lookup == kByCube && !cube) continue;
    const FloatRun* coords = nullptr;
    float planes[2][4];
    const bool planar = role.lookup == kByUvees && uveesArePlanes(draw, layer, image, planes);
    if (role.lookup == kByUvees && !planar) {
      coords = coordsFor(draw, model, layer, numbered.first, image, runs);
      if (empty(*coords)) continue;
    }
    const GLenum target = cube ? GL_TEXTURE_CUBE_MAP : GL_TEXTURE_2D;
    glActiveTexture(GL_TEXTURE0 + units);
    glClientActiveTexture(GL_TEXTURE0 + units);
    glEnable(target);
    glBindTexture(target, texture);
    setCombiner(role.bake, image->strength);
    if (GLEW_VERSION_1_4)
      glTexEnvf(GL_TEXTURE_FILTER_CONTROL, GL_TEXTURE_LOD_BIAS, bias);
    if (planar) {
      generate(GL_OBJECT_LINEAR, false);
      glTexGenfv(GL_S, GL_OBJECT_PLANE, planes[0]);
      glTexGenfv(GL_T, GL_OBJECT_PLANE, planes[1]);
    } else if (coords != nullptr) {
      glTexCoordPointer(2, GL_FLOAT, 0, floatsAt(*coords, 0));
      glEnableClientState(GL_TEXTURE_COORD_ARRAY);
    } else if (role.lookup == kBySphere) {
      generate(GL_SPHERE_MAP, false);
      *fromEye = true;
    } else {
      generate(GL_REFLECTION_MAP, true);
      cubeLookupInScene(draw.scene);
      *fromEye = true;
    }
    ++units;
  }
  if (haveBuffers()) glBindBuffer(GL_ARRAY_BUFFER, 0);
  glActiveTexture(GL_TEXTURE0);
  glClientActiveTexture(GL_TEXTURE0);
  return units;
}

void unbindLayerImages(int32_t units) {
  for (int32_t u = units - 1; u >= 0; --u) {
    glActiveTexture(GL_TEXTURE0 + u);
    glClientActiveTexture(GL_TEXTURE0 + u);
    glDisableClientState(GL_TEXTURE_COORD_ARRAY);
    glDisable(GL_TEXTURE_GEN_S);
    glDisable(GL_TEXTURE_GEN_T);
    glDisable(GL_TEXTURE_GEN_R);
    glMatrixMode(GL_TEXTURE);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    if (GLEW_VERSION_1_4)
      glTexEnvf(GL_TEXTURE_FILTER_CONTROL, GL_TEXTURE_LOD_BIAS, 0.0f);
    glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE);
    glBindTexture(GL_TEXTURE_CUBE_MAP, 0);
    glBindTexture(GL_TEXTURE_2D, 0);
    glDisable(GL_TEXTURE_CUBE_MAP);
    glDisable(GL_TEXTURE_2D);
  }
}

void eyeAtOrigin(const float p[16], float far, float shift[3]) {
  // The eye is the point the projection sends to x = y = w = 0: rows 0, 1
  // and 3 of p applied to (x, y, z, 1) vanish. None: a parallel view.
  const int rows[3] = {0, 1, 3};
  double a[3][3], b[3];
  for (int i = 0; i < 3; ++i) {
    for (int c = 0; c < 3; ++c) a[i][c] = p[c * 4 + rows[i]];
    b[i] = -p[12 + rows[i]];
  }
  auto det3 = [](const double m[3][3]) {
    return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
           m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
           m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
  };
  const double det = det3(a);
  if (std::fabs(det) < 1e-12) {
    shift[0] = shift[1] = 0.0f;
    shift[2] = far;
    return;
  }
  for (int c = 0; c < 3; ++c) {
    double m[3][3];
    for (int i = 0; i < 3; ++i)
      for (int k = 0; k < 3; ++k) m[i][k] = k == c ? b[i] : a[i][k];
    shift[c] = static_cast<float>(det3(m) / det);
  }
}

bool layerImagesCut(const Layer* layer, const DisplayFlags* flags) {
  if (!flags->textures) return false;
  bool cut = false;
  tableForEach<Image>(&layer->images, [&](const Image* image, int32_t) {
    ImageRole role;
    if (cut || !roleOf(image, flags, &role) || role.lookup != kByUvees) return;
    cut = image->main.loaded && cutsSurface(image);
  });
  return cut;
}

void bindTangents(const LayerProgram& program, const Model* model,
                  Layer* layer, const float* positions, LayerImageRuns* runs,
                  std::vector<GLuint>* doomed) {
  if (program.tangent < 0 && program.binormal < 0) return;
  if (!runs->tangentsValid) {
    dropRun(&runs->tangents, doomed);
    // The frame follows the first image laid on by uvees.
    std::vector<float> coords;
    for (const auto& numbered : imagesOf(layer)) {
      const int32_t mode = numbered.second->mode;
      if (mode == kImageDecal || mode == kImageSmooth ||
          mode == kImageDisplace || mode == kImageNormalMap) {
        buildLayerTexCoords(model, layer, numbered.second, &coords);
        break;
      }
    }
    std::vector<float> frames;
    buildLayerTangents(model, layer, positions, coords, &frames);
    uploadFloats(std::move(frames), &runs->tangents, doomed);
    runs->tangentsValid = true;
  }
  if (empty(runs->tangents)) return;
  const GLsizei stride = 6 * sizeof(float);
  if (program.tangent >= 0) {
    glVertexAttribPointer(static_cast<GLuint>(program.tangent), 3, GL_FLOAT,
                          GL_FALSE, stride, floatsAt(runs->tangents, 0));
    glEnableVertexAttribArray(static_cast<GLuint>(program.tangent));
  }
  if (program.binormal >= 0) {
    glVertexAttribPointer(static_cast<GLuint>(program.binormal), 3, GL_FLOAT,
                          GL_FALSE, stride, floatsAt(runs->tangents, 3));
    glEnableVertexAttribArray(static_cast<GLuint>(program.binormal));
  }
  if (haveBuffers()) glBindBuffer(GL_ARRAY_BUFFER, 0);
}

void unbindTangents(const LayerProgram& program) {
  if (program.tangent >= 0)
    glDisableVertexAttribArray(static_cast<GLuint>(program.tangent));
  if (program.binormal >= 0)
    glDisableVertexAttribArray(static_cast<GLuint>(program.binormal));
}

void dropTangents(LayerImageRuns* runs, std::vector<GLuint>* doomed) {
  dropRun(&runs->tangents, doomed);
  runs->tangentsValid = false;
}

void dropImageRuns(LayerImageRuns* runs, std::vector<GLuint>* doomed) {
  for (CoordRun& coords : runs->coords) dropRun(&coords.run, doomed);
  runs->coords.clear();
  dropTangents(runs, doomed);
}
