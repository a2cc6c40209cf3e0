#include "io/import_build.h"

#include <cmath>
#include <cstdio>
#include <cstring>

#include "io/texture_files.h"
#include "model/document_index.h"
#include "model/geometry.h"
#include "model/large_pages.h"
#include "model/last_error.h"
#include "model/transform.h"

namespace {

// ---- Vertex keys ------------------------------------------------------------

inline uint32_t bitsOf(float f) {
  if (f == 0.0f) f = 0.0f;  // -0 and 0 are one position
  uint32_t u;
  std::memcpy(&u, &f, 4);
  return u;
}

inline uint32_t hashKey(const uint32_t* key, int32_t words) {
  uint64_t h = 0x9e3779b97f4a7c15ull;
  for (int32_t i = 0; i < words; ++i) {
    h ^= key[i];
    h *= 0xff51afd7ed558ccdull;
    h ^= h >> 29;
  }
  return static_cast<uint32_t>(h ^ (h >> 32));
}

void keysReset(VertexKeys* k, int32_t words) {
  k->words = words;
  k->keys.clear();
  k->values.clear();
  // A small table again, so that many small layers after a large one do
  // not each clear the large one's buckets.
  k->buckets.assign(128, 0);
}

inline bool sameKey(const uint32_t* a, const uint32_t* b, int32_t words) {
  for (int32_t i = 0; i < words; ++i)
    if (a[i] != b[i]) return false;
  return true;
}

int32_t keysFind(const VertexKeys& k, const uint32_t* key) {
  const size_t mask = k.buckets.size() / 2 - 1;
  const uint32_t hash = hashKey(key, k.words);
  for (size_t b = hash & mask;; b = (b + 1) & mask) {
    const int32_t entry = k.buckets[2 * b];
    if (entry == 0) return 0;
    if (static_cast<uint32_t>(k.buckets[2 * b + 1]) != hash) continue;
    const uint32_t* stored = &k.keys[static_cast<size_t>(entry - 1) * static_cast<size_t>(k.words)];
    if (sameKey(stored, key, k.words)) return k.values[static_cast<size_t>(entry - 1)];
  }
}

void keysPlace(VertexKeys* k, int32_t entry) {
  const size_t mask = k->buckets.size() / 2 - 1;
  const uint32_t* key = &k->keys[static_cast<size_t>(entry) * static_cast<size_t>(k->words)];
  const uint32_t hash = hashKey(key, k->words);
  size_t b = hash & mask;
  while (k->buckets[2 * b] != 0) b = (b + 1) & mask;
  k->buckets[2 * b] = entry + 1;
  k->buckets[2 * b + 1] = static_cast<int32_t>(hash);
}

// The key must not be there yet.
void keysAdd(VertexKeys* k, const uint32_t* key, int32_t value) {
  k->keys.insert(k->keys.end(), key, key + k->words);
  k->values.push_back(value);
  const size_t entries = k->values.size();
  // Two words a bucket (entry + 1, hash), kept at most half full.
  if (4 * entries > k->buckets.size()) {
    k->buckets.assign(2 * k->buckets.size(), 0);
    for (size_t e = 0; e < entries; ++e) keysPlace(k, static_cast<int32_t>(e));
  } else {
    keysPlace(k, static_cast<int32_t>(entries - 1));
  }
}

// ---- Positions ----------------------------------------------------------------

void positionsGrow(PositionTable* t, size_t slots) {
  std::vector<PositionSlot> old;
  resizeLarge(&old, slots, PositionSlot{0, 0, 0, 0});
  old.swap(t->slots);
  const size_t mask = t->slots.size() - 1;
  for (const PositionSlot& s : old) {
    if (s.point == 0) continue;
    const uint32_t key[3] = {s.x, s.y, s.z};
    size_t b = hashKey(key, 3) & mask;
    while (t->slots[b].point != 0) b = (b + 1) & mask;
    t->slots[b] = s;
  }
}

}  // namespace

