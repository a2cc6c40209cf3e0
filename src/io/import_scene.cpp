// The one place that talks to assimp: it reads the file into its scene,
// and the scene's meshes go through the import builder, node by node.
#include "io/import_scene.h"

#include <sys/stat.h>

#include <assimp/DefaultIOSystem.h>
#include <assimp/Importer.hpp>
#include <assimp/material.h>
#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>

#include "io/export_scene.h"
#include "io/import_join.h"
#include "io/import_records.h"
#include "io/import_screen.h"
#include "io/import_server.h"
#include "io/read_file.h"
#include "model/last_error.h"
#include "model/model.h"

// assimp's own consistency checks (ai_assert) end the process when one
// fails, and broken files make some fail (its triangulation of a PLY face
// list cut short, for one). The library calls its handler through the
// dynamic linker, so this definition takes the place of the library's: a
// failed check throws, the read that ran into it fails, and the reader
// below (which catches everything assimp throws) says why. It lives here,
// with the only calls into assimp, so that it is linked wherever they are.
namespace Assimp {
__attribute__((visibility("default"))) void aiAssertViolation(
    const char* failedExpression, const char* file, int line);
void aiAssertViolation(const char* failedExpression, const char* file, int line) {
  throw std::runtime_error(std::string("assimp's own check failed: ") +
                           (failedExpression ? failedExpression : "?") + " (" +
                           (file ? file : "?") + ":" + std::to_string(line) + ")");
}
}  // namespace Assimp

namespace {

// Files assimp opens besides the one named (material libraries, textures,
// external buffers) must be regular files too: a FIFO or /dev/zero named
// in an OBJ would otherwise hang the interpreter. Nothing is ever written.
class RegularFilesOnly : public Assimp::DefaultIOSystem {
 public:
  using Assimp::DefaultIOSystem::Exists;
  using Assimp::DefaultIOSystem::Open;
  bool Exists(const char* file) const override {
    struct stat info;
    return file != nullptr && ::stat(file, &info) == 0 && S_ISREG(info.st_mode);
  }
  Assimp::IOStream* Open(const char* file, const char* mode) override {
    if (mode == nullptr || std::strchr(mode, 'r') == nullptr ||
        std::strpbrk(mode, "wa+") != nullptr || !Exists(file))
      return nullptr;
    return Assimp::DefaultIOSystem::Open(file, mode);
  }
};

// Bytes in memory stand alone: no file beside them is read.
class NoFiles : public Assimp::DefaultIOSystem {
 public:
  using Assimp::DefaultIOSystem::Exists;
  using Assimp::DefaultIOSystem::Open;
  bool Exists(const char*) const override { return false; }
  Assimp::IOStream* Open(const char*, const char*) override { return nullptr; }
};

constexpr unsigned kReadSteps = aiProcess_Triangulate | aiProcess_FlipUVs |
                                aiProcess_ValidateDataStructure;

std::string lowerExtension(const std::string& path) {
  const size_t dot = path.rfind('.');
  const size_t slash = path.rfind('/');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash))
    return std::string();
  std::string ext = path.substr(dot + 1);
  for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return ext;
}

// What the format says about its numbers.
struct SourceKind {
  bool linearColours;  // glTF keeps colours as linear light
  bool facetNormals;   // STL's normals are its faces', not the model's
  bool zUp;            // 3MF and AMF are z-up, as this model is
};

SourceKind kindOf(const std::string& extension) {
  return {extension == "gltf" || extension == "glb", extension == "stl",
          extension == "3mf" || extension == "amf"};
}

inline float displayColour(float c, bool linearLight) {
  if (!linearLight) return c;
  c = toUnit(c);
  return c <= 0.0031308f ? c * 12.92f
                         : static_cast<float>(1.055 * std::pow(c, 1.0 / 2.4) - 0.055);
}

// The look's colour, from the file's numbers as the view shows them.
void colourLook(ImportLook* look, float r, float g, float b, bool linearLight) {
  look->coloured = true;
  look->colour[0] = displayColour(r, linearLight);
  look->colour[1] = displayColour(g, linearLight);
  look->colour[2] = displayColour(b, linearLight);
}

