#include "view/model_displays.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <new>

#include "model/point_moves.h"
#include "view/host_memory.h"

bool haveBuffers() {
  return glGenBuffers != nullptr && glBindBuffer != nullptr &&
         glBufferData != nullptr && glDeleteBuffers != nullptr;
}

namespace {

// Forgets the run's indices, if it shares its vertices: every way of
// putting new vertices into a run goes through here.
void dropElements(ModelDisplays* store, VertexRun* run) {
  if (run->elements != 0) store->doomed.push_back(run->elements);
  run->elements = 0;
  run->stored = run->room = 0;
}

}  // namespace

void dropRun(ModelDisplays* store, VertexRun* run) {
  dropElements(store, run);
  if (run->buffer != 0) store->doomed.push_back(run->buffer);
  run->buffer = 0;
  run->host.clear();
  run->host.shrink_to_fit();
  run->count = 0;
}

void dropLayer(ModelDisplays* store, LayerDisplay* layer) {
  dropRun(store, &layer->triangles);
  dropRun(store, &layer->lines);
  dropRun(store, &layer->normals);
  dropImageRuns(&layer->images, &store->doomed);
  dropRun(store, &layer->selected);
  layer->places = std::vector<PolygonPlace>();
  layer->valid = false;
}

void releaseById(ModelDisplays* store, int32_t id) {
  auto found = store->byModel.find(id);
  if (found == store->byModel.end()) return;
  const std::vector<int32_t> children = found->second.children;
  for (LayerDisplay& layer : found->second.layers) dropLayer(store, &layer);
  dropRun(store, &found->second.markers);
  store->byModel.erase(found);
  for (int32_t child : children) releaseById(store, child);
}

void deleteDoomedBuffers(ModelDisplays* store) {
  std::vector<GLuint>& doomed = store->doomed;
  if (doomed.empty() || !haveBuffers()) {
    doomed.clear();
    return;
  }
  glDeleteBuffers(static_cast<GLsizei>(doomed.size()), doomed.data());
  doomed.clear();
}

void upload(ModelDisplays* store, VertexRun* run,
            const std::vector<DrawVertex>& data) {
  dropElements(store, run);
  run->host.clear();
  run->host.shrink_to_fit();
  run->count = static_cast<int32_t>(data.size());
  if (data.empty()) {
    if (run->buffer != 0) store->doomed.push_back(run->buffer);
    run->buffer = 0;
    return;
  }
  if (haveBuffers()) {
    // Only this upload's error counts (a lost context repeats its error).
    for (int i = 0; i < 8 && glGetError() != GL_NO_ERROR; ++i) {
    }
    if (run->buffer == 0) glGenBuffers(1, &run->buffer);
    glBindBuffer(GL_ARRAY_BUFFER, run->buffer);
    glBufferData(GL_ARRAY_BUFFER,
                 static_cast<GLsizeiptr>(data.size() * sizeof(DrawVertex)),
                 data.data(), GL_STATIC_DRAW);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    if (glGetError() == GL_NO_ERROR) return;
    store->doomed.push_back(run->buffer);
    run->buffer = 0;
  }
  run->host = data;
}

void* mapFreshBuffer(GLuint* buffer, size_t bytes) {
  if (bytes == 0 || !haveBuffers() || glMapBufferRange == nullptr ||
      glUnmapBuffer == nullptr)
    return nullptr;
  for (int i = 0; i < 8 && glGetError() != GL_NO_ERROR; ++i) {
  }
  const GLsizeiptr size = static_cast<GLsizeiptr>(bytes);
  if (*buffer == 0) glGenBuffers(1, buffer);
  glBindBuffer(GL_ARRAY_BUFFER, *buffer);
  glBufferData(GL_ARRAY_BUFFER, size, nullptr, GL_STATIC_DRAW);
  void* to = glMapBufferRange(GL_ARRAY_BUFFER, 0, size,
                              GL_MAP_WRITE_BIT | GL_MAP_INVALIDATE_BUFFER_BIT);
  glBindBuffer(GL_ARRAY_BUFFER, 0);
  // Often fresh pages of the driver's: large ones fault far less often
  // (a hint the system ignores for memory that cannot take it).
  if (to != nullptr) adviseLargePages(to, bytes);
  return to;
}

