// PLY, binary little-endian, in the y-up file space: the distinct points
// of each layer (and of its reflection) as vertices with their colours,
// the triangles as faces. Lines have no place in it and are left out.
#include "io/export_ply.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "io/export_scene.h"
#include "io/text_out.h"
#include "model/last_error.h"
#include "model/transform.h"

namespace {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "binary writers copy floats and integers as they lie in memory");

struct PlyPlan {
  int64_t faces = 0;
  int32_t halves = 0;
  HalfPoints points;  // the last half's, kept for a one-half export
  std::vector<int32_t> slots;     // every half's points, one after another:
                                  // the vertices
  std::vector<size_t> perHalf;    // how many of them each half has
  bool normals = false;      // some corner has a stored normal
  bool uvs = false;          // some layer has an image with uvees
  std::string texture;       // the first such image's file
};

bool plan(const std::vector<PlacedModel>& placed, PlyPlan* p) {
  p->faces = exportedTriangles(placed);
  HalfPoints& points = p->points;
  return forEachFlatHalf(placed, [&](const HalfView& v) {
    if (!collectHalfPoints(v, false, &points)) return false;
    ++p->halves;
    p->slots.insert(p->slots.end(), points.slots.begin(), points.slots.end());
    p->perHalf.push_back(points.slots.size());
    p->normals = p->normals || halfHasStoredNormals(v);
    if (halfHasUvees(v)) {
      if (!p->uvs && v.image->main.file[0] != '\0') p->texture = v.image->main.file;
      p->uvs = true;
    }
    return true;
  });
}

void header(TextOut* out, const PlyPlan& p, const char* title) {
  outLiteral(out, "ply\nformat binary_little_endian 1.0\ncomment modelr export: ");
  // A comment ends at the line's end.
  std::string name = title;
  for (char& c : name) if (c == '\n' || c == '\r') c = ' ';
  outText(out, name.c_str());
  outChar(out, '\n');
  if (!p.texture.empty() && p.texture.find_first_of(" \t\r\n") == std::string::npos) {
    outLiteral(out, "comment TextureFile ");
    outText(out, p.texture.c_str());
    outChar(out, '\n');
  }
  outLiteral(out, "element vertex ");
  outInt(out, static_cast<int32_t>(p.slots.size()));
  outLiteral(out, "\nproperty float x\nproperty float y\nproperty float z\n");
  if (p.normals)
    outLiteral(out, "property float nx\nproperty float ny\nproperty float nz\n");
  outLiteral(out,
             "property uchar red\nproperty uchar green\nproperty uchar blue\n"
             "property uchar alpha\n");
  if (p.uvs) outLiteral(out, "property float s\nproperty float t\n");
  outLiteral(out, "element face ");
  outInt(out, static_cast<int32_t>(p.faces));
  outLiteral(out, "\nproperty list uchar int vertex_indices\nend_header\n");
}

inline unsigned char toByte(float c) {
  return static_cast<unsigned char>(std::lround(c * 255.0f));
}

// Records gathered in a block of our own: they are small and of fixed
// shape, and copied one by one they cost more than making them.
struct Chunk {
  explicit Chunk(TextOut* to) : out(to) {}
  TextOut* out;
  size_t used = 0;
  char bytes[1 << 16];
  char* room(size_t n) {
    if (sizeof bytes - used < n) flush();
    return bytes + used;
  }
  void flush() {
    outChars(out, bytes, used);
    used = 0;
  }
};

constexpr size_t kLongestVertex = 12 + 12 + 4 + 8;

}  // namespace

bool writePly(const Model* model, const char* path, const char* title) {
  const std::vector<PlacedModel> placed = placeModels(model);
  PlyPlan p;
  if (!plan(placed, &p)) return false;
  if (p.slots.size() > size_t{INT32_MAX} || p.faces > INT32_MAX) {
    lastErrorReportf("could not write: %s (too many vertices or faces)", path);
    return false;
  }
  TextOut out;
  if (!textOutOpen(&out, path)) return false;
  header(&out, p, title);
  Chunk chunk(&out);

  // Each half's points again as the plan found them; with one half they
  // are still at hand.
  HalfPoints& points = p.points;
  auto adopt = [&](const HalfView& v, size_t half, size_t first) {
    if (p.halves > 1) adoptHalfPoints(v, p.slots.data() + first, p.perHalf[half], &points);
  };
  std::vector<float> normals;
  size_t half = 0, first = 0;
  forEachFlatHalf(placed, [&](const HalfView& v) {
    adopt(v, half, first);
    first += p.perHalf[half++];
    if (p.normals) halfVertexNormals(v, points, &normals);
    const bool uvs = halfHasUvees(v);
    // Without colour entries every vertex of the half has the layer's.
    const bool oneColour = !halfHasColourEntries(v) && !points.slots.empty();
    unsigned char fixed[4] = {0, 0, 0, 0};
    if (oneColour) {
      float rgba[4];
      cornerColour(v, slotNumber(v, points.slots[0]), rgba);
      for (int k = 0; k < 4; ++k) fixed[k] = toByte(rgba[k]);
    }
    for (size_t i = 0; i < points.slots.size(); ++i) {
      const int32_t slot = points.slots[i];
      char* record = chunk.room(kLongestVertex);
      size_t used = 0;
      float xyz[3];
      slotPosition(v, slot, xyz);
      if (!allFinite(xyz, 3)) out.nonFinite = true;
      std::memcpy(record, xyz, 12);
      used = 12;
      if (p.normals) {
        std::memcpy(record + used, &normals[3 * i], 12);
        used += 12;
      }
      if (oneColour) {
        std::memcpy(record + used, fixed, 4);
        used += 4;
      } else {
        float rgba[4];
        cornerColour(v, slotNumber(v, slot), rgba);
        for (int k = 0; k < 4; ++k) record[used++] = static_cast<char>(toByte(rgba[k]));
      }
      if (p.uvs) {
        float uv[2] = {0.0f, 0.0f};
        if (uvs) cornerUv(v, slotNumber(v, slot), uv);
        // Counted from the bottom of the picture, as readers of PLY do.
        uv[1] = 1.0f - uv[1];
        std::memcpy(record + used, uv, 8);
        used += 8;
      }
      chunk.used += used;
    }
    return true;
  });

  int32_t base = 0;
  half = first = 0;
  forEachFlatHalf(placed, [&](const HalfView& v) {
    adopt(v, half, first);
    first += p.perHalf[half++];
    forEachHalfTriangle(v, [&](int32_t a, int32_t b, int32_t c) {
      char* record = chunk.room(13);
      record[0] = 3;
      const int32_t corners[3] = {base + halfPointIndex(v, points, a),
                                  base + halfPointIndex(v, points, b),
                                  base + halfPointIndex(v, points, c)};
      std::memcpy(record + 1, corners, 12);
      chunk.used += 13;
    });
    base += static_cast<int32_t>(points.slots.size());
    return true;
  });
  chunk.flush();
  return textOutCommit(&out);
}
