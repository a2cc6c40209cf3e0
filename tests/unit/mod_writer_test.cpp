// Writing .mod files: the exact bytes of every section, and saves that
// fail without harming the file they would have replaced.
#include <gtest/gtest.h>

#include "test_files.h"

#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <vector>

#include "io/mod_writer.h"
#include "io/texture_files.h"
#include "model/children.h"
#include "model/geometry.h"
#include "model/last_error.h"
#include "model/model.h"
#include "model/skeleton.h"
#include "test_models.h"

namespace {

using test_files::entries;
using test_files::readFile;
using test_files::tempDir;
using test_files::writeFile;

const float kIdentity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};

struct ModWriter : test_models::ModelTest {
  std::string dir = tempDir("mod_writer");

  // Two layers with every kind of entry, two joints, a collide object and
  // two children. Image files do not exist: the records stay, unloaded.
  void buildSample() {
    ASSERT_TRUE(addPoint(m, 1, 0, 0, 0));
    ASSERT_TRUE(addPoint(m, 2, 1, 0, 0));
    ASSERT_TRUE(addPoint(m, 3, 0, 1, 0));
    ASSERT_TRUE(addPoint(m, 12, -1.5f, 2.25f, 1000));
    ASSERT_NE(addJoint(m, "hip", 0, 1, 0, "world", 1, 0.5f, 0), nullptr);
    ASSERT_TRUE(addWeight(m, "hip", 2, 0.75f));
    ASSERT_NE(addJoint(m, "shoulderjoint", 0, 2, 0, "hip", 0, 0, 1), nullptr);
    ASSERT_TRUE(addNormal(m, nullptr, 1, 0, 0, 1));
    ASSERT_TRUE(addColour(m, nullptr, 3, 1, 0, 0, 1));

    ASSERT_NE(addLayer(m, "body", 1, 2, 3, 1, 0, kAxisX), nullptr);
    ASSERT_TRUE(setTransparency(m, "body", 0.75f));
    ASSERT_TRUE(addNormal(m, "body", 2, 0, 1, 0));
    ASSERT_TRUE(addSurface(m, "body", 3, 0.5f, -0.25f, 1));
    ASSERT_TRUE(addColour(m, "body", 1, 0.2f, 0.4f, 0.6f, 0.5f));
    const int32_t tri[3] = {1, 2, 3};
    const int32_t quad[4] = {1, 2, 3, 12};
    const int32_t line[2] = {1, 12};
    ASSERT_NE(addTriangle(m, "body", 3, tri, 0), 0);
    ASSERT_NE(addTriangle(m, "body", 4, quad, 2), 0);
    ASSERT_NE(addLine(m, "body", 2, line, 1), 0);
    ASSERT_TRUE(addImageFromFiles(m, "body", 1, "skin.tga", kImageSmooth, kAxisX, kAxisY, 0.5f));
    ASSERT_TRUE(addImageFromFiles(m, "body", 1, "skin_m.tga", kImageSelectMirror, 0, 0, 0));
    ASSERT_TRUE(addUvee(m, "body", 1, 1, 0.5f, 0.25f));
    ASSERT_TRUE(addImageFromFiles(m, "body", 2, "env.tga", kImageReflect, 0, 0, 0.25f));
    ASSERT_TRUE(setInvisibleColour(m, "body", 2, 1, 0, 0));

    ASSERT_NE(addLayer(m, "arm", 0, 0, 0, 0, 1, kAxisMinusY), nullptr);
    ASSERT_TRUE(addImageFromFiles(m, "arm", 1, "bump.tga", kImageNormalMap, kAxisX, kAxisY, 1));
    ASSERT_TRUE(addImageFromFiles(m, "arm", 1, "bump_a.tga", kImageSelectAlpha, 0, 0, 0));

    const float at[3] = {1, 2, 3};
    const float size[3] = {0.5f, 0.5f, 0.5f};
    ASSERT_NE(addCollide(m, "ball", kShapeSphere, at, size, kIdentity, 2, 0.1f, 0, 1), 0);
    const float wheelAt[3] = {1, 0, 0};
    const float one[3] = {1, 1, 1};
    ASSERT_NE(addChild(m, nullptr, "wheel", wheelAt, one, kIdentity, nullptr, 1), 0);
    const float handAt[3] = {0, 0, 1};
    const float two[3] = {2, 2, 2};
    const float turned[9] = {0, -1, 0, 1, 0, 0, 0, 0, 1};
    ASSERT_NE(addChild(m, nullptr, "hand", handAt, two, turned, "hip", 0.5f), 0);
  }
};

