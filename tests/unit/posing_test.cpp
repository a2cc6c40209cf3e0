// Posed display points: joint transforms about their rest positions,
// parents first, linear weight blending, morphs before posing, and the
// signature that tells when to pose again.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "model/geometry.h"
#include "model/model.h"
#include "model/posing.h"
#include "model/skeleton.h"
#include "test_models.h"

namespace {

struct Posing : test_models::SquareTest {
  std::vector<float> xyz;
  const float* at(int32_t point) {
    return &xyz[3 * static_cast<size_t>(pointSlot(m, findPoint(m, point)))];
  }
  void pose(const char* joint, float tx, float ty, float tz, const float r[9]) {
    const float t[3] = {tx, ty, tz}, s[3] = {1, 1, 1};
    setPose(m, joint, t, r, s);
  }
};

const float kIdentity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
const float kQuarterTurnZ[9] = {0, -1, 0, 1, 0, 0, 0, 0, 1};

TEST_F(Posing, WeightBlendsLinearlyAndRotationTurnsAboutTheJoint) {
  addJoint(m, "j", 1, 0, 0, "world", 1, 1, 1);
  addWeight(m, "j", 2, 0.5f);
  addWeight(m, "j", 3, 1.0f);
  pose("j", 0, 0, 0, kQuarterTurnZ);
  ASSERT_TRUE(computeDisplayPoints(m, &xyz));
  EXPECT_NEAR(at(3)[0], 0.0f, 1e-6);  // (1,1) about (1,0): (0,0)
  EXPECT_NEAR(at(3)[1], 0.0f, 1e-6);
  EXPECT_NEAR(at(2)[0], 1.0f, 1e-6);  // on the joint: stays
  EXPECT_EQ(at(4)[1], 1.0f);          // unweighted
}

TEST_F(Posing, ChildJointFollowsItsParentAndMorphsComeFirst) {
  addJoint(m, "root", 0, 0, 0, "world", 1, 1, 1);
  addJoint(m, "tip", 1, 0, 0, "root", 1, 1, 1);
  addWeight(m, "tip", 2, 1.0f);
  pose("root", 0, 0, 0, kQuarterTurnZ);
  pose("tip", 0, 0, 5, kIdentity);
  setMorph(m, "world", 2, 1, 0, 0);  // point 2 at (2, 0, 0) before posing
  ASSERT_TRUE(computeDisplayPoints(m, &xyz));
  EXPECT_NEAR(at(2)[0], 0.0f, 1e-6);
  EXPECT_NEAR(at(2)[1], 2.0f, 1e-6);
  EXPECT_NEAR(at(2)[2], 5.0f, 1e-6);
}

TEST_F(Posing, NothingToPoseWithoutJointsAndAParentLoopEndsAsARoot) {
  EXPECT_FALSE(computeDisplayPoints(m, &xyz)) << "the stored points are used";
  addJoint(m, "a", 0, 0, 0, "b", 1, 1, 1);
  addJoint(m, "b", 0, 0, 0, "a", 1, 1, 1);
  addWeight(m, "a", 1, 1.0f);
  pose("a", 1, 0, 0, kIdentity);
  ASSERT_TRUE(computeDisplayPoints(m, &xyz));
  EXPECT_TRUE(std::isfinite(at(1)[0]));
}

TEST_F(Posing, SignatureMovesWithPoseWeightsAndMorphsOnly) {
  addJoint(m, "j", 1, 0, 0, "world", 1, 1, 1);
  const uint64_t rest = poseSignature(m);
  addPoint(m, 9, 1, 1, 1);
  EXPECT_EQ(poseSignature(m), rest);
  pose("j", 0, 0, 1, kIdentity);
  const uint64_t posed = poseSignature(m);
  EXPECT_NE(posed, rest);
  addWeight(m, "j", 1, 0.5f);
  EXPECT_NE(poseSignature(m), posed);
  const uint64_t weighted = poseSignature(m);
  addWeight(m, "j", 1, 0.25f);  // same point, new weight
  EXPECT_NE(poseSignature(m), weighted);
  const uint64_t before = poseSignature(m);
  setMorph(m, "world", 1, 0, 0, 1);
  EXPECT_NE(poseSignature(m), before);
}

}  // namespace
