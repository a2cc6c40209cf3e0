// Wavefront OBJ export: every point, the normals, and per layer a material
// name, its triangles and its lines.
#include "io/export_obj.h"

#include <vector>

#include "io/export_support.h"
#include "io/exporters.h"
#include "io/text_out.h"
#include "model/last_error.h"

namespace {

// "v   x z y" / "vn   x z y": y and z exchanged for the file's y-up space.
inline void swappedRecord(TextOut* out, const char* head, size_t headLength,
                          double x, double y, double z) {
  outChars(out, head, headLength);
  swappedTriple(out, x, y, z);
}

inline void normalRecord(TextOut* out, double x, double y, double z) {
  swappedRecord(out, "vn   ", 5, x, y, z);
}

// Numbers given to the entries of a table in slot order, first + 0,
// first + 1, ...; indexed by slot.
std::vector<int32_t> numberSlots(const KeyedTable* t, int32_t first) {
  std::vector<int32_t> numbers(static_cast<size_t>(t->capacity), 0);
  for (int32_t s = tableNextSlot(t, -1); s >= 0; s = tableNextSlot(t, s))
    numbers[static_cast<size_t>(s)] = first++;
  return numbers;
}

// The number given to the table's entry for `key`, or 0 when it has none.
inline int32_t numberOf(const KeyedTable* t, const std::vector<int32_t>& n,
                        int32_t key) {
  const int32_t slot = tablePosition(t, key, false);
  return slot >= 0 ? n[static_cast<size_t>(slot)] : 0;
}

struct ObjWriter {
  ObjWriter(const Model* m, TextOut* o, bool f) : model(m), out(o), flat(f) {}

  const Model* model;
  TextOut* out;
  bool flat;
  std::vector<int32_t> vertexOfSlot;
  int32_t written = 0;  // "vn" records so far
  // Per-vertex mode: numbers of the model's normals and of each layer's
  // (by layer slot), and the first number of the face normals written for
  // triangles with a corner that has no stored normal.
  std::vector<int32_t> modelNormals;
  std::vector<std::vector<int32_t>> layerNormals;
  int32_t firstFaceNormal = 0;
  int32_t missing = 0;  // a point a polygon names but the model lacks

  const Point* point(int32_t number) {
    const Point* p = tableFindT<Point>(&model->points, number);
    if (p == nullptr && missing == 0) missing = number;
    return p;
  }

  int32_t vertex(int32_t number) {
    const int32_t slot = tablePosition(&model->points, number, false);
    if (slot < 0) {
      if (missing == 0) missing = number;
      return 0;
    }
    return vertexOfSlot[static_cast<size_t>(slot)];
  }

  // The stored normal of a corner: the layer's, else the model's; 0 none.
  int32_t storedNormal(const Layer* layer, int32_t layerSlot, int32_t p) {
    int32_t n = numberOf(&layer->normals,
                         layerNormals[static_cast<size_t>(layerSlot)], p);
    if (n == 0) n = numberOf(&model->normals, modelNormals, p);
    return n;
  }

  template <class Visit>
  void eachTriangle(Visit visit) {
    const KeyedTable* layers = &model->layers;
    tableForEach<const Layer>(layers, [&](const Layer* layer, int32_t l) {
      forEachLayerTriangle(layer, [&](int32_t a, int32_t b, int32_t c) {
        visit(layer, l, a, b, c);
      });
    });
  }

  void faceNormalRecord(int32_t a, int32_t b, int32_t c) {
    const Point* pa = point(a);
    const Point* pb = point(b);
    const Point* pc = point(c);
    double n[3] = {0.0, 0.0, 0.0};
    if (pa && pb && pc) faceNormal(*pa, *pb, *pc, n);
    normalRecord(out, n[0], n[1], n[2]);
    ++written;
  }

  void points() {
    outLiteral(out, "# points\n");
    const KeyedTable* t = &model->points;
    vertexOfSlot.assign(static_cast<size_t>(t->capacity), 0);
    int32_t number = 0;
    for (int32_t s = tableNextSlot(t, -1); s >= 0; s = tableNextSlot(t, s)) {
      const Point* p = tableAt<Point>(t, s);
      swappedRecord(out, "v   ", 4, p->x, p->y, p->z);
      vertexOfSlot[static_cast<size_t>(s)] = ++number;
    }
  }

  void normalTable(const KeyedTable* t) {
    for (int32_t s = tableNextSlot(t, -1); s >= 0; s = tableNextSlot(t, s)) {
      const VectorEntry* v = tableAt<VectorEntry>(t, s);
      normalRecord(out, v->x, v->y, v->z);
      ++written;
    }
  }

