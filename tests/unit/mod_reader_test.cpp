// The .mod reader: what each line form stores, the message (with file and
// line) of every refusal, and the children a file names.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "io/mod_reader.h"
#include "io/mod_writer.h"
#include "model/children.h"
#include "model/geometry.h"
#include "model/last_error.h"
#include "model/model.h"
#include "model/skeleton.h"
#include "model/transform.h"
#include "test_files.h"

namespace {

Model* readText(const std::string& text, const char* name = "t.mod") {
  return readModelBytes(text.data(), text.size(), name, nullptr, "");
}

std::string errorOf(const std::string& text) {
  Model* m = readText(text);
  EXPECT_EQ(m, nullptr) << "expected a refusal of:\n" << text;
  freeModel(m);
  return lastErrorText() ? lastErrorText() : "";
}

const char* kTriangle =
    "points\n1 0 0 0\n2 1 0 0\n3 0 1 0\n4 1 1 0\nlayer a 0 0 0 singlesided\n";

// A directory of .mod files for the child tests.
struct FileTree {
  std::string root = test_files::tempDir("reader");
  std::string put(const std::string& name, const std::string& text) {
    test_files::writeFile(root + name, text);
    return root + name;
  }
};

}  // namespace

TEST(ModReader, StoresEveryDataLineFormInTheModelOrItsLayer) {
  Model* m = readText(std::string(kTriangle) +
                      "colors\n4 255 128 0 255\n"
                      "normals\n1 90 0\n2 0 90\n3 0 0 2\n"
                      "triangles\n0 1 2 3\n1 1 2 3 4\n2 1 2 3 4\n3 1 2 3 4\n"
                      "4 1 2 3 4 2\n5 3 4 3 2\n"
                      "lines\n2 1 2\n5 1 1 2 3\n");
  ASSERT_NE(m, nullptr) << lastErrorText();
  Layer* a = findLayer(m, "a");
  const Colour* c = tableFindT<Colour>(&a->colours, 4);
  ASSERT_NE(c, nullptr) << "colours after a layer line belong to that layer";
  EXPECT_FLOAT_EQ(c->r, 1.0f);
  EXPECT_NEAR(c->g, 0.502f, 1e-3);
  EXPECT_FLOAT_EQ(c->a, 1.0f);
  const VectorEntry* n1 = tableFindT<VectorEntry>(&a->normals, 1);
  EXPECT_NEAR(n1->x, 0.0f, 1e-6);
  EXPECT_NEAR(n1->y, 1.0f, 1e-6) << "angle 90, 0 points along y";
  const VectorEntry* n2 = tableFindT<VectorEntry>(&a->normals, 2);
  EXPECT_EQ(n2->x, 0.0f) << "straight up zeroes the first two exactly";
  EXPECT_EQ(n2->y, 0.0f);
  EXPECT_FLOAT_EQ(n2->z, 1.0f);
  EXPECT_EQ(tableCount(&a->triangles), 6);
  EXPECT_EQ(tableCount(&a->lines), 2);
  // (points, kind) of each polygon: form 3 takes three points and a kind.
  std::vector<std::pair<int, int>> got;
  for (int32_t s = tableNextSlot(&a->triangles, -1); s >= 0; s = tableNextSlot(&a->triangles, s))
    got.emplace_back(tableAt<Triangle>(&a->triangles, s)->count,
                     tableAt<Triangle>(&a->triangles, s)->kind);
  EXPECT_EQ(got, (std::vector<std::pair<int, int>>{{3, 0}, {4, 0}, {4, 0}, {3, 4}, {4, 2}, {3, 3}}));
  freeModel(m);
  // Tables before the first layer are the model's, under either colour
  // spelling; a colour above one in any component scales all from bytes.
  m = readText("points\n1 0 0 0\n2 1 0 0\n3 0 1 0\ngoraud\n1 0.5 0.5 2 1\n2 0.5 200 0.5 1\n"
               "3 0.5 0.5 0.5 1\nlayer a 0 0 0 doublesided\ngouraud\n1 1 0 0 1\n");
  ASSERT_NE(m, nullptr) << lastErrorText();
  const Colour* blue = tableFindT<Colour>(&m->colours, 1);
  const Colour* green = tableFindT<Colour>(&m->colours, 2);
  const Colour* plain = tableFindT<Colour>(&m->colours, 3);
  ASSERT_TRUE(blue && green && plain);
  EXPECT_NEAR(blue->b, 2 * kByteScale, 1e-6);
  EXPECT_NEAR(blue->r, 0.5 * kByteScale, 1e-6);
  EXPECT_NEAR(green->g, 200 * kByteScale, 1e-6);
  EXPECT_NEAR(green->b, 0.5 * kByteScale, 1e-6);
  EXPECT_FLOAT_EQ(plain->r, 0.5f);
  EXPECT_NE(tableFindT<Colour>(&findLayer(m, "a")->colours, 1), nullptr);
  EXPECT_EQ(findLayer(m, "a")->singleSided, 0);
  freeModel(m);
  // Invisible colours are bytes up to 255 (300 is refused below).
  m = readText(std::string(kTriangle) + "image 1 none smooth x y\ninvisible 255 0 0\n");
  ASSERT_NE(m, nullptr);
  const Image* image = tableFindT<Image>(&findLayer(m, "a")->images, 1);
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->invisible[0], 1.0f);
  freeModel(m);
}

