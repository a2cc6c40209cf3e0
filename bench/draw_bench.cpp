// Times drawModel on grids of 10^4, 10^5 and 10^6 triangles built with the
// document operations, beside the limit: the same mesh drawn indexed from
// one prepared buffer object with one glDrawElements and nothing else, in the
// same context, GL state and run (frames of the two alternate). Every
// frame ends with glFinish, so the times are what the GL took to draw.
//
//   xvfb-run -a -s "-screen 0 1280x1024x24 +extension GLX"
//   build/bench/draw_bench [n ...]
//
// Columns: first frame (the vertex data is built and uploaded), the mean of
// later frames, the limit, later / limit, and frames each after one point
// was moved (mean, best, and mean / later: the goal at 10^6 is 1.2 at most),
// and the bytes per triangle the GL keeps for the mesh.

#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unordered_map>
#include <vector>

#include "draw_vertex_arrays.h"
#include "gl_window.h"
#include "grid_scene.h"
#include "model/geometry.h"
#include "model/model.h"
#include "view/display_flags.h"
#include "view/draw_model.h"
#include "view/layer_cache.h"
#include "view/model_displays.h"

namespace {

constexpr int kWidth = 1024;
constexpr int kHeight = 768;
const uint8_t kSelection[3] = {255, 0, 0};  // nothing is selected in the grid
constexpr int kEdits = 5;  // frames each after one point moved

using Clock = std::chrono::steady_clock;

double msSince(Clock::time_point t0) {
  return std::chrono::duration<double, std::milli>(Clock::now() - t0).count();
}

void setCamera() {
  glMatrixMode(GL_PROJECTION);
  glLoadIdentity();
  glOrtho(-0.05, 1.05, -0.05, 1.05, -10, 10);
  glMatrixMode(GL_MODELVIEW);
  glLoadIdentity();
  glRotatef(-20.0f, 1, 0, 0);
}

// The switches a new view starts with.
DisplayFlags defaultFlags() {
  DisplayFlags f;
  setDisplayDefaults(&f);
  return f;
}

// The limit is the indexed draw of the same mesh: each distinct vertex
// once in one buffer, the triangles as 32-bit indices into it, one
// glDrawElements; what a renderer that shared vertices could reach.
struct Limit {
  GLuint buffer = 0;
  GLuint indices = 0;
  GLsizei count = 0;
};

struct VertexBytes {
  size_t operator()(const std::string& bytes) const { return std::hash<std::string>()(bytes); }
};

Limit prepareLimit(const Model* model, const DisplayFlags& flags) {
  LayerVertices vertices;
  const Layer* layer = tableFindT<Layer>(&model->layers, "grid");
  buildLayerVertices(
      model, layer, nullptr,
      flags.gouraud ? kNormalsStoredElseSmooth : kNormalsStoredElseFace, 0.0f,
      kSelection, &vertices);
  std::unordered_map<std::string, uint32_t, VertexBytes> seen;
  std::vector<DrawVertex> distinct;
  std::vector<uint32_t> indices;
  indices.reserve(vertices.triangles.size());
  for (const DrawVertex& v : vertices.triangles) {
    // The wireframe flag is no part of what an indexed draw shares.
    DrawVertex key = v;
    key.outline = 0;
    const std::string bytes(reinterpret_cast<const char*>(&key), sizeof key);
    auto found = seen.emplace(bytes, static_cast<uint32_t>(distinct.size()));
    if (found.second) distinct.push_back(key);
    indices.push_back(found.first->second);
  }
  Limit limit;
  limit.count = static_cast<GLsizei>(indices.size());
  glGenBuffers(1, &limit.buffer);
  glBindBuffer(GL_ARRAY_BUFFER, limit.buffer);
  glBufferData(GL_ARRAY_BUFFER, distinct.size() * sizeof(DrawVertex), distinct.data(),
               GL_STATIC_DRAW);
  glBindBuffer(GL_ARRAY_BUFFER, 0);
  glGenBuffers(1, &limit.indices);
  glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, limit.indices);
  glBufferData(GL_ELEMENT_ARRAY_BUFFER, indices.size() * sizeof(uint32_t), indices.data(),
               GL_STATIC_DRAW);
  glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
  return limit;
}

void drawLimit(const Limit& limit) {
  glBindBuffer(GL_ARRAY_BUFFER, limit.buffer);
  enableDrawVertexArrays();
  glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, limit.indices);
  glDrawElements(GL_TRIANGLES, limit.count, GL_UNSIGNED_INT, nullptr);
  glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
  disableDrawVertexArrays();
  glBindBuffer(GL_ARRAY_BUFFER, 0);
}

