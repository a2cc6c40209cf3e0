// Baking mirroring layers into real geometry, and the export copy that is
// baked instead of the open document.
#include <gtest/gtest.h>

#include "test_files.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "io/mod_writer.h"
#include "io/texture_files.h"
#include "model/children.h"
#include "model/geometry.h"
#include "model/last_error.h"
#include "model/mirror.h"
#include "model/model.h"
#include "test_models.h"

namespace {

using test_files::readFile;
using test_files::writeFile;

const float kIdentity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};

// A one-pixel 24-bit TGA file of colour (1, 2, 3).
std::string writePixelTga(const char* name) {
  const std::string file = ::testing::TempDir() + name;
  writeFile(file, test_files::tga(1, 1));
  return file;
}

using Polygons = std::vector<std::vector<int32_t>>;

struct Mirror : test_models::ModelTest {
  // A layer mirrored on `axis`.
  Layer* mirrored(const char* name, int32_t axis = kAxisX) {
    return addLayer(m, name, 0.25f, 0.5f, 0.75f, 1, 1, axis);
  }
  void polygon(const char* layer, std::vector<int32_t> points, int32_t kind = 0) {
    ASSERT_NE(addTriangle(m, layer, static_cast<int32_t>(points.size()), points.data(), kind), 0)
        << lastErrorText();
  }
  // The polygons of a layer as point lists, in slot order.
  Polygons polygons(const char* layer) {
    Polygons out;
    tableForEach<const Triangle>(&findLayer(m, layer)->triangles, [&](const Triangle* t, int32_t) {
      out.emplace_back(t->points, t->points + t->count);
    });
    return out;
  }
  void expectPoint(int32_t n, float x, float y, float z) {
    const Point* p = findPoint(m, n);
    ASSERT_NE(p, nullptr) << "point " << n;
    EXPECT_EQ(std::vector<float>({p->x, p->y, p->z}), std::vector<float>({x, y, z})) << n;
  }
};

TEST_F(Mirror, ReflectsPointsUnderNumbersAfterTheHighestAndKeepsLayerSettings) {
  addPoint(m, 2, 2, 0, 0);
  addPoint(m, 1, 2, 1, 0);
  addPoint(m, 3, 2, 0, 1);
  addPoint(m, 9, 5, 5, 5);  // unused, but it sets the highest number
  mirrored("half");
  setTransparency(m, "half", 0.25f);
  polygon("half", {2, 1, 3});
  ASSERT_TRUE(bakeMirror(m, "half", false)) << lastErrorText();

  // Numbered in the order the polygon uses them.
  expectPoint(10, -2, 0, 0);
  expectPoint(11, -2, 1, 0);
  expectPoint(12, -2, 0, 1);
  EXPECT_EQ(highestPointNumber(m), 12);
  EXPECT_EQ(polygons("half_mirror"), (Polygons{{11, 10, 12}}));
  const Layer* baked = findLayer(m, "half_mirror");
  EXPECT_EQ(findLayer(m, "half")->mirror, 0);
  EXPECT_TRUE(baked->mirror == 0 && baked->mirrorAxis == kAxisNone);
  EXPECT_TRUE(baked->singleSided == 1 && baked->origin[2] == 0.75f);
  EXPECT_TRUE(baked->opacity == 0.75f && baked->transparent == 1);
  // A layer is baked once.
  EXPECT_FALSE(bakeMirror(m, "half", false));
}

TEST_F(Mirror, SharesPointsOnTheMirrorPlaneOnlyWhenAsked) {
  addPoint(m, 1, 0, 0, 0);
  addPoint(m, 2, 2, 0, 0);
  addPoint(m, 3, 2, 1, 0);
  addPoint(m, 4, -2, 1, 0);  // already where 3 reflects to
  mirrored("half");
  polygon("half", {1, 2, 3});
  ASSERT_TRUE(bakeMirror(m, "half", true));
  EXPECT_EQ(polygons("half_mirror"), (Polygons{{5, 1, 4}}));
  EXPECT_EQ(highestPointNumber(m), 5);
  expectPoint(5, -2, 0, 0);

  // Unshared, the reflection of x = 0 is a new point at 0, not -0.
  mirrored("other");
  polygon("other", {1, 2, 3});
  ASSERT_TRUE(bakeMirror(m, "other", false));
  EXPECT_EQ(polygons("other_mirror"), (Polygons{{7, 6, 8}}));
  expectPoint(6, 0, 0, 0);
  EXPECT_FALSE(std::signbit(findPoint(m, 6)->x));
}

