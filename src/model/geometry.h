// Layer geometry: the document operations that create and remove layers,
// points, normals, surface vectors, colours, polygons, lines, images and
// uvees, with the bookkeeping that keeps a Model consistent.
//
// Every operation takes the model first and returns success (true, or a
// non-zero id) or refusal (false / 0) with the reason in LastError.
// A layer name that is null or "" means the model-level tables (the
// "(global)" layer) where an operation has them; any other name must be a
// layer of the model.
//
// Derived data. A layer's bounds are, by definition, recomputed from the
// points of its triangles whenever a polygon or line is added, and the
// automatic uvees of the whole model whenever a polygon or line is added
// by command. Doing that at once would make building a model quadratic, so
// additions only mark the work as due (Layer::boundsStale,
// Model::uveesStale) and flushDerived() does it. To keep every result
// exactly what the eager recomputation would give, flushDerived() runs
// before anything reads bounds or uvees and before any change to what they
// are computed from (point positions, polygons, images, uvees). Operations
// in this file flush for themselves; code elsewhere that moves points or
// reads bounds or uvees calls flushDerived() first.
#pragma once

#include <cstddef>
#include <cstdint>

#include "model/last_error.h"
#include "model/records.h"

// Revisions. The view keeps each layer's vertex data and rebuilds it only
// when the layer's or its model's revision changed, so every change to a
// layer's polygons, lines, colours, normals, surface vectors, images, uvees
// or settings touches the layer, and every change to points (positions,
// flags) or to the model-level colour, normal and surface tables touches
// the model. Code outside the model folder changes those records through
// the operations here, which touch for it. The numbers come from the
// model's own counter: a layer made where a deleted one was never carries
// the old one's number, and 0 (never touched) is never handed out.
uint32_t nextRevision(Model* model);
inline void touchLayer(Model* model, Layer* layer) {
  layer->revision = nextRevision(model);
}
// Anything but a pure move forgets the moves kept (model/point_moves.h).
inline void touchModel(Model* model) {
  model->moves.since = 0;
  model->moves.count = 0;
  model->revision = nextRevision(model);
}

constexpr int kAddPolygonMaxPoints = 508;
// Colours given on the 0..255 scale (a component above 1.0) are brought to
// 0..1 with this factor, by the reader and the set commands alike.
constexpr float kByteScale = 0.003921569f;

// Polygons are triangle strips: n points hold the n - 2 triangles
// (p0 p1 p2), (p2 p1 p3), (p2 p3 p4), (p4 p3 p5) ..., each keeping the
// strip's winding. Drawing, exporting, baking and converting all read them
// so. Calls visit(i, j, k) with the corner indices of every triangle.
template <class Visit>
void forEachStripIndex(int32_t count, Visit visit) {
  if (count < 3) return;
  int32_t slot[2] = {0, 1};
  for (int32_t i = 2; i < count; ++i) {
    visit(slot[0], slot[1], i);
    slot[(i - 2) & 1] = i;
  }
}
// The same with the point numbers themselves.
template <class Visit>
void forEachStripTriangle(const int32_t* points, int32_t count, Visit visit) {
  forEachStripIndex(count, [&](int32_t i, int32_t j, int32_t k) {
    visit(points[i], points[j], points[k]);
  });
}
inline int32_t stripTriangleCount(int32_t count) {
  return count >= 3 ? count - 2 : 0;
}
// Whether the edge between corners i and j of an n-point strip lies on the
// polygon's outline (not a diagonal shared by two of its triangles).
inline bool stripOutlineEdge(int32_t i, int32_t j, int32_t n) {
  const int32_t lo = i < j ? i : j, hi = i < j ? j : i;
  return hi - lo == 2 || (lo == 0 && hi == 1) || (lo == n - 2 && hi == n - 1);
}  // what one add command takes
constexpr float kOnTheFlyLayerGrey = 127.0f;

