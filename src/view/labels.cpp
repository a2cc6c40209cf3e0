#include "view/labels.h"

#include <GL/glew.h>
#include <GL/glu.h>
#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "model/geometry.h"
#include "view/layer_cache.h"
#include "view/render_state.h"

namespace {

constexpr int kFonts = 2;
constexpr int kFontPoints[kFonts] = {12, 16};
constexpr int kScreenDpi = 96;
constexpr int kGlyphCodes = 256;  // Latin-1: one display list per code
// Labels are drawn into the front sliver of the depth range so that the
// model drawn after them cannot cover them.
constexpr double kLabelDepthFar = 0.01;
// Lines win against the surfaces they lie on.
constexpr double kOutlineDepthFar = 0.9999;
constexpr int kMessageMargin = 4;

struct LabelFont {
  GLuint lists;  // 0: not loaded
  int lineHeight;
  int descent;
};

}  // namespace

struct LabelFonts {
  LabelFont font[kFonts] = {};
  bool ready = false;
};

namespace {

bool findArial(std::string* file, int* index) {
  if (!FcInit()) return false;
  FcPattern* pattern = FcNameParse(reinterpret_cast<const FcChar8*>("Arial"));
  if (pattern == nullptr) return false;
  FcConfigSubstitute(nullptr, pattern, FcMatchPattern);
  FcDefaultSubstitute(pattern);
  FcResult result = FcResultNoMatch;
  FcPattern* match = FcFontMatch(nullptr, pattern, &result);
  FcPatternDestroy(pattern);
  if (match == nullptr) return false;
  FcChar8* path = nullptr;
  bool found = FcPatternGetString(match, FC_FILE, 0, &path) == FcResultMatch;
  if (found) {
    *file = reinterpret_cast<const char*>(path);
    int faceIndex = 0;
    if (FcPatternGetInteger(match, FC_INDEX, 0, &faceIndex) == FcResultMatch)
      *index = faceIndex;
  }
  FcPatternDestroy(match);
  return found;
}

bool printable(int code) { return code >= 32 && code != 127 && (code < 128 || code >= 160); }

// One glBitmap per glyph, compiled into a display list: bitmaps take the
// current raster colour and position, so labels need no textures.
void compileGlyph(FT_Face face, int code, std::vector<GLubyte>* rows) {
  if (!printable(code)) return;
  if (FT_Load_Char(face, code, FT_LOAD_RENDER | FT_LOAD_MONOCHROME | FT_LOAD_TARGET_MONO))
    return;
  FT_GlyphSlot glyph = face->glyph;
  const FT_Bitmap& bitmap = glyph->bitmap;
  float advance = static_cast<float>(glyph->advance.x) / 64.0f;
  if (bitmap.pixel_mode != FT_PIXEL_MODE_MONO || bitmap.rows == 0 || bitmap.width == 0) {
    glBitmap(0, 0, 0.0f, 0.0f, advance, 0.0f, nullptr);
    return;
  }
  int height = static_cast<int>(bitmap.rows);
  int rowBytes = (static_cast<int>(bitmap.width) + 7) / 8;
  int pitch = bitmap.pitch < 0 ? -bitmap.pitch : bitmap.pitch;
  rows->assign(static_cast<size_t>(rowBytes) * height, 0);
  // FreeType gives rows from the top, glBitmap wants them from the bottom.
  for (int r = 0; r < height; ++r) {
    int source = bitmap.pitch >= 0 ? r : height - 1 - r;
    std::memcpy(rows->data() + static_cast<size_t>(height - 1 - r) * rowBytes,
                bitmap.buffer + static_cast<size_t>(source) * pitch, rowBytes);
  }
  glBitmap(bitmap.width, bitmap.rows, static_cast<float>(-glyph->bitmap_left),
           static_cast<float>(height - glyph->bitmap_top), advance, 0.0f, rows->data());
}

bool buildFont(FT_Face face, int points, LabelFont* font) {
  if (FT_Set_Char_Size(face, 0, points * 64, kScreenDpi, kScreenDpi)) return false;
  GLuint lists = glGenLists(kGlyphCodes);
  if (lists == 0) return false;
  std::vector<GLubyte> rows;
  for (int code = 0; code < kGlyphCodes; ++code) {
    glNewList(lists + code, GL_COMPILE);
    compileGlyph(face, code, &rows);
    glEndList();
  }
  font->lists = lists;
  font->lineHeight = static_cast<int>((face->size->metrics.height + 63) >> 6);
  font->descent = static_cast<int>((-face->size->metrics.descender + 63) >> 6);
  return true;
}

const LabelFont* fontOf(const LabelFonts* fonts, int font) {
  if (fonts == nullptr || !fonts->ready || font < 0 || font >= kFonts ||
      fonts->font[font].lists == 0)
    return nullptr;
  return &fonts->font[font];
}

// UTF-8 to the Latin-1 codes of the display lists; what has no code there
// becomes '?'.
std::string latin1Codes(const char* text) {
  std::string codes;
  const unsigned char* p = reinterpret_cast<const unsigned char*>(text);
  while (*p != 0) {
    unsigned char c = *p++;
    if (c < 0x80) {
      codes.push_back(static_cast<char>(c));
      continue;
    }
    int code = '?';
    if ((c & 0xE0) == 0xC0 && (*p & 0xC0) == 0x80) {
      int decoded = ((c & 0x1F) << 6) | (*p & 0x3F);
      if (decoded < kGlyphCodes) code = decoded;
    }
    while ((*p & 0xC0) == 0x80) ++p;
    codes.push_back(static_cast<char>(code));
  }
  return codes;
}

// Draws at the current raster position (nothing when it is invalid).
void drawCodes(const LabelFont* font, const char* text) {
  std::string codes = latin1Codes(text);
  if (codes.empty()) return;
  glPushAttrib(GL_LIST_BIT);
  glListBase(font->lists);
  glCallLists(static_cast<GLsizei>(codes.size()), GL_UNSIGNED_BYTE, codes.data());
  glPopAttrib();
}

// The distinct points that the layer's polygons and lines use, ascending.
std::vector<int32_t> layerPoints(const Layer* layer) {
  std::vector<int32_t> points;
  for (int32_t s = tableNextSlot(&layer->triangles, -1); s >= 0;
       s = tableNextSlot(&layer->triangles, s)) {
    const Triangle* t = tableAt<Triangle>(&layer->triangles, s);
    points.insert(points.end(), polygonPoints(t), polygonPoints(t) + t->count);
  }
  for (int32_t s = tableNextSlot(&layer->lines, -1); s >= 0; s = tableNextSlot(&layer->lines, s)) {
    const Line* l = tableAt<Line>(&layer->lines, s);
    points.insert(points.end(), polygonPoints(l), polygonPoints(l) + l->count);
  }
  std::sort(points.begin(), points.end());
  points.erase(std::unique(points.begin(), points.end()), points.end());
  return points;
}

// The model and, under the pose switch, where its points are drawn (three
// floats per point slot), so that labels stay on posed points.
struct Labelled {
  const LabelFonts* fonts;
  const Model* model;
  const float* posed;  // null: the points as stored
};

bool positionOf(const Labelled& m, int32_t number, float xyz[3]) {
  int32_t slot = tablePosition(&m.model->points, number, false);
  if (slot < 0) return false;
  if (m.posed != nullptr) {
    std::memcpy(xyz, m.posed + static_cast<size_t>(slot) * 3, 3 * sizeof(float));
  } else {
    const Point* p = tableAt<Point>(&m.model->points, slot);
    xyz[0] = p->x;
    xyz[1] = p->y;
    xyz[2] = p->z;
  }
  return true;
}

void labelPoint(const Labelled& m, int32_t number, int line, const char* text) {
  float p[3];
  if (!positionOf(m, number, p)) return;
  float dy = -static_cast<float>(line * labelLineHeight(m.fonts, 0));
  drawTextAtPointShifted(m.fonts, 0, p[0], p[1], p[2], 0.0f, dy, text);
}

void pointLabels(const Labelled& m, const Layer* layer) {
  char text[kNameBytes + 32];
  for (int32_t n : layerPoints(layer)) {
    std::snprintf(text, sizeof text, " %d %s", n, layer->name);
    labelPoint(m, n, 0, text);
  }
}

// Points that no layer uses.
void loosePointLabels(const Labelled& m) {
  const Model* model = m.model;
  std::vector<int32_t> used;
  for (int32_t s = tableNextSlot(&model->layers, -1); s >= 0;
       s = tableNextSlot(&model->layers, s)) {
    std::vector<int32_t> points = layerPoints(tableAt<Layer>(&model->layers, s));
    used.insert(used.end(), points.begin(), points.end());
  }
  std::sort(used.begin(), used.end());
  char text[48];
  for (int32_t s = tableNextSlot(&model->points, -1); s >= 0;
       s = tableNextSlot(&model->points, s)) {
    int32_t n = tableIntKeyAt(&model->points, s);
    if (std::binary_search(used.begin(), used.end(), n)) continue;
    std::snprintf(text, sizeof text, " %d (global)", n);
    labelPoint(m, n, 0, text);
  }
}

// Where each point of the layer takes its colour from.
void colourSourceLabels(const Labelled& m, const Layer* layer) {
  const Model* model = m.model;
  char text[kNameBytes + 32];
  for (int32_t n : layerPoints(layer)) {
    if (tableFind(&layer->colours, n) != nullptr)
      std::snprintf(text, sizeof text, " %d = (in %s)", n, layer->name);
    else if (tableFind(&model->colours, n) != nullptr)
      std::snprintf(text, sizeof text, " %d = (global)", n);
    else
      continue;
    labelPoint(m, n, 1, text);
  }
}

void modelColourLabels(const Labelled& m) {
  const Model* model = m.model;
  char text[128];
  for (int32_t s = tableNextSlot(&model->points, -1); s >= 0;
       s = tableNextSlot(&model->points, s)) {
    int32_t n = tableIntKeyAt(&model->points, s);
    const Colour* c = tableFindT<Colour>(&model->colours, n);
    if (c != nullptr)
      std::snprintf(text, sizeof text, " %d = %1.2f %1.2f %1.2f %1.2f (global)", n, c->r, c->g,
                    c->b, c->a);
    else
      std::snprintf(text, sizeof text, " %d (no color)", n);
    labelPoint(m, n, 2, text);
  }
}

void vertexOf(const Labelled& m, int32_t number) {
  float p[3];
  if (positionOf(m, number, p)) glVertex3fv(p);
}

// Polygons are triangle strips: their outline is the strip's outer edges,
// never the diagonals between its triangles.
void drawLayerOutline(const Labelled& m, const Layer* layer) {
  glDepthRange(0.0, kOutlineDepthFar);
  glDisable(GL_CULL_FACE);
  glBegin(GL_LINES);
  for (int32_t s = tableNextSlot(&layer->triangles, -1); s >= 0;
       s = tableNextSlot(&layer->triangles, s)) {
    const Triangle* t = tableAt<Triangle>(&layer->triangles, s);
    const int32_t n = t->count;
    forEachStripIndex(n, [&](int32_t a, int32_t b, int32_t c) {
      const int32_t corners[3] = {a, b, c};
      for (int e = 0; e < 3; ++e) {
        const int32_t i = corners[e], j = corners[(e + 1) % 3];
        // An outer edge belongs to one triangle of the strip only.
        if (!stripOutlineEdge(i, j, n)) continue;
        vertexOf(m, polygonPoints(t)[i]);
        vertexOf(m, polygonPoints(t)[j]);
      }
    });
  }
  glEnd();
  for (int32_t s = tableNextSlot(&layer->lines, -1); s >= 0; s = tableNextSlot(&layer->lines, s)) {
    const Line* l = tableAt<Line>(&layer->lines, s);
    glBegin(GL_LINE_STRIP);
    for (int i = 0; i < l->count; ++i) vertexOf(m, polygonPoints(l)[i]);
    glEnd();
  }
  glDepthRange(0.0, 1.0);
}

}  // namespace