TEST_F(Mirror, SplitsQuadsAndLongerPolygonsAsBefore) {
  for (int32_t n = 1; n <= 5; ++n) addPoint(m, n, n, n * 2.0f, 1);
  mirrored("quad", kAxisY);
  polygon("quad", {1, 2, 3, 4}, 3);
  ASSERT_TRUE(bakeMirror(m, "quad", false));
  // (m1, m0, m2) and (m1, m2, m3), both of the source's kind.
  EXPECT_EQ(polygons("quad_mirror"), (Polygons{{7, 6, 8}, {7, 8, 9}}));
  const KeyedTable* quads = &findLayer(m, "quad_mirror")->triangles;
  EXPECT_EQ(tableAt<Triangle>(quads, tableNextSlot(quads, -1))->kind, 3);
  expectPoint(6, 1, -2, 1);

  // A pentagon: the turned triangle, then a quad m1..m4 (not a fan).
  mirrored("penta", kAxisZ);
  polygon("penta", {1, 2, 3, 4, 5});
  ASSERT_TRUE(bakeMirror(m, "penta", false));
  EXPECT_EQ(polygons("penta_mirror"), (Polygons{{11, 10, 12}, {11, 12, 13, 14}}));
  expectPoint(10, 1, 2, -1);
}

TEST_F(Mirror, KeepsLinesInOrderAndLeavesOutPolygonsOf256Points) {
  for (int32_t n = 1; n <= 300; ++n) addPoint(m, n, n, 0, 0);
  mirrored("half");
  std::vector<int32_t> big;
  for (int32_t n = 1; n <= 256; ++n) big.push_back(n);
  polygon("half", big);
  const int32_t line[3] = {3, 1, 2};
  ASSERT_NE(addLine(m, "half", 3, line, 2), 0);
  ASSERT_TRUE(bakeMirror(m, "half", false));
  // Its points are still reflected: 301..556 in the polygon's order.
  EXPECT_TRUE(polygons("half_mirror").empty());
  expectPoint(556, -256, 0, 0);
  const Layer* baked = findLayer(m, "half_mirror");
  ASSERT_EQ(tableCount(&baked->lines), 1);
  const Line* l = tableAt<Line>(&baked->lines, tableNextSlot(&baked->lines, -1));
  EXPECT_EQ(std::vector<int32_t>(l->points, l->points + l->count),
            (std::vector<int32_t>{303, 301, 302}));
  EXPECT_EQ(l->kind, 2);
}

TEST_F(Mirror, RefusesWithoutCreatingAnything) {
  addPoint(m, 1, 1, 0, 0);
  addPoint(m, 2, 1, 1, 0);
  addPoint(m, 3, 1, 1, 1);
  addLayer(m, "plain", 0, 0, 0, 1, 0, kAxisX);
  polygon("plain", {1, 2, 3});
  mirrored("empty");
  mirrored("taken");
  polygon("taken", {1, 2, 3});
  addLayer(m, "taken_mirror", 0, 0, 0, 1, 0, 0);

  EXPECT_FALSE(bakeMirror(m, "plain", false));
  EXPECT_STREQ(lastErrorText(), "layer does not mirror: plain");
  EXPECT_FALSE(bakeMirror(m, "empty", false));
  EXPECT_STREQ(lastErrorText(), "layer uses no points: empty");
  EXPECT_FALSE(bakeMirror(m, "taken", false));
  EXPECT_STREQ(lastErrorText(), "mirror layer exists already: taken_mirror");
  EXPECT_FALSE(bakeMirror(m, "ghost", false));
  EXPECT_STREQ(lastErrorText(), "layer not found: ghost");
  EXPECT_FALSE(bakeMirror(m, nullptr, false));

  EXPECT_EQ(tableCount(&m->layers), 4);
  EXPECT_EQ(highestPointNumber(m), 3);
  EXPECT_EQ(findLayer(m, "empty")->mirror, 1);  // still to be baked
  EXPECT_EQ(findLayer(m, "taken")->mirror, 1);

  // "<name>_mirror" must still fit a name.
  const std::string longName(125, 'n');
  mirrored(longName.c_str());
  polygon(longName.c_str(), {1, 2, 3});
  EXPECT_FALSE(bakeMirror(m, longName.c_str(), false));
  EXPECT_EQ(tableCount(&m->layers), 5);
}

