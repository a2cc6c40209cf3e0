// Times drawing a textured model: grids of 10^4, 10^5 and 10^6 triangles in
// one layer with a 512x512 decal image on its automatic uvees, built with
// the document operations, drawn through the camera as the view draws a
// frame. Beside it the limit: the same vertices and texture coordinates
// from one prepared buffer each, the texture bound with the same combiner,
// one glDrawArrays, in the same context and run (frames alternate). Every
// frame ends with glFinish.
//
//   xvfb-run -a -s "-screen 0 1280x1024x24 +extension GLX"
//   build/bench/texture_bench [n ...]
//
// Columns: the first frame after the model is made (vertex data, texture
// coordinates and the texture go to the GL), the mean of later unchanged
// frames, the limit, later / limit, the same with every overlay on
// (skeleton, grid, cursor with arc, mover and scaler, surface vectors,
// collide outlines, scale bar and axes) and its ratio to the limit,
// textures uploaded during the unchanged frames (goal 0), first / later,
// the limit's first frame (its data uploaded, then drawn: the driver's
// floor for a first frame; building the data is not timed) and first /
// that. A small model and limit are drawn once before the first size, so
// that neither first frame pays for the driver's first sight of the
// drawing state.

#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "draw_vertex_arrays.h"
#include "gl_window.h"
#include "grid_scene.h"
#include "model/children.h"
#include "model/geometry.h"
#include "model/model.h"
#include "model/skeleton.h"
#include "view/camera.h"
#include "view/draw_model.h"
#include "view/guides.h"
#include "view/layer_cache.h"
#include "view/layer_uvs.h"
#include "view/overlays.h"
#include "view/view.h"

