// Readers open regular files only: a FIFO, a device or a directory given as
// a model, pose, child or texture is refused at once with a clear reason,
// never read for ever or waited on.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <string>

#include "io/mod_reader.h"
#include "io/pose_file.h"
#include "io/read_file.h"
#include "io/text_lines.h"
#include "io/tga.h"
#include "model/last_error.h"
#include "model/model.h"
#include "test_files.h"

namespace {

std::string fifoIn(const std::string& dir, const char* name) {
  std::string path = dir + name;
  EXPECT_EQ(::mkfifo(path.c_str(), 0600), 0);
  return path;
}

std::string lastError() { return lastErrorText() ? lastErrorText() : ""; }

TEST(SpecialFiles, AFifoDeviceOrDirectoryIsRefusedWithoutWaiting) {
  const std::string dir = test_files::tempDir("fifo");
  const std::string fifo = fifoIn(dir, "pipe.mod");
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(readModelFile(fifo.c_str(), nullptr, nullptr), nullptr);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
  EXPECT_EQ(lastError(), "not a regular file: " + fifo);
  Model* model = createModel(nullptr, "m", nullptr);
  const std::string pose = fifoIn(dir, "p.pos");
  EXPECT_FALSE(readPoseFile(model, pose.c_str()));
  EXPECT_EQ(lastError(), "not a regular file: " + pose);
  freeModel(model);
  const std::string texture = fifoIn(dir, "t.tga");
  TgaMessage message;
  EXPECT_EQ(readTga(texture.c_str(), &message), nullptr);
  EXPECT_EQ(std::string(message.text), "cannot open TGA file: " + texture);
  // A child is dropped and its parent loads.
  fifoIn(dir, "wheel.mod");
  test_files::writeFile(dir + "car.mod", "version 2.0\npoints\n1 0 0 0\nchild wheel 0 0 0 1 1 1 x y z\n");
  Model* car = readModelFile((dir + "car.mod").c_str(), nullptr, nullptr);
  ASSERT_NE(car, nullptr);
  EXPECT_EQ(tableCount(&car->children), 0);
  EXPECT_EQ(lastError(), "not a regular file: " + dir + "wheel.mod");
  freeModel(car);
  // Devices and directories are not regular files either.
  ReadOpen why = kReadOpened;
  EXPECT_EQ(openForReading("/dev/zero", &why), nullptr);
  EXPECT_EQ(why, kReadNotRegular);
  EXPECT_EQ(openForReading("/", &why), nullptr);
  EXPECT_EQ(why, kReadNotRegular);
  EXPECT_EQ(openForReading("/no/such/file.mod", &why), nullptr);
  EXPECT_EQ(why, kReadMissing);
}

TEST(SpecialFiles, ALineBeyondTheLimitEndsTheReadWithItsOwnReason) {
  const std::string dir = test_files::tempDir("longline");
  const std::string path = dir + "long.mod";
  FILE* f = std::fopen(path.c_str(), "w");
  std::fputs("version 2.0\npoints\n1 0 0 0\n", f);
  const std::string junk(1 << 20, 'x');
  for (size_t written = 0; written <= kMaxLineBytes; written += junk.size())
    std::fwrite(junk.data(), 1, junk.size(), f);
  std::fclose(f);
  EXPECT_EQ(readModelFile(path.c_str(), nullptr, nullptr), nullptr);
  EXPECT_EQ(lastError().rfind("line longer than 16 MiB at line 4: ", 0), 0u) << lastError();
  ::unlink(path.c_str());
}

}  // namespace
