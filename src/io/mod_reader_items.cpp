// The .mod reader's lines with many fields: images, child models and
// collide objects.
#include <cstring>

#include "io/mod_reader_state.h"
#include "io/texture_files.h"
#include "model/children.h"
#include "model/geometry.h"
#include "model/last_error.h"
#include "model/model.h"

namespace {

bool fail(const char* message) {
  lastErrorReport(message);
  return false;
}

bool intAt(const LineTokens& t, int i, int32_t* out) {
  return i < t.stored && tokenInt(t.word[i], t.length[i], out);
}

bool floatsAt(const LineTokens& t, int first, int n, float* out) {
  for (int i = 0; i < n; ++i) {
    const int k = first + i;
    if (k >= t.stored || !tokenFloat(t.word[k], t.length[k], out + i)) return false;
  }
  return true;
}

bool is(const char* word, const char* expected) {
  return std::strcmp(word, expected) == 0;
}

Image* imageOf(const ModParseState& s, int32_t number) {
  const Layer* layer = findLayer(s.model, s.layer);
  return layer ? tableFindT<Image>(&layer->images, number) : nullptr;
}

// A texture that does not load leaves its image in place, unloaded, with
// the reason in LastError for the status line; only an image that could
// not be made at all fails the line.
bool addImageKept(ModParseState& s, int32_t number, const char* file,
                  int32_t mode, int32_t axisU, int32_t axisV, float strength) {
  // A path longer than an image keeps is no reason to lose the model: the
  // image stays without its texture (where its mode allows one without),
  // and the status line says why.
  if (std::strlen(file) >= static_cast<size_t>(kNameBytes)) {
    addImageFromFiles(s.model, s.layer, number, "none", mode, axisU, axisV, strength);
    lastErrorReportf("image file name too long: %s", file);
    return true;
  }
  if (addImageFromFiles(s.model, s.layer, number, file, mode, axisU, axisV,
                        strength))
    return true;
  return imageOf(s, number) != nullptr;
}

bool axesAt(const LineTokens& t, int first, int32_t* u, int32_t* v) {
  *u = axisCodeFromWord(t.word[first]);
  *v = axisCodeFromWord(t.word[first + 1]);
  if (*u == kAxisNone || *v == kAxisNone) return fail("Bad image axis definition");
  return true;
}

// image N invisible R G B
bool invisibleImage(ModParseState& s, const LineTokens& t, int32_t number) {
  float rgb[3];
  if (t.count < 6 || !floatsAt(t, 3, 3, rgb)) return fail("Bad image definition");
  // Images without a mode line (cube and normal maps) are first named here.
  if (imageOf(s, number) == nullptr &&
      !addImageKept(s, number, "none", 0, kAxisX, kAxisY, 1.0f))
    return false;
  return setInvisibleColour(s.model, s.layer, number, rgb[0], rgb[1], rgb[2]);
}

// image N FILE MODE ...
bool numberedImage(ModParseState& s, const LineTokens& t, int32_t number) {
  static const char* const kBad = "Bad image definition";
  const char* file = t.word[2];
  if (is(file, "invisible")) return invisibleImage(s, t, number);
  const char* mode = t.word[3];
  float strength = 1.0f;
  int32_t u = kAxisX, v = kAxisY;
  if (is(mode, "decal") || is(mode, "smooth") || is(mode, "displace")) {
    const bool displace = is(mode, "displace");
    if (t.count < (displace ? 7 : 6)) return fail(kBad);
    if (!axesAt(t, 4, &u, &v)) return false;
    if (t.count >= 7 && !floatsAt(t, 6, 1, &strength)) return fail(kBad);
    const int32_t code = displace ? kImageDisplace
                         : is(mode, "decal") ? kImageDecal
                                             : kImageSmooth;
    return addImageKept(s, number, file, code, u, v, strength);
  }
  if (is(mode, "reflect") || is(mode, "additive") || is(mode, "normal") ||
      is(mode, "cubemap")) {
    if (t.count >= 5 && !floatsAt(t, 4, 1, &strength)) return fail(kBad);
    const int32_t code = is(mode, "reflect")    ? kImageReflect
                         : is(mode, "additive") ? kImageAdditive
                         : is(mode, "normal")   ? kImageNormalMap
                                                : kImageCubeMap;
    return addImageKept(s, number, file, code, 0, 0, strength);
  }
  if (is(mode, "mirror"))
    return addImageKept(s, number, file, kImageSelectMirror, 0, 0, 0.0f);
  if (is(mode, "alpha"))
    return addImageKept(s, number, file, kImageSelectAlpha, 0, 0, 0.0f);
  return fail(kBad);
}

// image FILE AXIS AXIS: the older form, appended as a smooth image. A
// reflect image stays last: the new image takes its number and the reflect
// image moves up one.
bool appendedImage(ModParseState& s, const LineTokens& t) {
  int32_t u, v;
  if (!axesAt(t, 2, &u, &v)) return false;
  int32_t number = nextImageNumber(s);
  Layer* layer = findLayer(s.model, s.layer);
  if (number > 1) {
    Image* last = tableFindT<Image>(&layer->images, number - 1);
    if (last->mode == kImageReflect) {
      Image* moved = tableInsertT<Image>(&layer->images, number);
      if (moved == nullptr) return fail("out of memory");
      *moved = *tableFindT<Image>(&layer->images, number - 1);
      tableRemove(&layer->images, number - 1);  // its tables went with it
      touchLayer(s.model, layer);
      --number;
    }
  }
  return addImageKept(s, number, t.word[1], kImageSmooth, u, v, 1.0f);
}

// Rows of the rotation are the named axes.
bool rotationFromAxes(const LineTokens& t, int first, float rotation[9]) {
  for (int row = 0; row < 3; ++row) {
    const int32_t code = axisCodeFromWord(t.word[first + row]);
    if (code == kAxisNone) return false;
    const int axis = (code - 1) % 3;
    const float sign = code > kAxisZ ? -1.0f : 1.0f;
    for (int c = 0; c < 3; ++c) rotation[row * 3 + c] = c == axis ? sign : 0.0f;
  }
  return true;
}

int32_t shapeFromWord(const char* word) {
  static const char* const kShapes[] = {"box",      "sphere", "capsule",
                                        "cylinder", "mesh",   "plane"};
  for (int i = 0; i < 6; ++i) {
    if (is(word, kShapes[i])) return kShapeBox + i;
  }
  return 0;
}

}  // namespace

