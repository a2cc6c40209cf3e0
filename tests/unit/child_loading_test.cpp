// Loading child models: a fan-out of files naming each other many times
// stops at the per-load limit with its reason and keeps what loaded; add
// child widens the parent's bounds as reading the same file would.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "io/mod_reader.h"
#include "model/last_error.h"
#include "model/model.h"
#include "test_files.h"

namespace {

using test_files::writeFile;

int32_t countTree(const Model* model) {
  int32_t n = 1;
  for (int32_t s = tableNextSlot(&model->children, -1); s >= 0;
       s = tableNextSlot(&model->children, s))
    n += countTree(tableAt<Child>(&model->children, s)->model);
  return n;
}

TEST(ChildLoading, AFanOutStopsAtTheLimitAndAddChildWidensTheBoundsAsReadingDoes) {
  const std::string dir = test_files::tempDir("fanout");
  // level0 names level1 ten times, ... level5 is a leaf: 111111 models.
  for (int level = 0; level < 6; ++level) {
    std::string text = "version 2.0\npoints\n1 0 0 0\n2 1 1 1\n";
    for (int i = 0; level < 5 && i < 10; ++i)
      text += "child level" + std::to_string(level + 1) + " " + std::to_string(i) +
              " 0 0 1 1 1 x y z\n";
    writeFile(dir + "level" + std::to_string(level) + ".mod", text);
  }
  const auto start = std::chrono::steady_clock::now();
  Model* top = readModelFile((dir + "level0.mod").c_str(), nullptr, nullptr);
  const auto took = std::chrono::steady_clock::now() - start;
  ASSERT_NE(top, nullptr);
  EXPECT_EQ(countTree(top), kMaxModelsPerLoad + 1);
  ASSERT_NE(lastErrorText(), nullptr);
  EXPECT_EQ(std::string(lastErrorText()).rfind(
                "too many child models in one load (limit 10000): level", 0),
            0u);
  EXPECT_LT(took, std::chrono::seconds(30));
  freeModel(top);
  // Add child widens the bounds as reading the file does.
  writeFile(dir + "wheel.mod", "version 2.0\npoints\n1 -1 -1 -1\n2 1 1 1\n");
  writeFile(dir + "car.mod",
        "version 2.0\npoints\n1 0 0 0\n2 1 1 1\nchild wheel 10 0 0 2 2 2 x y z\n");
  Model* read = readModelFile((dir + "car.mod").c_str(), nullptr, nullptr);
  ASSERT_NE(read, nullptr);

  writeFile(dir + "bare.mod", "version 2.0\npoints\n1 0 0 0\n2 1 1 1\n");
  Model* built = readModelFile((dir + "bare.mod").c_str(), nullptr, nullptr);
  ASSERT_NE(built, nullptr);
  const float position[3] = {10, 0, 0}, scale[3] = {2, 2, 2};
  const float rotation[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  bool loaded = false;
  EXPECT_GT(addChildFromFile(built, "wheel", position, scale, rotation, nullptr, 0.0f,
                             &loaded),
            0);
  EXPECT_TRUE(loaded);
  for (int i = 0; i < 3; ++i) {
    EXPECT_FLOAT_EQ(built->boundsMin[i], read->boundsMin[i]) << i;
    EXPECT_FLOAT_EQ(built->boundsMax[i], read->boundsMax[i]) << i;
  }
  EXPECT_FLOAT_EQ(built->boundsMax[0], 12.0f);
  freeModel(read);
  freeModel(built);
}

}  // namespace