bool unmapFreshBuffer(GLuint* buffer, bool mapped, std::vector<GLuint>* doomed) {
  bool written = false;
  if (mapped) {
    glBindBuffer(GL_ARRAY_BUFFER, *buffer);
    // False: the store was lost while mapped (a mode switch): write again.
    written = glUnmapBuffer(GL_ARRAY_BUFFER) == GL_TRUE;
    glBindBuffer(GL_ARRAY_BUFFER, 0);
  }
  if (written && glGetError() == GL_NO_ERROR) return true;
  if (*buffer != 0) doomed->push_back(*buffer);
  *buffer = 0;
  return false;
}

bool writeMappedBuffer(GLuint* buffer, size_t bytes,
                       const std::function<void(void*)>& write,
                       std::vector<GLuint>* doomed) {
  if (bytes == 0 || !haveBuffers()) return false;
  void* to = mapFreshBuffer(buffer, bytes);
  if (to != nullptr) write(to);
  return unmapFreshBuffer(buffer, to != nullptr, doomed);
}

void takeWritten(ModelDisplays* store, VertexRun* run, size_t count) {
  dropElements(store, run);
  run->host.clear();
  run->host.shrink_to_fit();
  run->count = static_cast<int32_t>(count);
}

bool uploadWritten(ModelDisplays* store, VertexRun* run, size_t count,
                   const std::function<void(DrawVertex*)>& write) {
  if (!writeMappedBuffer(&run->buffer, count * sizeof(DrawVertex),
                         [&](void* to) { write(static_cast<DrawVertex*>(to)); },
                         &store->doomed))
    return false;
  takeWritten(store, run, count);
  return true;
}

bool uploadShared(ModelDisplays* store, VertexRun* run,
                  const SharedTriangles& shared) {
  dropElements(store, run);
  run->host.clear();
  run->host.shrink_to_fit();
  run->count = 0;
  const size_t stored = shared.vertexCount(), indices = shared.indices.size();
  // Room for the vertices of a few thousand one-point moves before the
  // layer is built again.
  const size_t room = stored + std::max<size_t>(4096, stored / 8);
  if (stored == 0 || !haveBuffers() || glBufferSubData == nullptr ||
      room > static_cast<size_t>(INT32_MAX) || indices > static_cast<size_t>(INT32_MAX))
    return false;
  for (int i = 0; i < 8 && glGetError() != GL_NO_ERROR; ++i) {
  }
  if (run->buffer == 0) glGenBuffers(1, &run->buffer);
  glGenBuffers(1, &run->elements);
  glBindBuffer(GL_ARRAY_BUFFER, run->buffer);
  glBufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(room * sizeof(DrawVertex)),
               nullptr, GL_STATIC_DRAW);
  size_t at = 0;
  for (const auto& half : shared.vertices) {
    if (half.empty()) continue;
    glBufferSubData(GL_ARRAY_BUFFER, static_cast<GLintptr>(at * sizeof(DrawVertex)),
                    static_cast<GLsizeiptr>(half.size() * sizeof(DrawVertex)),
                    half.data());
    at += half.size();
  }
  glBindBuffer(GL_ARRAY_BUFFER, 0);
  glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, run->elements);
  glBufferData(GL_ELEMENT_ARRAY_BUFFER,
               static_cast<GLsizeiptr>(indices * sizeof(uint32_t)),
               shared.indices.data(), GL_STATIC_DRAW);
  glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
  if (glGetError() != GL_NO_ERROR) {
    dropElements(store, run);
    if (run->buffer != 0) store->doomed.push_back(run->buffer);
    run->buffer = 0;
    return false;
  }
  run->count = static_cast<int32_t>(indices);
  run->stored = static_cast<int32_t>(stored);
  run->room = static_cast<int32_t>(room);
  return true;
}