ImportLook lookOf(const aiMaterial* material, const SourceKind& kind) {
  ImportLook look = {false, {0.0f, 0.0f, 0.0f}, 1.0f, false, std::string()};
  if (material == nullptr) return look;
  aiString name;
  const bool standIn = material->Get(AI_MATKEY_NAME, name) == AI_SUCCESS &&
                       std::strcmp(name.C_Str(), AI_DEFAULT_MATERIAL_NAME) == 0;
  aiColor4D colour;
  aiColor3D diffuse;
  // assimp's stand-in material for files without any keeps the layer's
  // own default colour.
  if (!standIn && material->Get(AI_MATKEY_COLOR_DIFFUSE, diffuse) == AI_SUCCESS) {
    colourLook(&look, diffuse.r, diffuse.g, diffuse.b, kind.linearColours);
  } else if (!standIn && material->Get(AI_MATKEY_BASE_COLOR, colour) == AI_SUCCESS) {
    colourLook(&look, colour.r, colour.g, colour.b, kind.linearColours);
  }
  float opacity = 1.0f;
  if (material->Get(AI_MATKEY_OPACITY, opacity) == AI_SUCCESS && std::isfinite(opacity))
    look.opacity = toUnit(opacity);
  int twoSided = 0;
  if (material->Get(AI_MATKEY_TWOSIDED, twoSided) == AI_SUCCESS) look.twoSided = twoSided != 0;
  aiString texture;
  if (material->GetTexture(aiTextureType_DIFFUSE, 0, &texture) == AI_SUCCESS ||
      material->GetTexture(aiTextureType_BASE_COLOR, 0, &texture) == AI_SUCCESS)
    look.texture = texture.C_Str();
  return look;
}

bool usableName(const aiString& name) {
  return name.length > 0 && name.C_Str()[0] != '<';
}

// The node's name, else the mesh's, else the material's, else the file's.
std::string layerNameOf(const aiScene* scene, const aiNode* node,
                        const aiMesh* mesh, const std::string& fileName) {
  if (usableName(node->mName)) return node->mName.C_Str();
  if (usableName(mesh->mName)) return mesh->mName.C_Str();
  if (mesh->mMaterialIndex < scene->mNumMaterials) {
    aiString name;
    if (scene->mMaterials[mesh->mMaterialIndex]->Get(AI_MATKEY_NAME, name) == AI_SUCCESS &&
        usableName(name) && std::strcmp(name.C_Str(), AI_DEFAULT_MATERIAL_NAME) != 0)
      return name.C_Str();
  }
  return fileName;
}

Affine affineOf(const aiMatrix4x4& t) {
  return {{t.a1, t.a2, t.a3, t.a4, t.b1, t.b2, t.b3, t.b4, t.c1, t.c2, t.c3, t.c4}};
}

// Vertices and triangles go back in runs of this many.
constexpr uint32_t kRun = 16384;

// Positions to the first vertex sent there (+ 1), counted over every
// mesh: the importer takes each vertex's point from it instead of looking
// the position up in a table of its own, and this process has the time
// while the importer builds what it sent before.
struct Firsts {
  PositionTable table;
  uint32_t sent = 0;  // vertices sent so far
};

// The number of the first vertex sent at the position, this one's when
// none came before.
uint32_t firstAt(Firsts* f, const float* position) {
  uint32_t key[3];
  positionKey(position, key);
  PositionSlot* slot = positionSlot(&f->table, key);
  const uint32_t self = f->sent++;
  if (slot->point != 0) return static_cast<uint32_t>(slot->point - 1);
  *slot = {key[0], key[1], key[2], static_cast<int32_t>(self + 1)};
  ++f->table.used;
  return self;
}

// Writes the first of each of a run's `count` vertices into its last
// float, the table's slots fetched a few vertices ahead (the table is far
// larger than the cache).
void putFirsts(Firsts* f, float* run, uint32_t count, size_t floats) {
  constexpr uint32_t kAhead = 16;
  for (uint32_t v = 0; v < count; ++v) {
    if (v + kAhead < count) positionPrefetch(&f->table, run + (v + kAhead) * floats);
    float* vertex = run + v * floats;
    const uint32_t first = firstAt(f, vertex);
    std::memcpy(vertex + floats - 1, &first, 4);
  }
}