void positionKey(const float position[3], uint32_t key[3]) {
  for (int k = 0; k < 3; ++k) key[k] = bitsOf(position[k]);
}

PositionSlot* positionSlot(PositionTable* t, const uint32_t key[3]) {
  if (2 * (t->used + 1) > t->slots.size()) positionsReserve(t, 1);
  const size_t mask = t->slots.size() - 1;
  for (size_t b = hashKey(key, 3) & mask;; b = (b + 1) & mask) {
    PositionSlot& s = t->slots[b];
    if (s.point == 0 || (s.x == key[0] && s.y == key[1] && s.z == key[2])) return &s;
  }
}

void positionsReserve(PositionTable* t, size_t more) {
  size_t size = t->slots.empty() ? 64 : t->slots.size();
  while (size < 2 * (t->used + more) + 2) size *= 2;
  if (size != t->slots.size()) positionsGrow(t, size);
}

void positionPrefetch(const PositionTable* t, const float position[3]) {
  if (t->slots.empty()) return;
  uint32_t key[3];
  positionKey(position, key);
  __builtin_prefetch(&t->slots[hashKey(key, 3) & (t->slots.size() - 1)]);
}

namespace {

// ---- Layers -----------------------------------------------------------------

bool oneWord(const std::string& text) {
  return !text.empty() && text.find_first_of(" \t\r\n\v\f") == std::string::npos;
}

// A layer name the model files can carry, not yet taken.
std::string layerNameFor(const Model* model, const char* wanted) {
  std::string base = wanted != nullptr ? wanted : "";
  const size_t slash = base.find_last_of("/\\");
  if (slash != std::string::npos && slash + 1 < base.size()) base = base.substr(slash + 1);
  for (char& c : base) {
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f')
      c = '_';
  }
  if (base.empty()) base = "mesh";
  if (base[0] == '#') base[0] = '_';
  if (base == "(global)") base = "_global_";
  // Room for a suffix; never cut a character of several bytes in two.
  if (base.size() > 110) {
    size_t cut = 110;
    while (cut > 0 && (static_cast<unsigned char>(base[cut]) & 0xc0) == 0x80) --cut;
    base.resize(cut);
  }
  std::string name = base;
  for (int n = 2; tableFind(&model->layers, name.c_str()) != nullptr; ++n)
    name = base + "_" + std::to_string(n);
  return name;
}

bool endsWithTga(const std::string& file) {
  const size_t n = file.size();
  if (n < 4) return false;
  std::string tail = file.substr(n - 4);
  for (char& c : tail) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return tail == ".tga";
}

// Image 1 of the layer, carrying the vertices' texture coordinates and,
// when the material names a TGA file, its pixels.
bool addLayerImage(ImportBuilder* b, const std::string& layer,
                   const ImportLook& look, const char* imageDirectory) {
  std::string file = "none";
  if (!look.texture.empty() && look.texture[0] == '*') {
    b->notes.push_back("picture inside the file left out: " + look.texture);
  } else if (!look.texture.empty()) {
    std::string named = look.texture;
    if (named[0] != '/' && imageDirectory != nullptr) named = imageDirectory + named;
    if (!oneWord(named) || named.size() >= static_cast<size_t>(kNameBytes)) {
      b->notes.push_back("picture file name unusable, left out: " + named);
    } else {
      file = named;
      if (!endsWithTga(named))
        b->notes.push_back("picture kept by name only (not a .tga file): " + named);
    }
  }
  lastErrorClear();
  const bool loaded = addImageFromFiles(b->model, layer.c_str(), 1, file.c_str(),
                                        kImageSmooth, kAxisX, kAxisY, 1.0f);
  Layer* made = findLayer(b->model, layer.c_str());
  b->image = made ? tableFindT<Image>(&made->images, 1) : nullptr;
  if (b->image == nullptr) return false;
  if (!loaded && endsWithTga(file) && lastErrorText() != nullptr)
    b->notes.push_back(lastErrorText());
  b->image->hasUvees = 1;
  return true;
}

void storedColour(float rgb[3]) {
  // 0 0 0 is no colour at all (grey) to a layer line: black is kept as
  // the darkest colour it can be told apart from that.
  if (rgb[0] <= 0.0f && rgb[1] <= 0.0f && rgb[2] <= 0.0f)
    rgb[0] = rgb[1] = rgb[2] = 1.0f / 255.0f;
}

}  // namespace

