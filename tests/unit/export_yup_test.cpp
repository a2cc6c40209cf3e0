// The y-up exports (right-handed STL and OBJ, binary STL, PLY, glTF), read
// back through assimp as other tools read them: the materials carry the
// layer's looks, and a refused write harms nothing. Placement and facing
// are checked by the import round trip.
#include <gtest/gtest.h>

#include <assimp/material.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "io/export_scene.h"
#include "io/exporters.h"
#include "model/last_error.h"
#include "read_back.h"
#include "test_files.h"

namespace {

int exportAs(Model* m, ExportFormat format, const std::string& path) {
  flushForExport(m);
  return exportModel(m, {format, path.c_str(), true});
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

TEST(ExportYUp, BinaryStlIsEightyFourBytesAndFiftyATriangleAndRefusalsHarmNothing) {
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
  // A refused write leaves both files as they were.
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

}  // namespace
