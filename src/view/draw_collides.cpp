#include "view/draw_collides.h"

#include <GL/glew.h>

#include <cmath>
#include <cstddef>

#include "view/model_displays.h"

namespace {

constexpr int kCircleSegments = 24;
constexpr uint8_t kOutlineColour[4] = {255, 160, 0, 255};

void segment(std::vector<DrawVertex>* out, const uint8_t colour[4], const float a[3],
             const float b[3]) {
  const float up[3] = {0, 0, 1};
  for (const float* p : {a, b}) out->push_back(DrawVertex(p, up, colour, 1, 0));
}

// An arc of radius r from angle `from` to `to` (radians) in the plane of
// axes u and v, about `centre`.
void arc(std::vector<DrawVertex>* out, const uint8_t colour[4], const float centre[3], int u,
         int v, float r, float from, float to, int steps) {
  float last[3] = {centre[0], centre[1], centre[2]};
  last[u] += r * std::cos(from);
  last[v] += r * std::sin(from);
  for (int i = 1; i <= steps; ++i) {
    const float angle = from + (to - from) * static_cast<float>(i) / static_cast<float>(steps);
    float next[3] = {centre[0], centre[1], centre[2]};
    next[u] += r * std::cos(angle);
    next[v] += r * std::sin(angle);
    segment(out, colour, last, next);
    for (int k = 0; k < 3; ++k) last[k] = next[k];
  }
}

void box(std::vector<DrawVertex>* out, const uint8_t colour[4], const float size[3]) {
  float corner[8][3];
  for (int c = 0; c < 8; ++c)
    for (int i = 0; i < 3; ++i) corner[c][i] = ((c >> i) & 1 ? 0.5f : -0.5f) * size[i];
  // An edge joins corners that differ in one bit.
  for (int c = 0; c < 8; ++c)
    for (int bit = 1; bit < 8; bit <<= 1)
      if ((c & bit) == 0) segment(out, colour, corner[c], corner[c | bit]);
}

}  // namespace

void buildCollideOutline(const CollideObject* o, float planeSide, const uint8_t colour[4],
                         std::vector<DrawVertex>* out) {
  constexpr float pi = 3.14159265f;
  const float zero[3] = {0, 0, 0};
  const float radius = std::fabs(o->size[0]) * 0.5f;
  switch (o->shape) {
    case kShapeSphere:
      arc(out, colour, zero, 0, 1, radius, 0, 2 * pi, kCircleSegments);
      arc(out, colour, zero, 1, 2, radius, 0, 2 * pi, kCircleSegments);
      arc(out, colour, zero, 2, 0, radius, 0, 2 * pi, kCircleSegments);
      return;
    case kShapeCapsule: {
      const float half = std::fmax(std::fabs(o->size[2]) * 0.5f - radius, 0.0f);
      for (float z : {-half, half}) {
        const float centre[3] = {0, 0, z};
        arc(out, colour, centre, 0, 1, radius, 0, 2 * pi, kCircleSegments);
        const float from = z > 0 ? 0 : pi;
        arc(out, colour, centre, 0, 2, radius, from, from + pi, kCircleSegments / 2);
        arc(out, colour, centre, 1, 2, radius, from, from + pi, kCircleSegments / 2);
      }
      for (int side = 0; side < 4; ++side) {
        const float a = side * pi * 0.5f;
        const float bottom[3] = {radius * std::cos(a), radius * std::sin(a), -half};
        const float top[3] = {bottom[0], bottom[1], half};
        segment(out, colour, bottom, top);
      }
      return;
    }
    case kShapePlane: {
      const float h = planeSide * 0.5f;
      const float flat[3] = {planeSide, planeSide, 0};
      box(out, colour, flat);
      const float up[3] = {0, 0, h * 0.25f};
      segment(out, colour, zero, up);
      return;
    }
    default:
      box(out, colour, o->size);
      return;
  }
}

int32_t drawCollideOutlines(const Model* model, const float modelMatrix[16],
                            const float sceneMatrix[16], const ScenePlacements* placed,
                            float planeSide, std::vector<DrawVertex>* scratch) {
  if (tableCount(&model->collides) == 0) return 0;
  glDisable(GL_LIGHTING);
  glDisable(GL_CULL_FACE);
  // The outlines come from host memory.
  if (glBindBuffer != nullptr) glBindBuffer(GL_ARRAY_BUFFER, 0);
  int32_t segments = 0;
  tableForEach<CollideObject>(&model->collides, [&](const CollideObject* o, int32_t) {
    scratch->clear();
    buildCollideOutline(o, planeSide, kOutlineColour, scratch);
    float matrix[16];
    const SceneFrame* frame = simulatedCollideFrame(placed, o->id);
    if (frame != nullptr) {
      multiplyColumnOrder(sceneMatrix, frame->m, matrix);
    } else {
      // The object's place in its model: offset, then rotation.
      float local[16] = {0};
      for (int c = 0; c < 3; ++c) {
        for (int r = 0; r < 3; ++r) local[c * 4 + r] = o->rotation[r * 3 + c];
        local[12 + c] = o->position[c];
      }
      local[15] = 1;
      multiplyColumnOrder(modelMatrix, local, matrix);
    }
    glLoadMatrixf(matrix);
    const DrawVertex* v = scratch->data();
    const GLsizei stride = sizeof(DrawVertex);
    glVertexPointer(3, GL_FLOAT, stride, reinterpret_cast<const char*>(v) + offsetof(DrawVertex, position));
    glNormalPointer(GL_SHORT, stride, reinterpret_cast<const char*>(v) + offsetof(DrawVertex, normal));
    glColorPointer(4, GL_UNSIGNED_BYTE, stride,
                   reinterpret_cast<const char*>(v) + offsetof(DrawVertex, colour));
    glDrawArrays(GL_LINES, 0, static_cast<GLsizei>(scratch->size()));
    segments += static_cast<int32_t>(scratch->size() / 2);
  });
  return segments;
}