  void normals() {
    if (flat) {
      eachTriangle([&](const Layer*, int32_t, int32_t a, int32_t b,
                       int32_t c) { faceNormalRecord(a, b, c); });
      return;
    }
    modelNormals = numberSlots(&model->normals, written + 1);
    if (tableCount(&model->normals) > 0) {
      outLiteral(out, "\n# normals\n");
      normalTable(&model->normals);
    }
    const KeyedTable* layers = &model->layers;
    layerNormals.assign(static_cast<size_t>(layers->capacity), {});
    for (int32_t l = tableNextSlot(layers, -1); l >= 0;
         l = tableNextSlot(layers, l)) {
      const Layer* layer = tableAt<Layer>(layers, l);
      layerNormals[static_cast<size_t>(l)] =
          numberSlots(&layer->normals, written + 1);
      if (tableCount(&layer->normals) == 0) continue;
      outLiteral(out, "\n# normals for ");
      outText(out, layer->name);
      outChar(out, '\n');
      normalTable(&layer->normals);
    }
    // Every corner needs a normal number: a triangle with a corner that has
    // no stored normal gets its face normal, as the view lights it.
    firstFaceNormal = written + 1;
    eachTriangle([&](const Layer* layer, int32_t l, int32_t a, int32_t b,
                     int32_t c) {
      if (storedNormal(layer, l, a) != 0 && storedNormal(layer, l, b) != 0 &&
          storedNormal(layer, l, c) != 0)
        return;
      if (written + 1 == firstFaceNormal) outLiteral(out, "\n# face normals\n");
      faceNormalRecord(a, b, c);
    });
  }

  void face(int32_t a, int32_t na, int32_t b, int32_t nb, int32_t c,
            int32_t nc) {
    outLiteral(out, "f ");
    outInt(out, vertex(a));
    outLiteral(out, "//");
    outInt(out, na);
    outChar(out, ' ');
    outInt(out, vertex(b));
    outLiteral(out, "//");
    outInt(out, nb);
    outChar(out, ' ');
    outInt(out, vertex(c));
    outLiteral(out, "//");
    outInt(out, nc);
    outChar(out, '\n');
  }

  void layers() {
    int32_t flatNumber = 0;
    int32_t faceNormalNumber = firstFaceNormal;
    const KeyedTable* layers = &model->layers;
    for (int32_t l = tableNextSlot(layers, -1); l >= 0 && missing == 0;
         l = tableNextSlot(layers, l)) {
      const Layer* layer = tableAt<Layer>(layers, l);
      outLiteral(out, "\nusemtl ");
      outText(out, layer->name);
      outChar(out, '\n');

      const KeyedTable* polygons = &layer->triangles;
      int32_t faces = 0;
      for (int32_t s = tableNextSlot(polygons, -1); s >= 0;
           s = tableNextSlot(polygons, s))
        faces += stripTriangleCount(tableAt<Triangle>(polygons, s)->count);
      if (faces > 0) {
        outLiteral(out, "\n# ");
        outInt(out, faces);
        outLiteral(out, " faces\n");
      }
      forEachLayerTriangle(layer, [&](int32_t a, int32_t b, int32_t c) {
        if (flat) {
          ++flatNumber;
          face(a, flatNumber, b, flatNumber, c, flatNumber);
          return;
        }
        int32_t na = storedNormal(layer, l, a);
        int32_t nb = storedNormal(layer, l, b);
        int32_t nc = storedNormal(layer, l, c);
        if (na == 0 || nb == 0 || nc == 0) {
          if (na == 0) na = faceNormalNumber;
          if (nb == 0) nb = faceNormalNumber;
          if (nc == 0) nc = faceNormalNumber;
          ++faceNormalNumber;
        }
        face(a, na, b, nb, c, nc);
      });

      const KeyedTable* lines = &layer->lines;
      if (tableCount(lines) == 0) continue;
      outLiteral(out, "\n# ");
      outInt(out, tableCount(lines));
      outLiteral(out, " lines\n");
      tableForEach<const Line>(lines, [&](const Line* line, int32_t) {
        outLiteral(out, "l ");
        for (int32_t i = 0; i < line->count; ++i) {
          outInt(out, vertex(polygonPoints(line)[i]));
          outChar(out, ' ');
        }
        outChar(out, '\n');
      });
    }
  }
};

}  // namespace

bool writeObj(const Model* model, const char* path, const char* title,
              bool flat) {
  TextOut out;
  if (!textOutOpen(&out, path)) return false;
  outLiteral(&out, "#\n# model: ");
  outText(&out, title);
  outLiteral(&out, "\n#\n");
  ObjWriter writer(model, &out, flat);
  writer.points();
  writer.normals();
  if (writer.missing == 0) writer.layers();
  if (writer.missing != 0) {
    textOutAbort(&out);
    lastErrorReportf("point not found: %d", writer.missing);
    return false;
  }
  return textOutCommit(&out);
}

int exportObj(const Model* model, const char* path) {
  return exportPrepared(model, "obj", path,
                        [](const Model* m, const char* file, const char* title) {
                          return writeObj(m, file, title, false);
                        });
}
