// Layer geometry: dependent removal, clamping, image numbering, uvees and
// the lazily recomputed bounds and automatic uvees.
#include <gtest/gtest.h>

#include "test_files.h"

#include <array>
#include <cmath>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "io/texture_files.h"
#include "model/geometry.h"
#include "model/last_error.h"
#include "model/model.h"
#include "model/selection.h"
#include "test_models.h"

namespace {

using test_files::tempDir;
using test_files::writeFile;

struct ModelFixture : test_models::ModelTest {
  // Points 1.. at the given coordinates.
  void points(std::initializer_list<std::array<float, 3>> list) {
    int32_t n = 1;
    for (const auto& p : list) ASSERT_TRUE(addPoint(m, n++, p[0], p[1], p[2]));
  }
  Layer* layer(const char* name) { return findLayer(m, name); }
  Image* image(const char* name, int32_t n) {
    return tableFindT<Image>(&findLayer(m, name)->images, n);
  }
  Uvee* uvee(const char* name, int32_t n, int32_t point) {
    return tableFindT<Uvee>(&image(name, n)->uvees, point);
  }
};

using Geometry = ModelFixture;
using Images = ModelFixture;
using Lazy = ModelFixture;
using PolygonCorners = ModelFixture;

void writeTga(const std::string& path, int w, int h) { writeFile(path, test_files::tga(w, h)); }

TEST_F(Geometry, DeletedPointTakesItsPolygonsFromEveryLayerButNotModelEntries) {
  points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}});
  addLayer(m, "a", 0, 0, 0, 1, 0, 0);
  addLayer(m, "b", 0, 0, 0, 1, 0, 0);
  const int32_t uses[] = {1, 2, 3}, spares[] = {2, 3, 4};
  addTriangle(m, "a", 3, uses, 0);
  const int32_t kept = addTriangle(m, "a", 3, spares, 0);
  addLine(m, "b", 2, uses, 0);
  addColour(m, "b", 1, 1, 0, 0, 1);
  addNormal(m, "a", 1, 0, 0, 1);
  addColour(m, nullptr, 1, 0, 1, 0, 1);
  addNormal(m, nullptr, 1, 0, 1, 0);

  EXPECT_TRUE(deletePoint(m, 1));
  EXPECT_EQ(tableCount(&layer("a")->triangles), 1);
  EXPECT_NE(tableFind(&layer("a")->triangles, kept), nullptr);
  EXPECT_EQ(tableCount(&layer("b")->lines), 0);
  EXPECT_EQ(tableFind(&layer("b")->colours, 1), nullptr);
  EXPECT_EQ(tableFind(&layer("a")->normals, 1), nullptr);
  EXPECT_NE(tableFind(&m->colours, 1), nullptr);
  EXPECT_NE(tableFind(&m->normals, 1), nullptr);
}

TEST_F(Geometry, PointsMoveInPlaceTheFirstSetsTheBoundsAndMirrorsGrowThem) {
  points({{5, 6, 7}});
  EXPECT_FLOAT_EQ(m->boundsMin[0], 5);  // not grown from a zero box
  ASSERT_TRUE(addPoint(m, 1, -1, 9, 7));
  EXPECT_EQ(tableCount(&m->points), 1);
  EXPECT_FLOAT_EQ(findPoint(m, 1)->x, -1);
  EXPECT_FLOAT_EQ(m->boundsMin[0], -1);
  EXPECT_FLOAT_EQ(m->boundsMax[1], 9);
  EXPECT_FALSE(addPoint(m, 0, 1, 1, 1));
  // A mirroring layer grows them by its reflection, on its axis only.
  ASSERT_TRUE(addPoint(m, 2, 2, 1, 1));
  ASSERT_TRUE(addPoint(m, 3, 2, 3, 1));
  addLayer(m, "half", 0, 0, 0, 1, 1, kAxisY);
  const int32_t tri[] = {1, 2, 3};
  ASSERT_NE(addTriangle(m, "half", 3, tri, 0), 0);
  EXPECT_FLOAT_EQ(m->boundsMin[1], -9);
  EXPECT_FLOAT_EQ(m->boundsMin[0], -1) << "only the mirror axis is negated";

  ASSERT_TRUE(addNormal(m, nullptr, 1, 0.5f, NAN, 0.5f));
  auto* n = tableFindT<VectorEntry>(&m->normals, 1);
  EXPECT_EQ(n->x, 0);
  EXPECT_EQ(n->z, 1) << "a normal that is not a number points up";
}

