// Exported files read back through assimp, as other tools read them: the
// triangles placed by the node tree, their signed volume and bounds; and
// the closed boxes the exports are checked with.
#pragma once

#include <assimp/Importer.hpp>
#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <string>
#include <utility>

#include "model/children.h"
#include "model/geometry.h"
#include "model/model.h"

namespace read_back {

struct Solid {
  bool read = false;
  std::string error;
  unsigned triangles = 0;
  double volume = 0.0;  // signed: positive when the faces wind outward
  double min[3] = {1e300, 1e300, 1e300};
  double max[3] = {-1e300, -1e300, -1e300};
};

inline void walk(const aiScene* scene, const aiNode* node,
                 const aiMatrix4x4& parent, Solid* out) {
  const aiMatrix4x4 m = parent * node->mTransformation;
  // A node that reflects turns its faces round (as glTF says readers must).
  const bool turned = m.Determinant() < 0.0f;
  for (unsigned i = 0; i < node->mNumMeshes; ++i) {
    const aiMesh* mesh = scene->mMeshes[node->mMeshes[i]];
    for (unsigned f = 0; f < mesh->mNumFaces; ++f) {
      const aiFace& face = mesh->mFaces[f];
      if (face.mNumIndices != 3) continue;
      aiVector3D p[3];
      for (int k = 0; k < 3; ++k) {
        p[k] = m * mesh->mVertices[face.mIndices[k]];
        for (int c = 0; c < 3; ++c) {
          if (p[k][c] < out->min[c]) out->min[c] = p[k][c];
          if (p[k][c] > out->max[c]) out->max[c] = p[k][c];
        }
      }
      if (turned) std::swap(p[0], p[1]);
      out->volume += (p[0] * (p[1] ^ p[2])) / 6.0;
      ++out->triangles;
    }
  }
  for (unsigned i = 0; i < node->mNumChildren; ++i)
    walk(scene, node->mChildren[i], m, out);
}

inline Solid read(const std::string& path) {
  Solid out;
  Assimp::Importer importer;
  const aiScene* scene = importer.ReadFile(path, aiProcess_ValidateDataStructure);
  if (scene == nullptr || scene->mRootNode == nullptr) {
    out.error = importer.GetErrorString();
    return out;
  }
  out.read = true;
  walk(scene, scene->mRootNode, aiMatrix4x4(), &out);
  return out;
}

// Corner numbers first + 0 .. first + 7 of the box from (x0, y0, z0) to
// (x0 + dx, y0 + dy, z0 + dz): corner first + i + 2j + 4k at x0 + i dx,
// y0 + j dy, z0 + k dz. Its twelve triangles wind anticlockwise seen from
// outside.
inline void addBox(Model* m, const char* layer, int32_t first, float x0,
                   float y0, float z0, float dx, float dy, float dz) {
  if (findLayer(m, layer) == nullptr) addLayer(m, layer, 0, 0, 0, 1, 0, kAxisX);
  int32_t n = first;
  for (int k = 0; k < 2; ++k)
    for (int j = 0; j < 2; ++j)
      for (int i = 0; i < 2; ++i)
        addPoint(m, n++, x0 + i * dx, y0 + j * dy, z0 + k * dz);
  static const int32_t kFaces[12][3] = {
      {0, 2, 3}, {0, 3, 1}, {4, 5, 7}, {4, 7, 6}, {0, 1, 5}, {0, 5, 4},
      {2, 6, 7}, {2, 7, 3}, {0, 4, 6}, {0, 6, 2}, {1, 3, 7}, {1, 7, 5}};
  for (const auto& f : kFaces) {
    const int32_t points[3] = {first + f[0], first + f[1], first + f[2]};
    addTriangle(m, layer, 3, points, 0);
  }
}

// A 2 x 3 x 4 box at the origin in layer "skin": volume 24.
inline Model* box(const char* path = "box.mod") {
  Model* m = createModel(nullptr, path, nullptr);
  addBox(m, "skin", 1, 0, 0, 0, 2, 3, 4);
  return m;
}

}  // namespace read_back
