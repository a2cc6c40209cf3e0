#include "view/layer_cache.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "model/geometry.h"

namespace {

// Smoothing leaves edges sharper than 60 degrees sharp (boxes stay boxes).
constexpr float kCreaseCosine = 0.5f;
const uint8_t kNormalLineColour[4] = {0, 255, 255, 255};

uint8_t toByte(float c) {
  if (!(c > 0.0f)) return 0;  // NaN too
  if (c >= 1.0f) return 255;
  return static_cast<uint8_t>(c * 255.0f + 0.5f);
}

void normalise(float v[3]) {
  const float length = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
  if (length > 0.0f && std::isfinite(length)) {
    v[0] /= length;
    v[1] /= length;
    v[2] /= length;
  } else {
    v[0] = 0.0f;
    v[1] = 0.0f;
    v[2] = 1.0f;
  }
}

// Slot of the point in the model's table: the per-slot arrays (posed
// positions, accumulated normals) are indexed by it.
int32_t pointSlot(const Model* model, const Point* p) {
  const auto* base = model->points.elements;
  return static_cast<int32_t>(
      (reinterpret_cast<const unsigned char*>(p) - base) /
      static_cast<ptrdiff_t>(sizeof(Point)));
}

struct Corner {
  int32_t number;
  int32_t slot;
  float position[3];
};

// Looks up every point of a polygon; false when one is missing.
bool resolveCorners(const Model* model, const float* positions,
                    const int32_t* points, int32_t count, Corner* out) {
  for (int32_t i = 0; i < count; ++i) {
    const Point* p = tableFindT<Point>(&model->points, points[i]);
    if (p == nullptr) return false;
    Corner& c = out[i];
    c.number = points[i];
    c.slot = pointSlot(model, p);
    if (positions != nullptr) {
      std::memcpy(c.position, positions + 3 * static_cast<size_t>(c.slot),
                  sizeof c.position);
    } else {
      c.position[0] = p->x;
      c.position[1] = p->y;
      c.position[2] = p->z;
    }
  }
  return true;
}

// The polygon's normal: the sum of its strip triangles' cross products
// (b - a) x (c - a). Its length is twice the area, so sums of it weigh
// faces by area.
void stripNormal(const Corner* corners, int32_t count, float n[3]) {
  n[0] = n[1] = n[2] = 0.0f;
  forEachStripIndex(count, [&](int32_t i, int32_t j, int32_t k) {
    const float* a = corners[i].position;
    const float* b = corners[j].position;
    const float* c = corners[k].position;
    const float u[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
    const float v[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
    n[0] += u[1] * v[2] - u[2] * v[1];
    n[1] += u[2] * v[0] - u[0] * v[2];
    n[2] += u[0] * v[1] - u[1] * v[0];
  });
}

// The faces around every point of a layer, for smoothing: each face's
// normal (length twice its area, so sums weigh faces by area) and unit
// normal, and per point slot the faces that use it. Per-slot entries are
// valid by generation, so a small layer of a big model costs only what it
// touches.
struct SmoothScratch {
  std::vector<float> normals;        // 3 per face
  std::vector<float> units;          // 3 per face
  std::vector<int32_t> cornerSlots;  // every corner of every face, in order
  std::vector<int32_t> faceStart;    // per face: its first corner
  std::vector<uint32_t> stamp;       // per slot
  std::vector<int32_t> first;        // per slot: start in `faces`
  std::vector<int32_t> count;        // per slot
  std::vector<int32_t> touched;
  std::vector<int32_t> faces;  // face numbers grouped by slot
  uint32_t generation = 0;

  void begin(int32_t slots) {
    if (stamp.size() < static_cast<size_t>(slots)) {
      stamp.resize(slots, 0);
      first.resize(slots, 0);
      count.resize(slots, 0);
    }
    if (++generation == 0) {
      std::fill(stamp.begin(), stamp.end(), 0);
      generation = 1;
    }
    normals.clear();
    units.clear();
    cornerSlots.clear();
    faceStart.clear();
    touched.clear();
  }
  void addCorner(int32_t slot) {
    cornerSlots.push_back(slot);
    if (stamp[slot] != generation) {
      stamp[slot] = generation;
      count[slot] = 0;
      touched.push_back(slot);
    }
    ++count[slot];
  }
  // Groups the faces by slot once every face is in.
  void index() {
    int32_t running = 0;
    for (int32_t slot : touched) {
      first[slot] = running;
      running += count[slot];
      count[slot] = 0;
    }
    faces.assign(static_cast<size_t>(running), 0);
    const int32_t faceCount = static_cast<int32_t>(faceStart.size());
    for (int32_t f = 0; f < faceCount; ++f) {
      const int32_t end = f + 1 < faceCount
                              ? faceStart[f + 1]
                              : static_cast<int32_t>(cornerSlots.size());
      for (int32_t c = faceStart[f]; c < end; ++c) {
        const int32_t slot = cornerSlots[c];
        faces[first[slot] + count[slot]++] = f;
      }
    }
  }
  // The normal of face f at the point in `slot`: the faces there that meet
  // f at less than the crease angle, weighed by area.
  void cornerNormal(int32_t f, int32_t slot, float out[3]) const {
    const float* u = &units[3 * static_cast<size_t>(f)];
    out[0] = out[1] = out[2] = 0.0f;
    for (int32_t i = first[slot]; i < first[slot] + count[slot]; ++i) {
      const size_t g = 3 * static_cast<size_t>(faces[i]);
      if (u[0] * units[g] + u[1] * units[g + 1] + u[2] * units[g + 2] <
          kCreaseCosine)
        continue;
      out[0] += normals[g];
      out[1] += normals[g + 1];
      out[2] += normals[g + 2];
    }
  }
};

SmoothScratch g_smooth;

struct LayerSources {
  const Model* model;
  const Layer* layer;
  const KeyedTable* layerColours;  // null when empty: skips the lookup
  const KeyedTable* modelColours;
  const KeyedTable* layerNormals;
  const KeyedTable* modelNormals;
  uint8_t fallback[4];
  float opacity;
};

void cornerColour(const LayerSources& s, int32_t number, uint8_t out[4]) {
  const Colour* c = nullptr;
  if (s.layerColours) c = tableFindT<Colour>(s.layerColours, number);
  if (c == nullptr && s.modelColours)
    c = tableFindT<Colour>(s.modelColours, number);
  if (c == nullptr) {
    std::memcpy(out, s.fallback, 4);
    return;
  }
  out[0] = toByte(c->r);
  out[1] = toByte(c->g);
  out[2] = toByte(c->b);
  out[3] = toByte(c->a * s.opacity);
}

// The stored normal of the point, normalised; false when there is none
// (or it has no direction).
bool storedNormal(const LayerSources& s, int32_t number, float out[3]) {
  const VectorEntry* v = nullptr;
  if (s.layerNormals) v = tableFindT<VectorEntry>(s.layerNormals, number);
  if (v == nullptr && s.modelNormals)
    v = tableFindT<VectorEntry>(s.modelNormals, number);
  if (v == nullptr) return false;
  out[0] = v->x;
  out[1] = v->y;
  out[2] = v->z;
  const float length = out[0] * out[0] + out[1] * out[1] + out[2] * out[2];
  if (!(length > 0.0f) || !std::isfinite(length)) return false;
  normalise(out);
  return true;
}

void emitVertex(std::vector<DrawVertex>* to, const float* position,
                const float* normal, const uint8_t* colour,
                bool outline = true) {
  DrawVertex v;
  std::memcpy(v.position, position, sizeof v.position);
  std::memcpy(v.normal, normal, sizeof v.normal);
  std::memcpy(v.colour, colour, sizeof v.colour);
  v.outline = outline ? 1 : 0;
  v.unused[0] = v.unused[1] = v.unused[2] = 0;
  to->push_back(v);
}

void accumulateSmoothNormals(const Model* model, const Layer* layer,
                             const float* positions) {
  g_smooth.begin(model->points.capacity);
  Corner corners[kMaxPolygonPoints];
  for (int32_t s = tableNextSlot(&layer->triangles, -1); s >= 0;
       s = tableNextSlot(&layer->triangles, s)) {
    const Triangle* t = tableAt<Triangle>(&layer->triangles, s);
    if (t->count < 3 || t->count > kMaxPolygonPoints) continue;
    if (!resolveCorners(model, positions, t->points, t->count, corners))
      continue;
    float n[3];
    stripNormal(corners, t->count, n);
    g_smooth.normals.insert(g_smooth.normals.end(), n, n + 3);
    normalise(n);
    g_smooth.units.insert(g_smooth.units.end(), n, n + 3);
    g_smooth.faceStart.push_back(
        static_cast<int32_t>(g_smooth.cornerSlots.size()));
    for (int32_t i = 0; i < t->count; ++i) g_smooth.addCorner(corners[i].slot);
  }
  g_smooth.index();
}

void buildPolygons(const LayerSources& src, const float* positions,
                   NormalMode mode, float normalLength, LayerVertices* out) {
  const Model* model = src.model;
  const Layer* layer = src.layer;
  size_t triangles = 0;
  for (int32_t s = tableNextSlot(&layer->triangles, -1); s >= 0;
       s = tableNextSlot(&layer->triangles, s)) {
    const int32_t count = tableAt<Triangle>(&layer->triangles, s)->count;
    if (count >= 3) triangles += static_cast<size_t>(count - 2);
  }
  out->triangles.reserve(3 * triangles);
  if (mode == kNormalsStoredElseSmooth)
    accumulateSmoothNormals(model, layer, positions);

  Corner corners[kMaxPolygonPoints];
  float normals[kMaxPolygonPoints][3];
  uint8_t colours[kMaxPolygonPoints][4];
  int32_t faceNumber = -1;  // as accumulateSmoothNormals counted them
  for (int32_t s = tableNextSlot(&layer->triangles, -1); s >= 0;
       s = tableNextSlot(&layer->triangles, s)) {
    const Triangle* t = tableAt<Triangle>(&layer->triangles, s);
    const int32_t count = t->count;
    if (count < 3 || count > kMaxPolygonPoints) continue;
    if (!resolveCorners(model, positions, t->points, count, corners)) continue;
    ++faceNumber;
    float face[3];
    stripNormal(corners, count, face);
    normalise(face);
    for (int32_t i = 0; i < count; ++i) {
      float* n = normals[i];
      if (mode == kNormalsFaceOnly ||
          !storedNormal(src, corners[i].number, n)) {
        if (mode == kNormalsStoredElseSmooth) {
          g_smooth.cornerNormal(faceNumber, corners[i].slot, n);
          normalise(n);
        } else {
          std::memcpy(n, face, sizeof face);
        }
      }
      cornerColour(src, corners[i].number, colours[i]);
    }
    // The polygon is a triangle strip; each vertex flags whether the edge
    // it starts lies on the outline, so that wireframe shows no diagonals.
    forEachStripIndex(count, [&](int32_t a, int32_t b, int32_t c) {
      emitVertex(&out->triangles, corners[a].position, normals[a], colours[a],
                 stripOutlineEdge(a, b, count));
      emitVertex(&out->triangles, corners[b].position, normals[b], colours[b],
                 stripOutlineEdge(b, c, count));
      emitVertex(&out->triangles, corners[c].position, normals[c], colours[c],
                 stripOutlineEdge(c, a, count));
    });
    if (normalLength <= 0.0f) continue;
    for (int32_t i = 0; i < count; ++i) {
      const float* p = corners[i].position;
      const float tip[3] = {p[0] + normals[i][0] * normalLength,
                            p[1] + normals[i][1] * normalLength,
                            p[2] + normals[i][2] * normalLength};
      emitVertex(&out->normalLines, p, normals[i], kNormalLineColour);
      emitVertex(&out->normalLines, tip, normals[i], kNormalLineColour);
    }
  }
}

void buildLines(const LayerSources& src, const float* positions,
                LayerVertices* out) {
  const Layer* layer = src.layer;
  const float up[3] = {0.0f, 0.0f, 1.0f};  // lines are drawn unlit
  Corner corners[kMaxPolygonPoints];
  uint8_t colours[kMaxPolygonPoints][4];
  std::vector<DrawVertex> closing;
  for (int32_t s = tableNextSlot(&layer->lines, -1); s >= 0;
       s = tableNextSlot(&layer->lines, s)) {
    const Line* l = tableAt<Line>(&layer->lines, s);
    const int32_t count = l->count;
    if (count < 2 || count > kMaxPolygonPoints) continue;
    if (!resolveCorners(src.model, positions, l->points, count, corners))
      continue;
    for (int32_t i = 0; i < count; ++i)
      cornerColour(src, corners[i].number, colours[i]);
    for (int32_t i = 0; i + 1 < count; ++i) {
      emitVertex(&out->lines, corners[i].position, up, colours[i]);
      emitVertex(&out->lines, corners[i + 1].position, up, colours[i + 1]);
    }
    if (count >= 3) {
      emitVertex(&closing, corners[count - 1].position, up, colours[count - 1]);
      emitVertex(&closing, corners[0].position, up, colours[0]);
    }
  }
  out->openLineVertices = static_cast<int32_t>(out->lines.size());
  out->lines.insert(out->lines.end(), closing.begin(), closing.end());
}

// Row-major 3x4 affine transform: x -> a * x + b.
struct Affine {
  float a[9];
  float b[3];
};

const Affine kIdentity = {{1, 0, 0, 0, 1, 0, 0, 0, 1}, {0, 0, 0}};

bool isIdentity(const Affine& m) {
  return std::memcmp(&m, &kIdentity, sizeof m) == 0;
}

void apply(const Affine& m, const float in[3], float out[3]) {
  for (int r = 0; r < 3; ++r) {
    out[r] = m.a[r * 3] * in[0] + m.a[r * 3 + 1] * in[1] +
             m.a[r * 3 + 2] * in[2] + m.b[r];
  }
}

Affine compose(const Affine& outer, const Affine& inner) {
  Affine m;
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) {
      m.a[r * 3 + c] = outer.a[r * 3] * inner.a[c] +
                       outer.a[r * 3 + 1] * inner.a[3 + c] +
                       outer.a[r * 3 + 2] * inner.a[6 + c];
    }
  }
  apply(outer, inner.b, m.b);
  return m;
}

// The joint's own pose about its rest position.
Affine localPose(const Joint* j) {
  Affine m;
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c)
      m.a[r * 3 + c] = j->poseRotation[r * 3 + c] * j->poseScale[c];
  for (int r = 0; r < 3; ++r) {
    float moved = 0.0f;
    for (int c = 0; c < 3; ++c) moved += m.a[r * 3 + c] * j->position[c];
    m.b[r] = j->position[r] + j->poseTranslation[r] - moved;
  }
  // Exactly at rest must stay exactly the identity (no rounding drift).
  bool rest = true;
  for (int i = 0; i < 9; ++i)
    rest = rest && j->poseRotation[i] == kIdentity.a[i];
  for (int i = 0; i < 3; ++i)
    rest = rest && j->poseScale[i] == 1.0f && j->poseTranslation[i] == 0.0f;
  return rest ? kIdentity : m;
}

