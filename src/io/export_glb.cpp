// glTF 2.0 binary (.glb): a node for the model and one for each child
// model, placed as the child is; under each, one node and mesh per layer
// with content (its reflection in the same mesh), a material from the
// layer's colour, opacity, sides and first image (embedded as PNG). Data
// is y-up (export_scene.h); a child's node carries its placement turned
// the same way, so the file places it as the view does.
//
// The JSON needs every length and each position accessor's bounds before
// the binary chunk, so a first pass measures and a second one writes.
#include "io/export_glb.h"

#include <cmath>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "io/export_scene.h"
#include "io/json_text.h"
#include "io/png_out.h"
#include "io/text_out.h"
#include "model/last_error.h"
#include "model/transform.h"

namespace {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "binary writers copy floats and integers as they lie in memory");

constexpr int32_t kFloat = 5126, kUnsignedInt = 5125;
constexpr int32_t kArrayBuffer = 34962, kElementArrayBuffer = 34963;

struct GlbMesh {
  int32_t placed;
  const Layer* layer;
  int64_t vertices = 0, triangles = 0, segments = 0;
  bool normals = false, uvs = false, colours = false;
  double min[3] = {0, 0, 0}, max[3] = {0, 0, 0};
  int32_t image = -1;  // index into the pictures
  int32_t firstAccessor = 0;
  size_t firstSlot = 0;            // its halves' points in the plan's slots
  size_t perHalf[2] = {0, 0};
};

struct GlbPlan {
  std::vector<PlacedModel> placed;
  std::vector<GlbMesh> meshes;
  std::vector<std::vector<unsigned char>> pictures;  // PNG files
  std::map<const Image*, int32_t> pictureOf;
  std::vector<int32_t> slots;  // every mesh's halves' points, one after another
  int64_t binaryBytes = 0;
  int32_t accessors = 0;  // also the buffer views before the pictures'
};

inline int64_t padded(int64_t n) { return (n + 3) & ~int64_t{3}; }

// The display colour as glTF wants it: linear light.
inline float linear(float c) {
  return c <= 0.04045f ? c / 12.92f
                       : static_cast<float>(std::pow((c + 0.055) / 1.055, 2.4));
}

bool hasContent(const Layer* layer) {
  return tableCount(&layer->triangles) > 0 || tableCount(&layer->lines) > 0;
}

int64_t segmentsOf(const Layer* layer) {
  int64_t n = 0;
  const KeyedTable* lines = &layer->lines;
  for (int32_t s = tableNextSlot(lines, -1); s >= 0; s = tableNextSlot(lines, s)) {
    const int32_t count = tableAt<Line>(lines, s)->count;
    if (count >= 2) n += count - 1;
  }
  return n;
}

bool measureMesh(GlbPlan* plan, GlbMesh* mesh, HalfPoints* points) {
  const PlacedModel& p = plan->placed[static_cast<size_t>(mesh->placed)];
  bool first = true;
  mesh->firstSlot = plan->slots.size();
  for (int32_t h = 0; h < layerHalves(mesh->layer); ++h) {
    HalfView v;
    viewHalf(p.model, mesh->layer, h, yUpTurn(), &v);
    if (!collectHalfPoints(v, true, points)) return false;
    mesh->vertices += static_cast<int64_t>(points->slots.size());
    plan->slots.insert(plan->slots.end(), points->slots.begin(), points->slots.end());
    mesh->perHalf[h] = points->slots.size();
    for (int32_t slot : points->slots) {
      float xyz[3];
      slotPosition(v, slot, xyz);
      for (int k = 0; k < 3; ++k) {
        if (first || xyz[k] < mesh->min[k]) mesh->min[k] = xyz[k];
        if (first || xyz[k] > mesh->max[k]) mesh->max[k] = xyz[k];
      }
      first = false;
    }
    forEachHalfTriangle(v, [&](int32_t, int32_t, int32_t) { ++mesh->triangles; });
    mesh->segments += segmentsOf(mesh->layer);
    mesh->normals = mesh->normals || halfHasStoredNormals(v);
    mesh->colours = mesh->colours || halfHasColourEntries(v);
    mesh->uvs = halfHasUvees(v);
    const Image* image = v.image;
    if (h == 0 && image != nullptr && image->main.loaded &&
        image->main.pixels != nullptr) {
      auto known = plan->pictureOf.find(image);
      if (known != plan->pictureOf.end()) {
        mesh->image = known->second;
      } else {
        std::vector<unsigned char> png;
        if (encodePng(image->main.pixels, image->main.width,
                      image->main.height, &png)) {
          mesh->image = static_cast<int32_t>(plan->pictures.size());
          plan->pictureOf[image] = mesh->image;
          plan->pictures.push_back(std::move(png));
        }
      }
    }
  }
  return true;
}

