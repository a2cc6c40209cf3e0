// modelr get for one item (child, collide, layer), the matrices and the
// view. Like every query they change nothing.
#include <unistd.h>

#include <cmath>
#include <cstring>

#include "cmd/context.h"
#include "cmd/host.h"
#include "cmd/query_support.h"
#include "cmd/values.h"
#include "model/children.h"
#include "model/geometry.h"
#include "view/camera.h"

namespace query {

// Helpers and tables stay file-local: static functions, const tables.

// --- Item queries: child, collide, layer ---------------------------------

struct ChildQuery {
  const char* what;
  void (*answer)(const Child& child);
};

const ChildQuery kChildQueries[] = {
    {"position", [](const Child& c) { setFloats(c.position, 3); }},
    {"scale", [](const Child& c) { setFloats(c.scale, 3); }},
    {"rotation", [](const Child& c) { setFloats(c.rotation, 9); }},
    {"name", [](const Child& c) { setResult(c.name); }},
    {"joint", [](const Child& c) { setResult(c.joint[0] ? c.joint : "(none)"); }},
    {"weight", [](const Child& c) { setFloat(c.jointWeight); }},
    // The loaded model's id: what "delete child" and "find images" take.
    {"model", [](const Child& c) { if (c.model) setInt(c.model->id); }},
};

// get child <what> <id>, by child id.
void getChild(char** words) {
  const char* what = nullptr;
  int32_t id = 0;
  if (!parseString(&what, words[1]) || !parseInt(&id, words[2])) {
    reportError("modelr: usage: modelr get child <what> <id>");
    return;
  }
  for (const ChildQuery& query : kChildQueries) {
    if (std::strcmp(what, query.what) != 0) continue;
    Model* model = currentModel();
    const Child* child = model ? childById(model, id) : nullptr;
    if (child != nullptr) query.answer(*child);
    return;
  }
  reportError("modelr: usage: modelr get child <what> <id>");
}

struct CollideQuery {
  const char* what;
  void (*answer)(const CollideObject& collide);
};

const CollideQuery kCollideQueries[] = {
    {"position", [](const CollideObject& c) { setFloats(c.position, 3); }},
    {"size", [](const CollideObject& c) { setFloats(c.size, 3); }},
    {"rotation", [](const CollideObject& c) { setFloats(c.rotation, 9); }},
    {"name", [](const CollideObject& c) { setResult(c.name); }},
    {"shape", [](const CollideObject& c) {
       setResult(collideShapeName(currentModel(), c.id));
     }},
    {"weight", [](const CollideObject& c) { setFloat(c.weight); }},
    {"friction", [](const CollideObject& c) { setFloat(c.friction); }},
    {"bounce", [](const CollideObject& c) { setFloat(c.bounce); }},
    {"dynamic", [](const CollideObject& c) { setInt(c.dynamic); }},
};

// get collide <what> <id>
void getCollide(char** words) {
  const char* what = nullptr;
  int32_t id = 0;
  if (!parseString(&what, words[1]) || !parseInt(&id, words[2])) {
    reportError("modelr: usage: modelr get collide <what> <id>");
    return;
  }
  for (const CollideQuery& query : kCollideQueries) {
    if (std::strcmp(what, query.what) != 0) continue;
    Model* model = currentModel();
    const CollideObject* collide = model ? collideById(model, id) : nullptr;
    if (collide != nullptr) query.answer(*collide);
    return;
  }
  reportError("modelr: usage: modelr get collide <what> <id>");
}

static const char* axisName(int32_t code) {
  static const char* const kNames[] = {"none", "x", "y", "z", "-x", "-y", "-z"};
  return code >= 1 && code <= 6 ? kNames[code] : "none";
}

struct LayerQuery {
  const char* what;
  void (*answer)(Model* model, Layer* layer);
};

const LayerQuery kLayerQueries[] = {
    // The three numbers of the layer line: 127 127 127 for a layer made on
    // the fly by add triangle or add line.
    {"color", [](Model*, Layer* l) { setFloats(l->origin, 3); }},
    {"transparency", [](Model*, Layer* l) { setFloat(1.0f - l->opacity); }},
    // 1 or 2, as "set layer sides" takes it.
    {"sides", [](Model*, Layer* l) { setInt(l->singleSided ? 1 : 2); }},
    {"mirror", [](Model*, Layer* l) {
       setResult(l->mirror ? axisName(l->mirrorAxis) : "none");
     }},
    {"images", [](Model*, Layer* l) {
       IdList numbers;
       for (int32_t s = tableNextSlot(&l->images, -1); s >= 0;
            s = tableNextSlot(&l->images, s)) {
         numbers.push(tableIntKeyAt(&l->images, s));
       }
       setIds(numbers);
     }},
    {"bounds", [](Model* m, Layer* l) {
       flushDerived(m);
       setFloats(l->bounds, 6);
     }},
};

// get layer names | get layer <what> <name> | get layer uvee <name> <n> <pt>
void getLayer(char** words) {
  const char* usage = "modelr: usage: modelr get layer <what> <name>";
  const char* what = nullptr;
  if (!parseString(&what, words[1])) {
    reportError(usage);
    return;
  }
  Model* model = currentModel();
  if (std::strcmp(what, "names") == 0) {
    if (model == nullptr) return;
    textStart();
    for (int32_t s = tableNextSlot(&model->layers, -1); s >= 0;
         s = tableNextSlot(&model->layers, s)) {
      textAdd(tableAt<Layer>(&model->layers, s)->name);
    }
    textSet();
    return;
  }
  const char* name = nullptr;
  if (std::strcmp(what, "uvee") == 0) {
    int32_t image = 0, point = 0;
    if (!parseString(&name, words[2]) || !parseInt(&image, words[3]) ||
        !parseInt(&point, words[4])) {
      reportError("modelr: usage: modelr get layer uvee <name> <n> <pt>");
      return;
    }
    Layer* layer = model ? findLayer(model, name) : nullptr;
    if (layer == nullptr) return;
    flushDerived(model);
    const Image* found = tableFindT<Image>(&layer->images, image);
    const Uvee* uvee = found ? tableFindT<Uvee>(&found->uvees, point) : nullptr;
    if (uvee != nullptr) {
      float uv[2] = {uvee->u, uvee->v};
      setFloats(uv, 2);
    }
    return;
  }
  for (const LayerQuery& query : kLayerQueries) {
    if (std::strcmp(what, query.what) != 0) continue;
    if (!parseString(&name, words[2])) break;
    Layer* layer = model ? findLayer(model, name) : nullptr;
    if (layer != nullptr) query.answer(model, layer);
    return;
  }
  reportError(usage);
}

// --- Matrices ------------------------------------------------------------

// Rows of a column-order matrix.
static void setTransposed(const float* columnOrder) {
  float rows[16];
  for (int r = 0; r < 4; ++r) {
    for (int c = 0; c < 4; ++c) rows[r * 4 + c] = columnOrder[c * 4 + r];
  }
  setFloats(rows, 16);
}

// Identity turned by x, then y, then z degrees, as the camera turns its
// matrices (quarter turns exact, so no "-0.000000" residue shows).
static void setRotationMatrix(float x, float y, float z) {
  float m[16];
  matrixIdentity(m);
  matrixRotate(m, x, y, z);
  setTransposed(m);
}

// get matrix view|projection|rotation <x> <y> <z>: 16 floats, row order.
void getMatrix(char** words) {
  const char* type = nullptr;
  if (!parseString(&type, words[1])) {
    reportError("modelr: usage: modelr get matrix <type>");
    return;
  }
  if (std::strcmp(type, "view") == 0) {
    setTransposed(g_app.view.modelView);
  } else if (std::strcmp(type, "projection") == 0) {
    setTransposed(g_app.view.projection);
  } else if (std::strcmp(type, "rotation") == 0) {
    float x = 0, y = 0, z = 0;
    if (!parseFloat(&x, words[2]) || !parseFloat(&y, words[3]) ||
        !parseFloat(&z, words[4])) {
      reportError("modelr: usage: modelr get matrix <type>");
      return;
    }
    setRotationMatrix(x, y, z);
  } else {
    reportErrorf("modelr: unknown matrix type: %s", type);
  }
}

// --- The view ------------------------------------------------------------

void getCursor(char**) { setFloats(g_app.view.cursor, 3); }

void getPan(char**) {
  float pan[2] = {g_app.view.panX, g_app.view.panY};
  setFloats(pan, 2);
}

void getPointer(char**) {
  int32_t pointer[2] = {g_app.view.pointerX, g_app.view.pointerY};
  setInts(pointer, 2);
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
void getStats(char**) {
  const Model* model = currentModel();
  int32_t stats[5];
  std::memcpy(stats, g_app.view.stats, sizeof g_app.view.stats);
  stats[4] = model ? polygonCount(model) : 0;
  setInts(stats, 5);
}

void getZoom(char**) { setFloat(g_app.view.zoom); }

void getHostname(char**) {
  char name[256] = {0};
  if (gethostname(name, sizeof name - 1) == 0) setResult(name);
}

}  // namespace query
