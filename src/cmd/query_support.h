// Shared by the get and find queries (query.cpp, query_items.cpp): result
// setters, the joined-text builder, id lists and the [<layername>] scope.
#pragma once

struct Workspace;

#include <cstdint>
#include <cstdlib>

#include "model/int_list.h"
#include "model/records.h"

namespace query {

inline constexpr char kSelected[] = "(selected)";
inline constexpr char kGlobal[] = "(global)";

// --- Results -------------------------------------------------------------

void setInts(Workspace& ws, const int32_t* values, int count);
void setInt(Workspace& ws, int32_t value);
void setFloats(Workspace& ws, const float* values, int count);
void setFloat(Workspace& ws, float value);
void setUnknown(Workspace& ws);

// Words joined by single spaces, for lists of names. A text that would pass
// the result limit gives nothing, like the number formatters.
void textStart(Workspace& ws);
void textAdd(Workspace& ws, const char* word);
void textSet(Workspace& ws);

void setIds(Workspace& ws, const IntList& list);
void setIdsOrUnknown(Workspace& ws, const IntList& list);

// --- What an optional [<layername>] word selects ---------------------------

enum ScopeKind { kScopeAll, kScopeSelected, kScopeLayer, kScopeMissing };

struct Scope {
  ScopeKind kind;
  const Layer* layer;
};

// No word and "(global)" both mean the whole model.
Scope readScope(const Model* model, const char* word);

inline bool selected(int32_t flags) { return (flags & kItemSelected) != 0; }

// Ids of the polygons (T = Triangle) or lines (T = Line) in scope: layers in
// slot order, then each layer's table in slot order.
template <class T>
void collectPolygons(const Model* model, const Scope& scope,
                     KeyedTable Layer::*member, IntList* out) {
  for (int32_t l = tableNextSlot(&model->layers, -1); l >= 0;
       l = tableNextSlot(&model->layers, l)) {
    const Layer* layer = tableAt<Layer>(&model->layers, l);
    if (scope.kind == kScopeLayer && layer != scope.layer) continue;
    const KeyedTable* table = &(layer->*member);
    for (int32_t s = tableNextSlot(table, -1); s >= 0;
         s = tableNextSlot(table, s)) {
      const T* item = tableAt<T>(table, s);
      if (scope.kind == kScopeSelected && !selected(item->flags)) continue;
      out->push(item->id);
    }
  }
}

// Point numbers in scope: slot order for the model and the selection; for
// a layer, the distinct points its polygons and lines use, ascending.
void collectPoints(const Model* model, const Scope& scope, IntList* out);
void collectChildren(const Model* model, bool onlySelected, IntList* out);

// --- Item and view queries (query_items.cpp) -------------------------------

void getChild(Workspace& ws, char** words);
void getCollide(Workspace& ws, char** words);
void getLayer(Workspace& ws, char** words);
void getMatrix(Workspace& ws, char** words);
void getCursor(Workspace& ws, char** words);
void getPan(Workspace& ws, char** words);
void getPointer(Workspace& ws, char** words);
void getZoom(Workspace& ws, char** words);
void getStats(Workspace& ws, char** words);
void getHostname(Workspace& ws, char** words);

}  // namespace query