// Bytes of each array of a mesh, in the order they lie in the buffer.
struct Arrays {
  int64_t bytes[6];
};
Arrays arraysOf(const GlbMesh& m) {
  return {{12 * m.vertices, m.normals ? 12 * m.vertices : 0,
           m.uvs ? 8 * m.vertices : 0, m.colours ? 16 * m.vertices : 0,
           12 * m.triangles, 8 * m.segments}};
}

bool measure(const Model* model, GlbPlan* plan) {
  plan->placed = placeModels(model);
  HalfPoints points;
  for (size_t i = 0; i < plan->placed.size(); ++i) {
    const KeyedTable* layers = &plan->placed[i].model->layers;
    for (int32_t l = tableNextSlot(layers, -1); l >= 0; l = tableNextSlot(layers, l)) {
      const Layer* layer = tableAt<Layer>(layers, l);
      if (!hasContent(layer)) continue;
      GlbMesh mesh;
      mesh.placed = static_cast<int32_t>(i);
      mesh.layer = layer;
      if (!measureMesh(plan, &mesh, &points)) return false;
      if (mesh.vertices == 0) continue;
      plan->meshes.push_back(mesh);
    }
  }
  for (const GlbMesh& m : plan->meshes)
    for (int64_t b : arraysOf(m).bytes) plan->binaryBytes += b;
  for (const auto& png : plan->pictures)
    plan->binaryBytes += padded(static_cast<int64_t>(png.size()));
  return true;
}

void accessor(JsonText* j, int32_t view, int32_t type, int64_t count,
              const char* shape) {
  jsonOpen(j, nullptr, '{');
  jsonInt(j, "bufferView", view);
  jsonInt(j, "componentType", type);
  jsonInt(j, "count", count);
  jsonString(j, "type", shape);
}

// The accessors, one buffer view each, in buffer order; sets each mesh's
// first accessor.
void accessorsAndViews(GlbPlan* plan, JsonText* j) {
  JsonText views;
  jsonOpen(&views, nullptr, '[');
  jsonOpen(j, "accessors", '[');
  int64_t at = 0;
  int32_t next = 0;
  static const char* const kShapes[6] = {"VEC3", "VEC3", "VEC2", "VEC4",
                                         "SCALAR", "SCALAR"};
  for (GlbMesh& m : plan->meshes) {
    m.firstAccessor = next;
    const Arrays a = arraysOf(m);
    for (int k = 0; k < 6; ++k) {
      if (a.bytes[k] == 0) continue;
      const bool indices = k >= 4;
      const int64_t count = k == 4 ? 3 * m.triangles : k == 5 ? 2 * m.segments : m.vertices;
      accessor(j, next, indices ? kUnsignedInt : kFloat, count, kShapes[k]);
      if (k == 0) {
        jsonNumbers(j, "min", m.min, 3);
        jsonNumbers(j, "max", m.max, 3);
      }
      jsonClose(j);
      jsonOpen(&views, nullptr, '{');
      jsonInt(&views, "buffer", 0);
      jsonInt(&views, "byteOffset", at);
      jsonInt(&views, "byteLength", a.bytes[k]);
      jsonInt(&views, "target", indices ? kElementArrayBuffer : kArrayBuffer);
      jsonClose(&views);
      at += a.bytes[k];
      ++next;
    }
  }
  jsonClose(j);
  plan->accessors = next;
  for (const auto& png : plan->pictures) {
    jsonOpen(&views, nullptr, '{');
    jsonInt(&views, "buffer", 0);
    jsonInt(&views, "byteOffset", at);
    jsonInt(&views, "byteLength", static_cast<int64_t>(png.size()));
    jsonClose(&views);
    at += padded(static_cast<int64_t>(png.size()));
  }
  jsonClose(&views);
  j->text += ",\"bufferViews\":" + views.text;
}

