// Each layer's vertex data lives in buffer objects, keyed by the layer's
// revision, the model's revision (and pose, when the pose switch is on) and
// the switches that shape it; a frame of an unchanged model only binds and
// draws. Caches are found by model id (never reused) and layer slot, never
// through pointers into the document, so a freed model can at worst leave
// an unused entry, not a dangling one.
#include "view/draw_model.h"

#include <GL/glew.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <unordered_map>
#include <vector>

#include "model/geometry.h"
#include "view/draw_collides.h"
#include "view/draw_images.h"
#include "view/layer_cache.h"
#include "view/layer_uvs.h"
#include "view/model_displays.h"
#include "view/shaders.h"
#include "view/textures.h"

namespace {

constexpr int kMaxChildDepth = 64;
constexpr float kMarkerSize = 4.0f;
constexpr float kJointMarkerSize = 8.0f;
constexpr float kNormalLengthShare = 0.05f;  // of the model's largest extent
constexpr size_t kKeptScratchVertices = 1 << 18;
// How far a parallel view's eye is put for reflections, in scene extents:
// far enough that every ray from it is all but parallel.
constexpr float kReflectionEyeExtents = 64.0f;

struct DrawContext {
  ModelDisplays* store;
  const Model* model;       // the model being drawn
  const float* positions;   // its posed points, or null
  const RenderState* render;
  const DisplayFlags* flags;
  const ScenePlacements* placed;  // frames of simulated models, or null
  float scene[16];   // the model-view matrix of the scene, column order
  float projection[16];
  float matrix[16];  // the model-view matrix in force, column order
  bool flipped;      // an odd number of reflections: winding reversed
  // Drawing the wire over a selected child: edges only, in the selection
  // colour set before, unlit, without markers or blending.
  bool outline;
  int depth;
  int32_t primitives;
};

NormalMode normalModeOf(const DisplayFlags* flags) {
  if (flags->flat) return kNormalsFaceOnly;
  return flags->gouraud ? kNormalsStoredElseSmooth : kNormalsStoredElseFace;
}

float normalLengthOf(const Model* model, const DisplayFlags* flags) {
  if (!flags->normals) return 0.0f;
  float largest = 0.0f;
  for (int i = 0; i < 3; ++i) {
    const float extent = model->boundsMax[i] - model->boundsMin[i];
    if (extent > largest) largest = extent;
  }
  return largest > 0.0f ? largest * kNormalLengthShare : 1.0f;
}

// The selected polygons of a layer with images, to be drawn again over
// them untextured: an image must not hide the selection colour.
void keepSelectedTriangles(const Layer* layer,
                           const std::vector<DrawVertex>& triangles,
                           LayerDisplay* d) {
  std::vector<DrawVertex>& kept = d->selected.host;
  kept.clear();
  if (d->showsSelection && tableCount(&layer->images) > 0) {
    for (size_t i = 0; i + 2 < triangles.size(); i += 3)
      if (triangles[i].selected)
        kept.insert(kept.end(), triangles.begin() + i, triangles.begin() + i + 3);
  }
  if (kept.empty()) kept.shrink_to_fit();
  d->selected.count = static_cast<int32_t>(kept.size());
}

// Builds the layer into `scratch`, leaving its triangles to be written
// where the caller wants them when it can. For a big layer whose triangles
// will go straight into the GL's memory, a fresh buffer of their size is
// made and mapped while a second thread indexes the faces (the driver
// clears a new store before handing it out: tens of milliseconds at a
// million triangles); the mapping is returned for the caller to write and
// unmap. Else null.
void* buildBesideFreshBuffer(const Model* model, const Layer* layer,
                             const float* positions, NormalMode mode,
                             float normalLength, const uint8_t selection[3],
                             LayerVertices* scratch, ModelDisplays* store,
                             VertexRun* run, bool shared) {
  constexpr int32_t kWorthAThread = 1 << 16;
  if (shared || tableCount(&layer->triangles) < kWorthAThread) {
    buildLayerVertices(model, layer, positions, mode, normalLength, selection,
                       scratch, true);
    return nullptr;
  }
  void* to = nullptr;
  try {
    buildLayerVertices(model, layer, positions, mode, normalLength, selection,
                       scratch, true, [&](size_t vertices) {
                         if (vertices > 0)
                           to = mapFreshBuffer(&run->buffer, vertices * sizeof(DrawVertex));
                       });
  } catch (const std::bad_alloc&) {
    if (to != nullptr) unmapFreshBuffer(&run->buffer, true, &store->doomed);
    throw;
  }
  return to;
}

// Brings the layer's runs up to date; false when it cannot be drawn.
// Marking or unmarking a polygon or line touches its layer, so only a new
// selection colour is left to watch here.
bool refreshLayer(ModelDisplays* store, const Model* model, const Layer* layer,
                  const float* positions, const PointsKey& points,
                  NormalMode mode, float normalLength,
                  const uint8_t selection[3], LayerDisplay* d) {
  if (d->valid && d->revision == layer->revision &&
      d->normalMode == mode && d->normalLength == normalLength &&
      (!d->showsSelection || std::memcmp(d->selection, selection, 3) == 0) &&
      std::strcmp(d->name, layer->name) == 0 &&
      (d->points == points || patchLayer(store, model, layer, positions, points, d)))
    return true;
  d->valid = false;
  LayerVertices& scratch = store->scratch;
  // Smoothed corners share vertices unless images or shaders need every
  // corner's own (texture coordinates and tangents go by corner).
  const bool shared = tableCount(&layer->images) == 0 &&
                      tableCount(&layer->shaders) == 0 && haveBuffers();
  try {
    void* mapped =
        buildBesideFreshBuffer(model, layer, positions, mode, normalLength, selection,
                               &scratch, store, &d->triangles, shared);
    const size_t deferred = scratch.deferredTriangles;
    auto write = [&](DrawVertex* to) {
      writeDeferredTriangles(model, layer, selection, &scratch, to);
    };
    // Deferred vertices go into the GL's memory unless a copy is kept on
    // the host anyway: the selected polygons of a layer with images.
    const bool keep =
        deferred > 0 && scratch.selectedItems > 0 && tableCount(&layer->images) > 0;
    bool done = false;
    if (shared && deferred > 0) {
      writeSharedTriangles(model, layer, selection, scratch, &store->shared);
      done = uploadShared(store, &d->triangles, store->shared);
    }
    if (mapped != nullptr) {
      if (!keep) write(static_cast<DrawVertex*>(mapped));
      done = unmapFreshBuffer(&d->triangles.buffer, true, &store->doomed) && !keep;
      if (done) takeWritten(store, &d->triangles, deferred);
    }
    if (!done && deferred > 0 && !keep)
      done = uploadWritten(store, &d->triangles, deferred, write);
    if (!done) {
      if (deferred > 0) {
        scratch.triangles.resize(deferred);
        write(scratch.triangles.data());
      }
      upload(store, &d->triangles, scratch.triangles);
    }
    upload(store, &d->lines, scratch.lines);
    upload(store, &d->normals, scratch.normalLines);
  } catch (const std::bad_alloc&) {
    dropLayer(store, d);
    scratch = LayerVertices();
    reportOutOfMemory(store, layer->name);
    return false;
  }
  d->openLineVertices = scratch.openLineVertices;
  d->showsSelection = scratch.selectedItems > 0;
  dropTangents(&d->images, &store->doomed);
  keepSelectedTriangles(layer, scratch.triangles, d);
  d->places.swap(scratch.places);
  std::memcpy(d->selection, selection, sizeof d->selection);
  // A big layer's arrays are not worth keeping on the host once uploaded.
  if (scratch.triangles.capacity() > kKeptScratchVertices ||
      scratch.smooth.cornerSlots.capacity() > kKeptScratchVertices)
    scratch = LayerVertices();
  if (store->shared.indices.capacity() > kKeptScratchVertices)
    store->shared = SharedTriangles();
  std::memcpy(d->name, layer->name, sizeof d->name);
  d->revision = layer->revision;
  d->points = points;
  d->normalMode = mode;
  d->normalLength = normalLength;
  d->valid = true;
  return true;
}

// Blended: see-through colours, and images cutting the surface unless
// the alpha switch asks for sharp cut-outs.
bool translucent(const Layer* layer, const DisplayFlags* flags) {
  if (!flags->transparency) return false;
  return layer->transparent || layer->opacity < 1.0f ||
         (!flags->alpha && layerImagesCut(layer, flags));
}

int32_t mirrorAxisOf(const Layer* layer, const DisplayFlags* flags) {
  if (!layer->mirror || !flags->mirror) return 0;
  const int32_t axis = layer->mirrorAxis;
  if (axis >= kAxisX && axis <= kAxisZ) return axis;
  if (axis >= kAxisMinusX && axis <= kAxisMinusZ) return axis - 3;
  return 0;
}

void setWinding(bool flipped) { glFrontFace(flipped ? GL_CW : GL_CCW); }

void setLighting(const DisplayFlags* flags, bool lit) {
  if (lit && flags->lighting) {
    glEnable(GL_LIGHTING);
  } else {
    glDisable(GL_LIGHTING);
  }
}

// The columns of the upper 3x3 are unit vectors: normals keep their length.
bool keepsLength(const float m[16]) {
  for (int c = 0; c < 3; ++c) {
    const float l = m[c * 4] * m[c * 4] + m[c * 4 + 1] * m[c * 4 + 1] +
                    m[c * 4 + 2] * m[c * 4 + 2];
    if (std::fabs(l - 1.0f) > 1e-4f) return false;
  }
  return true;
}

void applyMatrix(const DrawContext& ctx) {
  glLoadMatrixf(ctx.matrix);
  if (ctx.flags->normalize || !keepsLength(ctx.matrix)) {
    glEnable(GL_NORMALIZE);
  } else {
    glDisable(GL_NORMALIZE);
  }
  setWinding(ctx.flipped);
}

void drawTriangles(const VertexRun& run, bool cull, bool blended,
                   bool outlines) {
  if (cull) {
    glEnable(GL_CULL_FACE);
    glCullFace(GL_BACK);
    drawRun(run, GL_TRIANGLES, 0, run.count, outlines);
  } else if (blended) {
    // Far sides first, so that the near ones blend over them.
    glEnable(GL_CULL_FACE);
    glCullFace(GL_FRONT);
    drawRun(run, GL_TRIANGLES, 0, run.count, outlines);
    glCullFace(GL_BACK);
    drawRun(run, GL_TRIANGLES, 0, run.count, outlines);
  } else {
    glDisable(GL_CULL_FACE);
    drawRun(run, GL_TRIANGLES, 0, run.count, outlines);
  }
}

// Reflections look from the origin of eye space: the eye moves there for
// the layer and the projection follows, so the picture stays.
void moveEyeToOrigin(const DrawContext& ctx) {
  float shift[3];
  eyeAtOrigin(ctx.projection, kReflectionEyeExtents * ctx.render->sceneExtent,
              shift);
  glMatrixMode(GL_PROJECTION);
  glPushMatrix();
  glTranslatef(shift[0], shift[1], shift[2]);
  glMatrixMode(GL_MODELVIEW);
  glPushMatrix();
  glLoadIdentity();
  glTranslatef(-shift[0], -shift[1], -shift[2]);
  glMultMatrixf(ctx.matrix);
}

void putEyeBack() {
  glMatrixMode(GL_PROJECTION);
  glPopMatrix();
  glMatrixMode(GL_MODELVIEW);
  glPopMatrix();
}

// The layer's program, its samplers and attributes bound; null for the
// fixed pipeline.
const LayerProgram* useProgram(LayerDisplay& d, Layer* layer,
                               DrawContext* ctx) {
  ModelDisplays* store = ctx->store;
  const LayerProgram* program =
      layerProgram(store->shaders, ctx->model->directory, layer, store->sink,
                   &store->failures);
  if (program == nullptr) return nullptr;
  glUseProgram(program->program);
  for (size_t unit = 0; unit < program->samplers.size(); ++unit)
    if (program->samplers[unit] >= 0)
      glUniform1i(program->samplers[unit], static_cast<GLint>(unit));
  bindTangents(*program, ctx->model, layer, ctx->positions, &d.images,
               &store->doomed);
  return program;
}

void drawLayerHalf(LayerDisplay& d, Layer* layer, DrawContext* ctx,
                   bool blended, bool mirrorHalf) {
  const DisplayFlags* flags = ctx->flags;
  const bool cull = layer->singleSided && !flags->backfaces;
  const bool outlines = flags->wireframe != 0 || ctx->outline;
  if (flags->triangles && d.triangles.count > 0) {
    setLighting(flags, !layer->lightingOff && !ctx->outline);
    glLightModeli(GL_LIGHT_MODEL_TWO_SIDE,
                  layer->singleSided ? GL_FALSE : GL_TRUE);
    int32_t units = 0;
    bool fromEye = false;
    const LayerProgram* program = nullptr;
    if (!outlines) {
      const ImageDraw images = {ctx->store->textures, &ctx->store->doomed,
                                flags,      ctx->scene,
                                mirrorHalf, ctx->positions != nullptr,
                                &d.places,  d.triangles.count};
      units = bindLayerImages(images, ctx->model, layer, &d.images, &fromEye);
      program = useProgram(d, layer, ctx);
    }
    if (fromEye) moveEyeToOrigin(*ctx);
    const bool cut = units > 0 && layerImagesCut(layer, flags);
    if (cut) {
      // Blended: whatever is not wholly see-through shows; otherwise a
      // sharp edge half way.
      glEnable(GL_ALPHA_TEST);
      glAlphaFunc(GL_GREATER, blended ? 0.0f : 0.5f * layer->opacity);
    }
    drawTriangles(d.triangles, cull, blended, outlines);
    if (fromEye) putEyeBack();
    if (program != nullptr) {
      unbindTangents(*program);
      glUseProgram(0);
    }
    if (cut) glDisable(GL_ALPHA_TEST);
    if (units > 0) {
      unbindLayerImages(units);
      drawTriangles(d.selected, cull, blended, false);
    }
    ctx->primitives += d.triangles.count / 3;
  }
  const int32_t lineVertices =
      flags->closelines ? d.lines.count : d.openLineVertices;
  if (flags->lines && lineVertices > 0) {
    setLighting(flags, false);
    drawRun(d.lines, GL_LINES, 0, lineVertices);
    ctx->primitives += lineVertices / 2;
  }
  if (flags->normals && d.normals.count > 0 && !ctx->outline) {
    setLighting(flags, false);
    drawRun(d.normals, GL_LINES, 0, d.normals.count);
  }
}

void drawLayer(LayerDisplay& d, Layer* layer, DrawContext* ctx, bool blended) {
  drawLayerHalf(d, layer, ctx, blended, false);
  const int32_t axis = mirrorAxisOf(layer, ctx->flags);
  if (axis == 0) return;
  DrawContext mirrored = *ctx;
  float reflect[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
  reflect[(axis - 1) * 5] = -1.0f;
  multiplyColumnOrder(ctx->matrix, reflect, mirrored.matrix);
  mirrored.flipped = !ctx->flipped;
  applyMatrix(mirrored);
  drawLayerHalf(d, layer, &mirrored, blended, true);
  ctx->primitives = mirrored.primitives;
  applyMatrix(*ctx);
}

void refreshMarkers(DrawContext* ctx, const Model* model, ModelDisplay* md,
                    const PointsKey& key) {
  uint8_t colours[6];
  for (int i = 0; i < 3; ++i) colours[i] = colourByte(ctx->render->pointColour[i]);
  selectionBytes(ctx->render, colours + 3);
  if (md->markers.count > 0 &&
      std::memcmp(colours, md->markerColours, sizeof colours) == 0 &&
      (md->markersKey == key || patchMarkers(ctx->store, model, md, key))) {
    md->markersKey = key;
    return;
  }
  std::vector<DrawVertex> vertices;
  const KeyedTable* points = &model->points;
  vertices.reserve(static_cast<size_t>(tableCount(points)));
  md->markerOf.assign(static_cast<size_t>(points->capacity), -1);
  for (int32_t s = tableNextSlot(points, -1); s >= 0;
       s = tableNextSlot(points, s)) {
    md->markerOf[s] = static_cast<int32_t>(vertices.size());
    vertices.push_back(markerVertex(*md, tableAt<Point>(points, s), s, colours));
  }
  upload(ctx->store, &md->markers, vertices);
  md->markersKey = key;
  std::memcpy(md->markerColours, colours, sizeof colours);
}

// Selected joints and collide objects, in the selection colour whatever
// the switches say, so that what a pick or a toggle marked shows; drawn
// through the surfaces, since joints sit inside the skin they move.
void drawSelectedMarks(const Model* model, DrawContext* ctx) {
  if (tableCount(&model->joints) == 0 && tableCount(&model->collides) == 0)
    return;
  ModelDisplays* store = ctx->store;
  VertexRun& joints = store->jointMarks;
  VertexRun& edges = store->collideEdges;
  uint8_t colour[3];
  selectionBytes(ctx->render, colour);
  buildSelectedMarks(model, colour, &joints.host, &edges.host);
  joints.count = static_cast<int32_t>(joints.host.size());
  edges.count = static_cast<int32_t>(edges.host.size());
  if (joints.count == 0 && edges.count == 0) return;
  setLighting(ctx->flags, false);
  const bool depthTest = glIsEnabled(GL_DEPTH_TEST) == GL_TRUE;
  glDisable(GL_DEPTH_TEST);
  glPointSize(kJointMarkerSize);
  drawRun(joints, GL_POINTS, 0, joints.count);
  drawRun(edges, GL_LINES, 0, edges.count);
  if (depthTest) glEnable(GL_DEPTH_TEST);
  ctx->primitives += joints.count + edges.count / 2;
}

// Forgets the children that are gone (deleted, absorbed) since last time.
void noteChildren(ModelDisplays* store, const Model* model, ModelDisplay* md) {
  std::vector<int32_t> now;
  for (int32_t s = tableNextSlot(&model->children, -1); s >= 0;
       s = tableNextSlot(&model->children, s)) {
    const Child* child = tableAt<Child>(&model->children, s);
    if (child->model != nullptr) now.push_back(child->model->id);
  }
  // An unchanged list (every frame but the one after a change) costs one
  // pass; a changed one a sort, not a search per child.
  if (now == md->children) return;
  std::vector<int32_t> sorted = now;
  std::sort(sorted.begin(), sorted.end());
  for (int32_t id : md->children)
    if (!std::binary_search(sorted.begin(), sorted.end(), id)) releaseById(store, id);
  md->children.swap(now);
}

void drawChildren(const Model* model, DrawContext* ctx);

void drawModelBody(Model* model, DrawContext* ctx) {
  const DisplayFlags* flags = ctx->flags;
  ModelDisplays* store = ctx->store;
  ModelDisplay& md = store->byModel[model->id];
  noteChildren(store, model, &md);
  // Automatic uvees and layer bounds are brought up to date when read.
  flushDerived(model);

  PointsKey key;
  key.revision = model->revision;
  key.posed = flags->pose ? 1 : 0;
  key.pose = flags->pose ? poseSignature(model) : 0;
  if (!(md.posedKey == key)) {
    md.posed.clear();
    if (flags->pose) {
      try {
        computeDisplayPoints(model, &md.posed);
      } catch (const std::bad_alloc&) {
        md.posed = std::vector<float>();
        reportOutOfMemory(store, "the pose");
      }
    }
    md.posedKey = key;
  }
  const float* positions = md.posed.empty() ? nullptr : md.posed.data();
  ctx->model = model;
  ctx->positions = positions;
  const NormalMode mode = normalModeOf(flags);
  const float normalLength = normalLengthOf(model, flags);
  uint8_t selection[3];
  selectionBytes(ctx->render, selection);

  const KeyedTable* layers = &model->layers;
  for (size_t i = layers->capacity; i < md.layers.size(); ++i)
    dropLayer(store, &md.layers[i]);
  md.layers.resize(layers->capacity);
  std::vector<bool> drawable(md.layers.size(), false);
  for (int32_t s = 0; s < layers->capacity; ++s) {
    if (tableElementAt(layers, s) == nullptr) {
      if (md.layers[s].valid) dropLayer(store, &md.layers[s]);
      continue;
    }
    drawable[s] = refreshLayer(store, model, tableAt<Layer>(layers, s), positions, key,
                               mode, normalLength, selection, &md.layers[s]);
  }

  if (ctx->outline) {
    for (int32_t s = tableNextSlot(layers, -1); s >= 0;
         s = tableNextSlot(layers, s)) {
      if (drawable[s])
        drawLayer(md.layers[s], tableAt<Layer>(layers, s), ctx, false);
    }
    if (flags->children && ctx->depth < kMaxChildDepth)
      drawChildren(model, ctx);
    return;
  }

  // Opaque layers, then the children, then the see-through layers over
  // everything of this model that is solid.
  for (int32_t s = tableNextSlot(layers, -1); s >= 0;
       s = tableNextSlot(layers, s)) {
    Layer* layer = tableAt<Layer>(layers, s);
    if (drawable[s] && !translucent(layer, flags))
      drawLayer(md.layers[s], layer, ctx, false);
  }
  if (flags->children && ctx->depth < kMaxChildDepth) drawChildren(model, ctx);
  bool blending = false;
  for (int32_t s = tableNextSlot(layers, -1); s >= 0;
       s = tableNextSlot(layers, s)) {
    Layer* layer = tableAt<Layer>(layers, s);
    if (!drawable[s] || !translucent(layer, flags)) continue;
    if (!blending) {
      glEnable(GL_BLEND);
      glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
      glDepthMask(GL_FALSE);
      blending = true;
    }
    drawLayer(md.layers[s], layer, ctx, true);
  }
  if (blending) {
    glDepthMask(GL_TRUE);
    glDisable(GL_BLEND);
  }

  if (flags->points) {
    refreshMarkers(ctx, model, &md, key);
    setLighting(flags, false);
    glPointSize(kMarkerSize);
    // Markers sit on the surfaces they mark: a hair nearer wins the tie.
    glDepthRange(0.0, 0.9995);
    drawRun(md.markers, GL_POINTS, 0, md.markers.count);
    glDepthRange(0.0, 1.0);
    ctx->primitives += md.markers.count;
  } else if (md.markers.count > 0) {
    dropRun(store, &md.markers);
    md.markerOf = std::vector<int32_t>();
  }
  if (flags->collide) {
    ctx->primitives += drawCollideOutlines(model, ctx->matrix, ctx->scene, ctx->placed,
                                           ctx->render->sceneExtent * 2.0f,
                                           &store->collideOutlines);
    applyMatrix(*ctx);
  }
  drawSelectedMarks(model, ctx);
}

// A selected child: its edges again, in the selection colour, a little in
// front of its surfaces (the placement of `inner` is in force).
void outlineChild(Model* child, const DrawContext& inner) {
  uint8_t colour[3];
  selectionBytes(inner.render, colour);
  glPolygonMode(GL_FRONT_AND_BACK, GL_LINE);
  glEnable(GL_POLYGON_OFFSET_LINE);
  glPolygonOffset(-1.0f, -1.0f);
  glDisableClientState(GL_COLOR_ARRAY);
  glColor4ub(colour[0], colour[1], colour[2], 255);
  DrawContext outline = inner;
  outline.outline = true;
  applyMatrix(outline);
  drawModelBody(child, &outline);
  glEnableClientState(GL_COLOR_ARRAY);
  glDisable(GL_POLYGON_OFFSET_LINE);
  glPolygonMode(GL_FRONT_AND_BACK, inner.flags->wireframe ? GL_LINE : GL_FILL);
}

// The frame a simulation gives the model, or null.
const SceneFrame* bodyFrame(const DrawContext* ctx, const Model* model) {
  return simulatedModelFrame(ctx->placed, model->id);
}

bool isSprite(const DrawContext* ctx, int32_t childId) {
  return ctx->placed != nullptr && ctx->placed->sprites.count(childId) > 0;
}

// A sprite faces the viewer: its axes are the eye's (x right, y up, z
// toward the eye) at the place its position has, in its scale times the
// scale of the model around it.
void spritePlacement(const float matrix[16], const float position[3],
                     const float scale[3], float out[16]) {
  const float parentScale = std::sqrt(matrix[0] * matrix[0] +
                                      matrix[1] * matrix[1] +
                                      matrix[2] * matrix[2]);
  for (int i = 0; i < 16; ++i) out[i] = 0.0f;
  for (int axis = 0; axis < 3; ++axis) out[axis * 5] = scale[axis] * parentScale;
  for (int r = 0; r < 3; ++r)
    out[12 + r] = matrix[r] * position[0] + matrix[4 + r] * position[1] +
                  matrix[8 + r] * position[2] + matrix[12 + r];
  out[15] = 1.0f;
}

void drawChildren(const Model* model, DrawContext* ctx) {
  for (int32_t s = tableNextSlot(&model->children, -1); s >= 0;
       s = tableNextSlot(&model->children, s)) {
    const Child* child = tableAt<Child>(&model->children, s);
    if (child->model == nullptr) continue;
    // translation * rotation * scale, in column order.
    const float* r = child->rotation;
    const float* k = child->scale;
    const float* p = child->position;
    const float placement[16] = {r[0] * k[0], r[3] * k[0], r[6] * k[0], 0,
                                 r[1] * k[1], r[4] * k[1], r[7] * k[1], 0,
                                 r[2] * k[2], r[5] * k[2], r[8] * k[2], 0,
                                 p[0],        p[1],        p[2],        1};
    float det = r[0] * (r[4] * r[8] - r[5] * r[7]) -
                r[1] * (r[3] * r[8] - r[5] * r[6]) +
                r[2] * (r[3] * r[7] - r[4] * r[6]);
    DrawContext inner = *ctx;
    if (isSprite(ctx, child->id)) {
      spritePlacement(ctx->matrix, p, k, inner.matrix);
      det = 1.0f;
    } else if (const SceneFrame* frame = bodyFrame(ctx, child->model)) {
      // A simulated child is where its body is, in the scene, at its scale.
      float scaled[16];
      std::memcpy(scaled, frame->m, sizeof scaled);
      for (int c = 0; c < 3; ++c)
        for (int row = 0; row < 3; ++row) scaled[c * 4 + row] *= k[c];
      multiplyColumnOrder(ctx->scene, scaled, inner.matrix);
      det = 1.0f;
    } else {
      multiplyColumnOrder(ctx->matrix, placement, inner.matrix);
    }
    inner.flipped = isSprite(ctx, child->id)
                        ? k[0] * k[1] * k[2] < 0.0f
                        : ctx->flipped != (det * k[0] * k[1] * k[2] < 0.0f);
    inner.depth = ctx->depth + 1;
    applyMatrix(inner);
    drawModelBody(child->model, &inner);
    // The wire is not counted: it draws what was just counted again.
    if ((child->flags & kItemSelected) != 0 && !ctx->outline)
      outlineChild(child->model, inner);
    ctx->primitives = inner.primitives;
  }
  applyMatrix(*ctx);
}

}  // namespace

ModelDisplays* newModelDisplays() {
  ModelDisplays* store = new (std::nothrow) ModelDisplays;
  if (store == nullptr) return nullptr;
  store->textures = newTextureCache();
  store->shaders = newShaderCache();
  if (store->textures == nullptr || store->shaders == nullptr) {
    freeModelDisplays(store);
    return nullptr;
  }
  return store;
}

void freeModelDisplays(ModelDisplays* store) {
  if (store == nullptr) return;
  freeTextureCache(store->textures);
  freeShaderCache(store->shaders);
  delete store;
}

void setModelDisplaysSink(ModelDisplays* store, ViewSink* sink) {
  if (store != nullptr) store->sink = sink;
}

void beginModelFrame(ModelDisplays* store, const std::vector<Model*>& models) {
  if (store == nullptr) return;
  sweepTextures(store->textures, models);
  deleteDoomedBuffers(store);
}

uint64_t modelTextureUploads(const ModelDisplays* store) {
  return store != nullptr ? textureUploads(store->textures) : 0;
}

int32_t drawModel(ModelDisplays* store, Model* model, const RenderState* render,
                  const ScenePlacements* placed) {
  if (store == nullptr || model == nullptr || render == nullptr) return 0;
  const DisplayFlags* flags = &render->display;
  deleteDoomedBuffers(store);
  glPushAttrib(GL_ENABLE_BIT | GL_LIGHTING_BIT | GL_POLYGON_BIT |
               GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_POINT_BIT |
               GL_VIEWPORT_BIT | GL_TRANSFORM_BIT);
  glPushClientAttrib(GL_CLIENT_VERTEX_ARRAY_BIT);
  glMatrixMode(GL_MODELVIEW);
  glPushMatrix();
  glEnableClientState(GL_VERTEX_ARRAY);
  glEnableClientState(GL_NORMAL_ARRAY);
  glEnableClientState(GL_COLOR_ARRAY);
  glPolygonMode(GL_FRONT_AND_BACK, flags->wireframe ? GL_LINE : GL_FILL);
  // Vertex colours feed the diffuse material; no texture (a label's font,
  // say) may tint the layers while they carry no texture coordinates.
  glColorMaterial(GL_FRONT_AND_BACK, GL_DIFFUSE);  // before: keep ambient
  glEnable(GL_COLOR_MATERIAL);
  glDisable(GL_TEXTURE_2D);

  DrawContext ctx;
  ctx.store = store;
  ctx.model = model;
  ctx.positions = nullptr;
  ctx.render = render;
  ctx.flags = flags;
  ctx.placed = placed;
  glGetFloatv(GL_MODELVIEW_MATRIX, ctx.scene);
  glGetFloatv(GL_PROJECTION_MATRIX, ctx.projection);
  std::memcpy(ctx.matrix, ctx.scene, sizeof ctx.matrix);
  if (const SceneFrame* frame = bodyFrame(&ctx, model))
    multiplyColumnOrder(ctx.scene, frame->m, ctx.matrix);
  ctx.flipped = false;
  ctx.outline = false;
  ctx.depth = 0;
  ctx.primitives = 0;
  applyMatrix(ctx);
  try {
    drawModelBody(model, &ctx);
  } catch (const std::bad_alloc&) {
    reportOutOfMemory(store, model->name);
  }

  if (haveBuffers()) glBindBuffer(GL_ARRAY_BUFFER, 0);
  glPopMatrix();
  glPopClientAttrib();
  glPopAttrib();
  return ctx.primitives;
}

void releaseModelDisplay(ModelDisplays* store, const Model* model) {
  if (store == nullptr || model == nullptr) return;
  for (int32_t s = tableNextSlot(&model->children, -1); s >= 0;
       s = tableNextSlot(&model->children, s)) {
    releaseModelDisplay(store, tableAt<Child>(&model->children, s)->model);
  }
  releaseById(store, model->id);
}

std::vector<std::string> takeDrawFailures(ModelDisplays* store) {
  std::vector<std::string> failures;
  if (store != nullptr) failures.swap(store->failures);
  return failures;
}

void forgetModelDisplays(ModelDisplays* store) {
  if (store == nullptr) return;
  store->byModel.clear();
  store->doomed.clear();
  forgetTextures(store->textures);
  forgetShaders(store->shaders);
}
