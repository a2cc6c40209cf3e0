// Rewriting a layer's vertices around moved points instead of building
// them again: the patched arrays must be the full build's, byte for byte,
// and the model must say "only moves" only when that is so. PatchedDraw
// reads the drawn buffers back; it needs a display (CTest runs it under
// its own Xvfb) and skips without one.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "gl_window.h"
#include "model/geometry.h"
#include "model/model.h"
#include "model/point_moves.h"
#include "model/selection.h"
#include "model/transform.h"
#include "view/draw_model.h"
#include "view/layer_cache.h"
#include "view/model_displays.h"
#include "view/render_state.h"

namespace {

constexpr int kSide = 7;  // points per row of the bumpy sheet

int32_t at(int x, int y) { return 1 + y * kSide + x; }

// A bumpy sheet with a crease, quads and triangles, a five-point polygon,
// one naming a point twice, a selected quad, colours, stored normals and a
// line off to the side.
Model* bumpySheet() {
  Model* m = createModel(nullptr, "sheet.mod", nullptr);
  for (int y = 0; y < kSide; ++y)
    for (int x = 0; x < kSide; ++x)
      addPoint(m, at(x, y), static_cast<float>(x), static_cast<float>(y),
               x < 4 ? 0.3f * ((x * 7 + y * 3) % 5) : 2.0f * (x - 3));
  addLayer(m, "a", 200, 100, 50, 1, 0, 0);
  for (int y = 0; y + 1 < kSide - 1; ++y) {
    for (int x = 0; x + 1 < kSide; ++x) {
      if ((x + y) % 3 == 0) {
        const int32_t quad[4] = {at(x, y), at(x + 1, y), at(x, y + 1), at(x + 1, y + 1)};
        addTriangle(m, "a", 4, quad, 0);
      } else {
        const int32_t one[3] = {at(x, y), at(x + 1, y), at(x + 1, y + 1)};
        const int32_t two[3] = {at(x, y), at(x + 1, y + 1), at(x, y + 1)};
        addTriangle(m, "a", 3, one, 0);
        addTriangle(m, "a", 3, two, 0);
      }
    }
  }
  const int32_t five[5] = {at(0, 5), at(1, 5), at(0, 6), at(2, 5), at(1, 6)};
  const int32_t twice[4] = {at(2, 5), at(3, 5), at(2, 5), at(3, 6)};
  addTriangle(m, "a", 5, five, 0);
  addTriangle(m, "a", 4, twice, 0);
  const int32_t selected[4] = {at(4, 5), at(5, 5), at(4, 6), at(5, 6)};
  markTriangle(m, addTriangle(m, "a", 4, selected, 0), true);
  const int32_t line[2] = {at(6, 5), at(6, 6)};
  addLine(m, "a", 2, line, 0);
  addColour(m, "a", at(2, 2), 0.2f, 0.9f, 0.4f, 0.5f);
  addColour(m, nullptr, at(3, 3), 1, 0, 0, 1);
  addNormal(m, "a", at(1, 1), 0, 1, 1);
  return m;
}

struct Setting {
  NormalMode mode;
  float normalLength;
  bool autoNormals;
};

void build(Model* m, const Setting& s, LayerVertices* out) {
  const uint8_t selection[3] = {250, 10, 10};
  buildLayerVertices(m, findLayer(m, "a"), nullptr, s.mode, s.normalLength,
                     selection, out);
}

void applyPatch(const VertexPatch& patch, std::vector<DrawVertex>* to) {
  const DrawVertex* from = patch.vertices.data();
  for (const PatchRun& r : patch.runs) {
    ASSERT_LE(r.first + r.count, static_cast<int32_t>(to->size()));
    if (r.count == 0) continue;
    std::memcpy(to->data() + r.first, from, r.count * sizeof(DrawVertex));
    from += r.count;
  }
}

bool sameBytes(const std::vector<DrawVertex>& a, const std::vector<DrawVertex>& b) {
  return a.size() == b.size() &&
         (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(DrawVertex)) == 0);
}

// One or a few points moved the ways the document moves them.
void moveSome(Model* m, std::mt19937* random) {
  std::uniform_int_distribution<int> point(1, kSide * (kSide - 1));
  std::uniform_real_distribution<float> step(-0.6f, 0.6f);
  const int moves = 1 + static_cast<int>((*random)() % 3);
  for (int i = 0; i < moves; ++i) {
    const int32_t number = point(*random);
    const Point* p = findPoint(m, number);
    const float to[3] = {p->x + step(*random), p->y + step(*random), p->z + step(*random)};
    switch ((*random)() % 3) {
      case 0: addPoint(m, number, to[0], to[1], to[2]); break;
      case 1: placeModelPoint(m, number, to); break;
      default: {  // the marked point, as a drag moves it
        const float offset[3] = {step(*random), step(*random), step(*random)};
        translateSelection(m, offset);
      }
    }
  }
}