void meshes(const GlbPlan& plan, JsonText* j) {
  jsonOpen(j, "meshes", '[');
  for (const GlbMesh& m : plan.meshes) {
    jsonOpen(j, nullptr, '{');
    jsonString(j, "name", m.layer->name);
    jsonOpen(j, "primitives", '[');
    int32_t a = m.firstAccessor;
    const int32_t position = a++;
    const int32_t normal = m.normals ? a++ : -1;
    const int32_t uv = m.uvs ? a++ : -1;
    const int32_t colour = m.colours ? a++ : -1;
    const int32_t triangles = m.triangles > 0 ? a++ : -1;
    const int32_t lines = m.segments > 0 ? a++ : -1;
    for (int32_t indices : {triangles, lines}) {
      if (indices < 0) continue;
      jsonOpen(j, nullptr, '{');
      jsonOpen(j, "attributes", '{');
      jsonInt(j, "POSITION", position);
      if (normal >= 0) jsonInt(j, "NORMAL", normal);
      if (uv >= 0) jsonInt(j, "TEXCOORD_0", uv);
      if (colour >= 0) jsonInt(j, "COLOR_0", colour);
      jsonClose(j);
      jsonInt(j, "indices", indices);
      jsonInt(j, "material", &m - plan.meshes.data());
      jsonInt(j, "mode", indices == triangles ? 4 : 1);
      jsonClose(j);
    }
    jsonClose(j);
    jsonClose(j);
  }
  jsonClose(j);
}

void materials(const GlbPlan& plan, JsonText* j) {
  jsonOpen(j, "materials", '[');
  for (const GlbMesh& m : plan.meshes) {
    HalfView v;
    viewHalf(plan.placed[static_cast<size_t>(m.placed)].model, m.layer, 0,
             yUpTurn(), &v);
    jsonOpen(j, nullptr, '{');
    jsonString(j, "name", m.layer->name);
    jsonOpen(j, "pbrMetallicRoughness", '{');
    // With vertex colours the corners carry the whole colour.
    double factor[4] = {1.0, 1.0, 1.0, 1.0};
    if (!m.colours) {
      for (int k = 0; k < 3; ++k) factor[k] = linear(v.fallback[k]);
      factor[3] = v.fallback[3];
    }
    jsonNumbers(j, "baseColorFactor", factor, 4);
    jsonNumber(j, "metallicFactor", 0.0);
    jsonNumber(j, "roughnessFactor", 1.0);
    if (m.image >= 0) {
      jsonOpen(j, "baseColorTexture", '{');
      jsonInt(j, "index", m.image);
      jsonClose(j);
    }
    jsonClose(j);
    jsonBool(j, "doubleSided", m.layer->singleSided == 0);
    if (m.layer->opacity < 1.0f || m.layer->transparent)
      jsonString(j, "alphaMode", "BLEND");
    jsonClose(j);
  }
  jsonClose(j);
}

void nodes(const GlbPlan& plan, JsonText* j) {
  const int32_t firstMeshNode = static_cast<int32_t>(plan.placed.size());
  const Affine turn = yUpTurn(), back = yUpTurnInverse();
  jsonOpen(j, "nodes", '[');
  for (size_t i = 0; i < plan.placed.size(); ++i) {
    const PlacedModel& p = plan.placed[i];
    jsonOpen(j, nullptr, '{');
    jsonString(j, "name", p.child ? p.child->name : p.model->name);
    if (p.child != nullptr) {
      const Affine m = composeAffine(turn, composeAffine(p.local, back));
      // Column by column.
      const double columns[16] = {m.m[0], m.m[4], m.m[8],  0, m.m[1], m.m[5],
                                  m.m[9], 0,      m.m[2],  m.m[6], m.m[10], 0,
                                  m.m[3], m.m[7], m.m[11], 1};
      jsonNumbers(j, "matrix", columns, 16);
    }
    std::vector<int32_t> children;
    for (size_t k = 0; k < plan.meshes.size(); ++k)
      if (plan.meshes[k].placed == static_cast<int32_t>(i))
        children.push_back(firstMeshNode + static_cast<int32_t>(k));
    for (size_t k = i + 1; k < plan.placed.size(); ++k)
      if (plan.placed[k].parent == static_cast<int32_t>(i))
        children.push_back(static_cast<int32_t>(k));
    if (!children.empty()) {
      jsonOpen(j, "children", '[');
      for (int32_t c : children) jsonInt(j, nullptr, c);
      jsonClose(j);
    }
    jsonClose(j);
  }
  for (size_t k = 0; k < plan.meshes.size(); ++k) {
    jsonOpen(j, nullptr, '{');
    jsonString(j, "name", plan.meshes[k].layer->name);
    jsonInt(j, "mesh", static_cast<int64_t>(k));
    jsonClose(j);
  }
  jsonClose(j);
}