TEST_F(Geometry, ColourIsClampedAndLowAlphaMarksOnlyLayersUsingThePoint) {
  points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {5, 5, 5}});
  addLayer(m, "uses", 0, 0, 0, 1, 0, 0);
  addLayer(m, "other", 0, 0, 0, 1, 0, 0);
  addLayer(m, "own", 0, 0, 0, 1, 0, 0);
  const int32_t tri[] = {1, 2, 3}, line[] = {2, 3};
  addLine(m, "uses", 2, tri, 0);
  addTriangle(m, "other", 3, tri, 0);
  addLine(m, "other", 2, line, 0);

  ASSERT_TRUE(addColour(m, "own", 4, 1.2f, 0.5f, 0.5f, 1.0f));
  auto* c = tableFindT<Colour>(&layer("own")->colours, 4);
  EXPECT_FLOAT_EQ(c->r, 1.0f);
  addColour(m, "own", 4, 1, 1, 1, 0.5f);
  EXPECT_EQ(layer("own")->transparent, 1);

  ASSERT_TRUE(addColour(m, nullptr, 1, 1, 1, 1, 0.5f));
  EXPECT_EQ(layer("uses")->transparent, 1) << "a line counts as a use";
  EXPECT_EQ(layer("other")->transparent, 1);
  layer("other")->transparent = 0;
  addColour(m, nullptr, 4, 1, 1, 1, 0.5f);
  EXPECT_EQ(layer("other")->transparent, 0);

  EXPECT_FALSE(addColour(m, "own", 50, 1, 1, 1, 1));
  EXPECT_STREQ(lastErrorText(), "colour defined for an undefined point");
}

TEST_F(Geometry, RefusalsLeaveNoPolygonAndNamesMustFit) {
  points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}});
  EXPECT_EQ(addLayer(m, std::string(128, 'l').c_str(), 0, 0, 0, 1, 0, 0), nullptr);
  addLayer(m, "a", 0, 0, 0, 1, 0, 0);
  EXPECT_EQ(addLayer(m, "a", 0, 0, 0, 1, 0, 0), nullptr);
  EXPECT_STREQ(lastErrorText(), "duplicate layer name not allowed");

  const int32_t missing[] = {1, 2, 9}, good[] = {1, 2, 3};
  EXPECT_EQ(addTriangle(m, "a", 3, missing, 0), 0);
  EXPECT_EQ(addTriangle(m, "a", 3, good, 5), 0);
  EXPECT_EQ(addTriangle(m, "a", kMaxPolygonPoints + 1, good, 0), 0);
  EXPECT_EQ(tableCount(&layer("a")->triangles), 0);
  const int32_t t = addTriangle(m, "a", 3, good, 4);
  EXPECT_EQ(addLine(m, "a", 2, good, 0), t + 1) << "one counter for both";
  EXPECT_FALSE(deleteTriangle(m, t + 1));
  EXPECT_TRUE(deleteLine(m, t + 1));

  EXPECT_FALSE(setTransparency(m, "a", 1.5f));
  EXPECT_EQ(layer("a")->transparent, 0);
  ASSERT_TRUE(setTransparency(m, "a", 0.25f));
  EXPECT_FLOAT_EQ(layer("a")->opacity, 0.75f);
  EXPECT_EQ(layer("a")->transparent, 1);
}

