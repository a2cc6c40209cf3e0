// The view's cache of what it drew: per model and layer, the vertex runs
// on the GL side (buffer objects, or host memory when they are missing),
// the keys they were built for, and the buffer names waiting to be deleted
// in the view's context. draw_model.cpp keeps them; the functions here
// make, upload, draw and drop them.
#pragma once

#include <GL/glew.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

#include "model/records.h"
#include "view/draw_images.h"
#include "view/layer_cache.h"
#include "view/render_state.h"

struct TextureCache;
struct ShaderCache;
class ViewSink;

// One vertex array on the GL side: a buffer object, or host memory when
// buffer objects are missing or out of memory. A smoothed layer's
// triangles share their vertices: `elements` then holds `count` indices
// into the `stored` vertices of `buffer`, which has room for `room`; the
// vertices that moves make are put after the stored ones, and the indices
// of the corners they change are written over.
struct VertexRun {
  GLuint buffer = 0;
  std::vector<DrawVertex> host;
  int32_t count = 0;
  GLuint elements = 0;
  int32_t stored = 0;
  int32_t room = 0;
};

// What the display positions of the points depend on.
struct PointsKey {
  uint32_t revision = 0;
  int32_t posed = -1;
  uint64_t pose = 0;
  bool operator==(const PointsKey& o) const {
    return revision == o.revision && posed == o.posed && pose == o.pose;
  }
};

struct LayerDisplay {
  bool valid = false;
  char name[kNameBytes] = {0};
  uint32_t revision = 0;
  PointsKey points;
  int32_t normalMode = -1;
  float normalLength = 0.0f;
  // The selection colour the selected polygons and lines were built in;
  // it matters only when the layer has some.
  bool showsSelection = false;
  uint8_t selection[3] = {0, 0, 0};
  VertexRun triangles, lines, normals;
  int32_t openLineVertices = 0;
  // Only for layers with images or shaders: texture coordinates and
  // tangent frames, and the selected polygons drawn again over images.
  LayerImageRuns images;
  VertexRun selected;  // host memory: few, and rebuilt with the layer
  // Where each polygon's vertices lie, for rewriting them after moves.
  std::vector<PolygonPlace> places;
};

struct ModelDisplay {
  std::vector<LayerDisplay> layers;  // by slot of the model's layer table
  PointsKey posedKey;
  std::vector<float> posed;  // empty: the stored points
  VertexRun markers;
  std::vector<int32_t> markerOf;  // by point slot: its marker, or -1
  PointsKey markersKey;
  uint8_t markerColours[6] = {0};
  std::vector<int32_t> children;  // model ids of the children last seen
};

struct ModelDisplays {
  std::unordered_map<int32_t, ModelDisplay> byModel;
  std::vector<GLuint> doomed;  // deleted by the next drawModel
  TextureCache* textures = nullptr;
  ShaderCache* shaders = nullptr;
  ViewSink* sink = nullptr;  // where shader sources come from
  LayerVertices scratch;
  LayerPatch patch;  // working space of patchLayerVertices
  SharedTriangles shared;
  std::vector<std::string> failures;  // reported once the frame is done
  // The marks of selected joints and collide objects, rebuilt in host
  // memory for every model drawn: they are few, and reading them afresh
  // follows every move without a revision to watch.
  VertexRun jointMarks, collideEdges;
  std::vector<DrawVertex> collideOutlines;
};

bool haveBuffers();
// Forgets the run; its buffer waits in `doomed` for the next frame.
void dropRun(ModelDisplays* store, VertexRun* run);
void dropLayer(ModelDisplays* store, LayerDisplay* layer);
// A model's caches and its children's.
void releaseById(ModelDisplays* store, int32_t id);
// Deletes the buffers waiting in `doomed` (the view's context is current).
void deleteDoomedBuffers(ModelDisplays* store);
// Replaces the run's vertices, keeping its buffer name.
void upload(ModelDisplays* store, VertexRun* run, const std::vector<DrawVertex>& data);
// Gives the buffer (made when 0) `bytes` of new storage and maps it for
// writing; null when the GL cannot hand it out. unmapFreshBuffer ends the
// mapping (`mapped`: whether there was one) and is false when the store
// did not survive it or the GL failed: the buffer is then doomed and 0.
void* mapFreshBuffer(GLuint* buffer, size_t bytes);
bool unmapFreshBuffer(GLuint* buffer, bool mapped, std::vector<GLuint>* doomed);
// Gives the buffer (made when 0) `bytes` of new storage that `write`
// fills through a mapping; false when the GL cannot hand it out (no
// buffers, no mapping, an error): the buffer is then doomed and 0.
bool writeMappedBuffer(GLuint* buffer, size_t bytes,
                       const std::function<void(void*)>& write,
                       std::vector<GLuint>* doomed);
// Replaces the run's vertices with `count` that `write` puts straight
// into the GL's memory; false when the GL cannot hand it out (no buffers,
// an error): then the run is empty and the vertices are to be uploaded.
bool uploadWritten(ModelDisplays* store, VertexRun* run, size_t count,
                   const std::function<void(DrawVertex*)>& write);
// Replaces the run's vertices with the shared ones, leaving room after
// them for the vertices of later patches; false when the GL cannot take
// them (the run is then empty, and the unshared vertices are to be
// uploaded).
bool uploadShared(ModelDisplays* store, VertexRun* run,
                  const SharedTriangles& shared);
// The run's buffer now holds `count` vertices written through a mapping.
void takeWritten(ModelDisplays* store, VertexRun* run, size_t count);
// Rewrites vertices in place, run by run; false when a run lies outside
// or a shared run has no room left for the new vertices.
bool patchRun(VertexRun* run, const VertexPatch& patch, LayerPatch* work);
// After pure moves of stored points since the layer or the markers were
// made for `d->points` / `md->markersKey`, rewrites what the moves changed
// (draw_model.cpp has checked the rest of the keys); false when they are
// to be built again.
bool patchLayer(ModelDisplays* store, const Model* model, const Layer* layer,
                const float* positions, const PointsKey& points, LayerDisplay* d);
bool patchMarkers(ModelDisplays* store, const Model* model, ModelDisplay* md,
                  const PointsKey& key);
// A point's marker: at its posed place when the model has one, in the
// first colour of `colours`, or the second when selected.
DrawVertex markerVertex(const ModelDisplay& md, const Point* p, int32_t slot,
                        const uint8_t colours[6]);
// Draws `count` vertices from `first`; `outlines`: polygons in line mode
// show only their own edges.
void drawRun(const VertexRun& run, GLenum mode, int32_t first, int32_t count,
             bool outlines = false);
// out = a * b, column order, in float as the GL would; out may be a or b.
void multiplyColumnOrder(const float a[16], const float b[16], float out[16]);
uint8_t colourByte(float c);
void selectionBytes(const RenderState* render, uint8_t out[3]);
// Keeps "modelr: out of memory drawing <what>" for after the frame.
void reportOutOfMemory(ModelDisplays* store, const char* what);