std::string json(GlbPlan* plan) {
  JsonText j;
  jsonOpen(&j, nullptr, '{');
  jsonOpen(&j, "asset", '{');
  jsonString(&j, "version", "2.0");
  jsonString(&j, "generator", "modelr");
  jsonClose(&j);
  jsonInt(&j, "scene", 0);
  jsonOpen(&j, "scenes", '[');
  jsonOpen(&j, nullptr, '{');
  jsonOpen(&j, "nodes", '[');
  jsonInt(&j, nullptr, 0);
  jsonClose(&j);
  jsonClose(&j);
  jsonClose(&j);
  nodes(*plan, &j);
  if (!plan->meshes.empty()) {
    accessorsAndViews(plan, &j);
    meshes(*plan, &j);
    materials(*plan, &j);
    jsonOpen(&j, "buffers", '[');
    jsonOpen(&j, nullptr, '{');
    jsonInt(&j, "byteLength", plan->binaryBytes);
    jsonClose(&j);
    jsonClose(&j);
  }
  if (!plan->pictures.empty()) {
    jsonOpen(&j, "samplers", '[');
    jsonOpen(&j, nullptr, '{');
    jsonInt(&j, "magFilter", 9729);  // linear
    jsonInt(&j, "minFilter", 9987);  // linear, mipmaps linear
    jsonClose(&j);
    jsonClose(&j);
    // The pictures' buffer views follow the accessors' ones.
    jsonOpen(&j, "images", '[');
    for (size_t k = 0; k < plan->pictures.size(); ++k) {
      jsonOpen(&j, nullptr, '{');
      jsonInt(&j, "bufferView", plan->accessors + static_cast<int64_t>(k));
      jsonString(&j, "mimeType", "image/png");
      jsonClose(&j);
    }
    jsonClose(&j);
    jsonOpen(&j, "textures", '[');
    for (size_t k = 0; k < plan->pictures.size(); ++k) {
      jsonOpen(&j, nullptr, '{');
      jsonInt(&j, "sampler", 0);
      jsonInt(&j, "source", static_cast<int64_t>(k));
      jsonClose(&j);
    }
    jsonClose(&j);
  }
  jsonClose(&j);
  if (!j.finite) return std::string();
  return j.text;
}

}  // namespace