TEST_F(Mirror, ReflectsNormalsUnderNewNumbersAndRekeysColoursByNewNumbers) {
  addPoint(m, 1, 0, 0, 0);  // on the plane: shared, so its new number is 1
  addPoint(m, 2, 2, 0, 0);
  addPoint(m, 3, 2, 1, 0);
  addPoint(m, 4, 7, 7, 7);
  mirrored("half");
  polygon("half", {1, 2, 3});
  addNormal(m, "half", 2, 0.5f, 0.25f, 1);
  addColour(m, "half", 1, 1, 0, 0, 1);
  addColour(m, "half", 2, 0, 1, 0, 0.5f);
  ASSERT_TRUE(bakeMirror(m, "half", true));
  const Layer* baked = findLayer(m, "half_mirror");

  // Points 1, 2, 3 went to 1, 5, 6.
  const auto* normal = tableFindT<VectorEntry>(&baked->normals, 5);
  ASSERT_NE(normal, nullptr);
  EXPECT_EQ(normal->x, -0.5f);
  EXPECT_EQ(normal->y, 0.25f);
  EXPECT_EQ(tableCount(&baked->normals), 1);
  // Key 1 is the new number of the first collected point: 5 + 0. Key 2
  // is no new number and stays.
  const auto* red = tableFindT<Colour>(&baked->colours, 5);
  const auto* green = tableFindT<Colour>(&baked->colours, 2);
  ASSERT_NE(red, nullptr);
  ASSERT_NE(green, nullptr);
  EXPECT_EQ(red->r, 1.0f);
  EXPECT_EQ(green->g, 1.0f);
  EXPECT_EQ(tableCount(&baked->colours), 2);
  EXPECT_EQ(baked->transparent, 1);  // green's alpha
}

TEST_F(Mirror, CopiesImagesWithAxesSwappedOnTheMirrorAxis) {
  const std::string skin = writePixelTga("mirror_skin.tga");
  const std::string back = writePixelTga("mirror_back.tga");
  for (int32_t n = 1; n <= 3; ++n) addPoint(m, n, n, 1, 0);
  mirrored("half");
  polygon("half", {1, 2, 3});
  // 1: main texture, projected x and y; 2: mirror texture, -x and z,
  // uvees of its own (one of them for a point no longer there) and an
  // invisible colour; 3: a texture that did not load.
  ASSERT_TRUE(addImageFromFiles(m, "half", 1, skin.c_str(), kImageDecal, kAxisX, kAxisY, 0.5f));
  ASSERT_TRUE(addImageFromFiles(m, "half", 2, skin.c_str(), kImageSmooth, kAxisMinusX, kAxisZ, 1));
  ASSERT_TRUE(addImageFromFiles(m, "half", 2, back.c_str(), kImageSelectMirror, 0, 0, 0));
  ASSERT_TRUE(setInvisibleColour(m, "half", 2, 0.25f, 0.5f, 1));
  ASSERT_TRUE(addUvee(m, "half", 2, 3, 0.5f, 0.75f));
  addPoint(m, 10, 9, 9, 9);
  ASSERT_TRUE(addUvee(m, "half", 2, 10, 0.1f, 0.2f));
  deletePoint(m, 10);
  addImageFromFiles(m, "half", 3, "missing.tga", kImageDecal, kAxisX, kAxisY, 1);
  ASSERT_TRUE(addImageFromFiles(m, "half", 1, back.c_str(), kImageSelectAlpha, 0, 0, 0));
  ASSERT_TRUE(bakeMirror(m, "half", false));
  std::remove(skin.c_str());
  std::remove(back.c_str());

  const Layer* baked = findLayer(m, "half_mirror");
  ASSERT_EQ(tableCount(&baked->images), 2);  // not image 3
  const Image* one = tableFindT<Image>(&baked->images, 1);
  const Image* two = tableFindT<Image>(&baked->images, 2);
  const Image* sourceOne = tableFindT<Image>(&findLayer(m, "half")->images, 1);
  ASSERT_TRUE(one && two);
  EXPECT_EQ(one->axisU, kAxisMinusX);
  EXPECT_EQ(one->axisV, kAxisY);
  EXPECT_EQ(one->strength, 0.5f);
  EXPECT_TRUE(one->extraKind == kExtraAlphaTexture && one->alpha.loaded);
  ASSERT_TRUE(one->main.loaded);
  EXPECT_NE(one->main.pixels, sourceOne->main.pixels);  // its own buffer
  EXPECT_EQ(0, std::memcmp(one->main.pixels, sourceOne->main.pixels, 3));

  EXPECT_EQ(two->axisU, kAxisX);
  EXPECT_EQ(two->axisV, kAxisZ);
  EXPECT_EQ(std::string(two->main.file), back);  // the mirror texture
  EXPECT_EQ(two->mirrorFlag, 0);
  EXPECT_EQ(two->extraKind, kExtraInvisibleColour);
  EXPECT_EQ(two->invisible[2], 1.0f);
  ASSERT_EQ(tableCount(&two->uvees), 1);  // under the old number
  EXPECT_EQ(tableFindT<Uvee>(&two->uvees, 3)->v, 0.75f);
}

