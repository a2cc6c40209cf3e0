#include "io/import_join.h"

#include <cstring>

#include "io/import_records.h"

namespace {

// The hash of the vertex's numbers in the file, as far as the mesh's
// flags use them.
inline void mixWords(uint64_t* h, const void* from, size_t words) {
  uint32_t w[4];
  std::memcpy(w, from, words * 4);
  for (size_t i = 0; i < words; ++i) {
    *h ^= w[i];
    *h *= 0xff51afd7ed558ccdull;
    *h ^= *h >> 29;
  }
}

uint32_t hashOf(const aiMesh* mesh, unsigned v, uint8_t flags) {
  uint64_t h = 0x9e3779b97f4a7c15ull;
  mixWords(&h, &mesh->mVertices[v], 3);
  if (flags & kRecordNormals) mixWords(&h, &mesh->mNormals[v], 3);
  if (flags & kRecordUvs) mixWords(&h, &mesh->mTextureCoords[0][v], 2);
  if (flags & kRecordColours) mixWords(&h, &mesh->mColors[0][v], 4);
  return static_cast<uint32_t>(h ^ (h >> 32));
}

// Whether two vertices have the same bits in every number that counts.
inline bool alike(const aiMesh* mesh, unsigned a, unsigned b, uint8_t flags) {
  if (std::memcmp(&mesh->mVertices[a], &mesh->mVertices[b], 12) != 0) return false;
  if ((flags & kRecordNormals) && std::memcmp(&mesh->mNormals[a], &mesh->mNormals[b], 12) != 0)
    return false;
  if ((flags & kRecordUvs) &&
      std::memcmp(&mesh->mTextureCoords[0][a], &mesh->mTextureCoords[0][b], 8) != 0)
    return false;
  return !(flags & kRecordColours) ||
         std::memcmp(&mesh->mColors[0][a], &mesh->mColors[0][b], 16) == 0;
}

// Slots hold the first vertex + 1 and its hash, so that most vertices
// unlike it are told apart without reading theirs.
void joiningPlace(Joining* j, uint32_t first, uint32_t hash) {
  const size_t mask = j->slots.size() / 2 - 1;
  size_t b = hash & mask;
  while (j->slots[2 * b] != 0) b = (b + 1) & mask;
  j->slots[2 * b] = first + 1;
  j->slots[2 * b + 1] = hash;
}

}  // namespace

uint32_t joinVertex(Joining* j, const aiMesh* mesh, unsigned v, uint8_t flags) {
  const uint32_t hash = hashOf(mesh, v, flags);
  uint32_t& recent = j->recent[hash & (j->recent.size() - 1)];
  if (recent != 0 && alike(mesh, recent - 1, v, flags)) return j->sentAs[recent - 1];
  const size_t mask = j->slots.size() / 2 - 1;
  for (size_t b = hash & mask; j->slots[2 * b] != 0; b = (b + 1) & mask) {
    const uint32_t first = j->slots[2 * b] - 1;
    if (j->slots[2 * b + 1] == hash && alike(mesh, first, v, flags)) {
      recent = first + 1;
      return j->sentAs[first];
    }
  }
  recent = v + 1;
  j->firsts.push_back(v);
  if (4 * j->firsts.size() > j->slots.size()) {
    j->slots.assign(2 * j->slots.size(), 0);
    for (uint32_t first : j->firsts) joiningPlace(j, first, hashOf(mesh, first, flags));
  } else {
    joiningPlace(j, v, hash);
  }
  return UINT32_MAX;
}

bool joinsVertices(const aiMesh* mesh) {
  return mesh->mNumFaces > 0 && mesh->mNumVertices >= 3ull * mesh->mNumFaces;
}

void joiningBegin(Joining* j, const aiMesh* mesh) {
  size_t slots = 1024;
  while (slots < mesh->mNumVertices / 4) slots *= 2;
  j->slots.assign(2 * slots, 0);
  j->recent.assign(4096, 0);
  j->firsts.clear();
  j->firsts.reserve(mesh->mNumVertices / 4);
  j->sentAs.resize(mesh->mNumVertices);
}

