// Moving, turning and scaling single items, and the 4x4 arithmetic of the
// matrix command.
#include <gtest/gtest.h>

#include "model/children.h"
#include "model/geometry.h"
#include "model/last_error.h"
#include "model/model.h"
#include "model/skeleton.h"
#include "model/transform.h"
#include "test_models.h"

namespace {

struct TransformFixture : test_models::ModelTest {
  void SetUp() override {
    addPoint(m, 1, 2, 0, 0);
    addPoint(m, 2, 0, 3, 0);
    addPoint(m, 3, 0, 0, 4);
  }
  const Point& point(int32_t n) { return *findPoint(m, n); }
};

using PointOps = TransformFixture;
using PlacementOps = TransformFixture;
using TableOps = TransformFixture;
using MatrixApply = TransformFixture;

const float kZero[3] = {0, 0, 0};
const float kOne[3] = {1, 1, 1};
const float kIdentity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};

void turn(float x, float y, float z, float rotation[9]) {
  const float angles[3] = {x, y, z};
  turnFromAngles(angles, rotation);
}

TEST_F(PointOps, QuarterTurnsAreExactMovesAddUpAndOverflowsChangeNothing) {
  float quarter[9];
  turn(0, 0, 90, quarter);
  const float centre[3] = {1, 0, 0};
  ASSERT_TRUE(rotatePoint(m, 1, quarter, centre));
  EXPECT_EQ(point(1).x, 1.0f);
  EXPECT_EQ(point(1).y, 1.0f) << "x turns towards y about z";
  EXPECT_EQ(point(1).z, 0.0f);
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(rotatePoint(m, 1, quarter, centre));
  EXPECT_EQ(point(1).x, 2.0f);
  EXPECT_EQ(point(1).y, 0.0f);
  EXPECT_EQ(point(1).z, 0.0f);
  // Moving keeps the selection and grows the bounds; overflows change nothing.
  findPoint(m, 2)->flags = kItemSelected;
  const uint32_t before = m->revision;
  const float offset[3] = {0, 10, 0};
  ASSERT_TRUE(movePoint(m, 2, offset));
  ASSERT_TRUE(movePoint(m, 2, offset));
  EXPECT_EQ(point(2).y, 23.0f) << "moves add up";
  EXPECT_EQ(point(2).flags, kItemSelected);
  EXPECT_NE(m->revision, before);
  EXPECT_EQ(m->boundsMax[1], 23.0f);
  // Missing points and overflowing results change nothing.
  EXPECT_FALSE(movePoint(m, 7, offset));
  EXPECT_STREQ(lastErrorText(), "point not found: 7");
  const float huge[3] = {3e38f, 0, 0};
  addPoint(m, 4, 3e38f, 0, 0);
  EXPECT_FALSE(movePoint(m, 4, huge));
  EXPECT_STREQ(lastErrorText(), "result out of range");
  EXPECT_EQ(point(4).x, 3e38f);
  const float factors[3] = {2, 1, 1};
  EXPECT_FALSE(scalePoint(m, 4, factors, kZero));
  EXPECT_EQ(point(4).x, 3e38f);
}

TEST_F(PlacementOps, TurningComposesBeforeTheOwnOrientationAndScalingKeepsThePosition) {
  float own[9], quarter[9], expected[9];
  turn(90, 0, 0, own);
  turn(0, 0, 90, quarter);
  const float position[3] = {2, 0, 0};
  const int32_t id = addChild(m, nullptr, "wheel", position, kOne, own, nullptr, 0);
  const float centre[3] = {1, 0, 0};
  ASSERT_TRUE(rotatePlaced<Child>(m, id, quarter, centre));
  const Child* child = childById(m, id);
  EXPECT_EQ(child->position[0], 1.0f);
  EXPECT_EQ(child->position[1], 1.0f);
  multiply3x3(quarter, own, expected);  // the two do not commute
  for (int i = 0; i < 9; ++i) EXPECT_EQ(child->rotation[i], expected[i]) << i;
  // Explicit scaling changes the size, not the position.
  const float at[3] = {2, 2, 2}, size[3] = {1, 2, 3};
  const int32_t crate = addCollide(m, "crate", kShapeBox, at, size, kIdentity, 1, 0, 0, 1);
  const float factors[3] = {2, 3, 4};
  ASSERT_TRUE(scalePlaced<CollideObject>(m, crate, factors, kZero, true));
  const CollideObject* box = collideById(m, crate);
  EXPECT_EQ(box->size[0], 2.0f);
  EXPECT_EQ(box->size[2], 12.0f);
  EXPECT_EQ(box->position[0], 2.0f);
  ASSERT_TRUE(scalePlaced<CollideObject>(m, crate, factors, kOne, false));
  EXPECT_EQ(box->position[0], 3.0f) << "about the centre";
  EXPECT_EQ(box->size[0], 2.0f);

  const float flat[3] = {1, 0, 1};
  EXPECT_FALSE(scalePlaced<CollideObject>(m, crate, flat, kZero, true)) << "a zero size is refused";
  EXPECT_EQ(box->size[1], 6.0f);
  EXPECT_FALSE(scalePlaced<Child>(m, 99, factors, kZero, true));
  EXPECT_STREQ(lastErrorText(), "child not found: 99");
}