TEST(ModReader, EveryRefusalCarriesFileAndLine) {
  struct Case {
    std::string text;
    const char* message;
  } cases[] = {
      {"points\n1 0 0\n", "Bad point definition (file: t.mod, line: 2)"},
      // Numbers that do not fit.
      {"points\n99999999999 0 0 0\n", "Bad point definition (file: t.mod, line: 2)"},
      {"points\n1 1e999 0 0\n", "Bad point definition (file: t.mod, line: 2)"},
      {"points\n1 0x10 0 0\n", "Bad point definition (file: t.mod, line: 2)"},
      {"points\n1.5 0 0 0\n", "Bad point definition (file: t.mod, line: 2)"},
      {"1 0 0 0\n", "Bad point or triangle data (file: t.mod, line: 1)"},
      {"points\n1 0 0 0\ncolors\n1 1 0 0\n", "Bad color definition (file: t.mod, line: 4)"},
      {"points\n1 0 0 0\ncolors\n2 1 0 0 1\n",
       "colour defined for an undefined point (file: t.mod, line: 4)"},
      {"normals\n1 0\n", "Bad normal definition (file: t.mod, line: 2)"},
      {std::string(kTriangle) + "triangles\n0 1 2\n", "Bad triangle definition (file: t.mod, line: 8)"},
      {std::string(kTriangle) + "triangles\n7 1 2 3\n", "Bad triangle definition (file: t.mod, line: 8)"},
      {std::string(kTriangle) + "triangles\n5 0 1 2\n", "Bad triangle definition (file: t.mod, line: 8)"},
      {std::string(kTriangle) + "lines\n3 1 2\n", "Bad line definition (file: t.mod, line: 8)"},
      {std::string(kTriangle) + "uvees\n1 0\n", "Bad uvee definition (file: t.mod, line: 8)"},
      {"points\n1 0 0 0\nuvees\n1 0 0\n", "cannot find layer for uvee (file: t.mod, line: 4)"},
      {"layer a 0 0 0 singlesided\nuvees\n9 0 0\n",
       "uvee point not found in model (file: t.mod, line: 3)"},
      {"weights\n1 1\n", "cannot find joint (file: t.mod, line: 2)"},
      {"joint j 0 0 0 world\nweights\n1\n", "Bad weight definition (file: t.mod, line: 3)"},
      {"layer a 0 0\n", "Bad layer definition (file: t.mod, line: 1)"},
      {"layer a 0 0 0 s mirror w\n", "Bad image axis definition (file: t.mod, line: 1)"},
      {"layer a 0 0 0 s\nlayer a 0 0 0 s\n",
       "duplicate layer name not allowed (file: t.mod, line: 2)"},
      {"layer a 0 0 0 s\ntransparency\n", "Bad transparency data (file: t.mod, line: 2)"},
      {"layer a 0 0 0 s\nshader pixel\n", "Bad shader definition (file: t.mod, line: 2)"},
      {"layer a 0 0 0 s\nreflect sky.tga\n", "Bad reflection map definition (file: t.mod, line: 2)"},
      {"layer a 0 0 0 s\ninvisible 1 1\n", "Bad invisible data (file: t.mod, line: 2)"},
      {"joint j 0 0\n", "Bad joint definition (file: t.mod, line: 1)"},
      {"joint j 0 0 0 j\n", "Bad joint parent (file: t.mod, line: 1)"},
      {"layer a 0 0 0 s\nimage 1 none\n", "Bad image definition (file: t.mod, line: 2)"},
      {"layer a 0 0 0 s\nimage 1 none sparkle x y\n", "Bad image definition (file: t.mod, line: 2)"},
      {"layer a 0 0 0 s\nimage 1 none decal x q\n", "Bad image axis definition (file: t.mod, line: 2)"},
      {"layer a 0 0 0 s\nimage 1 none smooth x y\nimage 1 invisible 2 0 0\n",
       "invisible color out of range (should be 0.0 to 1.0 (file: t.mod, line: 3)"},
      {std::string(kTriangle) + "image 1 none smooth x y\ninvisible 300 0 0\n",
       "invisible color out of range (should be 0.0 to 1.0 (file: t.mod, line: 8)"},
      {"child c 0 0 0 1 1 1 x y\n", "Bad child data (file: t.mod, line: 1)"},
      {"child c 0 0 0 1 0 1 x y z\n", "Bad child data (file: t.mod, line: 1)"},
      {"child c 0 0 0 1 1 1 x y w\n", "Bad child data (file: t.mod, line: 1)"},
      {"collide c cone 0 0 0 1 1 1 1 0 0 0 1 0 0 0 1\n",
       "Bad collide object definition (file: t.mod, line: 1)"},
      {"collide c box 0 0 0 1 0 1 1 0 0 0 1 0 0 0 1\n",
       "Bad collide object definition (file: t.mod, line: 1)"},
      {"collide c box 0 0 0 1 1 1 1 0 0 0 1 0 0 0\n",
       "Bad collide object definition (file: t.mod, line: 1)"},
  };
  for (const Case& c : cases) EXPECT_EQ(errorOf(c.text), c.message) << c.text;
}

