// Exporters: the current model as ASCII STL, Wavefront OBJ and DirectX .x
// text files. Each writes a prepared copy of the model (mirrors baked; the
// open document is never touched) through a temporary file renamed into
// place, and returns 1 written or 0 failed (LastError says why).
//
// `path` is the file to write, as given; null or "" writes beside the
// model's file, named after the model (exportFileName, export_support.h).
#pragma once

#include <cstdint>

#include "model/records.h"

int exportStl(const Model* model, const char* path = nullptr);
int exportObj(const Model* model, const char* path = nullptr);
int exportDirectX(const Model* model, const char* path = nullptr);

enum class ExportFormat : int32_t {
  kStl,
  kObj,
  kDirectX,
};

struct ExportRequest {
  ExportFormat format;
  const char* path;  // null or "": the naming rule
};

// The format a command word names ("stl", "obj", "x"); false for others.
bool exportFormatFromWord(const char* word, ExportFormat* format);
// Runs the exporter the request names: 1 written, 0 failed.
int exportModel(const Model* model, const ExportRequest& request);
