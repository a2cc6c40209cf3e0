// Building a model from another tool's meshes, vertex by vertex, whatever
// read them (import_scene.h reads them through assimp). Everything arrives
// in the model's own z-up space.
//
// Vertices become points: vertices at the same position are one point,
// across meshes and layers, except that within one layer vertices that
// differ in texture coordinates or colour are kept apart (a seam): another
// point is made at that position. A point's normal is kept in its layer
// only when every vertex joined into it agrees on it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "model/records.h"

// How a layer looks, from the mesh's material.
struct ImportLook {
  bool coloured;       // false: the layer keeps its default colour
  float colour[3];     // display colour, 0..1
  float opacity;       // 1 opaque
  bool twoSided;
  std::string texture;  // the picture's file as the mesh names it; "" none
};

struct ImportCounts {
  int32_t points = 0;
  int32_t triangles = 0;
  int32_t lines = 0;
  int32_t layers = 0;
};

// A vertex key table: open addressing over keys of a fixed number of
// 32-bit words, to the point number stored for each.
struct VertexKeys {
  int32_t words = 3;
  std::vector<uint32_t> keys;     // words per entry
  std::vector<int32_t> values;    // point number per entry
  std::vector<int32_t> buckets;   // entry + 1; 0 empty
};

// Position to the first point made there: every vertex asks, so the key
// lies in the slot itself (one cache line a look, not two).
struct PositionSlot {
  uint32_t x, y, z;
  int32_t point;  // 0: empty
};
struct PositionTable {
  std::vector<PositionSlot> slots;  // a power of two, at most half full
  size_t used = 0;
};

// A position's key: the bits of x, y and z, -0 taken as 0. The reader's
// process keys positions the same way (import_scene.cpp).
void positionKey(const float position[3], uint32_t key[3]);
// The slot of the position: the value kept there, or the empty slot that
// will take it (the table has room for one more; set `point` and count
// `used` when taking it).
PositionSlot* positionSlot(PositionTable* t, const uint32_t key[3]);
// Room for `more` positions without growing.
void positionsReserve(PositionTable* t, size_t more);
// Fetches the slot the position will ask for into the cache.
void positionPrefetch(const PositionTable* t, const float position[3]);

struct ImportBuilder {
  Model* model = nullptr;
  PositionTable positions;          // position -> first point made there
  // The same, when the reader says which vertex came first at each
  // position (importPlacedVertex): by the vertex's place among all those
  // sent, the point the first one there made.
  std::vector<int32_t> firstPointAt;
  VertexKeys layerKeys;             // this layer's vertices -> point
  std::vector<int32_t> usedBy;      // by point number: layer that used it
  std::vector<float> placed;        // by point number: its x y z
  int32_t nextPoint = 1;
  // Points are made in the model in runs too: those from storedPoints + 1
  // to nextPoint - 1 are in `placed` only so far.
  int32_t storedPoints = 0;
  ImportCounts counts;
  std::vector<std::string> notes;   // status lines worth showing
  // The layer being built.
  Layer* layer = nullptr;
  int32_t layerIndex = 0;
  bool uvs = false, colours = false;
  Image* image = nullptr;
  std::vector<int32_t> conflicted;  // points whose normals disagree
  bool uniform = true;              // every vertex colour alike so far
  float firstColour[4] = {0, 0, 0, 0};
  bool anyColour = false;
  std::vector<int32_t> polyline;    // segments being joined into a line
  // Triangles not yet stored, three corners each: stored in runs, which
  // the layer's table takes in one step.
  std::vector<int32_t> pendingTriangles;
  size_t pendingCorners = 0;        // of pendingTriangles in use
  // The layer's bounds as its triangles come, as a recompute would give
  // them, so that the document need not look every corner up again.
  float bounds[6] = {0, 0, 0, 0, 0, 0};
  bool anyTriangle = false;
  bool failed = false;              // LastError says why
};

// `model` is empty and stays owned by the caller.
void importBegin(ImportBuilder* b, Model* model);
// Room for about this many points without growing (the vertices of the
// meshes to come).
void importReserve(ImportBuilder* b, size_t vertices);
// Starts a layer named after `name` (whitespace made "_", a leading "#"
// too, cut to fit; "_2", "_3", ... appended while the name is taken).
// `uvs` and `colours` say whether its vertices carry texture coordinates
// and colours. `imageDirectory` is put in front of a texture's relative
// file name ("" none). False (LastError) when it cannot be made.
bool importLayer(ImportBuilder* b, const char* name, const ImportLook& look,
                 bool uvs, bool colours, const char* imageDirectory);
// The point for a vertex of the current layer; normal, uv (top-left
// origin) and colour (display colour, RGBA) may be null. 0 on failure.
int32_t importVertex(ImportBuilder* b, const float position[3],
                     const float* normal, const float* uv,
                     const float* colour);
// The same for a reader that joined positions itself: this is the
// import's vertex number `b->firstPointAt.size()` (counting from 0 over
// every mesh), and `first` the number of the first vertex sent at the
// same position (the same number when none came before). A `first` that
// names a later vertex or another position is not believed: the vertex is
// taken as the first at its position.
int32_t importPlacedVertex(ImportBuilder* b, const float position[3],
                           uint32_t first, const float* normal, const float* uv,
                           const float* colour);
// A hint that `position` comes soon: the table slot it will ask for is
// fetched into the cache meanwhile (a large model's table is far larger
// than the cache, and each vertex would otherwise wait for memory).
void importPrefetch(const ImportBuilder* b, const float position[3]);
// The current layer is to take a mesh of about this many vertices (with
// normals or not) and triangles: its tables grow to hold them now (and the
// new memory is touched now), while the reader still works on the mesh.
// Only a hint: fewer or more may come.
void importExpectMesh(ImportBuilder* b, uint32_t vertices, uint32_t triangles, bool normals);
void importTriangle(ImportBuilder* b, int32_t a, int32_t c, int32_t d);
// `count` triangles at once, each three corners that index `pointOf` (the
// point each vertex of the mesh became; every corner in range).
void importTriangles(ImportBuilder* b, const int32_t* pointOf, const uint32_t* corners,
                     size_t count);
// Segments that continue one another are joined into one line.
void importSegment(ImportBuilder* b, int32_t a, int32_t c);
// Ends the current layer's run of segments (at the end of each mesh).
void importEndLines(ImportBuilder* b);
// Ends the current layer: normals that disagreed are dropped, and vertex
// colours that are all alike become the layer's colour.
void importEndLayer(ImportBuilder* b);
