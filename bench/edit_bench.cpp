// Times single edits and queries of the document on grids of n points and
// 2n triangles, n = 10^3 .. 10^6, built with the document operations as the
// file reader builds them.
//
//   build/bench/edit_bench [n ...]
//
// Each row is microseconds per operation, the median of batches (a batch
// is as many operations as take about 20 us, so that clock reads do not
// count). "first" is the first operation after the model was built alone:
// an index built on first use shows there. Targets are drawn at random
// with a fixed seed, different for every operation of a row. Last, the
// memory of the indexes, per point and per triangle: on the grid as built,
// and as the grid rows left it (their edits grow the arrays); and the heap
// the document itself takes, measured around building the grid before any
// index is asked for, against a floor of 12 bytes per point (x y z) and 12
// per triangle (three point numbers), with the time the build took.
//
// Rows:
//   delete point         deletePoint of an existing point (and its polygons)
//   add tri + move pt    addTriangle and markUveesStale (as `add triangle`
//                        does), then addPoint moving an existing point
//   find point           findPointAt the position of an existing point
//   get highest          highestPointNumber
//   select clear+1+copy  clearSelection, markPoint, copySelection
//   add+move pt, L lay   addPoint of a new number and addPoint moving an
//                        existing one, the grid spread over L = min(n, 3*10^4)
//                        layers
//   delete pt, L lay     deletePoint on that grid
//   delete tri, L lay    deleteTriangle of an existing id, the grid spread
//                        over L = min(n, 10^4) layers
//   4 chained loads      not the document's: four loads, each from where
//                        the one before pointed, at random in 128 bytes
//                        per point; the growth any edit that makes a few
//                        such look-ups shows on this machine

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <malloc.h>
#include <random>
#include <vector>

#include "model/document_index.h"
#include "model/geometry.h"
#include "model/model.h"
#include "model/selection.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr double kBatchUs = 20.0;
constexpr double kRowSeconds = 0.4;

double usSince(Clock::time_point t0) {
  return std::chrono::duration<double, std::micro>(Clock::now() - t0).count();
}

// Bytes the process holds from malloc: the main arena's chunks in use and
// the blocks mapped on their own.
size_t heapBytes() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

struct Grid {
  Model* model = nullptr;
  size_t heapAfterPoints = 0;  // heapBytes() once the points are in
  int side = 0;
  int32_t points = 0;
  std::vector<int32_t> triangleIds;
};

// A waved grid of about n points and 2n triangles; row y of triangles goes
// to layer y * layers / side, so that each of the layers holds a band.
Grid buildGrid(int n, int layers) {
  Grid g;
  g.model = createModel(nullptr, "grid", nullptr);
  g.side = std::max(1, static_cast<int>(std::lround(std::sqrt(n))) - 1);
  const int side = g.side;
  for (int y = 0; y <= side; ++y) {
    for (int x = 0; x <= side; ++x) {
      const float z = 0.05f * std::sin(x * 0.3f) * std::cos(y * 0.2f);
      addPoint(g.model, 1 + y * (side + 1) + x, static_cast<float>(x) / side,
               static_cast<float>(y) / side, z);
    }
  }
  g.points = (side + 1) * (side + 1);
  g.heapAfterPoints = heapBytes();
  std::vector<Layer*> made;
  char name[32];
  for (int l = 0; l < layers; ++l) {
    std::snprintf(name, sizeof name, "band%d", l);
    addLayer(g.model, name, 127, 127, 127, 1, 0, 0);
  }
  for (int y = 0; y < side; ++y) {
    std::snprintf(name, sizeof name, "band%d",
                  static_cast<int>(static_cast<int64_t>(y) * layers / side));
    Layer* layer = findLayer(g.model, name);
    for (int x = 0; x < side; ++x) {
      const int32_t a = 1 + y * (side + 1) + x, b = a + 1, c = a + side + 1,
                    d = c + 1;
      const int32_t first[3] = {a, b, d}, second[3] = {a, d, c};
      g.triangleIds.push_back(addTriangleToLayer(g.model, layer, 3, first, 0));
      g.triangleIds.push_back(addTriangleToLayer(g.model, layer, 3, second, 0));
    }
  }
  flushDerived(g.model);
  return g;
}

struct Row {
  double first = 0.0;
  double median = 0.0;
};

// Runs op(0), op(1), ... (at most `limit` times): the first alone, then in
// batches, until the row's time is spent.
Row timeRow(int limit, const std::function<void(int)>& op) {
  Row row;
  Clock::time_point t0 = Clock::now();
  op(0);
  row.first = usSince(t0);
  int next = 1;
  t0 = Clock::now();
  op(next++);
  double one = std::max(usSince(t0), 0.01);
  const int batch = std::clamp(static_cast<int>(kBatchUs / one), 1, 256);
  std::vector<double> samples{one};
  const Clock::time_point start = Clock::now();
  while (next + batch <= limit &&
         (samples.size() < 5 || usSince(start) < kRowSeconds * 1e6)) {
    t0 = Clock::now();
    for (int i = 0; i < batch; ++i) op(next++);
    samples.push_back(usSince(t0) / batch);
  }
  std::nth_element(samples.begin(), samples.begin() + samples.size() / 2,
                   samples.end());
  row.median = samples[samples.size() / 2];
  return row;
}