double timedFrame(ModelDisplays* store, Model* model, const RenderState& render,
                  const Limit* limit, int32_t* primitives) {
  glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
  glFinish();
  const Clock::time_point t0 = Clock::now();
  if (limit != nullptr) {
    drawLimit(*limit);
  } else {
    *primitives = drawModel(store, model, &render);
  }
  glFinish();
  return msSince(t0);
}

void runSize(ModelDisplays* store, int triangles, int frames) {
  const DisplayFlags flags = defaultFlags();
  RenderState render;
  initRenderState(&render);
  render.display = flags;
  Clock::time_point t0 = Clock::now();
  Model* model = buildGrid(triangles);
  const double buildMs = msSince(t0);

  setCamera();
  int32_t primitives = 0;
  const double first = timedFrame(store, model, render, nullptr, &primitives);
  const Limit limit = prepareLimit(model, flags);
  timedFrame(store, model, render, &limit, nullptr);  // the limit's own first use
  double later = 0.0, worst = 0.0, limitSum = 0.0;
  for (int i = 0; i < frames; ++i) {
    const double t = timedFrame(store, model, render, nullptr, &primitives);
    later += t;
    if (t > worst) worst = t;
    limitSum += timedFrame(store, model, render, &limit, nullptr);
  }
  later /= frames;
  const double limitMean = limitSum / frames;

  // One point moved before each of a few frames, spread over the grid:
  // the vertices around it change, the rest of the mesh does not.
  const int32_t points = tableCount(&model->points);
  double edited = 0.0, editedBest = 0.0;
  for (int i = 0; i < kEdits; ++i) {
    const int32_t number = 1 + static_cast<int32_t>(
                                   (static_cast<int64_t>(i) * 2 + 1) * points / (2 * kEdits));
    const Point* p = findPoint(model, number);
    addPoint(model, number, p->x, p->y, p->z + 0.01f);
    const double t = timedFrame(store, model, render, nullptr, &primitives);
    edited += t;
    if (i == 0 || t < editedBest) editedBest = t;
  }
  edited /= kEdits;
  // What the GL keeps for the grid's triangles: the vertex buffer (with
  // its room for patches when shared) and the indices.
  const VertexRun& run = store->byModel[model->id]
                             .layers[tablePosition(&model->layers, "grid", false)]
                             .triangles;
  const size_t glBytes =
      run.elements != 0
          ? static_cast<size_t>(run.room) * sizeof(DrawVertex) +
                static_cast<size_t>(run.count) * sizeof(uint32_t)
          : static_cast<size_t>(run.count) * sizeof(DrawVertex);

  std::printf("%9d %10.1f %9.2f %9.2f %9.2f %9.2f %7.3f %9.2f %9.2f %7.3f %9d %7.1f\n",
              triangles, buildMs, first, later, worst, limitMean, later / limitMean,
              edited, editedBest, edited / later, primitives,
              static_cast<double>(glBytes) / triangles);
  std::fflush(stdout);
  glDeleteBuffers(1, &limit.buffer);
  glDeleteBuffers(1, &limit.indices);
  releaseModelDisplay(store, model);
  freeModel(model);
}

}  // namespace

int main(int argc, char** argv) {
  GlWindow window;
  if (!openGlWindow(&window, kWidth, kHeight, "draw_bench")) return 1;
  initState(kWidth, kHeight);
  ModelDisplays* store = newModelDisplays();
  std::printf("renderer: %s\n",
              reinterpret_cast<const char*>(glGetString(GL_RENDERER)));
  std::printf("%9s %10s %9s %9s %9s %9s %7s %9s %9s %7s %9s %7s\n", "triangles",
              "build ms", "first ms", "later ms", "worst ms", "limit ms", "ratio",
              "edit ms", "edit min", "e/later", "drawn", "GL B/t");
  std::vector<int> sizes;
  for (int i = 1; i < argc; ++i) sizes.push_back(std::atoi(argv[i]));
  if (sizes.empty()) sizes = {10000, 100000, 1000000};
  for (int n : sizes) {
    if (n < 2) continue;
    runSize(store, n, n >= 1000000 ? 10 : n >= 100000 ? 30 : 100);
  }
  // The context takes the last model's buffers with it.
  forgetModelDisplays(store);
  freeModelDisplays(store);
  closeGlWindow(&window);
  return 0;
}
