#include "view/shaders.h"

#include <new>
#include <unordered_map>

#include "view/view.h"

namespace {

constexpr int kSamplers = 8;
constexpr size_t kMaxLog = 2000;

// A failed program keeps its entry too, so that it is reported once.
struct CachedProgram {
  bool usable = false;
  LayerProgram layer;
};

bool haveShaders() {
  return GLEW_VERSION_2_0 && glCreateShader != nullptr &&
         glCreateProgram != nullptr;
}

// The info log of a shader or a program, read through the query pair
// that fits it.
std::string infoLog(GLuint name, PFNGLGETSHADERIVPROC lengthOf, PFNGLGETSHADERINFOLOGPROC logOf) {
  GLint length = 0;
  lengthOf(name, GL_INFO_LOG_LENGTH, &length);
  std::string log(static_cast<size_t>(length > 0 ? length : 0), '\0');
  if (length > 0) logOf(name, length, nullptr, &log[0]);
  return log;
}

std::string shaderLog(GLuint shader) { return infoLog(shader, glGetShaderiv, glGetShaderInfoLog); }

std::string programLog(GLuint program) {
  return infoLog(program, glGetProgramiv, glGetProgramInfoLog);
}

// The driver's log without its trailing NUL and line ends, cut to size.
std::string tidy(std::string log) {
  while (!log.empty() && (log.back() == '\0' || log.back() == '\n' ||
                          log.back() == ' '))
    log.pop_back();
  if (log.size() > kMaxLog) log.resize(kMaxLog);
  return log;
}

GLuint compile(GLenum kind, const std::string& text, const char* file,
               std::string* why) {
  const GLuint shader = glCreateShader(kind);
  const char* source = text.c_str();
  glShaderSource(shader, 1, &source, nullptr);
  glCompileShader(shader);
  GLint ok = GL_FALSE;
  glGetShaderiv(shader, GL_COMPILE_STATUS, &ok);
  if (ok == GL_TRUE) return shader;
  *why = std::string(file) + ": " + tidy(shaderLog(shader));
  glDeleteShader(shader);
  return 0;
}

const ShaderEntry* entryOf(const Layer* layer, const char* kind) {
  const ShaderEntry* e = tableFindT<ShaderEntry>(&layer->shaders, kind);
  return e != nullptr && e->file[0] != '\0' && std::string(e->file) != "none"
             ? e
             : nullptr;
}

// Compiles and links the pair; false with the reason.
bool build(const char* directory, const ShaderEntry* vertex,
           const ShaderEntry* pixel, ViewSink* sink, LayerProgram* out,
           std::string* why) {
  if (!haveShaders()) {
    *why = "no GLSL in this OpenGL";
    return false;
  }
  const ShaderEntry* entries[2] = {vertex, pixel};
  const GLenum kinds[2] = {GL_VERTEX_SHADER, GL_FRAGMENT_SHADER};
  GLuint shaders[2] = {0, 0};
  bool ok = true;
  for (int i = 0; i < 2 && ok; ++i) {
    if (entries[i] == nullptr) continue;
    std::string text;
    ok = sink != nullptr &&
         sink->viewShaderSource(directory, entries[i]->file, &text, why);
    if (!ok && why->empty()) *why = std::string("cannot read ") + entries[i]->file;
    if (ok) {
      shaders[i] = compile(kinds[i], text, entries[i]->file, why);
      ok = shaders[i] != 0;
    }
  }
  GLuint program = 0;
  if (ok) {
    program = glCreateProgram();
    for (GLuint shader : shaders)
      if (shader != 0) glAttachShader(program, shader);
    glLinkProgram(program);
    GLint linked = GL_FALSE;
    glGetProgramiv(program, GL_LINK_STATUS, &linked);
    if (linked != GL_TRUE) {
      *why = "link: " + tidy(programLog(program));
      glDeleteProgram(program);
      program = 0;
      ok = false;
    }
  }
  for (GLuint shader : shaders)
    if (shader != 0) glDeleteShader(shader);  // the program keeps them
  if (!ok) return false;
  out->program = program;
  out->tangent = glGetAttribLocation(program, "tangent");
  out->binormal = glGetAttribLocation(program, "binormal");
  out->samplers.assign(kSamplers, -1);
  for (int i = 0; i < kSamplers; ++i) {
    const std::string name = "texture" + std::to_string(i);
    out->samplers[i] = glGetUniformLocation(program, name.c_str());
  }
  return true;
}

}  // namespace

struct ShaderCache {
  std::unordered_map<std::string, CachedProgram> byFiles;
};

ShaderCache* newShaderCache() { return new (std::nothrow) ShaderCache; }

void freeShaderCache(ShaderCache* cache) { delete cache; }

void forgetShaders(ShaderCache* cache) {
  if (cache != nullptr) cache->byFiles.clear();
}

const LayerProgram* layerProgram(ShaderCache* cache, const char* directory,
                                 const Layer* layer, ViewSink* sink,
                                 std::vector<std::string>* failures) {
  if (cache == nullptr || tableCount(&layer->shaders) == 0) return nullptr;
  const ShaderEntry* vertex = entryOf(layer, "vertex");
  const ShaderEntry* pixel = entryOf(layer, "pixel");
  if (vertex == nullptr && pixel == nullptr) return nullptr;
  std::string key = std::string(directory) + '\n' +
                    (vertex ? vertex->file : "") + '\n' +
                    (pixel ? pixel->file : "");
  auto found = cache->byFiles.find(key);
  if (found == cache->byFiles.end()) {
    CachedProgram made;
    std::string why;
    made.usable = build(directory, vertex, pixel, sink, &made.layer, &why);
    if (!made.usable) failures->push_back("Shader error " + why);
    found = cache->byFiles.emplace(std::move(key), std::move(made)).first;
  }
  return found->second.usable ? &found->second.layer : nullptr;
}
