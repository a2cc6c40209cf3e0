// Times KeyedTable insert and find against std::unordered_map with the
// same element size, for integer keys (scrambled and sequential) and for
// string keys. Prints ns per operation, best of several runs.

#include "model/keyed_table.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <unordered_map>
#include <vector>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace {

struct Elem16 {
  int32_t a, b, c, d;
};
static_assert(sizeof(Elem16) == 16, "element must be 16 bytes");

using Clock = std::chrono::steady_clock;
volatile int64_t gSink;

double nsPerOp(Clock::time_point t0, Clock::time_point t1, size_t n) {
  return std::chrono::duration<double, std::nano>(t1 - t0).count() / n;
}

struct Timing {
  double insert = 1e300;
  double find = 1e300;
  const char* index = "-";  // KT int rows: which index the keys ended in
  void keepBest(double ins, double fnd) {
    insert = std::min(insert, ins);
    find = std::min(find, fnd);
  }
};

int repsFor(size_t n) { return n <= 10000 ? 100 : n <= 100000 ? 15 : 5; }

// Distinct scrambled keys: a full-period LCG mod 2^32 does not repeat
// within its period.
std::vector<int32_t> scrambledKeys(size_t n) {
  std::vector<int32_t> keys(n);
  uint32_t x = 12345;
  for (size_t i = 0; i < n; ++i) {
    x = x * 1664525u + 1013904223u;
    keys[i] = static_cast<int32_t>(x);
  }
  return keys;
}

std::vector<int32_t> sequentialKeys(size_t n) {
  std::vector<int32_t> keys(n);
  for (size_t i = 0; i < n; ++i) keys[i] = static_cast<int32_t>(i);
  return keys;
}

Timing benchTableInt(const std::vector<int32_t>& keys) {
  Timing best;
  for (int r = 0; r < repsFor(keys.size()); ++r) {
    KeyedTable t;
    tableInit(&t, sizeof(Elem16), kIntKeyed);
    auto t0 = Clock::now();
    for (int32_t k : keys) tableInsertT<Elem16>(&t, k)->a = k;
    auto t1 = Clock::now();
    int64_t sum = 0;
    for (int32_t k : keys) sum += tableFindT<Elem16>(&t, k)->a;
    auto t2 = Clock::now();
    gSink = sum;
    best.index = t.direct ? "direct" : "hash";
    best.keepBest(nsPerOp(t0, t1, keys.size()), nsPerOp(t1, t2, keys.size()));
    tableRelease(&t);
  }
  return best;
}

Timing benchMapInt(const std::vector<int32_t>& keys) {
  Timing best;
  for (int r = 0; r < repsFor(keys.size()); ++r) {
    std::unordered_map<int32_t, Elem16> m;
    auto t0 = Clock::now();
    for (int32_t k : keys) m.try_emplace(k).first->second.a = k;
    auto t1 = Clock::now();
    int64_t sum = 0;
    for (int32_t k : keys) sum += m.find(k)->second.a;
    auto t2 = Clock::now();
    gSink = sum;
    best.keepBest(nsPerOp(t0, t1, keys.size()), nsPerOp(t1, t2, keys.size()));
  }
  return best;
}

Timing benchTableString(const std::vector<std::string>& keys) {
  Timing best;
  for (int r = 0; r < repsFor(keys.size()); ++r) {
    KeyedTable t;
    tableInit(&t, sizeof(Elem16), kStringKeyed);
    auto t0 = Clock::now();
    int32_t i = 0;
    for (const std::string& k : keys) tableInsertT<Elem16>(&t, k.c_str())->a = i++;
    auto t1 = Clock::now();
    int64_t sum = 0;
    for (const std::string& k : keys) sum += tableFindT<Elem16>(&t, k.c_str())->a;
    auto t2 = Clock::now();
    gSink = sum;
    best.keepBest(nsPerOp(t0, t1, keys.size()), nsPerOp(t1, t2, keys.size()));
    tableRelease(&t);
  }
  return best;
}

