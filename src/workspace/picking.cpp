#include "workspace/picking.h"

#include <cstring>
#include <vector>

#include "model/geometry.h"
#include "model/posing.h"
#include "model/selection.h"
#include "workspace/workspace.h"

namespace {

// Joints and layers are named by their rank in their table (1 up).
void nameOfRank(const KeyedTable* table, uint32_t rank, char out[kNameBytes]) {
  const void* element = rank > 0 ? tableNth(table, static_cast<int32_t>(rank - 1)) : nullptr;
  if (element == nullptr) return;
  // Joint and Layer both start with their name.
  std::memcpy(out, element, kNameBytes);
  out[kNameBytes - 1] = '\0';
}

}  // namespace

bool pickInView(Workspace& ws, PickKind kind, int32_t x, int32_t y, int32_t arcAxis,
                PickAnswer* answer) {
  *answer = PickAnswer();
  Scene scene;
  fillScene(ws, &scene);
  Model* model = currentModel(ws);
  const bool needsModel = kind != PickKind::kModel && kind != PickKind::kCursor &&
                          kind != PickKind::kArc;
  if (needsModel && model == nullptr) return false;
  if (!viewPick(ws.view, kind, model, scene.models, x, y, arcAxis, &answer->number,
                &scene.placed))
    return false;
  if (kind == PickKind::kJoint) {
    nameOfRank(&model->joints, answer->number, answer->name);
    if (answer->name[0] == '\0') return false;
  } else if (kind == PickKind::kLayer) {
    nameOfRank(&model->layers, answer->number, answer->name);
    if (answer->name[0] == '\0') return false;
  }
  answer->hit = true;
  return true;
}

bool toggleInView(Workspace& ws, PickKind kind, int32_t x, int32_t y, PickAnswer* answer) {
  if (!pickInView(ws, kind, x, y, 0, answer)) return false;
  Model* model = currentModel(ws);
  const int32_t id = static_cast<int32_t>(answer->number);
  if (kind == PickKind::kPoint) {
    const Point* point = answer->number != kPickOriginName ? findPoint(model, id) : nullptr;
    if (point != nullptr) markPoint(model, id, (point->flags & kItemSelected) == 0);
  } else if (kind == PickKind::kChild) {
    const Child* child = tableFindT<Child>(&model->children, id);
    if (child != nullptr) markChild(model, id, (child->flags & kItemSelected) == 0);
  }
  return true;
}

bool pointAsPicked(const Workspace& ws, int32_t number, float xyz[3]) {
  const Model* model = currentModel(ws);
  const Point* point = model != nullptr ? findPoint(model, number) : nullptr;
  if (point == nullptr) return false;
  std::vector<float> posed;
  if (ws.view.render.display.pose && computeDisplayPoints(model, &posed)) {
    std::memcpy(xyz, &posed[3 * static_cast<size_t>(pointSlot(model, point))], 3 * sizeof(float));
    return true;
  }
  xyz[0] = point->x;
  xyz[1] = point->y;
  xyz[2] = point->z;
  return true;
}
