// The document's lifecycle pieces: LastError, model creation, the
// registry and the view's message lines.
#include <gtest/gtest.h>

#include <string>

#include "model/last_error.h"
#include "model/model.h"
#include "view/render_state.h"

TEST(LastError, ReadingContextAddsFileAndLineAndLongTextsAreCut) {
  lastErrorSetContext("robot.mod", 12);
  lastErrorReport("Bad point definition");
  EXPECT_STREQ(lastErrorText(), "Bad point definition (file: robot.mod, line: 12)");
  lastErrorSetContext(nullptr, 3);
  lastErrorReport("Bad pose data");
  EXPECT_STREQ(lastErrorText(), "Bad pose data (line: 3)");
  lastErrorClearContext();
  lastErrorReport("plain");
  EXPECT_STREQ(lastErrorText(), "plain");
  lastErrorReport(nullptr);
  EXPECT_EQ(lastErrorText(), nullptr);
  // Long texts are cut to 255 characters.
  lastErrorSetContext(std::string(400, 'f').c_str(), 1);
  lastErrorReport(std::string(100, 'e').c_str());
  EXPECT_EQ(std::string(lastErrorText()).size(), 255u);
  lastErrorClearContext();
}

TEST(CreateModel, NameDropsDirectoryAndModEndingAndMustFit) {
  Model* m = createModel(nullptr, "/data/cars/robot.mod", nullptr);
  ASSERT_NE(m, nullptr);
  EXPECT_STREQ(m->name, "robot");
  EXPECT_STREQ(m->directory, "/data/cars/");
  Model* n = createModel(m, "C:\\models\\arm", "override/");
  EXPECT_STREQ(n->name, "arm");
  EXPECT_STREQ(n->directory, "override/");
  EXPECT_EQ(n->id, m->id + 1) << "model ids come from one rising counter";
  freeModel(n);
  freeModel(m);
  // Names that do not fit the record are refused.
  EXPECT_EQ(createModel(nullptr, std::string(128, 'n').c_str(), nullptr), nullptr);
  EXPECT_STREQ(lastErrorText(), "model name too long");
  m = createModel(nullptr, std::string(127, 'n').c_str(), nullptr);
  ASSERT_NE(m, nullptr);
  freeModel(m);
  std::string deep = std::string(300, 'd') + "/m";
  EXPECT_EQ(createModel(nullptr, deep.c_str(), nullptr), nullptr);
}

TEST(ModelRegistry, RemovingTheCurrentModelMakesAnotherCurrent) {
  ModelRegistry reg;
  registryInit(&reg);
  Model* a = createModel(nullptr, "a", nullptr);
  Model* b = createModel(nullptr, "b", nullptr);
  registerModel(&reg, a);
  registerModel(&reg, b);
  EXPECT_EQ(reg.current, b);
  EXPECT_TRUE(registryRemove(&reg, b->id));
  EXPECT_EQ(reg.current, a);
  EXPECT_FALSE(registryRemove(&reg, b->id));
  freeModel(b);
  registryFreeAll(&reg);
  EXPECT_EQ(reg.current, nullptr);
}

TEST(MessageLines, NewestFirstNineKeptRepeatIgnoredCutTo255) {
  RenderState state;
  initRenderState(&state);
  for (int i = 0; i < 10; ++i) postMessageLine(&state, std::to_string(i).c_str());
  EXPECT_STREQ(state.messages[0], "9");
  EXPECT_STREQ(state.messages[8], "1") << "the tenth line pushes the first out";
  postMessageLine(&state, "9");
  EXPECT_STREQ(state.messages[1], "8") << "a repeat of the newest line is not added";
  postMessageLine(&state, std::string(300, 'm').c_str());
  EXPECT_EQ(std::string(state.messages[0]).size(), 255u);
}
