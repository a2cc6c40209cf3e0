// The y-up exports (right-handed STL and OBJ, binary STL, PLY, glTF), read
// back through assimp as other tools read them: closed solids keep facing
// out (positive volume), the turn into y-up space is a rotation, children
// are placed, reflections are turned round, and the materials carry the
// layer's looks.
#include <gtest/gtest.h>

#include <assimp/material.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>

#include "io/export_scene.h"
#include "io/exporters.h"
#include "model/last_error.h"
#include "model/transform.h"
#include "read_back.h"
#include "test_files.h"

namespace {

using read_back::Solid;

int exportAs(Model* m, ExportFormat format, const std::string& path) {
  flushForExport(m);
  return exportModel(m, {format, path.c_str(), true});
}

Solid exportAndRead(Model* m, ExportFormat format, const std::string& path) {
  EXPECT_EQ(exportAs(m, format, path), 1) << lastErrorText();
  return read_back::read(path);
}

// The formats every case runs through, with the file name they get.
struct Case {
  ExportFormat format;
  const char* file;
};
const Case kCases[] = {{ExportFormat::kStl, "out.stl"},
                       {ExportFormat::kObj, "out.obj"},
                       {ExportFormat::kStlBinary, "outb.stl"},
                       {ExportFormat::kPly, "out.ply"},
                       {ExportFormat::kGlb, "out.glb"}};

void expectBounds(const Solid& s, double x0, double y0, double z0, double x1,
                  double y1, double z1) {
  EXPECT_NEAR(s.min[0], x0, 1e-5);
  EXPECT_NEAR(s.min[1], y0, 1e-5);
  EXPECT_NEAR(s.min[2], z0, 1e-5);
  EXPECT_NEAR(s.max[0], x1, 1e-5);
  EXPECT_NEAR(s.max[1], y1, 1e-5);
  EXPECT_NEAR(s.max[2], z1, 1e-5);
}

TEST(ExportYUp, ChildrenArePlacedAndMirroredChildrenStillFaceOut) {
  const std::string dir = test_files::tempDir("yup_children");
  Model* m = read_back::box("parent.mod");
  Model* wheel = read_back::box("wheel.mod");
  // A quarter turn about z, twice as tall, moved to x = 10.
  const float angles[3] = {0, 0, 90};
  float rotation[9];
  turnFromAngles(angles, rotation);
  const float at[3] = {10, 0, 0}, tall[3] = {1, 1, 2};
  ASSERT_NE(addChild(m, wheel, "wheel", at, tall, rotation, nullptr, 1.0f), 0);
  // A second copy scaled by -1 in x: a mirror image, still a solid.
  Model* mirrored = read_back::box("wheel.mod");
  const float back[3] = {-5, 0, 0}, flip[3] = {-1, 1, 1};
  const float identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  ASSERT_NE(addChild(m, mirrored, "wheel", back, flip, identity, nullptr, 1.0f), 0);
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.file);
    const Solid s = exportAndRead(m, c.format, dir + c.file);
    ASSERT_TRUE(s.read) << s.error;
    EXPECT_EQ(s.triangles, 36u);
    EXPECT_NEAR(s.volume, 24.0 + 48.0 + 24.0, 1e-3);
    // (x, y, z) -> (x, z, -y): z up becomes y up, y becomes -z. The turned
    // child spans x 7..10, y 0..2, z 0..8 in the model; the mirrored one
    // x -7..-5; the parent box x 0..2, y 0..3, z 0..4.
    expectBounds(s, -7, 0, -3, 10, 8, 0);
  }
  freeModel(m);
}