// A placement that only exchanges axes and turns them round (the y-up
// turn, most nodes' identity) moves each coordinate as it is. That gives
// what applyAffine gives, with a float's arithmetic: the products are
// exact, and the + 0 turns -0 into 0 as the sum of the other terms does
// there. (A coordinate that is not finite differs, but any such vertex
// is refused.)
struct Swizzle {
  bool plain = false;
  int from[3] = {0, 1, 2};
  float sign[3] = {1.0f, 1.0f, 1.0f};
};

Swizzle swizzleOf(const Affine& place) {
  Swizzle s;
  for (int r = 0; r < 3; ++r) {
    const double* row = place.m + 4 * r;
    int ones = 0, zeros = 0;
    for (int c = 0; c < 3; ++c) {
      if (row[c] == 0.0) {
        ++zeros;
      } else if (row[c] == 1.0 || row[c] == -1.0) {
        ++ones;
        s.from[r] = c;
        s.sign[r] = static_cast<float>(row[c]);
      }
    }
    if (ones != 1 || zeros != 2 || row[3] != 0.0 || std::signbit(row[3])) return Swizzle();
  }
  s.plain = true;
  return s;
}

struct Conversion {
  const aiScene* scene;
  SourceKind kind;
  std::string fileName;
  RecordOut* out;
  std::vector<float> vertex;
  std::vector<uint32_t> corners, ends;
  Joining joining;
  Firsts firsts;
};

