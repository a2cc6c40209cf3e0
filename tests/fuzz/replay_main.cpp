// Stand-in for libFuzzer where the compiler has none: feeds every file named
// on the command line, and every file in a named directory, to the fuzz
// target once. Used by ctest to replay the corpora.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace fs = std::filesystem;

namespace {

bool replayFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    std::fprintf(stderr, "cannot read %s\n", path.c_str());
    return false;
  }
  std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                             std::istreambuf_iterator<char>());
  // An exact-size copy: reading one byte past it is a real fault.
  LLVMFuzzerTestOneInput(bytes.empty() ? nullptr : bytes.data(), bytes.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  int replayed = 0;
  bool ok = true;
  for (int i = 1; i < argc; ++i) {
    std::error_code ec;
    if (fs::is_directory(argv[i], ec)) {
      for (const auto& entry : fs::directory_iterator(argv[i], ec)) {
        if (!entry.is_regular_file(ec)) continue;
        ok = replayFile(entry.path()) && ok;
        ++replayed;
      }
      if (ec) {
        std::fprintf(stderr, "cannot list %s\n", argv[i]);
        ok = false;
      }
    } else {
      ok = replayFile(argv[i]) && ok;
      ++replayed;
    }
  }
  std::printf("replayed %d inputs\n", replayed);
  return ok && replayed > 0 ? 0 : 1;
}
