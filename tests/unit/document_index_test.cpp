// The document's indexes against the plain scans they stand in for: the
// same random edits on two models, one indexed and one with indexing
// switched off, must answer alike and leave the same document, bit for
// bit, bounds and automatic uvees included. Coordinates come from a few
// values, 0 and -0 among them, so that points coincide and bounds tie.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <type_traits>

#include "model/document_index.h"
#include "model/geometry.h"
#include "model/mirror.h"
#include "model/model.h"
#include "model/selection.h"
#include "model/transform.h"

namespace {

const float kValues[] = {0.0f, -0.0f, 1.0f, -1.0f, 0.5f, 2.0f, 3.0f};
const char* const kLayers[] = {"a", "b", "c", "d"};
constexpr int32_t kNumbers = 40;

void bitsOf(std::string* out, float value) {
  uint32_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  char text[16];
  std::snprintf(text, sizeof text, "%08x ", bits);
  *out += text;
}

template <class Polygon>
void dumpPolygons(std::string* out, const KeyedTable* table) {
  tableForEach<const Polygon>(table, [&](const Polygon* p, int32_t slot) {
    *out += std::to_string(slot) + ":" + std::to_string(p->kind) + "/" +
            std::to_string(p->flags) + "(";
    for (int32_t i = 0; i < p->count; ++i) *out += std::to_string(p->points[i]) + " ";
    *out += ") ";
  });
}

// What the writer and the view read, without flushing and without ids
// (each model takes its own from the shared counter).
std::string dump(const Model* m) {
  std::string out = "uvees stale " + std::to_string(m->uveesStale) + " revision " +
                    std::to_string(m->revision) + "\n";
  tableForEach<const Point>(&m->points, [&](const Point* p, int32_t slot) {
    out += std::to_string(tableIntKeyAt(&m->points, slot)) + " ";
    bitsOf(&out, p->x);
    bitsOf(&out, p->y);
    bitsOf(&out, p->z);
    out += std::to_string(p->flags) + "\n";
  });
  tableForEach<const Layer>(&m->layers, [&](const Layer* l, int32_t) {
    out += std::string(l->name) + " revision " + std::to_string(l->revision) +
           " stale " + std::to_string(l->boundsStale) +
           " transparent " + std::to_string(l->transparent) + " mirror " +
           std::to_string(l->mirror) + " bounds ";
    for (float b : l->bounds) bitsOf(&out, b);
    out += "\n ";
    dumpPolygons<Triangle>(&out, &l->triangles);
    out += "\n ";
    dumpPolygons<Line>(&out, &l->lines);
    for (const KeyedTable* t : {&l->colours, &l->normals, &l->surface}) {
      out += "\n entries";
      for (int32_t s = tableNextSlot(t, -1); s >= 0; s = tableNextSlot(t, s))
        out += " " + std::to_string(tableIntKeyAt(t, s));
    }
    out += "\n uvees ";
    tableForEach<const Image>(&l->images, [&](const Image* image, int32_t) {
      tableForEach<const Uvee>(&image->uvees, [&](const Uvee* u, int32_t) {
        out += std::to_string(u->word) + ":";
        bitsOf(&out, u->u);
        bitsOf(&out, u->v);
      });
    });
    out += "\n";
  });
  return out;
}

// The id of the n-th polygon (or line) of the model in slot order, 0 if
// there are not so many.
template <class Polygon>
int32_t nthPolygonId(const Model* m, int32_t n) {
  int32_t id = 0;
  tableForEach<const Layer>(&m->layers, [&](const Layer* l, int32_t) {
    const KeyedTable* table =
        std::is_same<Polygon, Line>::value ? &l->lines : &l->triangles;
    tableForEach<const Polygon>(table, [&](const Polygon* p, int32_t) {
      if (n-- == 0) id = p->id;
    });
  });
  return id;
}

// One random edit, the same for both models; returns what it answered.
struct Editor {
  std::mt19937 random;
  explicit Editor(uint32_t seed) : random(seed) {}

