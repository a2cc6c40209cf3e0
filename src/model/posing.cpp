#include "model/posing.h"

#include <cstddef>
#include <cstring>

namespace {

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
      at = parent == nullptr ? -1 : tableSlotOf(joints, parent);
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

void computePosedJoints(const Model* model, std::vector<float>* out) {
  std::vector<Affine> world;
  jointTransforms(model, &world);
  out->assign(3 * world.size(), 0.0f);
  for (int32_t s = tableNextSlot(&model->joints, -1); s >= 0;
       s = tableNextSlot(&model->joints, s)) {
    apply(world[s], tableAt<Joint>(&model->joints, s)->position,
          &(*out)[3 * static_cast<size_t>(s)]);
  }
}

int32_t pointSlot(const Model* model, const Point* p) {
  const auto* base = model->points.elements;
  return static_cast<int32_t>(
      (reinterpret_cast<const unsigned char*>(p) - base) /
      static_cast<ptrdiff_t>(sizeof(Point)));
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