LabelFonts* newLabelFonts() { return new (std::nothrow) LabelFonts; }

void freeLabelFonts(LabelFonts* fonts) { delete fonts; }

bool labelsInit(LabelFonts* fonts) {
  if (fonts == nullptr) return false;
  if (fonts->ready) return true;
  LabelFont* font = fonts->font;
  std::string file;
  int index = 0;
  if (!findArial(&file, &index)) return false;
  FT_Library library = nullptr;
  if (FT_Init_FreeType(&library)) return false;
  FT_Face face = nullptr;
  bool loaded = FT_New_Face(library, file.c_str(), index, &face) == 0;
  if (loaded) {
    // The bitmaps are read when the lists are compiled: tightly packed.
    glPushClientAttrib(GL_CLIENT_PIXEL_STORE_BIT);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
    glPixelStorei(GL_UNPACK_SKIP_ROWS, 0);
    glPixelStorei(GL_UNPACK_SKIP_PIXELS, 0);
    glPixelStorei(GL_UNPACK_LSB_FIRST, GL_FALSE);
    for (int f = 0; f < kFonts; ++f) {
      if (!buildFont(face, kFontPoints[f], &font[f])) font[f] = LabelFont{};
    }
    glPopClientAttrib();
    FT_Done_Face(face);
  }
  FT_Done_FreeType(library);
  fonts->ready = font[0].lists != 0 || font[1].lists != 0;
  // A missing size stands in for the other.
  for (int f = 0; fonts->ready && f < kFonts; ++f)
    if (font[f].lists == 0) font[f] = font[1 - f];
  return fonts->ready;
}