  int32_t below(int32_t n) { return static_cast<int32_t>(random() % static_cast<uint32_t>(n)); }
  float value() { return below(200) == 0 ? NAN : kValues[below(7)]; }
  const char* layer() { return kLayers[below(4)]; }

  struct Step {
    int32_t op, number, count, n, kind;
    int32_t points[4];
    float xyz[3];
    const char* layer;
    const char* other;
  };

  Step draw() {
    Step s;
    s.op = below(24);
    s.number = 1 + below(kNumbers);
    s.count = 2 + below(3);
    s.n = below(16);
    s.kind = below(2);
    for (int32_t& p : s.points) p = 1 + below(kNumbers);
    for (float& v : s.xyz) v = value();
    s.layer = layer();
    s.other = layer();
    return s;
  }

  static int64_t apply(Model* m, const Step& s) {
    float finite[3];
    for (int k = 0; k < 3; ++k) finite[k] = std::isnan(s.xyz[k]) ? 1.0f : s.xyz[k];
    switch (s.op) {
      case 0:
      case 1: return addPoint(m, s.number, s.xyz[0], s.xyz[1], s.xyz[2]);
      case 2: return movePoint(m, s.number, finite);
      case 3: return deletePoint(m, s.number);
      case 4:
      case 5: {
        if (findLayer(m, s.layer) == nullptr) addLayer(m, s.layer, 0, 0, 0, 1, 0, kAxisX);
        const int32_t id = s.count >= 3 || s.kind
                               ? addTriangle(m, s.layer, s.count < 3 ? 3 : s.count, s.points, 0)
                               : addLine(m, s.layer, s.count, s.points, 0);
        if (s.op == 5) markUveesStale(m);
        return id != 0;
      }
      case 6: return deleteTriangle(m, nthPolygonId<Triangle>(m, s.n));
      case 7: return deleteLine(m, nthPolygonId<Line>(m, s.n));
      case 8: return addLayer(m, s.layer, 0, 0, 0, 1, s.kind, kAxisX) != nullptr;
      case 9: return s.kind ? deleteLayer(m, s.layer)
                            : findLayer(m, s.layer) && findLayer(m, s.other) == nullptr &&
                                  renameLayer(m, findLayer(m, s.layer), s.other);
      case 10: {
        // Runs of points, so that copies and deletes take whole polygons.
        int64_t marked = 0;
        for (int32_t k = 0; k < (s.kind ? 1 : 12); ++k)
          marked += markPoint(m, 1 + (s.number + k) % kNumbers, s.n % 4 != 0);
        return marked;
      }
      case 11: return markTriangle(m, nthPolygonId<Triangle>(m, s.n), true) +
                      2 * markLine(m, nthPolygonId<Line>(m, s.n), s.kind == 0);
      case 12: clearSelection(m); return 0;
      case 13: return copySelection(m);
      case 14: return s.kind ? deleteSelection(m) : relocateSelection(m, s.layer);
      case 15: return convertToTriangles(m);
      case 16: return translateSelection(m, finite);
      case 17: {
        const float scale[16] = {finite[0], 0, 0, 0, 0, 1, 0, 0, 0, 0, finite[1], 0, 0, 0, 0, 1};
        return applyMatrixToPoints(m, scale);
      }
      case 18: return addColour(m, nullptr, s.number, 1, 1, 1, 0.5f);
      case 19: {
        Layer* l = findLayer(m, s.layer);
        return l == nullptr ? 0 : static_cast<int64_t>(layerBounds(m, l)[s.n % 6]);
      }
      case 20: {
        // A loaded one pixel texture, so that baking takes the image along.
        TexturePixels pixel = {};
        pixel.ok = true;
        pixel.width = pixel.height = 1;
        pixel.pixels = static_cast<unsigned char*>(std::calloc(3, 1));
        return addImage(m, s.layer, 1 + s.kind, "t.tga", kImageDecal, kAxisX, kAxisMinusZ, 1,
                        &pixel);
      }
      case 21:
        return s.kind ? addNormal(m, s.layer, s.number, 0, 0, 1)
                      : addColour(m, s.layer, s.number, 1, 1, 1, 1);
      case 22:
        return s.kind ? deleteNormal(m, s.layer, s.number) : addSurface(m, s.layer, s.number, 1, 0, 0);
      default: {
        Layer* l = findLayer(m, s.layer);
        if (l == nullptr) return 0;
        setLayerMirror(m, l, kAxisY);
        return bakeMirror(m, s.layer, s.kind == 0);
      }
    }
  }
};

void runTwins(uint32_t seed, int steps) {
  Model* indexed = createModel(nullptr, "indexed.mod", nullptr);
  Model* plain = createModel(nullptr, "plain.mod", nullptr);
  setDocumentIndexing(plain, false);
  Editor editor(seed);
  for (int i = 0; i < steps; ++i) {
    const Editor::Step step = editor.draw();
    SCOPED_TRACE("seed " + std::to_string(seed) + " step " + std::to_string(i) +
                 " op " + std::to_string(step.op));
    ASSERT_EQ(Editor::apply(indexed, step), Editor::apply(plain, step));
    ASSERT_EQ(findPointAt(indexed, step.xyz[0], step.xyz[1], step.xyz[2]),
              findPointAt(plain, step.xyz[0], step.xyz[1], step.xyz[2]));
    ASSERT_EQ(highestPointNumber(indexed), highestPointNumber(plain));
    ASSERT_EQ(dump(indexed), dump(plain));
  }
  flushDerived(indexed);
  flushDerived(plain);
  EXPECT_EQ(dump(indexed), dump(plain));
  EXPECT_TRUE(plain->index == nullptr || documentIndexBytes(plain).polygons == 0);
  freeModel(indexed);
  freeModel(plain);
}

TEST(DocumentIndex, RandomEditsAnswerAndLeaveTheDocumentAsThePlainScansDo) {
  for (uint32_t seed = 1; seed <= 12; ++seed) runTwins(seed, 1500);
}

// A point moved onto a bound as -0 where +0 held it: the recompute keeps
// whichever comes first in slot order, here the moved one.
void tieOfZeros(Model* m) {
  const float xs[6] = {1, 2, 2, 0, 2, 2};
  for (int32_t n = 1; n <= 6; ++n) addPoint(m, n, xs[n - 1], static_cast<float>(n), 0);
  Layer* l = addLayer(m, "l", 0, 0, 0, 1, 0, kAxisX);
  const int32_t first[3] = {1, 2, 3}, second[3] = {4, 5, 6};
  addTriangleToLayer(m, l, 3, first, 0);
  addTriangleToLayer(m, l, 3, second, 0);
  addPoint(m, 6, 2, 6, 0);  // a move in place: the index is built now
  addPoint(m, 1, -0.0f, 1, 0);
  addTriangleToLayer(m, l, 3, second, 0);
  flushDerived(m);
}

// A triangle at -0 added into the hole an earlier one left comes before
// the one that held the bound at 0.
void tieInAHole(Model* m) {
  const float xyz[7][3] = {{1, 5, 5}, {1, 6, 5}, {1, 5, 6}, {0, 0, 0},
                           {2, 10, 10}, {2, 0, 10}, {-0.0f, 5, 5}};
  for (int32_t n = 1; n <= 7; ++n) addPoint(m, n, xyz[n - 1][0], xyz[n - 1][1], xyz[n - 1][2]);
  Layer* l = addLayer(m, "l", 0, 0, 0, 1, 0, kAxisX);
  const int32_t inside[3] = {1, 2, 3}, edge[3] = {4, 5, 6}, hole[3] = {7, 5, 6};
  const int32_t id = addTriangleToLayer(m, l, 3, inside, 0);
  addTriangleToLayer(m, l, 3, edge, 0);
  addPoint(m, 6, 2, 0, 10);  // a move in place: the index is built now
  deleteTriangle(m, id);
  addTriangleToLayer(m, findLayer(m, "l"), 3, hole, 0);
  flushDerived(m);
}

// Without moves no polygon index is built, and the bounds the adds folded
// stand in for the recompute: a triangle deleted from the end must leave
// the fold.
void foldPastADelete(Model* m) {
  const float xyz[5][3] = {{1, 5, 5}, {1, 6, 5}, {1, 5, 6}, {2, 0, 10}, {100, 0, 0}};
  for (int32_t n = 1; n <= 5; ++n) addPoint(m, n, xyz[n - 1][0], xyz[n - 1][1], xyz[n - 1][2]);
  addLayer(m, "l", 0, 0, 0, 1, 0, kAxisX);
  const int32_t inside[3] = {1, 2, 3}, far[3] = {5, 4, 3};
  addTriangleToLayer(m, findLayer(m, "l"), 3, inside, 0);
  const int32_t id = addTriangleToLayer(m, findLayer(m, "l"), 3, far, 0);
  flushDerived(m);
  deleteTriangle(m, id);
  addTriangleToLayer(m, findLayer(m, "l"), 3, inside, 0);
  flushDerived(m);
}

// The same edits on an indexed and a plain model leave the same document;
// `check` looks at the plain one.
void expectTwinsAgree(void (*scenario)(Model*), void (*check)(const Model*) = nullptr) {
  Model* indexed = createModel(nullptr, "indexed.mod", nullptr);
  Model* plain = createModel(nullptr, "plain.mod", nullptr);
  setDocumentIndexing(plain, false);
  scenario(indexed);
  scenario(plain);
  if (check) check(plain);
  EXPECT_EQ(dump(indexed), dump(plain));
  freeModel(indexed);
  freeModel(plain);
}

// Entries that reach a layer by relocating or baking must go with their
// point, once the model knows which layers hold entries, also where no
// polygon of that layer uses the point any more.
void carriedEntries(Model* m) {
  for (int32_t n = 1; n <= 4; ++n) addPoint(m, n, static_cast<float>(n), 1, 0);
  Layer* a = addLayer(m, "a", 0, 0, 0, 1, 0, kAxisX);
  const int32_t corners[3] = {1, 2, 3};
  const int32_t id = addTriangleToLayer(m, a, 3, corners, 0);
  for (int32_t n = 1; n <= 3; ++n) addNormal(m, "a", n, 0, 0, 1);
  deletePoint(m, 4);
  markTriangle(m, id, true);
  relocateSelection(m, "b");
  setLayerMirror(m, findLayer(m, "b"), kAxisX);
  bakeMirror(m, "b", false);
  deleteTriangle(m, id);
  deleteTriangle(m, nthPolygonId<Triangle>(m, 0));
  deletePoint(m, 1);
  deletePoint(m, highestPointNumber(m));
}

// A tie of 0 and -0 on a bound goes to the first in slot order.
TEST(DocumentIndex, BoundsTiesAndEntriesRelocatedOrBakedEndAsThePlainScansLeaveThem) {
  for (void (*scenario)(Model*) : {tieOfZeros, tieInAHole})
    expectTwinsAgree(scenario, [](const Model* plain) {
      EXPECT_TRUE(std::signbit(findLayer(plain, "l")->bounds[0]));
    });
  expectTwinsAgree(foldPastADelete);
  expectTwinsAgree(carriedEntries);
}

// Marking the same few points thousands of times and clearing once must
// leave no mark, however the candidate list dropped its repeats.
TEST(DocumentIndex, ClearAfterManyRepeatedMarksLeavesNoMark) {
  Model* m = createModel(nullptr, "marks.mod", nullptr);
  for (int32_t n = 1; n <= 8; ++n) addPoint(m, n, static_cast<float>(n), 0, 0);
  clearSelection(m);  // from here on the model knows its candidates
  for (int i = 0; i < 5000; ++i) markPoint(m, 1 + i % 8, i % 3 != 0);
  clearSelection(m);
  tableForEach<const Point>(&m->points, [](const Point* p, int32_t) {
    EXPECT_EQ(p->flags & kItemSelected, 0);
  });
  EXPECT_LT(documentIndexBytes(m).lists, 64 * 1024u);
  freeModel(m);
}

}  // namespace