namespace {

void put32(TextOut* out, uint32_t v) {
  outChars(out, reinterpret_cast<const char*>(&v), 4);
}

// The binary chunk's arrays of one mesh, in buffer order. Bytes written
// are counted, so that a plan the data does not follow is caught.
void writeMesh(TextOut* out, const GlbPlan& plan, const GlbMesh& m,
               HalfPoints points[2], std::vector<float>* normals,
               int64_t* written) {
  const PlacedModel& p = plan.placed[static_cast<size_t>(m.placed)];
  HalfView views[2];
  const int32_t halves = layerHalves(m.layer);
  // The points measure() collected: no corner is looked at again.
  const int32_t* slots = plan.slots.data() + m.firstSlot;
  for (int32_t h = 0; h < halves; ++h) {
    viewHalf(p.model, m.layer, h, yUpTurn(), &views[h]);
    adoptHalfPoints(views[h], slots, m.perHalf[h], &points[h]);
    slots += m.perHalf[h];
  }
  auto put = [&](const void* data, size_t bytes) {
    outChars(out, static_cast<const char*>(data), bytes);
    *written += static_cast<int64_t>(bytes);
  };
  for (int32_t h = 0; h < halves; ++h) {
    for (int32_t slot : points[h].slots) {
      float xyz[3];
      slotPosition(views[h], slot, xyz);
      if (!allFinite(xyz, 3)) out->nonFinite = true;
      put(xyz, 12);
    }
  }
  if (m.normals) {
    for (int32_t h = 0; h < halves; ++h) {
      halfVertexNormals(views[h], points[h], normals);
      put(normals->data(), normals->size() * sizeof(float));
    }
  }
  if (m.uvs) {
    for (int32_t h = 0; h < halves; ++h) {
      for (int32_t slot : points[h].slots) {
        float uv[2] = {0.0f, 0.0f};
        cornerUv(views[h], slotNumber(views[h], slot), uv);
        put(uv, 8);
      }
    }
  }
  if (m.colours) {
    for (int32_t h = 0; h < halves; ++h) {
      for (int32_t slot : points[h].slots) {
        float rgba[4];
        cornerColour(views[h], slotNumber(views[h], slot), rgba);
        for (int k = 0; k < 3; ++k) rgba[k] = linear(rgba[k]);
        put(rgba, 16);
      }
    }
  }
  uint32_t base = 0;
  for (int32_t h = 0; h < halves; ++h) {
    forEachHalfTriangle(views[h], [&](int32_t a, int32_t b, int32_t c) {
      const uint32_t corners[3] = {
          base + static_cast<uint32_t>(halfPointIndex(views[h], points[h], a)),
          base + static_cast<uint32_t>(halfPointIndex(views[h], points[h], b)),
          base + static_cast<uint32_t>(halfPointIndex(views[h], points[h], c))};
      put(corners, 12);
    });
    base += static_cast<uint32_t>(points[h].slots.size());
  }
  base = 0;
  for (int32_t h = 0; h < halves; ++h) {
    const KeyedTable* lines = &m.layer->lines;
    for (int32_t s = tableNextSlot(lines, -1); s >= 0; s = tableNextSlot(lines, s)) {
      const Line* line = tableAt<Line>(lines, s);
      const int32_t* corners = polygonPoints(line);
      for (int32_t i = 0; i + 1 < line->count; ++i) {
        const uint32_t ends[2] = {
            base + static_cast<uint32_t>(halfPointIndex(views[h], points[h], corners[i])),
            base + static_cast<uint32_t>(halfPointIndex(views[h], points[h], corners[i + 1]))};
        put(ends, 8);
      }
    }
    base += static_cast<uint32_t>(points[h].slots.size());
  }
}

}  // namespace

bool writeGlb(const Model* model, const char* path, const char*) {
  GlbPlan plan;
  if (!measure(model, &plan)) return false;
  for (const GlbMesh& m : plan.meshes) {
    if (m.vertices > UINT32_MAX) {
      lastErrorReportf("could not write: %s (a layer of more than %u vertices)",
                       path, UINT32_MAX);
      return false;
    }
  }
  std::string text = json(&plan);
  if (text.empty()) {
    lastErrorReportf("could not write: %s (a number is not finite)", path);
    return false;
  }
  text.append(static_cast<size_t>(padded(static_cast<int64_t>(text.size())) -
                                  static_cast<int64_t>(text.size())), ' ');
  const int64_t binary = plan.meshes.empty() ? 0 : 8 + plan.binaryBytes;
  const int64_t total = 12 + 8 + static_cast<int64_t>(text.size()) + binary;
  if (total > int64_t{UINT32_MAX}) {
    lastErrorReportf("could not write: %s (more than 4 GiB)", path);
    return false;
  }
  TextOut out;
  if (!textOutOpen(&out, path)) return false;
  put32(&out, 0x46546C67);  // "glTF"
  put32(&out, 2);
  put32(&out, static_cast<uint32_t>(total));
  put32(&out, static_cast<uint32_t>(text.size()));
  put32(&out, 0x4E4F534A);  // "JSON"
  outChars(&out, text.data(), text.size());
  if (binary > 0) {
    put32(&out, static_cast<uint32_t>(plan.binaryBytes));
    put32(&out, 0x004E4942);  // "BIN"
    int64_t written = 0;
    HalfPoints points[2];
    std::vector<float> normals;
    for (const GlbMesh& m : plan.meshes)
      writeMesh(&out, plan, m, points, &normals, &written);
    for (const auto& png : plan.pictures) {
      outChars(&out, reinterpret_cast<const char*>(png.data()), png.size());
      static const char kZeros[4] = {0, 0, 0, 0};
      const int64_t pad = padded(static_cast<int64_t>(png.size())) -
                          static_cast<int64_t>(png.size());
      outChars(&out, kZeros, static_cast<size_t>(pad));
      written += static_cast<int64_t>(png.size()) + pad;
    }
    if (written != plan.binaryBytes) {
      textOutAbort(&out);
      lastErrorReportf("could not write: %s (the data did not match its plan)", path);
      return false;
    }
  }
  return textOutCommit(&out);
}
