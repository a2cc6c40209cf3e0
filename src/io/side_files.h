// Files a model names for its looks (textures, shader programs): looked
// for in the model's directory first, as child models are, then as given,
// so that a model and its files move together.
#pragma once

#include <string>

// The path to read `file` named by a model in `directory` (with or
// without its trailing separator; may be empty): the directory's copy
// when `probe` (the file itself, or a file that stands for it, such as a
// cube map's first face) is there, else the name as given.
std::string besideModel(const char* directory, const char* file,
                        const char* probe);

// The whole text of such a file; false with the reason ("could not find:
// <file>", "permission denied: <file>", "not a regular file: <file>").
bool readTextBesideModel(const char* directory, const char* file,
                         std::string* text, std::string* why);
