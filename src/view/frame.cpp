#include "view/frame.h"

#include <GL/glew.h>
#include <GL/glu.h>

#include <chrono>
#include <cstdio>
#include <string>

#include "view/camera.h"
#include "view/draw_model.h"
#include "view/guides.h"
#include "view/labels.h"
#include "view/overlays.h"
#include "view/platform.h"
#include "view/view.h"

namespace {

constexpr float kCursorArm = 6.0f;  // pixels each way from the 3D cursor

void setMaterialAndLights(const RenderState& render) {
  const GLfloat diffuse[] = {1.0f, 1.0f, 1.0f, 1.0f};
  const GLfloat ambient[] = {0.25f, 0.25f, 0.25f, 1.0f};
  const GLfloat specular[] = {0.0f, 0.0f, 0.0f, 1.0f};
  glMaterialfv(GL_FRONT_AND_BACK, GL_DIFFUSE, diffuse);
  glMaterialfv(GL_FRONT_AND_BACK, GL_AMBIENT, ambient);
  glMaterialfv(GL_FRONT_AND_BACK, GL_SPECULAR, specular);
  glMaterialf(GL_FRONT_AND_BACK, GL_SHININESS, render.shininess);
  glEnable(GL_LIGHTING);
  glLightModelf(GL_LIGHT_MODEL_LOCAL_VIEWER, 1.0f);
  const GLfloat ambient0[] = {0.5f, 0.5f, 0.5f, 1.0f};
  glLightfv(GL_LIGHT0, GL_AMBIENT, ambient0);
  // Set while the model-view matrix is the identity: the light stays on
  // the view axis whatever the camera does.
  const GLfloat position1[] = {0.0f, 0.0f, 1.0f, 0.0f};
  glLightfv(GL_LIGHT1, GL_POSITION, position1);
  glEnable(GL_LIGHT0);
  glEnable(GL_LIGHT1);
  glDepthFunc(GL_LEQUAL);
}

void setViewport(View& v) {
  int vp[4];
  viewViewport(v, vp);
  glViewport(vp[0], vp[1], vp[2], vp[3]);
}

void clearFrame(const ViewState& view) {
  const float* bg = view.background;
  if (!view.fixedSize) {
    glClearColor(bg[0], bg[1], bg[2], 0.0f);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    return;
  }
  // The whole window in the inverse colour, then the viewport filled with
  // the background: the fixed view stands inside a contrasting border.
  glClearColor(1.0f - bg[0], 1.0f - bg[1], 1.0f - bg[2], 0.0f);
  glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
  glColor4f(bg[0], bg[1], bg[2], 0.0f);
  glDisable(GL_LIGHTING);
  glDisable(GL_DEPTH_TEST);
  glDisable(GL_BLEND);
  glDisable(GL_TEXTURE_2D);
  glMatrixMode(GL_PROJECTION);
  glLoadIdentity();
  glMatrixMode(GL_MODELVIEW);
  glPushMatrix();
  glLoadIdentity();
  glBegin(GL_TRIANGLE_STRIP);
  glVertex2f(-2.0f, -2.0f);
  glVertex2f(-2.0f, 2.0f);
  glVertex2f(2.0f, -2.0f);
  glVertex2f(2.0f, 2.0f);
  glEnd();
  glPopMatrix();
  glClearColor(bg[0], bg[1], bg[2], 0.0f);
  // Blending stays off: the model stages turn it on where they need it.
  glEnable(GL_LIGHTING);
  glEnable(GL_DEPTH_TEST);
  glEnable(GL_TEXTURE_2D);
}

// Every model of the scene, in order. Returns how many were drawn.
int32_t drawScene(View& v, const Scene& scene) {
  v.render.primitives = 0;
  beginModelFrame(v.displays, scene.models);
  int32_t models = 0;
  for (Model* model : scene.models) {
    if (model == nullptr) continue;
    ++models;
    v.render.primitives += drawModel(v.displays, model, &v.render, &scene.placed);
  }
  return models;
}

// A cross of fixed pixel size where the 3D cursor projects, over the model.
void drawCursorCross(const ViewState& view) {
  const GlCamera camera = currentGlCamera();
  const int* viewport = camera.viewport;
  const float* c = view.cursor;
  double at[3];
  if (!projectToWindow(camera, c[0], c[1], c[2], at)) return;
  const double wx = at[0], wy = at[1], wz = at[2];
  if (wz < 0.0 || wz > 1.0) return;  // behind the eye or past the far plane
  pushFlatLines();
  const float* bg = view.background;
  glColor3f(1.0f - bg[0], 1.0f - bg[1], 1.0f - bg[2]);
  pushPixelSpace(viewport);
  // Pixel centres, so that the arms cover whole pixels.
  float x = static_cast<float>(static_cast<int>(wx)) + 0.5f;
  float y = static_cast<float>(static_cast<int>(wy)) + 0.5f;
  glBegin(GL_LINES);
  glVertex2f(x - kCursorArm, y);
  glVertex2f(x + kCursorArm + 1.0f, y);
  glVertex2f(x, y - kCursorArm);
  glVertex2f(x, y + kCursorArm + 1.0f);
  glEnd();
  popPixelSpace();
  glMatrixMode(GL_MODELVIEW);
  glPopAttrib();
}

}  // namespace

