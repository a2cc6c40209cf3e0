#include "io/mod_reader.h"

#include "model/last_error.h"

// The reader lands with the file commands; until then no file is found.
Model* readModelFile(const char* path, Model*, const char*) {
  lastErrorReportf("could not find: %s", path ? path : "");
  return nullptr;
}

Model* readModelBytes(const char*, size_t, const char* path, Model*,
                      const char*) {
  lastErrorReportf("could not find: %s", path);
  return nullptr;
}
