#include "io/pose_file.h"

#include <cstring>

#include "io/text_lines.h"
#include "io/text_out.h"
#include "model/last_error.h"
#include "model/skeleton.h"

namespace {

constexpr const char* kWorld = "world";

void writeMorphs(TextOut* out, const char* name, const KeyedTable* morphs) {
  tableForEach<const Morph>(morphs, [&](const Morph* morph, int32_t) {
    outNamedRecord(out, "morph   ", name, "   ");
    outInt(out, morph->point);
    const float offset[3] = {morph->dx, morph->dy, morph->dz};
    outFloatField(out, "  ", offset, 3);
    outChar(out, '\n');
  });
}

void writePoseLine(TextOut* out, const Joint* joint) {
  outNamedRecord(out, "pose   ", joint->name, "   ");
  outFloatList(out, joint->poseTranslation, 3);
  outFloatField(out, "   ", joint->poseRotation, 9);
  outFloatField(out, "   ", joint->poseScale, 3);
  outChar(out, '\n');
}

// Reads `count` floats from tokens[first..]; false at the first token that
// is not a number.
bool readFloats(const LineTokens& t, int first, int count, float* out) {
  for (int i = 0; i < count; ++i) {
    if (!tokenFloat(t.word[first + i], t.length[first + i], &out[i]))
      return false;
  }
  return true;
}

// pose NAME TX TY TZ R0 .. R8 SX SY SZ. A line one token short lacks SZ,
// which then keeps its rest value, as a short morph line's DZ does.
bool readPoseLine(Model* model, const LineTokens& t) {
  if (t.count < 16) {
    lastErrorReport("Bad pose data");
    return false;
  }
  float values[15] = {};
  values[14] = 1.0f;
  const int numbers = t.count >= 17 ? 15 : 14;
  if (!readFloats(t, 2, numbers, values)) {
    lastErrorReport("Bad pose data");
    return false;
  }
  return setPose(model, t.word[1], values, values + 3, values + 12);
}

// morph NAME POINT DX DY DZ; DZ is 0 when the line ends before it.
bool readMorphLine(Model* model, const LineTokens& t) {
  int32_t point = 0;
  float offset[3] = {};
  if (t.count < 5 || !tokenInt(t.word[2], t.length[2], &point) ||
      !readFloats(t, 3, t.count >= 6 ? 3 : 2, offset)) {
    lastErrorReport("Bad morph data");
    return false;
  }
  return setMorph(model, t.word[1], point, offset[0], offset[1], offset[2]);
}

bool readPoseBuffer(Model* model, TextBuffer* buffer, const char* name) {
  LineTokens tokens;
  LineCursor cursor;
  lineCursorInit(&cursor, buffer);
  bool ok = true;
  lastErrorSetContext(name, 0);
  while (ok && nextLine(&cursor, &tokens)) {
    lastErrorSetLine(cursor.line);
    if (std::strcmp(tokens.word[0], "pose") == 0) {
      ok = readPoseLine(model, tokens);
    } else if (std::strcmp(tokens.word[0], "morph") == 0) {
      ok = readMorphLine(model, tokens);
    }
  }
  lastErrorClearContext();
  return ok;
}

}  // namespace

std::string poseFileName(const char* name) {
  return savedFileName(name, ".pos", "noname.pos");
}

bool writePoseFile(const Model* model, const char* name, bool selectedOnly) {
  const std::string path = poseFileName(name != nullptr ? name : model->name);
  TextOut out;
  if (!textOutOpen(&out, path.c_str())) return false;
  outFileHeading(&out, "model pose", path.c_str());
  const KeyedTable* joints = &model->joints;
  for (int32_t s = tableNextSlot(joints, -1); s >= 0;
       s = tableNextSlot(joints, s)) {
    const Joint* joint = tableAt<Joint>(joints, s);
    if (selectedOnly && joint->selected == 0) continue;
    if (!poseAtRest(joint)) writePoseLine(&out, joint);
    writeMorphs(&out, joint->name, &joint->morphs);
  }
  // World morphs belong to no joint, so a save of the selected joints
  // leaves them out.
  if (!selectedOnly) writeMorphs(&out, kWorld, &model->worldMorphs);
  return textOutCommit(&out);
}

bool readPoseFile(Model* model, const char* path) {
  lastErrorClearContext();
  TextBuffer buffer;
  ReadOpen why = kReadMissing;
  if (path == nullptr || !loadTextFile(path, &buffer, &why)) {
    lastErrorReportf("%s: %s", readRefusalWords(why), path ? path : "");
    return false;
  }
  lastErrorClear();
  const bool ok = readPoseBuffer(model, &buffer, path);
  freeTextBuffer(&buffer);
  return ok;
}

bool readPoseBytes(Model* model, const char* bytes, size_t size,
                   const char* name) {
  lastErrorClearContext();
  TextBuffer buffer;
  if (!loadTextBytes(bytes, size, &buffer)) {
    lastErrorReport("out of memory");
    return false;
  }
  lastErrorClear();
  const bool ok = readPoseBuffer(model, &buffer, name);
  freeTextBuffer(&buffer);
  return ok;
}
