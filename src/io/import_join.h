// Joining the vertices of a mesh that are alike in every number of the
// file, in the reader's process, before they are sent. assimp gives each
// face of an OBJ, PLY or STL file vertices of its own; sent as they are,
// the importer would look up the same point for every corner. Alike in
// the file means alike in the model too, so the model is the same.
#pragma once

#include <assimp/mesh.h>

#include <cstdint>
#include <vector>

struct Joining {
  std::vector<uint32_t> hashes;  // per vertex
  // Per vertex: the first vertex alike it (itself when it is the first).
  std::vector<uint32_t> first;
  std::vector<uint32_t> sentAs;  // the mesh's vertex -> its place as sent
  size_t firsts = 0;             // vertices that are the first alike them
};

// Meshes with a vertex for every corner of their faces are joined; others
// share their vertices already.
bool joinsVertices(const aiMesh* mesh);
// Finds the first vertex alike each of the mesh's (`first`) and sizes
// `sentAs`. `flags` (import_records.h) say which of its numbers count. A
// big mesh is hashed and joined on two threads, each joining the vertices
// of half the hashes.
void joinMesh(Joining* j, const aiMesh* mesh, uint8_t flags);
