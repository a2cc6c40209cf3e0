// The shared helpers of the get and find queries.
#include "cmd/query_support.h"

#include <algorithm>
#include <cstring>

#include "cmd/format.h"
#include "cmd/host.h"
#include "model/geometry.h"

namespace query {

void setInts(Workspace& ws, const int32_t* values, int count) {
  setResult(ws, formatIntList(resultText(ws), values, count));
}
void setInt(Workspace& ws, int32_t value) { setInts(ws, &value, 1); }
void setFloats(Workspace& ws, const float* values, int count) {
  setResult(ws, formatFloatList(resultText(ws), values, count));
}
void setFloat(Workspace& ws, float value) { setFloats(ws, &value, 1); }
void setUnknown(Workspace& ws) { setResult(ws, "unknown"); }

namespace {

template <class T>
void addUsedPoints(const KeyedTable* table, KeyedTable* seen) {
  for (int32_t s = tableNextSlot(table, -1); s >= 0;
       s = tableNextSlot(table, s)) {
    const T* item = tableAt<T>(table, s);
    for (int i = 0; i < item->count; ++i) tableInsert(seen, polygonPoints(item)[i]);
  }
}

}  // namespace

void textStart(Workspace& ws) {
  ResultText& list = *resultText(ws);
  list.text[0] = '\0';
  list.length = 0;
  list.full = false;
}

void textAdd(Workspace& ws, const char* word) {
  ResultText& list = *resultText(ws);
  int separator = list.length > 0 ? 1 : 0;
  int add = static_cast<int>(std::strlen(word)) + separator;
  if (list.full || list.length + add > kMaxResultChars) {
    list.full = true;
    return;
  }
  if (separator) list.text[list.length] = ' ';
  std::strcpy(list.text + list.length + separator, word);
  list.length += add;
}

void textSet(Workspace& ws) {
  ResultText& list = *resultText(ws);
  if (!list.full) setResult(ws, list.text);
}

void setIds(Workspace& ws, const IntList& list) {
  if (!list.failed) setInts(ws, list.items, list.count);
}

void setIdsOrUnknown(Workspace& ws, const IntList& list) {
  if (list.failed) return;
  if (list.count == 0) {
    setUnknown(ws);
    return;
  }
  setInts(ws, list.items, list.count);
}

Scope readScope(const Model* model, const char* word) {
  if (word == nullptr || std::strcmp(word, kGlobal) == 0) {
    return {kScopeAll, nullptr};
  }
  if (std::strcmp(word, kSelected) == 0) return {kScopeSelected, nullptr};
  const Layer* layer = findLayer(model, word);
  return {layer ? kScopeLayer : kScopeMissing, layer};
}

void collectPoints(const Model* model, const Scope& scope, IntList* out) {
  if (scope.kind == kScopeLayer) {
    KeyedTable seen;
    tableInit(&seen, 1, kIntKeyed);
    addUsedPoints<Triangle>(&scope.layer->triangles, &seen);
    addUsedPoints<Line>(&scope.layer->lines, &seen);
    for (int32_t s = tableNextSlot(&seen, -1); s >= 0;
         s = tableNextSlot(&seen, s)) {
      out->push(tableIntKeyAt(&seen, s));
    }
    tableRelease(&seen);
    if (!out->failed) std::sort(out->items, out->items + out->count);
    return;
  }
  const KeyedTable* points = &model->points;
  for (int32_t s = tableNextSlot(points, -1); s >= 0;
       s = tableNextSlot(points, s)) {
    if (scope.kind == kScopeSelected &&
        !selected(tableAt<Point>(points, s)->flags)) {
      continue;
    }
    out->push(tableIntKeyAt(points, s));
  }
}

void collectChildren(const Model* model, bool onlySelected, IntList* out) {
  const KeyedTable* children = &model->children;
  for (int32_t s = tableNextSlot(children, -1); s >= 0;
       s = tableNextSlot(children, s)) {
    const Child* child = tableAt<Child>(children, s);
    if (onlySelected && !selected(child->flags)) continue;
    out->push(child->id);
  }
}

}  // namespace query