TEST_F(Images, DeletingAnImageMovesTheFollowingOnesDown) {
  addLayer(m, "a", 0, 0, 0, 1, 0, 0);
  for (int n = 1; n <= 3; ++n)
    ASSERT_TRUE(addImageFromFiles(m, "a", n, "absent.tga", kImageDecal, 1, 2, n * 10.0f));
  ASSERT_TRUE(deleteImage(m, "a", 2));
  EXPECT_EQ(tableCount(&layer("a")->images), 2);
  EXPECT_FLOAT_EQ(image("a", 1)->strength, 10);
  EXPECT_FLOAT_EQ(image("a", 2)->strength, 30);
  EXPECT_EQ(image("a", 3), nullptr);
  EXPECT_FALSE(setInvisibleColour(m, "a", 1, 0.5f, 1.2f, 0));
  EXPECT_STREQ(lastErrorText(), "invisible color out of range (should be 0.0 to 1.0");
}

TEST_F(Images, ParkedUveesGoWholeToTheModelsNextNewImage) {
  points({{0, 0, 0}, {1, 0, 0}});
  addLayer(m, "a", 0, 0, 0, 1, 0, 0);
  ASSERT_TRUE(addImageFromFiles(m, "a", 1, "absent.tga", kImageDecal, 1, 2, 0));
  const int32_t before = tableCount(&image("a", 1)->uvees);
  ASSERT_TRUE(addUvee(m, "a", 3, 1, 0.25f, 0.5f));
  ASSERT_TRUE(addUvee(m, "a", 3, 2, 0.75f, 0.5f));
  ASSERT_TRUE(addImageFromFiles(m, "a", 1, "again.tga", kImageDecal, 1, 2, 0));
  EXPECT_EQ(tableCount(&image("a", 1)->uvees), before) << "an existing image adopts nothing";

  // Another document's new image takes none of them.
  Model* other = createModel(nullptr, "other", nullptr);
  addLayer(other, "b", 0, 0, 0, 1, 0, 0);
  ASSERT_TRUE(addImageFromFiles(other, "b", 7, "absent.tga", kImageDecal, 1, 2, 0));
  EXPECT_EQ(tableCount(&tableFindT<Image>(&findLayer(other, "b")->images, 7)->uvees), 0);
  freeModel(other);

  addLayer(m, "b", 0, 0, 0, 1, 0, 0);
  ASSERT_TRUE(addImageFromFiles(m, "b", 7, "absent.tga", kImageDecal, 1, 2, 0));
  Image* adopted = tableFindT<Image>(&findLayer(m, "b")->images, 7);
  EXPECT_EQ(tableCount(&adopted->uvees), 2);
  EXPECT_NE(adopted->hasUvees, 0);
  ASSERT_TRUE(addImageFromFiles(m, "b", 8, "absent.tga", kImageDecal, 1, 2, 0));
  EXPECT_EQ(tableCount(&tableFindT<Image>(&findLayer(m, "b")->images, 8)->uvees), 0);

  EXPECT_FALSE(addUvee(m, "nowhere", 1, 1, 0, 0));
  EXPECT_STREQ(lastErrorText(), "cannot find layer for uvee");
  EXPECT_FALSE(addUvee(m, "a", 1, 42, 0, 0));
  EXPECT_STREQ(lastErrorText(), "uvee point not found in model");
}

