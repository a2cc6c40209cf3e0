// Times the interchange formats against assimp in the same process:
//   export   stlb, ply, glb and the y-up ASCII STL and OBJ (with its .mtl)
//            by our writers ("file export" on the model in memory) against
//            assimp's exporters (stlb, plyb, glb2, stl, obj) handed the same
//            mesh as an aiScene (building it is not timed); MB/s of each
//            one's own file, beside our ASCII STL writer's
//   import   a 10^6-triangle OBJ, PLY and glb read by "file import" (assimp's
//            read, then the conversion into a model) against assimp's read
//            alone with the same steps in a process forked for it (a fresh
//            heap, as the importer's reader has; the read in this process,
//            its heap warm, is shown too), and the same document built
//            from plain arrays, one by one and in the importer's runs: the
//            conversion's share of the time
// Meshes: a jittered torus of 10^4, 10^5 and 10^6 triangles, one layer.
// Best of 3 (imports and their reads: 7, taking turns), wall clock.
//
//   build/bench/interchange_bench [maxTriangles [export|import]]

#include <assimp/Exporter.hpp>
#include <assimp/Importer.hpp>
#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

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

#include "io/export_scene.h"
#include "io/export_stl.h"
#include "io/exporters.h"
#include "io/import_scene.h"
#include "model/geometry.h"
#include "model/last_error.h"
#include "model/model.h"
#include "torus_model.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kReps = 3;
constexpr int kImportReps = 7;  // the machine's spells of slowness outlast a best of 3

// The shared torus, in a layer "skin" of a warm colour, ready to export.
Model* makeTorus(int32_t around, int32_t across) {
  Model* m = makeTorusModel(around, across, "skin", 200, 120, 60, kAxisX);
  flushForExport(m);
  return m;
}

// The same mesh as assimp holds one: points as vertices, y-up as ours.
aiScene* sceneOf(const Model* m) {
  aiScene* scene = new aiScene;
  scene->mRootNode = new aiNode("torus");
  scene->mRootNode->mNumMeshes = 1;
  scene->mRootNode->mMeshes = new unsigned[1]{0};
  scene->mNumMaterials = 1;
  scene->mMaterials = new aiMaterial*[1]{new aiMaterial};
  aiMesh* mesh = new aiMesh;
  mesh->mPrimitiveTypes = aiPrimitiveType_TRIANGLE;
  scene->mNumMeshes = 1;
  scene->mMeshes = new aiMesh*[1]{mesh};
  const KeyedTable* points = &m->points;
  mesh->mNumVertices = static_cast<unsigned>(tableCount(points));
  mesh->mVertices = new aiVector3D[mesh->mNumVertices];
  for (int32_t s = tableNextSlot(points, -1); s >= 0; s = tableNextSlot(points, s)) {
    const Point* p = tableAt<Point>(points, s);
    mesh->mVertices[tableIntKeyAt(points, s) - 1] = aiVector3D(p->x, p->z, -p->y);
  }
  const Layer* layer = findLayer(m, "skin");
  mesh->mNumFaces = static_cast<unsigned>(tableCount(&layer->triangles));
  mesh->mFaces = new aiFace[mesh->mNumFaces];
  unsigned f = 0;
  tableForEach<const Triangle>(&layer->triangles, [&](const Triangle* t, int32_t) {
    aiFace& face = mesh->mFaces[f++];
    face.mNumIndices = 3;
    face.mIndices = new unsigned[3];
    const int32_t* corners = polygonPoints(t);
    for (int k = 0; k < 3; ++k) face.mIndices[k] = static_cast<unsigned>(corners[k] - 1);
  });
  return scene;
}

double bestSeconds(const std::function<bool()>& run) {
  double best = 1e30;
  for (int rep = 0; rep < kReps; ++rep) {
    const auto start = Clock::now();
    if (!run()) {
      std::fprintf(stderr, "run failed: %s\n", lastErrorText() ? lastErrorText() : "");
      std::exit(1);
    }
    best = std::min(best, std::chrono::duration<double>(Clock::now() - start).count());
  }
  return best;
}

// A run in a child process forked for it, timed from here until the
// child has ended: a fresh heap, and the fork and the exit paid, as the
// importer's own reader process pays them.
double bestInFreshProcess(const std::function<bool()>& run, int reps = kReps) {
  double best = 1e30;
  for (int rep = 0; rep < reps; ++rep) {
    const auto start = Clock::now();
    // The importer's readers start from a process whose free memory went
    // back to the system; so does this one, or it would pay for copying
    // pages that they do not.
    malloc_trim(0);
    const pid_t child = fork();
    if (child < 0) std::exit(1);
    if (child == 0) _exit(run() ? 0 : 1);
    int status = 0;
    waitpid(child, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) std::exit(1);
    best = std::min(best, std::chrono::duration<double>(Clock::now() - start).count());
  }
  return best;
}

