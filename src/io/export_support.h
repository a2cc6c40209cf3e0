// What the text exporters share: where the file goes, how a layer's
// polygons are read as triangle strips, normals, and the preparation every
// export goes through. Kept out of the exporters' own files, so that no
// exporter depends on another.
#pragma once

#include <cstdint>
#include <string>

#include "io/text_out.h"
#include "model/geometry.h"
#include "model/records.h"

// The export file name for `name` ("untitled" when null or empty):
// "<name>.<extension>" when the name ends in a three-letter extension (at
// least five characters, the fourth from the end a point), else
// "<name>.mod.<extension>". `extension` without its point ("stl").
std::string exportFileName(const char* name, const char* extension);

// The file an exporter writes for the model and the title it gives it
// (that same path): `requested` as given when not null or empty, else the
// model's directory and the file name of its name.
void exportTarget(const Model* model, const char* extension,
                  const char* requested, std::string* path,
                  std::string* title);

// Three coordinates "%.6f %.6f %.6f\n" with y and z exchanged: the model's
// z-up space becomes the y-up space of STL and OBJ files.
void swappedTriple(TextOut* out, double x, double y, double z);
// An ASCII STL's first line, "solid <title>", after opening the file; and
// its last, "endsolid <title>", before committing it.
bool beginStlText(TextOut* out, const char* path, const char* title);
bool endStlText(TextOut* out, const char* title);

// Scales v to unit length; a zero or non-finite length gives (0, 0, 0).
void normalise(double v[3]);

// The unit normal of (a, b, c) by the right-hand rule, (b - a) x (c - a):
// the outside of a face whose corners run anticlockwise, as the view lights
// it. A degenerate triangle gives (0, 0, 0).
void faceNormal(const Point& a, const Point& b, const Point& c, double n[3]);

// Calls visit(a, b, c) with the point numbers of every triangle of the
// layer's polygons, each polygon read as a strip, in table order.
template <class Visit>
void forEachLayerTriangle(const Layer* layer, Visit visit) {
  const KeyedTable* polygons = &layer->triangles;
  for (int32_t s = tableNextSlot(polygons, -1); s >= 0;
       s = tableNextSlot(polygons, s)) {
    const Triangle* t = tableAt<Triangle>(polygons, s);
    forEachStripTriangle(polygonPoints(t), t->count, visit);
  }
}

// Writes a prepared model to `path` under `title`; true when written.
using ExportWriter = bool (*)(const Model* prepared, const char* path,
                              const char* title);

// What every exporter does around its writer: prepare the copy (mirrors
// baked), bring its derived data up to date, name the file (`requested`,
// else by the naming rule), write it with write(prepared, path, title),
// free the copy. 1 written, 0 failed.
int exportPrepared(const Model* model, const char* extension,
                   const char* requested, ExportWriter write);

// What the y-up writers (export_scene.h) do around their writer: name the
// file as exportPrepared does and write the open model itself, which they
// only read (its children and reflections are placed as they go). Derived
// data must be up to date (flushForExport). 1 written, 0 failed.
int exportInPlace(const Model* model, const char* extension,
                  const char* requested, ExportWriter write);
