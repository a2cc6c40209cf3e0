#include "io/import_join.h"

#include <cstring>

#include "io/import_records.h"

namespace {

// The vertex's numbers in the file, as far as the mesh's flags use them.
size_t sourceWords(const aiMesh* mesh, unsigned v, uint8_t flags, uint32_t words[12]) {
  size_t n = 0;
  auto add = [&](const void* from, size_t floats) {
    std::memcpy(words + n, from, floats * 4);
    n += floats;
  };
  add(&mesh->mVertices[v], 3);
  if (flags & kRecordNormals) add(&mesh->mNormals[v], 3);
  if (flags & kRecordUvs) add(&mesh->mTextureCoords[0][v], 2);
  if (flags & kRecordColours) add(&mesh->mColors[0][v], 4);
  return n;
}

uint32_t hashWords(const uint32_t* words, size_t n) {
  uint64_t h = 0x9e3779b97f4a7c15ull;
  for (size_t i = 0; i < n; ++i) {
    h ^= words[i];
    h *= 0xff51afd7ed558ccdull;
    h ^= h >> 29;
  }
  return static_cast<uint32_t>(h ^ (h >> 32));
}

bool sameWords(const aiMesh* mesh, unsigned v, uint8_t flags, const uint32_t* words,
               size_t n) {
  uint32_t other[12];
  sourceWords(mesh, v, flags, other);
  return std::memcmp(other, words, n * 4) == 0;
}

void joiningPlace(Joining* j, uint32_t first, uint32_t hash) {
  const size_t mask = j->slots.size() - 1;
  size_t b = hash & mask;
  while (j->slots[b] != 0) b = (b + 1) & mask;
  j->slots[b] = first + 1;
}

}  // namespace

uint32_t joinVertex(Joining* j, const aiMesh* mesh, unsigned v, uint8_t flags) {
  uint32_t words[12];
  const size_t n = sourceWords(mesh, v, flags, words);
  const uint32_t hash = hashWords(words, n);
  uint32_t& recent = j->recent[hash & (j->recent.size() - 1)];
  if (recent != 0 && sameWords(mesh, recent - 1, flags, words, n))
    return j->sentAs[recent - 1];
  const size_t mask = j->slots.size() - 1;
  for (size_t b = hash & mask; j->slots[b] != 0; b = (b + 1) & mask) {
    const uint32_t first = j->slots[b] - 1;
    if (sameWords(mesh, first, flags, words, n)) {
      recent = first + 1;
      return j->sentAs[first];
    }
  }
  recent = v + 1;
  j->firsts.push_back(v);
  if (2 * j->firsts.size() > j->slots.size()) {
    j->slots.assign(2 * j->slots.size(), 0);
    for (uint32_t first : j->firsts) {
      sourceWords(mesh, first, flags, words);
      joiningPlace(j, first, hashWords(words, n));
    }
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
  j->slots.assign(slots, 0);
  j->recent.assign(4096, 0);
  j->firsts.clear();
  j->firsts.reserve(mesh->mNumVertices / 4);
  j->sentAs.resize(mesh->mNumVertices);
}

