// Fuzz target for the importer: the first byte chooses the format the rest
// is read as (assimp's readers have a long history of crashes on broken
// files; the process must survive them), no file beside it is read. Any
// input gives a model with something in it or a "could not import" reason.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "io/import_scene.h"
#include "io/import_server.h"
#include "model/last_error.h"
#include "model/model.h"

namespace {

// The formats of the default set, by the first byte modulo their count.
const char* const kExtensions[] = {"obj", "stl", "ply", "glb", "gltf", "fbx",
                                   "dae", "3ds", "off", "x3d", "3mf"};
constexpr size_t kCount = sizeof kExtensions / sizeof kExtensions[0];

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  // A process forked per input spends far more time on the fork than on
  // a small file; the reader process reads on until an input kills it.
  setReaderServerReadsItself(true);
  const char* extension = kExtensions[data[0] % kCount];
  lastErrorClear();
  ImportReport report;
  Model* model = importModelBytes(data + 1, size - 1, extension, &report);
  if (model != nullptr) {
    if (report.counts.triangles + report.counts.lines == 0) std::abort();
    freeModel(model);
  } else if (lastErrorText() == nullptr ||
             std::strncmp(lastErrorText(), "could not import: ", 18) != 0) {
    std::abort();
  }
  return 0;
}
