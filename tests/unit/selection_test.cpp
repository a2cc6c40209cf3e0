// Operations on the selection: bulk edits over large models (which must not
// scan every polygon per point), renumbering of copies, relocation of
// per-point entries, fans, and the turn about a stored axis.
#include <gtest/gtest.h>

#include <vector>

#include "io/texture_files.h"
#include "model/children.h"
#include "model/geometry.h"
#include "model/last_error.h"
#include "model/model.h"
#include "model/selection.h"
#include "model/skeleton.h"
#include "model/transform.h"
#include "test_models.h"

namespace {

struct SelectionFixture : test_models::ModelTest {
  // A strip of n quads along x: points 1..2n+2, quads as two triangles.
  void strip(int32_t n) {
    for (int32_t i = 0; i <= n; ++i) {
      ASSERT_TRUE(addPoint(m, 2 * i + 1, static_cast<float>(i), 0, 0));
      ASSERT_TRUE(addPoint(m, 2 * i + 2, static_cast<float>(i), 1, 0));
    }
    Layer* layer = addLayer(m, "strip", 0, 0, 0, 1, 0, kAxisX);
    for (int32_t i = 0; i < n; ++i) {
      const int32_t a = 2 * i + 1, b = a + 1, c = a + 2, d = a + 3;
      const int32_t t1[3] = {a, c, d}, t2[3] = {a, d, b};
      ASSERT_NE(addTriangleToLayer(m, layer, 3, t1, 0), 0);
      ASSERT_NE(addTriangleToLayer(m, layer, 3, t2, 0), 0);
    }
  }
  Layer* layer(const char* name) { return findLayer(m, name); }
  int32_t selectedPoints() {
    int32_t n = 0;
    for (int32_t s = tableNextSlot(&m->points, -1); s >= 0;
         s = tableNextSlot(&m->points, s)) {
      n += tableAt<Point>(&m->points, s)->flags & kItemSelected;
    }
    return n;
  }
};

using BulkSelection = SelectionFixture;
using SelectionEdits = SelectionFixture;
using SelectionTurn = SelectionFixture;

TEST_F(BulkSelection, QuarterTurnsReturnEveryPointAndDeletingHalfLeavesNoPolygonOnAGonePoint) {
  const int32_t quads = 50000;
  strip(quads);
  for (int32_t n = 1; n <= 2 * (quads + 1); n += 2) ASSERT_TRUE(markPoint(m, n, true));
  const float centre[3] = {3.0f, -2.0f, 1.0f};
  setPivotCentre(m, centre);
  const float quarter[3] = {0, 0, 90};
  EXPECT_EQ(rotateSelection(m, quarter, selectionPivot(m)), quads + 1);
  // Point 3 (1, 0, 0) turned about (3, -2): (1, 0) - c = (-2, 2) -> (-2, -2).
  EXPECT_FLOAT_EQ(findPoint(m, 3)->x, 1.0f);
  EXPECT_FLOAT_EQ(findPoint(m, 3)->y, -4.0f);
  EXPECT_FLOAT_EQ(findPoint(m, 4)->y, 1.0f);  // unmarked: stays
  for (int i = 0; i < 3; ++i) rotateSelection(m, quarter, selectionPivot(m));
  for (int32_t n = 1; n <= 2 * (quads + 1); ++n) {
    const Point* p = findPoint(m, n);
    ASSERT_NEAR(p->x, static_cast<float>((n - 1) / 2), 1e-5f) << n;
    ASSERT_NEAR(p->y, (n % 2) ? 0.0f : 1.0f, 1e-5f) << n;
  }
  // Deleting every point with x up to half the strip leaves no polygon on
  // a deleted point.
  clearSelection(m);
  for (int32_t n = 1; n <= quads + 2; ++n) ASSERT_TRUE(markPoint(m, n, true));
  const int32_t deleted = deleteSelection(m);
  EXPECT_EQ(tableCount(&m->points), 2 * (quads + 1) - (quads + 2));
  const KeyedTable* tris = &layer("strip")->triangles;
  // Quads wholly right of the cut survive: x from quads/2 + 1 on.
  EXPECT_EQ(tableCount(tris), 2 * (quads - quads / 2 - 1));
  EXPECT_EQ(deleted, (quads + 2) + 2 * (quads / 2 + 1));
  tableForEach<const Triangle>(tris, [&](const Triangle* t, int32_t) {
    for (int32_t i = 0; i < t->count; ++i) ASSERT_NE(findPoint(m, t->points[i]), nullptr);
  });
}

TEST_F(BulkSelection, ConvertTurnsEveryPolygonIntoItsStripTrianglesKeepingKindAndMark) {
  for (int32_t n = 1; n <= 6; ++n) ASSERT_TRUE(addPoint(m, n, n, n * n, 0));
  const int32_t hexagon[6] = {1, 2, 3, 4, 5, 6}, tri[3] = {1, 2, 3};
  ASSERT_NE(addLayer(m, "a", 0, 0, 0, 1, 0, kAxisX), nullptr);
  const int32_t hex = addTriangle(m, "a", 6, hexagon, 2);
  const int32_t small = addTriangle(m, "a", 3, tri, 1);
  ASSERT_TRUE(markTriangle(m, hex, true));

  EXPECT_EQ(convertToTriangles(m), 1);
  const KeyedTable* tris = &layer("a")->triangles;
  EXPECT_EQ(tableCount(tris), 5);
  EXPECT_EQ(tableFind(tris, hex), nullptr);
  // The strip 1 2 3 4 5 6 holds (1 2 3), (3 2 4), (3 4 5), (5 4 6).
  const int32_t expected[4][3] = {{1, 2, 3}, {3, 2, 4}, {3, 4, 5}, {5, 4, 6}};
  int32_t made = 0;
  for (int32_t s = tableNextSlot(tris, -1); s >= 0; s = tableNextSlot(tris, s)) {
    const Triangle* t = tableAt<Triangle>(tris, s);
    ASSERT_EQ(t->count, 3);
    if (t->id == small) continue;
    ASSERT_LT(made, 4);
    for (int k = 0; k < 3; ++k) EXPECT_EQ(t->points[k], expected[made][k]) << made;
    EXPECT_EQ(t->kind, 2);
    EXPECT_TRUE(t->flags & kItemSelected);
    ++made;
  }
  EXPECT_EQ(made, 4);
}

TEST_F(SelectionEdits, CopyNumbersAfterTheHighestAndCarriesEntriesWeightsAndUvees) {
  strip(1);  // points 1..4, two triangles
  ASSERT_TRUE(addPoint(m, 10, 9, 9, 9));
  ASSERT_TRUE(addColour(m, "strip", 2, 1, 0, 0, 1));
  ASSERT_TRUE(addNormal(m, nullptr, 2, 0, 1, 0));
  ASSERT_NE(addJoint(m, "hip", 0, 0, 0, "world", 1, 1, 1), nullptr);
  ASSERT_TRUE(addWeight(m, "hip", 2, 0.5f));
  ASSERT_TRUE(addImageFromFiles(m, "strip", 1, "none", 1, kAxisX, kAxisY, 1));
  ASSERT_TRUE(addUvee(m, "strip", 1, 2, 0.25f, 0.75f));
  // Points 1, 2, 4 carry triangle {1, 4, 2} but not {1, 3, 4}.
  for (int32_t n : {1, 2, 4}) ASSERT_TRUE(markPoint(m, n, true));

  EXPECT_EQ(copySelection(m), 3);
  // Slot order 1, 2, 4 -> 11, 12, 13.
  EXPECT_FLOAT_EQ(findPoint(m, 13)->y, 1.0f);
  EXPECT_EQ(selectedPoints(), 3);
  EXPECT_TRUE(findPoint(m, 12)->flags & kItemSelected);
  EXPECT_FALSE(findPoint(m, 2)->flags & kItemSelected);
  Layer* strip = layer("strip");
  EXPECT_FLOAT_EQ(tableFindT<Colour>(&strip->colours, 12)->r, 1.0f);
  EXPECT_FLOAT_EQ(tableFindT<VectorEntry>(&m->normals, 12)->y, 1.0f);
  const Weight* weight = tableFindT<Weight>(&findJoint(m, "hip")->weights, 12);
  ASSERT_NE(weight, nullptr);
  EXPECT_EQ(weight->point, 12);
  const Uvee* uvee = tableFindT<Uvee>(&tableFindT<Image>(&strip->images, 1)->uvees, 12);
  ASSERT_NE(uvee, nullptr);
  EXPECT_EQ(uvee->word, 12);
  EXPECT_FLOAT_EQ(uvee->v, 0.75f);

  ASSERT_EQ(tableCount(&strip->triangles), 3);
  const Triangle* copy = tableAt<Triangle>(&strip->triangles,
                                           tableNextSlot(&strip->triangles, 1));
  EXPECT_EQ(std::vector<int32_t>(copy->points, copy->points + 3), (std::vector<int32_t>{11, 13, 12}));
  EXPECT_TRUE(copy->flags & kItemSelected);
}

TEST_F(SelectionEdits, RelocateCarriesEntriesAndLeavesThoseStillUsedBehind) {
  strip(1);  // {1, 3, 4} and {1, 4, 2}
  Layer* strip = layer("strip");
  const int32_t second = tableAt<Triangle>(&strip->triangles, 1)->id;
  ASSERT_TRUE(addColour(m, "strip", 2, 1, 0, 0, 1));  // only the second uses 2
  ASSERT_TRUE(addColour(m, "strip", 4, 0, 1, 0, 1));  // both use 4
  ASSERT_TRUE(markTriangle(m, second, true));

  ASSERT_TRUE(relocateSelection(m, "moved"));
  strip = layer("strip");
  Layer* moved = layer("moved");
  ASSERT_NE(moved, nullptr);
  EXPECT_EQ(tableCount(&strip->triangles), 1);
  ASSERT_NE(tableFindT<Triangle>(&moved->triangles, second), nullptr);
  EXPECT_NE(tableFind(&moved->colours, 2), nullptr);
  EXPECT_NE(tableFind(&moved->colours, 4), nullptr);
  EXPECT_EQ(tableFind(&strip->colours, 2), nullptr);
  EXPECT_NE(tableFind(&strip->colours, 4), nullptr);
  EXPECT_FALSE(relocateSelection(m, "(global)"));
}

TEST_F(SelectionEdits, DeleteTakesMarkedJointsChildrenAndCollidesOnly) {
  ASSERT_NE(addJoint(m, "a", 0, 0, 0, "world", 1, 1, 1), nullptr);
  ASSERT_NE(addJoint(m, "b", 0, 0, 0, "world", 1, 1, 1), nullptr);
  const float p[3] = {0, 0, 0}, one[3] = {1, 1, 1};
  const float r[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  const int32_t c1 = addCollide(m, "c1", kShapeBox, p, one, r, 1, 0, 0, 1);
  const int32_t c2 = addCollide(m, "c2", kShapeBox, p, one, r, 1, 0, 0, 1);
  const int32_t k = addChild(m, nullptr, "kid", p, one, r, nullptr, 0);
  ASSERT_TRUE(markJoint(m, "b", true));
  ASSERT_TRUE(markCollide(m, c2, true));
  ASSERT_TRUE(markChild(m, k, true));
  EXPECT_EQ(deleteSelection(m), 3);
  EXPECT_NE(findJoint(m, "a"), nullptr);
  EXPECT_EQ(findJoint(m, "b"), nullptr);
  EXPECT_NE(tableFind(&m->collides, c1), nullptr);
  EXPECT_EQ(tableFind(&m->collides, c2), nullptr);
  EXPECT_EQ(tableCount(&m->children), 0);
}

TEST_F(SelectionTurn, FirstAngleTurnsAboutTheStoredAxisAndAScaleOutOfRangeMovesNothing) {
  const float angles[3] = {90, 0, 0};
  const float zAxis[3] = {0, 0, 2};
  float aboutZ[9], expected[9];
  selectionTurn(angles, zAxis, aboutZ);
  const float zTurn[3] = {0, 0, 90};
  rotationFromAngles(zTurn, expected);
  for (int i = 0; i < 9; ++i) EXPECT_NEAR(aboutZ[i], expected[i], 1e-6f) << i;
  // Zero-length axis: plain x, then y, then z.
  const float none[3] = {0, 0, 0};
  float plain[9];
  selectionTurn(angles, none, plain);
  EXPECT_EQ(plain[4], 0.0f);  // residue of cos 90 made exact
  EXPECT_EQ(plain[7], 1.0f);
  // Rotating turns a child's orientation; the axis runs from the centre.
  const float p[3] = {2, 0, 0}, one[3] = {1, 1, 1};
  const float r[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  const int32_t k = addChild(m, nullptr, "kid", p, one, r, nullptr, 0);
  ASSERT_TRUE(markChild(m, k, true));
  const float centre[3] = {1, 1, 1}, through[3] = {1, 1, 5};
  setPivotCentre(m, centre);
  setPivotAxis(m, through);  // along +z
  EXPECT_FLOAT_EQ(selectionPivot(m).axis[2], 4.0f);
  ASSERT_EQ(rotateSelection(m, angles, selectionPivot(m)), 1);
  const Child* child = tableFindT<Child>(&m->children, k);
  // (2, 0, 0) - (1, 1, 1) = (1, -1, -1) -> (1, 1, -1) about z.
  EXPECT_NEAR(child->position[0], 2.0f, 1e-6f);
  EXPECT_NEAR(child->position[1], 2.0f, 1e-6f);
  EXPECT_NEAR(child->position[2], 0.0f, 1e-6f);
  EXPECT_FLOAT_EQ(child->rotation[1], -1.0f);  // x -> y
  // A scale out of range moves nothing.
  ASSERT_TRUE(addPoint(m, 1, 1, 1, 1));
  ASSERT_TRUE(addPoint(m, 2, 1e30f, 0, 0));
  ASSERT_TRUE(markPoint(m, 1, true));
  ASSERT_TRUE(markPoint(m, 2, true));
  const float huge[3] = {1e20f, 1, 1};
  EXPECT_EQ(scaleSelection(m, huge, selectionPivot(m)), -1);
  EXPECT_STREQ(lastErrorText(), "result out of range");
  EXPECT_FLOAT_EQ(findPoint(m, 1)->x, 1.0f);
}

}  // namespace
