// Files for the unit tests: a fresh temporary directory, and whole files
// read and written as bytes.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdio>
#include <string>

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

}  // namespace test_files
