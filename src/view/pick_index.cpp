// The indexed picker. Primitives are sorted along a Morton curve of their
// box centres and grouped eight to a leaf; boxes of pairs make the levels
// above, up to one root. A pick opens boxes from the root down, least
// candidate first, dropping every box whose eight corners lie outside one
// plane of the pick volume, and clips the primitives of the leaves it
// reaches the way the GL does:
// clip coordinates from the combined matrix, the planes in the GL's order,
// new corners interpolated from the outside corner toward the inside one,
// window depth z / w * 0.5 + 0.5, scaled to 32 bits as the selection
// buffer stores it. Answers match
// selection mode's up to float rounding of the matrix products: near-ties
// in depth or candidates right on the square's edge may differ.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <new>

#include "view/pick.h"

namespace {

constexpr int kLeaf = 8;
constexpr int kMaxClipCorners = 3 + 6;

struct Hit {
  uint32_t candidate;
  float minZ, maxZ;
};

}  // namespace

struct PickIndex {
  uint64_t content = 0;
  bool built = false;
  int32_t corners = 0;
  std::vector<uint32_t> order;      // primitives in curve order
  std::vector<uint32_t> candidate;  // candidate of each primitive (by primitive)
  // Boxes (6 floats: min xyz, max xyz) level by level, leaves first.
  std::vector<float> boxes;
  // The least candidate of each box's primitives, box by box as above.
  std::vector<uint32_t> firstCandidate;
  std::vector<size_t> levelStart;   // first box of each level
  std::vector<size_t> levelCount;
  std::vector<Hit> scratch;
};

