// The simulation world against the engine: shapes, masses, the body rules
// of removal and reset, rescaling, and inputs that would poison the world.
#include <gtest/gtest.h>
#include <ode/ode.h>

#include <cmath>
#include <limits>

#include "sim/sim_world.h"

namespace {

const float kZero[3] = {0, 0, 0};
const float kIdentity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};

struct SimFixture : ::testing::Test {
  SimWorld w;
  void SetUp() override {
    simInit(&w);
    ASSERT_TRUE(simCreate(&w));
  }
  void TearDown() override { simRelease(&w); }

  int32_t body(bool dynamic = true) { return simAddBody(&w, dynamic, kZero, kIdentity); }
  // A shape enabled and sized as the links make them.
  int32_t shape(int32_t bodyId, int32_t type, const float offset[3], const float size[3],
                float density = 1.0f) {
    const int32_t id =
        simAddShape(&w, type, bodyId, density, 1, 1, offset, size, kIdentity);
    if (id != 0) simEnableShape(&w, id);
    simReset(&w, w.scale);
    return id;
  }
  dReal mass(int32_t shapeId) {
    dMass m;
    dBodyGetMass(simEngineBody(&w, shapeId), &m);
    return m.mass;
  }
};

using SimShapes = SimFixture;
using SimBodies = SimFixture;
using SimInput = SimFixture;

TEST_F(SimShapes, OnlyANonZeroOffsetPutsTheGeometryInATransformAndBadShapesTakeNoId) {
  const float size[3] = {1, 1, 1};
  const float offset[3] = {0, 0, 0.5f};
  const int32_t b = body();
  const int32_t plain = shape(b, kShapeBox, kZero, size);
  const int32_t held = shape(b, kShapeSphere, offset, size);
  EXPECT_EQ(w.shapes.at(plain).transform, nullptr);
  EXPECT_NE(dGeomGetSpace(w.shapes.at(plain).geom), nullptr);
  ASSERT_NE(w.shapes.at(held).transform, nullptr);
  EXPECT_EQ(dGeomGetSpace(w.shapes.at(held).geom), nullptr) << "held by the transform";
  const dReal* inner = dGeomGetPosition(w.shapes.at(held).geom);
  EXPECT_DOUBLE_EQ(inner[2], 0.5);
  // An unknown type, or a body that is not there, fails without using up
  // an id.
  const int32_t before = w.nextShapeId;
  EXPECT_EQ(simAddShape(&w, 4, b, 1, 1, 1, kZero, size, kIdentity), 0);
  EXPECT_EQ(simAddShape(&w, kShapeBox, 999, 1, 1, 1, kZero, size, kIdentity), 0);
  EXPECT_EQ(w.nextShapeId, before);
  EXPECT_EQ(simAddShape(&w, kShapeBox, b, 1, 1, 1, kZero, size, kIdentity), before);
  EXPECT_EQ(w.bodies.at(b).shapeCount, 3);
}

// A box weighs as the cube of its mean side.
TEST_F(SimShapes, ABoxsMassAndACapsuleShorterThanItsWidthIsASphereNotAnAbort) {
  const float sides[3] = {2, 4, 6};
  EXPECT_NEAR(mass(shape(body(), kShapeBox, kZero, sides)), 64.0, 1e-4);
  const float size[3] = {4, 4, 2};
  const int32_t id = shape(body(), kShapeCapsule, kZero, size);
  dReal radius = 0, length = -1;
  dGeomCapsuleGetParams(simEngineGeom(&w, id), &radius, &length);
  EXPECT_DOUBLE_EQ(radius, 2);
  EXPECT_DOUBLE_EQ(length, 0);
  EXPECT_NEAR(mass(id), 4.0 / 3.0 * M_PI * 8.0, 1e-3);
}

TEST_F(SimBodies, RemovingOneOfTwoShapesLeavesTheOtherStaticWhereItWas) {
  const float size[3] = {0.2f, 0.2f, 0.2f};
  const float offset[3] = {0.3f, 0, 0};
  const int32_t b = body();
  const int32_t first = shape(b, kShapeBox, kZero, size);
  const int32_t second = shape(b, kShapeBox, offset, size);
  for (int i = 0; i < 3; ++i) simStep(&w, 1.0f);
  float before[3];
  simShapePosition(&w, second, before);
  simRemoveShape(&w, first);
  ASSERT_EQ(w.bodies.count(b), 1u);
  const SimBody& left = w.bodies.at(b);
  EXPECT_EQ(left.body, nullptr);
  EXPECT_EQ(left.active, 0);
  EXPECT_EQ(left.shapeCount, 1);
  for (int i = 0; i < 5; ++i) simStep(&w, 1.0f);
  const dReal* p = dGeomGetPosition(w.shapes.at(second).transform);
  EXPECT_NEAR(p[2] * w.scale, before[2], 1e-6) << "it no longer falls";
  simRemoveShape(&w, second);
  EXPECT_EQ(w.bodies.count(b), 0u) << "a body goes with its last shape";
}

TEST_F(SimBodies, AResetPutsBodiesBackButKeepsThemMoving) {
  const float size[3] = {0.2f, 0.2f, 0.2f};
  const float high[3] = {0, 0, 0.8f};
  const int32_t b = simAddBody(&w, true, high, kIdentity);
  const int32_t id = shape(b, kShapeBox, kZero, size);
  for (int i = 0; i < 3; ++i) simStep(&w, 1.0f);
  const dReal fall = dBodyGetLinearVel(simEngineBody(&w, id))[2];
  ASSERT_LT(fall, -0.02);
  simReset(&w, 1.0f);
  float p[3];
  simShapePosition(&w, id, p);
  EXPECT_FLOAT_EQ(p[2], 0.8f);
  EXPECT_DOUBLE_EQ(dBodyGetLinearVel(simEngineBody(&w, id))[2], fall);
}

