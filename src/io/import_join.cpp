#include "io/import_join.h"

#include <cstring>
#include <new>
#include <system_error>
#include <thread>

#include "io/import_records.h"
#include "model/large_pages.h"

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

// Vertices of one part of the hashes (those whose top bit is `part`, or
// all when `parts` is 1), in order: each finds the first alike it through
// an open-addressed table of first vertices, whose slots hold the vertex + 1
// and its hash, so that most vertices unlike it are told apart without
// reading theirs.
// Returns how many are the first alike them.
size_t joinPart(Joining* j, const aiMesh* mesh, uint8_t flags, uint32_t part, uint32_t parts) {
  const unsigned n = mesh->mNumVertices;
  size_t capacity = 1024;
  while (capacity < n / 4 / parts) capacity *= 2;
  std::vector<uint32_t> slots;
  resizeLarge(&slots, 2 * capacity);
  size_t firsts = 0;
  auto place = [&](std::vector<uint32_t>& table, uint32_t v, uint32_t hash) {
    const size_t mask = table.size() / 2 - 1;
    size_t b = hash & mask;
    while (table[2 * b] != 0) b = (b + 1) & mask;
    table[2 * b] = v + 1;
    table[2 * b + 1] = hash;
  };
  const uint32_t* hashes = j->hashes.data();
  uint32_t* first = j->first.data();
  for (unsigned v = 0; v < n; ++v) {
    const uint32_t hash = hashes[v];
    if (parts > 1 && (hash >> 31) != part) continue;
    const size_t mask = slots.size() / 2 - 1;
    bool found = false;
    for (size_t b = hash & mask; slots[2 * b] != 0; b = (b + 1) & mask) {
      const uint32_t f = slots[2 * b] - 1;
      if (slots[2 * b + 1] == hash && alike(mesh, f, v, flags)) {
        first[v] = f;
        found = true;
        break;
      }
    }
    if (found) continue;
    first[v] = v;
    if (2 * ++firsts > capacity) {
      // Half full: twice the room, every first vertex placed again.
      capacity *= 2;
      std::vector<uint32_t> grown;
      resizeLarge(&grown, 2 * capacity);
      for (size_t b = 0; b < slots.size() / 2; ++b)
        if (slots[2 * b] != 0) place(grown, slots[2 * b] - 1, slots[2 * b + 1]);
      slots.swap(grown);
    }
    place(slots, v, hash);
  }
  return firsts;
}

}  // namespace

void joinMesh(Joining* j, const aiMesh* mesh, uint8_t flags) {
  const unsigned n = mesh->mNumVertices;
  for (std::vector<uint32_t>* v : {&j->hashes, &j->first, &j->sentAs}) resizeLarge(v, n);
  auto hash = [&](unsigned begin, unsigned end) {
    for (unsigned v = begin; v < end; ++v) j->hashes[v] = hashOf(mesh, v, flags);
  };
  constexpr unsigned kWorthASecondThread = 1u << 16;
  if (n >= kWorthASecondThread) {
    try {
      std::thread hashing(hash, n / 2, n);
      hash(0, n / 2);
      hashing.join();
      bool short1 = false, short0 = false;
      size_t firsts1 = 0, firsts0 = 0;
      std::thread joining([&] {
        try {
          firsts1 = joinPart(j, mesh, flags, 1, 2);
        } catch (const std::bad_alloc&) {
          short1 = true;
        }
      });
      try {
        firsts0 = joinPart(j, mesh, flags, 0, 2);
      } catch (const std::bad_alloc&) {
        short0 = true;
      }
      joining.join();
      if (short0 || short1) throw std::bad_alloc();
      j->firsts = firsts0 + firsts1;
      return;
    } catch (const std::system_error&) {
      // No thread to be had: one does it all (the hashes made are kept).
    }
  }
  hash(0, n);
  j->firsts = joinPart(j, mesh, flags, 0, 1);
}

bool joinsVertices(const aiMesh* mesh) {
  return mesh->mNumFaces > 0 && mesh->mNumVertices >= 3ull * mesh->mNumFaces;
}