void initContextState(View& v) {
  glClearColor(0.0f, 0.0f, 0.0f, 0.0f);
  glShadeModel(GL_SMOOTH);
  glEnable(GL_DEPTH_TEST);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
  glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE);
  glEnable(GL_COLOR_MATERIAL);
  glColorMaterial(GL_FRONT_AND_BACK, GL_DIFFUSE);
  setMaterialAndLights(v.render);
  // The model drawing uses buffer objects: their entry points come from
  // GLEW, which needs a current context to load them.
  if (!v.glewReady) {
    glewExperimental = GL_TRUE;
    GLenum status = glewInit();
    if (status == GLEW_OK) {
      v.glewReady = true;
    } else {
      char text[256];
      std::snprintf(text, sizeof text, "modelr: cannot load OpenGL extensions: %s",
                    reinterpret_cast<const char*>(glewGetErrorString(status)));
      viewReportError(&v, text);
    }
  }
  // Without a font the labels are simply not drawn.
  labelsInit(v.fonts);
  glMatrixMode(GL_MODELVIEW);
  glLoadIdentity();
}

void applyProjection(View& v) {
  cameraUpdateProjection(&v.camera, &v.render.eyeDistance);
  glMatrixMode(GL_PROJECTION);
  glLoadMatrixf(v.camera.projection);
  glMatrixMode(GL_MODELVIEW);
}

void drawFrame(View& v) {
  RenderState& render = v.render;
  if (render.frameBusy) return;
  PlatformWindow* window = v.window.window;
  if (window == nullptr) return;
  render.frameBusy = 1;
  if (!platformMakeCurrent(window)) {
    render.frameBusy = 0;
    return;
  }
  auto start = std::chrono::steady_clock::now();

  // The owner says what is open now: a script run since the last frame
  // may have closed any of it.
  Scene scene;
  if (v.sink != nullptr) v.sink->viewScene(&scene);

  setViewport(v);
  clearFrame(v.camera);
  applyProjection(v);
  glMatrixMode(GL_MODELVIEW);
  glLoadMatrixf(v.camera.modelView);
  glPushMatrix();
  const float* focus = v.camera.focus;
  glTranslatef(-focus[0], -focus[1], -focus[2]);

  // Labels of a simulated model move with its body.
  const SceneFrame* body =
      scene.current != nullptr ? simulatedModelFrame(&scene.placed, scene.current->id) : nullptr;
  if (body != nullptr) {
    glPushMatrix();
    glMultMatrixf(body->m);
  }
  drawModelLabels(v.fonts, scene.current, &render);
  if (body != nullptr) glPopMatrix();
  int32_t models = drawScene(v, scene);
  drawOverlays(v, scene);
  drawViewGuides(v);
  if (render.display.cursor) drawCursorCross(v.camera);
  if (render.display.messages) drawMessageLines(v.fonts, &render, v.camera.background);

  glPopMatrix();
  glFlush();
  platformSwapBuffers(window);

  auto elapsed = std::chrono::steady_clock::now() - start;
  int32_t* stats = v.camera.stats;
  ++stats[0];
  stats[1] = render.primitives;
  stats[2] = models;
  stats[3] = static_cast<int32_t>(
      std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count());
  render.frameBusy = 0;
  for (const std::string& failure : takeDrawFailures(v.displays))
    viewReportError(&v, failure.c_str());
}

void viewViewport(View& v, int viewport[4]) {
  int w = 0, h = 0;
  if (v.window.window != nullptr) platformWindowSize(v.window.window, &w, &h);
  const ViewState& view = v.camera;
  if (view.fixedSize) {
    viewport[0] = w / 2 - view.viewWidth / 2;
    viewport[1] = h / 2 - view.viewHeight / 2;
    viewport[2] = view.viewWidth;
    viewport[3] = view.viewHeight;
    return;
  }
  viewport[0] = viewport[1] = 0;
  viewport[2] = w;
  viewport[3] = h;
}