std::vector<int32_t> shuffledNumbers(int32_t count, uint32_t seed) {
  std::vector<int32_t> numbers(static_cast<size_t>(count));
  for (int32_t i = 0; i < count; ++i) numbers[static_cast<size_t>(i)] = i + 1;
  std::mt19937 random(seed);
  std::shuffle(numbers.begin(), numbers.end(), random);
  return numbers;
}

constexpr int kRows = 9;
const char* const kRowNames[kRows] = {
    "find point",         "get highest",      "select clear+1+copy",
    "add tri + move pt",  "delete point",     "add+move pt, L lay",
    "delete pt, L lay",   "delete tri, L lay", "4 chained loads"};

// Bytes of each index, and what they index.
struct Memory {
  int32_t points = 0;
  int64_t triangles = 0;
  DocumentIndexBytes bytes = {0, 0, 0, 0};
};

Memory memoryOf(const Model* m) {
  Memory memory;
  memory.points = tableCount(&m->points);
  memory.triangles = tableCount(&findLayer(m, "band0")->triangles);
  memory.bytes = documentIndexBytes(m);
  return memory;
}

void printMemory(const char* title, const std::vector<Memory>& memory) {
  std::printf("\n%s, bytes per point (per triangle in brackets)\n", title);
  const char* const names[4] = {"positions", "numbers", "polygons", "lists"};
  for (int r = 0; r < 4; ++r) {
    std::printf("%-22s", names[r]);
    for (const Memory& m : memory) {
      const size_t b[4] = {m.bytes.positions, m.bytes.numbers, m.bytes.polygons,
                           m.bytes.lists};
      std::printf(" %5.1f (%4.1f)", static_cast<double>(b[r]) / m.points,
                  static_cast<double>(b[r]) / static_cast<double>(m.triangles));
    }
    std::printf("\n");
  }
}

struct DocumentMemory {
  int32_t points = 0;
  int64_t triangles = 0;
  size_t pointBytes = 0;  // the model and its points
  size_t triangleBytes = 0;  // the layer and its triangles
  double buildMs = 0.0;
};

void printDocumentMemory(const std::vector<DocumentMemory>& memory) {
  std::printf("\ndocument memory as built (no index), bytes\n");
  auto row = [&](const char* name, auto value) {
    std::printf("%-22s", name);
    for (const DocumentMemory& m : memory) std::printf(" %11.1f", value(m));
    std::printf("\n");
  };
  const auto floor = [](const DocumentMemory& m) {
    return 12.0 * m.points + 12.0 * static_cast<double>(m.triangles);
  };
  const auto total = [](const DocumentMemory& m) {
    return static_cast<double>(m.pointBytes + m.triangleBytes);
  };
  row("per point", [](const DocumentMemory& m) {
    return static_cast<double>(m.pointBytes) / m.points;
  });
  row("per triangle", [](const DocumentMemory& m) {
    return static_cast<double>(m.triangleBytes) / static_cast<double>(m.triangles);
  });
  row("MB", [&](const DocumentMemory& m) { return total(m) / 1e6; });
  row("floor MB", [&](const DocumentMemory& m) { return floor(m) / 1e6; });
  row("ratio to floor", [&](const DocumentMemory& m) { return total(m) / floor(m); });
  row("build ms, best of 2", [](const DocumentMemory& m) { return m.buildMs; });
}