namespace {

uint32_t spreadBits(uint32_t v) {
  v &= 0x3ff;
  v = (v | (v << 16)) & 0x030000ff;
  v = (v | (v << 8)) & 0x0300f00f;
  v = (v | (v << 4)) & 0x030c30c3;
  v = (v | (v << 2)) & 0x09249249;
  return v;
}

void primitiveBox(const PickSet& set, uint32_t p, float box[6]) {
  const float* v = set.xyz.data() + static_cast<size_t>(p) * set.corners * 3;
  for (int a = 0; a < 3; ++a) box[a] = box[3 + a] = v[a];
  for (int c = 1; c < set.corners; ++c) {
    for (int a = 0; a < 3; ++a) {
      box[a] = std::min(box[a], v[3 * c + a]);
      box[3 + a] = std::max(box[3 + a], v[3 * c + a]);
    }
  }
}

void growBox(float box[6], const float other[6]) {
  for (int a = 0; a < 3; ++a) {
    box[a] = std::min(box[a], other[a]);
    box[3 + a] = std::max(box[3 + a], other[3 + a]);
  }
}

void build(PickIndex* index, const PickSet& set) {
  const uint32_t primitives = set.first.empty() ? 0 : set.first.back();
  index->corners = set.corners;
  index->order.resize(primitives);
  index->candidate.resize(primitives);
  for (size_t c = 0; c + 1 < set.first.size(); ++c)
    for (uint32_t p = set.first[c]; p < set.first[c + 1]; ++p)
      index->candidate[p] = static_cast<uint32_t>(c);
  index->boxes.clear();
  index->firstCandidate.clear();
  index->levelStart.clear();
  index->levelCount.clear();
  if (primitives == 0) return;

  // Morton codes of the box centres over the bounds of all of them.
  std::vector<float> centres(3 * static_cast<size_t>(primitives));
  float lo[3] = {HUGE_VALF, HUGE_VALF, HUGE_VALF};
  float hi[3] = {-HUGE_VALF, -HUGE_VALF, -HUGE_VALF};
  for (uint32_t p = 0; p < primitives; ++p) {
    float box[6];
    primitiveBox(set, p, box);
    for (int a = 0; a < 3; ++a) {
      const float c = 0.5f * box[a] + 0.5f * box[3 + a];
      centres[3 * static_cast<size_t>(p) + a] = c;
      if (std::isfinite(c)) {
        lo[a] = std::min(lo[a], c);
        hi[a] = std::max(hi[a], c);
      }
    }
  }
  std::vector<uint32_t> codes(primitives);
  for (uint32_t p = 0; p < primitives; ++p) {
    uint32_t code = 0;
    for (int a = 0; a < 3; ++a) {
      const float span = hi[a] - lo[a];
      float t = span > 0.0f ? (centres[3 * static_cast<size_t>(p) + a] - lo[a]) / span : 0.0f;
      if (!(t >= 0.0f)) t = 0.0f;
      if (t > 1.0f) t = 1.0f;
      code |= spreadBits(static_cast<uint32_t>(t * 1023.0f)) << a;
    }
    codes[p] = code;
  }
  // Three stable passes of ten bits each.
  std::vector<uint32_t>& order = index->order;
  std::vector<uint32_t> other(primitives);
  for (uint32_t p = 0; p < primitives; ++p) order[p] = p;
  for (int shift = 0; shift < 30; shift += 10) {
    uint32_t counts[1025] = {0};
    for (uint32_t p : order) ++counts[((codes[p] >> shift) & 1023) + 1];
    for (int b = 0; b < 1024; ++b) counts[b + 1] += counts[b];
    for (uint32_t p : order) other[counts[(codes[p] >> shift) & 1023]++] = p;
    order.swap(other);
  }

  // Leaves, then pairs up to the root.
  const size_t leaves = (primitives + kLeaf - 1) / kLeaf;
  index->boxes.resize(6 * leaves);
  index->firstCandidate.resize(leaves);
  for (size_t l = 0; l < leaves; ++l) {
    float* box = &index->boxes[6 * l];
    const size_t end = std::min<size_t>(primitives, (l + 1) * kLeaf);
    primitiveBox(set, order[l * kLeaf], box);
    uint32_t least = index->candidate[order[l * kLeaf]];
    for (size_t i = l * kLeaf + 1; i < end; ++i) {
      float b[6];
      primitiveBox(set, order[i], b);
      growBox(box, b);
      least = std::min(least, index->candidate[order[i]]);
    }
    index->firstCandidate[l] = least;
  }
  index->levelStart.push_back(0);
  index->levelCount.push_back(leaves);
  while (index->levelCount.back() > 1) {
    const size_t below = index->levelStart.back();
    const size_t count = index->levelCount.back();
    const size_t start = index->boxes.size() / 6;
    const size_t made = (count + 1) / 2;
    index->boxes.resize(6 * (start + made));
    index->firstCandidate.resize(start + made);
    for (size_t i = 0; i < made; ++i) {
      float* box = &index->boxes[6 * (start + i)];
      std::memcpy(box, &index->boxes[6 * (below + 2 * i)], 6 * sizeof(float));
      uint32_t least = index->firstCandidate[below + 2 * i];
      if (2 * i + 1 < count) {
        growBox(box, &index->boxes[6 * (below + 2 * i + 1)]);
        least = std::min(least, index->firstCandidate[below + 2 * i + 1]);
      }
      index->firstCandidate[start + i] = least;
    }
    index->levelStart.push_back(start);
    index->levelCount.push_back(made);
  }
}

// ---- clipping, as the GL's clipper does it ----------------------------------

struct Clip {
  float v[4];
};

// The clip planes in the GL's order: right, left, top, bottom, near, far.
float planeDistance(const float c[4], int plane) {
  switch (plane) {
    case 0: return -c[0] + c[3];
    case 1: return c[0] + c[3];
    case 2: return -c[1] + c[3];
    case 3: return c[1] + c[3];
    case 4: return c[2] + c[3];
    default: return -c[2] + c[3];
  }
}

unsigned outcode(const float c[4]) {
  unsigned mask = 0;
  for (int p = 0; p < 6; ++p)
    if (planeDistance(c, p) < 0.0f) mask |= 1u << p;
  return mask;
}

// out + t * (in - out), component by component.
void interpolate(const Clip& out, const Clip& in, float t, Clip* dst) {
  for (int i = 0; i < 4; ++i) dst->v[i] = out.v[i] + t * (in.v[i] - out.v[i]);
}

float windowDepth(const float c[4]) {
  const float oow = 1.0f / c[3];
  return c[2] * oow * 0.5f + 0.5f;
}

void depthRange(const Clip* v, int n, float* minZ, float* maxZ) {
  for (int i = 0; i < n; ++i) {
    const float z = windowDepth(v[i].v);
    *minZ = std::min(*minZ, z);
    *maxZ = std::max(*maxZ, z);
  }
}

// Clips a triangle plane by plane; false when nothing is left.
bool clipTriangle(Clip in[3], unsigned mask, float* minZ, float* maxZ) {
  Clip a[kMaxClipCorners], b[kMaxClipCorners];
  Clip* list = a;
  Clip* next = b;
  int n = 3;
  for (int i = 0; i < 3; ++i) a[i] = in[i];
  for (int plane = 0; plane < 6 && n >= 3; ++plane) {
    if ((mask & (1u << plane)) == 0) continue;
    int m = 0;
    const Clip* prev = &list[0];
    float dpPrev = planeDistance(prev->v, plane);
    for (int i = 1; i <= n; ++i) {
      const Clip* vert = &list[i % n];
      const float dp = planeDistance(vert->v, plane);
      if (dpPrev >= 0.0f && m < kMaxClipCorners) next[m++] = *prev;
      if ((dp < 0.0f) != (dpPrev < 0.0f) && dp != dpPrev && m < kMaxClipCorners) {
        if (dp < 0.0f)
          interpolate(*vert, *prev, dp / (dp - dpPrev), &next[m++]);
        else
          interpolate(*prev, *vert, dpPrev / (dpPrev - dp), &next[m++]);
      }
      prev = vert;
      dpPrev = dp;
    }
    std::swap(list, next);
    n = m;
  }
  if (n < 3) return false;
  depthRange(list, n, minZ, maxZ);
  return true;
}

bool clipSegment(const Clip in[2], unsigned mask, float* minZ, float* maxZ) {
  float t0 = 0.0f, t1 = 0.0f;
  for (int plane = 0; plane < 6; ++plane) {
    if ((mask & (1u << plane)) == 0) continue;
    const float dp0 = planeDistance(in[0].v, plane);
    const float dp1 = planeDistance(in[1].v, plane);
    if (dp0 < 0.0f && dp1 < 0.0f) return false;
    if (dp1 < 0.0f) t1 = std::max(t1, dp1 / (dp1 - dp0));
    if (dp0 < 0.0f) t0 = std::max(t0, dp0 / (dp0 - dp1));
  }
  if (t0 + t1 >= 1.0f) return false;
  Clip ends[2] = {in[0], in[1]};
  if (t0 > 0.0f) interpolate(in[0], in[1], t0, &ends[0]);
  if (t1 > 0.0f) interpolate(in[1], in[0], t1, &ends[1]);
  depthRange(ends, 2, minZ, maxZ);
  return true;
}

void transform(const float m[16], const float* v, float out[4]) {
  for (int r = 0; r < 4; ++r) out[r] = m[r] * v[0] + m[4 + r] * v[1] + m[8 + r] * v[2] + m[12 + r];
}

void multiply(const float a[16], const float b[16], float out[16]) {
  for (int c = 0; c < 4; ++c)
    for (int r = 0; r < 4; ++r)
      out[4 * c + r] = a[r] * b[4 * c] + a[4 + r] * b[4 * c + 1] + a[8 + r] * b[4 * c + 2] +
                       a[12 + r] * b[4 * c + 3];
}

// The projection narrowed to the pick square, times the model-view matrix.
void pickMatrix(const PickFrame& frame, PickKind kind, int32_t x, int32_t y, float mvp[16]) {
  const int32_t* vp = frame.viewport;
  const double square = pickSquare(kind);
  const double cy = static_cast<double>(vp[3]) - y;
  float pick[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
  pick[12] = static_cast<float>((vp[2] - 2 * (x - static_cast<double>(vp[0]))) / square);
  pick[13] = static_cast<float>((vp[3] - 2 * (cy - vp[1])) / square);
  pick[0] = static_cast<float>(vp[2] / square);
  pick[5] = static_cast<float>(vp[3] / square);
  float projection[16];
  multiply(pick, frame.projection, projection);
  multiply(projection, frame.modelView, mvp);
}

// Window depth as the selection buffer stores it: scaled by 2^32 in float
// and truncated, so that the far plane wraps to 0 as it does there.
uint32_t bufferDepth(float z) {
  return static_cast<uint32_t>(static_cast<int64_t>(z * 4294967296.0f));
}

bool boxOutside(const float mvp[16], const float box[6]) {
  unsigned all = 0x3f;
  for (int i = 0; i < 8 && all != 0; ++i) {
    const float corner[3] = {box[(i & 1) ? 3 : 0], box[(i & 2) ? 4 : 1], box[(i & 4) ? 5 : 2]};
    float c[4];
    transform(mvp, corner, c);
    all &= outcode(c);
  }
  return all != 0;
}

void testPrimitive(const PickIndex& index, const PickSet& set, const float mvp[16],
                   uint32_t p, std::vector<Hit>* hits) {
  const int corners = index.corners;
  const float* v = set.xyz.data() + static_cast<size_t>(p) * corners * 3;
  Clip c[3];
  unsigned any = 0, all = 0x3f;
  for (int i = 0; i < corners; ++i) {
    transform(mvp, v + 3 * i, c[i].v);
    const unsigned code = outcode(c[i].v);
    any |= code;
    all &= code;
  }
  if (all != 0) return;
  float minZ = HUGE_VALF, maxZ = -HUGE_VALF;
  bool kept = false;
  if (corners == 1)
    kept = any == 0 && (depthRange(c, 1, &minZ, &maxZ), true);
  else if (corners == 2)
    kept = clipSegment(c, any, &minZ, &maxZ);
  else
    kept = clipTriangle(c, any, &minZ, &maxZ);
  if (kept) hits->push_back({index.candidate[p], minZ, maxZ});
}

// Only the first kPickMaxHits candidates hit, in drawing order, can be
// recorded, so boxes are opened in the order of the least candidate they
// hold: once that exceeds the kPickMaxHits-th candidate hit so far, no box
// left can change the answer. A candidate whose primitives lie in several
// boxes is still seen whole: every box holding a candidate at or below
// that bound is opened.
struct Open {
  uint32_t least;
  uint32_t level;
  size_t node;
  bool operator>(const Open& o) const { return least > o.least; }
};

void search(const PickIndex& index, const PickSet& set, const float mvp[16],
            std::vector<Hit>* hits) {
  std::vector<Open> heap;
  auto push = [&](uint32_t level, size_t node) {
    heap.push_back({index.firstCandidate[index.levelStart[level] + node], level, node});
    std::push_heap(heap.begin(), heap.end(), std::greater<Open>());
  };
  // The distinct candidates hit so far, least first, at most kPickMaxHits.
  std::vector<uint32_t> firstHits;
  auto note = [&](uint32_t candidate) {
    auto at = std::lower_bound(firstHits.begin(), firstHits.end(), candidate);
    if (at != firstHits.end() && *at == candidate) return;
    firstHits.insert(at, candidate);
    if (firstHits.size() > static_cast<size_t>(kPickMaxHits)) firstHits.pop_back();
  };
  push(static_cast<uint32_t>(index.levelCount.size() - 1), 0);
  while (!heap.empty()) {
    std::pop_heap(heap.begin(), heap.end(), std::greater<Open>());
    const Open open = heap.back();
    heap.pop_back();
    if (firstHits.size() == static_cast<size_t>(kPickMaxHits) && open.least > firstHits.back())
      break;
    if (boxOutside(mvp, &index.boxes[6 * (index.levelStart[open.level] + open.node)])) continue;
    if (open.level > 0) {
      const size_t below = index.levelCount[open.level - 1];
      for (size_t child = 2 * open.node; child < 2 * open.node + 2 && child < below; ++child)
        push(open.level - 1, child);
      continue;
    }
    const size_t end = std::min(index.order.size(), (open.node + 1) * kLeaf);
    for (size_t i = open.node * kLeaf; i < end; ++i) {
      const size_t before = hits->size();
      testPrimitive(index, set, mvp, index.order[i], hits);
      if (hits->size() > before) note(hits->back().candidate);
    }
  }
}

}  // namespace

PickIndex* newPickIndex() { return new (std::nothrow) PickIndex; }
void freePickIndex(PickIndex* index) { delete index; }

bool pickIndexBuild(PickIndex* index, const PickSet& set) {
  const size_t primitives = set.first.empty() ? 0 : set.first.back();
  if (index->built && index->content == set.content && index->corners == set.corners &&
      index->order.size() == primitives)
    return true;
  index->built = false;
  try {
    build(index, set);
  } catch (const std::bad_alloc&) {
    *index = PickIndex();
    return false;
  }
  index->content = set.content;
  index->built = true;
  return true;
}

bool pickIndexed(PickIndex* index, const PickSet& set, const PickFrame& frame, PickKind kind,
                 int32_t x, int32_t y, uint32_t* name, std::vector<PickHit>* recorded) {
  if (index == nullptr || set.names.empty() || !pickIndexBuild(index, set)) return false;
  if (index->levelCount.empty()) return false;
  float mvp[16];
  pickMatrix(frame, kind, x, y, mvp);
  std::vector<Hit>& hits = index->scratch;
  hits.clear();
  search(*index, set, mvp, &hits);
  // One record a candidate, in drawing order: the least and greatest depth
  // over its primitives.
  std::sort(hits.begin(), hits.end(),
            [](const Hit& a, const Hit& b) { return a.candidate < b.candidate; });
  PickHit records[kPickMaxHits];
  int count = 0;
  for (size_t i = 0; i < hits.size() && count < kPickMaxHits;) {
    const uint32_t candidate = hits[i].candidate;
    float minZ = hits[i].minZ, maxZ = hits[i].maxZ;
    for (++i; i < hits.size() && hits[i].candidate == candidate; ++i) {
      minZ = std::min(minZ, hits[i].minZ);
      maxZ = std::max(maxZ, hits[i].maxZ);
    }
    records[count++] = {bufferDepth(minZ), bufferDepth(maxZ), set.names[candidate]};
  }
  if (recorded != nullptr) recorded->assign(records, records + count);
  return choosePickHit(records, count, name);
}