// World transforms of every joint by slot; a parent that is missing,
// "world", or part of a parent loop counts as the world.
void jointTransforms(const Model* model, std::vector<Affine>* world) {
  const KeyedTable* joints = &model->joints;
  world->assign(joints->capacity, kIdentity);
  std::vector<uint8_t> state(joints->capacity, 0);  // 1 visiting, 2 done
  std::vector<int32_t> chain;
  for (int32_t s = tableNextSlot(joints, -1); s >= 0;
       s = tableNextSlot(joints, s)) {
    // Walk up to a resolved ancestor, then resolve downwards.
    chain.clear();
    int32_t at = s;
    while (at >= 0 && state[at] == 0) {
      state[at] = 1;
      chain.push_back(at);
      const Joint* j = tableAt<Joint>(joints, at);
      const Joint* parent = tableFindT<Joint>(joints, j->parent);
      at = parent == nullptr
               ? -1
               : static_cast<int32_t>(
                     (reinterpret_cast<const unsigned char*>(parent) -
                      joints->elements) /
                     joints->elementSize);
    }
    // A loop ends on a joint still being visited: it is taken as a root.
    const Affine* base = (at >= 0 && state[at] == 2) ? &(*world)[at] : nullptr;
    for (size_t i = chain.size(); i-- > 0;) {
      const int32_t slot = chain[i];
      const Affine local = localPose(tableAt<Joint>(joints, slot));
      (*world)[slot] = base ? compose(*base, local) : local;
      state[slot] = 2;
      base = &(*world)[slot];
    }
  }
}

