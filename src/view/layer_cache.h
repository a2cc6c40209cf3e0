// The vertex data the view keeps per layer, assembled on the CPU from the
// document records: polygons as triangle fans, lines as segments, each
// vertex with its display position, normal and colour. No OpenGL here, so
// the rules (which colour, which normal, where a posed point goes) are
// tested without a display.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <unordered_map>
#include <vector>

#include "model/index_array.h"
#include "model/posing.h"
#include "model/records.h"
#include "view/host_memory.h"

// A unit normal's component as a signed normalised short, the form the
// GL is handed normals in: half the bytes of a float, and steps of 1/32767
// are far below what lighting shows.
inline int16_t normalShort(float c) {
  if (!(c > -1.0f)) return c == c ? -32767 : 0;  // NaN: 0
  if (c >= 1.0f) return 32767;
  const float scaled = c * 32767.0f;
  return static_cast<int16_t>(scaled < 0.0f ? scaled - 0.5f : scaled + 0.5f);
}

struct DrawVertex {
  // Left unset: layers of millions of vertices are sized first and then
  // written, and clearing them first would cost a pass of its own.
  DrawVertex() {}
  DrawVertex(const float p[3], const float n[3], const uint8_t c[4],
             uint8_t outlineEdge, uint8_t selectedCorner)
      : position{p[0], p[1], p[2]},
        colour{c[0], c[1], c[2], c[3]},
        normal{normalShort(n[0]), normalShort(n[1]), normalShort(n[2])},
        outline(outlineEdge),
        selected(selectedCorner) {}
  float position[3];
  uint8_t colour[4];  // r g b a, 0..255
  int16_t normal[3];  // unit length, by normalShort
  // Triangles: 1 when the edge from this vertex to the next one of its
  // triangle is an edge of the polygon, so that wireframes leave out the
  // diagonals of the fan. 1 for everything else.
  uint8_t outline;
  // 1 at the corners of selected polygons: a textured layer draws them
  // again untextured, so that the selection is not hidden by an image.
  uint8_t selected;
};
// 24 bytes, no padding: a layer of a million triangles hands the GL 72 MB.
static_assert(sizeof(DrawVertex) == 24, "DrawVertex is packed as the GL reads it");

// Where normals come from: the layer's table, else the model's, else the
// automatic one named; or always per face. A layer with automatic normals
// (perform autonormals) ignores its tables and smooths, unless per face.
enum NormalMode : int32_t {
  kNormalsStoredElseFace = 0,
  kNormalsStoredElseSmooth = 1,
  kNormalsFaceOnly = 2,
};

// Smoothing leaves edges sharper than 60 degrees sharp (boxes stay boxes).
constexpr float kCreaseCosine = 0.5f;

// Adds face g's normal to a corner's sum when g meets the corner's face
// (unit normal u) at less than the crease angle.
inline void addUncreased(const float* u, const float* unitG,
                         const float* normalG, float out[3]) {
  if (u[0] * unitG[0] + u[1] * unitG[1] + u[2] * unitG[2] < kCreaseCosine)
    return;
  out[0] += normalG[0];
  out[1] += normalG[1];
  out[2] += normalG[2];
}

// The faces around every point of a layer, for smoothing (scratch that
// buildLayerVertices reuses from one call to the next): each face's
// normal (length twice its area, so sums weigh faces by area) and unit
// normal, and per point slot the faces that use it. Per-slot entries are
// valid by generation, so a small layer of a big model costs only what it
// touches.
struct SmoothScratch {
  UnsetVector<float> normals;        // 3 per face
  UnsetVector<float> units;          // 3 per face
  UnsetVector<int32_t> cornerSlots;  // every corner of every face, in order
  UnsetVector<int32_t> faceStart;    // per face: its first corner
  std::vector<uint32_t> stamp;       // per slot
  std::vector<int32_t> first;        // per slot: start in `faces`
  std::vector<int32_t> count;        // per slot
  std::vector<int32_t> touched;
  std::vector<int32_t> faces;  // face numbers grouped by slot
  UnsetVector<int32_t> polygonSlots;  // per face: its slot in the layer
  // Per slot: 1 when every face there meets every other at well under the
  // crease angle, so that all its corners share one normal, kept in `unit`
  // (3 per slot) already of unit length. Most points of a smooth surface
  // are so, and their corners skip the walk over the faces.
  std::vector<uint8_t> uniform;
  std::vector<float> unit;
  int32_t selectedFaces = 0;
  uint32_t generation = 0;

