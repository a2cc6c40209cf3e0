// DirectX .x text export ("xof 0303txt 0032"). The model's right-handed,
// z-up space becomes the file's left-handed space by negating z; the
// winding is kept, which the reflection turns into the clockwise front
// faces the format expects.
#include "io/export_x.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <utility>
#include <vector>

#include "io/export_support.h"
#include "io/exporters.h"
#include "io/text_out.h"
#include "model/geometry.h"
#include "model/last_error.h"

namespace {

// The declarations of the standard templates the file uses, with the
// identifiers the format publishes for them.
const char kTemplates[] =
    "\n"
    "template Header {\n"
    " <3D82AB43-62DA-11cf-AB39-0020AF71E433>\n"
    " WORD major;\n"
    " WORD minor;\n"
    " DWORD flags;\n"
    "}\n"
    "\n"
    "template Vector {\n"
    " <3D82AB5E-62DA-11cf-AB39-0020AF71E433>\n"
    " FLOAT x;\n"
    " FLOAT y;\n"
    " FLOAT z;\n"
    "}\n"
    "\n"
    "template Coords2d {\n"
    " <F6F23F44-7686-11cf-8F52-0040333594A3>\n"
    " FLOAT u;\n"
    " FLOAT v;\n"
    "}\n"
    "\n"
    "template Matrix4x4 {\n"
    " <F6F23F45-7686-11cf-8F52-0040333594A3>\n"
    " array FLOAT matrix[16];\n"
    "}\n"
    "\n"
    "template ColorRGBA {\n"
    " <35FF44E0-6C7C-11cf-8F52-0040333594A3>\n"
    " FLOAT red;\n"
    " FLOAT green;\n"
    " FLOAT blue;\n"
    " FLOAT alpha;\n"
    "}\n"
    "\n"
    "template MaterialWrap {\n"
    " <4885AE60-78E8-11cf-8F52-0040333594A3>\n"
    " Boolean u;\n"
    " Boolean v;\n"
    "}\n"
    "\n"
    "template TextureFilename {\n"
    " <A42790E1-7810-11cf-8F52-0040333594A3>\n"
    " STRING filename;\n"
    "}\n"
    "\n"
    "template Material {\n"
    " <3D82AB4D-62DA-11cf-AB39-0020AF71E433>\n"
    " ColorRGBA faceColor;\n"
    " FLOAT power;\n"
    " ColorRGB specularColor;\n"
    " ColorRGB emissiveColor;\n"
    " [...]\n"
    "}\n"
    "\n"
    "template MeshFace {\n"
    " <3D82AB5F-62DA-11cf-AB39-0020AF71E433>\n"
    " DWORD nFaceVertexIndices;\n"
    " array DWORD faceVertexIndices[nFaceVertexIndices];\n"
    "}\n"
    "\n"
    "template MeshFaceWraps {\n"
    " <4885AE62-78E8-11cf-8F52-0040333594A3>\n"
    " DWORD nFaceWrapValues;\n"
    " Boolean2d faceWrapValues;\n"
    "}\n"
    "\n"
    "template MeshNormals {\n"
    " <F6F23F43-7686-11cf-8F52-0040333594A3>\n"
    " DWORD nNormals;\n"
    " array Vector normals[nNormals];\n"
    " DWORD nFaceNormals;\n"
    " array MeshFace faceNormals[nFaceNormals];\n"
    "}\n"
    "\n"
    "template MeshVertexColors {\n"
    " <1630B821-7842-11cf-8F52-0040333594A3>\n"
    " DWORD nVertexColors;\n"
    " array IndexedColor vertexColors[nVertexColors];\n"
    "}\n"
    "\n"
    "template Mesh {\n"
    " <3D82AB44-62DA-11cf-AB39-0020AF71E433>\n"
    " DWORD nVertices;\n"
    " array Vector vertices[nVertices];\n"
    " DWORD nFaces;\n"
    " array MeshFace faces[nFaces];\n"
    " [...]\n"
    "}\n"
    "\n"
    "template FrameTransformMatrix {\n"
    " <F6F23F41-7686-11cf-8F52-0040333594A3>\n"
    " Matrix4x4 frameMatrix;\n"
    "}\n"
    "\n"
    "template Frame {\n"
    " <3D82AB46-62DA-11cf-AB39-0020AF71E433>\n"
    " [...]\n"
    "}\n";

// Material indices per line of a material list.
constexpr int kMaterialIndicesPerLine = 16;
// Layer colours given as 0..255, and the grey of a layer without colour.

// One mesh under construction; the vectors are reused from layer to layer.
struct Mesh {
  std::vector<int32_t> numbers;   // point number per vertex, ascending
  std::vector<double> positions;  // x y z per vertex, model space
  std::vector<int32_t> faces;     // three vertex indices per triangle
  std::vector<int32_t> used;      // point slots, first use order
  std::vector<std::pair<int32_t, int32_t>> sorted;  // number, slot
  std::vector<int32_t> buckets;   // point slot by number - lowest, or -1
  std::vector<double> smooth;     // accumulated face normals per vertex
  // Vertex index by point slot: -1 not in this mesh, -2 seen, not yet
  // numbered. Sized to the point table; only used entries are reset.
  std::vector<int32_t> vertexOfSlot;
};

// Ascending point numbers: by buckets when the numbers are dense (the
// usual 1..n), by sorting otherwise.
void orderVertices(const Model* model, Mesh* mesh) {
  const KeyedTable* points = &model->points;
  mesh->numbers.clear();
  if (mesh->used.empty()) return;
  int32_t lowest = INT32_MAX, highest = INT32_MIN;
  for (int32_t slot : mesh->used) {
    const int32_t number = tableIntKeyAt(points, slot);
    lowest = std::min(lowest, number);
    highest = std::max(highest, number);
  }
  const int64_t range = int64_t{highest} - lowest + 1;
  if (range <= 4 * static_cast<int64_t>(mesh->used.size()) + 64) {
    mesh->buckets.assign(static_cast<size_t>(range), -1);
    for (int32_t slot : mesh->used)
      mesh->buckets[tableIntKeyAt(points, slot) - lowest] = slot;
    mesh->used.clear();
    for (int32_t slot : mesh->buckets)
      if (slot >= 0) mesh->used.push_back(slot);
  } else {
    mesh->sorted.clear();
    for (int32_t slot : mesh->used)
      mesh->sorted.emplace_back(tableIntKeyAt(points, slot), slot);
    std::sort(mesh->sorted.begin(), mesh->sorted.end());
    mesh->used.clear();
    for (const auto& entry : mesh->sorted) mesh->used.push_back(entry.second);
  }
  mesh->positions.clear();
  for (size_t i = 0; i < mesh->used.size(); ++i) {
    const int32_t slot = mesh->used[i];
    mesh->vertexOfSlot[slot] = static_cast<int32_t>(i);
    mesh->numbers.push_back(tableIntKeyAt(points, slot));
    const Point* p = tableAt<Point>(points, slot);
    mesh->positions.insert(mesh->positions.end(), {p->x, p->y, p->z});
  }
}

// Marks the points of the polygons or lines as used. False when one is
// missing.
template <class T>
bool markPoints(const Model* model, const KeyedTable* items, Mesh* mesh) {
  for (int32_t s = tableNextSlot(items, -1); s >= 0;
       s = tableNextSlot(items, s)) {
    const T* item = tableAt<T>(items, s);
    for (int32_t i = 0; i < item->count; ++i) {
      const int32_t slot = tablePosition(&model->points, polygonPoints(item)[i], false);
      if (slot < 0) {
        lastErrorReportf("could not find: point %d", polygonPoints(item)[i]);
        return false;
      }
      if (mesh->vertexOfSlot[slot] == -1) {
        mesh->vertexOfSlot[slot] = -2;
        mesh->used.push_back(slot);
      }
    }
  }
  return true;
}

// Three vertex indices per triangle of every polygon read as a strip.
void decodeStrips(const Model* model, const Layer* layer, Mesh* mesh) {
  mesh->faces.clear();
  auto vertex = [&](int32_t number) {
    return mesh->vertexOfSlot[tablePosition(&model->points, number, false)];
  };
  forEachLayerTriangle(layer, [&](int32_t a, int32_t b, int32_t c) {
    mesh->faces.insert(mesh->faces.end(), {vertex(a), vertex(b), vertex(c)});
  });
}

// Collects the layer's vertices and triangles. False when a polygon or
// line names a missing point.
bool buildMesh(const Model* model, const Layer* layer, Mesh* mesh) {
  mesh->used.clear();
  const bool found = markPoints<Triangle>(model, &layer->triangles, mesh) &&
                     markPoints<Line>(model, &layer->lines, mesh);
  if (found) {
    orderVertices(model, mesh);
    decodeStrips(model, layer, mesh);
  }
  for (int32_t slot : mesh->used) mesh->vertexOfSlot[slot] = -1;
  return found;
}

bool hasContent(const Layer* layer) {
  return tableCount(&layer->triangles) > 0 || tableCount(&layer->lines) > 0;
}

// The image with the lowest number, or null.
const Image* firstImage(const Layer* layer) {
  const Image* first = nullptr;
  int32_t lowest = 0;
  const KeyedTable* images = &layer->images;
  for (int32_t s = tableNextSlot(images, -1); s >= 0;
       s = tableNextSlot(images, s)) {
    const int32_t number = tableIntKeyAt(images, s);
    if (first == nullptr || number < lowest) {
      first = tableAt<Image>(images, s);
      lowest = number;
    }
  }
  return first;
}

bool hasMaterial(const Layer* layer) {
  return hasContent(layer) && tableCount(&layer->images) > 0;
}

// Names become identifiers: anything but letters, digits and "_" is "_".
void outIdentifier(TextOut* out, const char* name) {
  for (const char* c = name; *c != '\0'; ++c) {
    const bool plain = (*c >= 'a' && *c <= 'z') || (*c >= 'A' && *c <= 'Z') ||
                       (*c >= '0' && *c <= '9') || *c == '_';
    outChar(out, plain ? *c : '_');
  }
}

// Adding 0 prints an exact -0 (a negated 0, a cross product) as 0.
void outValue(TextOut* out, double value) {
  outFixed(out, value + 0.0, 6);
  outChar(out, ';');
}

// "x;y;-z;" of a model-space vector.
void outVector(TextOut* out, const double v[3]) {
  outValue(out, v[0]);
  outValue(out, v[1]);
  outValue(out, -v[2]);
}

// Closes a list element: "," after all but the last, ";" after the last
// (the element itself ended in ";").
void outElementEnd(TextOut* out, bool last) { outChar(out, last ? ';' : ','); }

void outCountLine(TextOut* out, const char* indent, size_t count,
                  const char* what) {
  outText(out, indent);
  outInt(out, static_cast<int32_t>(count));
  outText(out, "; // ");
  outInt(out, static_cast<int32_t>(count));
  outText(out, what);
}

// The cross product of the triangle's edges b - a and c - a: the face
// normal, twice the triangle's area long.
void faceCross(const Mesh& mesh, size_t face, double n[3]) {
  const double* a = &mesh.positions[3 * mesh.faces[3 * face]];
  const double* b = &mesh.positions[3 * mesh.faces[3 * face + 1]];
  const double* c = &mesh.positions[3 * mesh.faces[3 * face + 2]];
  const double u[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
  const double w[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
  n[0] = u[1] * w[2] - u[2] * w[1];
  n[1] = u[2] * w[0] - u[0] * w[2];
  n[2] = u[0] * w[1] - u[1] * w[0];
}

void writeMaterials(TextOut* out, const Model* model) {
  int32_t number = 0;
  const KeyedTable* layers = &model->layers;
  for (int32_t s = tableNextSlot(layers, -1); s >= 0;
       s = tableNextSlot(layers, s)) {
    const Layer* layer = tableAt<Layer>(layers, s);
    if (!hasMaterial(layer)) continue;
    float rgb[3];
    layerColour(layer, rgb);
    outText(out, "\nMaterial material_");
    outInt(out, ++number);
    outText(out, " {\n\t");
    for (float c : rgb) outValue(out, c);
    outValue(out, layer->opacity);
    // Specular power and colour and emissive colour as the view lights.
    outText(out,
            "; // layer RGBA\n\t0.000000;\n\t0.000000;0.000000;0.000000;;"
            "\n\t0.000000;0.000000;0.000000;;\n\tTextureFilename {\n\t\t\"");
    outText(out, firstImage(layer)->main.file);
    outText(out, "\";\n\t}\n}\n");
  }
}

void writeVertices(TextOut* out, const Mesh& mesh) {
  const size_t count = mesh.numbers.size();
  outCountLine(out, "\t\t", count, " vertices\n");
  for (size_t i = 0; i < count; ++i) {
    outText(out, "\t\t");
    outVector(out, &mesh.positions[3 * i]);
    outElementEnd(out, i + 1 == count);
    outText(out, " // point ");
    outInt(out, mesh.numbers[i]);
    outChar(out, '\n');
  }
}

// "3;a,b,c;" lines; `sameIndex` names face f's corners f, f, f (flat
// normals) instead of its vertices.
void writeFaceList(TextOut* out, const Mesh& mesh, const char* indent,
                   bool sameIndex) {
  const size_t count = mesh.faces.size() / 3;
  for (size_t f = 0; f < count; ++f) {
    outText(out, indent);
    outText(out, "3;");
    for (int corner = 0; corner < 3; ++corner) {
      if (corner > 0) outChar(out, ',');
      outInt(out, sameIndex ? static_cast<int32_t>(f)
                            : mesh.faces[3 * f + corner]);
    }
    outChar(out, ';');
    outElementEnd(out, f + 1 == count);
    outChar(out, '\n');
  }
}

void writeFlatNormals(TextOut* out, const Mesh& mesh) {
  const size_t count = mesh.faces.size() / 3;
  outText(out, "\n\t\tMeshNormals {\n\t\t\t");
  outInt(out, static_cast<int32_t>(count));
  outText(out, "; // 1 normal per triangle\n");
  for (size_t f = 0; f < count; ++f) {
    double n[3];
    faceCross(mesh, f, n);
    normalise(n);
    outText(out, "\t\t\t");
    outVector(out, n);
    outElementEnd(out, f + 1 == count);
    outText(out, " // flat normal\n");
  }
  outChar(out, '\n');
  outCountLine(out, "\t\t\t", count, " faces\n");
  writeFaceList(out, mesh, "\t\t\t", true);
  outText(out, "\t\t}\n");
}

// The stored normal of the point (the layer's, else the model's).
const VectorEntry* storedNormal(const Model* model, const Layer* layer,
                                int32_t number) {
  return tableFindEither<const VectorEntry>(&layer->normals, &model->normals, number);
}

// Per vertex: its stored normal, else the area-weighted mean of the
// normals of the mesh's triangles around it (zero for a vertex of lines
// only).
void writeVertexNormals(TextOut* out, const Model* model, const Layer* layer,
                        Mesh* mesh) {
  const size_t count = mesh->numbers.size();
  mesh->smooth.clear();
  outText(out, "\n\t\tMeshNormals {\n");
  outCountLine(out, "\t\t\t", count, " normals\n");
  for (size_t i = 0; i < count; ++i) {
    const VectorEntry* stored = storedNormal(model, layer, mesh->numbers[i]);
    double n[3];
    if (stored != nullptr) {
      n[0] = stored->x;
      n[1] = stored->y;
      n[2] = stored->z;
    } else {
      if (mesh->smooth.empty()) {
        mesh->smooth.assign(3 * count, 0.0);
        for (size_t f = 0; f < mesh->faces.size() / 3; ++f) {
          double face[3];
          faceCross(*mesh, f, face);
          for (int corner = 0; corner < 3; ++corner) {
            double* sum = &mesh->smooth[3 * mesh->faces[3 * f + corner]];
            for (int k = 0; k < 3; ++k) sum[k] += face[k];
          }
        }
      }
      std::memcpy(n, &mesh->smooth[3 * i], sizeof n);
    }
    normalise(n);
    outText(out, "\t\t\t");
    outVector(out, n);
    outElementEnd(out, i + 1 == count);
    if (stored != nullptr) {
      outText(out, " // normal ");
      outInt(out, static_cast<int32_t>(i));
      outChar(out, '\n');
    } else {
      outText(out, " // no normal\n");
    }
  }
  outChar(out, '\n');
  outCountLine(out, "\t\t\t", mesh->faces.size() / 3, " faces\n");
  writeFaceList(out, *mesh, "\t\t\t", false);
  outText(out, "\t\t}\n");
}

// Every face uses the mesh's one material, index 0 of its list.
void writeMaterialList(TextOut* out, const Mesh& mesh, int32_t material) {
  const size_t count = mesh.faces.size() / 3;
  outText(out,
          "\n\t\tMeshMaterialList {\n\t\t\t1; // Number of unique "
          "materials\n\t\t\t");
  outInt(out, static_cast<int32_t>(count));
  outText(out, "; // Number of faces\n\t\t\t");
  for (size_t f = 0; f < count; ++f) {
    if (f > 0) {
      outChar(out, ',');
      if (f % kMaterialIndicesPerLine == 0) outText(out, "\n\t\t\t");
    }
    outChar(out, '0');
  }
  outText(out, ";;\n\t\t\t{material_");
  outInt(out, material);
  outText(out, "}\n\t\t}\n\n");
}

// One (u, v) per vertex from the layer's first image, (0, 0) for a vertex
// it has none for; nothing when the image has no uvees.
void writeTextureCoords(TextOut* out, const Layer* layer, const Mesh& mesh) {
  const Image* image = firstImage(layer);
  if (image == nullptr || tableCount(&image->uvees) == 0) return;
  const size_t count = mesh.numbers.size();
  outText(out, "\t\tMeshTextureCoords {\n");
  outCountLine(out, "\t\t\t", count, " texture coords\n");
  for (size_t i = 0; i < count; ++i) {
    const Uvee* uv = tableFindT<Uvee>(&image->uvees, mesh.numbers[i]);
    outText(out, "\t\t\t");
    outValue(out, uv != nullptr ? uv->u : 0.0);
    outValue(out, uv != nullptr ? uv->v : 0.0);
    outElementEnd(out, i + 1 == count);
    outText(out, " // uv ");
    outInt(out, static_cast<int32_t>(i));
    outChar(out, '\n');
  }
  outText(out, "\t\t}\n\n");
}

// One colour per vertex, as the view draws it: the layer's entry, else the
// model's, else the layer colour (opaque); nothing when no vertex has an
// entry.
void writeVertexColours(TextOut* out, const Model* model, const Layer* layer,
                        const Mesh& mesh) {
  const bool anyLayer = tableCount(&layer->colours) > 0;
  const bool anyModel = tableCount(&model->colours) > 0;
  auto entry = [&](int32_t number) {
    const Colour* c =
        anyLayer ? tableFindT<Colour>(&layer->colours, number) : nullptr;
    if (c == nullptr && anyModel) c = tableFindT<Colour>(&model->colours, number);
    return c;
  };
  const size_t count = mesh.numbers.size();
  size_t i = 0;
  while (i < count && entry(mesh.numbers[i]) == nullptr) ++i;
  if (i == count) return;
  float rgb[3];
  layerColour(layer, rgb);
  const Colour fallback = {rgb[0], rgb[1], rgb[2], 1.0f};
  outText(out, "\t\tMeshVertexColors {\n");
  outCountLine(out, "\t\t\t", count, " colors\n");
  for (i = 0; i < count; ++i) {
    const Colour* c = entry(mesh.numbers[i]);
    if (c == nullptr) c = &fallback;
    outText(out, "\t\t\t");
    outInt(out, static_cast<int32_t>(i));
    outChar(out, ';');
    outValue(out, c->r);
    outValue(out, c->g);
    outValue(out, c->b);
    outValue(out, c->a);
    outElementEnd(out, i + 1 == count);
    outText(out, " // color ");
    outInt(out, mesh.numbers[i]);
    outChar(out, '\n');
  }
  outText(out, "\t\t}\n\n");
}

bool writeMeshes(TextOut* out, const Model* model, bool flat) {
  Mesh mesh;
  mesh.vertexOfSlot.assign(
      static_cast<size_t>(std::max(model->points.capacity, 0)), -1);
  int32_t material = 0;
  const KeyedTable* layers = &model->layers;
  for (int32_t s = tableNextSlot(layers, -1); s >= 0;
       s = tableNextSlot(layers, s)) {
    const Layer* layer = tableAt<Layer>(layers, s);
    if (!hasContent(layer)) continue;
    if (!buildMesh(model, layer, &mesh)) return false;
    const bool withMaterial = hasMaterial(layer);
    if (withMaterial) ++material;
    if (mesh.numbers.empty()) continue;

    outText(out, "\tMesh x_");
    outIdentifier(out, layer->name);
    outText(out, " {\n");
    writeVertices(out, mesh);
    outChar(out, '\n');
    outCountLine(out, "\t\t", mesh.faces.size() / 3, " faces\n");
    writeFaceList(out, mesh, "\t\t", false);
    if (flat) {
      writeFlatNormals(out, mesh);
    } else {
      writeVertexNormals(out, model, layer, &mesh);
    }
    if (withMaterial) writeMaterialList(out, mesh, material);
    writeTextureCoords(out, layer, mesh);
    writeVertexColours(out, model, layer, mesh);
    outText(out, "\t}\n\n");
  }
  return true;
}

}  // namespace

bool writeDirectX(const Model* prepared, const char* path, bool flat) {
  TextOut out;
  if (!textOutOpen(&out, path)) return false;
  outText(&out, "xof 0303txt 0032\n//\n// model: ");
  outText(&out, path);
  outText(&out, "\n//\n");
  outText(&out, kTemplates);
  writeMaterials(&out, prepared);
  outText(&out, "\nFrame x_");
  outIdentifier(&out, prepared->name);
  outText(&out, " {\n\n");
  if (!writeMeshes(&out, prepared, flat)) {
    textOutAbort(&out);
    return false;
  }
  outText(&out, "}\n");
  return textOutCommit(&out);
}

int exportDirectX(const Model* model, const char* path) {
  return exportPrepared(model, "x", path, [](const Model* m, const char* file, const char*) {
    return writeDirectX(m, file);
  });
}
