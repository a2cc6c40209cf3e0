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

struct BlockScratch;  // mod_reader_block.cpp

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
  // Reading runs of lines on two threads (mod_reader_block.cpp): room for
  // two blocks' records, null until needed, and the share of a block this
  // thread reads itself, carried from run to run.
  BlockScratch* scratch[2];
  double blockShare;
};

// The sections whose lines a second thread can parse ahead: each line
// stands alone, and quick paths (mod_quick_lines.h) read the usual shapes.
inline bool inBlockSection(const ModParseState& s) {
  return s.section == kSectionPoints ||
         (s.section == kSectionTriangles && s.current != nullptr);
}

void freeBlockScratch(BlockScratch* scratch);

// "x" 1 ... "-z" 6; kAxisNone for any other word.
int32_t axisCodeFromWord(const char* word);
// The first image number of the current layer that is not in use.
int32_t nextImageNumber(const ModParseState& s);

// Fails the current line: with the reason given, or a general one.
bool lineFailed();
// Reads the lines of [cursor->next, cursor->end) one at a time.
bool readLineRange(ModParseState& s, LineCursor* cursor);
// Reads whole lines [begin, end) (end just after a newline), just taken
// from the source in a point or polygon section, and the blocks of at
// least minBytes that follow while the section holds, with a second thread
// parsing ahead. Same result, messages and line numbers as reading line by
// line; the source's line count ends at the last line read.
bool readLineRun(ModParseState& s, LineCursor* source, size_t minBytes, char* begin,
                 char* end);
bool readLineRun(ModParseState& s, LineStream* source, size_t minBytes, char* begin,
                 char* end);

bool imageLine(ModParseState& s, const LineTokens& t);
bool childLine(ModParseState& s, const LineTokens& t);
bool collideLine(ModParseState& s, const LineTokens& t);

// Loads every child whose model is not loaded yet, dropping (with a
// message in LastError) those that would contain themselves or do not
// load, then widens the model's bounds by each child's placed bounds.
// False only when the model cannot go on (out of memory).
bool resolveChildren(Model* model);
