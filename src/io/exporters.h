// Exporters. The compatible formats, ASCII STL, Wavefront OBJ and DirectX
// .x text files, each write a prepared copy of the model (mirrors baked;
// the open document is never touched) with y and z exchanged as those
// formats have always been written. The right-handed variants of STL and
// OBJ, and binary STL, PLY and glTF always, turn the model into y-up space
// instead (export_scene.h), so that faces keep facing out, and write child
// models through their placement.
// Every writer goes through a temporary file renamed into place and
// returns 1 written or 0 failed (LastError says why).
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
  kStlBinary,  // y-up, as the right-handed variants
  kPly,        // binary little-endian, y-up
  kGlb,        // glTF 2.0 binary, y-up
};

struct ExportRequest {
  ExportFormat format;
  const char* path;  // null or "": the naming rule
  bool rightHanded;  // STL and OBJ: the y-up variant
};

// The format a command word names ("stl", "obj", "x", "stlb", "ply",
// "glb"); false for others.
bool exportFormatFromWord(const char* word, ExportFormat* format);
// Whether the format has a right-handed variant (DirectX files are
// left-handed by their own convention, and are written so).
bool exportFormatTakesRightHanded(ExportFormat format);
// Runs the exporter the request names: 1 written, 0 failed. The derived
// data of the model and its children must be up to date (flushForExport,
// export_scene.h).
int exportModel(const Model* model, const ExportRequest& request);
