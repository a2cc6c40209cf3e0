// What the text exporters share: where the file goes, how a polygon is read
// as a triangle strip, face normals, and the writers themselves on a model
// that is already prepared (mirrors baked), so they can be tested and timed
// without the preparation.
#pragma once

#include <cstdint>
#include <string>

#include "io/text_out.h"
#include "model/geometry.h"
#include "model/last_error.h"
#include "model/mirror.h"
#include "model/model.h"
#include "model/records.h"

// The export file name for `name` ("untitled" when null or empty):
// "<name>.<extension>" when the name ends in a three-letter extension (at
// least five characters, the fourth from the end a point), else
// "<name>.mod.<extension>". `extension` without its point ("stl").
std::string exportFileName(const char* name, const char* extension);

// A string literal appended without measuring it.
template <size_t N>
inline void literal(TextOut* out, const char (&text)[N]) {
  outChars(out, text, N - 1);
}

// Three coordinates "%.6f %.6f %.6f\n" with y and z exchanged: the model's
// z-up space becomes the y-up space of STL and OBJ files.
inline void swappedTriple(TextOut* out, double x, double y, double z) {
  outFixed(out, x, 6);
  outChar(out, ' ');
  outFixed(out, z, 6);
  outChar(out, ' ');
  outFixed(out, y, 6);
  outChar(out, '\n');
}

// The unit normal of (a, b, c) by the right-hand rule, (b - a) x (c - a):
// the outside of a face whose corners run anticlockwise, as the view lights
// it. A degenerate triangle gives (0, 0, 0).
void faceNormal(const Point& a, const Point& b, const Point& c, double n[3]);

// Write a prepared model to `path`; `title` is the name the file gives
// itself (the "solid" line, the OBJ heading). False with LastError when the
// file cannot be written or a polygon names a point that is not there; the
// previous file at `path` is then left as it was.
bool writeStl(const Model* prepared, const char* path, const char* title);
// `flat`: one normal per triangle; else the points' stored normals (the
// layer's before the model's), and for a triangle with a corner that has
// neither, its face normal.
bool writeObj(const Model* prepared, const char* path, const char* title,
              bool flat);

// The file an exporter writes for the model (its directory and the file
// name of its name) and the title it gives it (that same path).
void exportTarget(const Model* model, const char* extension,
                  std::string* path, std::string* title);

// What every exporter does around its writer: prepare the copy (mirrors
// baked), bring its derived data up to date, name the file, write it with
// write(prepared, path, title), free the copy. 1 written, 0 failed.
template <class Write>
int exportPrepared(const Model* model, const char* extension, Write write) {
  if (model == nullptr) {
    lastErrorReport("no model to export");
    return 0;
  }
  Model* prepared = prepareExportCopy(model);
  if (prepared == nullptr) return 0;
  flushDerived(prepared);
  std::string path, title;
  exportTarget(model, extension, &path, &title);
  const bool written = write(prepared, path.c_str(), title.c_str());
  freeModel(prepared);
  return written ? 1 : 0;
}
