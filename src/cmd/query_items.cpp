// modelr get for one item (child, collide, layer), the matrices and the
// view. Like every query they change nothing.
#include <unistd.h>

#include <cmath>
#include <cstring>

#include "workspace/workspace.h"
#include "cmd/host.h"
#include "cmd/query_support.h"
#include "cmd/values.h"
#include "model/children.h"
#include "model/geometry.h"
#include "view/camera.h"

namespace query {

// Helpers and tables stay file-local: static functions, const tables.

// --- Item queries: child, collide, layer ---------------------------------

// One <what> of an item query and how it answers.
template <class Item>
struct ItemQuery {
  const char* what;
  void (*answer)(Workspace& ws, const Item& item);
};

// get child|collide <what> <id>: the usage text also answers an unknown
// <what>; an unknown id answers nothing.
template <class Item, size_t N>
void answerItem(Workspace& ws, char** words, const char* usage,
                const ItemQuery<Item> (&queries)[N],
                Item* (*find)(const Model*, int32_t)) {
  const char* what = nullptr;
  int32_t id = 0;
  if (!parseString(&what, words[1]) || !parseInt(&id, words[2])) {
    reportError(ws, usage);
    return;
  }
  for (const ItemQuery<Item>& query : queries) {
    if (std::strcmp(what, query.what) != 0) continue;
    Model* model = currentModel(ws);
    const Item* item = model ? find(model, id) : nullptr;
    if (item != nullptr) query.answer(ws, *item);
    return;
  }
  reportError(ws, usage);
}

using ChildQuery = ItemQuery<Child>;

const ChildQuery kChildQueries[] = {
    {"position", [](Workspace& ws, const Child& c) { setFloats(ws, c.position, 3); }},
    {"scale", [](Workspace& ws, const Child& c) { setFloats(ws, c.scale, 3); }},
    {"rotation", [](Workspace& ws, const Child& c) { setFloats(ws, c.rotation, 9); }},
    {"name", [](Workspace& ws, const Child& c) { setResult(ws, c.name); }},
    {"joint", [](Workspace& ws, const Child& c) { setResult(ws, c.joint[0] ? c.joint : "(none)"); }},
    {"weight", [](Workspace& ws, const Child& c) { setFloat(ws, c.jointWeight); }},
    // The loaded model's id: what "delete child" and "find images" take.
    {"model", [](Workspace& ws, const Child& c) { if (c.model) setInt(ws, c.model->id); }},
};

// get child <what> <id>, by child id.
void getChild(Workspace& ws, char** words) {
  answerItem(ws, words, "modelr: usage: modelr get child <what> <id>", kChildQueries, childById);
}

using CollideQuery = ItemQuery<CollideObject>;

const CollideQuery kCollideQueries[] = {
    {"position", [](Workspace& ws, const CollideObject& c) { setFloats(ws, c.position, 3); }},
    {"size", [](Workspace& ws, const CollideObject& c) { setFloats(ws, c.size, 3); }},
    {"rotation", [](Workspace& ws, const CollideObject& c) { setFloats(ws, c.rotation, 9); }},
    {"name", [](Workspace& ws, const CollideObject& c) { setResult(ws, c.name); }},
    {"shape", [](Workspace& ws, const CollideObject& c) {
       setResult(ws, collideShapeName(currentModel(ws), c.id));
     }},
    {"weight", [](Workspace& ws, const CollideObject& c) { setFloat(ws, c.weight); }},
    {"friction", [](Workspace& ws, const CollideObject& c) { setFloat(ws, c.friction); }},
    {"bounce", [](Workspace& ws, const CollideObject& c) { setFloat(ws, c.bounce); }},
    {"dynamic", [](Workspace& ws, const CollideObject& c) { setInt(ws, c.dynamic); }},
};

// get collide <what> <id>
void getCollide(Workspace& ws, char** words) {
  answerItem(ws, words, "modelr: usage: modelr get collide <what> <id>", kCollideQueries,
             collideById);
}

static const char* axisName(int32_t code) {
  static const char* const kNames[] = {"none", "x", "y", "z", "-x", "-y", "-z"};
  return code >= 1 && code <= 6 ? kNames[code] : "none";
}

struct LayerQuery {
  const char* what;
  void (*answer)(Workspace& ws, Model* model, Layer* layer);
};

const LayerQuery kLayerQueries[] = {
    // The three numbers of the layer line: 127 127 127 for a layer made on
    // the fly by add triangle or add line.
    {"color", [](Workspace& ws, Model*, Layer* l) { setFloats(ws, l->origin, 3); }},
    {"transparency", [](Workspace& ws, Model*, Layer* l) { setFloat(ws, 1.0f - l->opacity); }},
    // 1 or 2, as "set layer sides" takes it.
    {"sides", [](Workspace& ws, Model*, Layer* l) { setInt(ws, l->singleSided ? 1 : 2); }},
    {"mirror", [](Workspace& ws, Model*, Layer* l) {
       setResult(ws, l->mirror ? axisName(l->mirrorAxis) : "none");
     }},
    {"images", [](Workspace& ws, Model*, Layer* l) {
       IntList numbers;
       for (int32_t s = tableNextSlot(&l->images, -1); s >= 0;
            s = tableNextSlot(&l->images, s)) {
         numbers.push(tableIntKeyAt(&l->images, s));
       }
       setIds(ws, numbers);
     }},
    {"bounds", [](Workspace& ws, Model* m, Layer* l) {
       setFloats(ws, layerBounds(m, l), 6);
     }},
};

// get layer names | get layer <what> <name> | get layer uvee <name> <n> <pt>
void getLayer(Workspace& ws, char** words) {
  const char* usage = "modelr: usage: modelr get layer <what> <name>";
  const char* what = nullptr;
  if (!parseString(&what, words[1])) {
    reportError(ws, usage);
    return;
  }
  Model* model = currentModel(ws);
  if (std::strcmp(what, "names") == 0) {
    if (model == nullptr) return;
    textStart(ws);
    for (int32_t s = tableNextSlot(&model->layers, -1); s >= 0;
         s = tableNextSlot(&model->layers, s)) {
      textAdd(ws, tableAt<Layer>(&model->layers, s)->name);
    }
    textSet(ws);
    return;
  }
  const char* name = nullptr;
  if (std::strcmp(what, "uvee") == 0) {
    int32_t image = 0, point = 0;
    if (!parseString(&name, words[2]) || !parseInt(&image, words[3]) ||
        !parseInt(&point, words[4])) {
      reportError(ws, "modelr: usage: modelr get layer uvee <name> <n> <pt>");
      return;
    }
    Layer* layer = model ? findLayer(model, name) : nullptr;
    if (layer == nullptr) return;
    const Uvee* uvee = layerUvee(model, layer, image, point);
    if (uvee != nullptr) {
      float uv[2] = {uvee->u, uvee->v};
      setFloats(ws, uv, 2);
    }
    return;
  }
  for (const LayerQuery& query : kLayerQueries) {
    if (std::strcmp(what, query.what) != 0) continue;
    if (!parseString(&name, words[2])) break;
    Layer* layer = model ? findLayer(model, name) : nullptr;
    if (layer != nullptr) query.answer(ws, model, layer);
    return;
  }
  reportError(ws, usage);
}

// --- Matrices ------------------------------------------------------------

// Rows of a column-order matrix.
static void setTransposed(Workspace& ws, const float* columnOrder) {
  float rows[16];
  for (int r = 0; r < 4; ++r) {
    for (int c = 0; c < 4; ++c) rows[r * 4 + c] = columnOrder[c * 4 + r];
  }
  setFloats(ws, rows, 16);
}

// Identity turned by x, then y, then z degrees, as the camera turns its
// matrices (quarter turns exact, so no "-0.000000" residue shows).
static void setRotationMatrix(Workspace& ws, float x, float y, float z) {
  float m[16];
  matrixIdentity(m);
  matrixRotate(m, x, y, z);
  setTransposed(ws, m);
}

// get matrix view|projection|rotation <x> <y> <z>: 16 floats, row order.
void getMatrix(Workspace& ws, char** words) {
  const char* type = nullptr;
  if (!wordsRead(ws, parseString(&type, words[1]),
                 "modelr: usage: modelr get matrix <type>"))
    return;
  if (std::strcmp(type, "view") == 0) {
    setTransposed(ws, ws.view.camera.modelView);
  } else if (std::strcmp(type, "projection") == 0) {
    setTransposed(ws, ws.view.camera.projection);
  } else if (std::strcmp(type, "rotation") == 0) {
    float x = 0, y = 0, z = 0;
    if (!parseFloat(&x, words[2]) || !parseFloat(&y, words[3]) ||
        !parseFloat(&z, words[4])) {
      reportError(ws, "modelr: usage: modelr get matrix <type>");
      return;
    }
    setRotationMatrix(ws, x, y, z);
  } else {
    reportErrorf(ws, "modelr: unknown matrix type: %s", type);
  }
}

// --- The view ------------------------------------------------------------

void getCursor(Workspace& ws, char**) { setFloats(ws, ws.view.camera.cursor, 3); }

void getPan(Workspace& ws, char**) {
  float pan[2] = {ws.view.camera.panX, ws.view.camera.panY};
  setFloats(ws, pan, 2);
}

void getPointer(Workspace& ws, char**) {
  int32_t pointer[2] = {ws.view.camera.pointerX, ws.view.camera.pointerY};
  setInts(ws, pointer, 2);
}

static int32_t polygonCount(const Model* model) {
  int32_t total = 0;
  for (int32_t l = tableNextSlot(&model->layers, -1); l >= 0;
       l = tableNextSlot(&model->layers, l)) {
    total += tableCount(&tableAt<Layer>(&model->layers, l)->triangles);
  }
  return total;
}

// Four counters of the last frame and the model's polygon count.
void getStats(Workspace& ws, char**) {
  const Model* model = currentModel(ws);
  int32_t stats[5];
  std::memcpy(stats, ws.view.camera.stats, sizeof ws.view.camera.stats);
  stats[4] = model ? polygonCount(model) : 0;
  setInts(ws, stats, 5);
}

void getZoom(Workspace& ws, char**) { setFloat(ws, ws.view.camera.zoom); }

void getHostname(Workspace& ws, char**) {
  char name[256] = {0};
  if (gethostname(name, sizeof name - 1) == 0) setResult(ws, name);
}

}  // namespace query