void addMorphs(const Model* model, const KeyedTable* morphs, float* xyz) {
  for (int32_t s = tableNextSlot(morphs, -1); s >= 0;
       s = tableNextSlot(morphs, s)) {
    const Point* p =
        tableFindT<Point>(&model->points, tableIntKeyAt(morphs, s));
    if (p == nullptr) continue;
    const Morph* m = tableAt<Morph>(morphs, s);
    float* at = xyz + 3 * static_cast<size_t>(pointSlot(model, p));
    at[0] += m->dx;
    at[1] += m->dy;
    at[2] += m->dz;
  }
}

// Word-wise FNV-1a: enough to notice any change of the hashed bytes.
struct Hasher {
  uint64_t h = 14695981039346656037ull;
  void word(uint32_t w) { h = (h ^ w) * 1099511628211ull; }
  void bytes(const void* data, size_t n) {
    const auto* p = static_cast<const unsigned char*>(data);
    size_t i = 0;
    for (; i + 4 <= n; i += 4) {
      uint32_t w;
      std::memcpy(&w, p + i, 4);
      word(w);
    }
    for (; i < n; ++i) word(p[i]);
  }
  void table(const KeyedTable* t) {
    word(static_cast<uint32_t>(tableCount(t)));
    for (int32_t s = tableNextSlot(t, -1); s >= 0; s = tableNextSlot(t, s)) {
      word(static_cast<uint32_t>(tableIntKeyAt(t, s)));
      bytes(tableElementAt(t, s), static_cast<size_t>(t->elementSize));
    }
  }
};

}  // namespace

