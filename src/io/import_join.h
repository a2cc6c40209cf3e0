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
  std::vector<uint32_t> slots;   // pairs: a first vertex + 1 (0 empty), its hash
  std::vector<uint32_t> recent;  // the same for the last few, by hash
  std::vector<uint32_t> firsts;  // the first vertices, in the order sent
  std::vector<uint32_t> sentAs;  // the mesh's vertex -> its place as sent
};

// Meshes with a vertex for every corner of their faces are joined; others
// share their vertices already.
bool joinsVertices(const aiMesh* mesh);
void joiningBegin(Joining* j, const aiMesh* mesh);
// The place the vertex was sent as, or UINT32_MAX when it is the first
// of its numbers (then it is to be sent next). `flags` (import_records.h)
// say which of its numbers count.
uint32_t joinVertex(Joining* j, const aiMesh* mesh, unsigned v, uint8_t flags);