TEST(ExportYUp, ObjMaterialLibraryCarriesColourOpacityAndImage) {
  const std::string dir = test_files::tempDir("yup_mtl");
  Model* m = read_back::box();
  Layer* skin = findLayer(m, "skin");
  const float red[3] = {1.0f, 0.25f, 0.0f};
  setLayerColour(m, skin, red);
  setTransparency(m, "skin", 0.25f);
  TexturePixels none = {};
  ASSERT_TRUE(addImage(m, "skin", 1, "skin.tga", kImageSmooth, kAxisX, kAxisY,
                       1.0f, &none));
  ASSERT_TRUE(addUvee(m, "skin", 1, 1, 0.25f, 0.75f));
  ASSERT_EQ(exportAs(m, ExportFormat::kObj, dir + "look.obj"), 1) << lastErrorText();

  const std::string obj = test_files::readFile(dir + "look.obj");
  EXPECT_NE(obj.find("\nmtllib look.mtl\n"), std::string::npos);
  const std::string mtl = test_files::readFile(dir + "look.mtl");
  EXPECT_NE(mtl.find("newmtl skin\n"), std::string::npos) << mtl;
  EXPECT_NE(mtl.find("Kd 1.000000 0.250000 0.000000\n"), std::string::npos) << mtl;
  EXPECT_NE(mtl.find("d 0.750000\n"), std::string::npos) << mtl;
  EXPECT_NE(mtl.find("map_Kd "), std::string::npos) << mtl;

  Assimp::Importer importer;
  const aiScene* scene = importer.ReadFile(dir + "look.obj", 0);
  ASSERT_NE(scene, nullptr) << importer.GetErrorString();
  ASSERT_EQ(scene->mNumMeshes, 1u);
  const aiMesh* mesh = scene->mMeshes[0];
  const aiMaterial* material = scene->mMaterials[mesh->mMaterialIndex];
  aiColor3D diffuse;
  ASSERT_EQ(material->Get(AI_MATKEY_COLOR_DIFFUSE, diffuse), AI_SUCCESS);
  EXPECT_FLOAT_EQ(diffuse.g, 0.25f);
  aiString texture;
  ASSERT_EQ(material->GetTexture(aiTextureType_DIFFUSE, 0, &texture), AI_SUCCESS);
  EXPECT_NE(std::string(texture.C_Str()).find("skin.tga"), std::string::npos);
  // The uvee counts v from the top of the picture, OBJ from the bottom.
  ASSERT_TRUE(mesh->HasTextureCoords(0));
  bool found = false;
  for (unsigned i = 0; i < mesh->mNumVertices; ++i) {
    const aiVector3D& p = mesh->mVertices[i];
    if (p.Length() == 0.0f) {
      EXPECT_FLOAT_EQ(mesh->mTextureCoords[0][i].x, 0.25f);
      EXPECT_FLOAT_EQ(mesh->mTextureCoords[0][i].y, 0.25f);
      found = true;
    }
  }
  EXPECT_TRUE(found);
  freeModel(m);
}

// A 2 x 2 picture: red, green / blue, white (top row first).
TexturePixels fourPixels() {
  TexturePixels read = {};
  read.ok = true;
  read.width = read.height = 2;
  read.pixels = static_cast<unsigned char*>(std::malloc(12));
  const unsigned char rgb[12] = {255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255};
  std::memcpy(read.pixels, rgb, 12);
  return read;
}

TEST(ExportYUp, BinaryStlIsEightyFourBytesAndFiftyATriangle) {
  const std::string dir = test_files::tempDir("yup_stlb");
  Model* m = read_back::box("a very long name that would not fit the header "
                            "of eighty bytes at all.mod");
  ASSERT_EQ(exportAs(m, ExportFormat::kStlBinary, dir + "b.stl"), 1);
  const std::string bytes = test_files::readFile(dir + "b.stl");
  EXPECT_EQ(bytes.size(), 84u + 50u * 12u);
  // Readers take a file that begins with "solid" for ASCII STL.
  EXPECT_NE(bytes.compare(0, 5, "solid"), 0);
  uint32_t count = 0;
  std::memcpy(&count, bytes.data() + 80, 4);
  EXPECT_EQ(count, 12u);
  freeModel(m);
}

