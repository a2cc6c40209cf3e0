// Wavefront OBJ in the y-up file space, faces wound as they face, with a
// material library: each layer a group and a material (its colour,
// opacity and first image). Child models are written through their
// placement, each layer as "<child>_<layer>"; a mirroring layer's
// reflection joins the layer's group.
#include "io/export_obj_yup.h"

#include <unistd.h>

#include <set>
#include <string>
#include <vector>

#include "io/export_scene.h"
#include "io/side_files.h"
#include "io/text_out.h"
#include "model/last_error.h"

namespace {

std::string directoryOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

std::string baseName(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string absolute(const std::string& path) {
  if (!path.empty() && path[0] == '/') return path;
  char cwd[4096];
  if (getcwd(cwd, sizeof cwd) == nullptr) return path;
  return std::string(cwd) + "/" + path;
}

// Where the material library finds the model's texture: the file as the
// model finds it, by its bare name when it lies beside the library, else
// by its absolute path, so that the library works wherever it was written.
std::string texturePath(const Model* model, const char* file,
                        const std::string& library) {
  const std::string found = absolute(besideModel(model->directory, file, file));
  const std::string beside = absolute(directoryOf(library));
  if (found.compare(0, beside.size(), beside) == 0 &&
      found.find('/', beside.size()) == std::string::npos)
    return found.substr(beside.size());
  return found;
}

bool hasTexture(const Image* image) {
  return image != nullptr && image->main.file[0] != '\0' &&
         std::string(image->main.file) != "none";
}

struct ObjYUpWriter {
  const Model* model = nullptr;
  TextOut* obj = nullptr;
  TextOut* mtl = nullptr;
  std::string library;
  int64_t vertices = 0, uvs = 0, normals = 0;  // records written so far
  std::set<std::string> materials;
  HalfPoints points[2];
  std::vector<float> vertexNormals;
  int64_t base[2] = {0, 0}, uvBase[2] = {-1, -1}, normalBase[2] = {-1, -1};

  void triple(const char* head, size_t length, const float v[3]) {
    outChars(obj, head, length);
    outFloatList(obj, v, 3);
  }

  // The half's vertices, with colours when it has colour entries, its
  // texture coordinates when the layer has an image and its normals when
  // it has stored ones.
  bool vertexBlock(const HalfView& v, int32_t half) {
    HalfPoints& p = points[half];
    if (!collectHalfPoints(v, true, &p)) return false;
    const bool colours = halfHasColourEntries(v);
    base[half] = vertices;
    for (int32_t slot : p.slots) {
      float xyz[3];
      slotPosition(v, slot, xyz);
      triple("v ", 2, xyz);
      if (colours) {
        float rgba[4];
        cornerColour(v, slotNumber(v, slot), rgba);
        triple(" ", 1, rgba);
      }
      outChar(obj, '\n');
    }
    vertices += static_cast<int64_t>(p.slots.size());
    uvBase[half] = -1;
    if (halfHasUvees(v)) {
      uvBase[half] = uvs;
      for (int32_t slot : p.slots) {
        float uv[2] = {0.0f, 0.0f};
        cornerUv(v, slotNumber(v, slot), uv);
        // OBJ counts v from the bottom of the picture.
        outLiteral(obj, "vt ");
        outFixed(obj, uv[0], 6);
        outChar(obj, ' ');
        outFixed(obj, 1.0 - uv[1], 6);
        outChar(obj, '\n');
      }
      uvs += static_cast<int64_t>(p.slots.size());
    }
    normalBase[half] = -1;
    if (halfHasStoredNormals(v)) {
      normalBase[half] = normals;
      halfVertexNormals(v, p, &vertexNormals);
      for (size_t i = 0; i < p.slots.size(); ++i) {
        triple("vn ", 3, &vertexNormals[3 * i]);
        outChar(obj, '\n');
      }
      normals += static_cast<int64_t>(p.slots.size());
    }
    return true;
  }

  void corner(int32_t half, int32_t index) {
    outInt(obj, static_cast<int32_t>(base[half] + index + 1));
    if (uvBase[half] < 0 && normalBase[half] < 0) return;
    outChar(obj, '/');
    if (uvBase[half] >= 0) outInt(obj, static_cast<int32_t>(uvBase[half] + index + 1));
    if (normalBase[half] >= 0) {
      outChar(obj, '/');
      outInt(obj, static_cast<int32_t>(normalBase[half] + index + 1));
    }
  }

  void faces(const HalfView& v, int32_t half) {
    const HalfPoints& p = points[half];
    forEachHalfTriangle(v, [&](int32_t a, int32_t b, int32_t c) {
      outLiteral(obj, "f ");
      corner(half, halfPointIndex(v, p, a));
      outChar(obj, ' ');
      corner(half, halfPointIndex(v, p, b));
      outChar(obj, ' ');
      corner(half, halfPointIndex(v, p, c));
      outChar(obj, '\n');
    });
    const KeyedTable* lines = &v.layer->lines;
    for (int32_t s = tableNextSlot(lines, -1); s >= 0;
         s = tableNextSlot(lines, s)) {
      const Line* line = tableAt<Line>(lines, s);
      if (line->count < 2) continue;
      outLiteral(obj, "l");
      for (int32_t i = 0; i < line->count; ++i) {
        outChar(obj, ' ');
        outInt(obj, static_cast<int32_t>(
                        base[half] + halfPointIndex(v, p, polygonPoints(line)[i]) + 1));
      }
      outChar(obj, '\n');
    }
  }

  void material(const std::string& name, const HalfView& v) {
    if (!materials.insert(name).second) return;
    outLiteral(mtl, "newmtl ");
    outText(mtl, name.c_str());
    outLiteral(mtl, "\nKa 0.000000 0.000000 0.000000\nKd ");
    for (int i = 0; i < 3; ++i) {
      if (i > 0) outChar(mtl, ' ');
      outFixed(mtl, v.fallback[i], 6);
    }
    outLiteral(mtl, "\nKs 0.000000 0.000000 0.000000\nd ");
    outFixed(mtl, v.fallback[3], 6);
    outLiteral(mtl, "\nillum 1\n");
    if (hasTexture(v.image)) {
      outLiteral(mtl, "map_Kd ");
      outText(mtl, texturePath(v.model, v.image->main.file, library).c_str());
      outChar(mtl, '\n');
    }
    outChar(mtl, '\n');
  }

  bool layer(const PlacedModel& placed, const Affine& place,
             const Layer* layer) {
    if (tableCount(&layer->triangles) == 0 && tableCount(&layer->lines) == 0)
      return true;
    HalfView views[2];
    const int32_t halves = layerHalves(layer);
    for (int32_t h = 0; h < halves; ++h) {
      viewHalf(placed.model, layer, h, place, &views[h]);
      if (!vertexBlock(views[h], h)) return false;
    }
    const std::string name = exportedLayerName(placed, layer);
    outLiteral(obj, "g ");
    outText(obj, name.c_str());
    outLiteral(obj, "\nusemtl ");
    outText(obj, name.c_str());
    outChar(obj, '\n');
    material(name, views[0]);
    for (int32_t h = 0; h < halves; ++h) faces(views[h], h);
    return true;
  }

  bool run() {
    const Affine turn = yUpTurn();
    for (const PlacedModel& placed : placeModels(model)) {
      const Affine place = composeAffine(turn, placed.world);
      const KeyedTable* layers = &placed.model->layers;
      for (int32_t l = tableNextSlot(layers, -1); l >= 0;
           l = tableNextSlot(layers, l)) {
        if (!layer(placed, place, tableAt<Layer>(layers, l))) return false;
      }
    }
    return true;
  }
};

}  // namespace

std::string materialLibraryPath(const std::string& objPath) {
  const size_t n = objPath.size();
  if (n > 4 && objPath.compare(n - 4, 4, ".obj") == 0)
    return objPath.substr(0, n - 4) + ".mtl";
  return objPath + ".mtl";
}

bool writeObjYUp(const Model* model, const char* path, const char* title) {
  TextOut obj, mtl;
  const std::string library = materialLibraryPath(path);
  if (!textOutOpen(&mtl, library.c_str())) return false;
  if (!textOutOpen(&obj, path)) {
    textOutAbort(&mtl);
    return false;
  }
  outLiteral(&mtl, "# materials of ");
  outText(&mtl, title);
  outLiteral(&mtl, "\n\n");
  outLiteral(&obj, "# model: ");
  outText(&obj, title);
  outLiteral(&obj, "\nmtllib ");
  outText(&obj, baseName(library).c_str());
  outChar(&obj, '\n');
  ObjYUpWriter writer;
  writer.model = model;
  writer.obj = &obj;
  writer.mtl = &mtl;
  writer.library = library;
  if (!writer.run()) {
    textOutAbort(&obj);
    textOutAbort(&mtl);
    return false;
  }
  // Both files or neither: the library goes first, as the model names it.
  // A model file already refused keeps the old library too (its commit
  // only says why).
  if (obj.failed || obj.nonFinite) {
    textOutAbort(&mtl);
    return textOutCommit(&obj);
  }
  if (!textOutCommit(&mtl)) {
    textOutAbort(&obj);
    return false;
  }
  return textOutCommit(&obj);
}
