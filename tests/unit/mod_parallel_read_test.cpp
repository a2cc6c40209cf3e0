// Reading a .mod with the second thread parsing ahead must give what
// reading it line by line gives: the same saved file, or the same message
// at the same line. Texts are random runs of point and polygon lines in
// the shapes the quick paths take and the ones they decline, with keywords
// and bad lines anywhere.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "io/mod_reader.h"
#include "io/mod_writer.h"
#include "model/last_error.h"
#include "model/model.h"
#include "test_files.h"

namespace {

namespace fs = std::filesystem;

struct Outcome {
  std::string saved;  // writeModelFile's bytes; empty when the read failed
  std::string error;
};

Outcome outcomeOf(Model* model, const fs::path& dir) {
  Outcome o;
  o.error = lastErrorText() ? lastErrorText() : "";
  if (model == nullptr) return o;
  const fs::path out = dir / "saved.mod";
  EXPECT_TRUE(writeModelFile(model, out.c_str()));
  o.saved = test_files::readFile(out.string());
  freeModel(model);
  return o;
}

class ModParallelRead : public ::testing::Test {
 protected:
  fs::path dir = test_files::tempDir("parallel");
  void TearDown() override {
    std::error_code ignored;
    fs::remove_all(dir, ignored);
  }

  Outcome fromBytes(const std::string& text, size_t parallelBytes) {
    return outcomeOf(readModelBytes(text.data(), text.size(), "r.mod", nullptr,
                                    dir.c_str(), parallelBytes),
                     dir);
  }
  Outcome fromFile(const std::string& text, size_t parallelBytes) {
    const fs::path path = dir / "r.mod";
    std::ofstream(path, std::ios::binary) << text;
    Outcome o = outcomeOf(readModelFile(path.c_str(), nullptr, nullptr, parallelBytes), dir);
    // The file's own name is in the messages; the bytes read name none.
    const std::string name = path.string();
    for (size_t at; (at = o.error.find(name)) != std::string::npos;)
      o.error.replace(at, name.size(), "r.mod");
    return o;
  }
};

std::string number(std::mt19937& rng, float scale) {
  std::uniform_real_distribution<float> value(-scale, scale);
  char text[48];
  switch (rng() % 12) {
    case 0: snprintf(text, sizeof text, "%g", value(rng)); break;     // exponents
    case 1: snprintf(text, sizeof text, "%.9e", value(rng)); break;
    case 2: snprintf(text, sizeof text, "+%.3f", value(rng) < 0 ? 1.0 : 2.5); break;
    case 3: snprintf(text, sizeof text, "%d", static_cast<int>(value(rng))); break;
    default: snprintf(text, sizeof text, "%.6f", value(rng)); break;
  }
  return text;
}

std::string blank(std::mt19937& rng) {
  static const char* const kBlanks[] = {" ", " ", " ", "   ", "\t", " \r"};
  const unsigned pick = rng() % 7;
  return pick < 6 ? kBlanks[pick] : std::string(1, '\0');  // binary junk separates too
}

// Mostly the writer's shapes; now and then a line the quick paths decline
// (or one that fails, when `bad`), a comment, a blank line or a keyword.
std::string randomText(std::mt19937& rng, int lines, bool bad) {
  const int points = 40 + static_cast<int>(rng() % 200);
  std::string text = "version 2.0\npoints\n";
  auto odd = [&](int perMille) { return static_cast<int>(rng() % 1000) < perMille; };
  for (int k = 1; k <= points; ++k) {
    text += std::to_string(k) + blank(rng) + number(rng, 10) + blank(rng) +
            number(rng, 10) + blank(rng) + number(rng, 10);
    if (odd(20)) text += " # note";
    if (odd(20)) text += "\n";  // a blank line
    // A line longer than a block: no run can be cut around it.
    if (odd(2)) text += "\n# " + std::string(70000, 'x');
    text += "\n";
  }
  text += "layer a 0 0 0 doublesided\ntriangles\n";
  for (int i = 0; i < lines; ++i) {
    auto p = [&] { return std::to_string(1 + rng() % points); };
    if (odd(8)) {
      text += "points\n" + std::to_string(1 + rng() % (points + 5)) + " 1 2 3\ntriangles\n";
    } else if (odd(3)) {
      text += "layer b 1 2 3 singlesided\ntriangles\n";
    } else if (odd(3)) {
      text += "normals\n" + p() + " 0 0 1\ntriangles\n";
    } else if (odd(10)) {
      text += "0 " + p() + " " + p() + " " + p() + "\n";  // an older form
    } else if (odd(10)) {
      text += "5 0 " + p() + " " + p() + " " + p() + " " + p() + " # quad\n";
    } else if (bad && odd(3)) {
      static const char* const kBad[] = {"5 0 1 2\n", "5 0 1 2 x\n", "5 0 1 2 999999\n",
                                         "5 -7 1 2 3\n", "5 0 1 2 3.5\n", "junk\n"};
      text += kBad[rng() % 6];
    } else {
      text += "5 " + std::to_string(rng() % 3) + " " + p() + " " + p() + " " + p() + " \n";
    }
  }
  if (bad && odd(500)) {
    static const char* const kBadPoints[] = {"0 1 2 3\n", "4 1 2\n", "7 1 2 zz\n", "8 1e99 0 0\n"};
    text += "points\n";
    for (int k = 0; k < 300; ++k) text += std::to_string(k + 1) + " 1.5 2.5 3.5\n";
    text += kBadPoints[rng() % 4];
  }
  return text;
}

// The run cut into blocks of every size, from a line or two to the whole.
const size_t kThresholds[] = {1, 16, 100, 700, 4096};

TEST_F(ModParallelRead, RandomTextsGiveTheSameModelOrTheSameMessageEitherWay) {
  std::mt19937 rng(20261123);
  int failures = 0;
  for (int round = 0; round < 40; ++round) {
    const bool bad = round % 2 == 1;
    const std::string text = randomText(rng, 300 + static_cast<int>(rng() % 1500), bad);
    const Outcome alone = fromBytes(text, 0);
    failures += alone.saved.empty();
    for (size_t bytes : kThresholds) {
      const Outcome both = fromBytes(text, bytes);
      ASSERT_EQ(both.error, alone.error) << "round " << round << ", blocks of " << bytes;
      ASSERT_TRUE(both.saved == alone.saved) << "round " << round << ", blocks of " << bytes;
    }
    const Outcome streamed = fromFile(text, 64);
    ASSERT_EQ(streamed.error, alone.error) << "round " << round << ", from the file";
    ASSERT_TRUE(streamed.saved == alone.saved) << "round " << round << ", from the file";
  }
  EXPECT_GT(failures, 5);  // the bad texts did fail, at lines of all kinds
  EXPECT_LT(failures, 40);
}

// A file several read chunks long: the second thread parses one block
// while the records of the one before go in, across refills of the chunk
// and a line longer than one.
TEST_F(ModParallelRead, LongFileFailsAtTheSameLineAcrossChunks) {
  std::string text = "points\n";
  const int points = 60000;
  for (int k = 1; k <= points; ++k) {
    text += std::to_string(k) + " " + std::to_string(k % 97) + ".25 1.5 -2.75\n";
    // A comment longer than a chunk grows the chunk; blocks stay their size.
    if (k == points / 2) text += "# " + std::string(size_t{3} << 19, 'c') + "\n";
  }
  text += "layer a 0 0 0 singlesided\ntriangles\n";
  for (int k = 1; k + 2 <= points; ++k)
    text += "5 0 " + std::to_string(k) + " " + std::to_string(k + 1) + " " +
            std::to_string(k + 2) + "\n";
  ASSERT_GT(text.size(), size_t{3} << 20);
  const Outcome whole = fromFile(text, 0);
  ASSERT_FALSE(whole.saved.empty()) << whole.error;
  EXPECT_TRUE(fromFile(text, kModParallelBytes).saved == whole.saved);

  // Bad lines late in each section, far past the first block.
  const size_t inPoints = text.find("\n59000 ") + 1;
  const size_t inPolygons = text.rfind("\n5 0 ") + 1;
  for (size_t at : {inPoints, inPolygons}) {
    std::string broken = text;
    broken.insert(at, at == inPoints ? "0 1 2 3\n" : "5 0 1 2 60001\n");
    const Outcome alone = fromFile(broken, 0);
    EXPECT_TRUE(alone.saved.empty());
    EXPECT_NE(alone.error.find("line"), std::string::npos) << alone.error;
    const Outcome both = fromFile(broken, kModParallelBytes);
    EXPECT_EQ(both.error, alone.error);
    EXPECT_TRUE(both.saved.empty());
  }
}

}  // namespace