TEST(ExportYUp, PlyAndGlbCarryColoursImagesAndSides) {
  const std::string dir = test_files::tempDir("yup_looks");
  Model* m = read_back::box();
  Layer* skin = findLayer(m, "skin");
  const float rgb[3] = {1.0f, 0.5f, 0.0f};
  setLayerColour(m, skin, rgb);
  setLayerSides(m, skin, false);
  TexturePixels pixels = fourPixels();
  ASSERT_TRUE(addImage(m, "skin", 1, "four.tga", kImageSmooth, kAxisX, kAxisY,
                       1.0f, &pixels));
  markUveesStale(m);  // as the commands do: automatic uvees are due
  ASSERT_EQ(exportAs(m, ExportFormat::kPly, dir + "c.ply"), 1) << lastErrorText();
  ASSERT_EQ(exportAs(m, ExportFormat::kGlb, dir + "c.glb"), 1) << lastErrorText();

  Assimp::Importer ply;
  const aiScene* scene = ply.ReadFile(dir + "c.ply", 0);
  ASSERT_NE(scene, nullptr) << ply.GetErrorString();
  const aiMesh* mesh = scene->mMeshes[0];
  ASSERT_TRUE(mesh->HasVertexColors(0));
  EXPECT_NEAR(mesh->mColors[0][0].g, 128.0f / 255.0f, 1e-6);
  EXPECT_TRUE(mesh->HasTextureCoords(0));

  Assimp::Importer glb;
  scene = glb.ReadFile(dir + "c.glb", aiProcess_ValidateDataStructure);
  ASSERT_NE(scene, nullptr) << glb.GetErrorString();
  ASSERT_EQ(scene->mNumMeshes, 1u);
  EXPECT_STREQ(scene->mMeshes[0]->mName.C_Str(), "skin");
  const aiMaterial* material = scene->mMaterials[scene->mMeshes[0]->mMaterialIndex];
  aiColor4D base;
  ASSERT_EQ(material->Get(AI_MATKEY_BASE_COLOR, base), AI_SUCCESS);
  // Linear light: display 0.5 is about 0.214.
  EXPECT_NEAR(base.r, 1.0f, 1e-6);
  EXPECT_NEAR(base.g, 0.2140f, 1e-3);
  int twoSided = 0;
  ASSERT_EQ(material->Get(AI_MATKEY_TWOSIDED, twoSided), AI_SUCCESS);
  EXPECT_EQ(twoSided, 1);
  // The picture travels inside the file, as PNG.
  ASSERT_EQ(scene->mNumTextures, 1u);
  EXPECT_STREQ(scene->mTextures[0]->achFormatHint, "png");
  aiString texture;
  EXPECT_EQ(material->GetTexture(aiTextureType_DIFFUSE, 0, &texture), AI_SUCCESS);
  EXPECT_TRUE(scene->mMeshes[0]->HasTextureCoords(0));
  freeModel(m);
}

TEST(ExportYUp, RefusedWriteLeavesBothFilesAsTheyWere) {
  const std::string dir = test_files::tempDir("yup_refuse");
  Model* m = read_back::box();
  test_files::writeFile(dir + "keep.obj", "old obj");
  test_files::writeFile(dir + "keep.mtl", "old mtl");
  // A child scaled past the float range: its corners are not finite.
  Model* huge = read_back::box("huge.mod");
  const float at[3] = {0, 0, 0}, scale[3] = {1e38f, 1e38f, 1e38f};
  const float identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  ASSERT_NE(addChild(m, huge, "huge", at, scale, identity, nullptr, 1.0f), 0);
  EXPECT_EQ(exportAs(m, ExportFormat::kObj, dir + "keep.obj"), 0);
  EXPECT_NE(std::string(lastErrorText()).find("not finite"), std::string::npos)
      << lastErrorText();
  EXPECT_EQ(test_files::readFile(dir + "keep.obj"), "old obj");
  EXPECT_EQ(test_files::readFile(dir + "keep.mtl"), "old mtl");
  EXPECT_EQ(exportAs(m, ExportFormat::kObj, dir + "missing/x.obj"), 0);
  EXPECT_EQ(test_files::readFile(dir + "missing/x.mtl"), "<missing>");
  freeModel(m);
}

}  // namespace