// Does any recomputation that is due. Cheap when nothing is.
void flushDerived(Model* model);
// Readers of what flushDerived keeps: the layer's bounds (min x y z, then
// max x y z) and the uvee of a point for an image of the layer, both up to
// date. Null when the image or the point has none.
const float* layerBounds(Model* model, Layer* layer);
// One corner into a layer's bounds (min x y z, then max) as the recompute
// folds them, corner by corner in table order: the first corner sets all
// six; later a bound moves only for a value strictly past it, so a tie
// keeps the earlier value (0 or -0) and a NaN bound stays.
inline void foldCorner(float bounds[6], const float v[3], bool first) {
  for (int k = 0; k < 3; ++k) {
    bounds[k] = first || v[k] < bounds[k] ? v[k] : bounds[k];
    bounds[k + 3] = first || v[k] > bounds[k + 3] ? v[k] : bounds[k + 3];
  }
}
// foldCorner over `count` positions, the i-th put into v by at(i, v), with
// the bounds kept in registers: a file or an import folds millions.
template <class At>
void foldEach(float bounds[6], size_t count, bool first, At at) {
  if (count == 0) return;
  float v[3];
  size_t i = 0;
  if (first) {
    at(0, v);
    foldCorner(bounds, v, true);
    i = 1;
  }
  float lo0 = bounds[0], lo1 = bounds[1], lo2 = bounds[2];
  float hi0 = bounds[3], hi1 = bounds[4], hi2 = bounds[5];
  for (; i < count; ++i) {
    at(i, v);
    lo0 = v[0] < lo0 ? v[0] : lo0;
    lo1 = v[1] < lo1 ? v[1] : lo1;
    lo2 = v[2] < lo2 ? v[2] : lo2;
    hi0 = v[0] > hi0 ? v[0] : hi0;
    hi1 = v[1] > hi1 ? v[1] : hi1;
    hi2 = v[2] > hi2 ? v[2] : hi2;
  }
  bounds[0] = lo0, bounds[1] = lo1, bounds[2] = lo2;
  bounds[3] = hi0, bounds[4] = hi1, bounds[5] = hi2;
}
// Corners given as indexes into `xyz`, three floats a point.
inline void foldCorners(float bounds[6], const float* xyz, const int32_t* corners,
                        size_t count, bool first) {
  foldEach(bounds, count, first, [&](size_t i, float v[3]) {
    const float* p = xyz + 3 * static_cast<size_t>(corners[i]);
    v[0] = p[0], v[1] = p[1], v[2] = p[2];
  });
}
// Bounds that whoever added the layer's triangles worked out as it went,
// exactly as the due recompute would (every corner in table order, the
// first one setting all six, none NaN): they stand for that recompute.
// Left due while an index keeps the layer's box.
void layerBoundsFound(Model* model, Layer* layer, const float bounds[6]);
const Uvee* layerUvee(Model* model, Layer* layer, int32_t image, int32_t point);
// The automatic uvee along an image axis code as a plane: the coordinate
// of a point p is plane . (p, 1), which equals the stored uvee to within
// rounding. False when the layer's extent along the axis is zero or not
// finite (the stored uvees are not a plane then); an unknown code gives
// the zero plane, as it gives 0.
bool automaticUveePlane(int32_t code, const float* bounds, float plane[4]);
// Marks the automatic uvees of the whole model as due (the add triangle and
// add line commands do this after every polygon or line).
void markUveesStale(Model* model);

Layer* findLayer(const Model* model, const char* name);
// The layer's own colour: the three numbers of its layer line, on the
// 0..255 scale when any is above 1.0; 0 0 0 (nothing given) is grey 127.
void layerColour(const Layer* layer, float rgb[3]);
// Creates an empty layer: opacity 1, display handle -1. Clears LastError
// first. Refuses an existing name ("duplicate layer name not allowed") and
// a name of 128 or more characters.
Layer* addLayer(Model* model, const char* name, float originX, float originY,
                float originZ, int32_t singleSided, int32_t mirror,
                int32_t mirrorAxis);
// Releases the layer's images, polygons, lines and tables, then removes it.
bool deleteLayer(Model* model, const char* name);

// Find-or-add point `number` (1 or more) at x, y, z; grows the model bounds
// (the first point of a model sets them). Moving an existing point flushes
// derived data first.
bool addPoint(Model* model, int32_t number, float x, float y, float z);
// Points numbered from `firstNumber` (1 or more) on, `n` of them, at xyz
// (three floats each), as addPoint would add or move them in turn: in one
// step where the point table allows (new numbers in sequence after its
// last one), else one by one.
bool addNewPoints(Model* model, int32_t firstNumber, int32_t n, const float* xyz);
Point* findPoint(const Model* model, int32_t number);
// The number of the first point (slot order) exactly at x, y, z; 0 if none.
int32_t findPointAt(const Model* model, float x, float y, float z);
// Removes the point and, from every layer, its colour, normal and surface
// entries and every polygon and line that uses it. The model-level
// entries stay. An unknown number does nothing (and returns false).
bool deletePoint(Model* model, int32_t number);
// Highest point number in use; 0 when there are none.
int32_t highestPointNumber(const Model* model);

// Normals and surface vectors: find-or-add; a component that is not a
// number makes the vector (0, 0, 1).
bool addNormal(Model* model, const char* layer, int32_t number, float x,
               float y, float z);
bool addSurface(Model* model, const char* layer, int32_t number, float x,
                float y, float z);
// The point must exist ("colour defined for an undefined point"); each
// component above 1.0 is stored as 1.0. Alpha below 1.0 marks the layer
// transparent; at model level, every layer with a polygon or line using the
// point.
bool addColour(Model* model, const char* layer, int32_t point, float red,
               float green, float blue, float alpha);
bool deleteColour(Model* model, const char* layer, int32_t point);
bool deleteNormal(Model* model, const char* layer, int32_t point);
bool deleteSurface(Model* model, const char* layer, int32_t point);

// Polygons and lines: every point must exist, kind 0 to 4; the id comes
// from the process-wide polygon counter. Returns the id, or 0.
int32_t addTriangle(Model* model, const char* layer, int32_t count,
                    const int32_t* points, int32_t kind);
