// Pose files: the reader's refusals and their positions, which joints the
// writer leaves out, and that a save and a load keep every pose and morph.
#include <gtest/gtest.h>

#include <string>

#include "io/pose_file.h"
#include "model/last_error.h"
#include "model/model.h"
#include "model/skeleton.h"
#include "test_files.h"
#include "test_models.h"

namespace {

struct PoseFixture : test_models::ModelTest {
  std::string dir;
  void SetUp() override {
    addJoint(m, "hip", 0, 0, 0, "world", 1, 1, 1);
    addJoint(m, "knee", 0, -1, 0, "hip", 1, 1, 1);
    dir = test_files::tempDir("pose");
  }

  bool read(const std::string& text) {
    return readPoseBytes(m, text.data(), text.size(), "X");
  }
  // Writes the model's pose and returns the file's bytes.
  std::string written(const char* name = "out.pos", bool selected = false) {
    const std::string path = dir + name;
    EXPECT_TRUE(writePoseFile(m, path.c_str(), selected));
    return test_files::readFile(path);
  }
  std::string header(const char* name = "out.pos") {
    return "#\n# model pose: " + dir + name + "\n#\nversion 2.0\n";
  }
};

using PoseReader = PoseFixture;
using PoseWriter = PoseFixture;

const char kShortPose[] = "pose hip 1 2 3 1 0 0 0 1 0 0 0 1 1\n";  // 15 tokens

TEST_F(PoseReader, RefusalsCarryFileAndLineOfTheBadLineOnly) {
  const struct { std::string text; const char* message; } kCases[] = {
      {"version 2.0\n# comment\n\n" + std::string(kShortPose), "Bad pose data (file: X, line: 4)"},
      {"pose hip 1 2 3 1 0 0 0 1 0 0 0 1 1 1 x\n", "Bad pose data (file: X, line: 1)"},
      {"\nmorph hip 1.5 0 0 0\n", "Bad morph data (file: X, line: 2)"},
      {"morph hip 1 0.5\n", "Bad morph data (file: X, line: 1)"},
      {"morph elbow 1 0 0 0\n", "cannot find joint (file: X, line: 1)"}};
  for (const auto& c : kCases) {
    EXPECT_FALSE(read(c.text)) << c.text;
    EXPECT_STREQ(lastErrorText(), c.message) << c.text;
  }
  EXPECT_FALSE(read("morph world 0 0 0 0\n"));
  EXPECT_EQ(tableCount(&m->worldMorphs), 0);

  EXPECT_FALSE(readPoseFile(m, (dir + "absent.pos").c_str()));
  EXPECT_EQ(std::string(lastErrorText()), "could not find: " + dir + "absent.pos");
  lastErrorReport("later");
  EXPECT_STREQ(lastErrorText(), "later") << "no reading position after the read";
}

TEST_F(PoseReader, FirstErrorStopsButEarlierJointsKeepTheirPoseAndShortLinesRest) {
  EXPECT_FALSE(read("pose hip 1 2 3 1 0 0 0 1 0 0 0 1 2 2 2\n"
                    "bogus words are ignored\n" +
                    std::string(kShortPose) +
                    "pose knee 5 5 5 1 0 0 0 1 0 0 0 1 1 1 1\n"));
  EXPECT_STREQ(lastErrorText(), "Bad pose data (file: X, line: 3)");
  EXPECT_FLOAT_EQ(findJoint(m, "hip")->poseTranslation[2], 3);
  EXPECT_FLOAT_EQ(findJoint(m, "hip")->poseScale[0], 2);
  EXPECT_TRUE(poseAtRest(findJoint(m, "knee")));
  // Short lines take rest values for the missing last number.
  ASSERT_TRUE(read("morph hip 3 1 2\n"
                   "pose knee 0 0 0 1 0 0 0 1 0 0 0 1 2 2\n"
                   "morph world 4 1 1 1\n"));
  const Morph* morph = tableFindT<Morph>(&findJoint(m, "hip")->morphs, 3);
  ASSERT_NE(morph, nullptr);
  EXPECT_FLOAT_EQ(morph->dy, 2);
  EXPECT_FLOAT_EQ(morph->dz, 0);
  EXPECT_FLOAT_EQ(findJoint(m, "knee")->poseScale[1], 2);
  EXPECT_FLOAT_EQ(findJoint(m, "knee")->poseScale[2], 1);
  EXPECT_NE(tableFindT<Morph>(&m->worldMorphs, 4), nullptr);
  EXPECT_EQ(lastErrorText(), nullptr);
}

// A selected save leaves out the other joints and the world's morphs.
TEST_F(PoseWriter, JointsAtRestWriteOnlyTheirMorphsAndOnlyTheSelectedWhenAsked) {
  EXPECT_EQ(written(), header());
  const std::string knee = "morph   knee       7  0.500000 -1.000000 0.250000\n";
  ASSERT_TRUE(setMorph(m, "knee", 7, 0.5f, -1, 0.25f));
  EXPECT_EQ(written(), header() + knee);
  ASSERT_TRUE(setMorph(m, "hip", 1, 1, 1, 1));
  ASSERT_TRUE(setMorph(m, "world", 3, 3, 3, 3));
  findJoint(m, "knee")->selected = 1;
  EXPECT_EQ(written("out.pos", true), header() + knee);
  EXPECT_NE(written().find("morph   world      3  3.000000"), std::string::npos);
}

TEST_F(PoseWriter, ResetMoveLeavesAPoseLineAndASaveAndLoadKeepEveryPoseAndMorph) {
  Joint* hip = findJoint(m, "hip");
  hip->poseTranslation[0] = 2;
  hip->poseRotation[1] = 0.5f;
  hip->poseTranslation[0] = 0;  // as "pose reset hip move" leaves it
  EXPECT_EQ(written(), header() +
                           "pose   hip        0.000000 0.000000 0.000000   "
                           "1.000000 0.500000 0.000000 0.000000 1.000000 "
                           "0.000000 0.000000 0.000000 1.000000   "
                           "1.000000 1.000000 1.000000\n");
  // A save and a load keep every pose and morph, byte for byte.
  const float t[3] = {1.5f, -2, 0.125f};
  const float r[9] = {0, -1, 0, 1, 0, 0, 0, 0, 1};
  const float s[3] = {2, 1, 0.5f};
  ASSERT_TRUE(setPose(m, "knee", t, r, s));
  ASSERT_TRUE(setMorph(m, "hip", 12, 0.1f, 0.2f, 0.3f));
  ASSERT_TRUE(setMorph(m, "world", 4, -1, 0, 1));
  ASSERT_TRUE(setMorph(m, "world", 9, 0, 0.75f, 0));
  const std::string first = written("a.pos");

  Model* copy = createModel(nullptr, "rig.mod", nullptr);
  addJoint(copy, "hip", 0, 0, 0, "world", 1, 1, 1);
  addJoint(copy, "knee", 0, -1, 0, "hip", 1, 1, 1);
  ASSERT_TRUE(readPoseFile(copy, (dir + "a.pos").c_str())) << lastErrorText();
  EXPECT_EQ(tableCount(&copy->worldMorphs), 2);
  std::swap(m, copy);
  const std::string second = written("a.pos");
  std::swap(m, copy);
  freeModel(copy);
  EXPECT_EQ(first, second);
}

}  // namespace
