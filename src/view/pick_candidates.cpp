// What each picker draws, placed in scene coordinates (the focus shift and
// the camera come later, from the frame):
//   point     every point of the current model in table order, named by its
//             number, posed when the pose switch is on; then the origin
//             marker, named kPickOriginName. A top-level model is never
//             bound to a joint, so no joint matrix applies.
//   joint     every joint, posed when the pose switch is on, named by its
//             rank in the joint table (1 up).
//   triangle  every polygon of every layer as its strip triangles, named by
//             its number; a mirroring layer's reflected half follows the
//             layer (mirror switch on), under the same numbers.
//   line      every line as its segments (closed when closelines is on).
//   layer     every layer's triangles as one candidate named by its rank in
//             the layer table (1 up), its reflected half as a second one.
//   child     each child's triangles, grandchildren included, through its
//             placement, named by the child's id (children switch on).
//   collide   each collide object's shape through its placement (or, while
//             a simulation moves it, its shape's frame), named by its id: a
//             box of its size (box, mesh and other shapes), a sphere of
//             diameter size x, a capsule of diameter size x and length
//             size z along z, a square of side handleLength * 4 for a
//             plane.
//   model     each open model's triangles with its children, named by the
//             model's id.
//   cursor    three segments of handleLength from the 3D cursor along +x,
//             +y and +z, named 1, 2 and 3.
//   arc       a circle of radius handleLength about the 3D cursor, square
//             to the arc axis, as 360 segments: segment n runs from n - 1 to
//             n degrees and is named n.
#include <cmath>
#include <cstring>
#include <new>

#include "model/geometry.h"
#include "model/posing.h"
#include "view/pick.h"
#include "view/view.h"

namespace {

constexpr int kMaxChildDepth = 64;
constexpr int kSphereRings = 8, kSphereSegments = 12;

// out = R x + t, R row by row in m[0..8], t in m[9..11].
struct Placement {
  float m[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
};

void place(const Placement& p, const float in[3], float out[3]) {
  for (int r = 0; r < 3; ++r)
    out[r] = p.m[3 * r] * in[0] + p.m[3 * r + 1] * in[1] + p.m[3 * r + 2] * in[2] + p.m[9 + r];
}

// a then b: the placement that applies b first, then a.
Placement compose(const Placement& a, const Placement& b) {
  Placement out;
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c)
      out.m[3 * r + c] = a.m[3 * r] * b.m[c] + a.m[3 * r + 1] * b.m[3 + c] +
                         a.m[3 * r + 2] * b.m[6 + c];
  place(a, b.m + 9, out.m + 9);
  return out;
}

// Position, rotation (row by row) and per-axis scale.
Placement placementOf(const float position[3], const float rotation[9], const float scale[3]) {
  Placement p;
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) p.m[3 * r + c] = rotation[3 * r + c] * scale[c];
    p.m[9 + r] = position[r];
  }
  return p;
}

Placement reflection(int32_t axis) {
  Placement p;
  p.m[4 * (axis - 1)] = -1.0f;
  return p;
}

int32_t mirrorAxis(const Layer* layer, const DisplayFlags& flags) {
  if (!layer->mirror || !flags.mirror) return 0;
  const int32_t axis = layer->mirrorAxis;
  if (axis >= kAxisX && axis <= kAxisZ) return axis;
  if (axis >= kAxisMinusX && axis <= kAxisMinusZ) return axis - 3;
  return 0;
}

// Where a model's points are shown: posed when the pose switch asks.
struct Positions {
  const Model* model = nullptr;
  std::vector<float> posed;
  void init(const Model* m, const DisplayFlags& flags) {
    model = m;
    posed.clear();
    if (flags.pose) computeDisplayPoints(m, &posed);
  }
  const float* of(const Point* p) const {
    if (posed.empty()) return &p->x;
    return &posed[3 * static_cast<size_t>(pointSlot(model, p))];
  }
  const float* number(int32_t n) const {
    const Point* p = findPoint(model, n);
    return p != nullptr ? of(p) : nullptr;
  }
};

