#include "view/model_displays.h"

#include <algorithm>
#include <cstdio>
#include <new>

bool haveBuffers() {
  return glGenBuffers != nullptr && glBindBuffer != nullptr &&
         glBufferData != nullptr && glDeleteBuffers != nullptr;
}

void dropRun(ModelDisplays* store, VertexRun* run) {
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

bool patchRun(VertexRun* run, const VertexPatch& patch) {
  if (run->buffer != 0) glBindBuffer(GL_ARRAY_BUFFER, run->buffer);
  const DrawVertex* from = patch.vertices.data();
  bool inside = true;
  for (const PatchRun& r : patch.runs) {
    if (r.first < 0 || r.count > run->count - r.first) {
      inside = false;
      break;
    }
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
  return inside;
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
  glNormalPointer(GL_FLOAT, stride, at(run, offsetof(DrawVertex, normal)));
  glColorPointer(4, GL_UNSIGNED_BYTE, stride,
                 at(run, offsetof(DrawVertex, colour)));
  if (outlines) {
    glEdgeFlagPointer(stride, at(run, offsetof(DrawVertex, outline)));
    glEnableClientState(GL_EDGE_FLAG_ARRAY);
  }
  glDrawArrays(mode, first, count);
  if (outlines) glDisableClientState(GL_EDGE_FLAG_ARRAY);
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