  void begin(int32_t slots) {
    if (stamp.size() < static_cast<size_t>(slots)) {
      stamp.resize(slots, 0);
      first.resize(slots, 0);
      count.resize(slots, 0);
    }
    if (++generation == 0) {
      std::fill(stamp.begin(), stamp.end(), 0);
      generation = 1;
    }
    normals.clear();
    units.clear();
    cornerSlots.clear();
    faceStart.clear();
    polygonSlots.clear();
    touched.clear();
    selectedFaces = 0;
  }
  // Groups the faces by slot once every face is in, and finds the slots
  // whose corners all share a normal.
  void index() {
    for (int32_t slot : cornerSlots) {
      if (stamp[slot] != generation) {
        stamp[slot] = generation;
        count[slot] = 0;
        touched.push_back(slot);
      }
      ++count[slot];
    }
    int32_t running = 0;
    for (int32_t slot : touched) {
      first[slot] = running;
      running += count[slot];
      count[slot] = 0;
    }
    faces.resize(static_cast<size_t>(running));
    const int32_t faceCount = static_cast<int32_t>(faceStart.size());
    for (int32_t f = 0; f < faceCount; ++f) {
      const int32_t end = f + 1 < faceCount
                              ? faceStart[f + 1]
                              : static_cast<int32_t>(cornerSlots.size());
      for (int32_t c = faceStart[f]; c < end; ++c) {
        const int32_t slot = cornerSlots[c];
        faces[first[slot] + count[slot]++] = f;
      }
    }
    findUniform();
  }
  // The normal of face f at the point in `slot`: the faces there that meet
  // f at less than the crease angle, weighed by area. True when it is of
  // unit length already (the slot is uniform), false when still a sum.
  bool cornerNormal(int32_t f, int32_t slot, float out[3]) const {
    if (uniform[slot]) {
      std::copy_n(&unit[3 * static_cast<size_t>(slot)], 3, out);
      return true;
    }
    const float* u = &units[3 * static_cast<size_t>(f)];
    out[0] = out[1] = out[2] = 0.0f;
    for (int32_t i = first[slot]; i < first[slot] + count[slot]; ++i) {
      const size_t g = 3 * static_cast<size_t>(faces[i]);
      addUncreased(u, &units[g], &normals[g], out);
    }
    return false;
  }

 private:
  // Every face within 29.5 degrees of the sum's direction puts any two
  // within 59 degrees of each other: under the crease angle with room to
  // spare for rounding, so each corner there sums every face, in the same
  // order, and gets the same bits as the walk would give it.
  static constexpr float kUniformCosine = 0.87f;
  void findUniform();
};

// Where a polygon's vertices start in its layer's arrays: the first of
// its triangles (-1: left out, as one naming a missing point is) and, two
// per corner, of its normal lines.
struct PolygonPlace {
  int32_t triangles;
  int32_t normalLines;
};

struct LayerVertices {
  std::vector<DrawVertex> triangles;  // 3 per triangle
  // 2 per segment; the closing segments (last point back to the first, for
  // lines of 3 or more points) follow all the open ones.
  std::vector<DrawVertex> lines;
  int32_t openLineVertices;
  // 2 per polygon corner: the corner and the corner moved along its
  // normal; filled only when a length is asked for.
  std::vector<DrawVertex> normalLines;
  // Selected polygons and lines met: when none, the vertices do not depend
  // on the selection colour.
  int32_t selectedItems;
  std::vector<PolygonPlace> places;  // by slot of the layer's polygon table
  SmoothScratch smooth;  // working space, kept to reuse its arrays
  // Triangle vertices placed but not yet written (see writeDeferredTriangles):
  // `triangles` stays empty then.
  size_t deferredTriangles = 0;
  struct {
    const float* positions;
    bool automatic;
  } smoothed = {nullptr, false};
};

// A smoothed layer's triangle vertices with the corners that are alike
// sharing one: each distinct vertex once, and per triangle corner the
// index of its vertex, in the order of the unshared array. A big layer is
// shared in two halves of its faces at once: the vertices are those of
// vertices[0], then those of vertices[1].
struct SharedTriangles {
  UnsetVector<DrawVertex> vertices[2];
  UnsetVector<uint32_t> indices;
  // Working space per half: per point slot its first vertex (-1 between
  // builds), per vertex the next one of the same slot.
  std::vector<int32_t> head[2];
  UnsetVector<int32_t> next[2];
  size_t vertexCount() const { return vertices[0].size() + vertices[1].size(); }
  const DrawVertex& vertex(uint32_t i) const {
    return i < vertices[0].size() ? vertices[0][i] : vertices[1][i - vertices[0].size()];
  }
};

