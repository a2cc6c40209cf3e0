// Importing other tools' files (OBJ, STL, PLY, glTF, FBX, COLLADA, 3DS,
// OFF and whatever else assimp reads) into a new model built aside, so
// that a file that does not read changes nothing.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "io/import_build.h"
#include "model/records.h"

struct ImportReport {
  ImportCounts counts;
  std::vector<std::string> notes;  // status lines: pictures left out, ...
};

// Reads the file into a new model named after it without its extension,
// in the file's directory. Each mesh a node places becomes a layer (meshes
// of one node with one material share a layer), named after the node,
// else the mesh, else the material, else the file; the node tree is
// flattened with its transforms, and y-up files are turned into the
// model's z-up space by (x, y, z) -> (x, -z, y), which undoes the y-up
// exports' turn. Files are taken as y-up (as assimp presents them: it
// turns formats it knows to be z-up, such as 3DS and COLLADA with Z_UP,
// itself) except 3MF and AMF, which are z-up by their definition, and
// files that say their up axis is z (FBX). `imageDirectory` goes in front of the pictures' relative
// file names (null or "": none). Null with "could not import: <file>:
// <reason>" in LastError; never throws.
Model* importModelFile(const char* path, const char* imageDirectory,
                       ImportReport* report);

// The same over bytes in memory, the format told by `extension` ("obj",
// "glb", ...; files next to it are not read). The fuzz target's entry.
Model* importModelBytes(const void* data, size_t size, const char* extension,
                        ImportReport* report);

// The part of a path after its directory and before its last ".".
std::string importedModelName(const char* path);
