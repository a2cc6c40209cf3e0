// Buffered text output: every appender must give the bytes of its printf
// conversion, and a save must replace the target whole or not at all.
#include <gtest/gtest.h>

#include "test_files.h"

#include <sys/stat.h>

#include <algorithm>
#include <cfloat>
#include <cstdarg>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "io/text_out.h"
#include "model/last_error.h"

namespace {

using test_files::entries;
using test_files::readFile;
using test_files::tempDir;
using test_files::writeFile;

// What the appenders in `fill` wrote, through a real save. The formatting
// tests print infinities and NaNs too, to match printf's text for them;
// a real save refuses such a file, so here the refusal is waived.
std::string render(const std::function<void(TextOut*)>& fill) {
  static const std::string dir = tempDir("text_out");
  const std::string path = dir + "render.txt";
  TextOut out;
  if (!textOutOpen(&out, path.c_str())) return "<open failed>";
  fill(&out);
  if (out.nonFinite) out.failed = out.nonFinite = false;
  if (!textOutCommit(&out)) return "<commit failed>";
  return readFile(path);
}

std::string printed(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string printed(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int n = std::vsnprintf(nullptr, 0, format, args);
  va_end(args);
  std::string text(static_cast<size_t>(n) + 1, '\0');
  va_start(args, format);
  std::vsnprintf(&text[0], text.size(), format, args);
  va_end(args);
  text.resize(static_cast<size_t>(n));
  return text;
}

double fromBits(uint64_t bits) {
  double d;
  std::memcpy(&d, &bits, sizeof d);
  return d;
}

// Values where a formatter that is merely close goes wrong: signed zeros
// and values that round to them, exact halves (printf rounds them to
// even), carries through every digit, the edges of 64-bit scaled values,
// huge floats whose every integer digit is printed, NaNs and infinities.
std::vector<double> edgeValues() {
  std::vector<double> v = {
      0.0, -0.0, 1e-9, -1e-9, -4e-7, -5e-7, -6e-7, 0.5, 1.5, 2.5, -2.5,
      0.125, 0.375, -0.125, 1.0 / 128, 3.0 / 128, 0.0000005, 0.0000015,
      0.9999995, 9.9999995, 99.5, 999999.9999996, 0.05, 0.15, 0.25, 0.35,
      1e30f, -1e30f, 3.4028234663852886e38, DBL_MAX, -DBL_MAX, DBL_MIN,
      DBL_TRUE_MIN, -DBL_TRUE_MIN, FLT_MIN, 1e15, 1e16, 1e17, 1e22, 1e23,
      9007199254740993.0, 18446744073709551615.0, 9223372036854775807.0,
      18446744073709.551615, 18446744073709.5, 18446744073.709551615,
      18446744073.7095, 1844674407370955.1615, 0.1f, 0.2f, 0.3f, 0.7f,
      123.456f, -123.456f, 65535.99f, 1.0f / 3.0f,
      std::numeric_limits<double>::infinity(),
      -std::numeric_limits<double>::infinity(),
      std::numeric_limits<double>::quiet_NaN(),
      -std::numeric_limits<double>::quiet_NaN(),
      fromBits(0x7ff0000000000001ull), fromBits(0xfff8000000000123ull)};
  for (int e = -30; e <= 70; ++e) {
    v.push_back(std::ldexp(1.0, e));
    v.push_back(std::ldexp(1.0, e) - std::ldexp(1.0, e - 53));
    v.push_back(-std::pow(10.0, e % 25));
  }
  return v;
}

std::vector<double> randomValues(size_t n) {
  std::mt19937_64 rng(20240611);
  std::vector<double> v;
  v.reserve(n);
  for (size_t i = 0; i < n; ++i) {
    switch (i % 5) {
      case 0:  // any bit pattern: every exponent, NaN payloads
        v.push_back(fromBits(rng()));
        break;
      case 1: {  // any float, as the document stores them
        const uint32_t bits = static_cast<uint32_t>(rng());
        float f;
        std::memcpy(&f, &bits, sizeof f);
        v.push_back(f);
        break;
      }
      case 2:  // dyadic fractions: many exact halves at few decimals
        v.push_back(static_cast<double>(static_cast<int64_t>(rng() % 2000001) -
                                        1000000) /
                    std::ldexp(1.0, static_cast<int>(rng() % 40)));
        break;
      case 3: {  // magnitudes around the 64-bit limit of scaled values
        const double mag = std::pow(10.0, static_cast<double>(rng() % 2200) / 100.0);
        v.push_back((rng() & 1) ? mag : -mag);
        break;
      }
      default:  // model-sized coordinates
        v.push_back(static_cast<float>(
            (static_cast<double>(rng() % 2000000001) - 1e9) / 1e5));
        break;
    }
  }
  return v;
}

// Formats every value at `decimals` (and `width`, when not zero) both ways
// and reports the first values that differ.
void expectSameAsPrintf(const std::vector<double>& values, int decimals,
                        int width) {
  const std::string got = render([&](TextOut* out) {
    for (double d : values) {
      if (width == 0) {
        outFixed(out, d, decimals);
      } else {
        outFixedWidth(out, d, width, decimals);
      }
      outChar(out, '\n');
    }
  });
  size_t pos = 0, failures = 0;
  for (double d : values) {
    const std::string want = printed("%*.*f\n", width, decimals, d);
    const size_t end = std::min(got.find('\n', pos), got.size() - 1) + 1;
    if (got.compare(pos, end - pos, want) != 0 && ++failures <= 5)
      ADD_FAILURE() << printed("%%%d.%df of %a: printf \"", width, decimals, d)
                    << want.substr(0, want.size() - 1) << "\", got \""
                    << got.substr(pos, end - pos - 1) << "\"";
    pos = end;
  }
}

TEST(OutFixed, MatchesPrintfOnEdgeAndRandomValuesAtEveryPrecisionAndWidth) {
  const std::vector<double> edges = edgeValues(), random = randomValues(60000);
  for (int decimals : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 17, 30, 64, 70})
    expectSameAsPrintf(edges, decimals, 0);
  for (int decimals : {0, 2, 3, 4, 6, 9, 12}) expectSameAsPrintf(random, decimals, 0);
  // With a width it pads on the left as printf does.
  std::vector<double> values = edges;
  values.insert(values.end(), random.begin(), random.begin() + 20000);
  expectSameAsPrintf(values, 3, 6);
  expectSameAsPrintf(values, 6, 6);
  expectSameAsPrintf(values, 0, 12);
  expectSameAsPrintf(values, 2, 400);  // wider than any direct number
  expectSameAsPrintf(values, 4, -12);  // a negative width justifies left
}

TEST(OutInt, IntegersAndPaddedTextMatchPrintf) {
  std::vector<int32_t> values = {0, 1, -1, 9, 10, 99, 100, -99, 999, 1000,
                                 INT32_MAX, INT32_MIN, INT32_MIN + 1};
  std::mt19937 rng(7);
  for (int i = 0; i < 20000; ++i) values.push_back(static_cast<int32_t>(rng()));
  for (int i = 0; i < 2000; ++i) values.push_back(static_cast<int32_t>(rng() % 2000) - 1000);
  const std::string got = render([&](TextOut* out) {
    for (int32_t v : values) {
      outInt(out, v);
      outChar(out, '|');
      outIntPadRight(out, v, 3);
      outChar(out, '|');
      outIntPadRight(out, v, 100);
      outChar(out, '\n');
    }
    for (const char* text : {"hip", "shoulderjoint", "", "12345678"})
      outPadRight(out, text, 8);
  });
  std::string want;
  for (int32_t v : values) want += printed("%d|%-3d|%-100d\n", v, v, v);
  want += printed("%-8s%-8s%-8s%-8s", "hip", "shoulderjoint", "", "12345678");
  EXPECT_EQ(got, want);
}

// Lines straddling the buffer's edge, and a single block larger than it,
// must come out whole and in order.
TEST(TextOut, OutputLargerThanTheBufferArrivesIntact) {
  const std::string block(3 << 20, 'b');
  std::string want;
  const std::string got = render([&](TextOut* out) {
    for (int i = 0; i < 150000; ++i) {
      outIntPadRight(out, i, 3);
      outText(out, "   ");
      outFixed(out, i * 0.37, 6);
      outChar(out, '\n');
    }
    outChars(out, block.data(), block.size());
    outText(out, "end\n");
  });
  for (int i = 0; i < 150000; ++i) want += printed("%-3d   %.6f\n", i, i * 0.37);
  want += block + "end\n";
  EXPECT_EQ(got.size(), want.size());
  EXPECT_TRUE(got == want);
}

TEST(SavedFileName, AppendsTheExtensionUnlessANameEndsInAThreeLetterOne) {
  EXPECT_EQ(savedFileName(nullptr, ".mod", "untitled.mod"), "untitled.mod");
  const char* kCases[][2] = {{"", "untitled.mod"},       {"robot", "robot.mod"},
                             {"robot.txt", "robot.txt"}, {"robot.ab", "robot.ab.mod"},
                             {".mod", ".mod.mod"},       {"a.mod", "a.mod"}};
  for (const auto& c : kCases) EXPECT_EQ(savedFileName(c[0], ".mod", "untitled.mod"), c[1]);
}

struct Saving : ::testing::Test {
  std::string dir;
  void SetUp() override { dir = tempDir("text_out"); }
  // Opens `path`, writes `text` and commits; whether both succeeded.
  static bool save(const std::string& path, const char* text) {
    TextOut out;
    if (!textOutOpen(&out, path.c_str())) return false;
    outText(&out, text);
    return textOutCommit(&out);
  }
};

TEST_F(Saving, FailedOpenOrAbortLeavesNothingButTheOldFile) {
  TextOut out;
  EXPECT_FALSE(textOutOpen(&out, (dir + "missing/x.mod").c_str()));
  textOutAbort(&out);  // harmless after a failed open
  ASSERT_EQ(mkdir((dir + "sub").c_str(), 0755), 0);
  EXPECT_FALSE(textOutOpen(&out, (dir + "sub").c_str()))
      << "a directory is not a file to replace";
  EXPECT_EQ(entries(dir), std::vector<std::string>{"sub"});
  EXPECT_TRUE(entries(dir + "sub").empty());
  // An abort keeps the old file and removes the temporary.
  ASSERT_EQ(rmdir((dir + "sub").c_str()), 0);
  const std::string path = dir + "keep.mod";
  writeFile(path, "old contents\n");
  ASSERT_TRUE(textOutOpen(&out, path.c_str()));
  outText(&out, "new");
  EXPECT_EQ(entries(dir).size(), 2u) << "the temporary lies beside the target";
  textOutAbort(&out);
  EXPECT_EQ(readFile(path), "old contents\n");
  EXPECT_EQ(entries(dir), std::vector<std::string>{"keep.mod"});
}

// A replaced file keeps its mode; a new one gets fopen's, not mkstemp's
// private 0600.
TEST_F(Saving, CommitReplacesTheWholeFileAndKeepsItsModeOrGivesFopens) {
  const std::string path = dir + "replace.mod";
  writeFile(path, std::string(100000, 'x'));
  ASSERT_EQ(chmod(path.c_str(), 0640), 0);
  const mode_t old = umask(022);
  const bool saved = save(path, "short\n") && save(dir + "fresh.mod", "");
  umask(old);
  ASSERT_TRUE(saved);
  EXPECT_EQ(readFile(path), "short\n");
  struct stat info;
  ASSERT_EQ(stat(path.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0640u);
  ASSERT_EQ(stat((dir + "fresh.mod").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0644u);
  // A very long name still gets a temporary.
  ASSERT_TRUE(save(dir + std::string(250, 'n'), "x"));
  EXPECT_EQ(readFile(dir + std::string(250, 'n')), "x");
  EXPECT_EQ(entries(dir).size(), 3u);
}

// Through a link to a file, and through a dangling link, which gets its
// file made; either way the link stays a link.
TEST_F(Saving, LinksStayLinksAndHardLinksOneFileWithItsOwner) {
  writeFile(dir + "real.mod", "old\n");
  for (const char* target : {"real.mod", "made.mod"}) {
    const std::string link = dir + "link_" + target;
    ASSERT_EQ(symlink(target, link.c_str()), 0);
    ASSERT_TRUE(save(link, "new\n"));
    EXPECT_EQ(readFile(dir + target), "new\n") << target;
    struct stat info;
    ASSERT_EQ(lstat(link.c_str(), &info), 0);
    EXPECT_TRUE(S_ISLNK(info.st_mode)) << target;
  }
  // A hard link stays one file, and the owner is kept.
  const std::string path = dir + "shared.mod";
  const std::string other = dir + "other.mod";
  writeFile(path, "old\n");
  ASSERT_EQ(link(path.c_str(), other.c_str()), 0);
  // Another owner can be given only by root; elsewhere the owner is ours.
  const bool root = geteuid() == 0;
  if (root) {
    ASSERT_EQ(chown(path.c_str(), 1234, 5678), 0);
  }
  ASSERT_TRUE(save(path, "new\n"));
  EXPECT_EQ(readFile(other), "new\n");
  struct stat a, b;
  ASSERT_EQ(stat(path.c_str(), &a), 0);
  ASSERT_EQ(stat(other.c_str(), &b), 0);
  EXPECT_EQ(a.st_ino, b.st_ino);
  if (root) {
    EXPECT_EQ(a.st_uid, 1234u);
    EXPECT_EQ(a.st_gid, 5678u);
  }
  EXPECT_EQ(entries(dir).size(), 6u);  // no temporary left
}

TEST_F(Saving, ANumberThatIsNotFiniteRefusesTheWholeFile) {
  const std::string path = dir + "finite.stl";
  writeFile(path, "old\n");
  for (double bad : {std::numeric_limits<double>::infinity(),
                     std::numeric_limits<double>::quiet_NaN()}) {
    TextOut out;
    ASSERT_TRUE(textOutOpen(&out, path.c_str()));
    outFixed(&out, 1.0, 6);
    outFixed(&out, bad, 6);
    EXPECT_FALSE(textOutCommit(&out));
    EXPECT_EQ(std::string(lastErrorText()),
              "could not write: " + path + " (a number is not finite)");
    EXPECT_EQ(readFile(path), "old\n");
  }
  EXPECT_EQ(entries(dir), std::vector<std::string>{"finite.stl"});
}

}  // namespace