// One mesh as a node places it, into the current layer: its vertices in
// the model's space, then its triangles (turned round under a placement
// that reflects) and segments.
void addMesh(Conversion* c, const aiMesh* mesh, const Affine& place, bool layerColours) {
  double normals[9];
  normalMatrix(place, normals);
  const bool turned = affineDeterminant(place) < 0.0;
  uint8_t flags = 0;
  if (mesh->HasNormals() && !c->kind.facetNormals) flags |= kRecordNormals;
  if (mesh->HasTextureCoords(0)) flags |= kRecordUvs;
  if (mesh->HasVertexColors(0) && layerColours) flags |= kRecordColours;
  flags |= kRecordFirsts;
  // At most this many vertices: those alike are sent once. The importer
  // hears of a large mesh at once, and makes room for its triangles while
  // this process makes its tables; a small mesh's record waits in the
  // buffer (a write for each of thousands of meshes would cost more than
  // the room made early saves).
  const bool allTriangles =
      (mesh->mPrimitiveTypes & aiPrimitiveType_TRIANGLE) != 0 &&
      (mesh->mPrimitiveTypes & (aiPrimitiveType_POINT | aiPrimitiveType_LINE |
                                aiPrimitiveType_POLYGON)) == 0;
  putMesh(c->out, flags, mesh->mNumVertices, allTriangles ? mesh->mNumFaces : 0);
  if (mesh->mNumFaces >= kRun) flushRecords(c->out);
  const size_t floats = vertexFloats(flags);
  c->vertex.resize(floats * (mesh->mNumVertices < kRun ? mesh->mNumVertices : kRun));
  const bool join = joinsVertices(mesh);
  Joining* j = &c->joining;
  if (join) joinMesh(j, mesh, flags);
  // Room for the vertices that will be sent: of a joined closed mesh,
  // about a sixth of its corners (a table made for all of them took longer
  // to clear than the joining).
  positionsReserve(&c->firsts.table, join ? j->firsts : mesh->mNumVertices);
  const Swizzle swizzle = swizzleOf(place);
  uint32_t pending = 0, sent = 0;
  for (unsigned v = 0; v < mesh->mNumVertices; ++v) {
    if (join) {
      const uint32_t first = j->first[v];
      j->sentAs[v] = first != v ? j->sentAs[first] : sent;
      if (first != v) {
        if (v + 1 == mesh->mNumVertices && pending > 0) {
          putFirsts(&c->firsts, c->vertex.data(), pending, floats);
          putVertices(c->out, c->vertex.data(), pending, floats);
          pending = 0;
        }
        continue;
      }
    }
    ++sent;
    float* at = c->vertex.data() + pending * floats;
    const aiVector3D& p = mesh->mVertices[v];
    if (swizzle.plain) {
      const float in[3] = {p.x, p.y, p.z};
      for (int k = 0; k < 3; ++k) *at++ = swizzle.sign[k] * in[swizzle.from[k]] + 0.0f;
    } else {
      const double in[3] = {p.x, p.y, p.z};
      double out[3];
      applyAffine(place, in, out);
      for (int k = 0; k < 3; ++k) *at++ = static_cast<float>(out[k]);
    }
    if (flags & kRecordNormals) {
      const aiVector3D& n = mesh->mNormals[v];
      const double in[3] = {n.x, n.y, n.z};
      if (!turnNormal(normals, in, at)) at[0] = at[1] = at[2] = std::nanf("");
      at += 3;
    }
    if (flags & kRecordUvs) {
      *at++ = mesh->mTextureCoords[0][v].x;
      *at++ = mesh->mTextureCoords[0][v].y;
    }
    if (flags & kRecordColours) {
      const aiColor4D& k = mesh->mColors[0][v];
      *at++ = displayColour(k.r, c->kind.linearColours);
      *at++ = displayColour(k.g, c->kind.linearColours);
      *at++ = displayColour(k.b, c->kind.linearColours);
      *at++ = toUnit(k.a);
    }
    ++at;  // the first vertex at the position, by putFirsts
    if (++pending == kRun || v + 1 == mesh->mNumVertices) {
      putFirsts(&c->firsts, c->vertex.data(), pending, floats);
      putVertices(c->out, c->vertex.data(), pending, floats);
      pending = 0;
    }
  }
  // The corners go back a run at a time, written in place.
  c->corners.resize(3 * kRun);
  c->ends.clear();
  uint32_t* run = c->corners.data();
  uint32_t inRun = 0;
  const uint32_t* sentAs = join ? j->sentAs.data() : nullptr;
  const unsigned vertices = mesh->mNumVertices;
  for (unsigned f = 0; f < mesh->mNumFaces; ++f) {
    const aiFace& face = mesh->mFaces[f];
    const unsigned* at = face.mIndices;
    if (face.mNumIndices == 3) {
      uint32_t a = at[0], d = at[1], e = at[2];
      if (a >= vertices || d >= vertices || e >= vertices) continue;
      if (sentAs != nullptr) a = sentAs[a], d = sentAs[d], e = sentAs[e];
      run[inRun] = turned ? d : a;
      run[inRun + 1] = turned ? a : d;
      run[inRun + 2] = e;
      inRun += 3;
      if (inRun == 3 * kRun) {
        putTriangles(c->out, run, kRun);
        inRun = 0;
      }
    } else if (face.mNumIndices == 2 && at[0] < vertices && at[1] < vertices) {
      c->ends.push_back(sentAs != nullptr ? sentAs[at[0]] : at[0]);
      c->ends.push_back(sentAs != nullptr ? sentAs[at[1]] : at[1]);
    }
  }
  putTriangles(c->out, run, inRun / 3);
  putSegments(c->out, c->ends.data(), static_cast<uint32_t>(c->ends.size() / 2));
  putEndMesh(c->out);
}

// Whether every mesh of the node from `from` on with that material has
// vertex colours, all one colour (given back in *colour).
bool sameColourEverywhere(const aiScene* scene, const aiNode* node, unsigned from,
                          unsigned material, aiColor4D* colour) {
  bool any = false;
  for (unsigned k = from; k < node->mNumMeshes; ++k) {
    if (node->mMeshes[k] >= scene->mNumMeshes) continue;
    const aiMesh* mesh = scene->mMeshes[node->mMeshes[k]];
    if (mesh->mMaterialIndex != material || mesh->mNumVertices == 0) continue;
    if (!mesh->HasVertexColors(0)) return false;
    for (unsigned v = 0; v < mesh->mNumVertices; ++v) {
      const aiColor4D& c = mesh->mColors[0][v];
      if (!any) *colour = c;
      any = true;
      if (!(c == *colour)) return false;
    }
  }
  return any;
}