namespace {

constexpr int kWidth = 1024;
constexpr int kHeight = 768;
constexpr int kPicture = 512;
const uint8_t kSelection[3] = {255, 0, 0};

using Clock = std::chrono::steady_clock;

double msSince(Clock::time_point t0) {
  return std::chrono::duration<double, std::milli>(Clock::now() - t0).count();
}

// Rings of colour, so that the picture is not flat.
void picturePixels(TexturePixels* read) {
  *read = TexturePixels();
  read->ok = true;
  read->width = read->height = kPicture;
  read->pixels = static_cast<unsigned char*>(std::malloc(3 * kPicture * kPicture));
  for (int y = 0; y < kPicture; ++y) {
    for (int x = 0; x < kPicture; ++x) {
      unsigned char* p = read->pixels + 3 * (y * kPicture + x);
      const int ring = static_cast<int>(std::hypot(x - kPicture / 2, y - kPicture / 2)) / 16;
      p[0] = static_cast<unsigned char>(ring * 40);
      p[1] = static_cast<unsigned char>(255 - ring * 20);
      p[2] = static_cast<unsigned char>(x / 2);
    }
  }
}

// The benchmarks' grid with a decal, a small skeleton, surface vectors on
// some points and a collide box.
Model* buildModel(int triangles) {
  Model* model = buildGrid(triangles);
  const int side = static_cast<int>(std::ceil(std::sqrt(triangles / 2.0)));
  TexturePixels read;
  picturePixels(&read);
  addImage(model, "grid", 1, "rings.tga", kImageDecal, kAxisX, kAxisY, 1.0f, &read);
  markUveesStale(model);
  const char* names[4] = {"hip", "spine", "neck", "head"};
  for (int j = 0; j < 4; ++j)
    addJoint(model, names[j], 0.5f, 0.2f + 0.2f * j, 0.1f, j == 0 ? "world" : names[j - 1],
             1.0f, 1.0f, 0.0f);
  const int points = (side + 1) * (side + 1);
  for (int n = 1; n <= points; n += points / 500 + 1) addSurface(model, nullptr, n, 0, 0, 1);
  const float rotation[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  const float centre[3] = {0.5f, 0.5f, 0.0f}, size[3] = {0.3f, 0.3f, 0.3f};
  addCollide(model, "box", kShapeBox, centre, size, rotation, 1.0f, 0.0f, 0.0f, 1);
  return model;
}

void setAllOverlays(DisplayFlags* f, bool on) {
  f->skeleton = f->grid = f->cursor = f->surfaces = f->collide = on ? 1 : 0;
  f->scale = f->rotation = on ? 1 : 0;
  f->arcAxis = 3;
  f->arcAngle = on ? 90 : 0;
  f->arcValue = 45;
  f->moverAxis = on ? 1 : 0;
  f->moverValue = 50;
  f->scaler[0] = f->scaler[1] = f->scaler[2] = on ? 1.0f : 0.0f;
}

void applyCamera(View& v) {
  cameraUpdateProjection(&v.camera, &v.render.eyeDistance);
  glMatrixMode(GL_PROJECTION);
  glLoadMatrixf(v.camera.projection);
  glMatrixMode(GL_MODELVIEW);
  glLoadMatrixf(v.camera.modelView);
  const float* f = v.camera.focus;
  glTranslatef(-f[0], -f[1], -f[2]);
}

struct Limit {
  GLuint vertices = 0, coords = 0, texture = 0;
  GLsizei count = 0;
};

// The limit's data as host arrays: made before the limit is timed, so
// that its first frame is the driver's floor for a first frame (the same
// bytes uploaded and drawn once).
struct LimitData {
  LayerVertices vertices;
  std::vector<float> coords;
  std::vector<unsigned char> rgba;
};

void buildLimitData(Model* model, LimitData* data) {
  flushDerived(model);
  Layer* layer = tableFindT<Layer>(&model->layers, "grid");
  buildLayerVertices(model, layer, nullptr, kNormalsStoredElseSmooth, 0.0f, kSelection,
                     &data->vertices);
  const Image* image = tableFindT<Image>(&layer->images, 1);
  buildLayerTexCoords(model, layer, image, &data->coords);
  data->rgba.assign(4 * kPicture * kPicture, 0);
  for (int i = 0; i < kPicture * kPicture; ++i) {
    std::memcpy(&data->rgba[4 * i], image->main.pixels + 3 * i, 3);
    data->rgba[4 * i + 3] = 255;
  }
}

Limit uploadLimit(const LimitData& data) {
  const std::vector<DrawVertex>& triangles = data.vertices.triangles;
  Limit limit;
  limit.count = static_cast<GLsizei>(triangles.size());
  glGenBuffers(1, &limit.vertices);
  glBindBuffer(GL_ARRAY_BUFFER, limit.vertices);
  glBufferData(GL_ARRAY_BUFFER, triangles.size() * sizeof(DrawVertex), triangles.data(),
               GL_STATIC_DRAW);
  glGenBuffers(1, &limit.coords);
  glBindBuffer(GL_ARRAY_BUFFER, limit.coords);
  glBufferData(GL_ARRAY_BUFFER, data.coords.size() * sizeof(float), data.coords.data(),
               GL_STATIC_DRAW);
  glBindBuffer(GL_ARRAY_BUFFER, 0);
  glGenTextures(1, &limit.texture);
  glBindTexture(GL_TEXTURE_2D, limit.texture);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR_MIPMAP_LINEAR);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, kPicture, kPicture, 0, GL_RGBA, GL_UNSIGNED_BYTE,
               data.rgba.data());
  glGenerateMipmap(GL_TEXTURE_2D);
  glBindTexture(GL_TEXTURE_2D, 0);
  return limit;
}

void drawLimit(const Limit& limit) {
  glEnable(GL_TEXTURE_2D);
  glBindTexture(GL_TEXTURE_2D, limit.texture);
  // The decal's combiner: the picture over the lit colour by a constant.
  glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_COMBINE);
  glTexEnvi(GL_TEXTURE_ENV, GL_COMBINE_RGB, GL_INTERPOLATE);
  glTexEnvi(GL_TEXTURE_ENV, GL_SRC0_RGB, GL_TEXTURE);
  glTexEnvi(GL_TEXTURE_ENV, GL_SRC1_RGB, GL_PREVIOUS);
  glTexEnvi(GL_TEXTURE_ENV, GL_SRC2_RGB, GL_CONSTANT);
  glTexEnvi(GL_TEXTURE_ENV, GL_OPERAND2_RGB, GL_SRC_ALPHA);
  const float constant[4] = {0, 0, 0, 1};
  glTexEnvfv(GL_TEXTURE_ENV, GL_TEXTURE_ENV_COLOR, constant);
  glBindBuffer(GL_ARRAY_BUFFER, limit.coords);
  glEnableClientState(GL_TEXTURE_COORD_ARRAY);
  glTexCoordPointer(2, GL_FLOAT, 0, nullptr);
  glBindBuffer(GL_ARRAY_BUFFER, limit.vertices);
  enableDrawVertexArrays();
  glDrawArrays(GL_TRIANGLES, 0, limit.count);
  disableDrawVertexArrays();
  glDisableClientState(GL_TEXTURE_COORD_ARRAY);
  glBindBuffer(GL_ARRAY_BUFFER, 0);
  glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE);
  glBindTexture(GL_TEXTURE_2D, 0);
  glDisable(GL_TEXTURE_2D);
}

