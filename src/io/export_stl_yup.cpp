// STL in the y-up file space, faces wound as they face: the right-handed
// ASCII variant and binary STL. Child models are written through their
// placement and mirroring layers with their reflection; positions stay
// where they are (no move to the origin).
#include "io/export_stl_yup.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "io/export_scene.h"
#include "io/export_support.h"
#include "io/text_out.h"
#include "model/last_error.h"
#include "model/transform.h"

namespace {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "binary writers copy floats and integers as they lie in memory");

// Every triangle of the model in file space: visit(a, b, c) with the three
// positions. False with LastError for a polygon that names a missing point.
template <class Visit>
bool eachFileTriangle(const Model* model, Visit visit) {
  int32_t missing = 0;
  const bool complete =
      forEachFlatHalf(placeModels(model), [&](const HalfView& view) {
        forEachHalfTriangle(view, [&](int32_t a, int32_t b, int32_t c) {
          float pa[3], pb[3], pc[3];
          const int32_t lost = !cornerPosition(view, a, pa)   ? a
                               : !cornerPosition(view, b, pb) ? b
                               : !cornerPosition(view, c, pc) ? c
                                                              : 0;
          if (lost == 0) {
            visit(pa, pb, pc);
          } else if (missing == 0) {
            missing = lost;
          }
        });
        return missing == 0;
      });
  if (!complete) lastErrorReportf("point not found: %d", missing);
  return complete;
}

void triple(TextOut* out, const float v[3]) {
  outFloatList(out, v, 3);
  outChar(out, '\n');
}

}  // namespace

bool writeStlYUp(const Model* model, const char* path, const char* title) {
  TextOut out;
  if (!beginStlText(&out, path, title)) return false;
  const bool complete =
      eachFileTriangle(model, [&](const float* a, const float* b,
                                  const float* c) {
        float n[3];
        triangleNormal(a, b, c, n);
        outLiteral(&out, "  facet normal ");
        triple(&out, n);
        outLiteral(&out, "    outer loop\n");
        for (const float* p : {a, b, c}) {
          outLiteral(&out, "      vertex ");
          triple(&out, p);
        }
        outLiteral(&out, "    endloop\n  endfacet\n");
      });
  if (!complete) {
    textOutAbort(&out);
    return false;
  }
  return endStlText(&out, title);
}

bool writeStlBinary(const Model* model, const char* path, const char* title) {
  const int64_t triangles = exportedTriangles(placeModels(model));
  if (triangles > int64_t{UINT32_MAX}) {
    lastErrorReportf("could not write: %s (more than %u triangles)", path,
                     UINT32_MAX);
    return false;
  }
  TextOut out;
  if (!textOutOpen(&out, path)) return false;
  // The header must not begin with "solid", or readers take the file for
  // ASCII STL.
  char header[80] = {};
  std::snprintf(header, sizeof header, "binary STL from modelr: %s", title);
  outChars(&out, header, sizeof header);
  const uint32_t count = static_cast<uint32_t>(triangles);
  outChars(&out, reinterpret_cast<const char*>(&count), 4);
  uint32_t written = 0;
  const bool complete =
      eachFileTriangle(model, [&](const float* a, const float* b,
                                  const float* c) {
        char record[50];
        float n[3];
        triangleNormal(a, b, c, n);
        std::memcpy(record, n, 12);
        std::memcpy(record + 12, a, 12);
        std::memcpy(record + 24, b, 12);
        std::memcpy(record + 36, c, 12);
        record[48] = record[49] = 0;  // no attributes
        if (!allFinite(a, 3) || !allFinite(b, 3) || !allFinite(c, 3)) out.nonFinite = true;
        outChars(&out, record, sizeof record);
        ++written;
      });
  if (!complete || written != count) {
    if (complete) lastErrorReportf("could not write: %s", path);
    textOutAbort(&out);
    return false;
  }
  return textOutCommit(&out);
}
