#include "io/export_support.h"

#include <cmath>

#include "model/last_error.h"
#include "model/mirror.h"
#include "model/model.h"
#include "model/transform.h"

std::string exportFileName(const char* name, const char* extension) {
  return savedFileName(name, ".mod", "untitled.mod") + "." + extension;
}

void exportTarget(const Model* model, const char* extension,
                  const char* requested, std::string* path,
                  std::string* title) {
  if (requested != nullptr && requested[0] != '\0') {
    *path = requested;
  } else {
    *path = std::string(model->directory) +
            exportFileName(model->name, extension);
  }
  // Named by where they were written, as .mod files are.
  *title = *path;
}

void swappedTriple(TextOut* out, double x, double y, double z) {
  outFixed(out, x, 6);
  outChar(out, ' ');
  outFixed(out, z, 6);
  outChar(out, ' ');
  outFixed(out, y, 6);
  outChar(out, '\n');
}

void normalise(double v[3]) {
  if (!scaleToUnit(v)) v[0] = v[1] = v[2] = 0.0;
}

void faceNormal(const Point& a, const Point& b, const Point& c, double n[3]) {
  const double u[3] = {double(b.x) - a.x, double(b.y) - a.y,
                       double(b.z) - a.z};
  const double v[3] = {double(c.x) - a.x, double(c.y) - a.y,
                       double(c.z) - a.z};
  n[0] = u[1] * v[2] - u[2] * v[1];
  n[1] = u[2] * v[0] - u[0] * v[2];
  n[2] = u[0] * v[1] - u[1] * v[0];
  normalise(n);
  // No "-0.000000" in the files for components that are zero.
  n[0] += 0.0;
  n[1] += 0.0;
  n[2] += 0.0;
}

int exportPrepared(const Model* model, const char* extension,
                   const char* requested, ExportWriter write) {
  if (model == nullptr) {
    lastErrorReport("no model to export");
    return 0;
  }
  Model* prepared = prepareExportCopy(model);
  if (prepared == nullptr) return 0;
  flushDerived(prepared);
  std::string path, title;
  exportTarget(model, extension, requested, &path, &title);
  const bool written = write(prepared, path.c_str(), title.c_str());
  freeModel(prepared);
  return written ? 1 : 0;
}

int exportInPlace(const Model* model, const char* extension,
                  const char* requested, ExportWriter write) {
  if (model == nullptr) {
    lastErrorReport("no model to export");
    return 0;
  }
  std::string path, title;
  exportTarget(model, extension, requested, &path, &title);
  return write(model, path.c_str(), title.c_str()) ? 1 : 0;
}

bool beginStlText(TextOut* out, const char* path, const char* title) {
  if (!textOutOpen(out, path)) return false;
  outLiteral(out, "solid ");
  outText(out, title);
  outChar(out, '\n');
  return true;
}

bool endStlText(TextOut* out, const char* title) {
  outLiteral(out, "endsolid ");
  outText(out, title);
  outChar(out, '\n');
  return textOutCommit(out);
}
