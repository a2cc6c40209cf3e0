// Picking in the view window: the camera the last frame drew with, the
// candidate set of the picker (rebuilt only when what it depends on
// changed) and the indexed picker. No GL is needed: a pick costs no frame.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include "view/camera.h"
#include "view/frame.h"
#include "view/pick.h"
#include "view/view.h"

PickState* newPickState() { return new (std::nothrow) PickState; }

void freePickState(PickState* state) {
  if (state == nullptr) return;
  for (PickIndex* index : state->indexes) freePickIndex(index);
  delete state;
}

float viewHandleLength(const View& v) {
  // The projection shows extent * zoom / 4 either side of the centre.
  const float halfWidth =
      0.25f * std::max(v.camera.extentX, v.camera.extentY) * v.camera.zoom;
  return halfWidth > 0.0f ? 0.25f * halfWidth : 1.0f;
}

void arcPoint(const float centre[3], int32_t axis, float radius, float degrees, float out[3]) {
  const int u = axis == 1 ? 1 : 0;
  const int v = axis == 3 ? 1 : 2;
  const float angle = degrees * (3.14159265f / 180.0f);
  std::memcpy(out, centre, 3 * sizeof(float));
  out[u] += radius * std::cos(angle);
  out[v] += radius * std::sin(angle);
}

bool viewPickFrame(View& v, PickFrame* frame) {
  if (v.window.window == nullptr) return false;
  viewViewport(v, frame->viewport);
  cameraUpdateProjection(&v.camera, &v.render.eyeDistance);
  std::memcpy(frame->projection, v.camera.projection, sizeof frame->projection);
  // The scene is drawn shifted by -focus; the pickers see it so too.
  float shift[16];
  matrixIdentity(shift);
  for (int i = 0; i < 3; ++i) shift[12 + i] = -v.camera.focus[i];
  matrixMultiply(v.camera.modelView, shift, frame->modelView);
  return true;
}

bool viewPick(View& v, PickKind kind, Model* current, const std::vector<Model*>& models,
              int32_t x, int32_t y, int32_t arcAxis, uint32_t* name,
              const ScenePlacements* placed) {
  PickState* state = v.picking;
  if (state == nullptr || state->open) return false;
  PickFrame frame;
  if (!viewPickFrame(v, &frame)) return false;
  const int k = static_cast<int>(kind);
  if (state->indexes[k] == nullptr) state->indexes[k] = newPickIndex();
  if (state->indexes[k] == nullptr) return false;
  state->open = true;
  PickSettings settings;
  settings.flags = v.render.display;
  std::memcpy(settings.cursor, v.camera.cursor, sizeof settings.cursor);
  settings.handleLength = viewHandleLength(v);
  settings.arcAxis = arcAxis;
  settings.placed = placed;
  PickSet& set = state->sets[k];
  bool hit = buildPickSet(kind, current, models, settings, &set) &&
             pickIndexed(state->indexes[k], set, frame, kind, x, y, name);
  state->open = false;
  return hit;
}
