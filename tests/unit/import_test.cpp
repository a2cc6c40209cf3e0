// The importer: how vertices become points (joined by position, kept apart
// at seams), which normals and colours survive, layer names; round trips
// through every y-up export give back the points, triangles and facing;
// broken files are refused with a reason and never crash.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "io/export_scene.h"
#include "io/exporters.h"
#include "io/import_build.h"
#include "io/import_child.h"
#include "io/import_records.h"
#include "io/import_scene.h"
#include "io/import_screen.h"
#include "io/import_server.h"
#include "model/children.h"
#include "model/last_error.h"
#include "model/transform.h"
#include "read_back.h"
#include "test_files.h"

namespace {

using Position = std::array<float, 3>;

std::vector<Position> positions(const Model* m) {
  std::vector<Position> out;
  tableForEach<const Point>(&m->points, [&](const Point* p, int32_t) {
    out.push_back({p->x, p->y, p->z});
  });
  std::sort(out.begin(), out.end());
  return out;
}

int32_t triangles(const Model* m) {
  int32_t n = 0;
  tableForEach<const Layer>(&m->layers, [&](const Layer* layer, int32_t) {
    tableForEach<const Triangle>(&layer->triangles, [&](const Triangle* t, int32_t) {
      n += stripTriangleCount(t->count);
    });
  });
  return n;
}

// Signed volume of every layer's triangles: positive when they face out.
double volume(const Model* m) {
  double v = 0.0;
  tableForEach<const Layer>(&m->layers, [&](const Layer* layer, int32_t) {
    tableForEach<const Triangle>(&layer->triangles, [&](const Triangle* t, int32_t) {
      forEachStripTriangle(t->points, t->count, [&](int32_t a, int32_t b, int32_t c) {
        const Point* p[3] = {findPoint(m, a), findPoint(m, b), findPoint(m, c)};
        v += (p[0]->x * (double{p[1]->y} * p[2]->z - double{p[1]->z} * p[2]->y) -
              p[0]->y * (double{p[1]->x} * p[2]->z - double{p[1]->z} * p[2]->x) +
              p[0]->z * (double{p[1]->x} * p[2]->y - double{p[1]->y} * p[2]->x)) /
             6.0;
      });
    });
  });
  return v;
}

ImportLook plainLook() { return {true, {0.5f, 0.5f, 0.5f}, 1.0f, false, ""}; }

// ---- Building -----------------------------------------------------------------

// A builder into a new empty model, freed after the test.
class ImportBuild : public ::testing::Test {
 protected:
  void SetUp() override {
    m = createModel(nullptr, "b.mod", nullptr);
    importBegin(&b, m);
  }
  void TearDown() override { freeModel(m); }
  Model* m = nullptr;
  ImportBuilder b;
};

TEST_F(ImportBuild, VerticesJoinByPositionButSeamsKeepTheirOwnPointsAndNormalsMustAgree) {
  ASSERT_TRUE(importLayer(&b, "first", plainLook(), true, false, nullptr));
  const float p[3] = {1, 2, 3}, q[3] = {4, 5, 6};
  const float uvA[2] = {0, 0}, uvB[2] = {1, 0};
  const int32_t a = importVertex(&b, p, nullptr, uvA, nullptr);
  EXPECT_EQ(importVertex(&b, p, nullptr, uvA, nullptr), a);
  const int32_t seam = importVertex(&b, p, nullptr, uvB, nullptr);
  EXPECT_NE(seam, a);  // same place, other picture corner
  importEndLayer(&b);
  // Another layer at the same place takes the first point, with its own uv.
  ASSERT_TRUE(importLayer(&b, "first", plainLook(), false, false, nullptr));
  EXPECT_EQ(importVertex(&b, p, nullptr, nullptr, nullptr), a);
  EXPECT_NE(importVertex(&b, q, nullptr, nullptr, nullptr), a);
  importEndLayer(&b);
  EXPECT_EQ(b.counts.points, 3);
  EXPECT_EQ(b.counts.layers, 2);
  // The second layer of that name got another.
  EXPECT_NE(findLayer(m, "first_2"), nullptr);
  const Uvee* uv = tableFindT<Uvee>(
      &tableFindT<Image>(&findLayer(m, "first")->images, 1)->uvees, seam);
  ASSERT_NE(uv, nullptr);
  EXPECT_EQ(uv->u, 1.0f);
  // Normals survive only where the joined vertices agree.
  ASSERT_TRUE(importLayer(&b, "n", plainLook(), false, false, nullptr));
  const float o[3] = {0, 0, 0}, x[3] = {1, 0, 0};
  const float up[3] = {0, 0, 1}, side[3] = {1, 0, 0};
  const int32_t apart = importVertex(&b, o, up, nullptr, nullptr);
  importVertex(&b, o, side, nullptr, nullptr);  // a corner of another face
  const int32_t agreed = importVertex(&b, x, up, nullptr, nullptr);
  importVertex(&b, x, up, nullptr, nullptr);
  importEndLayer(&b);
  EXPECT_EQ(tableFind(&findLayer(m, "n")->normals, apart), nullptr);
  EXPECT_NE(tableFind(&findLayer(m, "n")->normals, agreed), nullptr);
}

// A reader that names the first vertex at each position gets the points
// the builder's own table gives; one that names a vertex elsewhere, or
// one not sent yet, joins nothing it should not.
TEST_F(ImportBuild, FirstsNamedByTheReaderJoinAsTheTableDoesAndFalseOnesJoinNothing) {
  Model* plain = createModel(nullptr, "p.mod", nullptr);
  ImportBuilder t;
  importBegin(&t, plain);
  const float at[3][3] = {{1, 2, 3}, {4, 5, 6}, {-0.0f, 0, 0}};
  const float uvs[2][2] = {{0, 0}, {1, 0}};
  // (position, uv) per vertex, two layers: the first with uvs.
  const int sequence[2][5][2] = {{{0, 0}, {0, 0}, {0, 1}, {1, 0}, {2, 1}},
                                 {{1, 0}, {0, 0}, {2, 0}, {2, 0}, {0, 0}}};
  uint32_t firstOf[3] = {0, 0, 0};
  bool seen[3] = {false, false, false};
  uint32_t sent = 0;
  for (int layer = 0; layer < 2; ++layer) {
    ASSERT_TRUE(importLayer(&b, "l", plainLook(), layer == 0, false, nullptr));
    ASSERT_TRUE(importLayer(&t, "l", plainLook(), layer == 0, false, nullptr));
    for (const auto& v : sequence[layer]) {
      const int position = v[0];
      if (!seen[position]) firstOf[position] = sent;
      seen[position] = true;
      ++sent;
      const float* uv = layer == 0 ? uvs[v[1]] : nullptr;
      EXPECT_EQ(importPlacedVertex(&b, at[position], firstOf[position], nullptr, uv, nullptr),
                importVertex(&t, at[position], nullptr, uv, nullptr))
          << "layer " << layer << " vertex " << sent - 1;
    }
    importEndLayer(&b);
    importEndLayer(&t);
  }
  EXPECT_EQ(b.counts.points, t.counts.points);
  freeModel(plain);
  // Lies: a first at another position, and one not sent yet.
  ASSERT_TRUE(importLayer(&b, "lies", plainLook(), false, false, nullptr));
  const float elsewhere[3] = {7, 8, 9};
  const int32_t before = b.counts.points;
  const int32_t own = importPlacedVertex(&b, elsewhere, firstOf[0], nullptr, nullptr, nullptr);
  EXPECT_EQ(b.counts.points, before + 1);
  const int32_t ahead = importPlacedVertex(&b, at[1], 1000, nullptr, nullptr, nullptr);
  EXPECT_EQ(importPlacedVertex(&b, elsewhere, sent, nullptr, nullptr, nullptr), own);
  importEndLayer(&b);  // the layer's new points are in the model from here
  const Point* made = findPoint(m, own);
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(made->x, 7.0f);
  EXPECT_EQ(findPoint(m, ahead)->y, 5.0f);
}

TEST_F(ImportBuild, OneColourForEveryVertexBecomesTheLayerColourSegmentsJoinNamesAreSafe) {
  const float p[3] = {0, 0, 0}, q[3] = {1, 0, 0};
  const float black[4] = {0, 0, 0, 1};
  const float red[4] = {1, 0, 0, 1}, blue[4] = {0, 0, 1, 0.5f};
  ASSERT_TRUE(importLayer(&b, "same", plainLook(), false, true, nullptr));
  importVertex(&b, p, nullptr, nullptr, black);
  importVertex(&b, q, nullptr, nullptr, black);
  importEndLayer(&b);
  ASSERT_TRUE(importLayer(&b, "mixed", plainLook(), false, true, nullptr));
  importVertex(&b, p, nullptr, nullptr, red);
  importVertex(&b, q, nullptr, nullptr, blue);
  importEndLayer(&b);
  const Layer* same = findLayer(m, "same");
  EXPECT_EQ(tableCount(&same->colours), 0);
  // Black is no colour to a layer line (0 0 0 draws grey); it stays as
  // dark as it can.
  for (int k = 0; k < 3; ++k) EXPECT_EQ(same->origin[k], 1.0f / 255.0f);
  const Layer* mixed = findLayer(m, "mixed");
  EXPECT_EQ(tableCount(&mixed->colours), 2);
  EXPECT_EQ(mixed->transparent, 1);
  // Segments join into lines, and names are made safe.
  ASSERT_TRUE(importLayer(&b, "#a b\tc", plainLook(), false, false, nullptr));
  int32_t pts[4];
  for (int i = 0; i < 4; ++i) {
    const float at[3] = {float(i), 0, 0};
    pts[i] = importVertex(&b, at, nullptr, nullptr, nullptr);
  }
  importSegment(&b, pts[0], pts[1]);
  importSegment(&b, pts[1], pts[2]);
  importSegment(&b, pts[0], pts[3]);  // starts elsewhere: a line of its own
  importEndLayer(&b);
  const Layer* layer = findLayer(m, "_a_b_c");
  ASSERT_NE(layer, nullptr);
  EXPECT_EQ(tableCount(&layer->lines), 2);
  EXPECT_EQ(b.counts.lines, 2);
  const float bad[3] = {0, NAN, 0};
  ASSERT_TRUE(importLayer(&b, "x", plainLook(), false, false, nullptr));
  EXPECT_EQ(importVertex(&b, bad, nullptr, nullptr, nullptr), 0);
  EXPECT_TRUE(b.failed);
}

// Triangles are stored in runs: more of them than one run holds, with a
// line begun between them, must keep the ids they would have had one by
// one (the line's after every triangle sent before it ends) and give the
// layer the bounds a recompute over all of them gives.
TEST_F(ImportBuild, TrianglesStoredInRunsKeepTheirIdsAndTheLayerBoundsOfAllOfThem) {
  ASSERT_TRUE(importLayer(&b, "grid", plainLook(), false, false, nullptr));
  constexpr int kSide = 120;  // 2 * 119 * 119 triangles
  std::vector<int32_t> at(kSide * kSide);
  for (int j = 0; j < kSide; ++j)
    for (int i = 0; i < kSide; ++i) {
      // The first rows reach furthest out in z, the last ones lowest.
      const float p[3] = {float(i), float(j), j < 5 ? 100.0f - j : j > kSide - 3 ? -50.0f : 0};
      at[j * kSide + i] = importVertex(&b, p, nullptr, nullptr, nullptr);
    }
  for (int j = 0; j + 1 < kSide; ++j) {
    if (j == kSide / 2) importSegment(&b, at[0], at[1]);
    for (int i = 0; i + 1 < kSide; ++i) {
      const int32_t q = at[j * kSide + i];
      importTriangle(&b, q, at[j * kSide + i + 1], at[(j + 1) * kSide + i]);
      importTriangle(&b, at[j * kSide + i + 1], at[(j + 1) * kSide + i + 1], at[(j + 1) * kSide + i]);
    }
  }
  importEndLayer(&b);
  ASSERT_FALSE(b.failed);
  Layer* layer = findLayer(m, "grid");
  ASSERT_EQ(tableCount(&layer->triangles), 2 * (kSide - 1) * (kSide - 1));
  int32_t last = 0;
  float expected[6];
  bool first = true;
  tableForEach<const Triangle>(&layer->triangles, [&](const Triangle* t, int32_t) {
    EXPECT_GT(t->id, last);
    last = t->id;
    for (int k = 0; k < 3; ++k) {
      const Point* p = findPoint(m, t->points[k]);
      const float v[3] = {p->x, p->y, p->z};
      foldCorner(expected, v, first);
      first = false;
    }
  });
  const Line* line = tableAt<Line>(&layer->lines, tableNextSlot(&layer->lines, -1));
  EXPECT_GT(line->id, last);
  const float* bounds = layerBounds(m, layer);
  ASSERT_NE(bounds, nullptr);
  for (int k = 0; k < 6; ++k) EXPECT_EQ(bounds[k], expected[k]) << k;
}

// ---- Round trips --------------------------------------------------------------

// A box, a child box turned and placed, one scaled by -1 in x (a mirror
// image, still a solid), a mirrored half box, a line: 60 triangles.
Model* sampleModel() {
  Model* m = read_back::box("sample.mod");
  const float angles[3] = {0, 0, 90}, at[3] = {10, 0, 0}, scale[3] = {1, 1, 2};
  float rotation[9];
  turnFromAngles(angles, rotation);
  addChild(m, read_back::box("part.mod"), "part", at, scale, rotation, nullptr, 1.0f);
  const float back[3] = {-5, 0, 0}, flip[3] = {-1, 1, 1};
  const float identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  addChild(m, read_back::box("part.mod"), "flipped", back, flip, identity, nullptr, 1.0f);
  read_back::addBox(m, "half", 20, 5, 5, 5, 1, 1, 1);
  setLayerMirror(m, findLayer(m, "half"), kAxisZ);
  const int32_t line[3] = {1, 2, 4};
  addLine(m, "skin", 3, line, 0);
  flushForExport(m);
  return m;
}

// What the exports hold: the model with its children placed and its
// reflections made, as absorbing and baking make them.
std::vector<Position> expectedPositions() {
  std::vector<Position> out;
  for (int k = 0; k < 2; ++k)
    for (int j = 0; j < 2; ++j)
      for (int i = 0; i < 2; ++i) {
        out.push_back({2.0f * i, 3.0f * j, 4.0f * k});
        // The child: (x, y, z) -> (10 - y, x, 2z).
        out.push_back({10.0f - 3.0f * j, 2.0f * i, 8.0f * k});
        out.push_back({-5.0f - 2.0f * i, 3.0f * j, 4.0f * k});
        out.push_back({5.0f + i, 5.0f + j, 5.0f + k});
        out.push_back({5.0f + i, 5.0f + j, -5.0f - k});
      }
  std::sort(out.begin(), out.end());
  return out;
}

struct RoundTrip {
  ExportFormat format;
  const char* file;
  bool lines;  // whether the format carries lines
};

TEST(ImportRoundTrip, EveryYUpExportComesBackWithItsPointsAndFacing) {
  const std::string dir = test_files::tempDir("roundtrip");
  const RoundTrip kTrips[] = {{ExportFormat::kStl, "a.stl", false},
                              {ExportFormat::kObj, "a.obj", true},
                              {ExportFormat::kStlBinary, "b.stl", false},
                              {ExportFormat::kPly, "a.ply", false},
                              {ExportFormat::kGlb, "a.glb", true}};
  Model* m = sampleModel();
  const std::vector<Position> expected = expectedPositions();
  for (const RoundTrip& trip : kTrips) {
    SCOPED_TRACE(trip.file);
    const std::string path = dir + trip.file;
    ASSERT_EQ(exportModel(m, {trip.format, path.c_str(), true}), 1) << lastErrorText();
    ImportReport report;
    Model* back = importModelFile(path.c_str(), nullptr, &report);
    ASSERT_NE(back, nullptr) << lastErrorText();
    EXPECT_EQ(triangles(back), 60);
    EXPECT_EQ(report.counts.lines, trip.lines ? 1 : 0);
    // The boxes, the turned one twice as tall, and the two halves.
    EXPECT_NEAR(volume(back), 24.0 + 48.0 + 24.0 + 2.0, 1e-3);
    // Other tools read it y up, (x, y, z) -> (x, z, -y), still facing out.
    const read_back::Solid s = read_back::read(path);
    EXPECT_NEAR(s.volume, 98.0, 1e-3);
    const double low[3] = {-7, -6, -6}, high[3] = {10, 8, 0};
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(s.min[k], low[k], 1e-5) << k;
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(s.max[k], high[k], 1e-5) << k;
    const std::vector<Position> got = positions(back);
    ASSERT_EQ(got.size(), expected.size());
    for (size_t i = 0; i < got.size(); ++i)
      for (int k = 0; k < 3; ++k) EXPECT_NEAR(got[i][k], expected[i][k], 1e-5);
    freeModel(back);
  }
  freeModel(m);
}

TEST(ImportRoundTrip, LayerNamesColoursAndNormalsComeBackAndMaterialsGiveColours) {
  const std::string dir = test_files::tempDir("roundtrip_looks");
  Model* m = read_back::box("looks.mod");
  const float rgb[3] = {0.25f, 0.5f, 1.0f};
  setLayerColour(m, findLayer(m, "skin"), rgb);
  setTransparency(m, "skin", 0.5f);
  addNormal(m, "skin", 1, 0, 0, 1);
  const std::string path = dir + "looks.glb";
  flushForExport(m);
  ASSERT_EQ(exportModel(m, {ExportFormat::kGlb, path.c_str(), false}), 1);
  Model* back = importModelFile(path.c_str(), nullptr, nullptr);
  ASSERT_NE(back, nullptr) << lastErrorText();
  EXPECT_STREQ(back->name, "looks");
  const Layer* skin = findLayer(back, "skin");
  ASSERT_NE(skin, nullptr);
  // Through linear light and back.
  EXPECT_NEAR(skin->origin[0], 0.25f, 1e-3);
  EXPECT_NEAR(skin->origin[1], 0.5f, 1e-3);
  EXPECT_NEAR(skin->opacity, 0.5f, 1e-6);
  // The stored normal comes back turned into z-up space again.
  const int32_t corner = findPointAt(back, 0, 0, 0);
  const VectorEntry* n = tableFindT<VectorEntry>(&skin->normals, corner);
  ASSERT_NE(n, nullptr);
  EXPECT_NEAR(n->z, 1.0f, 1e-6);
  freeModel(back);
  freeModel(m);
  // Materials give layer colours; no material keeps the default.
  test_files::writeFile(dir + "plain.stl",
                        "solid plain\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\n"
                        "vertex 1 0 0\nvertex 0 1 0\nendloop\nendfacet\nendsolid plain\n");
  test_files::writeFile(dir + "dark.mtl", "newmtl coal\nKd 0 0 0\nd 0.5\n");
  test_files::writeFile(dir + "dark.obj",
                        "mtllib dark.mtl\nv 0 0 0\nv 1 0 0\nv 0 1 0\nusemtl coal\nf 1 2 3\n");
  Model* plain = importModelFile((dir + "plain.stl").c_str(), nullptr, nullptr);
  ASSERT_NE(plain, nullptr) << lastErrorText();
  const Layer* layer = tableAt<Layer>(&plain->layers, tableNextSlot(&plain->layers, -1));
  // assimp's stand-in material: the layer's own default (0 0 0 draws grey).
  for (int k = 0; k < 3; ++k) EXPECT_EQ(layer->origin[k], 0.0f);
  Model* dark = importModelFile((dir + "dark.obj").c_str(), nullptr, nullptr);
  ASSERT_NE(dark, nullptr) << lastErrorText();
  layer = tableAt<Layer>(&dark->layers, tableNextSlot(&dark->layers, -1));
  for (int k = 0; k < 3; ++k) EXPECT_EQ(layer->origin[k], 1.0f / 255.0f);
  EXPECT_FLOAT_EQ(layer->opacity, 0.5f);
  freeModel(plain);
  freeModel(dark);
}

// ---- The reader's process --------------------------------------------------------

// Why importInChild refused what a reader did.
std::string whyReaderEnded(const std::function<void(RecordOut*)>& read, unsigned seconds = 0,
                           unsigned quietSeconds = 0, uint64_t memoryBytes = 0) {
  Model* m = createModel(nullptr, "c.mod", nullptr);
  ImportBuilder b;
  importBegin(&b, m);
  std::string why;
  EXPECT_FALSE(importInChild(read, &b, nullptr, &why, seconds, quietSeconds, memoryBytes));
  freeModel(m);
  return why;
}

// The model that one layer of records from a reader's process makes:
// `mesh` sends what lies between the layer's start and its end. Null, with
// *why, when importInChild refuses them.
Model* layerFromReader(const char* name, const std::function<void(RecordOut*)>& mesh,
                       std::string* why) {
  Model* m = createModel(nullptr, "t.mod", nullptr);
  ImportBuilder b;
  importBegin(&b, m);
  const bool done = importInChild(
      [&](RecordOut* out) {
        putLayer(out, name, plainLook(), false, false);
        mesh(out);
        putEndLayer(out);
        putDone(out);
      },
      &b, nullptr, why);
  if (done) return m;
  freeModel(m);
  return nullptr;
}

// A reader that crashes, loops, hangs or takes all the memory there is
// takes only its own process.
TEST(ImportChild, AReaderThatCrashesLoopsHangsOrTakesAllMemoryTakesOnlyItself) {
  // Half a layer, then the reader dies.
  const std::string crashed = whyReaderEnded([](RecordOut* out) {
    putLayer(out, "half", plainLook(), false, false);
    flushRecords(out);
    raise(SIGSEGV);
  });
  EXPECT_EQ(crashed.rfind("the reader crashed (", 0), 0u) << crashed;
  const std::string looped = whyReaderEnded(
      [](RecordOut*) {
        for (volatile unsigned spin = 0;; spin = spin + 1) {
        }
      },
      1);
  EXPECT_EQ(looped, "the reader ran past its time (1 s)");
  // Blocked without spending processor time, as on a lock its own broken
  // heap holds: its time limit never comes, its silence ends it.
  const std::string hung = whyReaderEnded(
      [](RecordOut* out) {
        putLayer(out, "half", plainLook(), false, false);
        flushRecords(out);
        for (;;) pause();
      },
      10, 1);
  EXPECT_EQ(hung, "the reader stopped answering (1 s without a word)");
  // Should memory run out, the system must pick the reader to end, not the
  // program; and the reader is refused more than its bound.
  const std::string said = whyReaderEnded([](RecordOut* out) {
    std::string adjust = test_files::readFile("/proc/self/oom_score_adj");
    while (!adjust.empty() && adjust.back() == '\n') adjust.pop_back();
    putError(out, adjust);
  });
  EXPECT_EQ(said, "1000");
  if (!readerMemoryLimited()) GTEST_SKIP() << "a sanitizer's shadow takes the address space";
  const std::string bounded = whyReaderEnded(
      [](RecordOut* out) {
        void* volatile taken = std::malloc(size_t{2} << 30);
        putError(out, taken == nullptr ? "refused" : "given");
        std::free(taken);
      },
      0, 0, uint64_t{1} << 30);
  EXPECT_EQ(bounded, "refused");
}

TEST(ImportChild, RecordsAreCheckedAndRepliedInOrder) {
  // A corner past the mesh's vertices is not followed.
  const std::string past = whyReaderEnded([](RecordOut* out) {
    putLayer(out, "l", plainLook(), false, false);
    putMesh(out, 0, 1);
    const float p[3] = {0, 0, 0};
    putVertices(out, p, 1, 3);
    const uint32_t corners[3] = {0, 0, 7};
    putTriangles(out, corners, 1);
    putDone(out);
  });
  EXPECT_NE(past.find("make no sense"), std::string::npos) << past;
  // A reader's own reason comes back as it said it.
  EXPECT_EQ(whyReaderEnded([](RecordOut* out) { putError(out, "No suitable reader"); }),
            "No suitable reader");
  // A whole triangle with a normal that has none for one corner.
  std::string why;
  Model* t = layerFromReader(
      "tri",
      [](RecordOut* out) {
        putMesh(out, kRecordNormals, 3);
        const float v[3][6] = {{0, 0, 0, 0, 0, 1}, {1, 0, 0, NAN, 0, 0}, {0, 1, 0, 0, 0, 1}};
        putVertices(out, v[0], 2, 6);  // in two runs
        putVertices(out, v[2], 1, 6);
        const uint32_t corners[3] = {0, 1, 2};
        putTriangles(out, corners, 1);
        putEndMesh(out);
      },
      &why);
  ASSERT_NE(t, nullptr) << why;
  const Layer* tri = findLayer(t, "tri");
  ASSERT_NE(tri, nullptr);
  EXPECT_EQ(tableCount(&tri->triangles), 1);
  EXPECT_EQ(tableCount(&tri->normals), 2);
  freeModel(t);
}

// A mesh says how many triangles it will send, so that the layer's table is
// made while the vertices still come; but the count is only believed as
// far as it is worth. More or fewer may come, and an absurd count costs
// nothing: the layer holds what was sent, every triangle once.
TEST(ImportChild, CountsAheadMakeRoomButAreOnlyHints) {
  struct Said {
    uint32_t vertices, triangles;
  };
  // A vertex for every corner (9000 for 3000 triangles) is joined before
  // it comes: room for all of them would be six times what a closed mesh
  // needs.
  for (const Said said : {Said{4, 0}, Said{4, 1}, Said{3000, 3000}, Said{9000, 3000},
                          Said{(1u << 24) + 1, (1u << 24) + 1}, Said{0xffffffffu, 0xffffffffu}}) {
    std::string why;
    Model* t = layerFromReader(
        "quad",
        [&](RecordOut* out) {
          putMesh(out, kRecordNormals, said.vertices, said.triangles);
          const float v[4][6] = {{0, 0, 0, 0, 0, 1}, {1, 0, 0, 0, 0, 1},
                                 {1, 1, 0, 0, 0, 1}, {0, 1, 0, 0, 0, 1}};
          putVertices(out, v[0], 4, 6);
          const uint32_t corners[6] = {0, 1, 2, 0, 2, 3};
          putTriangles(out, corners, 2);
          putEndMesh(out);
        },
        &why);
    ASSERT_NE(t, nullptr) << why;
    const Layer* quad = findLayer(t, "quad");
    ASSERT_NE(quad, nullptr);
    EXPECT_EQ(tableCount(&quad->triangles), 2) << said.triangles;
    EXPECT_EQ(tableCount(&quad->normals), 4) << said.vertices;
    if (said.triangles == 3000u) {
      EXPECT_GE(quad->triangles.capacity, 3000) << "room made ahead";
      EXPECT_GE(quad->normals.capacity, 1501) << "room made ahead";
      if (said.vertices == 9000u) {
        EXPECT_LT(quad->normals.capacity, 4096) << "room for every corner";
      }
    } else if (said.triangles > 3000u) {
      EXPECT_LT(quad->triangles.capacity, 1 << 20) << "an absurd count believed";
      EXPECT_LT(quad->normals.capacity, 1 << 20) << "an absurd count believed";
    }
    const Triangle* first = tableAt<Triangle>(&quad->triangles, 0);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->count, 3);
    EXPECT_EQ(tableAt<Triangle>(&quad->triangles, 1)->id, first->id + 1);
    freeModel(t);
  }
}