class Builder {
 public:
  explicit Builder(PickSet* set) : set_(set) {
    set_->xyz.clear();
    set_->first.assign(1, 0);
    set_->names.clear();
  }
  void begin(uint32_t name) { name_ = name; }
  void vertex(const Placement& p, const float xyz[3]) {
    float out[3];
    place(p, xyz, out);
    set_->xyz.insert(set_->xyz.end(), out, out + 3);
  }
  // Ends the candidate; one without primitives is dropped, as GL records
  // nothing for it.
  void end() {
    const uint32_t primitives =
        static_cast<uint32_t>(set_->xyz.size() / (3 * static_cast<size_t>(set_->corners)));
    if (primitives == set_->first.back()) return;
    set_->names.push_back(name_);
    set_->first.push_back(primitives);
  }

 private:
  PickSet* set_;
  uint32_t name_ = 0;
};

void emitPolygon(Builder* b, const Placement& p, const Positions& at, const Triangle* t) {
  forEachStripTriangle(polygonPoints(t), t->count, [&](int32_t i, int32_t j, int32_t k) {
    const float* a = at.number(i);
    const float* c = at.number(j);
    const float* d = at.number(k);
    if (a == nullptr || c == nullptr || d == nullptr) return;
    b->vertex(p, a);
    b->vertex(p, c);
    b->vertex(p, d);
  });
}

void emitLayerTriangles(Builder* b, const Placement& p, const Positions& at, const Layer* layer) {
  tableForEach<Triangle>(&layer->triangles,
                         [&](const Triangle* t, int32_t) { emitPolygon(b, p, at, t); });
}

// Every layer, its reflected half and the children, as drawn, into the
// candidate under way.
void emitModelTriangles(Builder* b, const Placement& p, Model* model, const DisplayFlags& flags,
                        int depth) {
  Positions at;
  at.init(model, flags);
  tableForEach<Layer>(&model->layers, [&](const Layer* layer, int32_t) {
    emitLayerTriangles(b, p, at, layer);
    const int32_t axis = mirrorAxis(layer, flags);
    if (axis != 0) emitLayerTriangles(b, compose(p, reflection(axis)), at, layer);
  });
  if (!flags.children || depth >= kMaxChildDepth) return;
  tableForEach<Child>(&model->children, [&](const Child* child, int32_t) {
    if (child->model == nullptr) return;
    const Placement inner =
        compose(p, placementOf(child->position, child->rotation, child->scale));
    emitModelTriangles(b, inner, child->model, flags, depth + 1);
  });
}

void emitQuad(Builder* b, const Placement& p, const float a[3], const float c[3],
              const float d[3], const float e[3]) {
  b->vertex(p, a);
  b->vertex(p, c);
  b->vertex(p, d);
  b->vertex(p, a);
  b->vertex(p, d);
  b->vertex(p, e);
}

// A unit box centred on the origin; the placement scales it.
void emitBox(Builder* b, const Placement& p) {
  float v[8][3];
  for (int i = 0; i < 8; ++i) {
    v[i][0] = (i & 1) ? 0.5f : -0.5f;
    v[i][1] = (i & 2) ? 0.5f : -0.5f;
    v[i][2] = (i & 4) ? 0.5f : -0.5f;
  }
  static const int kFaces[6][4] = {{0, 2, 3, 1}, {4, 5, 7, 6}, {0, 1, 5, 4},
                                   {2, 6, 7, 3}, {0, 4, 6, 2}, {1, 3, 7, 5}};
  for (const auto& f : kFaces) emitQuad(b, p, v[f[0]], v[f[1]], v[f[2]], v[f[3]]);
}

// A sphere of radius r whose two halves are pushed apart along z by
// `stretch` (a capsule; 0 gives the sphere).
void emitRoundShape(Builder* b, const Placement& p, float r, float stretch) {
  const float pi = 3.14159265f;
  auto at = [&](int ring, int segment, float out[3]) {
    const float theta = pi * static_cast<float>(ring) / kSphereRings;
    const float phi = 2.0f * pi * static_cast<float>(segment) / kSphereSegments;
    out[0] = r * std::sin(theta) * std::cos(phi);
    out[1] = r * std::sin(theta) * std::sin(phi);
    out[2] = r * std::cos(theta) + (ring <= kSphereRings / 2 ? stretch : -stretch);
  };
  for (int ring = 0; ring < kSphereRings; ++ring) {
    for (int s = 0; s < kSphereSegments; ++s) {
      float a[3], c[3], d[3], e[3];
      at(ring, s, a);
      at(ring + 1, s, c);
      at(ring + 1, s + 1, d);
      at(ring, s + 1, e);
      emitQuad(b, p, a, c, d, e);
    }
  }
  // The band between the halves of a capsule.
  if (stretch > 0.0f) {
    for (int s = 0; s < kSphereSegments; ++s) {
      float a[3], c[3], d[3], e[3];
      at(kSphereRings / 2, s, a);
      at(kSphereRings / 2, s + 1, e);
      std::memcpy(c, a, sizeof c);
      std::memcpy(d, e, sizeof d);
      c[2] = d[2] = -stretch;
      emitQuad(b, p, a, c, d, e);
    }
  }
}

