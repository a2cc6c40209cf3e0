#include "io/side_files.h"

#include <sys/stat.h>

#include <cstdio>

#include "io/read_file.h"

namespace {

bool isAbsolute(const char* file) { return file[0] == '/' || file[0] == '\\'; }

std::string inDirectory(const char* directory, const char* file) {
  std::string path = directory;
  if (!path.empty() && path.back() != '/' && path.back() != '\\') path += '/';
  return path + file;
}

}  // namespace

std::string besideModel(const char* directory, const char* file,
                        const char* probe) {
  if (file == nullptr) return std::string();
  if (directory == nullptr || directory[0] == '\0' || isAbsolute(file))
    return file;
  struct stat info;
  const std::string there = inDirectory(directory, probe);
  if (::stat(there.c_str(), &info) == 0 && S_ISREG(info.st_mode))
    return inDirectory(directory, file);
  return file;
}

bool readTextBesideModel(const char* directory, const char* file,
                         std::string* text, std::string* why) {
  const std::string path = besideModel(directory, file, file);
  ReadOpen refusal = kReadOpened;
  FILE* in = openForReading(path.c_str(), &refusal);
  if (in == nullptr) {
    *why = std::string(readRefusalWords(refusal)) + ": " + file;
    return false;
  }
  text->clear();
  char buffer[4096];
  size_t got = 0;
  while ((got = std::fread(buffer, 1, sizeof buffer, in)) > 0) text->append(buffer, got);
  const bool ok = !std::ferror(in);
  std::fclose(in);
  if (!ok) *why = std::string("could not read: ") + file;
  return ok;
}