// assimp gives each OBJ face corner a vertex of its own; joined before the
// importer sees them, corners alike stay one point and a seam stays two. A
// mesh big enough is joined on two threads, each taking half the hashes:
// every corner must still find its own point, and no two points be one.
TEST(ImportJoin, CornersAlikeAreOnePointButASeamKeepsItsOwnOnOneThreadOrTwo) {
  const std::string dir = test_files::tempDir("join");
  test_files::writeFile(dir + "seam.obj",
                        "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 1 1 0\n"
                        "vt 0 0\nvt 1 0\nvt 0 1\nvt 0.5 0.5\n"
                        "f 1/1 2/2 3/3\nf 2/2 4/4 3/4\n");
  ImportReport report;
  Model* back = importModelFile((dir + "seam.obj").c_str(), nullptr, &report);
  ASSERT_NE(back, nullptr) << lastErrorText();
  EXPECT_EQ(report.counts.points, 5);
  EXPECT_EQ(triangles(back), 2);
  freeModel(back);
  constexpr int kSide = 150;  // 135,000 corners
  std::string text;
  for (int y = 0; y <= kSide; ++y)
    for (int x = 0; x <= kSide; ++x)
      text += "v " + std::to_string(x) + " " + std::to_string(y) + " 0\n";
  for (int y = 0; y < kSide; ++y)
    for (int x = 0; x < kSide; ++x) {
      const int a = 1 + y * (kSide + 1) + x, b = a + 1, c = a + kSide + 1, d = c + 1;
      text += "f " + std::to_string(a) + " " + std::to_string(b) + " " + std::to_string(d) +
              "\nf " + std::to_string(a) + " " + std::to_string(d) + " " +
              std::to_string(c) + "\n";
    }
  test_files::writeFile(dir + "grid.obj", text);
  back = importModelFile((dir + "grid.obj").c_str(), nullptr, &report);
  ASSERT_NE(back, nullptr) << lastErrorText();
  EXPECT_EQ(report.counts.points, (kSide + 1) * (kSide + 1));
  EXPECT_EQ(positions(back).size(), static_cast<size_t>((kSide + 1) * (kSide + 1)));
  int32_t unitHalves = 0;
  tableForEach<const Layer>(&back->layers, [&](const Layer* layer, int32_t) {
    tableForEach<const Triangle>(&layer->triangles, [&](const Triangle* t, int32_t) {
      const int32_t* n = polygonPoints(t);
      const Point* p[3] = {findPoint(back, n[0]), findPoint(back, n[1]), findPoint(back, n[2])};
      const double u[3] = {p[1]->x - p[0]->x, p[1]->y - p[0]->y, p[1]->z - p[0]->z};
      const double w[3] = {p[2]->x - p[0]->x, p[2]->y - p[0]->y, p[2]->z - p[0]->z};
      const double c[3] = {u[1] * w[2] - u[2] * w[1], u[2] * w[0] - u[0] * w[2],
                           u[0] * w[1] - u[1] * w[0]};
      const double twiceArea = std::sqrt(c[0] * c[0] + c[1] * c[1] + c[2] * c[2]);
      if (t->count == 3 && std::fabs(twiceArea - 1.0) < 1e-9) ++unitHalves;
    });
  });
  EXPECT_EQ(unitHalves, 2 * kSide * kSide) << "every triangle half a unit square";
  freeModel(back);
}