void buildLayerVertices(const Model* model, const Layer* layer,
                        const float* positions, NormalMode mode,
                        float normalLength, LayerVertices* out) {
  out->triangles.clear();
  out->lines.clear();
  out->normalLines.clear();
  out->openLineVertices = 0;

  LayerSources src;
  src.model = model;
  src.layer = layer;
  auto nonEmpty = [](const KeyedTable* t) {
    return tableCount(t) > 0 ? t : nullptr;
  };
  src.layerColours = nonEmpty(&layer->colours);
  src.modelColours = nonEmpty(&model->colours);
  src.layerNormals = nonEmpty(&layer->normals);
  src.modelNormals = nonEmpty(&model->normals);
  src.opacity = layer->opacity;
  float rgb[3];
  layerColour(layer, rgb);
  for (int i = 0; i < 3; ++i) src.fallback[i] = toByte(rgb[i]);
  src.fallback[3] = toByte(layer->opacity);

  buildPolygons(src, positions, mode, normalLength, out);
  buildLines(src, positions, out);
}

bool computeDisplayPoints(const Model* model, std::vector<float>* out) {
  if (tableCount(&model->joints) == 0 && tableCount(&model->worldMorphs) == 0)
    return false;
  const KeyedTable* points = &model->points;
  out->assign(3 * static_cast<size_t>(points->capacity), 0.0f);
  for (int32_t s = tableNextSlot(points, -1); s >= 0;
       s = tableNextSlot(points, s)) {
    const Point* p = tableAt<Point>(points, s);
    float* at = out->data() + 3 * static_cast<size_t>(s);
    at[0] = p->x;
    at[1] = p->y;
    at[2] = p->z;
  }
  float* xyz = out->data();
  addMorphs(model, &model->worldMorphs, xyz);
  const KeyedTable* joints = &model->joints;
  for (int32_t s = tableNextSlot(joints, -1); s >= 0;
       s = tableNextSlot(joints, s))
    addMorphs(model, &tableAt<Joint>(joints, s)->morphs, xyz);

  std::vector<Affine> world;
  jointTransforms(model, &world);
  const std::vector<float> base(
      *out);  // every joint blends from the same place
  for (int32_t s = tableNextSlot(joints, -1); s >= 0;
       s = tableNextSlot(joints, s)) {
    if (isIdentity(world[s])) continue;
    const KeyedTable* weights = &tableAt<Joint>(joints, s)->weights;
    for (int32_t w = tableNextSlot(weights, -1); w >= 0;
         w = tableNextSlot(weights, w)) {
      const Weight* weight = tableAt<Weight>(weights, w);
      const Point* p = tableFindT<Point>(points, tableIntKeyAt(weights, w));
      if (p == nullptr) continue;
      const size_t at = 3 * static_cast<size_t>(pointSlot(model, p));
      float moved[3];
      apply(world[s], &base[at], moved);
      for (int i = 0; i < 3; ++i)
        xyz[at + i] += weight->weight * (moved[i] - base[at + i]);
    }
  }
  return true;
}

uint64_t poseSignature(const Model* model) {
  Hasher h;
  h.table(&model->worldMorphs);
  const KeyedTable* joints = &model->joints;
  h.word(static_cast<uint32_t>(tableCount(joints)));
  for (int32_t s = tableNextSlot(joints, -1); s >= 0;
       s = tableNextSlot(joints, s)) {
    const Joint* j = tableAt<Joint>(joints, s);
    h.word(static_cast<uint32_t>(s));
    h.bytes(j->name, std::strlen(j->name));
    h.bytes(j->position, sizeof j->position);
    h.bytes(j->parent, std::strlen(j->parent));
    h.bytes(j->poseTranslation, sizeof j->poseTranslation);
    h.bytes(j->poseScale, sizeof j->poseScale);
    h.bytes(j->poseRotation, sizeof j->poseRotation);
    h.table(&j->weights);
    h.table(&j->morphs);
  }
  return h.h;
}