// Written by hand from the format: %-3d then three blanks for point
// numbers, %-8s for joint, collide and child names, three decimals and
// width 6 only for layer surface entries, "transparency" as 1 - opacity,
// and every shape saved as a box.
const char kSampleBody[] =
    "version 2.0\n"
    "joint  hip       0.000000 1.000000 0.000000  world     "
    "1.000000 0.500000 0.000000\n"
    "weights\n"
    "2  0.750000\n"
    "joint  shoulderjoint  0.000000 2.000000 0.000000  hip       "
    "0.000000 0.000000 1.000000\n"
    "weights\n"
    "points\n"
    "1     0.000000 0.000000 0.000000\n"
    "2     1.000000 0.000000 0.000000\n"
    "3     0.000000 1.000000 0.000000\n"
    "12    -1.500000 2.250000 1000.000000\n"
    "\n"
    "normals\n"
    "1     0.000000 0.000000 1.000000\n"
    "\n"
    "colors\n"
    "3     1.000000 0.000000 0.000000   1.000000\n"
    "\n"
    "layer body  1.000000 2.000000 3.000000  singlesided\n"
    "transparency 0.7500\n"
    "normals\n"
    "2     0.000000 1.000000 0.000000\n"
    "surface\n"
    "3      0.500 -0.250  1.000\n"
    "colors\n"
    "1     0.200000 0.400000 0.600000   0.500000\n"
    "triangles\n"
    "5 0 1 2 3 \n"
    "5 2 1 2 3 12 \n"
    "lines\n"
    "5 1 1 12 \n"
    "image 1 skin.tga smooth x y  0.50\n"
    "image 1 skin_m.tga mirror\n"
    "uvees 1\n"
    "1  0.5000  0.2500\n"
    "image 2 env.tga reflect 0.25\n"
    "image 2 invisible 1.000000 0.000000 0.000000\n"
    "\n"
    "layer arm  0.000000 0.000000 0.000000  doublesided mirror -y\n"
    "triangles\n"
    "lines\n"
    "image 1 bump_a.tga alpha\n"
    "\n"
    "\n"
    "collide  ball      box  1.000000 2.000000 3.000000   "
    "0.500000 0.500000 0.500000   1.000000 0.000000 0.000000  "
    "0.000000 1.000000 0.000000  0.000000 0.000000 1.000000  "
    "2.000000 0.100000 0.000000 1\n"
    "child  wheel     1.000000 0.000000 0.000000  "
    "1.000000 0.000000 0.000000 0.000000 1.000000 0.000000 "
    "0.000000 0.000000 1.000000  1.000000 1.000000 1.000000\n"
    "child  hand      0.000000 0.000000 1.000000  "
    "0.000000 -1.000000 0.000000 1.000000 0.000000 0.000000 "
    "0.000000 0.000000 1.000000  2.000000 2.000000 2.000000  hip\n"
    "\n"
    "\n";

std::string header(const std::string& file) {
  return "#\n# model: " + file + "\n#\n";
}

TEST_F(ModWriter, WritesEverySectionInTheFileLayout) {
  buildSample();
  const std::string path = dir + "sample.mod";
  ASSERT_TRUE(writeModelFile(m, path.c_str())) << lastErrorText();
  EXPECT_EQ(readFile(path), header(path) + kSampleBody);
}