bool imageLine(ModParseState& s, const LineTokens& t) {
  if (t.count < 4 || s.layer[0] == '\0') return fail("Bad image definition");
  int32_t number;
  if (intAt(t, 1, &number) && number >= 1 && number <= 9)
    return numberedImage(s, t, number);
  return appendedImage(s, t);
}

// child NAME PX PY PZ SX SY SZ A1 A2 A3, or
// child NAME PX PY PZ R0 ... R8 SX SY SZ [JOINT]
bool childLine(ModParseState& s, const LineTokens& t) {
  static const char* const kBad = "Bad child data";
  float position[3], scale[3], rotation[9];
  const char* joint = nullptr;
  if (t.count == 11) {
    if (!floatsAt(t, 2, 3, position) || !floatsAt(t, 5, 3, scale) ||
        !rotationFromAxes(t, 8, rotation))
      return fail(kBad);
  } else if (t.count >= 17) {
    if (!floatsAt(t, 2, 3, position) || !floatsAt(t, 5, 9, rotation) ||
        !floatsAt(t, 14, 3, scale))
      return fail(kBad);
    if (t.count >= 18) joint = t.word[17];
  } else {
    return fail(kBad);
  }
  // A zero scale or an overlong name or joint is refused by addChild.
  if (addChild(s.model, nullptr, t.word[1], position, scale, rotation, joint,
               1.0f) == 0)
    return fail(kBad);
  return true;
}

// collide NAME SHAPE PX PY PZ SX SY SZ R0 ... R8 [WEIGHT [FRICTION [BOUNCE
// [DYNAMIC]]]]
bool collideLine(ModParseState& s, const LineTokens& t) {
  static const char* const kBad = "Bad collide object definition";
  float position[3], size[3], rotation[9];
  float extra[3] = {1.0f, 0.0f, 0.0f};  // weight, friction, bounce
  int32_t dynamic = 1;
  if (t.count < 18) return fail(kBad);
  const int32_t shape = shapeFromWord(t.word[2]);
  if (shape == 0 || !floatsAt(t, 3, 3, position) || !floatsAt(t, 6, 3, size) ||
      !floatsAt(t, 9, 9, rotation))
    return fail(kBad);
  for (int i = 0; i < 3 && 18 + i < t.count; ++i) {
    if (!floatsAt(t, 18 + i, 1, extra + i)) return fail(kBad);
  }
  if (t.count >= 22 && !intAt(t, 21, &dynamic)) return fail(kBad);
  if (addCollide(s.model, t.word[1], shape, position, size, rotation, extra[0],
                 extra[1], extra[2], dynamic) == 0)
    return fail(kBad);
  return true;
}