TEST_F(Images, AutomaticUveesFollowTheAxisTableExactly) {
  points({{0, 0, 0}, {2, 4, 8}, {0.5f, 1, 6}});
  addLayer(m, "a", 0, 0, 0, 1, 0, 0);
  for (int code = 0; code <= 7; ++code)
    addImageFromFiles(m, "a", code + 1, "absent.tga", kImageDecal, code, kAxisX, 0);
  addImageFromFiles(m, "a", 9, "absent.tga", kImageDecal, kAxisX, kAxisX, 0);
  addUvee(m, "a", 9, 3, 0.125f, 0.125f);
  const int32_t tri[] = {1, 2, 3};
  addTriangle(m, "a", 3, tri, 0);
  markUveesStale(m);
  flushDerived(m);

  const float expected[8] = {0, 0.25f, 0.75f, 0.25f, 0.75f, 0.25f, 0.75f, 0};
  for (int code = 0; code <= 7; ++code) {
    ASSERT_NE(uvee("a", code + 1, 3), nullptr) << "code " << code;
    EXPECT_FLOAT_EQ(uvee("a", code + 1, 3)->u, expected[code]) << "code " << code;
    EXPECT_FLOAT_EQ(uvee("a", code + 1, 3)->v, 0.25f);
  }
  EXPECT_EQ(tableCount(&image("a", 9)->uvees), 1) << "own uvees are kept";
  // The view makes automatic uvees from their planes: the same numbers.
  const float at[3][3] = {{0, 0, 0}, {2, 4, 8}, {0.5f, 1, 6}};
  for (int code = 0; code <= 7; ++code) {
    float plane[4];
    ASSERT_TRUE(automaticUveePlane(code, findLayer(m, "a")->bounds, plane));
    for (int n = 1; n <= 3; ++n) {
      const float* p = at[n - 1];
      EXPECT_NEAR(plane[0] * p[0] + plane[1] * p[1] + plane[2] * p[2] + plane[3],
                  uvee("a", code + 1, n)->u, 1e-6f)
          << "code " << code << " point " << n;
    }
  }

  // A flat layer divides by a zero extent; that must not bring us down.
  addLayer(m, "flat", 0, 0, 0, 1, 0, 0);
  addImageFromFiles(m, "flat", 1, "absent.tga", kImageDecal, kAxisZ, kAxisX, 0);
  addPoint(m, 4, 1, 1, 0);
  addPoint(m, 5, 3, 3, 0);
  const int32_t flat[] = {1, 4, 5};
  addTriangle(m, "flat", 3, flat, 0);
  markUveesStale(m);
  flushDerived(m);
  EXPECT_TRUE(std::isnan(uvee("flat", 1, 1)->u));
  float plane[4];
  EXPECT_FALSE(automaticUveePlane(kAxisZ, findLayer(m, "flat")->bounds, plane))
      << "no plane gives what a zero extent gives";
  EXPECT_TRUE(automaticUveePlane(kAxisX, findLayer(m, "flat")->bounds, plane));
}

TEST_F(Images, CubeMapNeedsAllSixFacesWhilePlainImageMayBeMissing) {
  const std::string dir = tempDir("geometry");
  const char* faces[] = {"right", "left", "back", "front", "top"};
  for (const char* face : faces) writeTga(dir + "sky_" + face + ".tga", 2, 1);
  addLayer(m, "a", 0, 0, 0, 1, 0, 0);
  const std::string sky = dir + "sky.tga";

  EXPECT_FALSE(addImageFromFiles(m, "a", 1, sky.c_str(), kImageCubeMap, 1, 2, 0));
  ASSERT_NE(image("a", 1), nullptr) << "the image stays with its failed slot";
  EXPECT_EQ(image("a", 1)->main.loaded, 0);
  for (unsigned char* face : image("a", 1)->main.faces) EXPECT_EQ(face, nullptr);
  EXPECT_NE(std::string(lastErrorText()).find("sky_bottom.tga"), std::string::npos);

  writeTga(dir + "sky_bottom.tga", 2, 1);
  ASSERT_TRUE(addImageFromFiles(m, "a", 1, sky.c_str(), kImageCubeMap, 1, 2, 0));
  EXPECT_EQ(image("a", 1)->main.loaded, 1);
  for (unsigned char* face : image("a", 1)->main.faces) EXPECT_NE(face, nullptr);

  writeTga(dir + "plain.tga", 3, 2);
  ASSERT_TRUE(addImageFromFiles(m, "a", 2, (dir + "plain.tga").c_str(), kImageDecal, 1, 2, 0));
  EXPECT_EQ(image("a", 2)->main.height, 2);
  ASSERT_TRUE(addImageFromFiles(m, "a", 2, (dir + "gone.tga").c_str(), kImageSelectMirror, 1, 2, 0));
  EXPECT_EQ(image("a", 2)->mirror.loaded, 0);
  EXPECT_EQ(image("a", 2)->main.loaded, 1) << "a selector leaves the main texture";
}

