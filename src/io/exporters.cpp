// Choosing an exporter by the format's command word.
#include "io/exporters.h"

#include <cstring>

#include "io/export_glb.h"
#include "io/export_obj_yup.h"
#include "io/export_ply.h"
#include "io/export_stl_yup.h"
#include "io/export_support.h"

namespace {

struct FormatWord {
  const char* word;
  ExportFormat format;
};

const FormatWord kFormats[] = {
    {"stl", ExportFormat::kStl},
    {"obj", ExportFormat::kObj},
    {"x", ExportFormat::kDirectX},
    {"stlb", ExportFormat::kStlBinary},
    {"ply", ExportFormat::kPly},
    {"glb", ExportFormat::kGlb},
};

}  // namespace

bool exportFormatFromWord(const char* word, ExportFormat* format) {
  for (const FormatWord& f : kFormats) {
    if (std::strcmp(word, f.word) == 0) {
      *format = f.format;
      return true;
    }
  }
  return false;
}

bool exportFormatTakesRightHanded(ExportFormat format) {
  return format != ExportFormat::kDirectX;
}

int exportModel(const Model* model, const ExportRequest& request) {
  switch (request.format) {
    case ExportFormat::kStl:
      return request.rightHanded
                 ? exportInPlace(model, "stl", request.path, writeStlYUp)
                 : exportStl(model, request.path);
    case ExportFormat::kObj:
      return request.rightHanded
                 ? exportInPlace(model, "obj", request.path, writeObjYUp)
                 : exportObj(model, request.path);
    case ExportFormat::kDirectX:
      return exportDirectX(model, request.path);
    case ExportFormat::kStlBinary:
      return exportInPlace(model, "stl", request.path, writeStlBinary);
    case ExportFormat::kPly:
      return exportInPlace(model, "ply", request.path, writePly);
    case ExportFormat::kGlb:
      return exportInPlace(model, "glb", request.path, writeGlb);
  }
  return 0;
}
