// The vertex data behind a drawn layer: fans and outlines, which colour and
// which normal a corner gets, and line segments.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <map>
#include <random>
#include <vector>

#include "model/children.h"
#include "model/geometry.h"
#include "model/model.h"
#include "model/selection.h"
#include "model/skeleton.h"
#include "test_models.h"
#include "view/layer_cache.h"
#include "view/layer_parts.h"

namespace {

struct LayerCache : test_models::SquareTest {
  LayerVertices v;
  void SetUp() override { addLayer(m, "a", 255, 0, 0, 1, 0, 0); }
  void build(NormalMode mode = kNormalsStoredElseFace, float normals = 0.0f) {
    const uint8_t selection[3] = {10, 20, 30};
    buildLayerVertices(m, findLayer(m, "a"), nullptr, mode, normals, selection,
                       &v);
  }
  void addQuad() {
    const int32_t quad[4] = {1, 2, 3, 4};
    ASSERT_NE(addTriangle(m, "a", 4, quad, 0), 0);
  }
};

void expectColour(const DrawVertex& v, int r, int g, int b, int a) {
  EXPECT_EQ(v.colour[0], r);
  EXPECT_EQ(v.colour[1], g);
  EXPECT_EQ(v.colour[2], b);
  EXPECT_EQ(v.colour[3], a);
}

void expectNormal(const DrawVertex& v, float x, float y, float z) {
  EXPECT_NEAR(v.normal[0] / 32767.0f, x, 2e-5);
  EXPECT_NEAR(v.normal[1] / 32767.0f, y, 2e-5);
  EXPECT_NEAR(v.normal[2] / 32767.0f, z, 2e-5);
}

TEST_F(LayerCache, QuadIsAStripWhoseWireframeSkipsTheDiagonalAndStoredNormalsWin) {
  addQuad();
  build();
  ASSERT_EQ(v.triangles.size(), 6u);
  const int order[6] = {1, 2, 3, 3, 2, 4};
  for (int i = 0; i < 6; ++i) {
    const Point* p = findPoint(m, order[i]);
    EXPECT_EQ(v.triangles[i].position[0], p->x) << i;
    EXPECT_EQ(v.triangles[i].position[1], p->y) << i;
  }
  // Edges 1-2, 2-3 (diagonal), 3-1 | 3-2 (diagonal), 2-4, 4-3.
  const int outline[6] = {1, 0, 1, 0, 1, 1};
  for (int i = 0; i < 6; ++i)
    EXPECT_EQ(v.triangles[i].outline, outline[i]) << i;
  // Stored normals win unless flat.
  addNormal(m, nullptr, 1, 0, 2, 0);  // stored unnormalised
  addNormal(m, "a", 2, 1, 0, 0);
  addNormal(m, nullptr, 2, 0, 0, -1);  // hidden by the layer's
  build();
  expectNormal(v.triangles[0], 0, 1, 0);
  expectNormal(v.triangles[1], 1, 0, 0);
  expectNormal(v.triangles[2], 0, 0, 1);  // face normal
  build(kNormalsFaceOnly);
  for (const DrawVertex& d : v.triangles) expectNormal(d, 0, 0, 1);
}

TEST_F(LayerCache, ColourComesFromLayerThenModelThenLayerLineAndOpacityScalesAlpha) {
  addQuad();
  addColour(m, "a", 1, 0, 1, 0, 1);
  addColour(m, nullptr, 1, 0, 0, 1, 1);  // hidden by the layer's
  addColour(m, nullptr, 2, 0, 0, 1, 1);
  build();
  expectColour(v.triangles[0], 0, 255, 0, 255);
  expectColour(v.triangles[1], 0, 0, 255, 255);
  expectColour(v.triangles[2], 255, 0, 0, 255);  // 255 0 0 on the layer line
  // Opacity scales every alpha, a point's own included.
  addColour(m, "a", 1, 0, 1, 0, 0.5f);
  setTransparency(m, "a", 0.5f);
  build();
  EXPECT_EQ(v.triangles[0].colour[3], 64);
  EXPECT_EQ(v.triangles[2].colour[3], 128);
}

TEST_F(LayerCache, LayerLineColourReadsUnitOr255ScaleAndZeroIsGrey) {
  float rgb[3];
  Layer* a = findLayer(m, "a");
  const float unit[3] = {0.5f, 0.25f, 1.0f};
  std::copy(unit, unit + 3, a->origin);
  layerColour(a, rgb);
  EXPECT_FLOAT_EQ(rgb[0], 0.5f);
  EXPECT_FLOAT_EQ(rgb[2], 1.0f);
  const float bytes[3] = {127.0f, 0.5f, 0.0f};
  std::copy(bytes, bytes + 3, a->origin);
  layerColour(a, rgb);
  EXPECT_NEAR(rgb[0], 127 / 255.0, 1e-6);
  EXPECT_NEAR(rgb[1], 0.5 / 255.0, 1e-6);
  std::fill(a->origin, a->origin + 3, 0.0f);
  layerColour(a, rgb);
  EXPECT_NEAR(rgb[1], 127 / 255.0, 1e-6);
}

TEST_F(LayerCache, SmoothNormalsAverageShallowAnglesAndKeepSharpEdgesSharp) {
  // A flat roof: two faces rising 0.25 in x from the ridge 2-3 each way.
  addPoint(m, 2, 1, 0, 0.25f);
  addPoint(m, 3, 1, 1, 0.25f);
  addPoint(m, 5, 2, 0, 0);
  addPoint(m, 6, 2, 1, 0);
  // Polygons are strips: each quad lists its corners zigzag.
  const int32_t left[4] = {1, 2, 4, 3}, right[4] = {2, 5, 3, 6};
  addTriangle(m, "a", 4, left, 0);
  addTriangle(m, "a", 4, right, 0);
  build(kNormalsStoredElseSmooth);
  expectNormal(v.triangles[1], 0, 0, 1);  // point 2, on the ridge
  const float k = 1.0f / std::sqrt(1.0625f);
  expectNormal(v.triangles[0], -0.25f * k, 0, k);  // point 1: left face only
  build(kNormalsStoredElseFace);
  expectNormal(v.triangles[1], -0.25f * k, 0, k);
  // Automatic normals smooth whatever is stored and whatever gouraud says;
  // flat still gives faces.
  addNormal(m, "a", 2, 1, 0, 0);
  ASSERT_TRUE(setAutoNormals(m, "a", true));
  build(kNormalsStoredElseFace);
  expectNormal(v.triangles[1], 0, 0, 1);
  build(kNormalsFaceOnly);
  expectNormal(v.triangles[1], -0.25f * k, 0, k);
  ASSERT_TRUE(setAutoNormals(m, "a", false));
  build(kNormalsStoredElseFace);
  expectNormal(v.triangles[1], 1, 0, 0);
  // Folded down to a right angle along 2-3, the edge stays sharp.
  ASSERT_TRUE(deleteNormal(m, "a", 2));
  addPoint(m, 5, 1, 0, -1);
  addPoint(m, 6, 1, 1, -1);
  build(kNormalsStoredElseSmooth);
  expectNormal(v.triangles[1], -0.25f * k, 0, k);  // point 2 on the roof
  expectNormal(v.triangles[6], 1, 0, 0);           // and on the side
}

// Points where every face is close to every other share one normal made
// once; the rest walk their faces per corner. Both must give each corner
// the drawn normal of the plain rule: the area-weighed sum, in face order,
// of the faces there meeting the corner's face at under the crease angle.
TEST_F(LayerCache, SharedPointNormalsMatchThePerCornerWalkOnFoldedMeshes) {
  std::mt19937 random(5);
  std::uniform_real_distribution<float> unit(0.0f, 1.0f);
  SharedTriangles shared;  // kept from round to round, as the view keeps it
  for (int round = 0; round < 21; ++round) {
    freeModel(m);
    m = createModel(nullptr, "fold", nullptr);
    addLayer(m, "a", 255, 0, 0, 1, 0, 0);
    // A grid whose rows are folded by random amounts, some near the crease;
    // the last is big enough to be written by two threads.
    const int side = round < 20 ? 12 : 270;
    for (int y = 0; y <= side; ++y)
      for (int x = 0; x <= side; ++x)
        addPoint(m, 1 + y * (side + 1) + x, static_cast<float>(x),
                 static_cast<float>(y), (y % 3 == 0 ? 2.0f : 0.3f) * unit(random) * y);
    for (int y = 0; y < side; ++y)
      for (int x = 0; x < side; ++x) {
        const int32_t a = 1 + y * (side + 1) + x, b = a + 1, c = a + side + 1;
        const int32_t quad[4] = {a, b, c, c + 1}, tri[3] = {a, b, c};
        if ((x + y + round) % 4 == 0) {
          addTriangle(m, "a", 3, tri, 0);
        } else {
          addTriangle(m, "a", 4, quad, 0);
        }
      }
    // Strips longer than a record holds inline, over the same points.
    for (int k = 0; k < 5; ++k) {
      const int32_t a = 1 + (2 * k + round % 3) * (side + 1) + k + 1;
      const int32_t strip[6] = {a, a + 1, a + side + 1, a + side + 2, a + 2 * (side + 1),
                                a + 2 * (side + 1) + 1};
      addTriangle(m, "a", 6, strip, 0);
    }
    // Polygons naming a missing point are left out: in the big round, some
    // in the earlier half of the table, whose faces the later half's follow.
    if (side > 12) {
      for (int32_t gone : {5, 1000, 20000}) ASSERT_TRUE(tableRemove(&m->points, gone));
    }
    build(kNormalsStoredElseSmooth);

    const Layer* layer = findLayer(m, "a");
    int32_t leftOut = 0;
    std::vector<std::vector<layer_parts::Corner>> polygons;
    std::vector<std::array<float, 6>> faces;  // sum-normal, then unit
    for (int32_t s = tableNextSlot(&layer->triangles, -1); s >= 0;
         s = tableNextSlot(&layer->triangles, s)) {
      const Triangle* t = tableAt<Triangle>(&layer->triangles, s);
      std::vector<layer_parts::Corner> corners(t->count);
      if (!layer_parts::resolveCorners(m, nullptr, polygonPoints(t), t->count,
                                       corners.data())) {
        ++leftOut;
        continue;
      }
      std::array<float, 6> f;
      layer_parts::stripNormal(corners.data(), t->count, f.data());
      std::copy_n(f.data(), 3, f.data() + 3);
      layer_parts::normalise(f.data() + 3);
      polygons.push_back(corners);
      faces.push_back(f);
    }
    std::map<int32_t, std::vector<size_t>> facesAt;  // point slot: faces in order
    for (size_t f = 0; f < polygons.size(); ++f)
      for (const layer_parts::Corner& c : polygons[f]) facesAt[c.slot].push_back(f);
    size_t vertex = 0;
    for (size_t f = 0; f < polygons.size(); ++f) {
      const std::vector<layer_parts::Corner>& corners = polygons[f];
      std::vector<std::array<float, 3>> normals(corners.size());
      for (size_t i = 0; i < corners.size(); ++i) {
        float n[3] = {0.0f, 0.0f, 0.0f};
        for (size_t g : facesAt[corners[i].slot])
          addUncreased(faces[f].data() + 3, faces[g].data() + 3, faces[g].data(), n);
        layer_parts::normalise(n);
        std::copy_n(n, 3, normals[i].data());
      }
      forEachStripIndex(static_cast<int32_t>(corners.size()),
                        [&](int32_t a, int32_t b, int32_t c) {
                          for (int32_t k : {a, b, c}) {
                            ASSERT_LT(vertex, v.triangles.size());
                            const int16_t* drawn = v.triangles[vertex++].normal;
                            for (int i = 0; i < 3; ++i)
                              EXPECT_EQ(drawn[i], normalShort(normals[k][i]))
                                  << "round " << round << " polygon " << f;
                          }
                        });
    }
    EXPECT_EQ(vertex, v.triangles.size());
    if (side > 12) {
      EXPECT_GT(leftOut, 6);
    }
    // Shared, the corners look up the very vertices they had.
    const uint8_t selection[3] = {10, 20, 30};
    LayerVertices deferred;
    buildLayerVertices(m, layer, nullptr, kNormalsStoredElseSmooth, 0.0f, selection,
                       &deferred, true);
    writeSharedTriangles(m, layer, selection, deferred, &shared);
    ASSERT_EQ(shared.indices.size(), v.triangles.size());
    for (size_t i = 0; i < v.triangles.size(); ++i) {
      ASSERT_LT(shared.indices[i], shared.vertexCount());
      ASSERT_EQ(std::memcmp(&shared.vertex(shared.indices[i]), &v.triangles[i],
                            sizeof(DrawVertex)), 0) << "round " << round << " corner " << i;
    }
  }
}

TEST_F(LayerCache, SharingKeepsOneVertexPerPointOfASmoothTriangleSheet) {
  freeModel(m);
  m = createModel(nullptr, "sheet", nullptr);
  addLayer(m, "a", 255, 0, 0, 1, 0, 0);
  constexpr int kSide = 20;
  for (int y = 0; y <= kSide; ++y)
    for (int x = 0; x <= kSide; ++x)
      addPoint(m, 1 + y * (kSide + 1) + x, static_cast<float>(x), static_cast<float>(y),
               0.01f * static_cast<float>(x * y));
  for (int y = 0; y < kSide; ++y)
    for (int x = 0; x < kSide; ++x) {
      const int32_t a = 1 + y * (kSide + 1) + x, b = a + 1, c = a + kSide + 1, d = c + 1;
      const int32_t one[3] = {a, b, d}, two[3] = {a, d, c};
      addTriangle(m, "a", 3, one, 0);
      addTriangle(m, "a", 3, two, 0);
    }
  const uint8_t selection[3] = {10, 20, 30};
  buildLayerVertices(m, findLayer(m, "a"), nullptr, kNormalsStoredElseSmooth, 0.0f,
                     selection, &v, true);
  SharedTriangles shared;
  writeSharedTriangles(m, findLayer(m, "a"), selection, v, &shared);
  EXPECT_EQ(shared.vertexCount(), static_cast<size_t>((kSide + 1) * (kSide + 1)));
}

TEST_F(LayerCache, LinesAreSegmentsWithClosingSegmentsLastAndNormalLinesStartAtCorners) {
  const int32_t three[3] = {1, 2, 3}, two[2] = {3, 4};
  addLine(m, "a", 3, three, 0);
  addLine(m, "a", 2, two, 0);
  build();
  EXPECT_EQ(v.openLineVertices, 6);  // 1-2, 2-3, 3-4
  ASSERT_EQ(v.lines.size(), 8u);     // then 3-1
  EXPECT_EQ(v.lines[6].position[0], 1.0f);
  EXPECT_EQ(v.lines[7].position[0], 0.0f);
  EXPECT_TRUE(v.triangles.empty());
  // Normal lines start at the corners and point along the normals.
  addQuad();
  build(kNormalsStoredElseFace, 0.5f);
  ASSERT_EQ(v.normalLines.size(), 8u);
  EXPECT_EQ(v.normalLines[2].position[0], 1.0f);
  EXPECT_FLOAT_EQ(v.normalLines[3].position[2], 0.5f);
  build();
  EXPECT_TRUE(v.normalLines.empty());
}

TEST_F(LayerCache, SelectedPolygonsAndLinesTakeTheSelectionColourKeepingAlpha) {
  addQuad();
  const int32_t two[2] = {1, 3};
  const int32_t line = addLine(m, "a", 2, two, 0);
  setTransparency(m, "a", 0.5f);
  const int32_t quad = tableAt<Triangle>(&findLayer(m, "a")->triangles, 0)->id;
  ASSERT_TRUE(markTriangle(m, quad, true));
  build();
  EXPECT_EQ(v.selectedItems, 1);
  for (const DrawVertex& d : v.triangles) {
    expectColour(d, 10, 20, 30, 128);
    EXPECT_EQ(d.selected, 1);
  }
  expectColour(v.lines[0], 255, 0, 0, 128);  // the line is not selected
  ASSERT_TRUE(markTriangle(m, quad, false));
  ASSERT_TRUE(markLine(m, line, true));
  build();
  EXPECT_EQ(v.selectedItems, 1);
  for (const DrawVertex& d : v.triangles) {
    expectColour(d, 255, 0, 0, 128);
    EXPECT_EQ(d.selected, 0);
  }
  for (const DrawVertex& d : v.lines) expectColour(d, 10, 20, 30, 128);
}

TEST_F(LayerCache, OnlySelectedJointsAndCollidesAreMarkedAndBoxesTurnWithTheObject) {
  // A quarter turn about z: local x runs along world y, local y along -x.
  const float turn[9] = {0, -1, 0, 1, 0, 0, 0, 0, 1};
  const float at[3] = {1, 2, 3}, size[3] = {2, 4, 6};
  const int32_t box = addCollide(m, "box", kShapeBox, at, size, turn, 1, 0, 0, 0);
  addCollide(m, "other", kShapeBox, at, size, turn, 1, 0, 0, 0);
  ASSERT_NE(addJoint(m, "hip", 5, 6, 7, "world", 1, 1, 1), nullptr);
  ASSERT_NE(addJoint(m, "knee", 0, 0, 0, "hip", 1, 1, 1), nullptr);
  std::vector<DrawVertex> joints, edges;
  const uint8_t colour[3] = {1, 2, 3};
  buildSelectedMarks(m, colour, &joints, &edges);
  EXPECT_TRUE(joints.empty());
  EXPECT_TRUE(edges.empty());

  ASSERT_TRUE(markCollide(m, box, true));
  ASSERT_TRUE(markJoint(m, "hip", true));
  buildSelectedMarks(m, colour, &joints, &edges);
  ASSERT_EQ(joints.size(), 1u);
  EXPECT_EQ(joints[0].position[0], 5.0f);
  EXPECT_EQ(joints[0].position[2], 7.0f);
  expectColour(joints[0], 1, 2, 3, 255);
  ASSERT_EQ(edges.size(), 24u);
  float low[3] = {1e9f, 1e9f, 1e9f}, high[3] = {-1e9f, -1e9f, -1e9f};
  for (const DrawVertex& d : edges) {
    for (int i = 0; i < 3; ++i) {
      low[i] = std::min(low[i], d.position[i]);
      high[i] = std::max(high[i], d.position[i]);
    }
  }
  const float wantLow[3] = {-1, 1, 0}, wantHigh[3] = {3, 3, 6};
  for (int i = 0; i < 3; ++i) {
    EXPECT_NEAR(low[i], wantLow[i], 1e-6) << i;
    EXPECT_NEAR(high[i], wantHigh[i], 1e-6) << i;
  }
  // Each segment is an edge: its ends differ along one box axis only.
  for (size_t e = 0; e < edges.size(); e += 2) {
    int differing = 0;
    for (int i = 0; i < 3; ++i)
      differing += edges[e].position[i] != edges[e + 1].position[i];
    EXPECT_EQ(differing, 1) << e / 2;
  }
}

}  // namespace