// The node's meshes, a layer per material, then its children.
bool convertNode(Conversion* c, const aiNode* node, const Affine& place) {
  const aiScene* scene = c->scene;
  std::vector<bool> done(node->mNumMeshes, false);
  for (unsigned i = 0; i < node->mNumMeshes; ++i) {
    if (done[i] || node->mMeshes[i] >= scene->mNumMeshes) continue;
    const aiMesh* first = scene->mMeshes[node->mMeshes[i]];
    const unsigned material = first->mMaterialIndex;
    bool uvs = false, colours = false, faces = false;
    for (unsigned k = i; k < node->mNumMeshes; ++k) {
      if (node->mMeshes[k] >= scene->mNumMeshes) continue;
      const aiMesh* mesh = scene->mMeshes[node->mMeshes[k]];
      if (mesh->mMaterialIndex != material) continue;
      uvs = uvs || mesh->HasTextureCoords(0);
      colours = colours || mesh->HasVertexColors(0);
      faces = faces || mesh->mNumFaces > 0;
    }
    if (!faces) continue;
    const aiMaterial* material_ = material < scene->mNumMaterials ? scene->mMaterials[material] : nullptr;
    ImportLook look = lookOf(material_, c->kind);
    // Vertex colours all alike (PLY files often carry one colour for all)
    // are the layer's colour: its vertices then need no colour of their own.
    aiColor4D same;
    if (colours && sameColourEverywhere(scene, node, i, material, &same)) {
      colours = false;
      colourLook(&look, same.r, same.g, same.b, c->kind.linearColours);
      look.opacity *= toUnit(same.a);
    }
    putLayer(c->out, layerNameOf(scene, node, first, c->fileName), look, uvs, colours);
    for (unsigned k = i; k < node->mNumMeshes; ++k) {
      if (node->mMeshes[k] >= scene->mNumMeshes) continue;
      const aiMesh* mesh = scene->mMeshes[node->mMeshes[k]];
      if (mesh->mMaterialIndex != material) continue;
      done[k] = true;
      addMesh(c, mesh, place, colours);
    }
    putEndLayer(c->out);
    if (c->out->failed) return false;
  }
  return true;
}

bool convertScene(Conversion* c) {
  const aiScene* scene = c->scene;
  // y-up files come into z-up space; a file that is z-up, by its format
  // or by its own word (FBX), stays as it is.
  Affine root = yUpTurnInverse();
  int32_t upAxis = 1;
  if (c->kind.zUp ||
      (scene->mMetaData != nullptr && scene->mMetaData->Get("UpAxis", upAxis) && upAxis == 2))
    root = identityAffine();
  struct Pending {
    const aiNode* node;
    Affine parent;
  };
  std::vector<Pending> stack = {{scene->mRootNode, root}};
  while (!stack.empty()) {
    const Pending here = stack.back();
    stack.pop_back();
    const Affine place = composeAffine(here.parent, affineOf(here.node->mTransformation));
    if (!convertNode(c, here.node, place)) return false;
    // Children in their order: pushed last to first.
    for (unsigned i = here.node->mNumChildren; i-- > 0;)
      if (here.node->mChildren[i] != nullptr) stack.push_back({here.node->mChildren[i], place});
  }
  return true;
}

// The scene's records, sent from the reader's process.
void sendScene(const aiScene* scene, const std::string& path, RecordOut* out) {
  // About as many points as there are vertices in indexed meshes, and
  // half as many as faces (the points of a closed mesh) where every face
  // has vertices of its own and they are joined; a broken file may claim
  // any count, and the table grows past this instead.
  size_t points = 0;
  for (unsigned i = 0; i < scene->mNumMeshes; ++i) {
    const aiMesh* mesh = scene->mMeshes[i];
    if (mesh == nullptr) continue;
    const size_t most = joinsVertices(mesh) ? mesh->mNumFaces / 2 + 1 : mesh->mNumFaces;
    points += mesh->mNumVertices < most ? mesh->mNumVertices : most;
  }
  putReserve(out, points);
  Conversion c{scene, kindOf(lowerExtension(path)), importedModelName(path.c_str()), out, {}, {}, {}, {}, {}};
  if (scene->mRootNode != nullptr && convertScene(&c)) putDone(out);
}