Timing benchMapString(const std::vector<std::string>& keys) {
  Timing best;
  for (int r = 0; r < repsFor(keys.size()); ++r) {
    std::unordered_map<std::string, Elem16> m;
    auto t0 = Clock::now();
    int32_t i = 0;
    for (const std::string& k : keys) m.try_emplace(k).first->second.a = i++;
    auto t1 = Clock::now();
    int64_t sum = 0;
    for (const std::string& k : keys) sum += m.find(k)->second.a;
    auto t2 = Clock::now();
    gSink = sum;
    best.keepBest(nsPerOp(t0, t1, keys.size()), nsPerOp(t1, t2, keys.size()));
  }
  return best;
}

struct Row {
  const char* keys;
  size_t n;
  Timing table, map;
};

void printRow(const Row& r) {
  printf("%-12s %9zu  %8.1f %8.1f %6.2f   %8.1f %8.1f %6.2f   %s\n", r.keys,
         r.n, r.table.insert, r.map.insert, r.table.insert / r.map.insert,
         r.table.find, r.map.find, r.table.find / r.map.find, r.table.index);
  fflush(stdout);
}

}  // namespace

int main() {
  auto start = Clock::now();
  printf("KeyedTable (KT) vs std::unordered_map (UM), 16-byte elements, "
         "ns per op, best of 100/15/5 runs for 1e4/1e5/1e6, warm heap\n");
  printf("%-12s %9s  %8s %8s %6s   %8s %8s %6s   %s\n", "keys", "n", "KT ins",
         "UM ins", "KT/UM", "KT find", "UM find", "KT/UM", "KT index");

#if defined(__GLIBC__)
  // Keep freed memory in the heap. Otherwise large arrays come back as
  // fresh mmap pages on every run and the page faults, not the tables,
  // decide the figures (worst for string tables: 256 bytes per slot).
  mallopt(M_MMAP_MAX, 0);
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
#endif
  // Untimed warm-up, so the first row does not pay for growing the heap.
  benchTableInt(scrambledKeys(1000000));
  benchMapInt(scrambledKeys(1000000));

  std::vector<Row> rows;
  const size_t sizes[] = {10000, 100000, 1000000};
  for (int pass = 0; pass < 2; ++pass) {
    for (size_t n : sizes) {
      auto keys = pass == 0 ? scrambledKeys(n) : sequentialKeys(n);
      Row r{pass == 0 ? "int-random" : "int-seq", n, benchTableInt(keys),
            benchMapInt(keys)};
      printRow(r);
      rows.push_back(r);
    }
  }
  {
    std::vector<std::string> keys;
    for (int i = 0; i < 100000; ++i) keys.push_back("joint_" + std::to_string(i));
    Row r{"string", keys.size(), benchTableString(keys), benchMapString(keys)};
    printRow(r);
    rows.push_back(r);
  }

  // Flatness: 1e6 against 1e4 per key pattern. A 1e6 index (16 MB of
  // buckets) no longer fits in cache, so some growth is expected; the
  // unordered_map figures show how much of it is the machine.
  double ktGrowth = 0, umGrowth = 0;
  for (int pass = 0; pass < 2; ++pass) {
    const Row& small = rows[pass * 3];
    const Row& large = rows[pass * 3 + 2];
    ktGrowth = std::max({ktGrowth, large.table.insert / small.table.insert,
                         large.table.find / small.table.find});
    umGrowth = std::max({umGrowth, large.map.insert / small.map.insert,
                         large.map.find / small.map.find});
  }
  double worstRatio = 0;
  const Row* worstRow = &rows[0];
  const char* worstOp = "insert";
  for (const Row& r : rows) {
    if (r.table.insert / r.map.insert > worstRatio) {
      worstRatio = r.table.insert / r.map.insert;
      worstRow = &r;
      worstOp = "insert";
    }
    if (r.table.find / r.map.find > worstRatio) {
      worstRatio = r.table.find / r.map.find;
      worstRow = &r;
      worstOp = "find";
    }
  }

  double secs = std::chrono::duration<double>(Clock::now() - start).count();
  printf("total %.1f s\n", secs);
  printf("flat: worst KT ns/op 1e6 vs 1e4 is %.2fx (UM: %.2fx) -> %s (limit 3x)\n",
         ktGrowth, umGrowth, ktGrowth <= 3.0 ? "flat" : "NOT flat");
  printf("vs unordered_map: worst KT/UM is %.2f (%s %s n=%zu) -> %s (limit 2x)\n",
         worstRatio, worstRow->keys, worstOp, worstRow->n,
         worstRatio <= 2.0 ? "within" : "NOT within");
  return 0;
}