namespace {

// A shared run's patch: the new vertices, alike ones once, go after the
// stored ones, and the patched corners' indices are written over. The
// vertices there before stay, as corners outside the patch may use them.
bool patchShared(VertexRun* run, const VertexPatch& patch,
                 std::vector<uint32_t>* order, std::vector<uint32_t>* indices,
                 std::vector<DrawVertex>* added) {
  const std::vector<DrawVertex>& from = patch.vertices;
  order->resize(from.size());
  for (size_t i = 0; i < from.size(); ++i) (*order)[i] = static_cast<uint32_t>(i);
  std::sort(order->begin(), order->end(), [&](uint32_t a, uint32_t b) {
    const int c = std::memcmp(&from[a], &from[b], sizeof(DrawVertex));
    return c != 0 ? c < 0 : a < b;
  });
  indices->resize(from.size());
  added->clear();
  for (size_t i = 0; i < order->size(); ++i) {
    const uint32_t at = (*order)[i];
    if (i == 0 || std::memcmp(&from[at], &from[(*order)[i - 1]], sizeof(DrawVertex)) != 0)
      added->push_back(from[at]);
    (*indices)[at] = static_cast<uint32_t>(run->stored + added->size() - 1);
  }
  if (added->size() > static_cast<size_t>(run->room - run->stored)) return false;
  glBindBuffer(GL_ARRAY_BUFFER, run->buffer);
  glBufferSubData(GL_ARRAY_BUFFER,
                  static_cast<GLintptr>(run->stored * sizeof(DrawVertex)),
                  static_cast<GLsizeiptr>(added->size() * sizeof(DrawVertex)),
                  added->data());
  glBindBuffer(GL_ARRAY_BUFFER, 0);
  glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, run->elements);
  const uint32_t* index = indices->data();
  for (const PatchRun& r : patch.runs) {
    glBufferSubData(GL_ELEMENT_ARRAY_BUFFER,
                    static_cast<GLintptr>(r.first * sizeof(uint32_t)),
                    static_cast<GLsizeiptr>(r.count * sizeof(uint32_t)), index);
    index += r.count;
  }
  glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
  run->stored += static_cast<int32_t>(added->size());
  return true;
}

}  // namespace

bool patchRun(VertexRun* run, const VertexPatch& patch, LayerPatch* work) {
  size_t patched = 0;
  for (const PatchRun& r : patch.runs) {
    if (r.first < 0 || r.count < 0 || r.count > run->count - r.first) return false;
    patched += static_cast<size_t>(r.count);
  }
  if (patched != patch.vertices.size()) return false;
  if (run->elements != 0)
    return patchShared(run, patch, &work->order, &work->indices, &work->added);
  if (run->buffer != 0) glBindBuffer(GL_ARRAY_BUFFER, run->buffer);
  const DrawVertex* from = patch.vertices.data();
  for (const PatchRun& r : patch.runs) {
    if (run->buffer != 0) {
      glBufferSubData(GL_ARRAY_BUFFER,
                      static_cast<GLintptr>(r.first * sizeof(DrawVertex)),
                      static_cast<GLsizeiptr>(r.count * sizeof(DrawVertex)), from);
    } else {
      std::copy(from, from + r.count, run->host.begin() + r.first);
    }
    from += r.count;
  }
  if (run->buffer != 0) glBindBuffer(GL_ARRAY_BUFFER, 0);
  return true;
}

// After points moved and nothing else of the model changed, rewrites the
// vertices around them in place; false when the layer is to be built
// again. Only stored points: a pose moves what the moves do not say. A
// layer with images or shaders also keeps texture coordinates, tangents
// and selected copies made from its vertices, so it is built again too.
bool patchLayer(ModelDisplays* store, const Model* model, const Layer* layer,
                const float* positions, const PointsKey& points,
                LayerDisplay* d) {
  if (positions != nullptr || d->points.posed != points.posed ||
      d->points.pose != points.pose || tableCount(&layer->images) > 0 ||
      tableCount(&layer->shaders) > 0)
    return false;
  LayerPatch& patch = store->patch;
  try {
    if (!pointsMovedSince(model, d->points.revision, &patch.moved) ||
        !patchLayerVertices(model, layer, static_cast<NormalMode>(d->normalMode),
                            d->normalLength, d->selection, d->places,
                            patch.moved.items, patch.moved.count, &patch))
      return false;
  } catch (const std::bad_alloc&) {
    return false;  // the build reports it, if it runs short too
  }
  if (!patchRun(&d->triangles, patch.triangles, &patch) ||
      !patchRun(&d->normals, patch.normalLines, &patch))
    return false;
  d->points = points;
  return true;
}

