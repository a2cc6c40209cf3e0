// Files for the unit tests: a fresh temporary directory, and whole files
// read and written as bytes.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <dirent.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace test_files {

// A new directory under the test's temporary directory, with its "/".
inline std::string tempDir(const char* prefix) {
  std::string pattern = ::testing::TempDir() + prefix + "_XXXXXX";
  return std::string(mkdtemp(&pattern[0])) + "/";
}

// The file's bytes, or "<missing>" when it cannot be opened.
inline std::string readFile(const std::string& path) {
  std::string text;
  FILE* f = std::fopen(path.c_str(), "rb");
  if (f == nullptr) return "<missing>";
  char chunk[65536];
  size_t n;
  while ((n = std::fread(chunk, 1, sizeof chunk, f)) > 0) text.append(chunk, n);
  std::fclose(f);
  return text;
}

inline void writeFile(const std::string& path, const std::string& text) {
  FILE* f = std::fopen(path.c_str(), "wb");
  ASSERT_NE(f, nullptr);
  std::fwrite(text.data(), 1, text.size(), f);
  std::fclose(f);
}

// The names in a directory, without "." and "..", in the order read.
inline std::vector<std::string> entries(const std::string& dir) {
  std::vector<std::string> names;
  DIR* d = opendir(dir.c_str());
  while (dirent* e = d ? readdir(d) : nullptr) {
    if (std::strcmp(e->d_name, ".") != 0 && std::strcmp(e->d_name, "..") != 0)
      names.push_back(e->d_name);
  }
  if (d) closedir(d);
  return names;
}

// A 24-bit uncompressed TGA file's bytes: w x h pixels (w, h < 256) of
// one colour.
inline std::string tga(int w, int h, unsigned char r = 3, unsigned char g = 2,
                       unsigned char b = 1) {
  std::string bytes(18, '\0');
  bytes[2] = 2;
  bytes[12] = static_cast<char>(w);
  bytes[14] = static_cast<char>(h);
  bytes[16] = 24;
  for (int i = 0; i < w * h; ++i)
    bytes += {static_cast<char>(b), static_cast<char>(g), static_cast<char>(r)};
  return bytes;
}

}  // namespace test_files
