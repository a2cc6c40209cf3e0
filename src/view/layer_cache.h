// The vertex data the view keeps per layer, assembled on the CPU from the
// document records: polygons as triangle fans, lines as segments, each
// vertex with its display position, normal and colour. No OpenGL here, so
// the rules (which colour, which normal, where a posed point goes) are
// tested without a display.
#pragma once

#include <cstdint>
#include <vector>

#include "model/records.h"

struct DrawVertex {
  float position[3];
  float normal[3];
  uint8_t colour[4];  // r g b a, 0..255
  // Triangles: 1 when the edge from this vertex to the next one of its
  // triangle is an edge of the polygon, so that wireframes leave out the
  // diagonals of the fan. 1 for everything else.
  uint8_t outline;
  uint8_t unused[3];
};

// Where normals come from: the layer's table, else the model's, else the
// automatic one named; or always per face.
enum NormalMode : int32_t {
  kNormalsStoredElseFace = 0,
  kNormalsStoredElseSmooth = 1,
  kNormalsFaceOnly = 2,
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
};


// Refills `out` for the layer. `positions` holds three floats per slot of
// the model's point table (a posed copy), or is null for the points as
// stored. Polygons or lines naming a missing point are left out.
// `normalLength` 0 leaves normalLines empty.
void buildLayerVertices(const Model* model, const Layer* layer,
                        const float* positions, NormalMode mode,
                        float normalLength, LayerVertices* out);

// The display copy of the points, by point slot: each point moved by its
// morph offsets (the world morphs and every joint's), then by the joint
// poses it is weighted to. A joint's pose acts about its rest position:
//   x -> position + translation + rotation * (scale .* (x - position)),
// applied after its parent's (the joint's world transform is the parent's
// world transform times its own). A point weighted w to a joint moves by
// w times the difference that joint's transform makes (a linear blend;
// weights are not normalised, so a lone weight of 0.5 moves it halfway).
// False, with `out` untouched, when the model has no joints and no world
// morphs (the stored points are the display points).
bool computeDisplayPoints(const Model* model, std::vector<float>* out);

// A hash of everything computeDisplayPoints reads besides the points:
// joints (rest position, parent, pose), weights and morphs.
uint64_t poseSignature(const Model* model);
