// A layer's images on its surface: each drawable image takes one texture
// unit, in image number order, and combines over the lit colour of the
// units before it (the first over the layer's own lit colour):
//   decal      the picture, unlit, over the colour: strength 1 shows only
//              the picture, 0.5 half of each;
//   smooth     the colour (lit) times the picture faded from white by the
//              strength;
//   displace   the colour made lighter where the picture is light and
//              darker where it is dark (mid grey changes nothing), by the
//              strength;
//   normal map the colour darkened where the map's normals (blue up) lean
//              away from the surface's, by the strength;
//   reflect    the picture as a sphere map (it follows the view) over the
//              colour, by the strength;
//   additive   the sphere map times the strength added to the colour;
//   cube map   the six pictures as the world around the model, reflected
//              by the surface (right +x, left -x, back +y, front -y,
//              top +z, bottom -z), over the colour by the strength.
// Decal, smooth, displace and normal maps follow the image's uvees (its
// own or the automatic ones along its x and y axes). The mirrored half of
// a mirroring layer shows an image's mirror texture where it has one.
// The alpha mode cuts the surface: texels of the invisible colour, or
// where the alpha texture is dark, are not drawn (in reflections they only
// hide the reflection). Display switches: textures off draws no image,
// reflect off leaves out reflect, additive and cube maps, lod n draws
// every picture n - 1 mipmap levels coarser. Units past the GL's limit
// are left out.
#pragma once

#include <GL/glew.h>

#include <cstdint>
#include <vector>

#include "model/records.h"
#include "view/display_flags.h"
#include "view/layer_cache.h"
#include "view/textures.h"

struct LayerProgram;

// Floats on the GL side: a buffer object, or host memory when buffer
// objects are missing or out of memory.
struct FloatRun {
  GLuint buffer = 0;
  std::vector<float> host;
};

// Texture coordinates of one image of a layer, one pair per triangle
// vertex: built when an image first needs them and again only when the
// layer or the model's points change.
struct CoordRun {
  int32_t image = 0;  // image number
  FloatRun run;
};

struct LayerImageRuns {
  uint32_t layerRevision = 0;
  uint32_t modelRevision = 0;
  std::vector<CoordRun> coords;
  // Tangent and binormal per triangle vertex, for a shader program; made
  // again whenever the layer's vertices are.
  FloatRun tangents;
  bool tangentsValid = false;
};

struct ImageDraw {
  TextureCache* textures;
  std::vector<GLuint>* doomed;  // buffers deleted in the next frame
  const DisplayFlags* flags;
  const float* scene;  // the camera's matrix, column order
  bool mirrorHalf;
  bool posed;  // the vertices are posed copies of the points
  // Where the layer's polygons lie in its triangle vertices, and how many
  // there are: texture coordinates are written straight into their buffer.
  const std::vector<PolygonPlace>* places;
  int32_t vertices;
};

// Binds the layer's images to texture units and combiners for the next
// draw of its triangles; the number of units used (0: draw it plain).
// *fromEye tells whether one looks up by the direction from the eye
// (reflections): see eyeAtOrigin.
int32_t bindLayerImages(const ImageDraw& draw, const Model* model,
                        Layer* layer, LayerImageRuns* runs, bool* fromEye);
// Back to untextured drawing.
void unbindLayerImages(int32_t units);

// Reflections take the eye at the origin of eye space, but the camera
// keeps its eye distance and pan in the projection (and a parallel view
// has its eye at infinity). `shift` is where the eye is in eye space (far
// along +z for a parallel projection, `far` away): drawing with the
// model-view moved by -shift and the projection by +shift draws the same
// picture with the eye where reflections look from.
void eyeAtOrigin(const float projection[16], float far, float shift[3]);

// True when an image would cut the layer's surface (alpha modes colour or
// image on a drawn surface image), so that it is drawn see-through.
bool layerImagesCut(const Layer* layer, const DisplayFlags* flags);

// Feeds the program's "tangent" and "binormal" attributes for the layer's
// triangles (posed `positions`, or null), building them when due; the
// unbind turns the attribute arrays off again.
void bindTangents(const LayerProgram& program, const Model* model,
                  Layer* layer, const float* positions, LayerImageRuns* runs,
                  std::vector<GLuint>* doomed);
void unbindTangents(const LayerProgram& program);

// Hands the runs' buffers to `doomed`; the tangents alone, or all.
void dropTangents(LayerImageRuns* runs, std::vector<GLuint>* doomed);
void dropImageRuns(LayerImageRuns* runs, std::vector<GLuint>* doomed);
