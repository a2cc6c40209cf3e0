// Shader programs of layers: a layer's "vertex" and "pixel" shader entries
// name GLSL files, compiled and linked through GLEW the first time the
// layer is drawn and kept per pair of files (a change of the files named
// makes the next one). The program sees the layer's textures as the
// samplers texture0, texture1, ... (one per image unit, see
// draw_images.h) and two per-vertex attributes, "tangent" and "binormal",
// where u and v grow on each triangle. A file that cannot be read, or a
// compile or link failure, is reported once as "Shader error <why>" (the
// driver's log) and the layer is drawn by the fixed pipeline as if it had
// no shaders.
#pragma once

#include <GL/glew.h>

#include <cstdint>
#include <string>
#include <vector>

#include "model/records.h"

class ViewSink;
struct ShaderCache;

ShaderCache* newShaderCache();  // null when memory runs out
void freeShaderCache(ShaderCache* cache);
// The context went away with its programs: forget them without OpenGL.
void forgetShaders(ShaderCache* cache);

struct LayerProgram {
  GLuint program = 0;
  GLint tangent = -1, binormal = -1;
  std::vector<GLint> samplers;  // location of textureN at N, -1 if unused
};

// The layer's program, or null when it names none or it failed; the
// sources come from `sink` (found from `directory`), failures are added
// to `failures` the first time.
const LayerProgram* layerProgram(ShaderCache* cache, const char* directory,
                                 const Layer* layer, ViewSink* sink,
                                 std::vector<std::string>* failures);