// Images 1, 2, 4 are saved as 1 and 2; a cube map has no mode line but
// keeps its other lines; an unknown axis code is written "x"; a texture
// slot without a file name is written "none".
TEST_F(ModWriter, ImageLinesFollowNumbersAndModes) {
  ASSERT_NE(addLayer(m, "skin", 0, 0, 0, 1, 1, 99), nullptr);
  ASSERT_TRUE(addImageFromFiles(m, "skin", 1, "a.tga", kImageDecal, kAxisZ, kAxisMinusX, 1));
  ASSERT_TRUE(addImageFromFiles(m, "skin", 2, "b.tga", kImageAdditive, 0, 0, 0.5f));
  ASSERT_TRUE(addImageFromFiles(m, "skin", 4, "d.tga", kImageDisplace, kAxisX, kAxisY, 2));
  ASSERT_NE(addLayer(m, "sky", 0, 0, 0, 0, 0, kAxisX), nullptr);
  ASSERT_FALSE(addImageFromFiles(m, "sky", 1, "cube.tga", kImageCubeMap, 0, 0, 1))
      << "faces are missing; the record stays";
  tableFindT<Image>(&findLayer(m, "sky")->images, 1)->mirrorFlag = 1;
  const std::string path = dir + "images.mod";
  ASSERT_TRUE(writeModelFile(m, path.c_str()));
  EXPECT_EQ(readFile(path),
            header(path) +
                "version 2.0\npoints\n"
                "\nlayer skin  0.000000 0.000000 0.000000  singlesided"
                " mirror x\n"
                "triangles\nlines\n"
                "image 1 a.tga decal z -x  1.00\n"
                "image 2 b.tga additive 0.50\n"
                "\nlayer sky  0.000000 0.000000 0.000000  doublesided\n"
                "triangles\nlines\n"
                "image 1 none mirror\n"
                "\n\n\n\n");
}

// An empty model still has its fixed lines; a null name is the model's
// own, "" is untitled, and the header names the file as written.
TEST_F(ModWriter, FileNameFollowsTheSaveNameRule) {
  const std::string empty = "version 2.0\npoints\n\n\n\n\n";
  ASSERT_TRUE(writeModelFile(m, (dir + "robot").c_str()));
  EXPECT_EQ(readFile(dir + "robot.mod"), header(dir + "robot.mod") + empty);
  char cwd[4096];
  ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
  ASSERT_EQ(chdir(dir.c_str()), 0);
  const bool saved = writeModelFile(m, nullptr);
  const bool untitled = writeModelFile(m, "");
  ASSERT_EQ(chdir(cwd), 0);
  EXPECT_TRUE(saved && untitled);
  EXPECT_EQ(readFile(dir + "test.mod"), header("test.mod") + empty);
  EXPECT_EQ(readFile(dir + "untitled.mod"), header("untitled.mod") + empty);
  EXPECT_EQ(entries(dir).size(), 3u);
}

// A write that fails halfway (here: the file-size limit) must leave the
// previous file exactly as it was and no temporary behind. SIGXFSZ keeps
// its default action, which ends the process: the writer must keep it off
// while it writes, and give it back afterwards. One into a missing
// directory fails at once.
TEST_F(ModWriter, FailedWriteKeepsTheOldFileAndLeavesNoTemporary) {
  const std::string nowhere = dir + "nowhere/robot.mod";
  EXPECT_FALSE(writeModelFile(m, nowhere.c_str()));
  EXPECT_EQ(std::string(lastErrorText()), "could not write: " + nowhere);
  EXPECT_TRUE(entries(dir).empty());
  for (int32_t n = 1; n <= 20000; ++n)
    ASSERT_TRUE(addPoint(m, n, n * 0.5f, -n * 0.25f, 3));
  const std::string path = dir + "kept.mod";
  const std::string old = "#\n# model: kept.mod\n#\nversion 2.0\npoints\n";
  writeFile(path, old);

  struct rlimit saved;
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &saved), 0);
  void (*previous)(int) = std::signal(SIGXFSZ, SIG_DFL);
  struct rlimit small = saved;
  small.rlim_cur = 4096;
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  const bool ok = writeModelFile(m, path.c_str());
  setrlimit(RLIMIT_FSIZE, &saved);
  EXPECT_EQ(std::signal(SIGXFSZ, previous), SIG_DFL) << "the action is given back";

  EXPECT_FALSE(ok);
  EXPECT_EQ(std::string(lastErrorText()), "could not write: " + path);
  EXPECT_EQ(readFile(path), old);
  EXPECT_EQ(entries(dir), std::vector<std::string>{"kept.mod"});
}

}  // namespace
