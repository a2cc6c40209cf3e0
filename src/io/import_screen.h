// Looks at a file before assimp does. Some of assimp's readers never
// return from some broken files, or take all the memory a count in a
// header asks for; the headers they trust are checked here first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// How much of the file's start the check wants to see.
constexpr size_t kScreenBytes = 64 * 1024;

// Null when the file may go to assimp, else the reason it may not: "broken
// PLY header" (PLY: printable lines from "ply" to a whole "end_header"
// line), "not a PLY file", "a count in the header is larger than the file"
// (PLY elements, OFF vertices and faces: each takes at least one byte), "a
// length in the header is larger than the file" (glb: its total length
// and its first chunk's).
// `head` is the file's start (up to kScreenBytes), `fileSize` its length,
// `extension` lower case.
const char* screenImport(const unsigned char* head, size_t headSize,
                         uint64_t fileSize, const std::string& extension);

// glTF's JSON (a .gltf file, or a .glb file's first chunk): null, or the
// reason assimp may not read it ("glTF line loops are not read": its
// reader dereferences null on a primitive of mode 2).
const char* screenGltf(const char* json, size_t size);
// Where a .glb file's JSON chunk lies, from its first 20 bytes; false when
// they are no glb header.
bool glbJson(const unsigned char* head, size_t size, uint64_t* offset,
             uint64_t* length);
