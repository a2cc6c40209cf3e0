// The .mod reader: each line goes to a keyword dispatcher that keeps a small
// parse state (section, layer, joint, image of a uvees section); data lines
// belong to the section the last keyword opened. Long runs of point and
// polygon lines are read with a second thread parsing ahead
// (mod_reader_block.cpp). Child models named in the file are loaded once
// the file itself has been read (mod_children.cpp).
#include "io/mod_reader.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

#include "io/mod_quick_lines.h"
#include "io/mod_reader_state.h"
#include "io/text_lines.h"
#include "io/texture_files.h"
#include "model/children.h"
#include "model/geometry.h"
#include "model/last_error.h"
#include "model/model.h"
#include "model/skeleton.h"

namespace {

constexpr double kDegrees = 2.0 * 3.14159265358979323846 / 360.0;

bool fail(const char* message) {
  lastErrorReport(message);
  return false;
}

bool isWord(const LineTokens& t, int i, const char* word) {
  return i < t.stored && std::strcmp(t.word[i], word) == 0;
}

bool intAt(const LineTokens& t, int i, int32_t* out) {
  return i < t.stored && tokenInt(t.word[i], t.length[i], out);
}

bool floatAt(const LineTokens& t, int i, float* out) {
  return i < t.stored && tokenFloat(t.word[i], t.length[i], out);
}

bool floatsAt(const LineTokens& t, int first, int n, float* out) {
  for (int i = 0; i < n; ++i) {
    if (!floatAt(t, first + i, out + i)) return false;
  }
  return true;
}

// The layer the state names, or null for "(global)".
const char* layerName(const ModParseState& s) {
  return s.layer[0] ? s.layer : nullptr;
}

// --- Data lines --------------------------------------------------------

bool pointLine(ModParseState& s, const LineTokens& t) {
  int32_t number;
  float xyz[3];
  if (t.count < 4 || !intAt(t, 0, &number) || !floatsAt(t, 1, 3, xyz))
    return fail("Bad point definition");
  return addPoint(s.model, number, xyz[0], xyz[1], xyz[2]);
}

bool colourLine(ModParseState& s, const LineTokens& t) {
  int32_t point;
  float c[4];
  if (t.count != 5 || !intAt(t, 0, &point) || !floatsAt(t, 1, 4, c))
    return fail("Bad color definition");
  if (c[0] > 1.0f || c[1] > 1.0f || c[2] > 1.0f) {
    for (float& v : c) v *= kByteScale;
  }
  return addColour(s.model, layerName(s), point, c[0], c[1], c[2], c[3]);
}

// Three tokens give two angles in degrees instead of the vector.
bool vectorLine(ModParseState& s, const LineTokens& t) {
  int32_t point;
  float v[3];
  if (t.count == 4) {
    if (!intAt(t, 0, &point) || !floatsAt(t, 1, 3, v))
      return fail("Bad normal definition");
  } else if (t.count == 3) {
    float a[2];
    if (!intAt(t, 0, &point) || !floatsAt(t, 1, 2, a))
      return fail("Bad normal definition");
    const double a1 = a[0] * kDegrees, a2 = a[1] * kDegrees;
    const double up = std::sin(a2);
    v[0] = static_cast<float>(std::cos(a1) * std::cos(a2));
    v[1] = static_cast<float>(std::sin(a1) * std::cos(a2));
    v[2] = static_cast<float>(up);
    if (up >= 0.999999 || up <= -0.999999) v[0] = v[1] = 0.0f;
  } else {
    return fail("Bad normal definition");
  }
  if (s.surface) return addSurface(s.model, layerName(s), point, v[0], v[1], v[2]);
  return addNormal(s.model, layerName(s), point, v[0], v[1], v[2]);
}

// Reads `count` point numbers from token `first` on into s.points.
bool pointList(ModParseState& s, const LineTokens& t, int first, int count) {
  for (int i = 0; i < count; ++i) {
    if (!intAt(t, first + i, &s.points[i])) return false;
  }
  return true;
}

bool needLayer(const ModParseState& s, const char* message) {
  if (s.layer[0] == '\0') return fail(message);
  return true;
}

// KIND 0: 3 points; 1: 4; 2: up to 512; 3 and 4: 3 or 4 points and an
// optional kind value; 5: a kind value, then up to 512 points (the form
// the writer uses).
bool triangleLine(ModParseState& s, const LineTokens& t) {
  static const char* const kBad = "Bad triangle definition";
  int32_t form;
  if (!intAt(t, 0, &form)) return fail(kBad);
  const int values = t.count - 1;
  int32_t kind = 0;
  int first = 1;
  int count = 0;
  switch (form) {
    case 0:
    case 1:
      count = form == 0 ? 3 : 4;
      if (values < count) return fail(kBad);
      break;
    case 2:
      count = values;
      break;
    case 3:
    case 4:
      count = form;
      if (values < count) return fail(kBad);
      if (values > count && !intAt(t, 1 + count, &kind)) return fail(kBad);
      break;
    case 5:
      if (!intAt(t, 1, &kind)) return fail(kBad);
      first = 2;
      count = values - 1;
      break;
    default:
      return fail(kBad);
  }
  if (count < 3 || count > kMaxPolygonPoints || !pointList(s, t, first, count))
    return fail(kBad);
  if (!needLayer(s, kBad)) return false;
  return addTriangleToLayer(s.model, s.current, count, s.points, kind) != 0;
}

bool lineLine(ModParseState& s, const LineTokens& t) {
  static const char* const kBad = "Bad line definition";
  int32_t form, kind = 0;
  int first = 1;
  if (t.count < 2 || !intAt(t, 0, &form)) return fail(kBad);
  if (form == 5) {
    if (!intAt(t, 1, &kind)) return fail(kBad);
    first = 2;
  } else if (form != 2) {
    return fail(kBad);
  }
  const int count = t.count - first;
  if (count < 2 || count > kMaxPolygonPoints || !pointList(s, t, first, count))
    return fail(kBad);
  if (!needLayer(s, kBad)) return false;
  return addLineToLayer(s.model, s.current, count, s.points, kind) != 0;
}

bool uveeLine(ModParseState& s, const LineTokens& t) {
  int32_t point;
  float uv[2];
  if (t.count != 3 || !intAt(t, 0, &point) || !floatsAt(t, 1, 2, uv))
    return fail("Bad uvee definition");
  return addUvee(s.model, layerName(s), s.uveeImage, point, uv[0], uv[1]);
}

bool weightLine(ModParseState& s, const LineTokens& t) {
  int32_t point;
  float weight;
  if (t.count != 2 || !intAt(t, 0, &point) || !floatAt(t, 1, &weight))
    return fail("Bad weight definition");
  if (s.joint[0] == '\0') return fail("cannot find joint");
  return addWeight(s.model, s.joint, point, weight);
}

bool dataLine(ModParseState& s, const LineTokens& t) {
  switch (s.section) {
    case kSectionPoints: return pointLine(s, t);
    case kSectionNormals: return vectorLine(s, t);
    case kSectionColours: return colourLine(s, t);
    case kSectionTriangles: return triangleLine(s, t);
    case kSectionLines: return lineLine(s, t);
    case kSectionUvees: return uveeLine(s, t);
    case kSectionWeights: return weightLine(s, t);
    default: return fail("Bad point or triangle data");
  }
}

// --- Keyword lines -------------------------------------------------------

bool layerLine(ModParseState& s, const LineTokens& t) {
  float origin[3];
  if (t.count < 6 || !floatsAt(t, 2, 3, origin))
    return fail("Bad layer definition");
  const int32_t single = std::strcmp(t.word[5], "singlesided") == 0;
  int32_t mirror = 0, axis = kAxisX;
  if (t.count == 8 && isWord(t, 6, "mirror")) {
    axis = axisCodeFromWord(t.word[7]);
    if (axis == kAxisNone) return fail("Bad image axis definition");
    mirror = 1;
  }
  s.current = addLayer(s.model, t.word[1], origin[0], origin[1], origin[2],
                       single, mirror, axis);
  if (s.current == nullptr) {
    s.layer[0] = '\0';  // the line failed; nothing reads on from here
    return false;
  }
  std::strcpy(s.layer, t.word[1]);  // addLayer refused longer names
  s.section = kSectionNone;
  return true;
}

bool jointLine(ModParseState& s, const LineTokens& t) {
  float xyz[3], rgb[3] = {1.0f, 1.0f, 1.0f};
  if (t.count < 6 || !floatsAt(t, 2, 3, xyz)) return fail("Bad joint definition");
  if (t.count >= 9 && !floatsAt(t, 6, 3, rgb)) return fail("Bad joint definition");
  if (std::strlen(t.word[1]) >= sizeof s.joint) return fail("Bad joint definition");
  if (addJoint(s.model, t.word[1], xyz[0], xyz[1], xyz[2], t.word[5], rgb[0],
               rgb[1], rgb[2]) == nullptr)
    return false;
  std::strcpy(s.joint, t.word[1]);
  return true;
}

bool transparencyLine(ModParseState& s, const LineTokens& t) {
  float value;
  if (t.count != 2 || !floatAt(t, 1, &value)) return fail("Bad transparency data");
  if (!needLayer(s, "transparency before any layer")) return false;
  return setTransparency(s.model, s.layer, value);
}

bool shaderLine(ModParseState& s, const LineTokens& t) {
  if (t.count != 3) return fail("Bad shader definition");
  if (!needLayer(s, "shader before any layer")) return false;
  return setShader(s.model, s.layer, t.word[1], t.word[2]);
}

bool reflectLine(ModParseState& s, const LineTokens& t) {
  float strength;
  if (t.count < 3 || !floatAt(t, 2, &strength))
    return fail("Bad reflection map definition");
  if (!needLayer(s, "Bad reflection map definition")) return false;
  const int32_t mode = isWord(t, 3, "add") ? kImageAdditive : kImageReflect;
  return addImageFromFiles(s.model, s.layer, nextImageNumber(s), t.word[1],
                           mode, 0, 0, strength);
}

bool invisibleLine(ModParseState& s, const LineTokens& t) {
  float rgb[3];
  int32_t image = 1;
  if (t.count < 4 || !floatsAt(t, 1, 3, rgb) ||
      (t.count >= 5 && !intAt(t, 4, &image)))
    return fail("Bad invisible data");
  if (rgb[0] > 1.0f || rgb[1] > 1.0f || rgb[2] > 1.0f) {
    // The factor is a hair above 1/255: 255 must still read as 1.0. Above
    // 255 the colour is out of range, and the document refuses it.
    for (float& v : rgb) {
      v *= kByteScale;
      if (v > 1.0f && v < 1.0001f) v = 1.0f;
    }
  }
  if (!needLayer(s, "Bad invisible data")) return false;
  return setInvisibleColour(s.model, s.layer, image, rgb[0], rgb[1], rgb[2]);
}

bool mirrorImageLine(ModParseState& s, const LineTokens& t) {
  if (t.count < 2 || !needLayer(s, "Bad image definition"))
    return fail("Bad image definition");
  return addImageFromFiles(s.model, s.layer, 1, t.word[1], kImageSelectMirror,
                           0, 0, 0.0f);
}

bool versionLine(ModParseState& s, const LineTokens& t) {
  float version;
  if (floatAt(t, 1, &version)) s.model->version = version;
  return true;
}

bool sectionLine(ModParseState& s, ModSection section) {
  s.section = section;
  return true;
}

bool colorsLine(ModParseState& s, const LineTokens&) {
  return sectionLine(s, kSectionColours);
}
bool linesLine(ModParseState& s, const LineTokens&) { return sectionLine(s, kSectionLines); }
bool pointsLine(ModParseState& s, const LineTokens&) { return sectionLine(s, kSectionPoints); }
bool trianglesLine(ModParseState& s, const LineTokens&) {
  return sectionLine(s, kSectionTriangles);
}
bool weightsLine(ModParseState& s, const LineTokens&) { return sectionLine(s, kSectionWeights); }
bool normalsLine(ModParseState& s, const LineTokens&) {
  s.surface = false;
  return sectionLine(s, kSectionNormals);
}
bool surfaceLine(ModParseState& s, const LineTokens&) {
  s.surface = true;
  return sectionLine(s, kSectionNormals);
}
bool uveesLine(ModParseState& s, const LineTokens& t) {
  s.uveeImage = 1;
  if (t.count == 2 && !intAt(t, 1, &s.uveeImage)) return fail("Bad uvee definition");
  return sectionLine(s, kSectionUvees);
}

struct KeywordForm {
  const char* keyword;
  bool (*read)(ModParseState& s, const LineTokens& t);
};

// Every keyword a line may start with. Keyword lines are few beside the
// data lines, so a walk over the table costs nothing that shows.
const KeywordForm kKeywordForms[] = {
    {"colors", colorsLine},
    // "goraud" is an old spelling that files in circulation use.
    {"goraud", colorsLine},
    {"gouraud", colorsLine},
    {"child", childLine},
    {"collide", collideLine},
    {"image", imageLine},
    {"invisible", invisibleLine},
    {"joint", jointLine},
    {"layer", layerLine},
    {"lines", linesLine},
    {"mirrorimage", mirrorImageLine},
    {"normals", normalsLine},
    {"points", pointsLine},
    {"reflect", reflectLine},
    {"surface", surfaceLine},
    {"shader", shaderLine},
    {"triangles", trianglesLine},
    {"transparency", transparencyLine},
    {"uvees", uveesLine},
    {"version", versionLine},
    {"weights", weightsLine},
};

bool keywordLine(ModParseState& s, const LineTokens& t) {
  const char* k = t.word[0];
  for (const KeywordForm& form : kKeywordForms) {
    if (std::strcmp(k, form.keyword) == 0) return form.read(s, t);
  }
  return true;  // unknown keywords ("path" among them) are ignored
}

// --- Quick paths ------------------------------------------------------------
// (mod_quick_lines.h) Declined lines go through the tokenizer.

enum Quick { kDeclined, kTaken, kRefused };

Quick quickLine(ModParseState& s, const char* begin, const char* end) {
  if (s.section == kSectionPoints) {
    int32_t number;
    float xyz[3];
    if (!parseQuickPoint(begin, end, &number, xyz)) return kDeclined;
    return addPoint(s.model, number, xyz[0], xyz[1], xyz[2]) ? kTaken : kRefused;
  }
  if (s.section == kSectionTriangles && s.current != nullptr) {
    int32_t kind, count;
    if (!parseQuickPolygon(begin, end, &kind, s.points, &count)) return kDeclined;
    return addTriangleToLayer(s.model, s.current, count, s.points, kind) ? kTaken
                                                                         : kRefused;
  }
  return kDeclined;
}

// Reads every line into the model; false at the first bad line, with the
// reason and position in LastError. parallelBytes 0: one line at a time.
template <class Source>
bool readLines(ModParseState& s, Source* source, size_t parallelBytes) {
  LineTokens& t = *s.tokens;
  // Where no run could be taken (the end of the file, a long line), the
  // next lines go one at a time before the next try, so that a failed try
  // costs little per line.
  constexpr int kRetryLines = 1024;
  int retryAt = 0;
  char *begin, *end;
  for (;;) {
    if (parallelBytes != 0 && inBlockSection(s) && source->line >= retryAt) {
      if (takeRawLines(source, parallelBytes, &begin, &end)) {
        if (!readLineRun(s, source, parallelBytes, begin, end)) return false;
        continue;
      }
      retryAt = source->line + kRetryLines;
    }
    if (!nextRawLine(source, &begin, &end)) return true;
    lastErrorSetLine(source->line);
    bool ok = true;
    switch (quickLine(s, begin, end)) {
      case kTaken: continue;
      case kRefused: ok = false; break;
      case kDeclined:
        if (tokenizeLine(begin, end, &t) == 0) continue;
        ok = startsNumber(t.word[0]) ? dataLine(s, t) : keywordLine(s, t);
        break;
    }
    if (!ok) return lineFailed();
  }
}

// Makes the model and the parse state, reads, then loads the children.
template <class Source>
Model* readModel(Source* source, const char* path, Model* parent,
                 const char* directory, size_t parallelBytes) {
  lastErrorClear();
  Model* model = createModel(parent, path, directory);
  if (model == nullptr) return nullptr;
  auto* s = static_cast<ModParseState*>(std::calloc(1, sizeof(ModParseState)));
  auto* tokens = static_cast<LineTokens*>(std::malloc(sizeof(LineTokens)));
  if (s == nullptr || tokens == nullptr) {
    std::free(s);
    std::free(tokens);
    freeModel(model);
    lastErrorReport("out of memory");
    return nullptr;
  }
  s->model = model;
  s->tokens = tokens;
  s->uveeImage = 1;

  lastErrorSetContext(path, 0);
  bool ok = readLines(*s, source, parallelBytes);
  lastErrorClearContext();
  freeBlockScratch(s->scratch[0]);
  freeBlockScratch(s->scratch[1]);
  std::free(tokens);
  std::free(s);
  if (!ok) {
    freeModel(model);
    return nullptr;
  }
  // Images without uvees of their own get automatic ones when first needed.
  markUveesStale(model);
  if (!resolveChildren(model)) {
    freeModel(model);
    return nullptr;
  }
  return model;
}

}  // namespace

