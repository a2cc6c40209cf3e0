// DirectX .x export: the exact bytes of a small model against a file
// written by hand from the format, and the cases where the layout or the
// numbering could drift.
#include <gtest/gtest.h>

#include "test_files.h"

#include <dirent.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "io/export_support.h"
#include "io/export_x.h"
#include "io/exporters.h"
#include "io/texture_files.h"
#include "model/geometry.h"
#include "model/last_error.h"
#include "model/model.h"

namespace {

using test_files::readFile;
using test_files::tempDir;

bool exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

// Each test runs in a directory of its own, so that the file names the
// exporter writes (and the "// model:" line) are plain relative names.
struct DirectXExport : ::testing::Test {
  Model* m = nullptr;
  std::string home, dir;
  void SetUp() override {
    char cwd[4096];
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    home = cwd;
    dir = tempDir("export_x");
    ASSERT_EQ(chdir(dir.c_str()), 0);
    m = createModel(nullptr, "car.mod", nullptr);
  }
  void TearDown() override {
    freeModel(m);
    DIR* d = opendir(".");
    while (dirent* e = d ? readdir(d) : nullptr) unlink(e->d_name);
    if (d) closedir(d);
    ASSERT_EQ(chdir(home.c_str()), 0);
    rmdir(dir.c_str());
  }

