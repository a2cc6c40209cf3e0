// Choosing an exporter by the format's command word.
#include "io/exporters.h"

#include <cstring>

namespace {

struct FormatWord {
  const char* word;
  ExportFormat format;
};

const FormatWord kFormats[] = {
    {"stl", ExportFormat::kStl},
    {"obj", ExportFormat::kObj},
    {"x", ExportFormat::kDirectX},
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

int exportModel(const Model* model, const ExportRequest& request) {
  switch (request.format) {
    case ExportFormat::kStl:
      return exportStl(model, request.path);
    case ExportFormat::kObj:
      return exportObj(model, request.path);
    case ExportFormat::kDirectX:
      return exportDirectX(model, request.path);
  }
  return 0;
}
