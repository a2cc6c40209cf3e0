// ASCII STL export, and the pieces the other text exporters share with it
// (file naming, strip decoding, face normals).
#include <cmath>
#include <string>

#include "io/export_support.h"
#include "io/exporters.h"
#include "io/text_out.h"
#include "model/last_error.h"
#include "model/mirror.h"
#include "model/model.h"

std::string exportFileName(const char* name, const char* extension) {
  return savedFileName(name, ".mod", "untitled.mod") + "." + extension;
}

void exportTarget(const Model* model, const char* extension,
                  std::string* path, std::string* title) {
  *path = std::string(model->directory) +
          exportFileName(model->name, extension);
  // Named by where they were written, as .mod files are.
  *title = *path;
}

void faceNormal(const Point& a, const Point& b, const Point& c, double n[3]) {
  const double u[3] = {double(b.x) - a.x, double(b.y) - a.y,
                       double(b.z) - a.z};
  const double v[3] = {double(c.x) - a.x, double(c.y) - a.y,
                       double(c.z) - a.z};
  n[0] = u[1] * v[2] - u[2] * v[1];
  n[1] = u[2] * v[0] - u[0] * v[2];
  n[2] = u[0] * v[1] - u[1] * v[0];
  const double length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
  if (length > 0.0 && std::isfinite(length)) {
    n[0] /= length;
    n[1] /= length;
    n[2] /= length;
  } else {
    n[0] = n[1] = n[2] = 0.0;
  }
  // No "-0.000000" in the files for components that are zero.
  n[0] += 0.0;
  n[1] += 0.0;
  n[2] += 0.0;
}

bool writeStl(const Model* model, const char* path, const char* title) {
  TextOut out;
  if (!textOutOpen(&out, path)) return false;
  literal(&out, "solid ");
  outText(&out, title);
  outChar(&out, '\n');

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
    literal(&out, "  facet normal ");
    swappedTriple(&out, n[0], n[1], n[2]);
    literal(&out, "    outer loop\n");
    for (const Point* p : {a, b, c}) {
      literal(&out, "      vertex ");
      swappedTriple(&out, p->x + offset[0], p->y + offset[1],
                    p->z + offset[2]);
    }
    literal(&out, "    endloop\n  endfacet\n");
  };

  const KeyedTable* layers = &model->layers;
  for (int32_t l = tableNextSlot(layers, -1); l >= 0 && missing == 0;
       l = tableNextSlot(layers, l)) {
    const KeyedTable* polygons = &tableAt<Layer>(layers, l)->triangles;
    for (int32_t s = tableNextSlot(polygons, -1); s >= 0 && missing == 0;
         s = tableNextSlot(polygons, s)) {
      const Triangle* t = tableAt<Triangle>(polygons, s);
      forEachStripTriangle(t->points, t->count, facet);
    }
  }
  if (missing != 0) {
    textOutAbort(&out);
    lastErrorReportf("point not found: %d", missing);
    return false;
  }

  literal(&out, "endsolid ");
  outText(&out, title);
  outChar(&out, '\n');
  return textOutCommit(&out);
}

int exportStl(const Model* model) {
  return exportPrepared(model, "stl",
                        [](const Model* m, const char* path, const char* title) {
                          return writeStl(m, path, title);
                        });
}
