// The line tokenizer and number conversions under the model and pose
// readers.
#include <gtest/gtest.h>

#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "io/text_lines.h"

namespace {

std::string wordsOf(const LineTokens* t) {
  std::string out;
  for (int i = 0; i < t->stored; ++i) out += std::string(t->word[i]) + "|";
  return out;
}

}  // namespace

TEST(LineTokens, CommentsBlanksAndControlBytesSeparate) {
  static const char kText[] = "a b\t\tc # gone\n\n  # only a comment\r\nd\0e\x0b" "f\nlast";
  const std::string text(kText, sizeof kText - 1);
  TextBuffer buffer;
  ASSERT_TRUE(loadTextBytes(text.data(), text.size(), &buffer));
  LineCursor cursor;
  lineCursorInit(&cursor, &buffer);
  static LineTokens t;
  ASSERT_TRUE(nextLine(&cursor, &t));
  EXPECT_EQ(wordsOf(&t), "a|b|c|");
  EXPECT_EQ(cursor.line, 1);
  ASSERT_TRUE(nextLine(&cursor, &t));
  EXPECT_EQ(wordsOf(&t), "d|e|f|") << "NUL and VT split tokens";
  EXPECT_EQ(cursor.line, 4);
  ASSERT_TRUE(nextLine(&cursor, &t));
  EXPECT_EQ(wordsOf(&t), "last|") << "no newline after the last line";
  EXPECT_FALSE(nextLine(&cursor, &t));
  freeTextBuffer(&buffer);
}

TEST(LineTokens, StreamReadsLinesLongerThanAChunkAndCountsEveryToken) {
  const auto path = std::filesystem::temp_directory_path() / "modelr_long_line.txt";
  {
    std::ofstream out(path);
    out << "first\n";
    for (int i = 0; i < 400000; ++i) out << i << ' ';  // about 2.6 MB
    out << "\nsecond";
  }
  LineStream stream;
  ASSERT_TRUE(lineStreamOpen(&stream, path.c_str()));
  static LineTokens t;
  ASSERT_TRUE(nextLine(&stream, &t));
  EXPECT_STREQ(t.word[0], "first");
  ASSERT_TRUE(nextLine(&stream, &t));
  EXPECT_EQ(t.count, 400000);
  EXPECT_EQ(t.stored, kMaxLineTokens);
  EXPECT_STREQ(t.word[kMaxLineTokens - 1], "1023");
  ASSERT_TRUE(nextLine(&stream, &t));
  EXPECT_STREQ(t.word[0], "second");
  EXPECT_EQ(stream.line, 3);
  EXPECT_FALSE(nextLine(&stream, &t));
  EXPECT_FALSE(stream.failed);
  lineStreamClose(&stream);
  std::filesystem::remove(path);
}

TEST(TokenNumbers, IntegersRefuseWhatDoesNotFitAndQuickDecimalsRoundAsFromChars) {
  int32_t v = 0;
  auto take = [&](const char* s) { return tokenInt(s, static_cast<int32_t>(strlen(s)), &v); };
  EXPECT_TRUE(take("-2147483648"));
  EXPECT_EQ(v, INT32_MIN);
  EXPECT_TRUE(take("+2147483647"));
  EXPECT_EQ(v, INT32_MAX);
  for (const char* bad : {"2147483648", "-2147483649", "99999999999999999999", "1.0",
                          "12a", "", "-", "0x10"})
    EXPECT_FALSE(take(bad)) << bad;
  // The quick decimal path must agree with the correctly rounded
  // conversion on every input, or a saved file would not read back as it
  // was written.
  std::mt19937_64 random(7);
  for (int i = 0; i < 1000000; ++i) {
    const int digits = 1 + static_cast<int>(random() % 15);
    const int decimals = static_cast<int>(random() % (digits + 1));
    uint64_t m = random() % 1000000000000000ull;
    std::string d = std::to_string(m).substr(0, static_cast<size_t>(digits));
    std::string s = (random() & 1 ? "-" : "") + d.substr(0, d.size() - std::min<size_t>(decimals, d.size()));
    if (decimals > 0) s += "." + d.substr(d.size() - std::min<size_t>(decimals, d.size()));
    const char* text = s.c_str();
    float quick = 0, exact = 0;
    const int32_t n = static_cast<int32_t>(std::strlen(text));
    ASSERT_TRUE(tokenFloat(text, n, &quick)) << text;
    std::from_chars(text, text + n, exact);
    ASSERT_EQ(std::memcmp(&quick, &exact, sizeof quick), 0) << text;
  }
  float f = 0;
  EXPECT_TRUE(tokenFloat("16777217", 8, &f));
  EXPECT_EQ(f, 16777216.0f) << "an exact tie goes to even";
  EXPECT_TRUE(tokenFloat("1e-3", 4, &f));
  EXPECT_FLOAT_EQ(f, 0.001f);
  EXPECT_FALSE(tokenFloat("1e999", 5, &f));
  EXPECT_FALSE(tokenFloat("1.2.3", 5, &f));
  EXPECT_FALSE(tokenFloat(".", 1, &f));
}