double megabytes(const std::string& path) {
  return static_cast<double>(std::filesystem::file_size(path)) / 1e6;
}

void exports(int32_t triangles, const std::string& dir) {
  const int32_t around = static_cast<int32_t>(std::sqrt(triangles / 2.0));
  const int32_t across = triangles / 2 / around;
  Model* m = makeTorus(around, across);
  aiScene* scene = sceneOf(m);
  const int32_t n = 2 * around * across;
  const std::string ascii = dir + "/ascii.stl";
  const double asciiSeconds =
      bestSeconds([&] { return writeStl(m, ascii.c_str(), "torus"); });
  std::printf("%9d triangles: ASCII STL %7.1f ms %7.1f MB/s\n", n, asciiSeconds * 1e3,
              megabytes(ascii) / asciiSeconds);
  struct Row {
    const char* name;
    ExportFormat ours;
    const char* theirs;
    const char* ext;
  };
  const Row rows[] = {{"stlb", ExportFormat::kStlBinary, "stlb", "stl"},
                      {"ply", ExportFormat::kPly, "plyb", "ply"},
                      {"glb", ExportFormat::kGlb, "glb2", "glb"},
                      {"stl", ExportFormat::kStl, "stl", "stl"},
                      {"obj", ExportFormat::kObj, "obj", "obj"}};
  Assimp::Exporter exporter;
  for (const Row& row : rows) {
    const std::string ours = dir + "/ours." + row.ext;
    const std::string theirs = dir + "/assimp." + row.ext;
    const double oursSeconds = bestSeconds(
        [&] { return exportModel(m, {row.ours, ours.c_str(), true}) == 1; });
    const double theirSeconds = bestSeconds([&] {
      return exporter.Export(scene, row.theirs, theirs) == AI_SUCCESS;
    });
    std::printf("           %-5s ours %7.1f ms %7.1f MB/s | assimp %7.1f ms %7.1f MB/s"
                " | %.1fx faster, %.1fx ASCII STL's MB/s\n",
                row.name, oursSeconds * 1e3, megabytes(ours) / oursSeconds,
                theirSeconds * 1e3, megabytes(theirs) / theirSeconds,
                theirSeconds / oursSeconds,
                (megabytes(ours) / oursSeconds) / (megabytes(ascii) / asciiSeconds));
  }
  delete scene;
  freeModel(m);
}

// The floor under any importer into this document: the imported model's
// points and triangles, taken into plain arrays, added again to a new
// model one by one (addPoint, addTriangleToLayer) and in runs as the
// importer adds them (addNewPoints, addTrianglesOfKnownPoints).
struct Floor {
  double oneByOne = 1e30;
  double inRuns = 1e30;
};

Floor documentFloor(const Model* from) {
  struct Part {
    std::string name;
    std::vector<int32_t> corners;
  };
  std::vector<float> xyz;
  std::vector<int32_t> numbers;
  tableForEach<const Point>(&from->points, [&](const Point* p, int32_t slot) {
    numbers.push_back(tableIntKeyAt(&from->points, slot));
    xyz.insert(xyz.end(), {p->x, p->y, p->z});
  });
  std::vector<Part> parts;
  tableForEach<const Layer>(&from->layers, [&](const Layer* layer, int32_t) {
    Part part{layer->name, {}};
    tableForEach<const Triangle>(&layer->triangles, [&](const Triangle* t, int32_t) {
      const int32_t* corners = polygonPoints(t);
      if (t->count == 3) part.corners.insert(part.corners.end(), corners, corners + 3);
    });
    parts.push_back(std::move(part));
  });
  constexpr size_t kRun = 16384;  // triangles, as the importer stores them
  Floor floor;
  for (int rep = 0; rep < 2 * kReps; ++rep) {
    const bool runs = rep % 2 == 1;
    const auto start = Clock::now();
    Model* m = createModel(nullptr, "floor.mod", nullptr);
    bool ok = m != nullptr;
    if (ok && runs) ok = addNewPoints(m, numbers[0], static_cast<int32_t>(numbers.size()), xyz.data());
    for (size_t i = 0; ok && !runs && i < numbers.size(); ++i)
      ok = addPoint(m, numbers[i], xyz[3 * i], xyz[3 * i + 1], xyz[3 * i + 2]);
    for (const Part& part : parts) {
      Layer* layer = ok ? addLayer(m, part.name.c_str(), 0.5f, 0.5f, 0.5f, 0, 0, 0) : nullptr;
      ok = layer != nullptr;
      const size_t triangles = part.corners.size() / 3;
      for (size_t i = 0; ok && runs && i < triangles; i += kRun)
        ok = addTrianglesOfKnownPoints(m, layer, static_cast<int32_t>(std::min(kRun, triangles - i)),
                                       &part.corners[3 * i]) != 0;
      for (size_t i = 0; ok && !runs && i < triangles; ++i)
        ok = addTriangleToLayer(m, layer, 3, &part.corners[3 * i], 0) != 0;
    }
    double& best = runs ? floor.inRuns : floor.oneByOne;
    best = std::min(best, std::chrono::duration<double>(Clock::now() - start).count());
    if (!ok) std::exit(1);
    freeModel(m);  // not timed, as for the import
  }
  return floor;
}

