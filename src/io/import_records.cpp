#include "io/import_records.h"

#include <errno.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "model/last_error.h"

namespace {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "records are written and read on one machine, as they lie in memory");

// A quarter of the pipe's room: the reader writes while the importer
// reads, where a write as large as the pipe would wait for it to empty.
constexpr size_t kFlushBytes = 1 << 18;
// More than any reader sends in one record.
constexpr uint64_t kMostBytes = uint64_t{1} << 32;

// Writes all of it, or marks the output failed.
void writeAll(RecordOut* out, const char* data, size_t bytes) {
  size_t done = 0;
  while (!out->failed && done < bytes) {
    const ssize_t n = ::write(out->fd, data + done, bytes - done);
    if (n > 0) {
      done += static_cast<size_t>(n);
    } else if (n < 0 && errno != EINTR) {
      out->failed = true;
    }
  }
}

// A run of vertices or corners this long goes to the pipe from where it
// lies, not through the buffer.
constexpr size_t kStraightBytes = 1 << 16;

void put(RecordOut* out, const void* data, size_t bytes) {
  if (bytes >= kStraightBytes) {
    flushRecords(out);
    writeAll(out, static_cast<const char*>(data), bytes);
    return;
  }
  out->buffer.append(static_cast<const char*>(data), bytes);
  if (out->buffer.size() >= kFlushBytes) flushRecords(out);
}

void putByte(RecordOut* out, uint8_t value) { put(out, &value, 1); }
void putWord(RecordOut* out, uint32_t value) { put(out, &value, 4); }
void putText(RecordOut* out, const std::string& text) {
  putWord(out, static_cast<uint32_t>(text.size()));
  put(out, text.data(), text.size());
}

// Reading, buffered; false at the end of the data. Runs of vertices and
// corners are read straight into their place: the buffer holds only what
// lies between them.
constexpr size_t kReadAhead = 1 << 16;

struct RecordIn {
  int fd;
  int quietMilliseconds = -1;  // the longest wait for a byte; -1: no limit
  bool stalled = false;        // that wait ran out
  char buffer[kReadAhead];
  size_t at = 0, end = 0;

  // Whether a byte came before the wait ran out. A reader stuck without
  // spending processor time (blocked on a lock its broken heap holds,
  // say) never meets its time limit; this is what ends it.
  bool waitForBytes() {
    if (quietMilliseconds < 0) return true;
    using Clock = std::chrono::steady_clock;
    const Clock::time_point until = Clock::now() + std::chrono::milliseconds(quietMilliseconds);
    for (;;) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - Clock::now());
      pollfd waiting{fd, POLLIN, 0};
      const int ready = ::poll(&waiting, 1, left.count() > 0 ? static_cast<int>(left.count()) : 0);
      if (ready > 0) return true;
      if (ready < 0 && errno == EINTR) continue;
      if (ready < 0) return true;  // the read says what is wrong
      stalled = true;
      return false;
    }
  }

  // Up to `most` bytes into `to`; false at the end.
  bool readSome(char* to, size_t most, size_t* got) {
    for (;;) {
      if (!waitForBytes()) return false;
      const ssize_t n = ::read(fd, to, most);
      if (n > 0) {
        *got = static_cast<size_t>(n);
        return true;
      }
      if (n < 0 && errno == EINTR) continue;
      return false;
    }
  }

  bool take(void* data, size_t bytes) {
    char* to = static_cast<char*>(data);
    const size_t buffered = end - at < bytes ? end - at : bytes;
    std::memcpy(to, buffer + at, buffered);
    at += buffered;
    to += buffered;
    bytes -= buffered;
    while (bytes >= kReadAhead) {
      size_t n = 0;
      if (!readSome(to, bytes, &n)) return false;
      to += n;
      bytes -= n;
    }
    while (bytes > 0) {
      size_t n = 0;
      if (!readSome(buffer, kReadAhead, &n)) return false;
      at = 0;
      end = n;
      const size_t part = n < bytes ? n : bytes;
      std::memcpy(to, buffer, part);
      at = part;
      to += part;
      bytes -= part;
    }
    return true;
  }

  bool word(uint32_t* value) { return take(value, 4); }

  bool text(std::string* value) {
    uint32_t length = 0;
    if (!word(&length) || length > (1u << 20)) return false;
    value->resize(length);
    return length == 0 || take(&(*value)[0], length);
  }
};

}  // namespace