// Jobs in a row through the reader server, forking a reader for each and
// reading in the server itself: each import gets its own records and its
// own reason, whatever the job before it left behind.
TEST(ImportServer, JobsInARowKeepTheirOwnRecordsAndReasons) {
  const std::string dir = test_files::tempDir("server");
  Model* m = sampleModel();
  const std::string path = dir + "a.glb";
  ASSERT_EQ(exportModel(m, {ExportFormat::kGlb, path.c_str(), true}), 1);
  freeModel(m);
  const std::string glb = test_files::readFile(path);
  const std::string junk = "v 0 0 0\nf 1 2 9\n";
  std::string reason;
  for (bool itself : {false, true}) {
    SCOPED_TRACE(itself);
    setReaderServerReadsItself(itself);
    for (int round = 0; round < 2; ++round) {
      Model* back = importModelFile(path.c_str(), nullptr, nullptr);
      ASSERT_NE(back, nullptr) << lastErrorText();
      EXPECT_EQ(triangles(back), 60);
      freeModel(back);
      EXPECT_EQ(importModelBytes(junk.data(), junk.size(), "obj", nullptr), nullptr);
      ASSERT_NE(lastErrorText(), nullptr);
      if (round == 0 && !itself) reason = lastErrorText();
      EXPECT_EQ(lastErrorText(), reason);
      back = importModelBytes(glb.data(), glb.size(), "glb", nullptr);
      ASSERT_NE(back, nullptr) << lastErrorText();
      EXPECT_EQ(triangles(back), 60);
      freeModel(back);
    }
  }
  setReaderServerReadsItself(false);
  EXPECT_EQ(reason.rfind("could not import: memory.obj: ", 0), 0u) << reason;
}

