// What textured layers hand the GL besides their vertices: texels with the
// strength and alpha mode baked in, and texture coordinates and tangent
// frames that line up with the triangle vertices.
#include <gtest/gtest.h>

#include <vector>

#include "model/geometry.h"
#include "model/model.h"
#include "test_models.h"
#include "view/layer_cache.h"
#include "view/layer_uvs.h"
#include "view/texture_bake.h"

namespace {

// Bakes a 2x1 picture: a red texel, then a grey one.
std::vector<unsigned char> bake(BakeSettings s) {
  const unsigned char rgb[6] = {255, 0, 0, 100, 100, 100};
  std::vector<unsigned char> out(8);
  bakeTexture(rgb, 2, 1, s, out.data());
  return out;
}

TEST(TextureBake, StrengthFadesFromWhatLeavesTheColourAloneNormalsShadeAlphaCuts) {
  BakeSettings s = {};
  s.strength = 0.5f;
  s.bake = kBakeModulate;  // from white
  EXPECT_EQ(bake(s), (std::vector<unsigned char>{255, 128, 128, 255, 178, 178, 178, 255}));
  s.bake = kBakeShift;  // from mid grey
  EXPECT_EQ(bake(s), (std::vector<unsigned char>{192, 64, 64, 255, 114, 114, 114, 255}));
  s.bake = kBakeBlend;  // the colour as it is, the strength as alpha
  EXPECT_EQ(bake(s), (std::vector<unsigned char>{255, 0, 0, 128, 100, 100, 100, 128}));
  s.bake = kBakeAdd;  // scaled, always opaque
  EXPECT_EQ(bake(s), (std::vector<unsigned char>{128, 0, 0, 255, 50, 50, 50, 255}));
  s.bake = kBakeDecal;  // the unit fades decals: texels stay
  s.strength = 7.0f;
  EXPECT_EQ(bake(s), (std::vector<unsigned char>{255, 0, 0, 255, 100, 100, 100, 255}));
  // A normal map shades by how far each normal faces out.
  const unsigned char rgb[9] = {128, 128, 255, 255, 128, 128, 218, 128, 218};
  unsigned char shaded[12];
  s.bake = kBakeShade;
  s.strength = 1.0f;
  bakeTexture(rgb, 3, 1, s, shaded);
  EXPECT_EQ(shaded[0], 255);  // straight out
  EXPECT_LE(shaded[4], 2);    // lying in the surface
  EXPECT_NEAR(shaded[8], 180, 3);  // 45 degrees
  // Alpha comes from the invisible colour or the alpha picture.
  s.bake = kBakeDecal;
  s.alphaMode = kExtraInvisibleColour;
  const float grey[3] = {101.0f / 255, 99.0f / 255, 100.0f / 255};  // within the tolerance
  invisibleBytes(grey, s.invisible);
  std::vector<unsigned char> out = bake(s);
  EXPECT_EQ(out[3], 255);
  EXPECT_EQ(out[7], 0);
  // A 1x1 alpha picture stretches over both texels; its brightness counts.
  const unsigned char dim[3] = {30, 60, 90};
  s.alphaMode = kExtraAlphaTexture;
  s.alpha = dim;
  s.alphaWidth = s.alphaHeight = 1;
  out = bake(s);
  EXPECT_EQ(out[3], 60);
  EXPECT_EQ(out[7], 60);
  s.alpha = nullptr;  // the alpha file did not load: nothing is cut
  EXPECT_EQ(bake(s)[7], 255);
}

using LayerData = test_models::SquareTest;

TEST_F(LayerData, CoordinatesFollowTheTriangleVerticesOneForOne) {
  addLayer(m, "a", 255, 0, 0, 1, 0, 0);
  const int32_t quad[4] = {1, 2, 4, 3}, tri[3] = {1, 2, 3};
  addTriangle(m, "a", 4, quad, 0);
  addTriangle(m, "a", 3, tri, 0);
  TexturePixels nothing = {};
  ASSERT_TRUE(addImage(m, "a", 1, "none", kImageDecal, kAxisX, kAxisY, 1.0f,
                       &nothing));
  ASSERT_TRUE(addUvee(m, "a", 1, 2, 0.25f, 0.75f));
  ASSERT_TRUE(addUvee(m, "a", 1, 4, 0.5f, 0.5f));
  Layer* layer = findLayer(m, "a");
  const Image* image = tableFindT<Image>(&layer->images, 1);
  std::vector<float> uv;
  buildLayerTexCoords(m, layer, image, &uv);
  LayerVertices vertices;
  const uint8_t selection[3] = {0, 0, 0};
  buildLayerVertices(m, layer, nullptr, kNormalsStoredElseFace, 0.0f, selection,
                     &vertices);
  ASSERT_EQ(uv.size(), 2 * vertices.triangles.size());
  // Strip order 1 2 4, 4 2 3, then 1 2 3; points without uvees get 0 0.
  const float expected[18] = {0, 0, 0.25f, 0.75f, 0.5f, 0.5f, 0.5f, 0.5f, 0.25f,
                              0.75f, 0, 0, 0, 0, 0.25f, 0.75f, 0, 0};
  for (int i = 0; i < 18; ++i) EXPECT_FLOAT_EQ(uv[i], expected[i]) << i;
}

// A big layer's coordinates are written in place by two threads; the
// halves must meet where the vertices do, gaps in the polygon table
// included.
TEST_F(LayerData, CoordinatesOfABigLayerStillFollowItsVertices) {
  addLayer(m, "big", 255, 0, 0, 1, 0, 0);
  const int side = 260;  // 67,600 quads: two threads
  for (int y = 0; y <= side; ++y)
    for (int x = 0; x <= side; ++x)
      addPoint(m, 10 + y * (side + 1) + x, static_cast<float>(x), static_cast<float>(y), 0);
  TexturePixels nothing = {};
  ASSERT_TRUE(addImage(m, "big", 1, "none", kImageDecal, kAxisX, kAxisY, 1.0f, &nothing));
  for (int y = 0; y <= side; ++y)
    for (int x = 0; x <= side; ++x)
      ASSERT_TRUE(addUvee(m, "big", 1, 10 + y * (side + 1) + x, x * 0.001f, y * 0.002f));
  std::vector<int32_t> ids;
  for (int y = 0; y < side; ++y)
    for (int x = 0; x < side; ++x) {
      const int32_t a = 10 + y * (side + 1) + x;
      const int32_t quad[4] = {a, a + 1, a + side + 1, a + side + 2};
      ids.push_back(addTriangle(m, "big", 4, quad, 0));
    }
  for (size_t i = 7; i < ids.size(); i += 1001) ASSERT_TRUE(deleteTriangle(m, ids[i]));
  Layer* layer = findLayer(m, "big");
  std::vector<float> uv;
  buildLayerTexCoords(m, layer, tableFindT<Image>(&layer->images, 1), &uv);
  LayerVertices vertices;
  const uint8_t selection[3] = {0, 0, 0};
  buildLayerVertices(m, layer, nullptr, kNormalsStoredElseFace, 0.0f, selection, &vertices);
  ASSERT_EQ(uv.size(), 2 * vertices.triangles.size());
  size_t wrong = 0;
  for (size_t i = 0; i < vertices.triangles.size(); ++i) {
    const float* p = vertices.triangles[i].position;
    if (uv[2 * i] != static_cast<int>(p[0]) * 0.001f ||
        uv[2 * i + 1] != static_cast<int>(p[1]) * 0.002f)
      ++wrong;
  }
  EXPECT_EQ(wrong, 0u);
  // Written in place by the vertices' places, as the view does into its
  // buffer: the same floats.
  std::vector<float> placed(uv.size(), -1.0f);
  writeLayerTexCoords(m, layer, tableFindT<Image>(&layer->images, 1), vertices.places,
                      placed.data());
  EXPECT_TRUE(placed == uv);
}

TEST_F(LayerData, TangentsPointWhereUAndVGrowOrAnyWayAlongTheFace) {
  addLayer(m, "a", 255, 0, 0, 1, 0, 0);
  const int32_t tri[3] = {1, 2, 3};
  addTriangle(m, "a", 3, tri, 0);
  Layer* layer = findLayer(m, "a");
  // Corners (0,0), (1,0), (1,1): u grows along +y, v along +x.
  const std::vector<float> uv = {0, 0, 0, 1, 1, 1};
  std::vector<float> frames;
  buildLayerTangents(m, layer, nullptr, uv, &frames);
  ASSERT_EQ(frames.size(), 18u);
  const float expected[6] = {0, 1, 0, 1, 0, 0};
  for (int i = 0; i < 6; ++i) EXPECT_NEAR(frames[12 + i], expected[i], 1e-6) << i;
  // Coordinates that do not span the face: still unit, square to the
  // normal (+z) and to each other.
  buildLayerTangents(m, layer, nullptr, {}, &frames);
  const float* t = &frames[0];
  const float* b = &frames[3];
  EXPECT_NEAR(t[0] * t[0] + t[1] * t[1] + t[2] * t[2], 1.0f, 1e-6);
  EXPECT_NEAR(t[2], 0.0f, 1e-6);
  EXPECT_NEAR(b[2], 0.0f, 1e-6);
  EXPECT_NEAR(t[0] * b[0] + t[1] * b[1], 0.0f, 1e-6);
}

}  // namespace
