// Picking in the view for the commands: what lies under a window position
// in the current model (or among the open models), and the toggling of a
// picked point's or child's selection. Picking itself never changes the
// document.
#pragma once

#include <cstdint>

#include "model/records.h"
#include "view/pick.h"

struct Workspace;

struct PickAnswer {
  bool hit = false;
  // The picked point, triangle, line, child, collide object, model, cursor
  // handle or arc position; kPickOriginName for the origin marker.
  uint32_t number = 0;
  // The picked joint's or layer's name.
  char name[kNameBytes] = {0};
};

// False when there is no view window, no current model (for the pickers of
// its items) or a pick is already open; the answer then says no hit.
bool pickInView(Workspace& ws, PickKind kind, int32_t x, int32_t y, int32_t arcAxis,
                PickAnswer* answer);

// Picks a point or child (kPoint, kChild) and flips its selection. The
// origin marker flips nothing.
bool toggleInView(Workspace& ws, PickKind kind, int32_t x, int32_t y, PickAnswer* answer);

// Where the point pickers see point `number` of the current model: posed
// when the pose switch is on. False when there is no such point.
bool pointAsPicked(const Workspace& ws, int32_t number, float xyz[3]);
