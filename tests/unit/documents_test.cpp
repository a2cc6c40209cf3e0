// Opening and closing documents in a workspace: the status lines the user
// interface shows, the scene a frame draws and the scene extent, which the
// scripts cannot see.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "model/geometry.h"
#include "test_files.h"
#include "workspace/documents.h"
#include "workspace/workspace.h"

namespace {

struct StatusLines final : WorkspaceHost {
  std::vector<std::string> lines;
  void workspaceStatus(const char* text) override { lines.push_back(text); }
};

class Documents : public ::testing::Test {
 protected:
  void SetUp() override { workspaceInit(&ws, &status, nullptr, nullptr); }
  void TearDown() override { workspaceRelease(&ws); }

  // A model file whose points span `size` along x.
  std::string writeModel(const char* name, float size) {
    std::string path = ::testing::TempDir() + name + ".mod";
    FILE* f = std::fopen(path.c_str(), "w");
    std::fprintf(f,
                 "version 2.0\npoints\n1 0 0 0\n2 %f 0 0\n3 0 1 0\n"
                 "layer a 0 0 0 singlesided\ntriangles\n5 0 1 2 3\n",
                 size);
    std::fclose(f);
    return path;
  }

  StatusLines status;
  Workspace ws;
};

TEST_F(Documents, FailedLoadKeepsTheRegistryAndClosingLeavesNothingToDraw) {
  ASSERT_NE(createEmptyModel(ws, "a"), nullptr);
  // A failed load says why, then "Load failed", and keeps what was open.
  status.lines.clear();
  EXPECT_EQ(loadModelDocument(ws, "/nonexistent/x.mod"), nullptr);
  ASSERT_GE(status.lines.size(), 2u);
  EXPECT_EQ(status.lines.front(), "Loading...");
  EXPECT_EQ(status.lines.back(), "Load failed");
  EXPECT_STREQ(currentModel(ws)->name, "a");
  Scene scene;
  fillScene(ws, &scene);
  ASSERT_EQ(scene.models.size(), 1u);
  EXPECT_EQ(scene.current, scene.models[0]);
  status.lines.clear();
  closeAllModels(ws);
  EXPECT_EQ(status.lines,
            (std::vector<std::string>{"Closing currently open Model file", "Ready"}));
  Scene empty;
  fillScene(ws, &empty);
  EXPECT_TRUE(empty.models.empty());
  EXPECT_EQ(empty.current, nullptr);
}

TEST_F(Documents, TexturesAreFoundBesideTheModelAndEachMissingOneIsSaidOnce) {
  const std::string dir = test_files::tempDir("beside");
  test_files::writeFile(dir + "skin.tga", test_files::tga(1, 1, 0, 255, 0));
  test_files::writeFile(dir + "bad.tga", "not a picture");
  test_files::writeFile(dir + "m.mod",
                        "points\n1 0 0 0\n2 1 0 0\n3 0 1 0\n"
                        "layer a 0 0 0 singlesided\nimage 1 skin.tga decal x y 1\n"
                        "image 2 gone.tga smooth x y 1\nimage 2 gone.tga mirror\n"
                        "image 3 bad.tga smooth x y 1\n"
                        "triangles\n5 0 1 2 3\n"
                        "layer b 0 0 0 singlesided\nimage 1 gone.tga decal x y 1\n");
  status.lines.clear();
  Model* m = openModelDocument(ws, (dir + "m.mod").c_str());
  ASSERT_NE(m, nullptr);
  const Image* skin = tableFindT<Image>(&findLayer(m, "a")->images, 1);
  ASSERT_NE(skin, nullptr);
  EXPECT_TRUE(skin->main.loaded);  // read beside the model, not in the cwd
  EXPECT_STREQ(skin->main.file, "skin.tga");  // kept as named
  int gone = 0, bad = 0;
  for (const std::string& line : status.lines) {
    gone += line.rfind("cannot open TGA file: gone.tga", 0) == 0;
    bad += line.find("bad.tga") != std::string::npos;
  }
  EXPECT_EQ(gone, 1);
  EXPECT_EQ(bad, 1);
  EXPECT_EQ(status.lines.back(), "Ready");
}

TEST_F(Documents, SceneExtentGrowsToTwiceTheLargestModelAndNeverShrinks) {
  ASSERT_NE(openModelDocument(ws, writeModel("big", 80.0f).c_str()), nullptr);
  EXPECT_FLOAT_EQ(ws.view.render.sceneExtent, 160.0f);
  ASSERT_NE(loadModelDocument(ws, writeModel("small", 3.0f).c_str()), nullptr);
  EXPECT_FLOAT_EQ(ws.view.render.sceneExtent, 160.0f);
  closeAllModels(ws);
  EXPECT_FLOAT_EQ(ws.view.render.sceneExtent, kDefaultSceneExtent);
}

}  // namespace
