// What the y-up exporters share (right-handed STL and OBJ, binary STL, PLY,
// glTF): the model with its child models placed, each layer's halves (the
// layer and, for a mirroring layer, its reflection), what a corner looks
// like, and the turn from the model's z-up space into the file's y-up one.
//
// The turn is (x, y, z) -> (x, z, -y), a quarter turn about x: unlike an
// exchange of y and z it is no reflection, so a face that winds
// anticlockwise seen from outside still does in the file, and its normal
// still points out.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "model/records.h"
#include "model/transform.h"

// An affine map, row by row: out[r] = m[4r..4r+2] . p + m[4r+3].
struct Affine {
  double m[12];
};

Affine identityAffine();
// a then b: (b * a)(p) = b(a(p)).
Affine composeAffine(const Affine& b, const Affine& a);
// The child's placement: translation * rotation * scale.
Affine childPlacement(const Child* child);
// The turn into the y-up file space, and its inverse.
Affine yUpTurn();
Affine yUpTurnInverse();
// Inline: the importer places every vertex of a file with it.
inline void applyAffine(const Affine& a, const double p[3], double out[3]) {
  for (int r = 0; r < 3; ++r) {
    out[r] = a.m[r * 4] * p[0] + a.m[r * 4 + 1] * p[1] +
             a.m[r * 4 + 2] * p[2] + a.m[r * 4 + 3];
  }
}
// The linear part's inverse transpose (for normals), scaled freely: the
// caller makes the result unit length. A singular map gives the linear
// part itself.
void normalMatrix(const Affine& a, double out[9]);
double affineDeterminant(const Affine& a);
// The normal `in` turned by a normalMatrix, unit length, into out; false,
// out untouched, when the result has no direction or is not finite.
inline bool turnNormal(const double normals[9], const double in[3], float out[3]) {
  double t[3];
  for (int r = 0; r < 3; ++r) {
    t[r] = normals[r * 3] * in[0] + normals[r * 3 + 1] * in[1] +
           normals[r * 3 + 2] * in[2];
  }
  if (!scaleToUnit(t)) return false;
  for (int i = 0; i < 3; ++i) out[i] = static_cast<float>(t[i]);
  return true;
}

// c held to [0, 1] (a NaN stays one).
inline float toUnit(float c) { return c < 0.0f ? 0.0f : c > 1.0f ? 1.0f : c; }

// The model and every loaded child below it, parents before their
// children, at most 64 models deep (as the view draws them).
struct PlacedModel {
  const Model* model;
  int32_t parent;      // index in the list; -1 for the model itself
  const Child* child;  // the record that placed it; null for the model
  Affine local;        // in the parent's space
  Affine world;        // in the exported model's space
};
std::vector<PlacedModel> placeModels(const Model* model);

// The name a flattening writer gives a layer: its own for the exported
// model, "<child>_<layer>" for a child model's (the child's name through
// fileWord).
std::string exportedLayerName(const PlacedModel& placed, const Layer* layer);
// The name with anything but letters, digits, "_", "-" and "." made "_".
std::string fileWord(const char* name);

// The axis a layer's reflection is made on (1 x, 2 y, 3 z), 0 when the
// layer does not mirror.
int32_t reflectionAxis(const Layer* layer);
// How many halves a layer has: 2 when it mirrors, else 1.
inline int32_t layerHalves(const Layer* layer) {
  return reflectionAxis(layer) != 0 ? 2 : 1;
}

// The corners of one half of a layer: where each lies in file space, its
// stored normal, colour and texture coordinates.
struct HalfView {
  const Model* model;
  const Layer* layer;
  int32_t axis;       // the reflection of this half; 0 for the layer itself
  Affine place;       // model space (after the reflection) to file space
  double normals[9];  // the same for normals
  bool turned;        // triangles written (b, a, c): reflected or flipped
  const KeyedTable* layerColours;  // null when empty
  const KeyedTable* modelColours;
  const KeyedTable* layerNormals;
  const KeyedTable* modelNormals;
  float fallback[4];   // the layer colour with its opacity
  const Image* image;  // the layer's first image (lowest number), or null
  int32_t imageNumber;
};

// `place`: model space to file space (world then the y-up turn for the
// flattening writers, the y-up turn alone for glTF, whose nodes place
// the children). A reflected half turns its triangles round, and so does
// a `place` that reverses orientation (a child scaled by -1): a mirrored
// solid still faces out.
void viewHalf(const Model* model, const Layer* layer, int32_t half,
              const Affine& place, HalfView* view);

