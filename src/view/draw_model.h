// Drawing one model: its layers (from vertex data kept on the GL side and
// rebuilt only when the layer or the model's points changed), mirror
// halves, children through their placement, poses when the pose switch is
// on. Returns the number of primitives drawn.
//
// What the switches do: triangles and lines show polygons and polylines;
// wireframe draws polygons as outlines; points adds a marker on every point
// (point colour, selected points in the selection colour); normals adds the
// normal of every polygon corner as a short cyan line; lighting off shows
// the colours exactly; flat gives every polygon its face normal, else a
// point's stored normal (layer, then model) is used, and without one the
// face normal, or with gouraud on the area-weighted mean of the faces
// around the point that meet the polygon at less than 60 degrees (a layer
// with automatic normals always takes that mean unless flat is on);
// backfaces off culls the back faces of single-sided layers (double-sided
// layers are never culled and are lit on both sides); transparency draws
// layers with an opacity below 1 or see-through colours after the opaque
// ones, blended, without depth writes (off: they are drawn opaque);
// closelines joins the last point of a line back to its first; mirror
// draws mirroring layers again, reflected; children draws the child models
// through their placement; pose draws the posed points (see
// computeDisplayPoints in layer_cache.h); normalize renormalises normals;
// collide adds the outline of every collide object (draw_collides.h);
// textures, reflect, alpha and lod govern the layers' images
// (draw_images.h), and a layer's shader program draws it when it has one
// that builds (shaders.h). A child set as a sprite faces the viewer.
//
// The selection shows whatever the switches say (points on or off):
// selected polygons and lines are drawn in the selection colour (lit as
// their layer is, on both mirror halves); a selected child gets its edges
// drawn again over it in the selection colour; a selected joint is a large
// point at its rest position and a selected collide object the wire box of
// its size and rotation, both in the selection colour and shown through
// the surfaces. Marking a polygon or line touches its layer, and a layer
// with selected items is rebuilt when the selection colour changes.
//
// Triangles (a polygon of n points counts n - 2), line segments and point
// markers are what is counted, mirror halves and children included, and
// the joint marks, box edges and collide outlines; the wire over a
// selected child is not.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "model/records.h"
#include "view/render_state.h"
#include "view/view.h"

struct ModelDisplays;

// The caches of every model drawn. Null when memory runs out.
ModelDisplays* newModelDisplays();
void freeModelDisplays(ModelDisplays* store);

// Draws with the switches and colours of `render`, models and collide
// objects that a running simulation has moved through their frames in
// `placed` (may be null). Needs the view's GL context current.
int32_t drawModel(ModelDisplays* store, Model* model, const RenderState* render,
                  const ScenePlacements* placed = nullptr);
// Where the layers' shader sources are read (may be null: no shaders).
void setModelDisplaysSink(ModelDisplays* store, ViewSink* sink);
// At the start of a frame, with the context current: deletes what models
// gone since the last frame left on the GL side (buffers, and textures no
// model of `models` holds any more).
void beginModelFrame(ModelDisplays* store, const std::vector<Model*>& models);
// Textures uploaded so far (each image slot once, and again when its
// pixels or settings change).
uint64_t modelTextureUploads(const ModelDisplays* store);
// Frees the GL resources of the model (and its children). Never touches
// OpenGL itself, so it is safe without a context: the buffers are deleted
// by the next drawModel, in the view's context.
void releaseModelDisplay(ModelDisplays* store, const Model* model);
// The GL context went away with its buffers: forget every cache without
// touching OpenGL.
void forgetModelDisplays(ModelDisplays* store);
// What went wrong while drawing ("modelr: out of memory drawing %s"),
// collected so that the owner hears of it after the frame, never while a
// model is half drawn.
std::vector<std::string> takeDrawFailures(ModelDisplays* store);
