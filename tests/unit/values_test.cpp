// Which words count as numbers decides what every command accepts.
#include <gtest/gtest.h>

#include <string>

#include "cmd/values.h"

TEST(ClassifyNumber, SignsAnywhereAndEmptyTextAreIntegers) {
  const struct { const char* word; int kind; } kCases[] = {
      {"", kNumberInteger},     {"-", kNumberInteger},    {"--5", kNumberInteger},
      {"1-2", kNumberInteger},  {".5", kNumberDecimal},   {"1.2.3", kNotANumber},
      {"1e3", kNotANumber},     {"+1", kNotANumber},      {nullptr, 0}};
  for (const auto& c : kCases) EXPECT_EQ(classifyNumber(c.word), c.kind) << c.word;
}

// Integers read like atoi; decimals and values beyond 32 bits are refused
// and leave the destination alone.
TEST(ParseValue, IntegerReadsLikeAtoiAndRefusesDecimalsAndOverflow) {
  const struct { const char* word; int32_t value; } kTaken[] = {
      {"", 0}, {"-", 0}, {"3-4", 3}, {"-17", -17},
      {"2147483647", INT32_MAX}, {"-2147483648", INT32_MIN}};
  for (const auto& c : kTaken) {
    int32_t v = 99;
    EXPECT_TRUE(parseInt(&v, c.word)) << c.word;
    EXPECT_EQ(v, c.value) << c.word;
  }
  const std::string nines(400, '9');
  for (const char* bad : {"1.0", "abc", "2147483648", nines.c_str()}) {
    int32_t v = 5;
    EXPECT_FALSE(parseInt(&v, bad)) << bad;
    EXPECT_EQ(v, 5) << bad;
  }
}

TEST(ParseValue, FloatTakesIntegersAndDecimalsButNoExponentNorInfinity) {
  float f = 0;
  EXPECT_TRUE(parseFloat(&f, "2")); EXPECT_EQ(f, 2.0f);
  EXPECT_TRUE(parseFloat(&f, "-0.5")); EXPECT_EQ(f, -0.5f);
  EXPECT_TRUE(parseFloat(&f, ".5")); EXPECT_EQ(f, 0.5f);
  const std::string huge(60, '9');  // beyond single precision
  for (const char* bad : {"1e3", "1.2.3", "abc", huge.c_str()}) {
    f = 1;
    EXPECT_FALSE(parseFloat(&f, bad)) << bad;
    EXPECT_EQ(f, 1.0f) << bad;
  }
}

TEST(ParseValue, BooleanTakesIntegersAndFourWordsStringTheWordItselfNullsNothing) {
  const struct { const char* word; int32_t value; } kTaken[] = {
      {"1", 1}, {"7", 7}, {"-3", -3}, {"on", 1}, {"true", 1}, {"off", 0}, {"false", 0}};
  for (const auto& c : kTaken) {
    int32_t b = -1;
    EXPECT_TRUE(parseBool(&b, c.word)) << c.word;
    EXPECT_EQ(b, c.value) << c.word;
  }
  int32_t b = -1;
  for (const char* bad : {"1.0", "yes", "TRUE"}) EXPECT_FALSE(parseBool(&b, bad)) << bad;
  // A string is the word itself; nulls are refused.
  const char* word = "robot";
  const char* s = nullptr;
  EXPECT_TRUE(parseString(&s, word));
  EXPECT_EQ(s, word);
  EXPECT_EQ(parseValue(nullptr, "1", kValueInteger), 0);
  EXPECT_EQ(parseValue(&b, nullptr, kValueInteger), 0);
  EXPECT_EQ(parseValue(&b, "1", 9), 0);
}