// One frame as the view draws it: the models, then (when switched on)
// the overlays and guides. Null `limit` draws the model.
double timedFrame(View& v, const Scene& scene, const Limit* limit) {
  glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
  glFinish();
  const Clock::time_point t0 = Clock::now();
  applyCamera(v);
  if (limit != nullptr) {
    drawLimit(*limit);
  } else {
    beginModelFrame(v.displays, scene.models);
    for (Model* model : scene.models) drawModel(v.displays, model, &v.render);
    drawOverlays(v, scene);
    drawViewGuides(v);
  }
  glFinish();
  return msSince(t0);
}

void runSize(View& v, int triangles, int frames, bool print = true) {
  Model* model = buildModel(triangles);
  // What opening a file does beyond reading it (loadModelDocument).
  flushDerived(model);
  Scene scene;
  scene.models.push_back(model);
  scene.current = model;
  cameraInit(&v.camera, kWidth, kHeight);
  cameraFit(&v.camera, model);
  cameraSetAngles(&v.camera, 0.0f, -20.0f);
  setAllOverlays(&v.render.display, false);

  const double first = timedFrame(v, scene, nullptr);
  LimitData data;
  buildLimitData(model, &data);
  glFinish();
  const Clock::time_point t0 = Clock::now();
  const Limit limit = uploadLimit(data);
  const double firstLimit = msSince(t0) + timedFrame(v, scene, &limit);
  const uint64_t uploadsBefore = modelTextureUploads(v.displays);
  double later = 0.0, limitSum = 0.0;
  for (int i = 0; i < frames; ++i) {
    later += timedFrame(v, scene, nullptr);
    limitSum += timedFrame(v, scene, &limit);
  }
  const uint64_t uploads = modelTextureUploads(v.displays) - uploadsBefore;
  later /= frames;
  const double limitMean = limitSum / frames;

  setAllOverlays(&v.render.display, true);
  timedFrame(v, scene, nullptr);
  double overlays = 0.0;
  for (int i = 0; i < frames; ++i) overlays += timedFrame(v, scene, nullptr);
  overlays /= frames;
  setAllOverlays(&v.render.display, false);

  if (print)
    std::printf("%9d %9.2f %9.2f %9.2f %7.3f %10.2f %7.3f %8llu %9.2f %9.2f %9.2f\n",
              triangles, first, later, limitMean, later / limitMean, overlays,
              overlays / limitMean, static_cast<unsigned long long>(uploads), first / later,
              firstLimit, first / firstLimit);
  std::fflush(stdout);
  glDeleteBuffers(1, &limit.vertices);
  glDeleteBuffers(1, &limit.coords);
  glDeleteTextures(1, &limit.texture);
  releaseModelDisplay(v.displays, model);
  freeModel(model);
  scene.models.clear();
  beginModelFrame(v.displays, scene.models);  // its texture goes too
}

}  // namespace

int main(int argc, char** argv) {
  GlWindow window;
  if (!openGlWindow(&window, kWidth, kHeight, "texture_bench")) return 1;
  initState(kWidth, kHeight);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 1);  // as the view's context has it
  View view;
  viewInit(&view, nullptr, nullptr);
  std::printf("renderer: %s\n", reinterpret_cast<const char*>(glGetString(GL_RENDERER)));
  std::printf("%9s %9s %9s %9s %7s %10s %7s %8s %9s %9s %9s\n", "triangles", "first ms",
              "later ms", "limit ms", "ratio", "overlay ms", "ratio", "uploads", "first/lt",
              "lim 1st", "1st/lim");
  std::vector<int> sizes;
  for (int i = 1; i < argc; ++i) sizes.push_back(std::atoi(argv[i]));
  if (sizes.empty()) sizes = {10000, 100000, 1000000};
  // The driver builds its code for a drawing state the first time the
  // state is drawn: a small model and limit drawn once beforehand keep
  // that out of whichever first frame would come first.
  runSize(view, 2000, 1, false);
  for (int n : sizes) {
    if (n < 2) continue;
    runSize(view, n, n >= 1000000 ? 10 : n >= 100000 ? 30 : 100);
  }
  // The context takes the last buffers and textures with it.
  forgetModelDisplays(view.displays);
  viewRelease(&view);
  closeGlWindow(&window);
  return 0;
}
