// A model and its children's models, depth first, each model before its
// children, down to 64 levels of children (deeper ones are not visited).
#pragma once

#include "model/keyed_table.h"
#include "model/records.h"

constexpr int kMaxChildDepth = 64;

// visit(model) for the model and every child model under it; M is Model
// or const Model.
template <class M, class Visit>
void visitModelTree(M* model, Visit visit, int depth = 0) {
  visit(model);
  if (depth >= kMaxChildDepth) return;
  for (int32_t s = tableNextSlot(&model->children, -1); s >= 0;
       s = tableNextSlot(&model->children, s)) {
    M* child = tableAt<Child>(&model->children, s)->model;
    if (child != nullptr) visitModelTree<M>(child, visit, depth + 1);
  }
}