// ---- The look before assimp ----------------------------------------------------

const char* screen(const std::string& text, const char* extension, uint64_t size = 0) {
  return screenImport(reinterpret_cast<const unsigned char*>(text.data()), text.size(),
                      size != 0 ? size : text.size(), extension);
}

TEST(ImportScreen, HeadersAssimpWouldHangOrDrownOnAndGltfLineLoopsAreRefused) {
  const std::string ply = "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\n";
  EXPECT_EQ(screen(ply + "end_header\n1\n2\n3\n", "ply"), nullptr);
  EXPECT_EQ(screen(ply + "end_header\r\n1\n2\n3\n", "ply"), nullptr);
  EXPECT_STREQ(screen(ply + "end_header", "ply"), "broken PLY header");
  EXPECT_STREQ(screen(ply + "end_header\xfe 1\n", "ply"), "broken PLY header");
  EXPECT_STREQ(screen("ply\ncomment a\0b\nend_header\n", "ply"), "broken PLY header");
  EXPECT_STREQ(screen("solid x\n", "ply"), "not a PLY file");
  EXPECT_STREQ(screen("ply\nformat ascii 1.0\nelement vertex 99999\nend_header\n", "ply"),
               "a count in the header is larger than the file");
  // The same header is fine for a file that long.
  EXPECT_EQ(screen("ply\nformat ascii 1.0\nelement vertex 99999\nend_header\n", "ply", 200000),
            nullptr);
  // PLY by its first bytes whatever the name says.
  EXPECT_STREQ(screen("ply\nformat ascii 1.0\n", "obj"), "broken PLY header");

  EXPECT_EQ(screen("OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n", "off"), nullptr);
  EXPECT_STREQ(screen("OFF\n# big\n3 77777777777777777777777 0\n", "off"),
               "a count in the header is larger than the file");
  EXPECT_STREQ(screen("COFF777777 2\n", "off"), "a count in the header is larger than the file");
  EXPECT_EQ(screen("v 0 0 0\nf 1 2 3\n", "obj"), nullptr);

  // glb: total length, then the JSON chunk's, against the file's 40 bytes.
  auto glb = [](uint32_t total, uint32_t chunk) {
    std::string head("glTF\x02\0\0\0", 8);
    head.append(reinterpret_cast<const char*>(&total), 4);
    head.append(reinterpret_cast<const char*>(&chunk), 4);
    return head + "JSON" + std::string(20, ' ');
  };
  EXPECT_EQ(screen(glb(40, 20), "glb"), nullptr);
  EXPECT_STREQ(screen(glb(0xfffffa89u, 20), "glb"), "a length in the header is larger than the file");
  EXPECT_STREQ(screen(glb(40, 21), "glb"), "a length in the header is larger than the file");
  EXPECT_STREQ(screen(glb(40, 0xfffffb9bu), "bin"), "a length in the header is larger than the file");
  // glTF line loops are refused wherever they are.
  const std::string loop = "{\"meshes\":[{\"primitives\":[{\"mode\" : 2,\"indices\":1}]}]}";
  EXPECT_STREQ(screenGltf(loop.data(), loop.size()), "glTF line loops are not read");
  for (const char* fine : {"{\"mode\":4}", "{\"mode\":20}", "{\"name\":\"mode 2\"}"})
    EXPECT_EQ(screenGltf(fine, std::strlen(fine)), nullptr) << fine;
  // A .glb file's JSON lies after its 12-byte header and 8-byte chunk header.
  std::string file = "glTF" + std::string("\x02\0\0\0", 4) + std::string(4, '\0');
  const uint32_t length = static_cast<uint32_t>(loop.size());
  file.append(reinterpret_cast<const char*>(&length), 4);
  file += "JSON" + loop;
  uint64_t at = 0, size = 0;
  ASSERT_TRUE(glbJson(reinterpret_cast<const unsigned char*>(file.data()), file.size(), &at, &size));
  EXPECT_EQ(at, 20u);
  EXPECT_EQ(size, loop.size());
  const std::string dir = test_files::tempDir("loop");
  test_files::writeFile(dir + "loop.glb", file);
  EXPECT_EQ(importModelFile((dir + "loop.glb").c_str(), nullptr, nullptr), nullptr);
  EXPECT_STREQ(lastErrorText(),
               ("could not import: " + dir + "loop.glb: glTF line loops are not read").c_str());
}