TEST(ModReader, PolygonsOfUpTo512PointsAndNoMore) {
  std::string text = "points\n";
  for (int i = 1; i <= 600; ++i) text += std::to_string(i) + " " + std::to_string(i) + " 0 0\n";
  text += "layer a 0 0 0 singlesided\ntriangles\n5 0";
  std::string big = text;
  for (int i = 1; i <= 512; ++i) text += " " + std::to_string(i);
  Model* m = readText(text + "\n");
  ASSERT_NE(m, nullptr) << lastErrorText();
  EXPECT_EQ(tableAt<Triangle>(&findLayer(m, "a")->triangles,
                              tableNextSlot(&findLayer(m, "a")->triangles, -1))
                ->count,
            512);
  freeModel(m);
  for (int i = 1; i <= 600; ++i) big += " " + std::to_string(i);
  EXPECT_EQ(errorOf(big + "\n"), "Bad triangle definition (file: t.mod, line: 604)");
}

TEST(ModReader, CommentsBlankLinesMissingNewlineAndJunkBytes) {
  Model* m = readText("# a model\n\n   \npoints # the points\n1 0 0 0 # first\n2 1 0 0");
  ASSERT_NE(m, nullptr) << lastErrorText();
  EXPECT_EQ(tableCount(&m->points), 2) << "the last line needs no newline";
  freeModel(m);
  const std::string junk("points\n1 0\0 0 0\n\x01\xff\x80 zz\n", 22);
  m = readText(junk);
  ASSERT_NE(m, nullptr) << "unknown keywords, even binary ones, are ignored";
  EXPECT_EQ(tableCount(&m->points), 1);
  freeModel(m);
}