size_t vertexFloats(uint8_t flags) {
  return 3 + ((flags & kRecordNormals) ? 3 : 0) + ((flags & kRecordUvs) ? 2 : 0) +
         ((flags & kRecordColours) ? 4 : 0) + ((flags & kRecordFirsts) ? 1 : 0);
}

void putReserve(RecordOut* out, uint64_t points) {
  putByte(out, 'R');
  put(out, &points, 8);
}

void putLayer(RecordOut* out, const std::string& name, const ImportLook& look,
              bool uvs, bool colours) {
  putByte(out, 'L');
  putText(out, name);
  putByte(out, look.coloured ? 1 : 0);
  put(out, look.colour, sizeof look.colour);
  put(out, &look.opacity, 4);
  putByte(out, look.twoSided ? 1 : 0);
  putText(out, look.texture);
  putByte(out, uvs ? 1 : 0);
  putByte(out, colours ? 1 : 0);
}

void putMesh(RecordOut* out, uint8_t flags, uint32_t count, uint32_t triangles) {
  putByte(out, 'M');
  putByte(out, flags);
  putWord(out, count);
  putWord(out, triangles);
}

void putVertices(RecordOut* out, const float* values, uint32_t vertices, size_t floats) {
  putByte(out, 'V');
  putWord(out, vertices);
  put(out, values, size_t{vertices} * floats * sizeof(float));
}

void putTriangles(RecordOut* out, const uint32_t* corners, uint32_t triangles) {
  putByte(out, 'T');
  putWord(out, triangles);
  put(out, corners, size_t{triangles} * 12);
}

void putSegments(RecordOut* out, const uint32_t* ends, uint32_t segments) {
  putByte(out, 'S');
  putWord(out, segments);
  put(out, ends, size_t{segments} * 8);
}

void putEndMesh(RecordOut* out) { putByte(out, 'E'); }
void putEndLayer(RecordOut* out) { putByte(out, 'Z'); }
void putDone(RecordOut* out) { putByte(out, 'D'); }

void putError(RecordOut* out, const std::string& why) {
  putByte(out, 'X');
  putText(out, why);
}

void flushRecords(RecordOut* out) {
  writeAll(out, out->buffer.data(), out->buffer.size());
  out->buffer.clear();
}