TEST_F(Mirror, BakeAllWalksAgainAfterEveryBakeAndBakesEachLayerOnce) {
  for (int32_t n = 1; n <= 3; ++n) addPoint(m, n, n, n, n);
  // A hole at the front: the first new layer goes before the rest.
  addLayer(m, "gap", 0, 0, 0, 1, 0, 0);
  for (const char* name : {"a", "b", "c"}) {
    mirrored(name, kAxisY);
    polygon(name, {1, 2, 3});
  }
  addLayer(m, "plain", 0, 0, 0, 1, 0, 0);
  polygon("plain", {1, 2, 3});
  mirrored("empty");
  deleteLayer(m, "gap");
  EXPECT_TRUE(bakeAllMirrors(m, false));

  for (const char* name : {"a_mirror", "b_mirror", "c_mirror"})
    EXPECT_NE(findLayer(m, name), nullptr) << name;
  EXPECT_EQ(findLayer(m, "a_mirror_mirror"), nullptr);
  EXPECT_EQ(findLayer(m, "plain_mirror"), nullptr);
  EXPECT_EQ(tableCount(&m->layers), 8);
  EXPECT_EQ(highestPointNumber(m), 12);
  EXPECT_EQ(findLayer(m, "empty")->mirror, 1);
  EXPECT_TRUE(bakeAllMirrors(m, false));
  EXPECT_EQ(tableCount(&m->layers), 8);
}

// A model with something in every table the copy duplicates.
struct ExportCopy : Mirror {
  std::string skin;
  void SetUp() override {
    Mirror::SetUp();
    skin = writePixelTga("mirror_copy_skin.tga");
    for (int32_t n = 1; n <= 5; ++n) addPoint(m, n, n, n * 0.5f, 1);
    addNormal(m, nullptr, 1, 0, 0, 1);
    addColour(m, nullptr, 2, 1, 0.5f, 0, 1);
    addSurface(m, nullptr, 3, 0, 1, 0);
    mirrored("body");
    polygon("body", {1, 2, 3, 4});
    const int32_t line[2] = {4, 5};
    addLine(m, "body", 2, line, 1);
    addNormal(m, "body", 1, 1, 0, 0);
    addColour(m, "body", 2, 0, 1, 0, 1);
    setTransparency(m, "body", 0.5f);
    addImageFromFiles(m, "body", 1, skin.c_str(), kImageDecal, kAxisX, kAxisY, 1);
    addUvee(m, "body", 1, 2, 0.25f, 0.5f);
    addLayer(m, "flat", 1, 2, 3, 0, 0, 0);
    polygon("flat", {5, 4, 3, 2, 1});  // long: its points on the heap
    const int32_t path[5] = {1, 2, 3, 4, 5};
    addLine(m, "flat", 5, path, 0);
    Model* wheel = createModel(m, "wheel.mod", nullptr);
    addPoint(wheel, 1, 0, 0, 0);
    addPoint(wheel, 2, 1, 0, 0);
    addPoint(wheel, 3, 0, 1, 0);
    addLayer(wheel, "rim", 0, 0, 0, 1, 1, kAxisZ);
    const int32_t rim[3] = {1, 2, 3};
    addTriangle(wheel, "rim", 3, rim, 0);
    const float at[3] = {4, 0, 0}, scale[3] = {1, 1, 1};
    addChild(m, wheel, "wheel", at, scale, kIdentity, nullptr, 1);
    flushDerived(m);
  }
  void TearDown() override {
    std::remove(skin.c_str());
    Mirror::TearDown();
  }
};

