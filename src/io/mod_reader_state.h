// The .mod reader's parse state and the pieces of the reader that live in
// files of their own (image, child and collide lines; child resolution).
// Internal to src/io.
#pragma once

#include <cstdint>

#include "io/text_lines.h"
#include "model/records.h"

enum ModSection : int32_t {
  kSectionNone,
  kSectionPoints,
  kSectionNormals,  // normals or surface, by ModParseState::surface
  kSectionColours,
  kSectionTriangles,
  kSectionLines,
  kSectionUvees,
  kSectionWeights,
};

struct ModParseState {
  Model* model;
  ModSection section;
  bool surface;
  int32_t uveeImage;
  char layer[kNameBytes];  // "" until the first layer line: "(global)"
  Layer* current;          // that layer; only layer lines add layers
  char joint[kNameBytes];  // "" until the first joint line
  LineTokens* tokens;
  int32_t points[kMaxPolygonPoints];
};

// "x" 1 ... "-z" 6; kAxisNone for any other word.
int32_t axisCodeFromWord(const char* word);
// The first image number of the current layer that is not in use.
int32_t nextImageNumber(const ModParseState& s);

bool imageLine(ModParseState& s, const LineTokens& t);
bool childLine(ModParseState& s, const LineTokens& t);
bool collideLine(ModParseState& s, const LineTokens& t);

// Loads every child whose model is not loaded yet, dropping (with a
// message in LastError) those that would contain themselves or do not
// load, then widens the model's bounds by each child's placed bounds.
// False only when the model cannot go on (out of memory).
bool resolveChildren(Model* model);
