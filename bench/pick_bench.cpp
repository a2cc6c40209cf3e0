// Times picking on grids of 10^4, 10^5 and 10^6 triangles built with the
// document operations, the whole grid in view of a 1024x768 window under a
// parallel camera, beside one frame of drawModel of the same model in the
// same context:
//   - the candidate sets of the triangle and point pickers rebuilt after one
//     point was moved (buildPickSet), the same call on an unchanged model
//     (the key walk alone), and the index over each set (pickIndexBuild);
//   - pickIndexed at 200 random positions over the grid, per kind;
//   - pickSelect, GL selection mode, at the first of those positions (all
//     200 at 10^4, fewer above: each pick draws every candidate), with the
//     count of positions where both pickers gave the same answer;
//   - a later frame of drawModel, glFinish before the clock stops.
// A grid's last row may be partly filled, so a few triangle picks can miss.
//
//   xvfb-run -a -s "-screen 0 1280x1024x24 +extension GLX"
//   build/bench/pick_bench [n ...]
//
// One column per size; times are medians unless a row says mean.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "gl_window.h"
#include "grid_scene.h"
#include "model/geometry.h"
#include "model/model.h"
#include "view/camera.h"
#include "view/display_flags.h"
#include "view/draw_model.h"
#include "view/pick.h"