bool labelsReady(const LabelFonts* fonts) { return fonts != nullptr && fonts->ready; }

int labelLineHeight(const LabelFonts* fonts, int font) {
  const LabelFont* f = fontOf(fonts, font);
  return f != nullptr ? f->lineHeight : 0;
}

void pushPixelSpace(const int viewport[4]) {
  glMatrixMode(GL_PROJECTION);
  glPushMatrix();
  glLoadIdentity();
  glOrtho(viewport[0], viewport[0] + viewport[2], viewport[1], viewport[1] + viewport[3], -1.0,
          1.0);
  glMatrixMode(GL_MODELVIEW);
  glPushMatrix();
  glLoadIdentity();
}

void popPixelSpace() {
  glPopMatrix();
  glMatrixMode(GL_PROJECTION);
  glPopMatrix();
}

void drawTextAt(const LabelFonts* fonts, int font, float x, float y, const char* text) {
  const LabelFont* f = fontOf(fonts, font);
  if (f == nullptr || text == nullptr) return;
  GLint viewport[4];
  GLint mode = GL_MODELVIEW;
  glGetIntegerv(GL_VIEWPORT, viewport);
  glGetIntegerv(GL_MATRIX_MODE, &mode);
  // A projection that maps units to window pixels inside the viewport.
  pushPixelSpace(viewport);
  glRasterPos2f(x, y);
  popPixelSpace();
  glMatrixMode(static_cast<GLenum>(mode));
  drawCodes(f, text);
}