namespace {

// The records into the builder (see replayRecords).
bool replayFrom(RecordIn& in, ImportBuilder* b, const char* imageDirectory,
                std::string* why) {
  std::vector<float> vertices;
  std::vector<int32_t> pointOf;
  uint8_t flags = 0;
  size_t stride = 0;      // floats a vertex of the mesh at hand
  uint64_t expected = 0;  // vertices it said it has
  std::vector<uint32_t> corners;
  bool inLayer = false;
  auto nonsense = [&](const char* what) {
    *why = std::string("the reader's records make no sense (") + what + ")";
    return false;
  };
  for (;;) {
    if (b->failed) {
      *why = lastErrorText() != nullptr ? lastErrorText() : "out of memory";
      return false;
    }
    uint8_t tag = 0;
    if (!in.take(&tag, 1)) return false;  // stopped short
    switch (tag) {
      case 'R': {
        uint64_t points = 0;
        if (!in.take(&points, 8)) return false;
        importReserve(b, points < (uint64_t{1} << 24) ? static_cast<size_t>(points) : size_t{1} << 24);
        break;
      }
      case 'L': {
        std::string name;
        ImportLook look;
        uint8_t coloured = 0, twoSided = 0, uvs = 0, colours = 0;
        if (!in.text(&name) || !in.take(&coloured, 1) ||
            !in.take(look.colour, sizeof look.colour) || !in.take(&look.opacity, 4) ||
            !in.take(&twoSided, 1) || !in.text(&look.texture) || !in.take(&uvs, 1) ||
            !in.take(&colours, 1))
          return false;
        if (inLayer) return nonsense("a layer in a layer");
        look.coloured = coloured != 0;
        look.twoSided = twoSided != 0;
        if (!std::isfinite(look.opacity)) look.opacity = 1.0f;
        for (float& c : look.colour)
          if (!std::isfinite(c)) c = 0.0f;
        importLayer(b, name.c_str(), look, uvs != 0, colours != 0, imageDirectory);
        inLayer = true;
        break;
      }
      case 'M': {
        uint32_t count = 0, triangles = 0;
        if (!in.take(&flags, 1) || !in.word(&count) || !in.word(&triangles)) return false;
        if (!inLayer) return nonsense("a mesh outside a layer");
        importExpectMesh(b, count, triangles, (flags & kRecordNormals) != 0);
        stride = vertexFloats(flags);
        expected = count;
        pointOf.clear();
        break;
      }
      case 'V': {
        uint32_t count = 0;
        if (!in.word(&count)) return false;
        if (!inLayer || stride == 0 || uint64_t{count} + pointOf.size() > expected)
          return nonsense("vertices");
        vertices.resize(size_t{count} * stride);
        if (count > 0 && !in.take(vertices.data(), vertices.size() * sizeof(float))) return false;
        // Without firsts, the position table's slots are fetched a few
        // vertices ahead: the table is far larger than the cache.
        constexpr uint32_t kAhead = 16;
        const bool firsts = (flags & kRecordFirsts) != 0;
        for (uint32_t v = 0; v < count && !b->failed; ++v) {
          if (!firsts && v + kAhead < count)
            importPrefetch(b, &vertices[size_t{v + kAhead} * stride]);
          const float* at = &vertices[size_t{v} * stride];
          const float* normal = nullptr;
          const float* uv = nullptr;
          const float* colour = nullptr;
          size_t k = 3;
          if (flags & kRecordNormals) {
            if (!std::isnan(at[k])) normal = at + k;
            k += 3;
          }
          if (flags & kRecordUvs) {
            uv = at + k;
            k += 2;
          }
          if (flags & kRecordColours) {
            colour = at + k;
            k += 4;
          }
          if (firsts) {
            uint32_t first = 0;
            std::memcpy(&first, at + k, 4);
            pointOf.push_back(importPlacedVertex(b, at, first, normal, uv, colour));
          } else {
            pointOf.push_back(importVertex(b, at, normal, uv, colour));
          }
        }
        break;
      }
      case 'T':
      case 'S': {
        uint32_t count = 0;
        if (!in.word(&count)) return false;
        const size_t per = tag == 'T' ? 3 : 2;
        if (!inLayer || uint64_t{count} * per * 4 > kMostBytes) return nonsense("faces");
        // Run by run, the corners only of vertices already sent.
        corners.resize(size_t{count} * per);
        if (count > 0 && !in.take(corners.data(), corners.size() * 4)) return false;
        for (uint32_t corner : corners)
          if (corner >= pointOf.size()) return nonsense("a corner past the vertices");
        if (per == 3) importTriangles(b, pointOf.data(), corners.data(), count);
        for (size_t i = 0; per == 2 && i < corners.size() && !b->failed; i += 2)
          importSegment(b, pointOf[corners[i]], pointOf[corners[i + 1]]);
        break;
      }
      case 'E':
        importEndLines(b);
        break;
      case 'Z':
        if (!inLayer) return nonsense("the end of no layer");
        importEndLayer(b);
        inLayer = false;
        break;
      case 'D':
        if (b->failed) continue;  // said at the top
        if (inLayer) return nonsense("the end inside a layer");
        return true;
      case 'X': {
        std::string text;
        if (!in.text(&text)) return false;
        *why = text;
        return false;
      }
      default:
        return nonsense("an unknown record");
    }
  }
}

}  // namespace

bool replayRecords(int fd, ImportBuilder* b, const char* imageDirectory,
                   std::string* why, unsigned quietSeconds, bool* stalled) {
  std::unique_ptr<RecordIn> owned(new RecordIn);
  RecordIn& in = *owned;
  in.fd = fd;
  if (quietSeconds > 0)
    in.quietMilliseconds = static_cast<int>(std::min(quietSeconds, 86400u) * 1000u);
  why->clear();
  const bool done = replayFrom(in, b, imageDirectory, why);
  if (!done && in.stalled)
    *why = "the reader stopped answering (" + std::to_string(quietSeconds) + " s without a word)";
  if (stalled != nullptr) *stalled = !done && in.stalled;
  return done;
}
