#include "view/layer_cache.h"

#include "view/layer_parts.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <new>
#include <system_error>
#include <thread>

#include "model/geometry.h"
#include "model/posing.h"
#include "model/transform.h"
#include "view/host_memory.h"

namespace layer_parts {

namespace {

const uint8_t kNormalLineColour[4] = {0, 255, 255, 255};

uint8_t toByte(float c) {
  if (!(c > 0.0f)) return 0;  // NaN too
  if (c >= 1.0f) return 255;
  return static_cast<uint8_t>(c * 255.0f + 0.5f);
}

inline void setVertex(DrawVertex* v, const float* position,
                      const float* normal, const uint8_t* colour,
                      bool outline, bool selected) {
  *v = DrawVertex(position, normal, colour, outline ? 1 : 0, selected ? 1 : 0);
}

void emitVertex(std::vector<DrawVertex>* to, const float* position,
                const float* normal, const uint8_t* colour,
                bool outline = true, bool selected = false) {
  DrawVertex v;
  setVertex(&v, position, normal, colour, outline, selected);
  to->push_back(v);
}

// A selected polygon or line shows the selection colour at every corner,
// each keeping its alpha so that see-through layers stay see-through.
bool markSelected(const LayerSources& s, int32_t flags, int32_t count,
                  uint8_t (*colours)[4]) {
  if ((flags & kItemSelected) == 0) return false;
  for (int32_t i = 0; i < count; ++i) std::memcpy(colours[i], s.selection, 3);
  return true;
}

}  // namespace

LayerSources layerSources(const Model* model, const Layer* layer,
                          const uint8_t selection[3]) {
  LayerSources src;
  src.model = model;
  src.layer = layer;
  auto nonEmpty = [](const KeyedTable* t) {
    return tableCount(t) > 0 ? t : nullptr;
  };
  src.layerColours = nonEmpty(&layer->colours);
  src.modelColours = nonEmpty(&model->colours);
  src.layerNormals = nonEmpty(&layer->normals);
  src.modelNormals = nonEmpty(&model->normals);
  src.opacity = layer->opacity;
  src.selection = selection;
  float rgb[3];
  layerColour(layer, rgb);
  for (int i = 0; i < 3; ++i) src.fallback[i] = toByte(rgb[i]);
  src.fallback[3] = toByte(layer->opacity);
  return src;
}

void normalise(float v[3]) {
  if (scaleToUnit(v)) return;
  v[0] = 0.0f;
  v[1] = 0.0f;
  v[2] = 1.0f;
}

bool resolveCorners(const Model* model, const float* positions,
                    const int32_t* points, int32_t count, Corner* out) {
  for (int32_t i = 0; i < count; ++i) {
    const Point* p = tableFindT<Point>(&model->points, points[i]);
    if (p == nullptr) return false;
    Corner& c = out[i];
    c.number = points[i];
    c.slot = pointSlot(model, p);
    if (positions != nullptr) {
      std::memcpy(c.position, positions + 3 * static_cast<size_t>(c.slot),
                  sizeof c.position);
    } else {
      c.position[0] = p->x;
      c.position[1] = p->y;
      c.position[2] = p->z;
    }
  }
  return true;
}

// (b - a) x (c - a) summed over the strip's triangles.
void stripNormal(const Corner* corners, int32_t count, float n[3]) {
  n[0] = n[1] = n[2] = 0.0f;
  forEachStripIndex(count, [&](int32_t i, int32_t j, int32_t k) {
    const float* a = corners[i].position;
    const float* b = corners[j].position;
    const float* c = corners[k].position;
    const float u[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
    const float v[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
    n[0] += u[1] * v[2] - u[2] * v[1];
    n[1] += u[2] * v[0] - u[0] * v[2];
    n[2] += u[0] * v[1] - u[1] * v[0];
  });
}

void cornerColour(const LayerSources& s, int32_t number, uint8_t out[4]) {
  const Colour* c = tableFindEither<const Colour>(s.layerColours, s.modelColours, number);
  if (c == nullptr) {
    std::memcpy(out, s.fallback, 4);
    return;
  }
  out[0] = toByte(c->r);
  out[1] = toByte(c->g);
  out[2] = toByte(c->b);
  out[3] = toByte(c->a * s.opacity);
}

// The stored normal of the point, normalised; false when there is none
// (or it has no direction).
bool storedNormal(const LayerSources& s, int32_t number, float out[3]) {
  const VectorEntry* v =
      tableFindEither<const VectorEntry>(s.layerNormals, s.modelNormals, number);
  if (v == nullptr) return false;
  out[0] = v->x;
  out[1] = v->y;
  out[2] = v->z;
  const float length = out[0] * out[0] + out[1] * out[1] + out[2] * out[2];
  if (!(length > 0.0f) || !std::isfinite(length)) return false;
  normalise(out);
  return true;
}

bool writePolygon(const LayerSources& src, const Triangle* t,
                  const Corner* corners, const float (*normals)[3],
                  float normalLength, DrawVertex* triangles,
                  DrawVertex* normalLines) {
  const int32_t count = t->count;
  uint8_t colours[kMaxPolygonPoints][4];
  for (int32_t i = 0; i < count; ++i)
    cornerColour(src, corners[i].number, colours[i]);
  const bool selected = markSelected(src, t->flags, count, colours);
  // The polygon is a triangle strip; each vertex flags whether the edge
  // it starts lies on the outline, so that wireframe shows no diagonals.
  DrawVertex* v = triangles;
  forEachStripIndex(count, [&](int32_t a, int32_t b, int32_t c) {
    setVertex(v++, corners[a].position, normals[a], colours[a],
              stripOutlineEdge(a, b, count), selected);
    setVertex(v++, corners[b].position, normals[b], colours[b],
              stripOutlineEdge(b, c, count), selected);
    setVertex(v++, corners[c].position, normals[c], colours[c],
              stripOutlineEdge(c, a, count), selected);
  });
  if (normalLength <= 0.0f) return selected;
  for (int32_t i = 0; i < count; ++i) {
    const float* p = corners[i].position;
    const float tip[3] = {p[0] + normals[i][0] * normalLength,
                          p[1] + normals[i][1] * normalLength,
                          p[2] + normals[i][2] * normalLength};
    setVertex(normalLines++, p, normals[i], kNormalLineColour, true, false);
    setVertex(normalLines++, tip, normals[i], kNormalLineColour, true, false);
  }
  return selected;
}

bool emitPolygon(const LayerSources& src, const Triangle* t,
                 const Corner* corners, const float (*normals)[3],
                 float normalLength, std::vector<DrawVertex>* triangles,
                 std::vector<DrawVertex>* normalLines) {
  // Grown by the polygon at once: a vertex at a time costs a capacity
  // check each, which shows at millions of them.
  const size_t at = triangles->size(), lines = normalLines->size();
  triangles->resize(at + 3 * static_cast<size_t>(t->count - 2));
  if (normalLength > 0.0f)
    normalLines->resize(lines + 2 * static_cast<size_t>(t->count));
  return writePolygon(src, t, corners, normals, normalLength,
                      triangles->data() + at, normalLines->data() + lines);
}

}  // namespace layer_parts

using namespace layer_parts;

void SmoothScratch::findUniform() {
  if (uniform.size() < stamp.size()) {
    uniform.resize(stamp.size());
    unit.resize(3 * stamp.size());
  }
  for (int32_t slot : touched) {
    const int32_t begin = first[slot], end = first[slot] + count[slot];
    float sum[3] = {0.0f, 0.0f, 0.0f};
    for (int32_t i = begin; i < end; ++i) {
      const float* n = &normals[3 * static_cast<size_t>(faces[i])];
      sum[0] += n[0];
      sum[1] += n[1];
      sum[2] += n[2];
    }
    bool all = scaleToUnit(sum);
    for (int32_t i = begin; all && i < end; ++i) {
      const float* u = &units[3 * static_cast<size_t>(faces[i])];
      all = u[0] * sum[0] + u[1] * sum[1] + u[2] * sum[2] >= kUniformCosine;
    }
    uniform[slot] = all ? 1 : 0;
    if (all) std::copy_n(sum, 3, &unit[3 * static_cast<size_t>(slot)]);
  }
}

namespace {

// Where gatherFaces writes: from face `faces` and corner `corners` of the
// smoothing pass's arrays, sized beforehand.
struct FaceWriter {
  SmoothScratch* into;
  int32_t faces;
  int32_t corners;
  int32_t selectedFaces;
};

// The drawn polygons in slots [begin, end): each one's normal (twice its
// area long), unit normal, point slots, where its corners start and its
// slot, written on from where `at` stands.
void gatherFaces(const Model* model, const Layer* layer, const float* positions,
                 int32_t begin, int32_t end, FaceWriter* at) {
  SmoothScratch* into = at->into;
  float* normals = into->normals.data();
  float* units = into->units.data();
  int32_t* cornerSlots = into->cornerSlots.data();
  Corner corners[kMaxPolygonPoints];
  for (int32_t s = tableNextSlot(&layer->triangles, begin - 1); s >= 0 && s < end;
       s = tableNextSlot(&layer->triangles, s)) {
    const Triangle* t = tableAt<Triangle>(&layer->triangles, s);
    if (t->count < 3 || t->count > kMaxPolygonPoints) continue;
    if (!resolveCorners(model, positions, polygonPoints(t), t->count, corners))
      continue;
    const size_t f = static_cast<size_t>(at->faces++);
    float* n = normals + 3 * f;
    stripNormal(corners, t->count, n);
    std::copy_n(n, 3, units + 3 * f);
    normalise(units + 3 * f);
    into->faceStart[f] = at->corners;
    into->polygonSlots[f] = s;
    if (t->flags & kItemSelected) ++at->selectedFaces;
    for (int32_t i = 0; i < t->count; ++i) cornerSlots[at->corners++] = corners[i].slot;
  }
}

// Faces and corners of the drawable polygons in slots [begin, end), at
// most (those naming a missing point are left out later).
void countFaces(const Layer* layer, int32_t begin, int32_t end, int32_t* faces,
                int32_t* corners) {
  *faces = *corners = 0;
  for (int32_t s = tableNextSlot(&layer->triangles, begin - 1); s >= 0 && s < end;
       s = tableNextSlot(&layer->triangles, s)) {
    const int32_t count = tableAt<Triangle>(&layer->triangles, s)->count;
    if (count < 3 || count > kMaxPolygonPoints) continue;
    ++*faces;
    *corners += count;
  }
}

}  // namespace

size_t layerStripTriangles(const Layer* layer) {
  int32_t faces = 0, corners = 0;
  countFaces(layer, 0, layer->triangles.capacity, &faces, &corners);
  return static_cast<size_t>(corners) - 2 * static_cast<size_t>(faces);
}

namespace {

// Moves the later half's faces, written from `laterFirstFace` and
// `laterFirstCorner` on, down to follow the earlier half's, which left out
// polygons naming a missing point and so took less than was counted.
void closeGap(SmoothScratch* smooth, const FaceWriter& earlier, const FaceWriter& later,
              int32_t laterFirstFace, int32_t laterFirstCorner) {
  const int32_t faces = later.faces - laterFirstFace;
  const int32_t corners = later.corners - laterFirstCorner;
  const int32_t cornerGap = laterFirstCorner - earlier.corners;
  auto down = [](auto& v, size_t from, size_t to, size_t count) {
    std::copy(v.begin() + from, v.begin() + from + count, v.begin() + to);
  };
  down(smooth->normals, 3 * laterFirstFace, 3 * earlier.faces, 3 * faces);
  down(smooth->units, 3 * laterFirstFace, 3 * earlier.faces, 3 * faces);
  down(smooth->polygonSlots, laterFirstFace, earlier.faces, faces);
  down(smooth->faceStart, laterFirstFace, earlier.faces, faces);
  down(smooth->cornerSlots, laterFirstCorner, earlier.corners, corners);
  for (int32_t f = earlier.faces; f < earlier.faces + faces; ++f)
    smooth->faceStart[f] -= cornerGap;
}

void accumulateSmoothNormals(const Model* model, const Layer* layer,
                             const float* positions, SmoothScratch* smooth,
                             std::function<void(size_t)>* meanwhile) {
  smooth->begin(model->points.capacity);
  const int32_t slots = layer->triangles.capacity;
  int32_t earlierFaces = 0, earlierCorners = 0, laterFaces = 0, laterCorners = 0;
  countFaces(layer, 0, slots / 2, &earlierFaces, &earlierCorners);
  countFaces(layer, slots / 2, slots, &laterFaces, &laterCorners);
  const size_t faces = static_cast<size_t>(earlierFaces + laterFaces);
  // Written by two threads at once, and indexed while the driver clears a
  // buffer: with large pages asked for, one thread's faults were seen to
  // stall behind the other's (two or three times the time), so these keep
  // small pages.
  smooth->normals.resize(3 * faces);
  smooth->units.resize(3 * faces);
  smooth->cornerSlots.resize(static_cast<size_t>(earlierCorners + laterCorners));
  smooth->faceStart.resize(faces);
  smooth->polygonSlots.resize(faces);
  // A big layer is gathered in two halves of its table at once, the later
  // half written after the most the earlier one can take.
  constexpr int32_t kSlotsForTwoThreads = 1 << 16;
  FaceWriter earlier = {smooth, 0, 0, 0};
  bool gathered = false;
  if (slots >= kSlotsForTwoThreads) {
    const int32_t laterFace = earlierFaces, laterCorner = earlierCorners;
    FaceWriter later = {smooth, laterFace, laterCorner, 0};
    try {
      std::thread second(
          [&] { gatherFaces(model, layer, positions, slots / 2, slots, &later); });
      gatherFaces(model, layer, positions, 0, slots / 2, &earlier);
      second.join();
      if (earlier.faces < laterFace)
        closeGap(smooth, earlier, later, laterFace, laterCorner);
      earlier.faces += later.faces - laterFace;
      earlier.corners += later.corners - laterCorner;
      earlier.selectedFaces += later.selectedFaces;
      gathered = true;
    } catch (const std::system_error&) {
      // No thread to be had: one does it all.
    }
  }
  if (!gathered) gatherFaces(model, layer, positions, 0, slots, &earlier);
  smooth->normals.resize(3 * static_cast<size_t>(earlier.faces));
  smooth->units.resize(3 * static_cast<size_t>(earlier.faces));
  smooth->faceStart.resize(static_cast<size_t>(earlier.faces));
  smooth->polygonSlots.resize(static_cast<size_t>(earlier.faces));
  smooth->cornerSlots.resize(static_cast<size_t>(earlier.corners));
  smooth->selectedFaces = earlier.selectedFaces;
  if (meanwhile == nullptr || !*meanwhile) {
    smooth->index();
    return;
  }
  // The faces are indexed on a second thread while this one runs the
  // caller's work.
  bool indexFailed = false;
  std::thread indexer;
  try {
    indexer = std::thread([&] {
      try {
        smooth->index();
      } catch (const std::bad_alloc&) {
        indexFailed = true;
      }
    });
  } catch (const std::system_error&) {
    smooth->index();
  }
  (*meanwhile)(3 * (static_cast<size_t>(earlier.corners) - 2 * static_cast<size_t>(earlier.faces)));
  *meanwhile = nullptr;
  if (indexer.joinable()) indexer.join();
  if (indexFailed) throw std::bad_alloc();
}

// Faces [begin, end) of the smoothing pass, each handed to
// emit(face, polygon, corners, normals) with its corners and normals.
template <class Emit>
void smoothedFaces(const LayerSources& src, const float* positions,
                   bool automatic, int32_t begin, int32_t end,
                   const LayerVertices& built, Emit emit) {
  const SmoothScratch& smooth = built.smooth;
  const KeyedTable* points = &src.model->points;
  const KeyedTable* polygons = &src.layer->triangles;
  Corner corners[kMaxPolygonPoints];
  float normals[kMaxPolygonPoints][3];
  for (int32_t f = begin; f < end; ++f) {
    const Triangle* t = tableAt<Triangle>(polygons, smooth.polygonSlots[f]);
    const int32_t* slots = &smooth.cornerSlots[smooth.faceStart[f]];
    for (int32_t i = 0; i < t->count; ++i) {
      Corner& c = corners[i];
      c.slot = slots[i];
      c.number = polygonPoints(t)[i];
      const float* p = positions != nullptr
                           ? positions + 3 * static_cast<size_t>(c.slot)
                           : &tableAt<Point>(points, c.slot)->x;
      std::memcpy(c.position, p, sizeof c.position);
    }
    polygonNormals(src, corners, t->count, kNormalsStoredElseSmooth, automatic,
                   [&](int32_t i, float n[3]) {
                     return smooth.cornerNormal(f, corners[i].slot, n);
                   },
                   normals, &smooth.units[3 * static_cast<size_t>(f)]);
    emit(f, t, corners, normals);
  }
}

// The second pass when smoothing: the first resolved every drawn polygon
// already, so its corners and face normals are taken instead of looking
// the points up again. A face's vertices start at three per triangle of
// the faces before it in `triangles`, its normal lines at two per corner
// before it. A big layer is split between two threads.
void writeSmoothed(const LayerSources& src, const float* positions,
                   bool automatic, float normalLength, LayerVertices* out,
                   DrawVertex* triangles) {
  const int32_t faces = static_cast<int32_t>(out->smooth.polygonSlots.size());
  inTwoHalves(faces, [&](int32_t begin, int32_t end) {
    smoothedFaces(src, positions, automatic, begin, end, *out,
                  [&](int32_t f, const Triangle* t, const Corner* corners,
                      const float (*normals)[3]) {
                    const PolygonPlace& place = out->places[out->smooth.polygonSlots[f]];
                    writePolygon(src, t, corners, normals, normalLength,
                                 triangles + place.triangles,
                                 out->normalLines.data() + place.normalLines);
                  });
  });
}

// The first corner of face f of the smoothing pass (for f past the last
// face, the count of corners).
size_t firstCornerOf(const SmoothScratch& smooth, int32_t f) {
  return f < static_cast<int32_t>(smooth.faceStart.size())
             ? static_cast<size_t>(smooth.faceStart[f])
             : smooth.cornerSlots.size();
}

// The first triangle vertex of face f: three per triangle of the faces
// before it, a face of n corners being n - 2 triangles.
size_t firstVertexOf(const SmoothScratch& smooth, int32_t f) {
  return 3 * (firstCornerOf(smooth, f) - 2 * static_cast<size_t>(f));
}

// Writes faces [begin, end) shared into `half` of `out`: each corner's
// vertex as writePolygon makes it, kept once per point for all the
// corners there that are alike byte for byte; its index counts from the
// half's first vertex. The half's arrays are sized beforehand: threads
// must not allocate.
void shareSmoothedFaces(const LayerSources& src, const LayerVertices& built,
                        int32_t begin, int32_t end, int half,
                        SharedTriangles* out) {
  DrawVertex* vertices = out->vertices[half].data();
  int32_t* next = out->next[half].data();
  int32_t* head = out->head[half].data();
  uint32_t* index = out->indices.data() + firstVertexOf(built.smooth, begin);
  int32_t distinct = 0;
  DrawVertex written[3 * (kMaxPolygonPoints - 2)];
  smoothedFaces(src, built.smoothed.positions, built.smoothed.automatic, begin, end,
                built,
                [&](int32_t, const Triangle* t, const Corner* corners,
                    const float (*normals)[3]) {
                  writePolygon(src, t, corners, normals, 0.0f, written, nullptr);
                  const DrawVertex* v = written;
                  auto share = [&](int32_t corner) {
                    int32_t* link = &head[corners[corner].slot];
                    while (*link >= 0 &&
                           std::memcmp(&vertices[*link], v, sizeof *v) != 0)
                      link = &next[*link];
                    if (*link < 0) {
                      vertices[distinct] = *v;
                      next[distinct] = -1;
                      *link = distinct++;
                    }
                    *index++ = static_cast<uint32_t>(*link);
                    ++v;
                  };
                  forEachStripIndex(t->count, [&](int32_t a, int32_t b, int32_t c) {
                    share(a);
                    share(b);
                    share(c);
                  });
                });
  out->vertices[half].resize(static_cast<size_t>(distinct));  // never grows
  // The heads go back to empty for the next layer: only those touched,
  // so that a small layer of a big model costs what it uses.
  const SmoothScratch& smooth = built.smooth;
  for (size_t c = firstCornerOf(smooth, begin); c < firstCornerOf(smooth, end); ++c)
    head[smooth.cornerSlots[c]] = -1;
}

// Where every smoothed face goes, its selection counted; the triangle
// vertices are left to writeSmoothed.
void placeSmoothed(float normalLength, LayerVertices* out) {
  const SmoothScratch& smooth = out->smooth;
  const int32_t faces = static_cast<int32_t>(smooth.polygonSlots.size());
  for (int32_t f = 0; f < faces; ++f) {
    const int32_t cornersBefore = smooth.faceStart[f];
    out->places[smooth.polygonSlots[f]] = {
        3 * (cornersBefore - 2 * f), normalLength > 0.0f ? 2 * cornersBefore : 0};
  }
  out->deferredTriangles = firstVertexOf(smooth, faces);
  if (normalLength > 0.0f) out->normalLines.resize(2 * smooth.cornerSlots.size());
  out->selectedItems += smooth.selectedFaces;
}

void buildPolygons(const LayerSources& src, const float* positions,
                   NormalMode mode, float normalLength, bool deferTriangles,
                   std::function<void(size_t)>* meanwhile, LayerVertices* out) {
  const Model* model = src.model;
  const Layer* layer = src.layer;
  out->places.assign(static_cast<size_t>(layer->triangles.capacity),
                     PolygonPlace{-1, -1});
  bool automatic = false;
  mode = effectiveMode(layer, mode, &automatic);
  if (mode == kNormalsStoredElseSmooth)
    accumulateSmoothNormals(model, layer, positions, &out->smooth,
                            deferTriangles && !(normalLength > 0.0f) ? meanwhile : nullptr);

  if (mode == kNormalsStoredElseSmooth) {
    placeSmoothed(normalLength, out);
    out->smoothed = {positions, automatic};
    // Written now unless the caller asked to write them itself, and can:
    // with normal lines to show they are written together.
    if (!deferTriangles || normalLength > 0.0f) {
      out->triangles.resize(out->deferredTriangles);
      writeSmoothed(src, positions, automatic, normalLength, out,
                    out->triangles.data());
      out->deferredTriangles = 0;
    }
    return;
  }
  reserveLarge(&out->triangles, 3 * layerStripTriangles(layer));
  Corner corners[kMaxPolygonPoints];
  float normals[kMaxPolygonPoints][3];
  for (int32_t s = tableNextSlot(&layer->triangles, -1); s >= 0;
       s = tableNextSlot(&layer->triangles, s)) {
    const Triangle* t = tableAt<Triangle>(&layer->triangles, s);
    const int32_t count = t->count;
    if (count < 3 || count > kMaxPolygonPoints) continue;
    if (!resolveCorners(model, positions, polygonPoints(t), count, corners)) continue;
    polygonNormals(src, corners, count, mode, automatic,
                   [](int32_t, float*) { return false; }, normals);
    out->places[s] = {static_cast<int32_t>(out->triangles.size()),
                      static_cast<int32_t>(out->normalLines.size())};
    if (emitPolygon(src, t, corners, normals, normalLength, &out->triangles,
                    &out->normalLines))
      ++out->selectedItems;
  }
}

void buildLines(const LayerSources& src, const float* positions,
                LayerVertices* out) {
  const Layer* layer = src.layer;
  const float up[3] = {0.0f, 0.0f, 1.0f};  // lines are drawn unlit
  Corner corners[kMaxPolygonPoints];
  uint8_t colours[kMaxPolygonPoints][4];
  std::vector<DrawVertex> closing;
  for (int32_t s = tableNextSlot(&layer->lines, -1); s >= 0;
       s = tableNextSlot(&layer->lines, s)) {
    const Line* l = tableAt<Line>(&layer->lines, s);
    const int32_t count = l->count;
    if (count < 2 || count > kMaxPolygonPoints) continue;
    if (!resolveCorners(src.model, positions, polygonPoints(l), count, corners))
      continue;
    for (int32_t i = 0; i < count; ++i)
      cornerColour(src, corners[i].number, colours[i]);
    if (markSelected(src, l->flags, count, colours)) ++out->selectedItems;
    for (int32_t i = 0; i + 1 < count; ++i) {
      emitVertex(&out->lines, corners[i].position, up, colours[i]);
      emitVertex(&out->lines, corners[i + 1].position, up, colours[i + 1]);
    }
    if (count >= 3) {
      emitVertex(&closing, corners[count - 1].position, up, colours[count - 1]);
      emitVertex(&closing, corners[0].position, up, colours[0]);
    }
  }
  out->openLineVertices = static_cast<int32_t>(out->lines.size());
  out->lines.insert(out->lines.end(), closing.begin(), closing.end());
}

}  // namespace

void buildLayerVertices(const Model* model, const Layer* layer,
                        const float* positions, NormalMode mode,
                        float normalLength, const uint8_t selection[3],
                        LayerVertices* out, bool deferTriangles,
                        std::function<void(size_t)> meanwhile) {
  out->triangles.clear();
  out->lines.clear();
  out->normalLines.clear();
  out->openLineVertices = 0;
  out->selectedItems = 0;
  out->deferredTriangles = 0;

  const LayerSources src = layerSources(model, layer, selection);
  buildPolygons(src, positions, mode, normalLength, deferTriangles, &meanwhile, out);
  buildLines(src, positions, out);
  if (meanwhile) meanwhile(out->deferredTriangles);
}

void writeDeferredTriangles(const Model* model, const Layer* layer,
                            const uint8_t selection[3], LayerVertices* built,
                            DrawVertex* to) {
  const LayerSources src = layerSources(model, layer, selection);
  writeSmoothed(src, built->smoothed.positions, built->smoothed.automatic, 0.0f,
                built, to);
}


void writeSharedTriangles(const Model* model, const Layer* layer,
                          const uint8_t selection[3], const LayerVertices& built,
                          SharedTriangles* out) {
  const LayerSources src = layerSources(model, layer, selection);
  const SmoothScratch& smooth = built.smooth;
  const int32_t faces = static_cast<int32_t>(smooth.polygonSlots.size());
  const size_t all = firstVertexOf(smooth, faces);
  const size_t later = all - firstVertexOf(smooth, faces / 2);
  // At most a vertex per corner; a smooth surface keeps about a sixth of
  // that, and the pages beyond are never touched. The earlier half takes
  // every face when no second thread runs.
  out->indices.resize(all);
  const size_t slots = static_cast<size_t>(model->points.capacity);
  for (int half = 0; half < 2; ++half) {
    const size_t most = half == 0 ? all : later;
    out->vertices[half].resize(most);
    out->next[half].resize(most);
    // Empty between builds: each build empties the heads it used.
    if (out->head[half].size() < slots) out->head[half].resize(slots, -1);
  }
  bool laterRan = false;
  inTwoHalves(faces, [&](int32_t begin, int32_t end) {
    const int half = begin == 0 ? 0 : 1;
    if (half == 1) laterRan = true;
    shareSmoothedFaces(src, built, begin, end, half, out);
  });
  if (!laterRan) {
    out->vertices[1].clear();
    return;
  }
  // The later half's indices count on from the earlier half's vertices.
  const uint32_t offset = static_cast<uint32_t>(out->vertices[0].size());
  for (size_t i = all - later; i < all; ++i) out->indices[i] += offset;
}

void buildSelectedMarks(const Model* model, const uint8_t colour[3],
                        std::vector<DrawVertex>* joints,
                        std::vector<DrawVertex>* edges) {
  joints->clear();
  edges->clear();
  const float up[3] = {0.0f, 0.0f, 1.0f};  // drawn unlit
  const uint8_t rgba[4] = {colour[0], colour[1], colour[2], 255};
  for (int32_t s = tableNextSlot(&model->joints, -1); s >= 0;
       s = tableNextSlot(&model->joints, s)) {
    const Joint* joint = tableAt<Joint>(&model->joints, s);
    if (joint->selected) emitVertex(joints, joint->position, up, rgba);
  }
  for (int32_t s = tableNextSlot(&model->collides, -1); s >= 0;
       s = tableNextSlot(&model->collides, s)) {
    const CollideObject* o = tableAt<CollideObject>(&model->collides, s);
    if ((o->flags & kItemSelected) == 0) continue;
    // Corner c has the half size along local axis i negative where bit i
    // of c is clear.
    float corner[8][3];
    for (int c = 0; c < 8; ++c) {
      const float local[3] = {(c & 1 ? 0.5f : -0.5f) * o->size[0],
                              (c & 2 ? 0.5f : -0.5f) * o->size[1],
                              (c & 4 ? 0.5f : -0.5f) * o->size[2]};
      for (int r = 0; r < 3; ++r)
        corner[c][r] = o->position[r] + o->rotation[r * 3] * local[0] +
                       o->rotation[r * 3 + 1] * local[1] +
                       o->rotation[r * 3 + 2] * local[2];
    }
    // An edge joins corners that differ in one bit.
    for (int c = 0; c < 8; ++c) {
      for (int bit = 1; bit < 8; bit <<= 1) {
        if (c & bit) continue;
        emitVertex(edges, corner[c], up, rgba);
        emitVertex(edges, corner[c | bit], up, rgba);
      }
    }
  }
}