int32_t axisCodeFromWord(const char* word) {
  static const char* const kNames[] = {"x", "y", "z", "-x", "-y", "-z"};
  for (int i = 0; i < 6; ++i) {
    if (std::strcmp(word, kNames[i]) == 0) return i + 1;
  }
  return kAxisNone;
}

int32_t nextImageNumber(const ModParseState& s) {
  const Layer* layer = findLayer(s.model, s.layer);
  int32_t n = 1;
  while (layer != nullptr && tableFind(&layer->images, n) != nullptr) ++n;
  return n;
}

bool lineFailed() {
  // An operation that refused without a reason still fails the line.
  if (lastErrorText() == nullptr) lastErrorReport("Bad point or triangle data");
  return false;
}

bool readLineRange(ModParseState& s, LineCursor* cursor) {
  return readLines(s, cursor, 0);
}

Model* readModelBytes(const char* bytes, size_t size, const char* path,
                      Model* parent, const char* directory,
                      size_t parallelBytes) {
  if (path == nullptr) path = "";
  TextBuffer buffer;
  if (!loadTextBytes(bytes, size, &buffer)) {
    lastErrorReport("out of memory");
    return nullptr;
  }
  LineCursor cursor;
  lineCursorInit(&cursor, &buffer);
  Model* model = readModel(&cursor, path, parent, directory, parallelBytes);
  freeTextBuffer(&buffer);
  return model;
}

Model* readModelFile(const char* path, Model* parent, const char* directory,
                     size_t parallelBytes) {
  if (path == nullptr) path = "";
  LineStream stream;
  ReadOpen why = kReadOpened;
  if (!lineStreamOpen(&stream, path, &why)) {
    lastErrorReportf("%s: %s", readRefusalWords(why), path);
    return nullptr;
  }
  Model* model = readModel(&stream, path, parent, directory, parallelBytes);
  if (stream.tooLong) {
    freeModel(model);
    model = nullptr;
    lastErrorReportf("line longer than %zu MiB at line %d: %s", kMaxLineBytes >> 20,
                     stream.line + 1, path);
  } else if (model != nullptr && stream.failed) {
    // A file that could not be read to its end is not the model it holds.
    freeModel(model);
    model = nullptr;
    lastErrorReportf("could not read: %s", path);
  }
  lineStreamClose(&stream);
  return model;
}