void importReserve(ImportBuilder* b, size_t vertices) {
  // The position table grows only when a reader leaves the joining of
  // positions to the builder (importVertex).
  b->firstPointAt.reserve(vertices);
  b->usedBy.reserve(vertices + 1);
  reserveLarge(&b->placed, 3 * (vertices + 1));
  const int32_t more = vertices < (size_t{1} << 24) ? static_cast<int32_t>(vertices) : 1 << 24;
  tableReserve(&b->model->points, tableCount(&b->model->points) + more);
}

namespace {

// Stores the points made since the last run.
void storePoints(ImportBuilder* b) {
  const int32_t from = b->storedPoints + 1;
  if (!b->failed && b->nextPoint > from &&
      !addNewPoints(b->model, from, b->nextPoint - from, &b->placed[3 * static_cast<size_t>(from)]))
    b->failed = true;
  b->storedPoints = b->nextPoint - 1;
}

// Stores the points and triangles kept back, in the order they came:
// triangle ids are the ones they would have had one by one, lines' ids
// coming after them.
void storePending(ImportBuilder* b) {
  storePoints(b);
  const int32_t* corners = b->pendingTriangles.data();
  const size_t count = b->pendingCorners;
  b->pendingCorners = 0;
  if (count == 0 || b->failed) return;
  // The layer's bounds as a recompute would fold them.
  foldCorners(b->bounds, b->placed.data(), corners, count, !b->anyTriangle);
  b->anyTriangle = true;
  // Every point came from importVertex, which made it in this model.
  if (addTrianglesOfKnownPoints(b->model, b->layer, static_cast<int32_t>(count / 3), corners) == 0)
    b->failed = true;
}

// Points are stored as they come, a run at a time, while the reader is
// still sending vertices (it is the slower one then); the triangles after
// them find the table made.
constexpr int32_t kPointRun = 16384;

constexpr size_t kPendingCorners = 3 * 16384;

}  // namespace

void importBegin(ImportBuilder* b, Model* model) {
  b->model = model;
  b->positions.slots.assign(64, PositionSlot{0, 0, 0, 0});
  b->positions.used = 0;
  b->usedBy.assign(1, 0);
  b->usedBy.shrink_to_fit();
  b->placed.assign(3, 0.0f);
  b->placed.shrink_to_fit();
  b->firstPointAt.clear();
  b->firstPointAt.shrink_to_fit();
  b->nextPoint = 1;
  b->storedPoints = 0;
  b->pendingCorners = 0;
  b->counts = ImportCounts();
  b->layer = nullptr;
  b->layerIndex = 0;
  b->failed = false;
}

bool importLayer(ImportBuilder* b, const char* name, const ImportLook& look,
                 bool uvs, bool colours, const char* imageDirectory) {
  // A new layer may move the current one's record.
  storePending(b);
  const std::string layerName = layerNameFor(b->model, name);
  float rgb[3] = {0.0f, 0.0f, 0.0f};
  if (look.coloured) {
    for (int k = 0; k < 3; ++k)
      rgb[k] = look.colour[k] > 1.0f ? 1.0f : look.colour[k] > 0.0f ? look.colour[k] : 0.0f;
    storedColour(rgb);
  }
  Layer* layer = addLayer(b->model, layerName.c_str(), rgb[0], rgb[1], rgb[2],
                          look.twoSided ? 0 : 1, 0, kAxisX);
  if (layer == nullptr) {
    b->failed = true;
    return false;
  }
  if (look.opacity < 1.0f) {
    const float opacity = look.opacity > 0.0f ? look.opacity : 0.0f;
    setTransparency(b->model, layerName.c_str(), 1.0f - opacity);
  }
  b->image = nullptr;
  if (uvs && !addLayerImage(b, layerName, look, imageDirectory)) {
    b->failed = true;
    return false;
  }
  b->layer = findLayer(b->model, layerName.c_str());
  ++b->layerIndex;
  ++b->counts.layers;
  b->uvs = uvs;
  b->colours = colours;
  keysReset(&b->layerKeys, 3 + (uvs ? 2 : 0) + (colours ? 4 : 0));
  b->conflicted.clear();
  b->uniform = true;
  b->anyColour = false;
  b->polyline.clear();
  b->anyTriangle = false;
  return true;
}

