// Times the STL and OBJ writers against the assimp command exporting the
// same mesh:
//   ours     writeStl / writeObj on the model in memory (what "file export"
//            runs once the copy is made), best of 3, wall clock
//   assimp   "assimp export <our .obj> <out>" as a process: start, import,
//            export; "assimp info -r" (start and import alone) is timed too
//            and taken off, leaving an estimate of its export alone
// Meshes: a jittered torus of 10^4, 10^5 and 10^6 triangles, one layer.
// Throughput is MB written per second, each program's own output; the
// ratio is ours over assimp's, for the whole process and for its export
// alone. ns/triangle across the sizes shows whether ours stays linear.
//
//   build/bench/export_bench [maxTriangles]

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "io/export_obj.h"
#include "io/export_stl.h"
#include "model/geometry.h"
#include "torus_model.h"
#include "model/last_error.h"
#include "model/model.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kReps = 3;

// The shared torus, in a layer "mesh" of no colour, derived data made.
Model* makeTorus(int32_t around, int32_t across) {
  Model* m = makeTorusModel(around, across, "mesh", 0, 0, 0, 0);
  flushDerived(m);
  return m;
}

double bestOf(const std::function<bool()>& run, int reps = kReps) {
  double best = -1;
  for (int i = 0; i < reps; ++i) {
    const auto t0 = Clock::now();
    if (!run()) return -1;
    const double s = std::chrono::duration<double>(Clock::now() - t0).count();
    if (best < 0 || s < best) best = s;
  }
  return best;
}

bool runQuiet(const std::string& command) {
  return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

double fileMB(const std::string& path) {
  std::error_code error;
  const auto bytes = std::filesystem::file_size(path, error);
  return error ? 0.0 : static_cast<double>(bytes) / 1e6;
}

void row(const char* what, int32_t triangles, double mb, double secs,
         const char* note) {
  if (secs <= 0) {
    std::printf("%-9d %-24s %8.2f %10s %9s %9s  %s\n", triangles, what, mb,
                "-", "-", "-", note);
  } else {
    std::printf("%-9d %-24s %8.2f %10.2f %9.1f %9.1f  %s\n", triangles, what,
                mb, secs * 1e3, mb / secs, secs * 1e9 / triangles, note);
  }
  std::fflush(stdout);
}

std::string ratio(double oursMB, double oursSecs, double theirsMB,
                  double theirsSecs) {
  if (oursSecs <= 0 || theirsSecs <= 0 || theirsMB <= 0) return "-";
  char text[32];
  std::snprintf(text, sizeof text, "%.2fx",
                (oursMB / oursSecs) / (theirsMB / theirsSecs));
  return text;
}

}  // namespace

int main(int argc, char** argv) {
  const int32_t maxTriangles = argc > 1 ? std::atoi(argv[1]) : 1000000;
  const bool haveAssimp = runQuiet("command -v assimp");
  const std::string dir =
      (std::filesystem::temp_directory_path() / "modelr_export_bench").string();
  std::filesystem::create_directories(dir);

  std::printf("%-9s %-24s %8s %10s %9s %9s\n", "triangles", "writer", "MB",
              "ms", "MB/s", "ns/tri");
  std::vector<std::string> summary;
  // around x across points, twice as many triangles.
  const int32_t sizes[][2] = {{100, 50}, {400, 125}, {1000, 500}};
  for (const auto& size : sizes) {
    const int32_t triangles = 2 * size[0] * size[1];
    if (triangles > maxTriangles) break;
    Model* m = makeTorus(size[0], size[1]);
    const std::string base = dir + "/torus_" + std::to_string(triangles);
    const std::string stl = base + ".stl", obj = base + ".obj";

    const double stlSecs = bestOf(
        [&] { return writeStl(m, stl.c_str(), "torus.mod.stl"); });
    const double objSecs = bestOf(
        [&] { return writeObj(m, obj.c_str(), "torus.mod.obj", false); });
    const double stlMB = fileMB(stl), objMB = fileMB(obj);
    row("ours STL", triangles, stlMB, stlSecs, "");
    row("ours OBJ", triangles, objMB, objSecs, "");
    freeModel(m);
    if (!haveAssimp) {
      std::printf("assimp not installed: no comparison\n");
      continue;
    }

    const std::string outStl = base + "_assimp.stl";
    const std::string outObj = base + "_assimp.obj";
    // The big export takes tens of seconds: one run there.
    const int reps = triangles > 200000 ? 1 : kReps;
    const double info =
        bestOf([&] { return runQuiet("assimp info " + obj + " -r -s"); }, reps);
    const double aStl = bestOf(
        [&] { return runQuiet("assimp export " + obj + " " + outStl); }, reps);
    const double aObj = bestOf(
        [&] { return runQuiet("assimp export " + obj + " " + outObj); }, reps);
    const double aStlMB = fileMB(outStl), aObjMB = fileMB(outObj);
    row("assimp info -r", triangles, fileMB(obj), info,
        "process start + import");
    row("assimp export STL", triangles, aStlMB, aStl,
        "process: start + import + export");
    row("assimp export OBJ", triangles, aObjMB, aObj,
        "process: start + import + export");
    const double aStlOnly = info > 0 && aStl > info ? aStl - info : -1;
    const double aObjOnly = info > 0 && aObj > info ? aObj - info : -1;
    row("assimp STL export only", triangles, aStlMB, aStlOnly,
        "process time less info -r");
    row("assimp OBJ export only", triangles, aObjMB, aObjOnly,
        "process time less info -r");
    summary.push_back(
        std::to_string(triangles) + " triangles: STL " +
        ratio(stlMB, stlSecs, aStlMB, aStl) + " (export alone " +
        ratio(stlMB, stlSecs, aStlMB, aStlOnly) + "), OBJ " +
        ratio(objMB, objSecs, aObjMB, aObj) + " (export alone " +
        ratio(objMB, objSecs, aObjMB, aObjOnly) + ")");
  }
  if (!summary.empty()) {
    std::printf("\nthroughput, ours over assimp (goal: 2x or more):\n");
    for (const std::string& line : summary) std::printf("  %s\n", line.c_str());
  }
  std::filesystem::remove_all(dir);
  return 0;
}
