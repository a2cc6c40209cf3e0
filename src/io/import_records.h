// The records a reader process sends the importer: layers, meshes of
// placed vertices, their triangles and segments, in the order the builder
// (import_build.h) is to be told them. assimp reads files in a process of
// its own (import_child.h), so that a reader that crashes on a broken file
// takes only that process with it; these records are all that comes back,
// and the importer trusts nothing in them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "io/import_build.h"

// Vertex layout of a mesh: position, then what the flags add.
constexpr uint8_t kRecordNormals = 1;  // 3 floats; NaN x: this vertex has none
constexpr uint8_t kRecordUvs = 2;      // 2 floats, top-left origin
constexpr uint8_t kRecordColours = 4;  // 4 floats, display colour
// 1 word in a float's place: the number (from 0, over every mesh sent) of
// the first vertex sent at this vertex's position (importPlacedVertex).
constexpr uint8_t kRecordFirsts = 8;

// Buffered writing to a pipe (the reader's side).
struct RecordOut {
  int fd = -1;
  std::string buffer;
  bool failed = false;  // the other end is gone
};

void putReserve(RecordOut* out, uint64_t points);
void putLayer(RecordOut* out, const std::string& name, const ImportLook& look,
              bool uvs, bool colours);
// A mesh of `count` vertices, vertexFloats(flags) floats each; they follow
// in runs (putVertices), then its triangles and segments, by the
// vertices' places (0-based), in runs too. Runs of a few thousand let the
// importer build while the reader sends. `triangles`: how many triangles
// it will send (0 when not known), for which the importer makes room
// while the reader is still busy with the vertices.
void putMesh(RecordOut* out, uint8_t flags, uint32_t count, uint32_t triangles = 0);
void putVertices(RecordOut* out, const float* values, uint32_t vertices, size_t floats);
void putTriangles(RecordOut* out, const uint32_t* corners, uint32_t triangles);
void putSegments(RecordOut* out, const uint32_t* ends, uint32_t segments);
void putEndMesh(RecordOut* out);
void putEndLayer(RecordOut* out);
void putDone(RecordOut* out);
void putError(RecordOut* out, const std::string& why);
void flushRecords(RecordOut* out);

// Floats a vertex of a mesh with these flags has.
size_t vertexFloats(uint8_t flags);

// Reads records from `fd` to their end into the builder. True when the
// reader said it was done; false with *why set when it reported an error
// ("reader: <its reason>"), the records made no sense, or they stopped
// short (*why then empty: the caller knows why the reader stopped).
// `quietSeconds` (0: none) is the longest wait for the reader's next
// bytes; past it, false with "the reader stopped answering (<n> s without
// a word)" and *stalled (when given) set, and the caller ends the reader.
bool replayRecords(int fd, ImportBuilder* b, const char* imageDirectory,
                   std::string* why, unsigned quietSeconds = 0,
                   bool* stalled = nullptr);