namespace {

// Finds where the point first made at `position` is kept: the slot of the
// position table, or the reader's number of the first vertex there.
struct FirstAt {
  PositionTable* table;  // null: `cell` is the place
  int32_t* cell;
};

int32_t* firstPointCell(const FirstAt& at, const uint32_t key[3]) {
  if (at.table == nullptr) return at.cell;
  PositionSlot* there = positionSlot(at.table, key);
  // An empty slot is the position's from now on: a point is made there
  // at once (a slot whose point stays 0 still reads as empty).
  if (there->point == 0) {
    there->x = key[0];
    there->y = key[1];
    there->z = key[2];
  }
  return &there->point;
}

int32_t addVertex(ImportBuilder* b, const float position[3], const FirstAt& at,
                  const float* normal, const float* uv, const float* colour);

}  // namespace

int32_t importVertex(ImportBuilder* b, const float position[3],
                     const float* normal, const float* uv,
                     const float* colour) {
  return addVertex(b, position, FirstAt{&b->positions, nullptr}, normal, uv, colour);
}

int32_t importPlacedVertex(ImportBuilder* b, const float position[3],
                           uint32_t first, const float* normal, const float* uv,
                           const float* colour) {
  if (b->failed || b->layer == nullptr) return 0;
  const size_t self = b->firstPointAt.size();
  b->firstPointAt.push_back(0);
  int32_t* cell = &b->firstPointAt[self];
  if (first < self) {
    const int32_t there = b->firstPointAt[first];
    const float* p = there > 0 ? &b->placed[3 * static_cast<size_t>(there)] : nullptr;
    if (p != nullptr && bitsOf(p[0]) == bitsOf(position[0]) &&
        bitsOf(p[1]) == bitsOf(position[1]) && bitsOf(p[2]) == bitsOf(position[2]))
      cell = &b->firstPointAt[first];
  }
  return addVertex(b, position, FirstAt{nullptr, cell}, normal, uv, colour);
}

