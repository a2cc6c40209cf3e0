// An empty model taking over an imported one's tables: the same document
// as absorbing it would make, indexes that stay true through later edits,
// and refusals that leave both models alone.
#include <gtest/gtest.h>

#include <string>

#include "io/import_build.h"
#include "io/mod_writer.h"
#include "model/absorb.h"
#include "model/children.h"
#include "model/geometry.h"
#include "model/model.h"
#include "model/skeleton.h"
#include "test_files.h"

namespace {

// What an import of three layers makes: texture coordinates and vertex
// colours (a seam), shared points with normals, a see-through layer,
// lines, and a point no triangle uses.
Model* imported() {
  Model* m = createModel(nullptr, "scan.obj", nullptr);
  ImportBuilder b;
  importBegin(&b, m);
  const float at[6][3] = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 1}, {2, 2, 2}};
  const float uv[2][2] = {{0, 0}, {1, 1}};
  const float colour[2][4] = {{1, 0, 0, 1}, {0, 0, 1, 1}};
  ImportLook look = {true, {0.2f, 0.4f, 0.6f}, 1.0f, false, ""};
  importLayer(&b, "skin", look, true, true, "");
  int32_t p[6];
  for (int i = 0; i < 4; ++i) p[i] = importVertex(&b, at[i], nullptr, uv[i % 2], colour[i / 2]);
  p[4] = importVertex(&b, at[0], nullptr, uv[1], colour[0]);  // a seam
  importTriangle(&b, p[0], p[1], p[2]);
  importTriangle(&b, p[4], p[2], p[3]);
  importEndLayer(&b);
  look.opacity = 0.5f;
  importLayer(&b, "shell", look, false, false, "");
  const float up[3] = {0, 0, 1};
  for (int i = 0; i < 5; ++i) p[i] = importVertex(&b, at[i], up, nullptr, nullptr);
  importTriangle(&b, p[0], p[1], p[4]);
  importTriangle(&b, p[1], p[2], p[4]);
  importSegment(&b, p[0], p[3]);
  importSegment(&b, p[3], p[2]);
  importEndLayer(&b);
  importLayer(&b, "far", look, false, false, "");
  p[5] = importVertex(&b, at[5], nullptr, nullptr, nullptr);
  importTriangle(&b, p[5], p[2], p[3]);
  const float lone[3] = {-9, 9, 9};  // a point, but no corner: not in the bounds
  importVertex(&b, lone, nullptr, nullptr, nullptr);
  importEndLayer(&b);
  EXPECT_FALSE(b.failed);
  tableFindT<Point>(&m->points, 1)->flags = kItemSelected;  // absorbed unselected
  return m;
}

struct AbsorbWhole : ::testing::Test {
  std::string dir = test_files::tempDir("whole");
  Model* copied = createModel(nullptr, "into.mod", nullptr);
  Model* taken = createModel(nullptr, "into.mod", nullptr);
  void TearDown() override {
    freeModel(copied);
    freeModel(taken);
  }
  std::string saved(Model* m) {
    const std::string path = dir + "into.mod";
    EXPECT_TRUE(writeModelFile(m, path.c_str()));
    return test_files::readFile(path);
  }
  void sameLayerBounds() {
    for (const char* name : {"skin", "shell", "far"}) {
      const float* expected = layerBounds(copied, findLayer(copied, name));
      const float* found = layerBounds(taken, findLayer(taken, name));
      for (int i = 0; i < 6; ++i) EXPECT_EQ(found[i], expected[i]) << name << " " << i;
    }
  }
  // The way every other child goes in: attached with no placement, then
  // absorbed.
  void absorbAsChild(Model* into, Model* child) {
    const float origin[3] = {0, 0, 0}, unit[3] = {1, 1, 1};
    const float identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    const int32_t id = addChild(into, child, child->name, origin, unit, identity, nullptr, 1.0f);
    ASSERT_NE(id, 0);
    ASSERT_TRUE(absorbChild(into, id));
  }
};

TEST_F(AbsorbWhole, MakesTheDocumentAbsorbingMakesAndItsIndexesStayTrue) {
  // Emptied again, both keep bounds that reach a point now gone.
  for (Model* m : {copied, taken}) {
    ASSERT_TRUE(addPoint(m, 1, 50, 50, 50));
    ASSERT_TRUE(deletePoint(m, 1));
  }
  absorbAsChild(copied, imported());
  // Indexes of the empty model, which must not outlive its empty tables.
  EXPECT_EQ(highestPointNumber(taken), 0);
  EXPECT_EQ(findPointAt(taken, 0, 0, 0), 0);
  ASSERT_TRUE(absorbWhole(taken, imported()));
  const std::string expected = saved(copied);
  EXPECT_NE(expected.find("transparency"), std::string::npos);
  EXPECT_EQ(saved(taken), expected);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(taken->boundsMin[i], copied->boundsMin[i]);
    EXPECT_EQ(taken->boundsMax[i], copied->boundsMax[i]);
  }
  EXPECT_EQ(findPoint(taken, 1)->flags, findPoint(copied, 1)->flags);
  // The copy recomputes them; those taken over are the ones the import
  // worked out as it went.
  sameLayerBounds();

  // Edits that go through the indexes the import built: a point's
  // polygons, the highest number, a position search, layer bounds.
  for (Model* m : {copied, taken}) {
    ASSERT_TRUE(deletePoint(m, 2));
    ASSERT_TRUE(addPoint(m, highestPointNumber(m) + 1, 5, 5, 5));
    ASSERT_TRUE(addPoint(m, 1, -3, 0, 0));  // a move
    const int32_t corners[3] = {1, 3, highestPointNumber(m)};
    ASSERT_NE(addTriangle(m, "far", 3, corners, 0), 0);
  }
  EXPECT_EQ(saved(taken), saved(copied));
  EXPECT_EQ(findPointAt(taken, 5, 5, 5), findPointAt(copied, 5, 5, 5));
  sameLayerBounds();
}

TEST_F(AbsorbWhole, RefusesAModelNotEmptyOrASourceWithMoreThanPointsAndLayers) {
  addPoint(copied, 1, 0, 0, 0);
  Model* source = imported();
  EXPECT_FALSE(absorbWhole(copied, source));
  EXPECT_EQ(tableCount(&copied->points), 1);
  EXPECT_EQ(tableCount(&source->layers), 3) << "left as it was";

  addJoint(source, "hip", 0, 0, 0, "world", 1, 1, 1);
  EXPECT_FALSE(absorbWhole(taken, source)) << "joints do not come with an absorbed child";
  EXPECT_EQ(tableCount(&taken->layers), 0);
  freeModel(source);

  source = createModel(nullptr, "gap.mod", nullptr);
  addPoint(source, 2, 0, 0, 0);  // absorbing would make it point 1
  EXPECT_FALSE(absorbWhole(taken, source));
  freeModel(source);
}

}  // namespace
