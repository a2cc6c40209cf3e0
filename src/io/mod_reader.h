// Reading .mod files into a Model.
#pragma once

#include <cstddef>
#include <string>

#include "model/records.h"

// One open (or one add child) loads at most this many child models, at
// any depth: nine files naming the next ten times would otherwise load
// 10^8 models. Children past it are dropped, with
// "too many child models in one load (limit 10000): <name>" as the reason.
constexpr int32_t kMaxModelsPerLoad = 10000;

// Runs of point and polygon lines at least this long are read on two
// threads (the numbers of the later part parsed on the second while the
// first part goes into the model); smaller files gain nothing from it.
// The result, messages and line numbers included, is the same either way.
constexpr size_t kModParallelBytes = size_t{256} << 10;

// Reads the file as a model with the given parent; `directory` overrides
// the directory part of the path when not null. Child models named in the
// file are loaded from the model's directory afterwards. Null on failure,
// with the reason (and the file and line) in LastError.
// parallelBytes 0 reads on this thread only.
Model* readModelFile(const char* path, Model* parent, const char* directory,
                     size_t parallelBytes = kModParallelBytes);

// The same over bytes in memory, named `path` (the fuzz target's entry;
// children are still looked up on disk relative to `directory`).
Model* readModelBytes(const char* bytes, size_t size, const char* path,
                      Model* parent, const char* directory,
                      size_t parallelBytes = kModParallelBytes);

// add child: reads "<name>.mod" (childModelPath) and attaches it to
// `parent` with that placement; the parent's bounds take in the placed
// child, as when the file is read. The child id; 0 when it was refused
// (LastError says why), with *loaded false when the file did not load.
int32_t addChildFromFile(Model* parent, const char* name, const float position[3],
                         const float scale[3], const float rotation[9],
                         const char* joint, float jointWeight, bool* loaded);

// The file a child model named `name` is loaded from: "<name>.mod" in the
// parent's directory, or as it stands when the name is an absolute path.
std::string childModelPath(const Model* parent, const char* name);