void imports(int32_t triangles, const std::string& dir) {
  const int32_t around = static_cast<int32_t>(std::sqrt(triangles / 2.0));
  Model* m = makeTorus(around, triangles / 2 / around);
  struct Row {
    ExportFormat format;
    const char* ext;
  };
  const Row rows[] = {{ExportFormat::kObj, "obj"}, {ExportFormat::kPly, "ply"},
                      {ExportFormat::kGlb, "glb"}};
  for (const Row& row : rows) {
    const std::string path = dir + "/import." + row.ext;
    if (exportModel(m, {row.format, path.c_str(), true}) != 1) std::exit(1);
    auto read = [&] {
      Assimp::Importer importer;
      return importer.ReadFile(path, aiProcess_Triangulate | aiProcess_FlipUVs |
                                         aiProcess_ValidateDataStructure) != nullptr;
    };
    const double warmSeconds = bestSeconds(read);
    // Reads and imports take turns, so that a slow spell of the machine
    // weighs on both alike.
    double readSeconds = 1e30;
    // Freeing the model is not part of importing it.
    int32_t points = 0;
    double importSeconds = 1e30;
    Model* kept = nullptr;
    for (int rep = 0; rep < kImportReps; ++rep) {
      // The model of the last import is freed first: forked from a process
      // that holds it, the read would pay for copying its page tables,
      // which the importer's reader, forked from a small server, does not.
      if (kept != nullptr) freeModel(kept);
      kept = nullptr;
      readSeconds = std::min(readSeconds, bestInFreshProcess(read, 1));
      ImportReport report;
      const auto start = Clock::now();
      Model* back = importModelFile(path.c_str(), nullptr, &report);
      importSeconds = std::min(
          importSeconds, std::chrono::duration<double>(Clock::now() - start).count());
      if (back == nullptr) std::exit(1);
      points = report.counts.points;
      kept = back;
    }
    const Floor floor = documentFloor(kept);
    freeModel(kept);
    std::printf("  %-4s %6.1f MB (%d points): assimp's read %7.1f ms in a fresh process"
                " (%7.1f ms warm, in this one), file import %7.1f ms: conversion adds %5.1f%%"
                " (goal: at most 30%%); the same document built from arrays %6.1f ms one by one,"
                " %6.1f ms in runs\n",
                row.ext, megabytes(path), points, readSeconds * 1e3, warmSeconds * 1e3,
                importSeconds * 1e3, 100.0 * (importSeconds - readSeconds) / readSeconds,
                floor.oneByOne * 1e3, floor.inRuns * 1e3);
  }
  freeModel(m);
}

}  // namespace

int main(int argc, char** argv) {
  const int32_t most = argc > 1 ? std::atoi(argv[1]) : 1000000;
  const std::string dir = (std::filesystem::temp_directory_path() / "interchange_bench").string();
  std::filesystem::create_directories(dir);
  const std::string only = argc > 2 ? argv[2] : "";
  if (only != "import") {
    std::printf("== export: our writers against assimp's exporters, same process ==\n");
    for (int32_t n = 10000; n <= most; n *= 10) exports(n, dir);
  }
  if (only != "export") {
    std::printf("== import of %d triangles: file import against assimp's read alone ==\n", most);
    imports(most, dir);
  }
  std::filesystem::remove_all(dir);
  return 0;
}