namespace {

int32_t addVertex(ImportBuilder* b, const float position[3], const FirstAt& at,
                  const float* normal, const float* uv, const float* colour) {
  if (b->failed || b->layer == nullptr) return 0;
  if (!allFinite(position, 3)) {
    lastErrorReport("a vertex position is not finite");
    b->failed = true;
    return 0;
  }
  uint32_t key[9];
  int32_t words = 0;
  for (int i = 0; i < 3; ++i) key[words++] = bitsOf(position[i]);
  if (b->uvs)
    for (int i = 0; i < 2; ++i) key[words++] = bitsOf(uv ? uv[i] : 0.0f);
  if (b->colours)
    for (int i = 0; i < 4; ++i) key[words++] = bitsOf(colour ? colour[i] : 1.0f);

  // Without texture coordinates or colours a layer has one point per
  // position: the first one made there, which needs no table of its own.
  const bool seams = words > 3;
  bool made = false;
  int32_t point = seams ? keysFind(b->layerKeys, key) : 0;
  int32_t* there = nullptr;  // the point first made at the position
  if (point == 0) {
    there = firstPointCell(at, key);
    if (!seams && *there != 0 && b->usedBy[static_cast<size_t>(*there)] == b->layerIndex)
      point = *there;
  }
  if (point == 0) {
    if (*there != 0 && b->usedBy[static_cast<size_t>(*there)] != b->layerIndex) {
      point = *there;
    } else {
      point = b->nextPoint;
      if (point == INT32_MAX) {
        lastErrorReport("too many points");
        b->failed = true;
        return 0;
      }
      ++b->nextPoint;
      ++b->counts.points;
      made = true;
      b->usedBy.push_back(0);
      b->placed.insert(b->placed.end(), position, position + 3);
      if (b->nextPoint - 1 - b->storedPoints >= kPointRun) storePoints(b);
      if (*there == 0) {
        *there = point;
        if (at.table != nullptr) ++at.table->used;
      }
    }
    b->usedBy[static_cast<size_t>(point)] = b->layerIndex;
    if (seams) keysAdd(&b->layerKeys, key, point);
    if (b->colours) {
      Colour* c = tableInsertT<Colour>(&b->layer->colours, point);
      const float rgba[4] = {colour ? colour[0] : 1.0f, colour ? colour[1] : 1.0f,
                             colour ? colour[2] : 1.0f, colour ? colour[3] : 1.0f};
      if (c != nullptr) *c = {rgba[0], rgba[1], rgba[2], rgba[3]};
      if (!b->anyColour) std::memcpy(b->firstColour, rgba, sizeof rgba);
      b->uniform = b->uniform && std::memcmp(b->firstColour, rgba, sizeof rgba) == 0;
      b->anyColour = true;
    }
    if (b->uvs && b->image != nullptr) {
      Uvee* u = tableInsertT<Uvee>(&b->image->uvees, point);
      if (u != nullptr) *u = {point, uv ? uv[0] : 0.0f, uv ? uv[1] : 0.0f};
    }
  }
  if (normal != nullptr && allFinite(normal, 3)) {
    // A point made just now has no normal in any layer yet.
    VectorEntry* stored = made ? nullptr : tableFindT<VectorEntry>(&b->layer->normals, point);
    if (stored == nullptr) {
      stored = tableInsertT<VectorEntry>(&b->layer->normals, point);
      if (stored != nullptr) *stored = {normal[0], normal[1], normal[2], 0};
    } else if (std::fabs(stored->x - normal[0]) > 1e-5f ||
               std::fabs(stored->y - normal[1]) > 1e-5f ||
               std::fabs(stored->z - normal[2]) > 1e-5f) {
      b->conflicted.push_back(point);
    }
  }
  return point;
}

}  // namespace

void importPrefetch(const ImportBuilder* b, const float position[3]) {
  positionPrefetch(&b->positions, position);
}

namespace {

// Where the next triangles of the run kept back go (room for one at
// least, for (kPendingCorners - pendingCorners) / 3 in all).
inline int32_t* pendingEnd(ImportBuilder* b) {
  if (b->pendingCorners == 0 && b->pendingTriangles.size() != kPendingCorners)
    b->pendingTriangles.resize(kPendingCorners);
  return b->pendingTriangles.data() + b->pendingCorners;
}

// `kept` triangles of points made here written at pendingEnd: the run is
// stored once full.
inline void keptTriangles(ImportBuilder* b, size_t kept) {
  b->pendingCorners += 3 * kept;
  b->counts.triangles += static_cast<int32_t>(kept);
  if (b->pendingCorners == kPendingCorners) storePending(b);
}

}  // namespace

