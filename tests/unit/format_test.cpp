// Result texts: floats keep a trailing space, integers do not, and an
// over-long list gives nothing rather than a cut-off answer.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cmd/format.h"

namespace {
ResultText g_text;
}  // namespace

// The texts of whole lists are pinned through the queries (query.test).
TEST(FormatLists, ZeroCountIsEmptyNegativeCountAndTextBeyond65500AreNothing) {
  float f = 1;
  int32_t i = 1;
  EXPECT_STREQ(formatFloatList(&g_text, &f, 0), "");
  EXPECT_STREQ(formatIntList(&g_text, &i, 0), "");
  EXPECT_EQ(formatFloatList(&g_text, &f, -1), nullptr);
  EXPECT_EQ(formatIntList(&g_text, &i, -1), nullptr);
  // Text beyond 65500 characters gives nothing, and huge values must not
  // overrun the shared text on the way.
  std::vector<float> floats(7278, 1.0f);
  // 7277 values of "1.000000 " are 65493 characters: still allowed.
  const char* fits = formatFloatList(&g_text, floats.data(), 7277);
  ASSERT_NE(fits, nullptr);
  EXPECT_EQ(std::string(fits).size(), 65493u);
  EXPECT_EQ(formatFloatList(&g_text, floats.data(), 7278), nullptr);
  std::vector<float> big(2000, 3.4e38f);
  EXPECT_EQ(formatFloatList(&g_text, big.data(), 2000), nullptr);
  std::vector<int32_t> ints(20000, -2147483647);
  EXPECT_EQ(formatIntList(&g_text, ints.data(), 20000), nullptr);
}