void emitCollide(Builder* b, const CollideObject* object, float handleLength,
                 const SceneFrame* frame) {
  const float unit[3] = {1.0f, 1.0f, 1.0f};
  Placement turned = placementOf(object->position, object->rotation, unit);
  if (frame != nullptr) {
    for (int r = 0; r < 3; ++r) {
      for (int c = 0; c < 3; ++c) turned.m[3 * r + c] = frame->m[c * 4 + r];
      turned.m[9 + r] = frame->m[12 + r];
    }
  }
  const float* size = object->size;
  switch (object->shape) {
    case kShapeSphere:
      emitRoundShape(b, turned, std::fabs(size[0]) * 0.5f, 0.0f);
      return;
    case kShapeCapsule: {
      const float radius = std::fabs(size[0]) * 0.5f;
      const float length = std::fabs(size[2]) - 2.0f * radius;
      emitRoundShape(b, turned, radius, length > 0.0f ? length * 0.5f : 0.0f);
      return;
    }
    case kShapePlane: {
      const float h = handleLength * 2.0f;
      const float a[3] = {-h, -h, 0}, c[3] = {h, -h, 0}, d[3] = {h, h, 0}, e[3] = {-h, h, 0};
      emitQuad(b, turned, a, c, d, e);
      return;
    }
    default: {
      const float none[3] = {0, 0, 0};
      const float axes[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
      emitBox(b, compose(turned, placementOf(none, axes, size)));
      return;
    }
  }
}

void buildCandidates(PickKind kind, Model* model, const std::vector<Model*>& models,
                     const PickSettings& s, PickSet* set) {
  const Placement none;
  const DisplayFlags& flags = s.flags;
  set->corners = (kind == PickKind::kPoint || kind == PickKind::kJoint)   ? 1
                 : (kind == PickKind::kLine || kind == PickKind::kCursor ||
                    kind == PickKind::kArc)
                     ? 2
                     : 3;
  Builder b(set);
  if (kind == PickKind::kModel) {
    for (Model* m : models) {
      if (m == nullptr) continue;
      b.begin(static_cast<uint32_t>(m->id));
      emitModelTriangles(&b, none, m, flags, 0);
      b.end();
    }
    return;
  }
  if (kind == PickKind::kCursor || kind == PickKind::kArc) {
    Placement at;
    std::memcpy(at.m + 9, s.cursor, 3 * sizeof(float));
    const float zero[3] = {0, 0, 0};
    if (kind == PickKind::kCursor) {
      for (int axis = 0; axis < 3; ++axis) {
        float tip[3] = {0, 0, 0};
        tip[axis] = s.handleLength;
        b.begin(static_cast<uint32_t>(axis + 1));
        b.vertex(at, zero);
        b.vertex(at, tip);
        b.end();
      }
      return;
    }
    for (int n = 1; n <= 360; ++n) {
      float a[3], c[3];
      arcPoint(zero, s.arcAxis, s.handleLength, static_cast<float>(n - 1), a);
      arcPoint(zero, s.arcAxis, s.handleLength, static_cast<float>(n), c);
      b.begin(static_cast<uint32_t>(n));
      b.vertex(at, a);
      b.vertex(at, c);
      b.end();
    }
    return;
  }
  if (model == nullptr) return;
  Positions at;
  switch (kind) {
    case PickKind::kPoint: {
      at.init(model, flags);
      for (int32_t slot = tableNextSlot(&model->points, -1); slot >= 0;
           slot = tableNextSlot(&model->points, slot)) {
        b.begin(static_cast<uint32_t>(tableIntKeyAt(&model->points, slot)));
        b.vertex(none, at.of(tableAt<Point>(&model->points, slot)));
        b.end();
      }
      const float origin[3] = {0, 0, 0};
      b.begin(kPickOriginName);
      b.vertex(none, origin);
      b.end();
      return;
    }
    case PickKind::kJoint: {
      std::vector<float> posed;
      if (flags.pose) computePosedJoints(model, &posed);
      uint32_t rank = 0;
      tableForEach<Joint>(&model->joints, [&](const Joint* joint, int32_t slot) {
        b.begin(++rank);
        b.vertex(none, posed.empty() ? joint->position : &posed[3 * static_cast<size_t>(slot)]);
        b.end();
      });
      return;
    }
    case PickKind::kTriangle:
    case PickKind::kLayer: {
      at.init(model, flags);
      uint32_t rank = 0;
      tableForEach<Layer>(&model->layers, [&](const Layer* layer, int32_t) {
        ++rank;
        const int32_t axis = mirrorAxis(layer, flags);
        for (int half = 0; half < (axis != 0 ? 2 : 1); ++half) {
          const Placement p = half == 0 ? none : reflection(axis);
          if (kind == PickKind::kLayer) {
            b.begin(rank);
            emitLayerTriangles(&b, p, at, layer);
            b.end();
            continue;
          }
          tableForEach<Triangle>(&layer->triangles, [&](const Triangle* t, int32_t) {
            b.begin(static_cast<uint32_t>(t->id));
            emitPolygon(&b, p, at, t);
            b.end();
          });
        }
      });
      return;
    }
    case PickKind::kLine: {
      at.init(model, flags);
      tableForEach<Layer>(&model->layers, [&](const Layer* layer, int32_t) {
        const int32_t axis = mirrorAxis(layer, flags);
        for (int half = 0; half < (axis != 0 ? 2 : 1); ++half) {
          const Placement p = half == 0 ? none : reflection(axis);
          tableForEach<Line>(&layer->lines, [&](const Line* l, int32_t) {
            b.begin(static_cast<uint32_t>(l->id));
            const int32_t n = l->count;
            const int32_t segments = (flags.closelines && n >= 3) ? n : n - 1;
            for (int32_t i = 0; i < segments; ++i) {
              const float* a = at.number(polygonPoints(l)[i]);
              const float* c = at.number(polygonPoints(l)[(i + 1) % n]);
              if (a == nullptr || c == nullptr) continue;
              b.vertex(p, a);
              b.vertex(p, c);
            }
            b.end();
          });
        }
      });
      return;
    }
    case PickKind::kChild:
      if (!flags.children) return;
      tableForEach<Child>(&model->children, [&](const Child* child, int32_t) {
        if (child->model == nullptr) return;
        b.begin(static_cast<uint32_t>(child->id));
        emitModelTriangles(&b, placementOf(child->position, child->rotation, child->scale),
                           child->model, flags, 1);
        b.end();
      });
      return;
    case PickKind::kCollide:
      tableForEach<CollideObject>(&model->collides, [&](const CollideObject* object, int32_t) {
        b.begin(static_cast<uint32_t>(object->id));
        emitCollide(&b, object, s.handleLength, simulatedCollideFrame(s.placed, object->id));
        b.end();
      });
      return;
    default:
      return;
  }
}

// ---- what a set is built from --------------------------------------------

void mix(uint64_t* h, uint64_t v) {
  *h ^= v + 0x9e3779b97f4a7c15ull + (*h << 6) + (*h >> 2);
}

void mixFloats(uint64_t* h, const float* f, int n) {
  for (int i = 0; i < n; ++i) {
    uint32_t bits;
    std::memcpy(&bits, &f[i], sizeof bits);
    mix(h, bits);
  }
}

// Every revision the candidates of a model can depend on: its own, its
// layers', its children's placements and models, its collide objects and,
// with the pose switch, its pose.
void mixModel(uint64_t* h, const Model* model, const DisplayFlags& flags, int depth) {
  mix(h, static_cast<uint64_t>(model->id));
  mix(h, model->revision);
  if (flags.pose) mix(h, poseSignature(model));
  tableForEach<Layer>(&model->layers, [&](const Layer* layer, int32_t slot) {
    mix(h, static_cast<uint64_t>(slot));
    mix(h, layer->revision);
    mix(h, static_cast<uint64_t>(layer->mirror * 8 + layer->mirrorAxis));
  });
  tableForEach<CollideObject>(&model->collides, [&](const CollideObject* o, int32_t) {
    mix(h, static_cast<uint64_t>(o->id) * 8 + static_cast<uint64_t>(o->shape));
    mixFloats(h, o->position, 3);
    mixFloats(h, o->size, 3);
    mixFloats(h, o->rotation, 9);
  });
  if (depth >= kMaxChildDepth) return;
  tableForEach<Child>(&model->children, [&](const Child* child, int32_t) {
    mix(h, static_cast<uint64_t>(child->id));
    mixFloats(h, child->position, 3);
    mixFloats(h, child->scale, 3);
    mixFloats(h, child->rotation, 9);
    if (child->model != nullptr) mixModel(h, child->model, flags, depth + 1);
  });
}

uint64_t setKey(PickKind kind, const Model* model, const std::vector<Model*>& models,
                const PickSettings& s) {
  uint64_t h = 0x51ed2701u;
  mix(&h, static_cast<uint64_t>(kind));
  mix(&h, static_cast<uint64_t>(s.flags.pose * 8 + s.flags.mirror * 4 +
                                s.flags.closelines * 2 + s.flags.children));
  mixFloats(&h, s.cursor, 3);
  mixFloats(&h, &s.handleLength, 1);
  mix(&h, static_cast<uint64_t>(s.arcAxis));
  if (kind == PickKind::kCollide && model != nullptr) {
    tableForEach<CollideObject>(&model->collides, [&](const CollideObject* o, int32_t) {
      if (const SceneFrame* frame = simulatedCollideFrame(s.placed, o->id)) mixFloats(&h, frame->m, 16);
    });
  }
  if (kind == PickKind::kModel) {
    for (const Model* m : models)
      if (m != nullptr) mixModel(&h, m, s.flags, 0);
  } else if (model != nullptr) {
    mixModel(&h, model, s.flags, 0);
  } else {
    mix(&h, 0);
  }
  return h;
}

// A multiplicative hash, eight bytes a step, over the vertices, names and
// candidate bounds.
uint64_t contentHash(const PickSet& set) {
  uint64_t h = 0xcbf29ce484222325ull ^ static_cast<uint64_t>(set.corners);
  auto bytes = [&h](const void* data, size_t size) {
    const unsigned char* p = static_cast<const unsigned char*>(data);
    size_t i = 0;
    for (; i + 8 <= size; i += 8) {
      uint64_t word;
      std::memcpy(&word, p + i, sizeof word);
      h = (h ^ word) * 0x9e3779b97f4a7c15ull;
      h ^= h >> 29;
    }
    for (; i < size; ++i) h = (h ^ p[i]) * 0x100000001b3ull;
  };
  bytes(set.xyz.data(), set.xyz.size() * sizeof(float));
  bytes(set.names.data(), set.names.size() * sizeof(uint32_t));
  bytes(set.first.data(), set.first.size() * sizeof(uint32_t));
  return h;
}

}  // namespace

int32_t pickSquare(PickKind kind) {
  switch (kind) {
    case PickKind::kPoint:
    case PickKind::kJoint:
      return 20;
    case PickKind::kArc:
      return 1;
    default:
      return 10;
  }
}

bool buildPickSet(PickKind kind, Model* model, const std::vector<Model*>& models,
                  const PickSettings& settings, PickSet* set) {
  const uint64_t key = setKey(kind, model, models, settings);
  if (set->valid && set->key == key) return true;
  set->valid = false;
  try {
    buildCandidates(kind, model, models, settings, set);
  } catch (const std::bad_alloc&) {
    *set = PickSet();
    return false;
  }
  set->key = key;
  set->content = contentHash(*set);
  set->valid = true;
  return true;
}

bool choosePickHit(const PickHit* hits, int count, uint32_t* name) {
  if (count <= 0) return false;
  int chosen = 0;
  for (int i = 1; i < count; ++i) {
    if (static_cast<int32_t>(hits[i].maxDepth) < static_cast<int32_t>(hits[chosen].maxDepth))
      chosen = i;
  }
  *name = hits[chosen].name;
  return true;
}