int32_t addLine(Model* model, const char* layer, int32_t count,
                const int32_t* points, int32_t kind);
// The same with the layer already at hand (a reader adding many polygons
// to one layer). The pointer is valid until the next layer is added.
int32_t addTriangleToLayer(Model* model, Layer* layer, int32_t count,
                           const int32_t* points, int32_t kind);
int32_t addLineToLayer(Model* model, Layer* layer, int32_t count,
                       const int32_t* points, int32_t kind);
// A triangle of kind 0 whose three points the caller made itself and knows
// to be there (an importer building a model of its own): as
// addTriangleToLayer, without looking each point up first.
int32_t addTriangleOfKnownPoints(Model* model, Layer* layer, const int32_t points[3]);
// `n` such triangles, corners three by three, with ids in turn: the first
// id, or 0. Taken in one step where the layer's table allows (triangles
// only ever appended to it), else one by one; the model ends the same.
int32_t addTrianglesOfKnownPoints(Model* model, Layer* layer, int32_t n,
                                  const int32_t* corners);
// As many as addTriangleToLayer would add of `n` triangles of three
// points (corners three by three) and `kind`, one after another: all of
// them, or those before the first that names a missing point (or finds no
// memory), which the caller adds alone to have the reason. Returns how
// many were added. A reader's run of triangles; stored in runs.
int32_t addTriangles(Model* model, Layer* layer, int32_t n, const int32_t* corners,
                     int32_t kind);
// Searches the layers in slot order; removes the first match.
bool deleteTriangle(Model* model, int32_t id);
bool deleteLine(Model* model, int32_t id);

// A texture as read from its file(s) (io reads them; the model reads no
// files): RGB rows, width * height * 3 malloc'd bytes, or for a cube map
// the six faces, each with its own size; width and height are then the
// first face's. `ok` false: nothing was read and `error` says why.
struct TexturePixels {
  bool ok;
  char error[kErrorTextBytes];
  int32_t width, height;
  unsigned char* pixels;
  unsigned char* faces[kCubeFaces];
  int32_t faceWidth[kCubeFaces], faceHeight[kCubeFaces];
};
void releaseTexturePixels(TexturePixels* read);

// Find-or-add image `number` (1 or more) of the layer with a non-empty file
// name and a mode or selector 0 to 9: 5 sets the mirror texture, 6 the
// alpha texture, others the main texture; the slot keeps the file name and
// takes `read` (its buffers are taken or freed in every case). The name
// "none" takes no pixels. A failed read keeps the image, unloaded, with
// the reader's message in LastError, except that a cube map (mode 7) must
// have its faces. A new image adopts the model's parked uvees.
bool addImage(Model* model, const char* layer, int32_t number,
              const char* file, int32_t mode, int32_t axisU, int32_t axisV,
              float strength, TexturePixels* read);
// Stores (u, v) for the point in the image's uvees; for an image that does
// not exist yet the entry is parked until the model's next new image.
bool addUvee(Model* model, const char* layer, int32_t image, int32_t point,
             float u, float v);
// Image numbers stay contiguous from 1: the following images move down.
bool deleteImage(Model* model, const char* layer, int32_t number);
bool deleteMirrorImage(Model* model, const char* layer, int32_t number);

// 0.0 to 1.0; opacity = 1 - value.
bool setTransparency(Model* model, const char* layer, float value);
bool setInvisibleColour(Model* model, const char* layer, int32_t image,
                        float red, float green, float blue);
// kind "pixel" or "vertex".
bool setShader(Model* model, const char* layer, const char* kind,
               const char* file);


// Layer and image settings with the layer at hand. Each touches the layer.
//
// Gives the layer a new name, keeping its place among the others; the
// caller has checked the name. False (reported) only when out of memory.
// Pointers into the layer table are stale afterwards.
bool renameLayer(Model* model, Layer* layer, const char* name);
void setLayerSides(Model* model, Layer* layer, bool singleSided);
// kAxisNone stops the reflection and keeps the axis it had.
void setLayerMirror(Model* model, Layer* layer, int32_t axis);
void setLayerLighting(Model* model, Layer* layer, bool on);
// The layer colour: its layer line's three numbers, kept as given.
void setLayerColour(Model* model, Layer* layer, const float rgb[3]);
// The projection axis for u (else v); automatic uvees follow it.
void setImageAxis(Model* model, Layer* layer, Image* image, bool u,
                  int32_t axis);
void setImageStrength(Model* model, Layer* layer, Image* image,
                      float strength);
void setImageMode(Model* model, Layer* layer, Image* image, int32_t mode);
void setImageAlphaMode(Model* model, Layer* layer, Image* image,
                       int32_t extraKind);
// For every image of the layer: on makes the colour see-through (alpha
// mode colour, components 0..1 or refused as setInvisibleColour does, the
// first refusal stopping), off takes that back.
bool setLayerInvisible(Model* model, Layer* layer, bool on,
                       const float rgb[3]);
