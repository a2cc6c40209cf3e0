// The indexed picker against GL selection mode over random scenes (points
// at equal depths and on the origin marker, overlapping polygons in
// mirrored and plain layers, lines, posed joints, placed children, collide
// shapes) under random parallel and perspective cameras, asked near
// projected vertices and anywhere. Allowed disagreements, counted: a
// near-tie (both hit, and the indexed picker also recorded the reference's
// answer within kDepthTolerance of its choice's greatest depth), and an
// edge case (it gives the reference's answer once the view is scaled by
// kEdgeScale: a candidate on the pick square's border, where the pickers'
// matrix products round differently). Skips without a display with GLX.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "gl_window.h"
#include "model/children.h"
#include "model/geometry.h"
#include "model/model.h"
#include "model/skeleton.h"
#include "view/camera.h"
#include "view/pick.h"

namespace {

constexpr int kWidth = 320, kHeight = 240;
constexpr int kScenes = 100;
constexpr int kPicksPerKind = 12;
constexpr uint32_t kDepthTolerance = 1u << 12;  // of 2^32: about 1e-6
constexpr float kEdgeScale = 1e-5f;             // under 0.002 pixels here

GlWindow g_window;
bool g_ready = false;

struct Scene {
  Model* model = nullptr;
  Model* other = nullptr;  // a second open model
  PickSettings settings;
  PickFrame frame;
};

float uniform(std::mt19937& rng, float lo, float hi) {
  return std::uniform_real_distribution<float>(lo, hi)(rng);
}
int between(std::mt19937& rng, int lo, int hi) {
  return std::uniform_int_distribution<int>(lo, hi)(rng);
}

void randomTurn(std::mt19937& rng, float r[9]) {
  float m[16];
  matrixIdentity(m);
  matrixRotate(m, uniform(rng, -180, 180), uniform(rng, -180, 180), uniform(rng, -180, 180));
  for (int row = 0; row < 3; ++row)
    for (int c = 0; c < 3; ++c) r[3 * row + c] = m[4 * c + row];
}

// Points in a box, some repeated (equal depths) and some on the origin.
void addPoints(std::mt19937& rng, Model* m, int n) {
  for (int i = 1; i <= n; ++i) {
    float x = uniform(rng, -8, 8), y = uniform(rng, -8, 8), z = uniform(rng, -8, 8);
    const int roll = between(rng, 0, 9);
    if (roll == 0) x = y = z = 0;
    if (roll == 1 && i > 1) {
      const Point* p = findPoint(m, between(rng, 1, i - 1));
      x = p->x, y = p->y, z = p->z;
    }
    if (roll == 2) z = 1.5f;  // many points at one depth under the z views
    addPoint(m, i, x, y, z);
  }
}

// A stack of squares across the middle: more hits than the selection
// buffer holds.
void addStack(std::mt19937& rng, Model* m) {
  const int base = highestPointNumber(m);
  addLayer(m, "stack", 0, 0, 0, 0, 0, 0);
  for (int i = 0; i < 30; ++i) {
    const float z = uniform(rng, -6, 6), h = uniform(rng, 2, 4);
    const int32_t first = base + 4 * i + 1;
    for (int c = 0; c < 4; ++c) addPoint(m, first + c, c % 2 ? h : -h, c / 2 ? h : -h, z);
    const int32_t corners[4] = {first, first + 1, first + 2, first + 3};
    addTriangle(m, "stack", 4, corners, 0);
  }
}

void addShapes(std::mt19937& rng, Model* m, int points) {
  const char* layers[] = {"a", "b", "c"};
  const int layerCount = between(rng, 1, 3);
  for (int l = 0; l < layerCount; ++l) {
    const bool mirrored = between(rng, 0, 2) == 0;
    addLayer(m, layers[l], 0, 0, 0, 0, mirrored ? 1 : 0, between(rng, 1, 6));
    for (int t = between(rng, 1, 12); t > 0; --t) {
      int32_t corners[5];
      const int count = between(rng, 3, 5);
      for (int c = 0; c < count; ++c) corners[c] = between(rng, 1, points);
      addTriangle(m, layers[l], count, corners, 0);
    }
    for (int t = between(rng, 0, 4); t > 0; --t) {
      int32_t corners[4];
      const int count = between(rng, 2, 4);
      for (int c = 0; c < count; ++c) corners[c] = between(rng, 1, points);
      addLine(m, layers[l], count, corners, 0);
    }
  }
}

void addSkeleton(std::mt19937& rng, Model* m, int points) {
  const char* names[] = {"hip", "knee", "foot"};
  const char* parent = "world";
  for (int j = 0; j < between(rng, 0, 3); ++j) {
    addJoint(m, names[j], uniform(rng, -5, 5), uniform(rng, -5, 5), uniform(rng, -5, 5), parent,
             1, 1, 1);
    for (int w = 0; w < 4; ++w) addWeight(m, names[j], between(rng, 1, points), uniform(rng, 0, 1));
    float r[9];
    randomTurn(rng, r);
    const float t[3] = {uniform(rng, -2, 2), 0, 0}, s[3] = {1, 1, 1};
    setPose(m, names[j], t, r, s);
    parent = names[j];
  }
}

void addPlaced(std::mt19937& rng, Scene* scene) {
  Model* m = scene->model;
  for (int c = between(rng, 0, 2); c > 0; --c) {
    float r[9];
    randomTurn(rng, r);
    const float at[3] = {uniform(rng, -6, 6), uniform(rng, -6, 6), uniform(rng, -6, 6)};
    const float scale[3] = {uniform(rng, 0.3f, 2), uniform(rng, 0.3f, 2), uniform(rng, 0.3f, 2)};
    Model* child = createModel(m, "child.mod", nullptr);
    addPoints(rng, child, 8);
    addShapes(rng, child, 8);
    addChild(m, child, "kid", at, scale, r, nullptr, 0);
  }
  for (int c = between(rng, 0, 4); c > 0; --c) {
    float r[9];
    randomTurn(rng, r);
    const float at[3] = {uniform(rng, -6, 6), uniform(rng, -6, 6), uniform(rng, -6, 6)};
    const float size[3] = {uniform(rng, 0.5f, 4), uniform(rng, 0.5f, 4), uniform(rng, 0.5f, 6)};
    const int shapes[] = {kShapeBox, kShapeSphere, kShapeCapsule, kShapeMesh, kShapePlane};
    addCollide(m, "c", shapes[between(rng, 0, 4)], at, size, r, 1, 1, 0, 1);
  }
}

void randomCamera(std::mt19937& rng, PickFrame* frame) {
  frame->viewport[0] = 0;
  frame->viewport[1] = 0;
  frame->viewport[2] = kWidth;
  frame->viewport[3] = kHeight;
  float* p = frame->projection;
  std::memset(p, 0, 16 * sizeof(float));
  const float halfX = uniform(rng, 8, 20), halfY = halfX * kHeight / kWidth;
  const float nearZ = uniform(rng, 1, 5), farZ = uniform(rng, 40, 80);
  if (between(rng, 0, 1) == 0) {  // parallel
    p[0] = 1 / halfX;
    p[5] = 1 / halfY;
    p[10] = -2 / (farZ - nearZ);
    p[14] = -(farZ + nearZ) / (farZ - nearZ);
    p[15] = 1;
  } else {  // perspective, the scene about 30 units away
    p[0] = 30 / halfX;
    p[5] = 30 / halfY;
    p[10] = -(farZ + nearZ) / (farZ - nearZ);
    p[11] = -1;
    p[14] = -2 * farZ * nearZ / (farZ - nearZ);
  }
  float* mv = frame->modelView;
  matrixIdentity(mv);
  // Sometimes exactly down an axis, where equal depths abound.
  if (between(rng, 0, 3) != 0)
    matrixRotate(mv, uniform(rng, -180, 180), uniform(rng, -180, 180), 0);
  float shift[16];
  matrixIdentity(shift);
  shift[12] = uniform(rng, -2, 2);
  shift[13] = uniform(rng, -2, 2);
  shift[14] = -30;
  matrixMultiply(shift, mv, mv);
}

Scene makeScene(std::mt19937& rng) {
  Scene s;
  s.model = createModel(nullptr, "scene.mod", nullptr);
  const int points = between(rng, 5, 60);
  addPoints(rng, s.model, points);
  addShapes(rng, s.model, points);
  addSkeleton(rng, s.model, points);
  if (between(rng, 0, 2) == 0) addStack(rng, s.model);
  addPlaced(rng, &s);
  s.other = createModel(nullptr, "other.mod", nullptr);
  addPoints(rng, s.other, 10);
  addShapes(rng, s.other, 10);
  setDisplayDefaults(&s.settings.flags);
  s.settings.flags.pose = between(rng, 0, 1);
  s.settings.flags.mirror = between(rng, 0, 1);
  s.settings.flags.closelines = between(rng, 0, 1);
  s.settings.flags.children = between(rng, 0, 3) != 0;
  for (float& c : s.settings.cursor) c = uniform(rng, -4, 4);
  s.settings.handleLength = uniform(rng, 2, 8);
  s.settings.arcAxis = between(rng, 1, 3);
  randomCamera(rng, &s.frame);
  return s;
}

// Window position (origin top left) of a candidate's first vertex.
bool projected(const PickFrame& f, const float* v, float* x, float* y) {
  float eye[4], clip[4];
  for (int r = 0; r < 4; ++r)
    eye[r] = f.modelView[r] * v[0] + f.modelView[4 + r] * v[1] + f.modelView[8 + r] * v[2] +
             f.modelView[12 + r];
  for (int r = 0; r < 4; ++r)
    clip[r] = f.projection[r] * eye[0] + f.projection[4 + r] * eye[1] +
              f.projection[8 + r] * eye[2] + f.projection[12 + r] * eye[3];
  if (clip[3] <= 0) return false;
  *x = (clip[0] / clip[3] * 0.5f + 0.5f) * kWidth;
  *y = kHeight - (clip[1] / clip[3] * 0.5f + 0.5f) * kHeight;
  return true;
}

// Whether the indexed picker gives the reference's answer once the view is
// scaled by a hair (kEdgeScale) either way about its centre: the answer
// then hangs on a candidate lying on the pick square's border.
bool onSquareEdge(const PickSet& set, const PickFrame& f, PickKind kind, int32_t x, int32_t y,
                  bool refHit, uint32_t reference) {
  PickIndex* index = newPickIndex();
  bool edge = false;
  for (float scale : {1.0f - kEdgeScale, 1.0f + kEdgeScale}) {
    PickFrame scaled = f;
    for (int c = 0; c < 4; ++c) {
      scaled.projection[4 * c] *= scale;
      scaled.projection[4 * c + 1] *= scale;
    }
    uint32_t name = 0;
    const bool hit = pickIndexed(index, set, scaled, kind, x, y, &name);
    edge = edge || (hit == refHit && (!hit || name == reference));
  }
  freePickIndex(index);
  return edge;
}

struct Tally {
  int picks = 0, hits = 0, nearTies = 0, edges = 0;
};

void compareAt(const Scene& s, PickKind kind, PickSet& set, PickIndex* index, int32_t x,
               int32_t y, Tally* tally) {
  uint32_t reference = 0, indexed = 0;
  std::vector<PickHit> hits;
  const bool refHit = pickSelect(set, s.frame, kind, x, y, &reference);
  const bool idxHit = pickIndexed(index, set, s.frame, kind, x, y, &indexed, &hits);
  ++tally->picks;
  if (refHit) ++tally->hits;
  if (refHit == idxHit && (!refHit || reference == indexed)) return;
  if (refHit && idxHit) {
    uint32_t chosenDepth = 0;
    for (const PickHit& h : hits)
      if (h.name == indexed) chosenDepth = h.maxDepth;
    for (const PickHit& h : hits) {
      const int64_t gap = static_cast<int64_t>(h.maxDepth) - static_cast<int64_t>(chosenDepth);
      if (h.name == reference && std::llabs(gap) <= kDepthTolerance) {
        ++tally->nearTies;
        return;
      }
    }
  }
  if (onSquareEdge(set, s.frame, kind, x, y, refHit, reference)) {
    ++tally->edges;
    return;
  }
  ADD_FAILURE() << "kind " << static_cast<int>(kind) << " at " << x << "," << y
                << ": reference " << (refHit ? static_cast<int64_t>(reference) : -2)
                << ", indexed " << (idxHit ? static_cast<int64_t>(indexed) : -2);
}

class PickDifferential : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (std::getenv("DISPLAY") == nullptr) return;
    g_ready = openGlWindow(&g_window, kWidth, kHeight, "pick_differential");
  }
  static void TearDownTestSuite() {
    if (g_ready) closeGlWindow(&g_window);
    g_ready = false;
  }
  void SetUp() override {
    if (!g_ready) GTEST_SKIP() << "no display with GLX";
  }
};

