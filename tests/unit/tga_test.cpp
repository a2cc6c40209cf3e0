// The TGA reader over the corpus in tests/data/tga.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "io/tga.h"

namespace {

std::string corpus(const char* name) {
  return std::string(MODELR_TEST_DATA) + "/tga/" + name;
}

std::vector<unsigned char> fileBytes(const char* name) {
  std::vector<unsigned char> bytes(512);
  FILE* file = std::fopen(corpus(name).c_str(), "rb");
  if (file == nullptr) return {};
  bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file));
  std::fclose(file);
  return bytes;
}

std::vector<unsigned char> pixelsOf(const TgaImage* image) {
  return {image->pixels, image->pixels + image->width * image->height * 3};
}

}  // namespace

TEST(TgaRead, RefusedFilesNameTheirReasonAndThePathAsGivenCutToFit) {
  const struct { const char* file; const char* reason; } cases[] = {
      {"missing.tga", "cannot open TGA file: "},
      {"empty.tga", "TGA read failed: "},
      {"short_header.tga", "TGA read failed: "},
      {"short_24.tga", "TGA read failed: "},
      {"huge.tga", "TGA read failed: "},
      {"rle_type10.tga", "TGA file is not type 2 (true color, uncompressed): "},
      {"colormapped_type1.tga", "TGA file is not type 2 (true color, uncompressed): "},
      {"grey_type3.tga", "TGA file is not type 2 (true color, uncompressed): "},
      {"bits16.tga", "TGA image is not 24 or 32 bits per pixel: "},
  };
  for (const auto& c : cases) {
    std::string path = corpus(c.file);
    TgaMessage error;
    error.text[0] = '\0';
    EXPECT_EQ(readTga(path.c_str(), &error), nullptr) << c.file;
    EXPECT_EQ(std::string(error.text), c.reason + path) << c.file;
  }
  // A very long path is cut, not overflowed.
  const std::string path(10000, 'p');
  TgaMessage error;
  error.text[0] = '\0';
  EXPECT_EQ(readTga(path.c_str(), &error), nullptr);
  EXPECT_EQ(std::string(error.text).rfind("cannot open TGA file: ppp", 0), 0u);
  EXPECT_LT(std::strlen(error.text), path.size());
}

TEST(TgaRead, RowsFlipOnceBgrBecomesRgbAlphaIsDroppedAndShortFilesLoad) {
  // Stored bottom row first as BGR(A): 1 2 3 | 4 5 6, then 7 8 9 | 10 11 12.
  const std::vector<unsigned char> expected = {9, 8, 7, 12, 11, 10, 3, 2, 1, 6, 5, 4};
  for (const char* file : {"valid_24.tga", "valid_32.tga"}) {
    TgaMessage error;
    error.text[0] = '\0';
    TgaImage* image = readTga(corpus(file).c_str(), &error);
    ASSERT_NE(image, nullptr) << file << ": " << error.text;
    EXPECT_EQ(image->width, 2);
    EXPECT_EQ(image->height, 2);
    EXPECT_EQ(pixelsOf(image), expected) << file;
    freeTga(image);
  }
  // A top-left origin bit changes nothing: every file flips the same way.
  std::vector<unsigned char> topOrigin = fileBytes("valid_24.tga");
  ASSERT_EQ(topOrigin.size(), 30u);
  topOrigin[17] = 0x20;
  TgaImage* image = readTgaBytes(topOrigin.data(), topOrigin.size(), "top", nullptr);
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(pixelsOf(image), expected);
  freeTga(image);
  // A 32-bit file a quarter short loads: the missing pixel reads as black.
  image = readTga(corpus("short_32.tga").c_str(), nullptr);
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(pixelsOf(image), (std::vector<unsigned char>{9, 8, 7, 0, 0, 0, 3, 2, 1, 6, 5, 4}));
  freeTga(image);
}

TEST(TgaRead, IdTextIsKeptTerminatedAndNeverOverread) {
  TgaImage* image = readTga(corpus("id255.tga").c_str(), nullptr);
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->idLength, 255);
  EXPECT_EQ(std::strlen(image->id), 255u);
  EXPECT_EQ(std::string(image->id, 21), "modelr test image id ");
  // The pixel data starts after the id, not after the header.
  EXPECT_EQ(pixelsOf(image), (std::vector<unsigned char>{3, 2, 1}));
  freeTga(image);
  // An empty image loads with a pixel buffer; an id cut short is no overread.
  std::vector<unsigned char> header(18, 0);
  header[0] = 40;  // an id the data does not hold
  header[2] = 2;
  header[16] = 24;
  image = readTgaBytes(header.data(), header.size(), "empty", nullptr);
  ASSERT_NE(image, nullptr);
  EXPECT_NE(image->pixels, nullptr);
  EXPECT_EQ(image->id[0], '\0');
  freeTga(image);
  freeTga(nullptr);
}

TEST(TgaBytes, EveryTruncationOfAGoodFileIsSafe) {
  const std::vector<unsigned char> whole = fileBytes("valid_32.tga");
  ASSERT_EQ(whole.size(), 34u);
  for (size_t cut = 0; cut <= whole.size(); ++cut) {
    // Exactly sized heap copies, so a sanitizer sees any over-read.
    std::vector<unsigned char> bytes(whole.begin(), whole.begin() + cut);
    TgaImage* image = readTgaBytes(bytes.data(), bytes.size(), "cut", nullptr);
    EXPECT_EQ(image != nullptr, cut >= 18 + 12) << "cut at " << cut;
    freeTga(image);
  }
}
