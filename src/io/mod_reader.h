// Reading .mod files into a Model.
#pragma once

#include <cstddef>
#include <string>

#include "model/records.h"

// Reads the file as a model with the given parent; `directory` overrides
// the directory part of the path when not null. Child models named in the
// file are loaded from the model's directory afterwards. Null on failure,
// with the reason (and the file and line) in LastError.
Model* readModelFile(const char* path, Model* parent, const char* directory);

// The same over bytes in memory, named `path` (the fuzz target's entry;
// children are still looked up on disk relative to `directory`).
Model* readModelBytes(const char* bytes, size_t size, const char* path,
                      Model* parent, const char* directory);

// The file a child model named `name` is loaded from: "<name>.mod" in the
// parent's directory, or as it stands when the name is an absolute path.
std::string childModelPath(const Model* parent, const char* name);
