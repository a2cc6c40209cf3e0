// Joints with their weights, child models and collide objects.
#include <gtest/gtest.h>

#include <string>

#include "model/children.h"
#include "model/last_error.h"
#include "model/model.h"
#include "model/skeleton.h"
#include "test_models.h"

namespace {

using Joints = test_models::ModelTest;
using Children = test_models::ModelTest;

const float kZero[3] = {0, 0, 0};
const float kOne[3] = {1, 1, 1};
const float kIdentity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};

TEST_F(Joints, ReAddingAJointResetsItAndBadParentsNamesAndMissingJointsAreRefused) {
  Joint* j = addJoint(m, "hip", 1, 2, 3, "world", 1.5f, -0.2f, 0.5f);
  ASSERT_NE(j, nullptr);
  EXPECT_FLOAT_EQ(j->colour[0], 1.0f);
  EXPECT_FLOAT_EQ(j->colour[1], 0.0f);
  EXPECT_FLOAT_EQ(j->colour[3], 1.0f);
  ASSERT_TRUE(addWeight(m, "hip", 4, 0.5f));
  ASSERT_TRUE(addWeight(m, "hip", 4, 0.75f));
  EXPECT_EQ(tableCount(&j->weights), 1) << "one weight per point";
  j->poseTranslation[0] = 3;
  j->poseScale[1] = 2;
  j->poseRotation[1] = 1;

  j = addJoint(m, "hip", 0, 0, 0, "world", 0, 0, 0);
  EXPECT_EQ(tableCount(&m->joints), 1);
  EXPECT_EQ(tableCount(&j->weights), 0);
  EXPECT_FLOAT_EQ(j->poseTranslation[0], 0);
  EXPECT_FLOAT_EQ(j->poseScale[1], 1);
  EXPECT_FLOAT_EQ(j->poseRotation[1], 0);
  EXPECT_FLOAT_EQ(j->poseRotation[8], 1);
  // Bad parents and names, and weights for missing joints, are refused.
  EXPECT_EQ(addJoint(m, "knee", 0, 0, 0, "knee", 0, 0, 0), nullptr);
  EXPECT_STREQ(lastErrorText(), "Bad joint parent");
  EXPECT_EQ(addJoint(m, std::string(128, 'j').c_str(), 0, 0, 0, "world", 0, 0, 0), nullptr);
  EXPECT_EQ(addJoint(m, "knee", 0, 0, 0, std::string(128, 'p').c_str(), 0, 0, 0), nullptr);
  EXPECT_EQ(tableCount(&m->joints), 1);
  EXPECT_FALSE(addWeight(m, "knee", 1, 1));
  EXPECT_STREQ(lastErrorText(), "cannot find joint");
}

TEST_F(Children, IdsRiseAndAFreedSlotIsReusedUnderANewId) {
  const int32_t a = addChild(m, nullptr, "a", kZero, kOne, kIdentity, nullptr, 1);
  const int32_t b = addChild(m, nullptr, "b", kZero, kOne, kIdentity, "hip", 1);
  EXPECT_EQ(b, a + 1);
  Model* loaded = createModel(m, "a", nullptr);
  childById(m, a)->model = loaded;
  EXPECT_FALSE(deleteChildByModelId(m, a)) << "child ids are not model ids";
  EXPECT_TRUE(deleteChildByModelId(m, loaded->id));

  const int32_t c = addChild(m, nullptr, "c", kZero, kOne, kIdentity, nullptr, 1);
  EXPECT_EQ(c, b + 1);
  EXPECT_EQ(childByPosition(m, 1)->id, c) << "c took a's slot";

  lastErrorReport("stale");
  EXPECT_EQ(childByPosition(m, 0), nullptr);
  EXPECT_EQ(lastErrorText(), nullptr);
  EXPECT_EQ(childByPosition(m, 3), nullptr);
  EXPECT_STREQ(lastErrorText(), "child does not exist");

  const float flat[3] = {1, 0, 1};
  EXPECT_EQ(addChild(m, nullptr, "z", kZero, flat, kIdentity, nullptr, 1), 0);
  EXPECT_EQ(addChild(m, nullptr, std::string(128, 'n').c_str(), kZero, kOne,
                     kIdentity, nullptr, 1), 0);
}

TEST_F(Children, CollideObjectsNeedSizeAndKnowTheirShapeNames) {
  const float flat[3] = {1, 0, 1};
  EXPECT_EQ(addCollide(m, "floor", kShapeBox, kZero, flat, kIdentity, 1, 0, 0, 1), 0);
  EXPECT_EQ(addCollide(m, std::string(128, 'n').c_str(), kShapeBox, kZero, kOne,
                       kIdentity, 1, 0, 0, 1), 0);
  const int32_t ball = addCollide(m, "ball", kShapeSphere, kZero, kOne, kIdentity, 1, 0, 0, 1);
  const int32_t odd = addCollide(m, "odd", 9, kZero, kOne, kIdentity, 1, 0, 0, 1);
  ASSERT_NE(ball, 0);
  EXPECT_STREQ(collideShapeName(m, ball), "sphere");
  EXPECT_STREQ(collideShapeName(m, odd), "none");
  EXPECT_STREQ(collideShapeName(m, odd + 100), "none");
  EXPECT_TRUE(deleteCollide(m, ball));
  EXPECT_EQ(collideByName(m, "ball"), nullptr);
  EXPECT_STREQ(lastErrorText(), "collide object does not exist");
}

}  // namespace
