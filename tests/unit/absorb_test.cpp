// Absorbing a child model into its parent: placement, renumbering, layer
// naming, images, baked mirrors, grandchildren and refusals.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "io/texture_files.h"
#include "model/absorb.h"
#include "model/children.h"
#include "model/geometry.h"
#include "model/last_error.h"
#include "model/model.h"
#include "model/skeleton.h"
#include "model/transform.h"
#include "test_files.h"
#include "test_models.h"

namespace {

const float kNoTurn[3] = {0, 0, 0};
const float kQuarterZ[3] = {0, 0, 90};
const float kUnit[3] = {1, 1, 1};

struct Absorb : test_models::ModelTest {
  Model*& parent = m;  // owns what is attached

  static Model* model(const char* name, Model* owner) {
    return createModel(owner, name, nullptr);
  }
  static int32_t attach(Model* to, Model* child, const char* name,
                        const float position[3], const float scale[3],
                        const float angles[3], const char* joint = nullptr) {
    float rotation[9];
    rotationFromAngles(angles, rotation);
    return addChild(to, child, name, position, scale, rotation, joint, 0.5f);
  }
  static void triangle(Model* m, const char* layer, int32_t a, int32_t b, int32_t c) {
    const int32_t points[3] = {a, b, c};
    ASSERT_NE(addTriangle(m, layer, 3, points, 0), 0);
  }
  void expectPoint(int32_t n, float x, float y, float z) {
    const Point* p = findPoint(parent, n);
    ASSERT_NE(p, nullptr) << "point " << n;
    EXPECT_NEAR(p->x, x, 1e-5) << "point " << n;
    EXPECT_NEAR(p->y, y, 1e-5) << "point " << n;
    EXPECT_NEAR(p->z, z, 1e-5) << "point " << n;
  }
};

TEST_F(Absorb, PlacesPointsAndCollidesAfterTheParentsHighestNumberAndRemovesTheChild) {
  addPoint(parent, 7, 1, 1, 1);
  addJoint(parent, "axle", 0, 0, 0, "world", 1, 1, 1);
  Model* wheel = model("wheel.mod", parent);
  addPoint(wheel, 3, 1, 0, 0);  // slot order decides the new numbers
  addPoint(wheel, 1, 0, 2, 0);
  const float hubAt[3] = {1, 0, 0}, hubSize[3] = {1, 2, 3};
  const float identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  addCollide(wheel, "hub", kShapeSphere, hubAt, hubSize, identity, 2, 0.5f, 0, 1);
  const float position[3] = {10, 0, 0}, scale[3] = {2, -1, 1};
  const int32_t id = attach(parent, wheel, "wheel", position, scale, kQuarterZ, "axle");

  ASSERT_TRUE(absorbChild(parent, id));
  expectPoint(8, 10, 2, 0);  // (1,0,0) scaled to (2,0,0), turned to (0,2,0)
  expectPoint(9, 12, 0, 0);
  EXPECT_EQ(highestPointNumber(parent), 9);
  EXPECT_EQ(tableCount(&parent->children), 0);
  EXPECT_FLOAT_EQ(parent->boundsMax[0], 12);
  EXPECT_EQ(tableCount(&findJoint(parent, "axle")->weights), 2) << "the child rode on the joint";
  const CollideObject* hub = collideByName(parent, "hub");
  ASSERT_NE(hub, nullptr);
  EXPECT_NEAR(hub->position[1], 2, 1e-5);
  EXPECT_FLOAT_EQ(hub->size[1], 2) << "sizes grow by the scale's magnitude";
  EXPECT_NEAR(hub->rotation[1], -1, 1e-5);
  EXPECT_FALSE(absorbChild(parent, id)) << "absorbed once";
}

TEST_F(Absorb, TurnsNormalsAndCarriesEntriesImagesAndUveesUnderTheNewNumbers) {
  const std::string file = ::testing::TempDir() + "absorb_tyre.tga";
  test_files::writeFile(file, test_files::tga(1, 1));
  addPoint(parent, 5, 0, 0, 0);
  Model* wheel = model("wheel.mod", parent);
  for (int32_t n = 1; n <= 3; ++n) addPoint(wheel, n, n, 0, 0);
  addLayer(wheel, "rim", 0, 0, 0, 1, 0, 0);
  ASSERT_TRUE(addImageFromFiles(wheel, "rim", 1, file.c_str(), kImageDecal, kAxisX, kAxisY, 1));
  ASSERT_TRUE(addUvee(wheel, "rim", 1, 2, 0.25f, 0.75f));
  addNormal(wheel, "rim", 1, 1, 0, 0);
  addNormal(wheel, nullptr, 2, 1, 1, 0);
  addColour(wheel, nullptr, 2, 0, 0, 1, 0.5f);  // before the triangle: rim stays opaque
  addColour(wheel, nullptr, 3, 1, 0, 0, 1);
  addColour(wheel, "rim", 3, 0, 1, 0, 1);
  triangle(wheel, "rim", 1, 2, 3);
  const float scale[3] = {2, 1, 1};
  ASSERT_TRUE(absorbChild(parent, attach(parent, wheel, "wheel", kNoTurn, scale, kQuarterZ)));
  std::remove(file.c_str());
  Layer* rim = findLayer(parent, "rim");
  ASSERT_NE(rim, nullptr);
  const VectorEntry* n6 = tableFindT<VectorEntry>(&rim->normals, 6);
  ASSERT_NE(n6, nullptr);
  EXPECT_NEAR(n6->x, 0, 1e-5);
  EXPECT_NEAR(n6->y, 1, 1e-5);
  // (1,1,0) / (2,1,1) turned is (-1,0.5,0), brought back to length sqrt 2.
  const VectorEntry* n7 = tableFindT<VectorEntry>(&rim->normals, 7);
  ASSERT_NE(n7, nullptr) << "model-level normal carried into the layer";
  EXPECT_NEAR(n7->x, -1.264911f, 1e-5);
  EXPECT_NEAR(n7->y, 0.632456f, 1e-5);
  EXPECT_FLOAT_EQ(tableFindT<Colour>(&rim->colours, 7)->b, 1);
  EXPECT_EQ(rim->transparent, 1) << "a carried colour with alpha below 1";
  EXPECT_FLOAT_EQ(tableFindT<Colour>(&rim->colours, 8)->g, 1) << "the layer's own wins";
  EXPECT_EQ(tableCount(&parent->colours), 0);
  EXPECT_EQ(tableCount(&parent->normals), 0);
  // The image keeps its texture; the uvee of point 2 is now point 7's.
  Image* image = tableFindT<Image>(&rim->images, 1);
  ASSERT_NE(image, nullptr);
  EXPECT_TRUE(image->main.loaded && image->main.pixels != nullptr);
  EXPECT_EQ(tableFind(&image->uvees, 2), nullptr);
  const Uvee* uvee = tableFindT<Uvee>(&image->uvees, 7);
  ASSERT_NE(uvee, nullptr);
  EXPECT_EQ(uvee->word, 7);
  EXPECT_FLOAT_EQ(uvee->v, 0.75f);
}

TEST_F(Absorb, ClashingLayerNamesTakeTheChildsNameThenANumber) {
  addPoint(parent, 1, 0, 0, 0);
  addLayer(parent, "body", 0, 0, 0, 1, 0, 0);
  addLayer(parent, "wheel_body", 0, 0, 0, 1, 0, 0);
  Model* wheel = model("wheel.mod", parent);
  for (int32_t n = 1; n <= 3; ++n) addPoint(wheel, n, 0, n, 0);
  addLayer(wheel, "body", 1, 2, 3, 0, 0, 0);
  addLayer(wheel, "trim", 0, 0, 0, 1, 0, 0);
  setTransparency(wheel, "body", 0.25f);
  triangle(wheel, "body", 1, 2, 3);
  ASSERT_TRUE(absorbChild(parent, attach(parent, wheel, "wheel", kNoTurn, kUnit, kNoTurn)));

  Layer* moved = findLayer(parent, "wheel_body_2");
  ASSERT_NE(moved, nullptr);
  EXPECT_NE(findLayer(parent, "trim"), nullptr);
  EXPECT_EQ(tableCount(&parent->layers), 4);
  EXPECT_EQ(tableCount(&moved->triangles), 1);
  EXPECT_EQ(tableCount(&findLayer(parent, "body")->triangles), 0);
  EXPECT_FLOAT_EQ(moved->opacity, 0.75f);
}

TEST_F(Absorb, RefusalsLeaveTheParentAsItWas) {
  addPoint(parent, 1, 0, 0, 0);
  const std::string layer = "body" + std::string(30, 'b');
  addLayer(parent, layer.c_str(), 0, 0, 0, 1, 0, 0);
  Model* wheel = model("wheel.mod", parent);
  addPoint(wheel, 1, 5, 5, 5);
  addLayer(wheel, "fits", 0, 0, 0, 1, 0, 0);
  addLayer(wheel, layer.c_str(), 0, 0, 0, 1, 0, 0);
  const std::string longName(100, 'w');
  const int32_t id = attach(parent, wheel, longName.c_str(), kNoTurn, kUnit, kNoTurn);
  const int32_t ghost = attach(parent, nullptr, "ghost", kNoTurn, kUnit, kNoTurn);

  EXPECT_FALSE(absorbChild(parent, id));
  EXPECT_EQ(std::string(lastErrorText()).rfind("layer name too long", 0), 0u);
  EXPECT_FALSE(absorbChild(parent, ghost));
  EXPECT_STREQ(lastErrorText(), "child does not exist");
  EXPECT_FALSE(absorbChild(parent, 99999));
  EXPECT_STREQ(lastErrorText(), "child does not exist");
  EXPECT_EQ(tableCount(&parent->layers), 1);
  EXPECT_EQ(tableCount(&parent->points), 1);
  EXPECT_EQ(tableCount(&parent->children), 2);
  EXPECT_EQ(childById(parent, id)->model, wheel);
}

TEST_F(Absorb, BakesAMirroringLayerWithReversedWindingAndSharesPlanePoints) {
  Model* half = model("half.mod", parent);
  addPoint(half, 1, 0, 0, 0);  // on the mirror plane
  addPoint(half, 2, 1, 0, 0);
  addPoint(half, 3, 1, 1, 0);
  addLayer(half, "shell", 0, 0, 0, 1, 1, kAxisX);
  triangle(half, "shell", 1, 2, 3);
  addNormal(half, "shell", 3, 1, 0, 0);
  const float position[3] = {5, 0, 0};
  ASSERT_TRUE(absorbChild(parent, attach(parent, half, "half", position, kUnit, kNoTurn)));

  EXPECT_EQ(tableCount(&parent->points), 5);
  expectPoint(4, 4, 0, 0);
  expectPoint(5, 4, 1, 0);
  Layer* shell = findLayer(parent, "shell");
  EXPECT_EQ(shell->mirror, 0);
  ASSERT_EQ(tableCount(&shell->triangles), 2);
  auto* mirrored = static_cast<const Triangle*>(tableNth(&shell->triangles, 1));
  // (m1 m0 m2): the reflected strip faces the other way.
  EXPECT_EQ(std::vector<int32_t>(mirrored->points, mirrored->points + 3),
            (std::vector<int32_t>{4, 1, 5}));
  EXPECT_FLOAT_EQ(tableFindT<VectorEntry>(&shell->normals, 5)->x, -1);
}

TEST_F(Absorb, FlattensGrandchildrenThroughBothPlacements) {
  Model* wheel = model("wheel.mod", parent);
  Model* nut = model("nut.mod", wheel);
  for (int32_t n = 1; n <= 3; ++n) {
    addPoint(wheel, n, 0, n, 0);
    addPoint(nut, n, n, 0, 0);
  }
  addLayer(wheel, "bolt", 0, 0, 0, 1, 0, 0);
  addLayer(nut, "bolt", 0, 0, 0, 1, 0, 0);
  triangle(nut, "bolt", 1, 2, 3);
  const float nutAt[3] = {0, 1, 0}, twice[3] = {2, 2, 2}, wheelAt[3] = {10, 0, 0};
  attach(wheel, nut, "nut", nutAt, twice, kNoTurn);
  const int32_t id = attach(parent, wheel, "wheel", wheelAt, kUnit, kNoTurn);

  ASSERT_TRUE(absorbChild(parent, id));
  EXPECT_EQ(tableCount(&parent->children), 0);
  EXPECT_EQ(tableCount(&parent->points), 6);
  EXPECT_NE(findPointAt(parent, 12, 1, 0), 0) << "nut point 1 through both placements";
  Layer* nutBolt = findLayer(parent, "nut_bolt");
  ASSERT_NE(nutBolt, nullptr);
  EXPECT_EQ(tableCount(&nutBolt->triangles), 1);
}

}  // namespace