TEST_F(TableOps, ColourMovesStayWithinUnitNormalsTurnAndWeightsAddUp) {
  ASSERT_NE(addLayer(m, "skin", 0, 0, 0, 1, 0, kAxisX), nullptr);
  ASSERT_TRUE(addColour(m, "skin", 1, 0.5f, 0.5f, 0.5f, 1));
  const float offset[4] = {0.75f, -0.75f, 0.25f, -0.5f};
  ASSERT_TRUE(moveColour(m, "skin", 1, offset));
  const Colour* c = tableFindT<Colour>(&findLayer(m, "skin")->colours, 1);
  EXPECT_EQ(c->r, 1.0f);
  EXPECT_EQ(c->g, 0.0f);
  EXPECT_EQ(c->b, 0.75f);
  EXPECT_EQ(c->a, 0.5f);
  EXPECT_EQ(findLayer(m, "skin")->transparent, 1);
  EXPECT_FALSE(moveColour(m, "(global)", 1, offset)) << "no model-level entry";
  EXPECT_STREQ(lastErrorText(), "colour not found: 1");
  // Normals turn without a centre, and weights add up.
  ASSERT_TRUE(addNormal(m, nullptr, 1, 1, 0, 0));
  float quarter[9];
  turn(0, 0, 90, quarter);
  ASSERT_TRUE(rotateVector(m, "(global)", 1, quarter, false));
  const VectorEntry* n = tableFindT<VectorEntry>(&m->normals, 1);
  EXPECT_EQ(n->x, 0.0f);
  EXPECT_EQ(n->y, 1.0f);
  EXPECT_FALSE(rotateVector(m, "(global)", 1, quarter, true));
  EXPECT_STREQ(lastErrorText(), "surface not found: 1");

  ASSERT_NE(addJoint(m, "hip", 0, 0, 0, "world", 0, 0, 0), nullptr);
  ASSERT_TRUE(addWeight(m, "hip", 2, 0.25f));
  ASSERT_TRUE(moveWeight(m, "hip", 2, 0.5f));
  EXPECT_EQ(tableFindT<Weight>(&findJoint(m, "hip")->weights, 2)->weight, 0.75f);
  EXPECT_FALSE(moveWeight(m, "hip", 3, 0.5f));
  EXPECT_STREQ(lastErrorText(), "weight not found: 3");
}

TEST_F(MatrixApply, TranslationIsTheLastColumnAndOnlySelectedPointsMove) {
  float shift[16], doubled[16], both[16];
  rotation4x4(kIdentity, shift);
  shift[3] = 5;  // row 0, column 3
  rotation4x4(kIdentity, doubled);
  doubled[0] = doubled[5] = doubled[10] = 2;
  multiply4x4(shift, doubled, both);  // doubles first, then shifts
  EXPECT_EQ(applyMatrixToPoints(m, both), 3) << "nothing selected: every point";
  EXPECT_EQ(point(1).x, 9.0f);
  EXPECT_EQ(point(2).x, 5.0f);
  EXPECT_EQ(point(2).y, 6.0f);
  // Then only the selected points move, and an overflow moves none.
  findPoint(m, 3)->flags = kItemSelected;
  float scale[16];
  rotation4x4(kIdentity, scale);
  scale[10] = 3e38f;
  EXPECT_EQ(applyMatrixToPoints(m, scale), -1);
  EXPECT_EQ(point(3).z, 8.0f);
  scale[10] = -1;
  EXPECT_EQ(applyMatrixToPoints(m, scale), 1);
  EXPECT_EQ(point(3).z, -8.0f);
  EXPECT_EQ(point(1).x, 9.0f);
}

}  // namespace