// What runs in the reader's process: assimp reads, the scene goes back as
// records. Everything assimp throws is caught and said.
template <class Read>
void readAndSend(const std::string& path, Read read, RecordOut* out, bool reused) {
  try {
    // Never freed where the process ends as soon as the records are sent:
    // freeing a big scene first would keep the importer waiting as long
    // again as sending part of it. A reader that reads on frees it after.
    std::unique_ptr<Assimp::Importer> importer(new Assimp::Importer);
    const aiScene* scene = read(importer.get());
    if (scene == nullptr) {
      // assimp catches what its readers throw and gives the type's name.
      const std::string why = importer->GetErrorString();
      putError(out, why == "std::bad_alloc" ? "out of memory" : why);
    } else {
      sendScene(scene, path, out);
    }
    if (!reused) importer.release();
  } catch (const std::bad_alloc&) {
    putError(out, "out of memory");
  } catch (const std::exception& e) {
    putError(out, e.what());
  } catch (...) {
    putError(out, "the reader failed");
  }
}

// The reader's side of a job: the file, or the bytes as their format.
void readJob(const ReaderJob& job, RecordOut* out) {
  if (job.fromMemory) {
    readAndSend(
        job.path,
        [&](Assimp::Importer* importer) {
          importer->SetIOHandler(new NoFiles);
          return importer->ReadFileFromMemory(job.bytes, job.size, kReadSteps,
                                              job.extension.c_str());
        },
        out, job.reused);
  } else {
    readAndSend(
        job.path,
        [&](Assimp::Importer* importer) {
          importer->SetIOHandler(new RegularFilesOnly);
          return importer->ReadFile(job.path, kReadSteps);
        },
        out, job.reused);
  }
}

// The processor time a reader gets for a file of `bytes`: far more than
// assimp's readers take (well under a second per 10 MiB), so that only a
// reader caught in a loop meets it.
unsigned readerSeconds(uint64_t bytes) {
  const uint64_t seconds = 10 + bytes / (1u << 20);
  return seconds < 86400 ? static_cast<unsigned>(seconds) : 86400u;
}

// The address space a reader gets for a file of `bytes`: a gigabyte and 64
// times the file, several times what assimp's readers take (250 MB for an
// OBJ of 40 MB, 80 MB for a glb of 18 MB). None for a .gltf file, whose
// buffers lie in files of their own, of any size.
uint64_t readerMemoryBytes(uint64_t bytes, const std::string& extension) {
  constexpr uint64_t kMost = uint64_t{1} << 46;
  if (extension == "gltf" || bytes >= kMost / 64) return 0;
  return (uint64_t{1} << 30) + 64 * bytes;
}

// The records of the reader's process as a new model named after `path`,
// in its directory; null with "could not import: <path>: <why>".
Model* importFrom(const ReaderJob& job, uint64_t bytes, const char* imageDirectory,
                  ImportReport* report) {
  const std::string& path = job.path;
  const std::string name = importedModelName(path.c_str());
  const size_t slash = path.rfind('/');
  const std::string directory = slash == std::string::npos ? "" : path.substr(0, slash + 1);
  Model* model = createModel(nullptr, (directory + name + ".mod").c_str(), nullptr);
  if (model == nullptr) model = createModel(nullptr, (directory + "imported.mod").c_str(), nullptr);
  if (model == nullptr) return nullptr;
  ImportBuilder builder;
  importBegin(&builder, model);
  std::string why;
  bool done = false;
  try {
    done = importThroughServer(readJob, job, &builder, imageDirectory, &why,
                               readerSeconds(bytes),
                               readerMemoryBytes(bytes, job.fromMemory
                                                            ? job.extension
                                                            : lowerExtension(path)));
  } catch (...) {
    freeModel(model);
    throw;  // guarded() says why
  }
  if (done && builder.counts.triangles + builder.counts.lines == 0)
    why = "no triangles or lines in it";
  if (!why.empty()) {
    lastErrorReportf("could not import: %s: %s", path.c_str(), why.c_str());
    freeModel(model);
    return nullptr;
  }
  if (report != nullptr) {
    report->counts = builder.counts;
    report->notes = builder.notes;
  }
  return model;
}