void drawTextAtPoint(const LabelFonts* fonts, int font, float x, float y, float z,
                     const char* text) {
  drawTextAtPointShifted(fonts, font, x, y, z, 0.0f, 0.0f, text);
}

void drawTextAtPointShifted(const LabelFonts* fonts, int font, float x, float y, float z,
                            float dx, float dy, const char* text) {
  const LabelFont* f = fontOf(fonts, font);
  if (f == nullptr || text == nullptr) return;
  glRasterPos3f(x, y, z);
  // An empty bitmap only moves the raster position.
  if (dx != 0.0f || dy != 0.0f) glBitmap(0, 0, 0.0f, 0.0f, dx, dy, nullptr);
  drawCodes(f, text);
}

void drawMessageLines(const LabelFonts* fonts, const RenderState* render,
                      const float background[3]) {
  const LabelFont* f = fontOf(fonts, 0);
  if (f == nullptr) return;
  GLint viewport[4];
  glGetIntegerv(GL_VIEWPORT, viewport);
  const float* bg = background;
  // Black on light backgrounds, white on dark ones.
  float luminance = 0.3f * bg[0] + 0.59f * bg[1] + 0.11f * bg[2];
  float shade = luminance > 0.5f ? 0.0f : 1.0f;
  glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT);
  glDisable(GL_LIGHTING);
  glDisable(GL_TEXTURE_2D);
  glDisable(GL_DEPTH_TEST);
  glDisable(GL_BLEND);
  glColor3f(shade, shade, shade);
  for (int i = 0; i < kMessageLines; ++i) {
    const char* line = render->messages[i];
    if (line[0] == 0) continue;
    float y = static_cast<float>(viewport[1] + kMessageMargin + f->descent + i * f->lineHeight);
    drawTextAt(fonts, 0, static_cast<float>(viewport[0] + kMessageMargin), y, line);
  }
  glPopAttrib();
}