  void points(std::initializer_list<std::vector<float>> list) {
    for (const auto& p : list)
      ASSERT_TRUE(addPoint(m, static_cast<int32_t>(p[0]), p[1], p[2], p[3]));
  }
  void polygon(const char* layer, std::vector<int32_t> numbers) {
    ASSERT_NE(addTriangle(m, layer, static_cast<int32_t>(numbers.size()),
                          numbers.data(), 0),
              0);
  }
  void layer(const char* name, float r = 0, float g = 0, float b = 0,
             int32_t mirror = 0) {
    ASSERT_NE(addLayer(m, name, r, g, b, 1, mirror, kAxisX), nullptr);
  }
};

// The golden model: an unused layer with an image (no content, so neither
// material nor mesh); "body" with a quad written as a strip, a line-only
// point, layer and model normals and colours; "decal" with a triangle, an
// image and uvees for two of its three points.
TEST_F(DirectXExport, WritesTwoLayerModelExactly) {
  layer("empty");
  addImageFromFiles(m, "empty", 1, "unused.tga", kImageDecal, kAxisX, kAxisY, 1);
  layer("body");
  layer("decal", 255, 51, 0);
  points({{10, 1, 0, 0}, {11, 1, 1, 0}, {12, 0, 0, 0}, {13, 0, 1, 0},
          {14, 2, 0, 0.5f}, {20, 0, 0, 1}, {21, 0, 2, 1}, {22, 2, 0, 1}});
  polygon("body", {12, 10, 13, 11});
  const int32_t line[2] = {12, 14};
  ASSERT_NE(addLine(m, "body", 2, line, 0), 0);
  ASSERT_TRUE(addNormal(m, "body", 10, 0, 0, 2));
  ASSERT_TRUE(addNormal(m, "body", 12, 0, 0, 1));
  ASSERT_TRUE(addNormal(m, nullptr, 10, 1, 0, 0));  // the layer's wins
  ASSERT_TRUE(addNormal(m, nullptr, 11, 0, 1, 0));
  ASSERT_TRUE(addColour(m, "body", 12, 1, 0.5f, 0.25f, 1));
  ASSERT_TRUE(addColour(m, nullptr, 10, 0, 0, 1, 0.5f));
  polygon("decal", {20, 22, 21});
  ASSERT_TRUE(setTransparency(m, "decal", 0.25f));
  addImageFromFiles(m, "decal", 1, "skin.tga", kImageDecal, kAxisX, kAxisY, 1);
  ASSERT_TRUE(addUvee(m, "decal", 1, 20, 0.25f, 0.75f));
  ASSERT_TRUE(addUvee(m, "decal", 1, 22, 1, 0.5f));
  flushDerived(m);

  ASSERT_TRUE(writeDirectX(m, "car.mod.x"));
  EXPECT_EQ(readFile("car.mod.x"),
            readFile(MODELR_TEST_DATA "/export/car.mod.x"));
}

TEST_F(DirectXExport, FlatModeGivesOneNormalPerTriangle) {
  layer("one");
  layer("quad");
  points({{1, 0, 0, 0}, {2, 1, 0, 0}, {3, 0, 1, 0}, {4, 1, 1, 0}});
  polygon("one", {1, 2, 3});
  polygon("quad", {1, 2, 3, 4});
  ASSERT_TRUE(writeDirectX(m, "flat.x", true));
  const std::string text = readFile("flat.x");
  EXPECT_NE(text.find("\t\t\t1; // 1 normal per triangle\n"
                      "\t\t\t0.000000;0.000000;-1.000000;; // flat normal\n\n"
                      "\t\t\t1; // 1 faces\n"
                      "\t\t\t3;0,0,0;;\n\t\t}\n"),
            std::string::npos);
  EXPECT_NE(text.find("\t\t\t2; // 1 normal per triangle\n"
                      "\t\t\t0.000000;0.000000;-1.000000;, // flat normal\n"
                      "\t\t\t0.000000;0.000000;-1.000000;; // flat normal\n\n"
                      "\t\t\t2; // 2 faces\n"
                      "\t\t\t3;0,0,0;,\n\t\t\t3;1,1,1;;\n\t\t}\n"),
            std::string::npos);
}

// Scattered numbers take the sorting path rather than the dense one.
TEST_F(DirectXExport, OrdersSparsePointNumbersAscending) {
  layer("l");
  points({{1000000, 0, 0, 0}, {7, 1, 0, 0}, {5, 0, 1, 0}});
  polygon("l", {1000000, 7, 5});
  ASSERT_TRUE(writeDirectX(m, "sparse.x"));
  const std::string text = readFile("sparse.x");
  EXPECT_NE(text.find("\t\t0.000000;1.000000;0.000000;, // point 5\n"
                      "\t\t1.000000;0.000000;0.000000;, // point 7\n"
                      "\t\t0.000000;0.000000;0.000000;; // point 1000000\n\n"
                      "\t\t1; // 1 faces\n\t\t3;2,1,0;;\n"),
            std::string::npos);
}

TEST_F(DirectXExport, BreaksLongMaterialListsIntoLines) {
  layer("strip");
  std::vector<int32_t> strip;
  for (int32_t i = 1; i <= 20; ++i) {
    ASSERT_TRUE(addPoint(m, i, static_cast<float>(i / 2), i % 2, 0));
    strip.push_back(i);
  }
  polygon("strip", strip);
  addImageFromFiles(m, "strip", 1, "t.tga", kImageDecal, kAxisX, kAxisY, 1);
  ASSERT_TRUE(writeDirectX(m, "strip.x"));
  EXPECT_NE(readFile("strip.x")
                .find("\t\t\t18; // Number of faces\n"
                      "\t\t\t0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,\n"
                      "\t\t\t0,0;;\n\t\t\t{material_1}\n\t\t}\n\n"),
            std::string::npos);
}

TEST_F(DirectXExport, RefusalsSayWhyAndLeaveNoFile) {
  layer("l");
  points({{1, 0, 0, 0}, {2, 1, 0, 0}, {3, 0, 1, 0}});
  polygon("l", {1, 2, 3});
  ASSERT_TRUE(tableRemove(&m->points, 2));  // behind the document's back
  EXPECT_FALSE(writeDirectX(m, "broken.x"));
  EXPECT_STREQ(lastErrorText(), "could not find: point 2");
  EXPECT_FALSE(exists("broken.x"));
  EXPECT_FALSE(writeDirectX(m, "no/such/dir/car.mod.x"));
  EXPECT_STREQ(lastErrorText(), "could not write: no/such/dir/car.mod.x");
}

}  // namespace
