// Picking in the view window: the camera the last frame drew with, the
// candidate set of the picker (rebuilt only when what it depends on
// changed) and the indexed picker. No GL is needed: a pick costs no frame.
#include <algorithm>
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
  // Handles a quarter of the visible half-width long, whatever the zoom
  // (the projection shows extent * zoom / 4 either side of the centre).
  const float halfWidth =
      0.25f * std::max(v.camera.extentX, v.camera.extentY) * v.camera.zoom;
  settings.handleLength = halfWidth > 0.0f ? 0.25f * halfWidth : 1.0f;
  settings.arcAxis = arcAxis;
  settings.placed = placed;
  PickSet& set = state->sets[k];
  bool hit = buildPickSet(kind, current, models, settings, &set) &&
             pickIndexed(state->indexes[k], set, frame, kind, x, y, name);
  state->open = false;
  return hit;
}