void importExpectMesh(ImportBuilder* b, uint32_t vertices, uint32_t triangles, bool normals) {
  if (b->failed || b->layer == nullptr) return;
  // The records are not trusted: a count beyond any real mesh's is not
  // worth the memory (the table would grow as the items came).
  constexpr uint32_t kMostExpected = 1u << 24;
  if (triangles > 0 && triangles <= kMostExpected) {
    const int64_t room = int64_t{tableCount(&b->layer->triangles)} +
                         static_cast<int64_t>(b->pendingCorners / 3) + triangles;
    tableReserve(&b->layer->triangles, static_cast<int32_t>(room));
  }
  // A mesh with a vertex for every corner has its alike vertices joined
  // before they come: those of a closed one, about half as many as its
  // triangles, take the normals.
  const uint32_t points =
      triangles > 0 && vertices / 3 >= triangles ? triangles / 2 + 1 : vertices;
  if (normals && points > 0 && points <= kMostExpected)
    tableReserve(&b->layer->normals, tableCount(&b->layer->normals) + static_cast<int32_t>(points));
}

void importTriangle(ImportBuilder* b, int32_t a, int32_t c, int32_t d) {
  if (b->failed || a == 0 || c == 0 || d == 0) return;
  int32_t* at = pendingEnd(b);
  at[0] = a;
  at[1] = c;
  at[2] = d;
  keptTriangles(b, 1);
}

void importTriangles(ImportBuilder* b, const int32_t* pointOf, const uint32_t* corners,
                     size_t count) {
  // importTriangle for each, as much of the run at once as the pending
  // triangles have room for.
  size_t i = 0;
  while (i < count && !b->failed) {
    int32_t* at = pendingEnd(b);
    const size_t room = (kPendingCorners - b->pendingCorners) / 3;
    const size_t end = count - i < room ? count : i + room;
    size_t kept = 0;
    for (; i < end; ++i) {
      const int32_t a = pointOf[corners[3 * i]], c = pointOf[corners[3 * i + 1]],
                    d = pointOf[corners[3 * i + 2]];
      if (a == 0 || c == 0 || d == 0) continue;
      at[3 * kept] = a;
      at[3 * kept + 1] = c;
      at[3 * kept + 2] = d;
      ++kept;
    }
    keptTriangles(b, kept);
  }
}

void importEndLines(ImportBuilder* b) {
  storePending(b);
  if (!b->failed && b->polyline.size() >= 2) {
    if (addLineToLayer(b->model, b->layer, static_cast<int32_t>(b->polyline.size()),
                       b->polyline.data(), 0) == 0) {
      b->failed = true;
    } else {
      ++b->counts.lines;
    }
  }
  b->polyline.clear();
}

void importSegment(ImportBuilder* b, int32_t a, int32_t c) {
  if (b->failed || a == 0 || c == 0) return;
  const bool continues = !b->polyline.empty() && b->polyline.back() == a &&
                         b->polyline.size() < static_cast<size_t>(kAddPolygonMaxPoints);
  if (!continues) {
    importEndLines(b);
    b->polyline.push_back(a);
  }
  b->polyline.push_back(c);
}

void importEndLayer(ImportBuilder* b) {
  if (b->layer == nullptr) return;
  importEndLines(b);
  Layer* layer = b->layer;
  for (int32_t point : b->conflicted) tableRemove(&layer->normals, point);
  if (b->anyColour && b->uniform) {
    // One colour for every vertex is the layer's colour.
    tableRelease(&layer->colours);
    float rgb[3] = {b->firstColour[0], b->firstColour[1], b->firstColour[2]};
    storedColour(rgb);
    setLayerColour(b->model, layer, rgb);
    if (b->firstColour[3] < 1.0f) {
      layer->opacity *= b->firstColour[3] > 0.0f ? b->firstColour[3] : 0.0f;
      layer->transparent = 1;
    }
  } else if (b->anyColour) {
    tableForEach<const Colour>(&layer->colours, [&](const Colour* c, int32_t) {
      if (c->a < 1.0f) layer->transparent = 1;
    });
  }
  if (tableCount(&layer->colours) > 0 || tableCount(&layer->normals) > 0)
    noteLayerListed(b->model, kEntryLayers, layer);
  touchLayer(b->model, layer);
  if (b->anyTriangle) layerBoundsFound(b->model, layer, b->bounds);
  b->layer = nullptr;
  b->image = nullptr;
}
