// Times reading and writing .mod files against the machine's floor and
// against other programs that read and write the same mesh:
//   open    openModelDocument, what "modelr file open" runs (closing the
//           model that is open first is part of it)
//   save    writeModelFile, what "modelr file save" runs
//   bare    mmap the .mod and convert every number with std::from_chars
//   tinyobj tinyobjloader reading an OBJ twin with the same numbers
//   assimp  the assimp command: import only (info -r) and export to OBJ/STL
// Meshes: a jittered torus of 10^4, 10^5 and 10^6 points with twice as
// many triangles, one layer. Prints the best of 3 wall-clock runs and MB/s
// of the file read or written; the readers (open, bare, tinyobj) each run
// in a fresh process. The readers and assimp's import run twice: with
// the file in the page cache (warm) and with its pages dropped first
// (cold, posix_fadvise DONTNEED: the disk or the host's cache below it).
//
//   build/bench/file_io_bench [maxPoints]

#include "workspace/documents.h"
#include "workspace/workspace.h"
#include "io/mod_writer.h"
#include "model/geometry.h"
#include "model/last_error.h"
#include "model/model.h"
#include "torus_model.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#ifdef MODELR_HAVE_TINYOBJ
#include <tiny_obj_loader.h>
#endif

namespace {

// The workspace the benchmark opens its files in, as the extension does.
Workspace g_ws;
// This program, started again for each timed read.
std::string gSelf;


using Clock = std::chrono::steady_clock;
constexpr int kReps = 3;
volatile double gSink;

// ---- the mesh and its two files ------------------------------------------

struct Mesh {
  int32_t around = 0, across = 0;  // grid of around x across points
  std::vector<float> xyz;
  int32_t points() const { return around * across; }
  int32_t triangles() const { return 2 * points(); }
  // Point numbers (1-based) of triangle t: the grid wraps both ways, so
  // every cell gives two triangles and there are exactly 2n of them.
  void triangle(int32_t t, int32_t p[3]) const {
    int32_t cell = t / 2, i = cell % around, j = cell / around;
    int32_t i1 = (i + 1) % around, j1 = (j + 1) % across;
    int32_t a = j * around + i + 1, b = j * around + i1 + 1;
    int32_t c = j1 * around + i + 1, d = j1 * around + i1 + 1;
    p[0] = a;
    p[1] = t % 2 ? d : b;
    p[2] = t % 2 ? c : d;
  }
};


// Coordinates run from near 0 to about 930 either side of it, so the
// numbers are of every length from 8 to 11 characters.
Mesh makeTorus(int32_t around, int32_t across) {
  Mesh m;
  m.around = around;
  m.across = across;
  m.xyz.resize(3 * static_cast<size_t>(m.points()));
  Lcg rng{0x5eed0000u + static_cast<uint64_t>(m.points())};
  const double kMajor = 750.0, kMinor = 180.0, kPi = 3.14159265358979;
  for (int32_t j = 0; j < across; ++j) {
    for (int32_t i = 0; i < around; ++i) {
      double u = 2 * kPi * (i + 0.3 * rng.next()) / around;
      double v = 2 * kPi * (j + 0.3 * rng.next()) / across;
      double r = kMajor + kMinor * std::cos(v);
      float* p = &m.xyz[3 * (static_cast<size_t>(j) * around + i)];
      p[0] = static_cast<float>(r * std::cos(u));
      p[1] = static_cast<float>(r * std::sin(u));
      p[2] = static_cast<float>(kMinor * std::sin(v) + 0.01 * rng.next());
    }
  }
  return m;
}

FILE* openOut(const std::string& path, std::vector<char>* buffer) {
  FILE* f = fopen(path.c_str(), "w");
  if (!f) return nullptr;
  buffer->resize(1 << 20);
  setvbuf(f, buffer->data(), _IOFBF, buffer->size());
  return f;
}

// Exactly what the model writer prints for a model with these points and
// one double-sided layer "mesh" of kind-0 triangles.
bool writeModText(const std::string& path, const Mesh& m) {
  std::vector<char> buffer;
  FILE* f = openOut(path, &buffer);
  if (!f) return false;
  fprintf(f, "#\n# model: %s\n#\n", path.c_str());
  fprintf(f, "version 2.0\n");
  fprintf(f, "points\n");
  for (int32_t k = 0; k < m.points(); ++k) {
    const float* p = &m.xyz[3 * static_cast<size_t>(k)];
    fprintf(f, "%-3d   %6.6f %6.6f %6.6f\n", k + 1, p[0], p[1], p[2]);
  }
  fprintf(f, "\nlayer %s  %.6f %.6f %.6f  %s\n", "mesh", 0.0, 0.0, 0.0,
          "doublesided");
  fprintf(f, "triangles\n");
  for (int32_t t = 0; t < m.triangles(); ++t) {
    int32_t p[3];
    m.triangle(t, p);
    fprintf(f, "5 0 %d %d %d \n", p[0], p[1], p[2]);
  }
  fprintf(f, "lines\n");
  fprintf(f, "\n\n");
  fprintf(f, "\n\n");
  return fclose(f) == 0;
}

bool writeObjText(const std::string& path, const Mesh& m) {
  std::vector<char> buffer;
  FILE* f = openOut(path, &buffer);
  if (!f) return false;
  for (int32_t k = 0; k < m.points(); ++k) {
    const float* p = &m.xyz[3 * static_cast<size_t>(k)];
    fprintf(f, "v %.6f %.6f %.6f\n", p[0], p[1], p[2]);
  }
  for (int32_t t = 0; t < m.triangles(); ++t) {
    int32_t p[3];
    m.triangle(t, p);
    fprintf(f, "f %d %d %d\n", p[0], p[1], p[2]);
  }
  return fclose(f) == 0;
}

// The same model built through the model library, for timing the writer
// while the reader cannot open files.
Model* buildModel(const Mesh& m, const std::string& path) {
  Model* model = createModel(nullptr, path.c_str(), nullptr);
  if (!model || !addLayer(model, "mesh", 0, 0, 0, 0, 0, 1)) return model;
  for (int32_t k = 0; k < m.points(); ++k) {
    const float* p = &m.xyz[3 * static_cast<size_t>(k)];
    addPoint(model, k + 1, p[0], p[1], p[2]);
  }
  for (int32_t t = 0; t < m.triangles(); ++t) {
    int32_t p[3];
    m.triangle(t, p);
    addTriangle(model, "mesh", 3, p, 0);
  }
  return model;
}

// ---- helpers --------------------------------------------------------------

double fileMB(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 ? st.st_size / 1e6 : 0.0;
}

bool readWhole(const std::string& path, std::string* out) {
  FILE* f = fopen(path.c_str(), "rb");
  if (!f) return false;
  out->clear();
  char buf[1 << 16];
  size_t n;
  while ((n = fread(buf, 1, sizeof buf, f)) > 0) out->append(buf, n);
  fclose(f);
  return true;
}

// Whether two .mod files agree after their three header lines (which name
// the file).
bool sameBody(const std::string& a, const std::string& b) {
  std::string x, y;
  if (!readWhole(a, &x) || !readWhole(b, &y)) return false;
  auto body = [](const std::string& s) {
    size_t at = 0;
    for (int i = 0; i < 3 && at != std::string::npos; ++i) {
      at = s.find('\n', at);
      if (at != std::string::npos) ++at;
    }
    return at == std::string::npos ? std::string() : s.substr(at);
  };
  return body(x) == body(y);
}

// Drops the file's pages from the page cache, so that the next read goes
// to the disk: written back first, as pages still dirty cannot be dropped.
void dropCached(const std::string& path) {
  int fd = open(path.c_str(), O_RDONLY);
  if (fd < 0) return;
  fsync(fd);
  posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
  close(fd);
}

// Best of kReps runs in seconds; a negative value when a run failed. With
// `cold`, that file's pages are dropped before each run.
template <typename F>
double bestOf(F run, int reps = kReps, const std::string* cold = nullptr) {
  double best = 1e300;
  for (int r = 0; r < reps; ++r) {
    if (cold) dropCached(*cold);
    auto t0 = Clock::now();
    bool ok = run();
    auto t1 = Clock::now();
    if (!ok) return -1;
    best = std::min(best, std::chrono::duration<double>(t1 - t0).count());
  }
  return best;
}

// The same, each run in a fresh process: this program started again with
// --run, which times the one reader and prints the seconds. A forked child
// would share this process's heap copy-on-write, and every page it wrote
// would be copied first (dearer still with a second thread running).
double bestOfFresh(const std::string& args, int reps = kReps) {
  double best = 1e300;
  for (int r = 0; r < reps; ++r) {
    const std::string command = "'" + gSelf + "' --run " + args;
    FILE* child = popen(command.c_str(), "r");
    if (!child) return -1;
    double secs = -1.0;
    if (fscanf(child, "%lf", &secs) != 1) secs = -1.0;
    if (pclose(child) != 0 || secs < 0.0) return -1;
    best = std::min(best, secs);
  }
  return best;
}

// Every number token of the file converted and summed: ints as int, tokens
// with a '.' as float. Keywords are skipped.
bool barePass(const std::string& path) {
  int fd = open(path.c_str(), O_RDONLY);
  if (fd < 0) return false;
  struct stat st;
  if (fstat(fd, &st) != 0 || st.st_size == 0) {
    close(fd);
    return false;
  }
  size_t size = static_cast<size_t>(st.st_size);
  void* map = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
  close(fd);
  if (map == MAP_FAILED) return false;
  const char* p = static_cast<const char*>(map);
  const char* end = p + size;
  double sum = 0;
  while (p < end) {
    while (p < end && static_cast<unsigned char>(*p) <= ' ') ++p;
    const char* t = p;
    while (p < end && static_cast<unsigned char>(*p) > ' ') ++p;
    if (t == p) break;
    char c = *t;
    if (!((c >= '0' && c <= '9') || c == '-' || c == '.')) continue;
    if (memchr(t, '.', p - t)) {
      float v = 0;
      std::from_chars(t, p, v);
      sum += v;
    } else {
      int v = 0;
      std::from_chars(t, p, v);
      sum += v;
    }
  }
  munmap(map, size);
  gSink = sum;
  return true;
}

#ifdef MODELR_HAVE_TINYOBJ
bool tinyobjRead(const std::string& path, long points, long triangles) {
  tinyobj::ObjReader reader;
  tinyobj::ObjReaderConfig config;
  config.triangulate = false;  // the faces are triangles already
  if (!reader.ParseFromFile(path, config)) return false;
  const auto& shapes = reader.GetShapes();
  size_t faces = 0;
  for (const auto& s : shapes) faces += s.mesh.num_face_vertices.size();
  return reader.GetAttrib().vertices.size() == 3 * static_cast<size_t>(points) &&
         faces == static_cast<size_t>(triangles);
}
#endif

bool runQuiet(const std::string& command) {
  return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

// ---- the table --------------------------------------------------------------

enum Op {
  kOpen, kClose, kSave, kBare, kOpenCold, kBareCold, kTiny, kTinyCold, kInfo,
  kInfoCold, kExportObj, kExportStl, kOps
};
const char* const kOpNames[kOps] = {
    "open (file open)",   "  of which close all", "save (file save)",
    "bare from_chars pass", "open, cold",         "bare pass, cold",
    "tinyobj read",       "tinyobj read, cold", "assimp info -r",
    "assimp info -r, cold", "assimp export .obj", "assimp export .stl"};

struct Row {
  int32_t points = 0;
  double modMB = 0, objMB = 0;
  double secs[kOps];
  std::string note[kOps];
  Row() { std::fill(secs, secs + kOps, -1.0); }
  double mb(int op) const { return op <= kBareCold ? modMB : objMB; }
  double rate(int op) const {
    return secs[op] > 0 && op != kClose ? mb(op) / secs[op] : 0;
  }
};

void printOp(const Row& r, int op) {
  if (op == kClose) {
    if (r.secs[op] > 0)
      printf("%-8d %-22s %-4s %7s %10.2f\n", r.points, kOpNames[op], "", "",
             r.secs[op] * 1e3);
  } else if (r.secs[op] > 0) {
    printf("%-8d %-22s %-4s %7.2f %10.2f %9.1f  %s\n", r.points, kOpNames[op],
           op <= kBareCold ? "mod" : "obj", r.mb(op), r.secs[op] * 1e3,
           r.rate(op), r.note[op].c_str());
  } else {
    printf("%-8d %-22s %-4s %7.2f %10s %9s  %s\n", r.points, kOpNames[op],
           op <= kBareCold ? "mod" : "obj", r.mb(op), "-", "-", r.note[op].c_str());
  }
  fflush(stdout);
}

// How many times faster ours is than theirs, as "3.42x"; "-" when either
// time is missing.
std::string ratio(double oursSecs, double theirsSecs) {
  if (oursSecs <= 0 || theirsSecs <= 0) return "-";
  char text[32];
  snprintf(text, sizeof text, "%.2fx", theirsSecs / oursSecs);
  return text;
}

std::string verdict(double oursSecs, double theirsSecs, double goal) {
  if (oursSecs <= 0 || theirsSecs <= 0) return "";
  return theirsSecs / oursSecs >= goal ? " met" : " MISSED";
}

Row benchSize(const std::string& dir, int32_t around, int32_t across,
              bool haveAssimp) {
  Row r;
  Mesh m = makeTorus(around, across);
  r.points = m.points();
  std::string base = dir + "/torus_" + std::to_string(r.points);
  std::string mod = base + ".mod", obj = base + ".obj";
  std::string saved = dir + "/saved_" + std::to_string(r.points) + ".mod";
  if (!writeModText(mod, m) || !writeObjText(obj, m)) {
    printf("could not write the meshes into %s\n", dir.c_str());
    exit(1);
  }
  r.modMB = fileMB(mod);
  r.objMB = fileMB(obj);

  // open: one untimed run first, so every timed run also closes a model
  // of the same size, as a repeated "file open" does.
  Model* model = openModelDocument(g_ws, mod.c_str());
  if (model) {
    r.secs[kOpen] = bestOfFresh("open 0 '" + mod + "'");
    model = currentModel(g_ws);
    Layer* layer = model ? findLayer(model, "mesh") : nullptr;
    int32_t pts = model ? model->points.count : 0;
    int32_t tris = layer ? layer->triangles.count : 0;
    if (pts != m.points() || tris != m.triangles())
      r.note[kOpen] = "loaded " + std::to_string(pts) + " points, " +
                      std::to_string(tris) + " triangles";
    // The share of open that frees the model opened before.
    double close = 1e300;
    for (int rep = 0; rep < kReps; ++rep) {
      auto t0 = Clock::now();
      closeAllModels(g_ws);
      close = std::min(close, std::chrono::duration<double>(Clock::now() - t0).count());
      openModelDocument(g_ws, mod.c_str());
    }
    r.secs[kClose] = close;
    model = currentModel(g_ws);
  } else {
    const char* why = lastErrorText();
    r.note[kOpen] = std::string("open failed: ") + (why ? why : "no reason given");
  }

  Model* built = nullptr;
  if (!model) {
    built = buildModel(m, mod);
    model = built;
    r.note[kSave] = "model built in memory; ";
  }
  r.secs[kSave] = bestOf([&] { return writeModelFile(model, saved.c_str()); });
  if (r.secs[kSave] > 0) {
    r.note[kSave] += sameBody(mod, saved) ? "same bytes as the generated file"
                                           : "differs from the generated file";
  } else {
    const char* why = lastErrorText();
    r.note[kSave] += std::string("save failed: ") + (why ? why : "no reason given");
  }
  freeModel(built);
  closeAllModels(g_ws);

  barePass(mod);
  r.secs[kBare] = bestOfFresh("bare 0 '" + mod + "'");
  // Cold: every run reads the file from below the page cache.
  r.secs[kOpenCold] = bestOfFresh("open 1 '" + mod + "'");
  r.secs[kBareCold] = bestOfFresh("bare 1 '" + mod + "'");

#ifdef MODELR_HAVE_TINYOBJ
  const std::string counts = " " + std::to_string(m.points()) + " " + std::to_string(m.triangles());
  r.secs[kTiny] = bestOfFresh("tinyobj 0 '" + obj + "'" + counts);
  if (r.secs[kTiny] < 0) r.note[kTiny] = "read failed or counts differ";
  r.secs[kTinyCold] = bestOfFresh("tinyobj 1 '" + obj + "'" + counts);
#else
  r.note[kTiny] = r.note[kTinyCold] = "not built: tinyobjloader was not found";
#endif

  if (haveAssimp) {
    std::string outObj = base + "_assimp.obj", outStl = base + "_assimp.stl";
    r.secs[kInfo] = bestOf([&] { return runQuiet("assimp info " + obj + " -r -s"); });
    r.secs[kInfoCold] =
        bestOf([&] { return runQuiet("assimp info " + obj + " -r -s"); }, kReps, &obj);
    // An export of 10^6 points takes tens of seconds: one run there.
    int exportReps = r.points > 100000 ? 1 : kReps;
    r.secs[kExportObj] = bestOf(
        [&] { return runQuiet("assimp export " + obj + " " + outObj); }, exportReps);
    r.secs[kExportStl] = bestOf(
        [&] { return runQuiet("assimp export " + obj + " " + outStl); }, exportReps);
    r.note[kInfo] = r.note[kInfoCold] = "process start + import";
    r.note[kExportObj] = "process start + import + export";
    if (exportReps == 1) r.note[kExportObj] += ", one run";
    r.note[kExportStl] = r.note[kExportObj];
    for (int op = kInfo; op <= kExportStl; ++op)
      if (r.secs[op] < 0) r.note[op] = "assimp failed";
  } else {
    for (int op = kInfo; op <= kExportStl; ++op)
      r.note[op] = "assimp not installed";
  }
  for (int op = 0; op < kOps; ++op) printOp(r, op);
  return r;
}

}  // namespace

// --run READER COLD FILE [POINTS TRIANGLES]: one timed read in this fresh
// process, its seconds on stdout. `open` opens the file once untimed first,
// so that the timed open also closes a model of the same size, as a
// repeated "file open" does. COLD 1 drops the file's cached pages just
// before the timed read.
int runOne(int argc, char** argv) {
  if (argc < 5) return 2;
  const std::string reader = argv[2], path = argv[4];
  const bool cold = std::strcmp(argv[3], "1") == 0;
  std::function<bool()> run;
  if (reader == "open") {
    if (!openModelDocument(g_ws, path.c_str())) return 1;
    run = [&] { return openModelDocument(g_ws, path.c_str()) != nullptr; };
  } else if (reader == "bare") {
    run = [&] { return barePass(path); };
#ifdef MODELR_HAVE_TINYOBJ
  } else if (reader == "tinyobj" && argc >= 7) {
    const long points = atol(argv[5]), triangles = atol(argv[6]);
    run = [=] { return tinyobjRead(path, points, triangles); };
#endif
  } else {
    return 2;
  }
  if (cold) dropCached(path);
  auto t0 = Clock::now();
  if (!run()) return 1;
  printf("%.9f\n", std::chrono::duration<double>(Clock::now() - t0).count());
  return 0;
}

int main(int argc, char** argv) {
  workspaceInit(&g_ws, nullptr, nullptr, nullptr);
  if (argc > 1 && std::strcmp(argv[1], "--run") == 0) return runOne(argc, argv);
  gSelf = std::filesystem::read_symlink("/proc/self/exe").string();
  long maxPoints = argc > 1 ? atol(argv[1]) : 1000000;

  const char* tmp = getenv("TMPDIR");
  std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/modelr_io_XXXXXX";
  std::vector<char> dirName(pattern.begin(), pattern.end());
  dirName.push_back('\0');
  if (!mkdtemp(dirName.data())) {
    printf("could not make a directory from %s\n", pattern.c_str());
    return 1;
  }
  std::string dir = dirName.data();
  bool haveAssimp = runQuiet("command -v assimp");

  printf("File reading and writing, best of %d wall-clock runs; MB/s of the "
         "file read or written (.mod for open, save, bare; OBJ twin for "
         "tinyobj and assimp)\n", kReps);
#ifndef MODELR_HAVE_TINYOBJ
  printf("tinyobjloader was not found at build time: no tinyobj figures\n");
#endif
  if (!haveAssimp) printf("assimp is not installed: no assimp figures\n");
  // Other work on the machine shows in every figure.
  if (FILE* f = fopen("/proc/loadavg", "r")) {
    char load[64] = "";
    if (fgets(load, sizeof load, f)) printf("load average at start: %s", load);
    fclose(f);
  }
  printf("%-8s %-22s %-4s %7s %10s %9s  %s\n", "points", "operation", "file",
         "MB", "best ms", "MB/s", "note");

  auto start = Clock::now();
  const int32_t grids[][2] = {{100, 100}, {400, 250}, {1000, 1000}};
  std::vector<Row> rows;
  for (const auto& g : grids) {
    if (static_cast<long>(g[0]) * g[1] > maxPoints) break;
    rows.push_back(benchSize(dir, g[0], g[1], haveAssimp));
  }

  printf("\nratios: speed of modelr over the other, from times on the same "
         "mesh (the .mod is the larger file, so MB/s ratios would be higher)\n");
  printf("%-8s %-19s %-19s %-17s %-17s %-17s %-24s %s\n", "points",
         "open/tinyobj >=3x", "cold open/tinyobj", "open/bare >=0.5x",
         "open/assimp info", "cold, the same", "save/assimp export >=2x",
         "save/(export-info)");
  for (const Row& r : rows) {
    double exportOnly = r.secs[kExportObj] > 0 && r.secs[kInfo] > 0
                            ? r.secs[kExportObj] - r.secs[kInfo]
                            : -1;
    std::string a = ratio(r.secs[kOpen], r.secs[kTiny]) +
                    verdict(r.secs[kOpen], r.secs[kTiny], 3.0);
    std::string a2 = ratio(r.secs[kOpenCold], r.secs[kTinyCold]) +
                     verdict(r.secs[kOpenCold], r.secs[kTinyCold], 3.0);
    std::string b = ratio(r.secs[kOpen], r.secs[kBare]) +
                    verdict(r.secs[kOpen], r.secs[kBare], 0.5);
    std::string c = ratio(r.secs[kSave], r.secs[kExportObj]) +
                    verdict(r.secs[kSave], r.secs[kExportObj], 2.0);
    std::string d = ratio(r.secs[kSave], exportOnly);
    printf("%-8d %-19s %-19s %-17s %-17s %-17s %-24s %s\n", r.points, a.c_str(),
           a2.c_str(), b.c_str(), ratio(r.secs[kOpen], r.secs[kInfo]).c_str(),
           ratio(r.secs[kOpenCold], r.secs[kInfoCold]).c_str(), c.c_str(), d.c_str());
  }
  printf("(the assimp times include process start and its own import; "
         "export-info takes both out, roughly)\n");

  if (rows.size() > 1) {
    printf("\nlinearity: MB/s at each size, and largest over smallest\n");
    for (int op = 0; op < kOps; ++op) {
      if (op == kClose) continue;
      printf("%-22s", kOpNames[op]);
      for (const Row& r : rows) printf(" %9.1f", r.rate(op));
      double first = rows.front().rate(op), last = rows.back().rate(op);
      if (first > 0 && last > 0) printf("   %.2f", last / first);
      printf("\n");
    }
  }

  std::error_code ignored;
  std::filesystem::remove_all(dir, ignored);
  printf("total %.1f s\n",
         std::chrono::duration<double>(Clock::now() - start).count());
  return 0;
}
