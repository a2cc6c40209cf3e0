// Revisions: the view redraws a layer from its cached vertex data unless
// the layer's or the model's revision moved, so a change that forgets to
// move them shows stale geometry.
#include <gtest/gtest.h>

#include "io/texture_files.h"
#include "model/geometry.h"
#include "model/model.h"
#include "test_models.h"

namespace {

struct Revisions : test_models::ModelTest {
  void SetUp() override {
    for (int32_t n = 1; n <= 4; ++n) addPoint(m, n, n, n * n, 0);
    addLayer(m, "a", 0, 0, 0, 1, 0, 0);
    addLayer(m, "b", 0, 0, 0, 1, 0, 0);
    const int32_t tri[3] = {1, 2, 3};
    addTriangle(m, "a", 3, tri, 0);
  }
  uint32_t rev(const char* layer) { return findLayer(m, layer)->revision; }
};

// Runs `change` and tells which of model, layer a and layer b moved.
#define EXPECT_TOUCHES(change, model, a, b)                        \
  do {                                                             \
    const uint32_t m0 = m->revision, a0 = rev("a"), b0 = rev("b"); \
    change;                                                        \
    EXPECT_EQ(m->revision != m0, model) << #change;                \
    EXPECT_EQ(rev("a") != a0, a) << #change;                       \
    EXPECT_EQ(rev("b") != b0, b) << #change;                       \
  } while (0)

TEST_F(Revisions, LayerContentChangesTouchOnlyThatLayer) {
  const int32_t quad[4] = {1, 2, 3, 4};
  EXPECT_TOUCHES(addTriangle(m, "a", 4, quad, 0), false, true, false);
  EXPECT_TOUCHES(addLine(m, "a", 2, quad, 0), false, true, false);
  EXPECT_TOUCHES(addColour(m, "a", 1, 1, 0, 0, 1), false, true, false);
  EXPECT_TOUCHES(addNormal(m, "a", 1, 0, 0, 1), false, true, false);
  EXPECT_TOUCHES(addSurface(m, "a", 1, 0, 0, 1), false, true, false);
  EXPECT_TOUCHES(deleteColour(m, "a", 1), false, true, false);
  EXPECT_TOUCHES(deleteNormal(m, "a", 1), false, true, false);
  EXPECT_TOUCHES(setTransparency(m, "a", 0.5f), false, true, false);
  EXPECT_TOUCHES(addImageFromFiles(m, "a", 1, "none", kImageSmooth, 1, 2, 1.0f), false,
                 true, false);
  EXPECT_TOUCHES(addUvee(m, "a", 1, 1, 0.5f, 0.5f), false, true, false);
  EXPECT_TOUCHES(setInvisibleColour(m, "a", 1, 0, 0, 0), false, true, false);
  EXPECT_TOUCHES(setShader(m, "a", "pixel", "p.sh"), false, true, false);
  EXPECT_TOUCHES(deleteMirrorImage(m, "a", 1), false, true, false);
  EXPECT_TOUCHES(deleteImage(m, "a", 1), false, true, false);
  const KeyedTable* triangles = &findLayer(m, "a")->triangles;
  const int32_t id = tableIntKeyAt(triangles, tableNextSlot(triangles, -1));
  EXPECT_TOUCHES(deleteTriangle(m, id), false, true, false);
}

TEST_F(Revisions, PointsAndModelTablesTouchTheModelAndOnlyTheLayersTheyReach) {
  flushDerived(m);  // nothing left due that a move would do first
  EXPECT_TOUCHES(addPoint(m, 9, 1, 2, 3), true, false, false);
  EXPECT_TOUCHES(addPoint(m, 1, 5, 5, 5), true, false, false);
  EXPECT_TOUCHES(addColour(m, nullptr, 4, 1, 1, 1, 1), true, false, false);
  EXPECT_TOUCHES(addNormal(m, "(global)", 4, 0, 1, 0), true, false, false);
  EXPECT_TOUCHES(deleteNormal(m, nullptr, 4), true, false, false);
  // A see-through model colour, or a deleted point, also touches the
  // layers it marks or takes from, and only those.
  EXPECT_TOUCHES(addColour(m, nullptr, 2, 1, 1, 1, 0.5f), true, true, false);
  EXPECT_TOUCHES(deletePoint(m, 2), true, true, false);
  EXPECT_TOUCHES(deletePoint(m, 4), true, false, false);
}

TEST_F(Revisions, RefusalsTouchNothingAndARemadeLayerNeverRepeatsItsRevision) {
  const int32_t missing[3] = {1, 2, 77};
  EXPECT_TOUCHES(addTriangle(m, "a", 3, missing, 0), false, false, false);
  EXPECT_TOUCHES(addColour(m, "a", 77, 1, 1, 1, 1), false, false, false);
  EXPECT_TOUCHES(setTransparency(m, "a", 1.5f), false, false, false);
  EXPECT_TOUCHES(deleteColour(m, "a", 3), false, false, false);  // none there
  // A layer made in a deleted layer's place never repeats its revision.
  const uint32_t old = rev("b");
  ASSERT_TRUE(deleteLayer(m, "b"));
  ASSERT_NE(addLayer(m, "b", 0, 0, 0, 1, 0, 0), nullptr);
  EXPECT_NE(rev("b"), old);
  EXPECT_NE(rev("b"), 0u);
}

}  // namespace