TEST(LayerPatch, PatchedVerticesAreTheFullBuildsByteForByte) {
  const Setting settings[] = {{kNormalsStoredElseSmooth, 0.0f, false},
                              {kNormalsStoredElseSmooth, 0.25f, false},
                              {kNormalsStoredElseFace, 0.25f, false},
                              {kNormalsFaceOnly, 0.0f, false},
                              {kNormalsStoredElseFace, 0.0f, true}};
  std::mt19937 random(16);
  int patched = 0;
  for (const Setting& s : settings) {
    Model* m = bumpySheet();
    ASSERT_TRUE(setAutoNormals(m, "a", s.autoNormals));
    ASSERT_TRUE(markPoint(m, at(3, 2), true));
    LayerVertices cached, fresh;
    build(m, s, &cached);
    for (int round = 0; round < 60; ++round) {
      const uint32_t drawn = m->revision;
      const int32_t lineOwner = at(6, 5);
      const Point before = *findPoint(m, lineOwner);
      moveSome(m, &random);
      IndexArray<int32_t> moved;
      build(m, s, &fresh);
      const Point after = *findPoint(m, lineOwner);
      const bool lineMoved = std::memcmp(&before, &after, 3 * sizeof(float)) != 0;
      ASSERT_TRUE(pointsMovedSince(m, drawn, &moved));
      LayerPatch patch;
      const uint8_t selection[3] = {250, 10, 10};
      const bool done = patchLayerVertices(m, findLayer(m, "a"), s.mode, s.normalLength,
                                           selection, cached.places, moved.items,
                                           moved.count, &patch);
      EXPECT_EQ(done, !lineMoved) << "a moved line point must refuse the patch";
      if (done) {
        applyPatch(patch.triangles, &cached.triangles);
        applyPatch(patch.normalLines, &cached.normalLines);
        ASSERT_TRUE(sameBytes(cached.triangles, fresh.triangles))
            << "mode " << s.mode << " round " << round;
        ASSERT_TRUE(sameBytes(cached.normalLines, fresh.normalLines))
            << "mode " << s.mode << " round " << round;
        ++patched;
      }
      std::swap(cached, fresh);  // as a rebuild would leave it
    }
    freeModel(m);
  }
  EXPECT_GT(patched, 150);
}

TEST(LayerPatch, OnlyMovesSinceTheDrawnRevisionAllowAPatch) {
  Model* m = bumpySheet();
  IndexArray<int32_t> moved;
  const uint32_t drawn = m->revision;
  const float to[3] = {1, 2, 3};
  ASSERT_TRUE(placeModelPoint(m, at(1, 1), to));
  const uint32_t between = m->revision;
  ASSERT_TRUE(placeModelPoint(m, at(2, 1), to));
  ASSERT_TRUE(pointsMovedSince(m, drawn, &moved));
  EXPECT_EQ(moved.count, 2);
  // A cache drawn between the moves patches only the later one.
  ASSERT_TRUE(pointsMovedSince(m, between, &moved));
  ASSERT_EQ(moved.count, 1);
  EXPECT_EQ(moved.items[0], tablePosition(&m->points, at(2, 1), false));
  // Anything but a move in between: no patch from before it.
  addColour(m, nullptr, at(4, 4), 0, 0, 1, 1);
  EXPECT_FALSE(pointsMovedSince(m, drawn, &moved));
  const uint32_t coloured = m->revision;
  ASSERT_TRUE(placeModelPoint(m, at(1, 1), to));
  EXPECT_TRUE(pointsMovedSince(m, coloured, &moved));
  addPoint(m, 100, 0, 0, 0);  // a new point is no move
  EXPECT_FALSE(pointsMovedSince(m, coloured, &moved));
  // More moves than are kept: no patch, until the next moves start afresh.
  for (int32_t n = 101; n <= 100 + kKeptPointMoves; ++n) addPoint(m, n, 0, 0, 0);
  const uint32_t many = m->revision;
  const float shift[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0.5f, 0, 0, 1};
  ASSERT_GT(applyMatrixToPoints(m, shift), kKeptPointMoves);
  EXPECT_FALSE(pointsMovedSince(m, many, &moved));
  const uint32_t after = m->revision;
  ASSERT_TRUE(placeModelPoint(m, at(1, 1), to));
  EXPECT_TRUE(pointsMovedSince(m, after, &moved));
  freeModel(m);
}