// Where the point lies in file space; false for a point the model lacks.
bool cornerPosition(const HalfView& v, int32_t point, float out[3]);
// The stored normal (the layer's, else the model's) in file space, unit
// length; false when there is none or it has no direction.
bool cornerNormal(const HalfView& v, int32_t point, float out[3]);
// The colour of the corner as the view draws it (the layer's entry, else
// the model's, else the layer colour), alpha times the layer's opacity.
void cornerColour(const HalfView& v, int32_t point, float out[4]);
// The first image's uvee for the point (its own or the automatic one,
// flushed beforehand), top left origin; false without one.
bool cornerUv(const HalfView& v, int32_t point, float out[2]);
// Whether any corner of the half's polygons and lines has a colour entry
// of its own / a stored normal.
bool halfHasColourEntries(const HalfView& v);
bool halfHasStoredNormals(const HalfView& v);
// Whether the half's layer has an image with uvees (cornerUv gives some).
inline bool halfHasUvees(const HalfView& v) {
  return v.image != nullptr && tableCount(&v.image->uvees) > 0;
}

// Calls visit(a, b, c) with the point numbers of every triangle of the
// half, wound as the file wants them.
template <class Visit>
void forEachHalfTriangle(const HalfView& v, Visit visit) {
  const KeyedTable* polygons = &v.layer->triangles;
  for (int32_t s = tableNextSlot(polygons, -1); s >= 0;
       s = tableNextSlot(polygons, s)) {
    const Triangle* t = tableAt<Triangle>(polygons, s);
    if (t->count < 3) continue;
    int32_t slot[2] = {0, 1};
    for (int32_t i = 2; i < t->count; ++i) {
      const int32_t a = polygonPoints(t)[slot[0]], b = polygonPoints(t)[slot[1]];
      if (v.turned) {
        visit(b, a, polygonPoints(t)[i]);
      } else {
        visit(a, b, polygonPoints(t)[i]);
      }
      slot[(i - 2) & 1] = i;
    }
  }
}

// The distinct points a half's polygons (and, with `lines`, its lines)
// use, in first-use order, as slots of the model's point table; index
// maps a slot to its place in that order plus one (0: not used).
struct HalfPoints {
  std::vector<int32_t> slots;
  std::vector<int32_t> index;
  // Point number to slot + 1 for `numbered`, built once per model a writer
  // visits (every corner asks); empty when the numbers are too sparse for
  // an array, and the table is asked instead. Valid for one write: a
  // HalfPoints must not outlive the writer that made it.
  const Model* numbered = nullptr;
  std::vector<int32_t> slotOf;
};
// False, with "point not found: <n>" in LastError, when a polygon or line
// names a point the model lacks.
bool collectHalfPoints(const HalfView& v, bool lines, HalfPoints* out);
// The same from slots collected before (a writer that needs them in
// several passes keeps them): no corner is looked at again.
void adoptHalfPoints(const HalfView& v, const int32_t* slots, size_t count,
                     HalfPoints* out);
// The place of point `number` in the collected order; -1 when absent.
int32_t halfPointIndex(const HalfView& v, const HalfPoints& points,
                       int32_t number);
// cornerPosition for a slot of the model's point table.
void slotPosition(const HalfView& v, int32_t slot, float out[3]);
int32_t slotNumber(const HalfView& v, int32_t slot);

// Calls visit(view) for every half of every layer of every placed model,
// placed in the exported model's space and turned y-up: what the writers
// that flatten the children see. Stops when visit answers false; false
// then.
template <class Visit>
bool forEachFlatHalf(const std::vector<PlacedModel>& placed, Visit visit) {
  const Affine turn = yUpTurn();
  for (const PlacedModel& p : placed) {
    const Affine place = composeAffine(turn, p.world);
    const KeyedTable* layers = &p.model->layers;
    for (int32_t l = tableNextSlot(layers, -1); l >= 0;
         l = tableNextSlot(layers, l)) {
      const Layer* layer = tableAt<Layer>(layers, l);
      for (int32_t half = 0; half < layerHalves(layer); ++half) {
        HalfView view;
        viewHalf(p.model, layer, half, place, &view);
        if (!visit(view)) return false;
      }
    }
  }
  return true;
}

// A normal for every collected point, three floats each, file space, unit
// length: the stored one, else the area-weighted mean of the half's
// triangles around it ((0, 0, 0) for a point only lines use).
void halfVertexNormals(const HalfView& v, const HalfPoints& points,
                       std::vector<float>* out);

// Triangles the model exports in all, children and reflections included.
int64_t exportedTriangles(const std::vector<PlacedModel>& placed);

// Unit normal of the triangle by the right-hand rule; (0, 0, 0) when it
// is degenerate.
void triangleNormal(const float a[3], const float b[3], const float c[3],
                    float out[3]);

// Brings the derived data (automatic uvees, bounds) of the model and of its
// child models up to date, as the writers read them.
void flushForExport(Model* model);
