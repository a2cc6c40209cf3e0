// Opening and closing documents: the view hooks and the scene extent, which
// the scripts cannot see.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "cmd/context.h"
#include "io/documents.h"

namespace {

std::vector<std::string> g_events;

void opened(Model* model) { g_events.push_back(std::string("open ") + model->name); }
void closing(Model* model) { g_events.push_back(std::string("close ") + model->name); }

class Documents : public ::testing::Test {
 protected:
  void SetUp() override {
    zeroAppContext();
    initRenderState(&g_app.render);
    DocumentViewHooks hooks = {opened, closing};
    setDocumentViewHooks(&hooks);
    g_events.clear();
  }
  void TearDown() override {
    closeAllModels();
    setDocumentViewHooks(nullptr);
  }

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
};

TEST_F(Documents, ViewHearsOfEveryModelBeforeItIsFreed) {
  Model* a = createEmptyModel("a");
  ASSERT_NE(a, nullptr);
  closeAllModels();
  createEmptyModel("b");
  EXPECT_EQ(g_events, (std::vector<std::string>{"open a", "close a", "open b"}));
}

TEST_F(Documents, RemoveTellsTheViewOfThatModelOnly) {
  Model* a = createEmptyModel("a");
  int32_t id = a->id;
  g_events.clear();
  EXPECT_TRUE(removeModelDocument(id));
  EXPECT_FALSE(removeModelDocument(id));
  EXPECT_EQ(g_events, (std::vector<std::string>{"close a"}));
  EXPECT_EQ(currentModel(), nullptr);
}

TEST_F(Documents, SceneExtentGrowsToTwiceTheLargestModelAndNeverShrinks) {
  ASSERT_NE(openModelDocument(writeModel("big", 80.0f).c_str()), nullptr);
  EXPECT_FLOAT_EQ(g_app.render.sceneExtent, 160.0f);
  ASSERT_NE(loadModelDocument(writeModel("small", 3.0f).c_str()), nullptr);
  EXPECT_FLOAT_EQ(g_app.render.sceneExtent, 160.0f);
  closeAllModels();
  EXPECT_FLOAT_EQ(g_app.render.sceneExtent, kDefaultSceneExtent);
}

}  // namespace