TEST(ModReader, KeywordLinesStoreTheirSettings) {
  Model* m = readText(std::string(kTriangle) +
                      "transparency 0.25\nshader vertex wobble.vs\n"
                      "triangles\n5 0 1 2 3\n"
                      "image 1 none decal -x z 0.5\nimage 1 back.tga mirror\n"
                      "uvees 1\n1 0.25 0.75\n"
                      "reflect sky.tga 0.3\n"
                      "image old.tga y x\n"
                      "joint j 1 2 3 world 2 0.5 -1\nweights\n1 0.5\n"
                      "collide c sphere 1 2 3 4 5 6 1 0 0 0 1 0 0 0 1\n"
                      "version 3.5\npath /ignored\nfrobnicate 1 2\n");
  ASSERT_NE(m, nullptr) << lastErrorText();
  Layer* a = findLayer(m, "a");
  EXPECT_FLOAT_EQ(a->opacity, 0.75f);
  Image* one = tableFindT<Image>(&a->images, 1);
  EXPECT_EQ(one->mode, kImageDecal);
  EXPECT_EQ(one->axisU, kAxisMinusX);
  EXPECT_EQ(one->axisV, kAxisZ);
  EXPECT_FLOAT_EQ(one->strength, 0.5f);
  EXPECT_EQ(one->mirrorFlag, 1);
  EXPECT_STREQ(one->mirror.file, "back.tga");
  EXPECT_FLOAT_EQ(tableFindT<Uvee>(&one->uvees, 1)->v, 0.75f);
  // The old image form goes before the reflect image, which moves up.
  EXPECT_EQ(tableFindT<Image>(&a->images, 2)->mode, kImageSmooth);
  EXPECT_STREQ(tableFindT<Image>(&a->images, 2)->main.file, "old.tga");
  EXPECT_EQ(tableFindT<Image>(&a->images, 3)->mode, kImageReflect);
  Joint* j = findJoint(m, "j");
  EXPECT_FLOAT_EQ(j->colour[0], 1.0f);
  EXPECT_FLOAT_EQ(j->colour[2], 0.0f);
  EXPECT_FLOAT_EQ(tableFindT<Weight>(&j->weights, 1)->weight, 0.5f);
  CollideObject* c = collideByName(m, "c");
  EXPECT_EQ(c->shape, kShapeSphere);
  EXPECT_FLOAT_EQ(c->weight, 1.0f);
  EXPECT_FLOAT_EQ(c->friction, 0.0f);
  EXPECT_EQ(c->dynamic, 1);
  EXPECT_FLOAT_EQ(m->version, 3.5f);
  freeModel(m);
}

TEST(ModReader, ChildrenLoadFromTheParentsDirectoryAndWidenItsBounds) {
  FileTree tree;
  tree.put("leg.mod", "points\n1 0 0 0\n2 1 2 3\n");
  const std::string robot = tree.put(
      "robot.mod",
      "points\n1 0 0 0\n"
      "child leg 10 0 0 2 2 2 x y z\n"
      "child leg 0 0 0  1 0 0 0 1 0 0 0 1  1 1 1  hip\n");
  Model* m = readModelFile(robot.c_str(), nullptr, nullptr);
  ASSERT_NE(m, nullptr) << lastErrorText();
  ASSERT_EQ(tableCount(&m->children), 2);
  Child* first = childByPosition(m, 1);
  ASSERT_NE(first->model, nullptr);
  EXPECT_EQ(first->model->parent, m);
  EXPECT_FLOAT_EQ(m->boundsMax[0], 12.0f) << "10 + 2 * 1";
  EXPECT_FLOAT_EQ(m->boundsMax[2], 6.0f);
  EXPECT_STREQ(childByPosition(m, 2)->joint, "hip");
  EXPECT_FLOAT_EQ(childByPosition(m, 2)->jointWeight, 1.0f);
  freeModel(m);
}

