// Word splitting: every interpreter word is cut again at spaces.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cmd/words.h"

namespace {

std::vector<std::string> split(std::vector<const char*> in) {
  CommandWords* list = splitCommandWords(static_cast<int>(in.size()), in.data());
  std::vector<std::string> out;
  for (int i = 0; i < list->count; ++i) out.push_back(list->words[i]);
  EXPECT_EQ(list->words[list->count], nullptr) << "list must end in null";
  freeCommandWords(list);
  return out;
}

using Words = std::vector<std::string>;

}  // namespace

TEST(SplitCommandWords, SpacesInsideAWordMakeSeparateWords) {
  EXPECT_EQ(split({"modelr", "add", "point", "1 2  3"}),
            (Words{"modelr", "add", "point", "1", "2", "3"}));
}

TEST(SplitCommandWords, EmptyWordsAndLeadingSpaceWordsVanish) {
  EXPECT_EQ(split({"modelr", "", "set", " layer", "x "}),
            (Words{"modelr", "set", "x"}));
}

TEST(SplitCommandWords, OnlyTheSpaceSeparates) {
  EXPECT_EQ(split({"a\tb", "c\nd"}), (Words{"a\tb", "c\nd"}));
}

TEST(SplitCommandWords, KeepsAtMost1023Words) {
  std::string many;
  for (int i = 0; i < 1500; ++i) many += "w ";
  Words out = split({"modelr", many.c_str(), "tail"});
  EXPECT_EQ(out.size(), 1023u);
  EXPECT_EQ(out.back(), "w");
}