namespace {

constexpr int kWidth = 1024;
constexpr int kHeight = 768;
constexpr int kIndexedPicks = 200;
constexpr int kEdits = 3;  // candidate and index rebuilds timed per size

using Clock = std::chrono::steady_clock;

double usSince(Clock::time_point t0) {
  return std::chrono::duration<double, std::micro>(Clock::now() - t0).count();
}

double median(std::vector<double> v) {
  if (v.empty()) return 0.0;
  std::sort(v.begin(), v.end());
  const size_t h = v.size() / 2;
  return v.size() % 2 == 1 ? v[h] : 0.5 * (v[h - 1] + v[h]);
}

double mean(const std::vector<double>& v) {
  if (v.empty()) return 0.0;
  double sum = 0.0;
  for (double x : v) sum += x;
  return sum / static_cast<double>(v.size());
}

// The switches a new view starts with.
DisplayFlags defaultFlags() {
  DisplayFlags f;
  setDisplayDefaults(&f);
  return f;
}

// The camera both the frame and the pickers use: the unit grid centred,
// tipped back 20 degrees, in a parallel volume of the window's aspect with
// a margin around it.
PickFrame gridFrame() {
  PickFrame f;
  f.viewport[0] = 0;
  f.viewport[1] = 0;
  f.viewport[2] = kWidth;
  f.viewport[3] = kHeight;
  const float halfY = 0.55f, halfX = halfY * kWidth / kHeight;
  const float nearZ = -10.0f, farZ = 10.0f;
  float* p = f.projection;
  std::memset(p, 0, 16 * sizeof(float));
  p[0] = 1 / halfX;
  p[5] = 1 / halfY;
  p[10] = -2 / (farZ - nearZ);
  p[14] = -(farZ + nearZ) / (farZ - nearZ);
  p[15] = 1;
  float* mv = f.modelView;
  matrixIdentity(mv);
  mv[12] = -0.5f;
  mv[13] = -0.5f;
  matrixRotate(mv, -20.0f, 0.0f, 0.0f);
  return f;
}

void loadFrame(const PickFrame& f) {
  glViewport(f.viewport[0], f.viewport[1], f.viewport[2], f.viewport[3]);
  glMatrixMode(GL_PROJECTION);
  glLoadMatrixf(f.projection);
  glMatrixMode(GL_MODELVIEW);
  glLoadMatrixf(f.modelView);
}

// Window position (origin top left, as picks take it) of a scene point.
void windowOf(const PickFrame& f, const float v[3], int32_t* x, int32_t* y) {
  float eye[4], clip[4];
  for (int r = 0; r < 4; ++r)
    eye[r] = f.modelView[r] * v[0] + f.modelView[4 + r] * v[1] +
             f.modelView[8 + r] * v[2] + f.modelView[12 + r];
  for (int r = 0; r < 4; ++r)
    clip[r] = f.projection[r] * eye[0] + f.projection[4 + r] * eye[1] +
              f.projection[8 + r] * eye[2] + f.projection[12 + r] * eye[3];
  const float wx = (clip[0] / clip[3] * 0.5f + 0.5f) * f.viewport[2] + f.viewport[0];
  const float wy = (clip[1] / clip[3] * 0.5f + 0.5f) * f.viewport[3] + f.viewport[1];
  *x = static_cast<int32_t>(std::floor(wx));
  *y = f.viewport[3] - 1 - static_cast<int32_t>(std::floor(wy));
}

double timedFrame(ModelDisplays* store, Model* model, const RenderState& render) {
  glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
  glFinish();
  const Clock::time_point t0 = Clock::now();
  drawModel(store, model, &render);
  glFinish();
  return usSince(t0);
}

struct Answer {
  bool hit = false;
  uint32_t name = 0;
  bool operator==(const Answer& o) const {
    return hit == o.hit && (!hit || name == o.name);
  }
};

// What one kind of pick cost at one size.
struct KindResult {
  std::vector<double> setUs, keyWalkUs, indexUs, indexedUs, referenceUs;
  int hits = 0, agreed = 0;
  uint32_t keyChanges = 0;
};

struct SizeResult {
  int triangles = 0;
  int points = 0;
  size_t candidates[2] = {0, 0};
  KindResult kinds[2];  // triangle, point
  std::vector<double> frameUs;
  double firstFrameUs = 0.0;
};

constexpr PickKind kKinds[2] = {PickKind::kTriangle, PickKind::kPoint};

int referencePicks(int triangles) {
  return std::max(5, std::min(kIndexedPicks, 2000000 / std::max(triangles, 1)));
}

SizeResult runSize(ModelDisplays* store, int triangles, uint32_t seed) {
  SizeResult out;
  out.triangles = triangles;
  const DisplayFlags flags = defaultFlags();
  RenderState render;
  initRenderState(&render);
  render.display = flags;
  PickSettings settings;
  settings.flags = flags;
  settings.cursor[0] = settings.cursor[1] = settings.cursor[2] = 0.0f;
  settings.handleLength = 0.25f;
  settings.arcAxis = 3;

  Model* model = buildGrid(triangles);
  out.points = static_cast<int>(model->points.count);
  const PickFrame frame = gridFrame();
  loadFrame(frame);

  // Frames: the first builds and uploads the vertex data, the later ones
  // are what a redraw costs.
  out.firstFrameUs = timedFrame(store, model, render);
  const int frames = triangles >= 1000000 ? 5 : triangles >= 100000 ? 10 : 30;
  for (int i = 0; i < frames; ++i) out.frameUs.push_back(timedFrame(store, model, render));

  // Candidate sets and indexes: a first build, then rebuilds after edits.
  const std::vector<Model*> open = {model};
  PickSet sets[2];
  PickIndex* indexes[2] = {newPickIndex(), newPickIndex()};
  for (int k = 0; k < 2; ++k) {
    if (!buildPickSet(kKinds[k], model, open, settings, &sets[k]) || indexes[k] == nullptr ||
        !pickIndexBuild(indexes[k], sets[k]))
      std::fprintf(stderr, "%d triangles: out of memory building kind %d\n", triangles,
                   static_cast<int>(kKinds[k]));
  }
  for (int e = 0; e < kEdits; ++e) {
    const Point* p = findPoint(model, 1);
    addPoint(model, 1, p->x, p->y, p->z + 0.001f);
    for (int k = 0; k < 2; ++k) {
      KindResult& r = out.kinds[k];
      const uint64_t before = sets[k].key;
      Clock::time_point t0 = Clock::now();
      buildPickSet(kKinds[k], model, open, settings, &sets[k]);
      r.setUs.push_back(usSince(t0));
      if (sets[k].key != before) ++r.keyChanges;
      t0 = Clock::now();
      pickIndexBuild(indexes[k], sets[k]);
      r.indexUs.push_back(usSince(t0));
      // Asked again with nothing changed: the key walk alone.
      t0 = Clock::now();
      buildPickSet(kKinds[k], model, open, settings, &sets[k]);
      r.keyWalkUs.push_back(usSince(t0));
    }
  }
  for (int k = 0; k < 2; ++k) out.candidates[k] = sets[k].names.size();

  // Positions spread uniformly over the grid's square, as seen.
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> unit(0.0f, 1.0f);
  std::vector<int32_t> xs(kIndexedPicks), ys(kIndexedPicks);
  for (int i = 0; i < kIndexedPicks; ++i) {
    const float v[3] = {unit(rng), unit(rng), 0.0f};
    windowOf(frame, v, &xs[i], &ys[i]);
  }
  const int references = referencePicks(triangles);
  for (int k = 0; k < 2; ++k) {
    KindResult& r = out.kinds[k];
    std::vector<Answer> indexed(kIndexedPicks);
    for (int i = 0; i < kIndexedPicks; ++i) {
      const Clock::time_point t0 = Clock::now();
      indexed[i].hit = pickIndexed(indexes[k], sets[k], frame, kKinds[k], xs[i], ys[i],
                                   &indexed[i].name);
      r.indexedUs.push_back(usSince(t0));
      if (indexed[i].hit) ++r.hits;
    }
    for (int i = 0; i < references; ++i) {
      Answer reference;
      const Clock::time_point t0 = Clock::now();
      reference.hit = pickSelect(sets[k], frame, kKinds[k], xs[i], ys[i], &reference.name);
      r.referenceUs.push_back(usSince(t0));
      if (reference == indexed[i]) {
        ++r.agreed;
      } else {
        std::fprintf(stderr, "%d triangles, kind %d at %d,%d: reference %s%u, indexed %s%u\n",
                     triangles, static_cast<int>(kKinds[k]), xs[i], ys[i],
                     reference.hit ? "" : "none ", reference.name,
                     indexed[i].hit ? "" : "none ", indexed[i].name);
      }
    }
  }

  for (PickIndex* index : indexes) freePickIndex(index);
  releaseModelDisplay(store, model);
  freeModel(model);
  return out;
}

// ---- the table: one row a figure, one column a size ------------------------

using Figure = std::function<double(const SizeResult&)>;
using Words = std::function<std::string(const SizeResult&)>;

void row(const std::string& label, const std::vector<SizeResult>& results,
         const Figure& value, const char* format) {
  std::printf("%-40s", label.c_str());
  for (const SizeResult& r : results) std::printf(format, value(r));
  std::printf("\n");
}

void textRow(const std::string& label, const std::vector<SizeResult>& results,
             const Words& value) {
  std::printf("%-40s", label.c_str());
  for (const SizeResult& r : results) std::printf("%14s", value(r).c_str());
  std::printf("\n");
}

std::string ratio(size_t part, size_t whole) {
  return std::to_string(part) + "/" + std::to_string(whole);
}

void printTable(const std::vector<SizeResult>& results) {
  const char* kindNames[2] = {"tri", "point"};
  std::printf("%-40s", "triangles");
  for (const SizeResult& r : results) std::printf("%14d", r.triangles);
  std::printf("\n");
  row("points", results, [](const SizeResult& r) { return double(r.points); }, "%14.0f");
  for (int k = 0; k < 2; ++k) {
    const std::string kind = std::string(" (") + kindNames[k] + ")";
    const auto of = [k](const SizeResult& r) -> const KindResult& { return r.kinds[k]; };
    row("candidates" + kind, results, [k](const SizeResult& r) { return double(r.candidates[k]); },
        "%14.0f");
    textRow("edits that changed the key" + kind, results,
            [of](const SizeResult& r) { return ratio(of(r).keyChanges, kEdits); });
    row("candidate set after an edit ms" + kind, results,
        [of](const SizeResult& r) { return median(of(r).setUs) / 1000.0; }, "%14.2f");
    row("set unchanged (key walk) us" + kind, results,
        [of](const SizeResult& r) { return median(of(r).keyWalkUs); }, "%14.1f");
    row("index build ms" + kind, results,
        [of](const SizeResult& r) { return median(of(r).indexUs) / 1000.0; }, "%14.2f");
    row("indexed pick median us" + kind, results,
        [of](const SizeResult& r) { return median(of(r).indexedUs); }, "%14.1f");
    row("indexed pick mean us" + kind, results,
        [of](const SizeResult& r) { return mean(of(r).indexedUs); }, "%14.1f");
    textRow("indexed picks that hit" + kind, results,
            [of](const SizeResult& r) { return ratio(of(r).hits, of(r).indexedUs.size()); });
    row("reference pick median us" + kind, results,
        [of](const SizeResult& r) { return median(of(r).referenceUs); }, "%14.0f");
    row("reference pick mean us" + kind, results,
        [of](const SizeResult& r) { return mean(of(r).referenceUs); }, "%14.0f");
    textRow("agreed / reference picks" + kind, results,
            [of](const SizeResult& r) { return ratio(of(r).agreed, of(r).referenceUs.size()); });
  }
  row("first frame ms", results, [](const SizeResult& r) { return r.firstFrameUs / 1000.0; },
      "%14.2f");
  row("later frame median ms", results,
      [](const SizeResult& r) { return median(r.frameUs) / 1000.0; }, "%14.2f");
  for (int k = 0; k < 2; ++k) {
    const std::string kind = std::string(" (") + kindNames[k] + ")";
    const auto of = [k](const SizeResult& r) -> const KindResult& { return r.kinds[k]; };
    row("indexed pick / frame" + kind, results,
        [of](const SizeResult& r) { return median(of(r).indexedUs) / median(r.frameUs); },
        "%14.5f");
    row("reference / indexed" + kind, results,
        [of](const SizeResult& r) { return median(of(r).referenceUs) / median(of(r).indexedUs); },
        "%14.0f");
    row("index build / frame" + kind, results,
        [of](const SizeResult& r) { return median(of(r).indexUs) / median(r.frameUs); },
        "%14.2f");
  }
}

}  // namespace