// Runs of vertices rewritten in place: `count` from `first` of the
// layer's array, taken in turn from `vertices`.
struct PatchRun {
  int32_t first;
  int32_t count;
};
struct VertexPatch {
  std::vector<PatchRun> runs;
  std::vector<DrawVertex> vertices;
};
struct LayerPatch {
  VertexPatch triangles, normalLines;
  // Working space: point and polygon slots, and the normal and unit
  // normal of each face met (6 floats from faces[slot]).
  IndexArray<int32_t> moved, uses, changed, ring, patched, around;
  std::unordered_map<int32_t, size_t> faces;
  std::vector<float> faceNormals;
  // Sharing the rewritten vertices: their order by bytes, the index each
  // corner takes, and the vertices added.
  std::vector<uint32_t> order, indices;
  std::vector<DrawVertex> added;
};


// The triangles the layer's polygons are drawn with (a polygon of n
// points is a strip of n - 2).
size_t layerStripTriangles(const Layer* layer);

// Refills `out` for the layer. `positions` holds three floats per slot of
// the model's point table (a posed copy), or is null for the points as
// stored. Polygons or lines naming a missing point are left out.
// `normalLength` 0 leaves normalLines empty. Every corner of a selected
// polygon or line takes `selection` (r g b) instead of its own colour, and
// keeps its alpha.
// `deferTriangles` lets a smoothed layer without normal lines leave its
// triangle vertices unwritten: `deferredTriangles` says how many, and
// writeDeferredTriangles writes them wherever the caller wants them (the
// GL's own memory, saving a copy of the biggest array the view makes).
// `meanwhile`, when given, is run once on this thread with the number of
// triangle vertices that will be deferred (0: none): while a second thread
// indexes a smoothed layer's faces, else at the end. It must not throw.
void buildLayerVertices(const Model* model, const Layer* layer,
                        const float* positions, NormalMode mode,
                        float normalLength, const uint8_t selection[3],
                        LayerVertices* out, bool deferTriangles = false,
                        std::function<void(size_t)> meanwhile = nullptr);

// Writes the `built->deferredTriangles` vertices to `to`, as
// buildLayerVertices would have; the model, layer and positions as they
// were for it, `built` as it left it.
void writeDeferredTriangles(const Model* model, const Layer* layer,
                            const uint8_t selection[3], LayerVertices* built,
                            DrawVertex* to);

// Writes the `built->deferredTriangles` vertices shared, instead of
// writeDeferredTriangles: corners of one point whose vertices would be
// equal byte for byte take one vertex. On the points of a smooth surface
// that is every corner of the point, so a closed mesh of triangles keeps
// about one vertex per two triangles. Looking the indices up gives what
// writeDeferredTriangles writes.
void writeSharedTriangles(const Model* model, const Layer* layer,
                          const uint8_t selection[3], const LayerVertices& built,
                          SharedTriangles* out);

// After the points in `moved` (slots) moved, the vertices of the layer's
// polygons that changed, as buildLayerVertices would now make them from
// the stored points: the polygons using a moved point and, when normals
// are smoothed, those sharing a point with one of them. `places` are those
// of the build being patched, made with the same mode, normal length and
// selection colour, the layer unchanged since. False when it cannot be
// done so (a line uses a moved point, the model keeps no polygon index):
// build the layer again.
bool patchLayerVertices(const Model* model, const Layer* layer,
                        NormalMode mode, float normalLength,
                        const uint8_t selection[3],
                        const std::vector<PolygonPlace>& places,
                        const int32_t* moved, int32_t movedCount,
                        LayerPatch* out);

// What marks the selected joints and collide objects of a model, in
// `colour`, at their rest placement: a point per selected joint at its
// position (`joints`), and per selected collide object the twelve edges of
// its box as segments (`edges`, 24 vertices): `size` full lengths along
// the object's own axes, centred at its position, turned by its rotation
// (row by row, local to model). Both are refilled.
void buildSelectedMarks(const Model* model, const uint8_t colour[3],
                        std::vector<DrawVertex>* joints,
                        std::vector<DrawVertex>* edges);
