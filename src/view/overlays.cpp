// The overlays drawn over the models, unlit, in scene coordinates:
//   skeleton  each joint a point in its colour (selected: the selection
//             colour) and a bone to its parent, posed with the pose switch,
//             drawn through the surfaces;
//   grid      lines every power of ten that gives about ten cells across
//             the scene extent, in the z = 0 plane, half-way between the
//             background and its inverse;
//   cursor    the 3D cursor's three handles (+x red, +y green, +z blue),
//             as long as the pickers see them; with them the arc (the
//             circle about the cursor square to the arc axis, the sector
//             up to the arc angle in yellow, a spoke at the arc value),
//             the mover (an arrow along its axis with a cross at value %
//             of its length) and the scaler (a wire box of the scaler's
//             size in handle lengths);
//   surfaces  every surface vector as a short magenta line from its point.
#include "view/overlays.h"

#include <GL/glew.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "model/geometry.h"
#include "model/posing.h"
#include "view/pick.h"
#include "view/view.h"

namespace {

constexpr float kJointSize = 6.0f;
constexpr float kVectorShare = 0.05f;  // of the model's largest extent

void vertex(const float p[3]) { glVertex3fv(p); }

void drawSkeleton(const Model* model, const RenderState& render) {
  const KeyedTable* joints = &model->joints;
  if (tableCount(joints) == 0) return;
  std::vector<float> posed;
  if (render.display.pose) computePosedJoints(model, &posed);
  auto at = [&](const Joint* j, int32_t slot) {
    return posed.empty() ? j->position : &posed[3 * static_cast<size_t>(slot)];
  };
  glBegin(GL_LINES);
  tableForEach<Joint>(joints, [&](const Joint* j, int32_t slot) {
    const int32_t parentSlot = tablePosition(joints, j->parent, false);
    if (parentSlot < 0 || parentSlot == slot) return;
    glColor3fv(j->colour);
    vertex(at(j, slot));
    vertex(at(tableAt<Joint>(joints, parentSlot), parentSlot));
  });
  glEnd();
  glPointSize(kJointSize);
  glBegin(GL_POINTS);
  tableForEach<Joint>(joints, [&](const Joint* j, int32_t slot) {
    glColor3fv(j->selected ? render.selectionColour : j->colour);
    vertex(at(j, slot));
  });
  glEnd();
}

void drawGrid(const RenderState& render) {
  const float extent = render.sceneExtent > 0.0f ? render.sceneExtent : kDefaultSceneExtent;
  const float spacing = std::pow(10.0f, std::floor(std::log10(extent / 10.0f)));
  const int cells = std::min(200, static_cast<int>(std::ceil(extent / spacing / 2.0f)));
  const float half = spacing * static_cast<float>(cells);
  glColor3f(0.5f, 0.5f, 0.5f);
  glBegin(GL_LINES);
  for (int i = -cells; i <= cells; ++i) {
    const float at = spacing * static_cast<float>(i);
    glVertex3f(at, -half, 0.0f);
    glVertex3f(at, half, 0.0f);
    glVertex3f(-half, at, 0.0f);
    glVertex3f(half, at, 0.0f);
  }
  glEnd();
}

void drawHandles(const View& v) {
  const float* c = v.camera.cursor;
  const DisplayFlags& flags = v.render.display;
  const float length = viewHandleLength(v);
  glBegin(GL_LINES);
  for (int axis = 0; axis < 3; ++axis) {
    float colour[3] = {0, 0, 0}, tip[3] = {c[0], c[1], c[2]};
    colour[axis] = 1.0f;
    tip[axis] += length;
    glColor3fv(colour);
    vertex(c);
    vertex(tip);
  }
  glEnd();

  // The arc: grey circle, yellow sector, white spoke at the value.
  const int32_t axis = flags.arcAxis >= 1 && flags.arcAxis <= 3 ? flags.arcAxis : 3;
  glBegin(GL_LINES);
  for (int n = 1; n <= 360; ++n) {
    float a[3], b[3];
    arcPoint(c, axis, length, static_cast<float>(n - 1), a);
    arcPoint(c, axis, length, static_cast<float>(n), b);
    const bool inSector = flags.arcAngle > 0 ? n <= flags.arcAngle : n > 360 + flags.arcAngle;
    if (inSector)
      glColor3f(1.0f, 1.0f, 0.0f);
    else
      glColor3f(0.6f, 0.6f, 0.6f);
    vertex(a);
    vertex(b);
  }
  float spoke[3];
  arcPoint(c, axis, length, static_cast<float>(flags.arcValue), spoke);
  glColor3f(1.0f, 1.0f, 1.0f);
  vertex(c);
  vertex(spoke);
  glEnd();

  if (flags.moverAxis >= 1 && flags.moverAxis <= 3) {
    const int m = flags.moverAxis - 1;
    float tip[3] = {c[0], c[1], c[2]}, mark[3] = {c[0], c[1], c[2]};
    tip[m] += 1.5f * length;
    mark[m] += 1.5f * length * static_cast<float>(flags.moverValue) / 100.0f;
    const float arm = 0.1f * length;
    const int o = (m + 1) % 3;
    glColor3f(0.0f, 1.0f, 1.0f);
    glBegin(GL_LINES);
    vertex(c);
    vertex(tip);
    float a[3] = {mark[0], mark[1], mark[2]}, b[3] = {mark[0], mark[1], mark[2]};
    a[o] -= arm;
    b[o] += arm;
    vertex(a);
    vertex(b);
    glEnd();
  }

  const float* k = flags.scaler;
  if (k[0] != 0.0f || k[1] != 0.0f || k[2] != 0.0f) {
    float corner[8][3];
    for (int i = 0; i < 8; ++i)
      for (int a = 0; a < 3; ++a)
        corner[i][a] = c[a] + ((i >> a) & 1 ? 0.5f : -0.5f) * k[a] * length;
    glColor3f(1.0f, 0.5f, 0.0f);
    glBegin(GL_LINES);
    for (int i = 0; i < 8; ++i) {
      for (int a = 0; a < 3; ++a) {
        const int j = i | (1 << a);
        if (j == i) continue;
        vertex(corner[i]);
        vertex(corner[j]);
      }
    }
    glEnd();
  }
}

float largestExtent(const Model* model) {
  float largest = 0.0f;
  for (int a = 0; a < 3; ++a) largest = std::max(largest, model->boundsMax[a] - model->boundsMin[a]);
  return largest > 0.0f ? largest : 1.0f;
}

void drawVectors(const Model* model, const KeyedTable* vectors, float length) {
  tableForEach<VectorEntry>(vectors, [&](const VectorEntry* e, int32_t slot) {
    const Point* p = findPoint(model, tableIntKeyAt(vectors, slot));
    if (p == nullptr) return;
    glVertex3f(p->x, p->y, p->z);
    glVertex3f(p->x + e->x * length, p->y + e->y * length, p->z + e->z * length);
  });
}

void drawSurfaces(const Model* model) {
  const float length = kVectorShare * largestExtent(model);
  glColor3f(1.0f, 0.0f, 1.0f);
  glBegin(GL_LINES);
  drawVectors(model, &model->surface, length);
  tableForEach<Layer>(&model->layers,
                      [&](const Layer* layer, int32_t) { drawVectors(model, &layer->surface, length); });
  glEnd();
}

}  // namespace

void drawOverlays(const View& v, const Scene& scene) {
  const DisplayFlags& flags = v.render.display;
  if (!flags.skeleton && !flags.grid && !flags.cursor && !flags.surfaces) return;
  glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT | GL_LINE_BIT | GL_POINT_BIT | GL_DEPTH_BUFFER_BIT);
  glDisable(GL_LIGHTING);
  glDisable(GL_TEXTURE_2D);
  glDisable(GL_BLEND);
  glDisable(GL_CULL_FACE);
  glLineWidth(1.0f);
  if (flags.grid) drawGrid(v.render);
  for (const Model* model : scene.models) {
    if (model == nullptr) continue;
    if (flags.surfaces) drawSurfaces(model);
  }
  // Bones and handles show through the surfaces they lie in.
  glDisable(GL_DEPTH_TEST);
  if (flags.skeleton) {
    for (const Model* model : scene.models)
      if (model != nullptr) drawSkeleton(model, v.render);
  }
  if (flags.cursor) drawHandles(v);
  glPopAttrib();
}