TEST_F(SimBodies, RescalingFrom10To20HalvesEveryDynamicPosition) {
  const float size[3] = {1, 1, 1};
  const float at[3] = {4, -2, 6};
  simReset(&w, 10.0f);
  const int32_t id = shape(simAddBody(&w, true, at, kIdentity), kShapeBox, kZero, size);
  const dReal* p = dBodyGetPosition(simEngineBody(&w, id));
  const dReal before[3] = {p[0], p[1], p[2]};
  EXPECT_NEAR(before[0], 0.4, 1e-7);
  simRescale(&w, 20.0f);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(p[i], before[i] * 0.5) << i;
  float model[3];
  simShapePosition(&w, id, model);
  EXPECT_FLOAT_EQ(model[0], 4.0f) << "the same place in model units";
}

TEST_F(SimBodies, APlacementWithBlendTurnsAFifthOfTheWayUpright) {
  const float size[3] = {0.2f, 0.2f, 0.2f};
  const int32_t b = body();
  const int32_t id = shape(b, kShapeBox, kZero, size);
  const float quarter[9] = {1, 0, 0, 0, 0, -1, 0, 1, 0};  // 90 degrees about x
  simSetBodyRotation(&w, b, quarter);
  const float to[3] = {0.1f, 0.2f, 0.5f};
  simSetShapePlacement(&w, id, to, true);
  const dReal* q = dBodyGetQuaternion(simEngineBody(&w, id));
  EXPECT_NEAR(2.0 * std::acos(q[0]) * 180.0 / M_PI, 72.0, 1e-4);
  float p[3];
  simShapePosition(&w, id, p);
  EXPECT_FLOAT_EQ(p[1], 0.2f);
}

TEST_F(SimBodies, TwoRunsOfTheSameWorldAgreeToTheBit) {
  auto run = [](float out[6]) {
    SimWorld world;
    simInit(&world);
    simCreate(&world);
    const float size[3] = {0.3f, 0.3f, 0.3f};
    const float a[3] = {0, 0, 0.5f}, b[3] = {0.05f, 0.1f, 1.0f};
    const int32_t s1 = simAddShape(&world, kShapeBox, simAddBody(&world, true, a, kIdentity), 1,
                                   1, 1, kZero, size, kIdentity);
    const int32_t s2 = simAddShape(&world, kShapeSphere, simAddBody(&world, true, b, kIdentity),
                                   1, 1, 1, kZero, size, kIdentity);
    simEnableShape(&world, s1);
    simEnableShape(&world, s2);
    simReset(&world, 1.0f);
    for (int i = 0; i < 200; ++i) simStep(&world, 1.0f);
    simShapePosition(&world, s1, out);
    simShapePosition(&world, s2, out + 3);
    simRelease(&world);
  };
  float first[6], second[6];
  run(first);
  run(second);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(first[i], second[i]) << i;
}

TEST_F(SimInput, NonFiniteAndHugeNumbersChangeNothing) {
  const float size[3] = {0.2f, 0.2f, 0.2f};
  const int32_t id = shape(body(), kShapeBox, kZero, size);
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float inf = std::numeric_limits<float>::infinity();
  const float bad[][3] = {{nan, 0, 0}, {0, inf, 0}, {0, 0, 1e10f}};
  for (const float* v : bad) {
    simPush(&w, id, v);
    simSpinWorld(&w, id, v);
    simSpinBody(&w, id, v);
    simMoveShape(&w, id, v);
    simSetShapePlacement(&w, id, v, true);
    simSetShapeSize(&w, id, v);
  }
  simStep(&w, 1.0f);
  float p[3];
  simShapePosition(&w, id, p);
  for (float c : p) EXPECT_TRUE(std::isfinite(c));
  EXPECT_EQ(simAddShape(&w, kShapeBox, w.bodies.begin()->first, nan, 1, 1, kZero, size,
                        kIdentity),
            0);
}

TEST_F(SimInput, AWorldThatRunsOutOfRangeIsPutBackAtRest) {
  const float size[3] = {0.01f, 0.01f, 0.01f};
  const float up[3] = {0, 0, 0.5f};
  const int32_t id = shape(simAddBody(&w, true, up, kIdentity), kShapeBox, kZero, size, 1e9f);
  const float shove[3] = {0, 0, 1e9f};  // straight up: nothing stops it
  bool stayed = true;
  for (int i = 0; i < 1000 && stayed; ++i) {
    simPush(&w, id, shove);
    stayed = simStep(&w, 1.0f);
  }
  EXPECT_FALSE(stayed);
  float p[3];
  simShapePosition(&w, id, p);
  EXPECT_FLOAT_EQ(p[2], 0.5f);
  EXPECT_DOUBLE_EQ(dBodyGetLinearVel(simEngineBody(&w, id))[0], 0.0);
}

TEST(SimNoWorld, EveryOperationAnswersZero) {
  SimWorld w;
  simInit(&w);
  const float v[3] = {1, 2, 3};
  EXPECT_EQ(simAddBody(&w, true, v, kIdentity), 0);
  simPush(&w, 1, v);
  simReset(&w, 5.0f);
  EXPECT_TRUE(simStep(&w, 1.0f));
  float p[3] = {9, 9, 9};
  simShapePosition(&w, 1, p);
  EXPECT_EQ(p[0], 0.0f);
  float m[16];
  EXPECT_FALSE(simDrawingMatrix(&w, 1, m));
  EXPECT_FALSE(w.exists);
}

}  // namespace