// glTF's JSON, read for screenGltf: a .glb file's first chunk, a .gltf
// file whole.
const char* screenGltfFile(const std::string& file, const unsigned char* head, size_t got,
                           uint64_t fileSize) {
  uint64_t at = 0, length = 0;
  if (!glbJson(head, got, &at, &length)) {
    if (lowerExtension(file) != "gltf") return nullptr;
    at = 0;
    length = fileSize;
  }
  if (at + length > fileSize) return nullptr;  // assimp says what is wrong
  std::string json;
  FILE* in = std::fopen(file.c_str(), "rb");
  if (in == nullptr) return nullptr;
  try {
    json.resize(static_cast<size_t>(length));
  } catch (const std::exception&) {
    std::fclose(in);
    return "out of memory";
  }
  const bool read = std::fseek(in, static_cast<long>(at), SEEK_SET) == 0 &&
                    std::fread(&json[0], 1, json.size(), in) == json.size();
  std::fclose(in);
  return read ? screenGltf(json.data(), json.size()) : nullptr;
}

Model* refused(const std::string& path, const char* why) {
  lastErrorReportf("could not import: %s: %s", path.c_str(), why);
  return nullptr;
}

// Runs a read; whatever the reader throws becomes a refusal, never an
// exception past this folder.
template <class Read>
Model* guarded(const std::string& name, Read read) {
  try {
    return read();
  } catch (const std::bad_alloc&) {
    return refused(name, "out of memory");
  } catch (const std::exception& e) {
    return refused(name, e.what());
  } catch (...) {
    return refused(name, "the reader failed");
  }
}

}  // namespace

std::string importedModelName(const char* path) {
  std::string name = path;
  const size_t slash = name.rfind('/');
  if (slash != std::string::npos) name = name.substr(slash + 1);
  const size_t dot = name.rfind('.');
  if (dot != std::string::npos && dot > 0) name.resize(dot);
  return name.empty() ? std::string("imported") : name;
}

Model* importModelFile(const char* path, const char* imageDirectory,
                       ImportReport* report) {
  const std::string file = path != nullptr ? path : "";
  ReadOpen why = kReadOpened;
  FILE* probe = openForReading(file.c_str(), &why);
  if (probe == nullptr) {
    lastErrorReportf("%s: %s", readRefusalWords(why), file.c_str());
    return nullptr;
  }
  unsigned char head[kScreenBytes];
  const size_t got = std::fread(head, 1, sizeof head, probe);
  uint64_t fileSize = got;
  struct stat info;
  if (::fstat(fileno(probe), &info) == 0) fileSize = static_cast<uint64_t>(info.st_size);
  std::fclose(probe);
  if (const char* broken = screenImport(head, got, fileSize, lowerExtension(file)))
    return refused(file, broken);
  if (const char* broken = screenGltfFile(file, head, got, fileSize))
    return refused(file, broken);
  ReaderJob job;
  job.path = file;
  return guarded(file, [&] { return importFrom(job, fileSize, imageDirectory, report); });
}

Model* importModelBytes(const void* data, size_t size, const char* extension,
                        ImportReport* report) {
  const std::string ext = extension != nullptr ? extension : "";
  const std::string name = "memory." + ext;
  if (data == nullptr || size == 0) return refused(name, "the file is empty");
  const unsigned char* bytes = static_cast<const unsigned char*>(data);
  if (const char* broken = screenImport(bytes, size < kScreenBytes ? size : kScreenBytes,
                                        size, lowerExtension(name)))
    return refused(name, broken);
  uint64_t at = 0, length = 0;
  const char* json = reinterpret_cast<const char*>(bytes);
  const char* broken = nullptr;
  if (glbJson(bytes, size, &at, &length)) {
    if (at + length <= size) broken = screenGltf(json + at, static_cast<size_t>(length));
  } else if (ext == "gltf") {
    broken = screenGltf(json, size);
  }
  if (broken != nullptr) return refused(name, broken);
  ReaderJob job;
  job.path = name;
  job.extension = ext;
  job.bytes = data;
  job.size = size;
  job.fromMemory = true;
  return guarded(name, [&] { return importFrom(job, size, nullptr, report); });
}
