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

// The same splits through the command are in tests/tcl/dispatch.test.
TEST(SplitCommandWords, SpacesSplitEmptyWordsVanishAndTheListEndsInNull) {
  EXPECT_EQ(split({"modelr", "add", "point", "1 2  3"}),
            (Words{"modelr", "add", "point", "1", "2", "3"}));
  EXPECT_EQ(split({"modelr", "", "set", " layer", "x "}), (Words{"modelr", "set", "x"}));
  EXPECT_EQ(split({"a\tb", "c\nd"}), (Words{"a\tb", "c\nd"}));
  std::string many;
  for (int i = 0; i < 1500; ++i) many += "w ";
  EXPECT_EQ(split({"modelr", many.c_str(), "tail"}).size(), 1023u);
}