GlWindow g_window;
bool g_ready = false;

class PatchedDraw : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (std::getenv("DISPLAY") == nullptr) return;
    g_ready = openGlWindow(&g_window, 64, 64, "layer_patch");
  }
  static void TearDownTestSuite() {
    if (g_ready) closeGlWindow(&g_window);
    g_ready = false;
  }
  void SetUp() override {
    if (!g_ready) GTEST_SKIP() << "no display with GLX";
  }
};

// The vertices as drawn: a shared run's looked up through its indices.
std::vector<DrawVertex> readBack(const VertexRun& run) {
  if (run.buffer == 0) return run.host;
  const bool shared = run.elements != 0;
  std::vector<DrawVertex> stored(static_cast<size_t>(shared ? run.stored : run.count));
  glBindBuffer(GL_ARRAY_BUFFER, run.buffer);
  glGetBufferSubData(GL_ARRAY_BUFFER, 0, stored.size() * sizeof(DrawVertex),
                     stored.data());
  glBindBuffer(GL_ARRAY_BUFFER, 0);
  if (!shared) return stored;
  std::vector<uint32_t> indices(static_cast<size_t>(run.count));
  glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, run.elements);
  glGetBufferSubData(GL_ELEMENT_ARRAY_BUFFER, 0, indices.size() * sizeof(uint32_t),
                     indices.data());
  glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
  std::vector<DrawVertex> out;
  for (uint32_t i : indices)
    out.push_back(i < stored.size() ? stored[i] : DrawVertex());
  return out;
}

// The offsets the patch writes at, and the frames that patch rather than
// build, show only in what the GL holds. Markers are checked against a
// view that draws the model for the first time.
TEST_F(PatchedDraw, BuffersAfterMovesHoldWhatAFreshBuildGives) {
  std::mt19937 random(7);
  int patchedFrames = 0, sharedPatches = 0, roomRanOut = 0;
  for (int normals = 0; normals < 2; ++normals) {
    Model* m = bumpySheet();
    ASSERT_TRUE(markPoint(m, at(3, 2), true));
    RenderState render;
    initRenderState(&render);
    render.display.normals = normals;
    render.display.points = normals;  // markers follow moves too
    ModelDisplays* store = newModelDisplays();
    drawModel(store, m, &render);
    const int32_t slot = tablePosition(&m->layers, "a", false);
    // Without normal lines the smoothed sheet shares its vertices, and
    // enough rounds fill the room its buffer keeps for patches.
    const int rounds = normals ? 20 : 200;
    for (int round = 0; round < rounds; ++round) {
      moveSome(m, &random);
      const LayerDisplay* before = &store->byModel[m->id].layers[slot];
      const PolygonPlace* places = before->places.data();
      const int32_t stored = before->triangles.stored;
      drawModel(store, m, &render);
      const LayerDisplay& d = store->byModel[m->id].layers[slot];
      if (d.places.data() == places) {
        ++patchedFrames;
        if (d.triangles.elements != 0) ++sharedPatches;
      } else if (d.triangles.elements != 0 && d.triangles.stored < stored) {
        ++roomRanOut;
      }
      LayerVertices fresh;
      buildLayerVertices(m, findLayer(m, "a"), nullptr,
                         static_cast<NormalMode>(d.normalMode), d.normalLength,
                         d.selection, &fresh);
      ASSERT_TRUE(sameBytes(readBack(d.triangles), fresh.triangles)) << round;
      ASSERT_TRUE(sameBytes(readBack(d.normals), fresh.normalLines)) << round;
      if (!render.display.points) continue;
      ModelDisplays* anew = newModelDisplays();
      drawModel(anew, m, &render);
      ASSERT_TRUE(sameBytes(readBack(store->byModel[m->id].markers),
                            readBack(anew->byModel[m->id].markers))) << round;
      releaseModelDisplay(anew, m);
      beginModelFrame(anew, {});
      freeModelDisplays(anew);
    }
    releaseModelDisplay(store, m);
    beginModelFrame(store, {});  // deletes the buffers
    freeModelDisplays(store);
    freeModel(m);
  }
  EXPECT_GT(patchedFrames, 15);
  EXPECT_GT(sharedPatches, 15);
  EXPECT_GT(roomRanOut, 0);
}

}  // namespace