TEST_F(ExportCopy, LeavesTheOpenModelByteIdenticalAndOwnsEverything) {
  const std::string path = ::testing::TempDir() + "mirror_copy.mod";
  ASSERT_TRUE(writeModelFile(m, path.c_str())) << lastErrorText();
  const std::string before = readFile(path);
  const Image* sourceImage = tableFindT<Image>(&findLayer(m, "body")->images, 1);
  const std::string pixel(reinterpret_cast<const char*>(sourceImage->main.pixels), 3);
  Model* copy = prepareExportCopy(m);
  ASSERT_NE(copy, nullptr) << lastErrorText();
  ASSERT_TRUE(writeModelFile(m, path.c_str()));
  EXPECT_EQ(readFile(path), before);
  EXPECT_EQ(findLayer(m, "body_mirror"), nullptr);
  EXPECT_STREQ(copy->name, m->name);
  freeModel(m);  // the copy shares nothing with it
  // Another model takes the freed point arrays back.
  m = createModel(nullptr, "other.mod", nullptr);
  addLayer(m, "b", 0, 0, 0, 0, 0, 0);
  addPoint(m, 9, 0, 0, 0);
  const int32_t nines[5] = {9, 9, 9, 9, 9};
  for (int i = 0; i < 8; ++i) {
    addTriangle(m, "b", 5, nines, 0);
    addLine(m, "b", 5, nines, 0);
  }
  const Layer* flat = findLayer(copy, "flat");
  const Triangle* t = tableAt<Triangle>(&flat->triangles, tableNextSlot(&flat->triangles, -1));
  const Line* l = tableAt<Line>(&flat->lines, tableNextSlot(&flat->lines, -1));
  EXPECT_EQ(std::vector<int32_t>(polygonPoints(t), polygonPoints(t) + 5), (std::vector<int32_t>{5, 4, 3, 2, 1}));
  EXPECT_EQ(std::vector<int32_t>(polygonPoints(l), polygonPoints(l) + 5), (std::vector<int32_t>{1, 2, 3, 4, 5}));

  EXPECT_EQ(findLayer(copy, "body")->mirror, 0);
  const Layer* baked = findLayer(copy, "body_mirror");
  ASSERT_NE(baked, nullptr);
  EXPECT_EQ(baked->opacity, 0.5f);
  EXPECT_EQ(highestPointNumber(copy), 10);  // the line's point too
  EXPECT_EQ(tableCount(&baked->triangles), 2);
  EXPECT_EQ(tableCount(&baked->lines), 1);
  const Image* image = tableFindT<Image>(&baked->images, 1);
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(image->main.pixels), 3), pixel);
  // Only the copy itself is baked; its child is as loaded.
  const Child* child = childByPosition(copy, 1);
  ASSERT_TRUE(child && child->model);
  EXPECT_EQ(child->model->parent, copy);
  EXPECT_EQ(findLayer(child->model, "rim")->mirror, 1);

  // Writing reads every copied table; the original's layers keep their order.
  ASSERT_TRUE(writeModelFile(copy, path.c_str()));
  const std::string written = readFile(path);
  EXPECT_LT(written.find("layer body "), written.find("layer flat"));
  EXPECT_LT(written.find("layer flat"), written.find("layer body_mirror"));
  freeModel(copy);
  std::remove(path.c_str());
}

}  // namespace