void measure(int n, Row rows[kRows], Memory* built, Memory* edited,
             DocumentMemory* document) {
  {
    const size_t before = heapBytes();
    const Clock::time_point t0 = Clock::now();
    Grid g = buildGrid(n, 1);
    document->buildMs = usSince(t0) / 1e3;
    std::vector<int32_t>().swap(g.triangleIds);  // the bench's, not the document's
    Model* m = g.model;
    const DocumentIndexBytes index = documentIndexBytes(m);
    document->pointBytes = g.heapAfterPoints - before;
    document->triangleBytes = heapBytes() - g.heapAfterPoints - index.positions -
                              index.numbers - index.polygons - index.lists;
    document->points = tableCount(&m->points);
    document->triangles = tableCount(&findLayer(m, "band0")->triangles);
    positionsOf(m);
    numbersOf(m);
    polygonsOf(m);
    *built = memoryOf(m);
    freeModel(m);
  }
  {
    const Clock::time_point t0 = Clock::now();
    Grid g = buildGrid(n, 1);
    document->buildMs = std::min(document->buildMs, usSince(t0) / 1e3);
    Model* m = g.model;
    const int limit = std::max(10, g.points / 10);
    const std::vector<int32_t> pick = shuffledNumbers(g.points, 1);
    auto at = [&](int i) { return pick[static_cast<size_t>(i) % pick.size()]; };

    volatile int32_t sink = 0;
    rows[0] = timeRow(limit, [&](int i) {
      const Point* p = findPoint(m, at(i));
      sink = sink + findPointAt(m, p->x, p->y, p->z);
    });
    rows[1] = timeRow(limit, [&](int) { sink = sink + highestPointNumber(m); });
    rows[2] = timeRow(limit, [&](int i) {
      clearSelection(m);
      markPoint(m, at(i + 7), true);
      copySelection(m);
    });
    std::mt19937 random(2);
    rows[3] = timeRow(limit, [&](int i) {
      const int32_t corners[3] = {at(3 * i), at(3 * i + 1), at(3 * i + 2)};
      addTriangle(m, "band0", 3, corners, 0);
      markUveesStale(m);
      const Point* p = findPoint(m, at(3 * i + 11));
      addPoint(m, at(3 * i + 11), p->x, p->y, p->z + 0.001f);
    });
    rows[4] = timeRow(limit, [&](int i) { deletePoint(m, at(i + 13)); });
    *edited = memoryOf(m);
    freeModel(m);
  }
  {
    Grid g = buildGrid(n, std::min(n, 30000));
    Model* m = g.model;
    const std::vector<int32_t> pick = shuffledNumbers(g.points, 3);
    int32_t fresh = highestPointNumber(m);
    const int limit = std::max(10, g.points / 10);
    rows[5] = timeRow(limit, [&](int i) {
      addPoint(m, ++fresh, 0.5f, 0.5f, 1.0f);
      const int32_t number = pick[static_cast<size_t>(i) % pick.size()];
      const Point* p = findPoint(m, number);
      addPoint(m, number, p->x, p->y, p->z + 0.001f);
    });
    rows[6] = timeRow(limit, [&](int i) {
      deletePoint(m, pick[static_cast<size_t>(i + limit) % pick.size()]);
    });
    freeModel(m);
  }
  {
    Grid g = buildGrid(n, std::min(n, 10000));
    std::mt19937 random(4);
    std::shuffle(g.triangleIds.begin(), g.triangleIds.end(), random);
    const int limit = std::max(10, static_cast<int>(g.triangleIds.size() / 10));
    rows[7] = timeRow(limit, [&](int i) {
      deleteTriangle(g.model, g.triangleIds[static_cast<size_t>(i)]);
    });
    freeModel(g.model);
  }
  {
    // The machine's own growth, for scale: four loads, each at a place the
    // one before it read, in 128 bytes per point (about what the document
    // and its indexes take), one random cycle through all of it.
    const size_t slots = static_cast<size_t>(n) * 16;
    std::vector<uint64_t> next(slots);
    for (size_t i = 0; i < slots; ++i) next[i] = i;
    std::mt19937_64 random(5);
    for (size_t i = slots - 1; i > 0; --i)  // Sattolo: a single cycle
      std::swap(next[i], next[random() % i]);
    uint64_t at = 0;
    volatile uint64_t sink = 0;
    rows[8] = timeRow(std::max(10, n / 10), [&](int) {
      for (int k = 0; k < 4; ++k) at = next[at];
      sink = at;
    });
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<int> sizes;
  for (int i = 1; i < argc; ++i) sizes.push_back(std::atoi(argv[i]));
  if (sizes.empty()) sizes = {1000, 10000, 100000, 1000000};
  std::vector<std::vector<Row>> table;
  std::vector<Memory> built(sizes.size()), edited(sizes.size());
  std::vector<DocumentMemory> document(sizes.size());
  for (size_t c = 0; c < sizes.size(); ++c) {
    std::vector<Row> rows(kRows);
    measure(sizes[c], rows.data(), &built[c], &edited[c], &document[c]);
    table.push_back(rows);
  }

  std::printf("us per operation, median (grid of n points, 2n triangles)\n");
  std::printf("%-22s", "operation");
  for (int n : sizes) std::printf(" %11d", n);
  std::printf("  %9s\n", "growth");
  for (int r = 0; r < kRows; ++r) {
    std::printf("%-22s", kRowNames[r]);
    for (size_t c = 0; c < sizes.size(); ++c) std::printf(" %11.2f", table[c][r].median);
    const double growth = table.back()[r].median / table.front()[r].median;
    std::printf("  %8.1fx\n", growth);
  }
  std::printf("\nfirst operation after building, us\n");
  for (int r = 0; r < kRows; ++r) {
    std::printf("%-22s", kRowNames[r]);
    for (size_t c = 0; c < sizes.size(); ++c) std::printf(" %11.2f", table[c][r].first);
    std::printf("\n");
  }
  printMemory("index memory as built", built);
  printMemory("index memory after the grid rows", edited);
  printDocumentMemory(document);
  return 0;
}
