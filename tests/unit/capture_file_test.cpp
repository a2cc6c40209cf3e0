// Screen captures: the TGA bytes written for a picture, and the file.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "io/capture_file.h"
#include "model/last_error.h"
#include "io/tga.h"

namespace {

unsigned byteAt(const std::string& bytes, size_t i) {
  return static_cast<unsigned char>(bytes[i]);
}

// A 2 x 2 picture as the window gives it, bottom row first: bottom left
// red, bottom right green, top left blue, top right white.
const unsigned char kBottomUp[12] = {255, 0, 0,   0,   255, 0,
                                     0,   0, 255, 255, 255, 255};

std::string tempPath(const char* name) {
  return (testing::TempDir() + "/") + name + std::to_string(getpid());
}

}  // namespace

TEST(Capture, HeaderIsTrueColour24BitWithANoticeAndTheFileReadsBackUpright) {
  const std::vector<unsigned char> black(300 * 2 * 3, 0);
  const std::string bytes = captureTgaBytes(300, 2, black.data());
  ASSERT_EQ(bytes.size(), 18u + 255u + 300u * 2u * 3u);
  const unsigned header[18] = {255, 0, 2, 0, 0, 0, 0, 0, 0,
                               0,   0, 0, 44, 1, 2, 0, 24, 0};
  for (size_t i = 0; i < 18; ++i) EXPECT_EQ(byteAt(bytes, i), header[i]) << i;
  // The notice is text, zero padded to its full field.
  EXPECT_NE(byteAt(bytes, 18), 0u);
  EXPECT_EQ(byteAt(bytes, 18 + 254), 0u);
  // Sizes the header cannot hold give nothing.
  EXPECT_TRUE(captureTgaBytes(-1, 2, kBottomUp).empty());
  EXPECT_TRUE(captureTgaBytes(65536, 1, kBottomUp).empty());
  EXPECT_TRUE(captureTgaBytes(2, 2, nullptr).empty());
  EXPECT_EQ(captureTgaBytes(0, 0, nullptr).size(), 273u);
  // The texture reader flips the rows and swaps red with blue: a capture
  // read back stands upright with its red and blue exchanged.
  const std::string path = tempPath("capture_roundtrip.tga");
  ASSERT_TRUE(writeCaptureFile(path.c_str(), 2, 2, kBottomUp));
  TgaMessage error;
  error.text[0] = '\0';
  TgaImage* image = readTga(path.c_str(), &error);
  ASSERT_NE(image, nullptr) << error.text;
  EXPECT_EQ(image->width, 2);
  EXPECT_EQ(image->height, 2);
  const std::vector<unsigned char> topDownBgr = {255, 0, 0, 255, 255, 255,
                                                 0,   0, 255, 0, 255, 0};
  EXPECT_EQ(std::vector<unsigned char>(image->pixels, image->pixels + 12),
            topDownBgr);
  freeTga(image);
  std::remove(path.c_str());
  // An unwritable path keeps nothing and says why.
  const std::string nowhere = tempPath("no_such_dir") + "/shot.tga";
  EXPECT_FALSE(writeCaptureFile(nowhere.c_str(), 2, 2, kBottomUp));
  ASSERT_NE(lastErrorText(), nullptr);
  EXPECT_EQ(std::string(lastErrorText()), "could not write: " + nowhere);
}