int main(int argc, char** argv) {
  GlWindow window;
  if (!openGlWindow(&window, kWidth, kHeight, "pick_bench")) return 1;
  initState(kWidth, kHeight);
  ModelDisplays* store = newModelDisplays();
  std::printf("renderer: %s\n", reinterpret_cast<const char*>(glGetString(GL_RENDERER)));
  std::vector<int> sizes;
  for (int i = 1; i < argc; ++i) sizes.push_back(std::atoi(argv[i]));
  if (sizes.empty()) sizes = {10000, 100000, 1000000};
  std::vector<SizeResult> results;
  for (int n : sizes) {
    if (n < 2) continue;
    const Clock::time_point t0 = Clock::now();
    results.push_back(runSize(store, n, 20260 + static_cast<uint32_t>(n)));
    std::fprintf(stderr, "%d triangles: %.1f s\n", n, usSince(t0) / 1e6);
  }
  std::printf("%dx%d window, parallel camera; indexed picks at %d random positions over "
              "the grid,\nreference picks at the first 2*10^6/n of them (5 to %d); set and "
              "index builds: median of %d edits\n",
              kWidth, kHeight, kIndexedPicks, kIndexedPicks, kEdits);
  printTable(results);
  forgetModelDisplays(store);
  freeModelDisplays(store);
  closeGlWindow(&window);
  return 0;
}