// ---- Refusals -------------------------------------------------------------------

TEST(ImportRefusal, BrokenTruncatedAndSpecialFilesGiveAReasonNeverACrashOrAWait) {
  const std::string dir = test_files::tempDir("broken");
  Model* m = sampleModel();
  const RoundTrip kFiles[] = {{ExportFormat::kObj, "x.obj", true},
                              {ExportFormat::kStlBinary, "x.stl", false},
                              {ExportFormat::kPly, "x.ply", false},
                              {ExportFormat::kGlb, "x.glb", true}};
  for (const RoundTrip& f : kFiles) {
    SCOPED_TRACE(f.file);
    const std::string path = dir + f.file;
    ASSERT_EQ(exportModel(m, {f.format, path.c_str(), true}), 1);
    const std::string whole = test_files::readFile(path);
    for (size_t keep : {size_t{0}, size_t{7}, whole.size() / 3, whole.size() - 5}) {
      test_files::writeFile(path, whole.substr(0, keep));
      Model* back = importModelFile(path.c_str(), nullptr, nullptr);
      if (back != nullptr) {
        // A reader may take what it got; it must hold something then.
        EXPECT_GT(triangles(back), 0) << keep;
        freeModel(back);
        continue;
      }
      ASSERT_NE(lastErrorText(), nullptr);
      EXPECT_EQ(std::string(lastErrorText()).rfind("could not import: " + path, 0), 0u)
          << lastErrorText();
    }
  }
  EXPECT_EQ(importModelFile((dir + "none.obj").c_str(), nullptr, nullptr), nullptr);
  EXPECT_STREQ(lastErrorText(), ("could not find: " + dir + "none.obj").c_str());
  ASSERT_EQ(mkfifo((dir + "pipe.obj").c_str(), 0600), 0);
  EXPECT_EQ(importModelFile((dir + "pipe.obj").c_str(), nullptr, nullptr), nullptr);
  EXPECT_STREQ(lastErrorText(), ("not a regular file: " + dir + "pipe.obj").c_str());
  // A library named inside that is a pipe is not waited for: the triangle comes.
  ASSERT_EQ(mkfifo((dir + "pipe.mtl").c_str(), 0600), 0);
  test_files::writeFile(dir + "t.obj", "mtllib pipe.mtl\nv 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
  Model* back = importModelFile((dir + "t.obj").c_str(), nullptr, nullptr);
  ASSERT_NE(back, nullptr) << lastErrorText();
  EXPECT_EQ(triangles(back), 1);
  freeModel(back);
  freeModel(m);
}

}  // namespace