TEST_F(PickDifferential, IndexedPickerAnswersAsSelectionModeDoes) {
  std::mt19937 rng(20261123);
  Tally tally;
  PickIndex* indexes[kPickKinds];
  for (PickIndex*& index : indexes) index = newPickIndex();
  for (int n = 0; n < kScenes; ++n) {
    Scene s = makeScene(rng);
    const std::vector<Model*> open = {s.model, s.other};
    for (int k = 0; k < kPickKinds; ++k) {
      const PickKind kind = static_cast<PickKind>(k);
      PickSet set;
      ASSERT_TRUE(buildPickSet(kind, s.model, open, s.settings, &set));
      for (int i = 0; i < kPicksPerKind; ++i) {
        int32_t x = between(rng, 0, kWidth - 1), y = between(rng, 0, kHeight - 1);
        float px, py;
        const size_t vertices = set.xyz.size() / 3;
        if (vertices > 0 && i % 2 == 0 &&
            projected(s.frame, &set.xyz[3 * static_cast<size_t>(between(rng, 0, static_cast<int>(vertices) - 1))], &px, &py) &&
            std::fabs(px) < 1e5f && std::fabs(py) < 1e5f) {
          x = static_cast<int32_t>(px) + between(rng, -3, 3);
          y = static_cast<int32_t>(py) + between(rng, -3, 3);
        }
        compareAt(s, kind, set, indexes[k], x, y, &tally);
      }
    }
    freeModel(s.model);
    freeModel(s.other);
  }
  for (PickIndex* index : indexes) freePickIndex(index);
  std::printf("picks %d, hits %d, near-ties %d, edge cases %d\n", tally.picks, tally.hits,
              tally.nearTies, tally.edges);
  EXPECT_GE(tally.picks, 10000);
  EXPECT_GT(tally.hits, tally.picks / 4);
}

}  // namespace
