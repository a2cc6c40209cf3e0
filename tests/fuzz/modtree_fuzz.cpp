// Fuzz target for reading a .mod file from disk with its children: the
// input is cut at the first line "---" into a top file and a child file,
// both written into a fresh directory as top.mod and part.mod, and the top
// file is read through the streamed reader, which loads part.mod (and any
// loop back to top.mod) as children. Any bytes give a model or a message,
// never a crash, a leak or an over-read.
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "io/mod_reader.h"
#include "model/last_error.h"
#include "model/model.h"

namespace {

bool writeFile(const std::string& path, const uint8_t* data, size_t size) {
  FILE* f = std::fopen(path.c_str(), "wb");
  if (f == nullptr) return false;
  const bool ok = size == 0 || std::fwrite(data, 1, size, f) == size;
  return std::fclose(f) == 0 && ok;
}

const std::string& directory() {
  static std::string dir = [] {
    char pattern[] = "/tmp/modelr-modtree-XXXXXX";
    const char* made = mkdtemp(pattern);
    if (made == nullptr) std::abort();
    static std::string kept = made;
    std::atexit([] {
      std::error_code ignored;
      std::filesystem::remove_all(kept, ignored);
    });
    return std::string(made) + "/";
  }();
  return dir;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const char* bytes = reinterpret_cast<const char*>(data);
  size_t cut = size, rest = size;
  for (size_t i = 0; data != nullptr && i + 4 <= size; ++i) {
    if ((i == 0 || bytes[i - 1] == '\n') && std::memcmp(bytes + i, "---\n", 4) == 0) {
      cut = i;
      rest = i + 4;
      break;
    }
  }
  const std::string top = directory() + "top.mod";
  const std::string part = directory() + "part.mod";
  if (!writeFile(top, data, cut) || !writeFile(part, data ? data + rest : data, size - rest))
    std::abort();
  Model* model = readModelFile(top.c_str(), nullptr, nullptr);
  if (model == nullptr && lastErrorText() == nullptr) std::abort();
  freeModel(model);
  return 0;
}