DrawVertex markerVertex(const ModelDisplay& md, const Point* p, int32_t slot,
                        const uint8_t colours[6]) {
  const float at[3] = {p->x, p->y, p->z}, up[3] = {0.0f, 0.0f, 1.0f};
  const uint8_t black[4] = {0, 0, 0, 255};
  DrawVertex v(at, up, black, 1, 0);
  if (!md.posed.empty())
    std::memcpy(v.position, &md.posed[3 * static_cast<size_t>(slot)],
                sizeof v.position);
  std::memcpy(v.colour, colours + ((p->flags & kItemSelected) ? 3 : 0), 3);
  return v;
}

// After moves of stored points, rewrites their markers alone.
bool patchMarkers(ModelDisplays* store, const Model* model, ModelDisplay* md,
                  const PointsKey& key) {
  if (!md->posed.empty() || md->markersKey.posed != key.posed ||
      md->markersKey.pose != key.pose)
    return false;
  LayerPatch& patch = store->patch;
  if (!pointsMovedSince(model, md->markersKey.revision, &patch.moved)) return false;
  VertexPatch& changed = patch.triangles;
  changed.runs.clear();
  changed.vertices.clear();
  for (int32_t i = 0; i < patch.moved.count; ++i) {
    const int32_t slot = patch.moved.items[i];
    if (static_cast<size_t>(slot) >= md->markerOf.size() || md->markerOf[slot] < 0)
      return false;
    changed.runs.push_back({md->markerOf[slot], 1});
    changed.vertices.push_back(
        markerVertex(*md, tableAt<Point>(&model->points, slot), slot, md->markerColours));
  }
  return patchRun(&md->markers, changed, &patch);
}

namespace {

const void* at(const VertexRun& run, size_t offset) {
  if (run.buffer != 0) return reinterpret_cast<const void*>(offset);
  return reinterpret_cast<const char*>(run.host.data()) + offset;
}

}  // namespace

void drawRun(const VertexRun& run, GLenum mode, int32_t first, int32_t count,
             bool outlines) {
  if (count <= 0) return;
  if (haveBuffers()) glBindBuffer(GL_ARRAY_BUFFER, run.buffer);
  const GLsizei stride = sizeof(DrawVertex);
  glVertexPointer(3, GL_FLOAT, stride, at(run, offsetof(DrawVertex, position)));
  glNormalPointer(GL_SHORT, stride, at(run, offsetof(DrawVertex, normal)));
  glColorPointer(4, GL_UNSIGNED_BYTE, stride,
                 at(run, offsetof(DrawVertex, colour)));
  if (outlines) {
    glEdgeFlagPointer(stride, at(run, offsetof(DrawVertex, outline)));
    glEnableClientState(GL_EDGE_FLAG_ARRAY);
  }
  if (run.elements != 0) {
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, run.elements);
    glDrawElements(mode, count, GL_UNSIGNED_INT,
                   reinterpret_cast<const void*>(first * sizeof(uint32_t)));
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
  } else {
    glDrawArrays(mode, first, count);
  }
  if (outlines) glDisableClientState(GL_EDGE_FLAG_ARRAY);
}

void multiplyColumnOrder(const float a[16], const float b[16], float out[16]) {
  float m[16];
  for (int c = 0; c < 4; ++c)
    for (int r = 0; r < 4; ++r)
      m[c * 4 + r] = a[r] * b[c * 4] + a[4 + r] * b[c * 4 + 1] +
                     a[8 + r] * b[c * 4 + 2] + a[12 + r] * b[c * 4 + 3];
  std::memcpy(out, m, sizeof m);
}

uint8_t colourByte(float c) {
  return static_cast<uint8_t>(c > 0.0f ? (c < 1.0f ? c : 1.0f) * 255.0f + 0.5f
                                       : 0.0f);
}

void selectionBytes(const RenderState* render, uint8_t out[3]) {
  for (int i = 0; i < 3; ++i) out[i] = colourByte(render->selectionColour[i]);
}

void reportOutOfMemory(ModelDisplays* store, const char* what) {
  char text[kNameBytes + 64];
  std::snprintf(text, sizeof text, "modelr: out of memory drawing %s", what);
  try {
    store->failures.emplace_back(text);
  } catch (const std::bad_alloc&) {
  }
}
