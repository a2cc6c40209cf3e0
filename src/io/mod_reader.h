// Reading .mod files into a Model.
#pragma once

#include "model/records.h"

// Reads the file as a model with the given parent; `directory` overrides
// the directory part of the path when not null. Null on failure, with the
// reason (and the file and line) in LastError.
Model* readModelFile(const char* path, Model* parent, const char* directory);