void drawModelLabels(const LabelFonts* fonts, const Model* model,
                     const RenderState* render) {
  if (!labelsReady(fonts) || model == nullptr) return;
  const DisplayFlags& flags = render->display;
  const char* chosenName = render->chosenLayer;
  bool chosen = chosenName[0] != 0 && std::strcmp(chosenName, "global") != 0;
  const Layer* chosenLayer = chosen ? tableFindT<Layer>(&model->layers, chosenName) : nullptr;
  if (!flags.labels && !flags.colors && !(chosenLayer != nullptr && render->layerOutline)) return;

  std::vector<float> posed;
  Labelled m{fonts, model, nullptr};
  if (flags.pose && computeDisplayPoints(model, &posed)) m.posed = posed.data();

  glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT | GL_VIEWPORT_BIT | GL_POLYGON_BIT);
  glDisable(GL_LIGHTING);
  glDisable(GL_TEXTURE_2D);
  glDisable(GL_BLEND);
  glColor3fv(render->labelColour);
  glDepthRange(0.0, kLabelDepthFar);
  for (int32_t s = tableNextSlot(&model->layers, -1); s >= 0;
       s = tableNextSlot(&model->layers, s)) {
    const Layer* layer = tableAt<Layer>(&model->layers, s);
    if (flags.labels) pointLabels(m, layer);
    if (flags.colors && (!chosen || layer == chosenLayer)) colourSourceLabels(m, layer);
  }
  if (!chosen) {
    if (flags.labels) loosePointLabels(m);
    if (flags.colors) modelColourLabels(m);
  }
  glDepthRange(0.0, 1.0);
  if (chosenLayer != nullptr && render->layerOutline) drawLayerOutline(m, chosenLayer);
  glPopAttrib();
}

GlCamera currentGlCamera() {
  GlCamera camera;
  glGetDoublev(GL_MODELVIEW_MATRIX, camera.modelView);
  glGetDoublev(GL_PROJECTION_MATRIX, camera.projection);
  glGetIntegerv(GL_VIEWPORT, camera.viewport);
  return camera;
}

bool projectToWindow(const GlCamera& camera, double x, double y, double z, double out[3]) {
  return gluProject(x, y, z, camera.modelView, camera.projection, camera.viewport, &out[0],
                    &out[1], &out[2]) == GL_TRUE;
}

void pushFlatLines() {
  glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT | GL_LINE_BIT);
  glDisable(GL_LIGHTING);
  glDisable(GL_TEXTURE_2D);
  glDisable(GL_DEPTH_TEST);
  glDisable(GL_BLEND);
  glLineWidth(1.0f);
}
