// Which words count as numbers decides what every command accepts.
#include <gtest/gtest.h>

#include "cmd/values.h"

TEST(ClassifyNumber, SignsAnywhereAndEmptyTextAreIntegers) {
  EXPECT_EQ(classifyNumber(""), kNumberInteger);
  EXPECT_EQ(classifyNumber("-"), kNumberInteger);
  EXPECT_EQ(classifyNumber("--5"), kNumberInteger);
  EXPECT_EQ(classifyNumber("1-2"), kNumberInteger);
  EXPECT_EQ(classifyNumber(".5"), kNumberDecimal);
  EXPECT_EQ(classifyNumber("1.2.3"), kNotANumber);
  EXPECT_EQ(classifyNumber("1e3"), kNotANumber);
  EXPECT_EQ(classifyNumber("+1"), kNotANumber);
  EXPECT_EQ(classifyNumber(nullptr), 0);
}

TEST(ParseValue, IntegerReadsLikeAtoiAndRefusesDecimals) {
  int32_t v = 99;
  EXPECT_TRUE(parseInt(&v, "")); EXPECT_EQ(v, 0);
  EXPECT_TRUE(parseInt(&v, "-")); EXPECT_EQ(v, 0);
  EXPECT_TRUE(parseInt(&v, "3-4")); EXPECT_EQ(v, 3);
  EXPECT_TRUE(parseInt(&v, "-17")); EXPECT_EQ(v, -17);
  v = 5;
  EXPECT_FALSE(parseInt(&v, "1.0"));
  EXPECT_FALSE(parseInt(&v, "abc"));
  EXPECT_EQ(v, 5) << "a refused word must leave the destination alone";
}

TEST(ParseValue, IntegerBeyond32BitsIsRefusedNotWrapped) {
  int32_t v = 0;
  EXPECT_TRUE(parseInt(&v, "2147483647")); EXPECT_EQ(v, 2147483647);
  EXPECT_TRUE(parseInt(&v, "-2147483648")); EXPECT_EQ(v, INT32_MIN);
  EXPECT_FALSE(parseInt(&v, "2147483648"));
  EXPECT_FALSE(parseInt(&v, std::string(400, '9').c_str()));
}

TEST(ParseValue, FloatTakesIntegersAndDecimalsButNoExponent) {
  float f = 0;
  EXPECT_TRUE(parseFloat(&f, "2")); EXPECT_EQ(f, 2.0f);
  EXPECT_TRUE(parseFloat(&f, "-0.5")); EXPECT_EQ(f, -0.5f);
  EXPECT_TRUE(parseFloat(&f, ".5")); EXPECT_EQ(f, 0.5f);
  EXPECT_FALSE(parseFloat(&f, "1e3"));
  EXPECT_FALSE(parseFloat(&f, "1.2.3"));
  EXPECT_FALSE(parseFloat(&f, "abc"));
}

TEST(ParseValue, FloatOutsideSinglePrecisionIsRefusedNotInfinite) {
  float f = 1;
  EXPECT_FALSE(parseFloat(&f, std::string(60, '9').c_str()));
  EXPECT_EQ(f, 1.0f);
}

TEST(ParseValue, BooleanTakesIntegersAndFourLowerCaseWords) {
  int32_t b = -1;
  EXPECT_TRUE(parseBool(&b, "1")); EXPECT_EQ(b, 1);
  EXPECT_TRUE(parseBool(&b, "7")); EXPECT_EQ(b, 7);
  EXPECT_TRUE(parseBool(&b, "-3")); EXPECT_EQ(b, -3);
  EXPECT_TRUE(parseBool(&b, "on")); EXPECT_EQ(b, 1);
  EXPECT_TRUE(parseBool(&b, "true")); EXPECT_EQ(b, 1);
  EXPECT_TRUE(parseBool(&b, "off")); EXPECT_EQ(b, 0);
  EXPECT_TRUE(parseBool(&b, "false")); EXPECT_EQ(b, 0);
  EXPECT_FALSE(parseBool(&b, "1.0"));
  EXPECT_FALSE(parseBool(&b, "yes"));
  EXPECT_FALSE(parseBool(&b, "TRUE"));
}

TEST(ParseValue, StringIsTheWordItselfAndNullsAreRefused) {
  const char* word = "robot";
  const char* s = nullptr;
  EXPECT_TRUE(parseString(&s, word));
  EXPECT_EQ(s, word);
  EXPECT_EQ(parseValue(nullptr, "1", kValueInteger), 0);
  int32_t v;
  EXPECT_EQ(parseValue(&v, nullptr, kValueInteger), 0);
  EXPECT_EQ(parseValue(&v, "1", 9), 0);
}
