// ASCII STL export.
#include "io/export_stl.h"

#include "io/export_support.h"
#include "io/exporters.h"
#include "io/text_out.h"
#include "model/last_error.h"

bool writeStl(const Model* model, const char* path, const char* title) {
  TextOut out;
  if (!beginStlText(&out, path, title)) return false;

  // The lowest corner of the model goes to the origin.
  float offset[3] = {0.0f, 0.0f, 0.0f};
  const KeyedTable* points = &model->points;
  bool first = true;
  for (int32_t s = tableNextSlot(points, -1); s >= 0;
       s = tableNextSlot(points, s)) {
    const Point* p = tableAt<Point>(points, s);
    if (first || -p->x > offset[0]) offset[0] = -p->x;
    if (first || -p->y > offset[1]) offset[1] = -p->y;
    if (first || -p->z > offset[2]) offset[2] = -p->z;
    first = false;
  }

  int32_t missing = 0;
  auto facet = [&](int32_t ia, int32_t ib, int32_t ic) {
    const Point* a = tableFindT<Point>(points, ia);
    const Point* b = tableFindT<Point>(points, ib);
    const Point* c = tableFindT<Point>(points, ic);
    if (a == nullptr || b == nullptr || c == nullptr) {
      if (missing == 0) missing = a == nullptr ? ia : b == nullptr ? ib : ic;
      return;
    }
    double n[3];
    faceNormal(*a, *b, *c, n);
    outLiteral(&out, "  facet normal ");
    swappedTriple(&out, n[0], n[1], n[2]);
    outLiteral(&out, "    outer loop\n");
    for (const Point* p : {a, b, c}) {
      outLiteral(&out, "      vertex ");
      swappedTriple(&out, p->x + offset[0], p->y + offset[1],
                    p->z + offset[2]);
    }
    outLiteral(&out, "    endloop\n  endfacet\n");
  };

  const KeyedTable* layers = &model->layers;
  for (int32_t l = tableNextSlot(layers, -1); l >= 0 && missing == 0;
       l = tableNextSlot(layers, l)) {
    forEachLayerTriangle(tableAt<Layer>(layers, l), facet);
  }
  if (missing != 0) {
    textOutAbort(&out);
    lastErrorReportf("point not found: %d", missing);
    return false;
  }

  return endStlText(&out, title);
}

int exportStl(const Model* model, const char* path) {
  return exportPrepared(model, "stl", path, writeStl);
}