TEST_F(Lazy, MovingAPointAfterAddsKeepsWhatTheAddsComputed) {
  points({{0, 0, 0}, {2, 2, 0}, {0, 2, 0}});
  addLayer(m, "a", 0, 0, 0, 1, 0, 0);
  addImageFromFiles(m, "a", 1, "absent.tga", kImageDecal, kAxisX, kAxisMinusY, 0);
  const int32_t tri[] = {1, 2, 3};
  addTriangle(m, "a", 3, tri, 0);
  markUveesStale(m);
  addPoint(m, 2, 10, 10, 0);
  flushDerived(m);
  EXPECT_FLOAT_EQ(layer("a")->bounds[3], 2);
  EXPECT_FLOAT_EQ(uvee("a", 1, 2)->u, 1);
  EXPECT_FLOAT_EQ(uvee("a", 1, 3)->v, 1);
}

TEST_F(Lazy, DeletingATriangleAfterAddsKeepsItsShareOfBoundsAndUvees) {
  points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {4, 4, 0}});
  addLayer(m, "a", 0, 0, 0, 1, 0, 0);
  addImageFromFiles(m, "a", 1, "absent.tga", kImageDecal, kAxisX, kAxisMinusY, 0);
  const int32_t small[] = {1, 2, 3}, big[] = {1, 2, 4};
  addTriangle(m, "a", 3, small, 0);
  const int32_t id = addTriangle(m, "a", 3, big, 0);
  markUveesStale(m);
  ASSERT_TRUE(deleteTriangle(m, id));
  EXPECT_FLOAT_EQ(layer("a")->bounds[3], 4);
  EXPECT_NE(uvee("a", 1, 4), nullptr);

  // An image added after the last add gets its uvees only at the next add.
  addTriangle(m, "a", 3, small, 0);
  markUveesStale(m);
  addImageFromFiles(m, "a", 2, "absent.tga", kImageDecal, kAxisX, kAxisX, 0);
  flushDerived(m);
  EXPECT_EQ(tableCount(&image("a", 2)->uvees), 0);
  EXPECT_EQ(uvee("a", 1, 4), nullptr) << "the refill saw only the small triangle";
}

// Short polygons keep their points in the record, long ones on the heap:
// both must come through the table's growth, and slots freed by one kind
// and taken by the other.
TEST_F(PolygonCorners, SurviveTableGrowthAndSlotReuse) {
  ASSERT_NE(addLayer(m, "a", 0, 0, 0, 0, 0, 0), nullptr);
  for (int32_t n = 1; n <= 40; ++n) ASSERT_TRUE(addPoint(m, n, n * 1.0f, 0, 0));
  std::map<int32_t, std::vector<int32_t>> want;  // +id triangle, -id line
  auto add = [&](int32_t k) {
    const bool line = k % 5 == 0;
    const int32_t count = (line ? 2 : 3) + k % 6;  // 2 .. 8
    std::vector<int32_t> points;
    for (int32_t i = 0; i < count; ++i) points.push_back(1 + (k * 7 + i * 3) % 40);
    const int32_t id = line ? addLine(m, "a", count, points.data(), 0)
                            : addTriangle(m, "a", count, points.data(), k % 5);
    ASSERT_NE(id, 0);
    want[line ? -id : id] = points;
  };
  auto check = [&] {
    const Layer* a = findLayer(m, "a");
    for (const auto& [key, points] : want) {
      const Triangle* t = key > 0 ? tableFindT<Triangle>(&a->triangles, key) : nullptr;
      const Line* l = key < 0 ? tableFindT<Line>(&a->lines, -key) : nullptr;
      ASSERT_TRUE(t != nullptr || l != nullptr) << key;
      const int32_t* got = t ? polygonPoints(t) : polygonPoints(l);
      ASSERT_EQ(std::vector<int32_t>(got, got + (t ? t->count : l->count)), points) << key;
    }
  };
  for (int32_t k = 0; k < 300; ++k) add(k);
  check();
  int32_t k = 300;
  for (auto it = want.begin(); it != want.end();) {
    const int32_t key = it->first;
    ++it;
    if (key % 3 != 0) continue;
    ASSERT_TRUE(key < 0 ? deleteLine(m, -key) : deleteTriangle(m, key));
    want.erase(key);
    add(k++);
  }
  check();
  // Turning the long polygons into triangles adds to the table they leave.
  EXPECT_GT(convertToTriangles(m), 0);
  const KeyedTable* triangles = &findLayer(m, "a")->triangles;
  tableForEach<Triangle>(triangles, [&](const Triangle* t, int32_t) {
    EXPECT_EQ(t->count, 3);
    for (int32_t i = 0; i < 3; ++i) EXPECT_NE(findPoint(m, t->points[i]), nullptr);
  });
  for (int32_t n = 1; n <= 40; ++n) ASSERT_TRUE(deletePoint(m, n));
  EXPECT_EQ(tableCount(&findLayer(m, "a")->triangles), 0);
}

}  // namespace

