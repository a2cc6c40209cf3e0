// Fuzz target for the .mod reader: any bytes give a model or a message,
// never a crash, a leak or an over-read. Children are looked up in a
// directory that does not exist, so the fuzzer cannot reach real files.
#include <cstdint>
#include <cstdlib>

#include "io/mod_reader.h"
#include "model/last_error.h"
#include "model/model.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Model* model = readModelBytes(reinterpret_cast<const char*>(data), size,
                                "fuzz.mod", nullptr, "/nonexistent-modelr-fuzz/");
  if (model == nullptr && lastErrorText() == nullptr) std::abort();
  freeModel(model);
  return 0;
}