TEST(ModReader, DropsChildrenThatLoopNestTooDeepOrDoNotLoadAndKeepsTheRest) {
  FileTree tree;
  tree.put("arm.mod", "points\n1 0 0 0\nchild robot 0 0 0 1 1 1 x y z\n");
  tree.put("hand.mod", "points\n1 0 0 0\n");
  const std::string robot = tree.put("robot.mod",
                                     "points\n1 0 0 0\n"
                                     "child robot 0 0 0 1 1 1 x y z\n"
                                     "child missing 0 0 0 1 1 1 x y z\n"
                                     "child arm 0 0 0 1 1 1 x y z\n"
                                     "child hand 0 0 0 1 1 1 x y z\n");
  Model* m = readModelFile(robot.c_str(), nullptr, nullptr);
  ASSERT_NE(m, nullptr);
  ASSERT_EQ(tableCount(&m->children), 2);
  EXPECT_STREQ(childByPosition(m, 1)->name, "arm");
  EXPECT_EQ(tableCount(&childByPosition(m, 1)->model->children), 0)
      << "the arm's child is its own grandparent";
  EXPECT_STREQ(childByPosition(m, 2)->name, "hand");
  freeModel(m);

  tree.put("self.mod", "points\n1 0 0 0\nchild self 0 0 0 1 1 1 x y z\n");
  m = readModelFile((tree.root + "self.mod").c_str(), nullptr, nullptr);
  ASSERT_NE(m, nullptr);
  EXPECT_STREQ(lastErrorText(), "Child in child endless loop: self");
  freeModel(m);
  // A chain stops at a depth instead of overflowing; each file names the
  // next through a path, so no name repeats.
  for (int i = 0; i < 100; ++i)
    tree.put("c" + std::to_string(i) + ".mod",
             "points\n1 0 0 0\nchild c" + std::to_string(i + 1) + " 1 0 0 1 1 1 x y z\n");
  tree.put("c100.mod", "points\n1 0 0 0\n");
  m = readModelFile((tree.root + "c0.mod").c_str(), nullptr, nullptr);
  ASSERT_NE(m, nullptr);
  int depth = 0;
  for (Model* at = m; tableCount(&at->children) > 0; at = childByPosition(at, 1)->model)
    ++depth;
  EXPECT_GT(depth, 30);
  EXPECT_LT(depth, 100);
  freeModel(m);
  // A file that names itself through another path is still a loop.
  tree.put("x.mod", "points\n1 0 0 0\nchild ./x 0 0 0 1 1 1 x y z\n");
  m = readModelFile((tree.root + "x.mod").c_str(), nullptr, nullptr);
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(tableCount(&m->children), 0);
  freeModel(m);
  // A missing file itself is reported by name.
  EXPECT_EQ(readModelFile("/nonexistent/dir/robot.mod", nullptr, nullptr), nullptr);
  EXPECT_STREQ(lastErrorText(), "could not find: /nonexistent/dir/robot.mod");
}

TEST(ModReader, AnOverlongTexturePathCostsTheTextureNotTheModel) {
  const std::string path(200, 'p');
  Model* m = readText(std::string(kTriangle) + "image 1 " + path + ".tga smooth x y\n" +
                      "triangles\n5 0 1 2 3\n");
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(std::string(lastErrorText()).rfind("image file name too long: ppp", 0), 0u);
  const Layer* a = findLayer(m, "a");
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(tableCount(&a->triangles), 1);
  const Image* image = tableFindT<Image>(&a->images, 1);
  ASSERT_NE(image, nullptr);
  EXPECT_STREQ(image->main.file, "none");
  freeModel(m);
}

// Write, read, write again: the two files are the same bytes, and reading
// the rich sample (every keyword) loses nothing the writer keeps.
TEST(ModReader, SavedFilesReadBackToTheSameBytes) {
  FileTree tree;
  const std::string text = test_files::readFile(std::string(MODELR_TEST_DATA) + "/mod/rich.mod");
  tree.put("b.mod", "points\n1 0 0 0\n");
  tree.put("a.mod", "points\n1 1 1 1\n");
  Model* m = readModelBytes(text.data(), text.size(), "rich.mod", nullptr,
                            tree.root.c_str());
  ASSERT_NE(m, nullptr) << lastErrorText();
  const std::string first = tree.root + "first.mod";
  const std::string second = tree.root + "second.mod";
  ASSERT_TRUE(writeModelFile(m, first.c_str()));
  freeModel(m);
  m = readModelFile(first.c_str(), nullptr, nullptr);
  ASSERT_NE(m, nullptr) << lastErrorText();
  ASSERT_TRUE(writeModelFile(m, second.c_str()));
  freeModel(m);
  const std::string a = test_files::readFile(first), b = test_files::readFile(second);
  EXPECT_GT(a.size(), 500u);
  // Only the header line naming the file differs.
  EXPECT_EQ(a.substr(a.find("version")), b.substr(b.find("version")));
  EXPECT_NE(a.find("collide  c1        box"), std::string::npos)
      << "a sphere is written back as a box";
  EXPECT_NE(a.find("child  a         0.000000"), std::string::npos);
}