// Triangles added as a run must leave what adding them one by one leaves:
// the same records (ids in turn), the run cut short before a triangle
// naming a missing point, and the layer's bounds, which the run carries
// on without a recompute. Every triangle reaches further out in x, so a
// fold that misses any corner of a run gives other bounds.
TEST_F(Geometry, TrianglesAddedAsARunLeaveWhatOneByOneLeaves) {
  Model* one = createModel(nullptr, "one.mod", nullptr);
  constexpr int32_t kPoints = 3000;
  for (int32_t k = 1; k <= kPoints; ++k) {
    ASSERT_TRUE(addPoint(m, k, float(k), float(k % 7), -float(k % 5)));
    ASSERT_TRUE(addPoint(one, k, float(k), float(k % 7), -float(k % 5)));
  }
  Layer* run = addLayer(m, "a", 0, 0, 0, 1, 0, 0);
  Layer* single = addLayer(one, "a", 0, 0, 0, 1, 0, 0);
  std::vector<int32_t> corners;
  for (int32_t k = 1; k + 2 <= kPoints; ++k) corners.insert(corners.end(), {k, k + 1, k + 2});
  corners[3 * 2500 + 1] = kPoints + 1;  // the 2501st names no point
  // Two runs: 40 triangles, then as many as go (more than one chunk).
  ASSERT_EQ(addTriangles(m, run, 40, corners.data(), 2), 40);
  const int32_t rest = kPoints - 2 - 40;
  EXPECT_EQ(addTriangles(m, run, rest, &corners[3 * 40], 2), 2500 - 40);
  for (int32_t i = 0; i < 2500; ++i)
    ASSERT_NE(addTriangleToLayer(one, single, 3, &corners[3 * i], 2), 0);
  ASSERT_EQ(tableCount(&run->triangles), tableCount(&single->triangles));
  const int32_t firstRun = tableAt<Triangle>(&run->triangles, 0)->id;
  const int32_t firstOne = tableAt<Triangle>(&single->triangles, 0)->id;
  for (int32_t s = 0; s < 2500; ++s) {
    const Triangle* a = tableAt<Triangle>(&run->triangles, s);
    const Triangle* b = tableAt<Triangle>(&single->triangles, s);
    ASSERT_EQ(a->id - firstRun, b->id - firstOne) << s;
    ASSERT_EQ(a->count, 3);
    ASSERT_EQ(a->kind, 2);
    ASSERT_EQ(std::memcmp(a->points, b->points, sizeof a->points), 0) << s;
  }
  const float* got = layerBounds(m, run);
  const float* want = layerBounds(one, single);
  for (int k = 0; k < 6; ++k) EXPECT_EQ(got[k], want[k]) << k;
  EXPECT_EQ(got[3], 2502.0f);
  // A kind out of range adds nothing, for the caller to report.
  EXPECT_EQ(addTriangles(m, run, 3, corners.data(), 5), 0);
  freeModel(one);
}
