// Writing a Model as a .mod file.
#pragma once

#include <string>

#include "model/records.h"

// The file a model is saved as: `name`, else "untitled.mod" for null or
// "", with ".mod" appended unless the name ends in a three-letter
// extension (see savedFileName).
std::string modelFileName(const char* name);

// Writes the model under modelFileName(name), or under its own name when
// `name` is null, through a temporary file, so the old file stays whole
// when anything fails. The model is only read: derived data the caller
// wants saved must be flushed first. False when the file could
// not be written (LastError says why).
bool writeModelFile(const Model* model, const char* name);
