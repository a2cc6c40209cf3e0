// STL and OBJ export: file names, and the exact bytes of both files for a
// small model whose expected text is worked out by hand.
#include <gtest/gtest.h>

#include "test_files.h"

#include <string>

#include "io/export_obj.h"
#include "io/export_stl.h"
#include "io/export_support.h"
#include "io/export_x.h"
#include "io/exporters.h"
#include "model/geometry.h"
#include "model/last_error.h"
#include "model/model.h"
#include "test_models.h"

namespace {

using test_files::readFile;
using test_files::tempDir;
using test_files::writeFile;

TEST(ExportFileName, KeepsTheModPartAndFallsBackToUntitled) {
  EXPECT_EQ(exportFileName("car.mod", "stl"), "car.mod.stl");
  EXPECT_EQ(exportFileName("car", "stl"), "car.mod.stl");
  EXPECT_EQ(exportFileName("ab.c", "stl"), "ab.c.mod.stl");
  EXPECT_EQ(exportFileName("a.obj", "obj"), "a.obj.obj");
  EXPECT_EQ(exportFileName("", "obj"), "untitled.mod.obj");
  EXPECT_EQ(exportFileName(nullptr, "stl"), "untitled.mod.stl");
}

// Layer a: the quad strip 1 2 3 4 flat at z = -3 (normal +z). Layer b: the
// triangle 1 10 11 with normal (0, -0.8, 0.6); point 11 is added before 10,
// so the table order (the OBJ vertex numbers) is 1 2 3 4 11 10, and a line
// 10 11 1. Layer c is empty. The lowest corner is (-1, -2, -3).
struct SmallModel : test_models::ModelTest {
  std::string dir = tempDir("export");
  void SetUp() override {
    addPoint(m, 1, -1, -2, -3);
    addPoint(m, 2, 1, -2, -3);
    addPoint(m, 3, -1, 2, -3);
    addPoint(m, 4, 1, 2, -3);
    addPoint(m, 11, -1, 1, 1);
    addPoint(m, 10, 0, -2, -3);
    addLayer(m, "a", 0, 0, 0, 1, 0, 0);
    addLayer(m, "b", 0, 0, 0, 1, 0, 0);
    addLayer(m, "c", 0, 0, 0, 1, 0, 0);
    const int32_t quad[] = {1, 2, 3, 4};
    const int32_t triangle[] = {1, 10, 11};
    const int32_t line[] = {10, 11, 1};
    ASSERT_NE(addTriangle(m, "a", 4, quad, 0), 0);
    ASSERT_NE(addTriangle(m, "b", 3, triangle, 0), 0);
    ASSERT_NE(addLine(m, "b", 3, line, 0), 0);
  }
};

const char kGoldenStl[] =
    "solid golden.mod.stl\n"
    "  facet normal 0.000000 1.000000 0.000000\n"
    "    outer loop\n"
    "      vertex 0.000000 0.000000 0.000000\n"
    "      vertex 2.000000 0.000000 0.000000\n"
    "      vertex 0.000000 0.000000 4.000000\n"
    "    endloop\n"
    "  endfacet\n"
    "  facet normal 0.000000 1.000000 0.000000\n"
    "    outer loop\n"
    "      vertex 0.000000 0.000000 4.000000\n"
    "      vertex 2.000000 0.000000 0.000000\n"
    "      vertex 2.000000 0.000000 4.000000\n"
    "    endloop\n"
    "  endfacet\n"
    "  facet normal 0.000000 0.600000 -0.800000\n"
    "    outer loop\n"
    "      vertex 0.000000 0.000000 0.000000\n"
    "      vertex 1.000000 0.000000 0.000000\n"
    "      vertex 0.000000 4.000000 3.000000\n"
    "    endloop\n"
    "  endfacet\n"
    "endsolid golden.mod.stl\n";

TEST_F(SmallModel, StlMovesLowestCornerToOriginAndExchangesYAndZ) {
  const std::string path = dir + "golden.mod.stl";
  ASSERT_TRUE(writeStl(m, path.c_str(), "golden.mod.stl")) << lastErrorText();
  EXPECT_EQ(readFile(path), kGoldenStl);
  // Without layers only the solid lines are left.
  for (const char* layer : {"a", "b", "c"}) deleteLayer(m, layer);
  ASSERT_TRUE(writeStl(m, path.c_str(), "golden.mod.stl"));
  EXPECT_EQ(readFile(path), "solid golden.mod.stl\nendsolid golden.mod.stl\n");
}

// Vertices in table order (11 before 10), y and z exchanged, not moved.
#define GOLDEN_OBJ_POINTS \
    "#\n# model: golden.mod.obj\n#\n" \
    "# points\n" \
    "v   -1.000000 -3.000000 -2.000000\n" \
    "v   1.000000 -3.000000 -2.000000\n" \
    "v   -1.000000 -3.000000 2.000000\n" \
    "v   1.000000 -3.000000 2.000000\n" \
    "v   -1.000000 1.000000 1.000000\n" \
    "v   0.000000 -3.000000 -2.000000\n"

// Stored normals: model level for points 1 and 2, layer a for 3 and 2 (in
// that order). Layer a's normal of point 2 wins over the model's; point 4
// has none, so triangle (3 2 4) gets its face normal, as does (1 10 11).
const char kGoldenObjPerVertex[] =
    GOLDEN_OBJ_POINTS
    "\n# normals\n"
    "vn   0.000000 1.000000 0.000000\n"
    "vn   1.000000 0.000000 0.000000\n"
    "\n# normals for a\n"
    "vn   0.000000 -1.000000 0.000000\n"
    "vn   0.000000 0.000000 1.000000\n"
    "\n# face normals\n"
    "vn   0.000000 1.000000 0.000000\n"
    "vn   0.000000 0.600000 -0.800000\n"
    "\nusemtl a\n"
    "\n# 2 faces\n"
    "f 1//1 2//4 3//3\n"
    "f 3//3 2//4 4//5\n"
    "\nusemtl b\n"
    "\n# 1 faces\n"
    "f 1//1 6//6 5//6\n"
    "\n# 1 lines\n"
    "l 6 5 1 \n"
    "\nusemtl c\n";

const char kGoldenObjFlat[] =
    GOLDEN_OBJ_POINTS
    "vn   0.000000 1.000000 0.000000\n"
    "vn   0.000000 1.000000 0.000000\n"
    "vn   0.000000 0.600000 -0.800000\n"
    "\nusemtl a\n"
    "\n# 2 faces\n"
    "f 1//1 2//1 3//1\n"
    "f 3//2 2//2 4//2\n"
    "\nusemtl b\n"
    "\n# 1 faces\n"
    "f 1//3 6//3 5//3\n"
    "\n# 1 lines\n"
    "l 6 5 1 \n"
    "\nusemtl c\n";

TEST_F(SmallModel, ObjPerVertexNormalsPreferLayerAndGiveEveryCornerOneOrOnePerTriangle) {
  addNormal(m, nullptr, 1, 0, 0, 1);
  addNormal(m, nullptr, 2, 1, 0, 0);
  addNormal(m, "a", 3, 0, 0, -1);
  addNormal(m, "a", 2, 0, 1, 0);
  const std::string path = dir + "golden.mod.obj";
  ASSERT_TRUE(writeObj(m, path.c_str(), "golden.mod.obj", false))
      << lastErrorText();
  EXPECT_EQ(readFile(path), kGoldenObjPerVertex);
  // Flat, the same model numbers one normal per triangle, ignoring stored.
  ASSERT_TRUE(writeObj(m, path.c_str(), "golden.mod.obj", true)) << lastErrorText();
  EXPECT_EQ(readFile(path), kGoldenObjFlat);
}

// A polygon naming a point the model lacks cannot come from the document's
// own operations; if it ever does, nothing is written over the old file.
TEST_F(SmallModel, PolygonWithUnknownPointIsRefusedAndOldFileKept) {
  Layer* a = findLayer(m, "a");
  const int32_t slot = tableNextSlot(&a->triangles, -1);
  tableAt<Triangle>(&a->triangles, slot)->points[3] = 99;
  for (int flat = 0; flat < 3; ++flat) {
    const std::string path = dir + "old.txt";
    writeFile(path, "old");
    const bool written =
        flat == 2 ? writeStl(m, path.c_str(), "t")
                  : writeObj(m, path.c_str(), "t", flat != 0);
    EXPECT_FALSE(written);
    EXPECT_STREQ(lastErrorText(), "point not found: 99");
    EXPECT_EQ(readFile(path), "old");
  }
  tableAt<Triangle>(&a->triangles, slot)->points[3] = 4;
}

// Through the exporters (STL and DirectX): the file goes beside the model,
// named by its path, and a mirroring layer is written baked while the open
// model keeps its mirror.
TEST(Exporters, WriteBesideTheModelWithMirrorsBakedIntoACopy) {
  const std::string dir = tempDir("export");
  Model* m = createModel(nullptr, (dir + "car.mod").c_str(), nullptr);
  addPoint(m, 1, 1, 0, 0);
  addPoint(m, 2, 2, 0, 0);
  addPoint(m, 3, 1, 1, 0);
  addLayer(m, "side", 0, 0, 0, 1, 1, kAxisX);
  const int32_t triangle[] = {1, 2, 3};
  ASSERT_NE(addTriangle(m, "side", 3, triangle, 0), 0);

  ASSERT_EQ(exportStl(m), 1) << lastErrorText();
  const std::string stl = readFile(dir + "car.mod.stl");
  EXPECT_EQ(stl.compare(0, 6 + dir.size() + 11, "solid " + dir + "car.mod.stl"), 0);
  size_t facets = 0;
  for (size_t at = stl.find("facet normal"); at != std::string::npos;
       at = stl.find("facet normal", at + 1))
    ++facets;
  EXPECT_EQ(facets, 2u);
  // The mirrored copy reaches x = -2: the offset moves it to 0.
  EXPECT_NE(stl.find("vertex 0.000000 0.000000 0.000000"), std::string::npos);
  ASSERT_EQ(exportDirectX(m), 1) << lastErrorText();
  EXPECT_NE(readFile(dir + "car.mod.x")
                .find("\tMesh x_side_mirror {\n\t\t3; // 3 vertices\n"
                      "\t\t-1.000000;0.000000;0.000000;, // point 4\n"),
            std::string::npos);

  EXPECT_EQ(findLayer(m, "side_mirror"), nullptr);
  EXPECT_EQ(findLayer(m, "side")->mirror, 1);
  freeModel(m);
}

}  // namespace
