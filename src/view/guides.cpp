#include "view/guides.h"

#include <GL/glew.h>
#include <GL/glu.h>

#include <cmath>
#include <cstdio>

#include "view/labels.h"
#include "view/view.h"

namespace {

constexpr double kBarRoom = 100.0;   // pixels the scale bar may take
constexpr float kMargin = 20.0f;     // from the viewport's edges
constexpr float kTick = 6.0f;
constexpr float kAxisLength = 30.0f;
constexpr float kAxisCentre = 40.0f;  // from the top left corner

// Pixels one model unit across the screen spans at the focus.
double pixelsPerUnit(const View& v) {
  const GlCamera camera = currentGlCamera();
  const float* f = v.camera.focus;
  // The screen's x axis in model space: the model-view's first row.
  const double* mv = camera.modelView;
  double right[3] = {mv[0], mv[4], mv[8]};
  const double length = std::sqrt(right[0] * right[0] + right[1] * right[1] +
                                  right[2] * right[2]);
  if (!(length > 0.0)) return 0.0;
  double a[3], b[3];
  if (!projectToWindow(camera, f[0], f[1], f[2], a) ||
      !projectToWindow(camera, f[0] + right[0] / length, f[1] + right[1] / length,
                       f[2] + right[2] / length, b))
    return 0.0;
  return std::hypot(b[0] - a[0], b[1] - a[1]);
}

// `perUnit` is measured through the scene's camera before pixel space is
// pushed: measured here, under pixel space, it would always be 1.
void drawScaleBar(const View& v, const int viewport[4], double perUnit) {
  const double units = scaleBarUnits(perUnit, kBarRoom);
  if (units <= 0.0) return;
  const float length = static_cast<float>(units * perUnit);
  const float right = static_cast<float>(viewport[0] + viewport[2]) - kMargin;
  const float left = right - length;
  const float y = static_cast<float>(viewport[1]) + kMargin;
  glBegin(GL_LINES);
  glVertex2f(left, y);
  glVertex2f(right, y);
  glVertex2f(left, y);
  glVertex2f(left, y + kTick);
  glVertex2f(right, y);
  glVertex2f(right, y + kTick);
  glEnd();
  char text[32];
  std::snprintf(text, sizeof text, "%g", units);
  drawTextAt(v.fonts, 0, left, y + kTick + 2.0f, text);
}

void drawAxes(const View& v, const int viewport[4]) {
  const float* m = v.camera.modelView;  // column order
  const float cx = static_cast<float>(viewport[0]) + kAxisCentre;
  const float cy = static_cast<float>(viewport[1] + viewport[3]) - kAxisCentre;
  glBegin(GL_LINES);
  for (int axis = 0; axis < 3; ++axis) {
    float colour[3] = {0.0f, 0.0f, 0.0f};
    colour[axis] = 1.0f;
    const float* c = m + 4 * axis;
    const float length = std::sqrt(c[0] * c[0] + c[1] * c[1] + c[2] * c[2]);
    if (!(length > 0.0f)) continue;
    glColor3fv(colour);
    glVertex2f(cx, cy);
    glVertex2f(cx + kAxisLength * c[0] / length, cy + kAxisLength * c[1] / length);
  }
  glEnd();
}

}  // namespace

double scaleBarUnits(double pixelsPerUnit, double room) {
  if (!(pixelsPerUnit > 0.0) || !std::isfinite(pixelsPerUnit)) return 0.0;
  const double fits = room / pixelsPerUnit;
  double power = std::pow(10.0, std::floor(std::log10(fits)));
  if (!(power > 0.0) || !std::isfinite(power)) return 0.0;
  for (double step : {5.0, 2.0, 1.0})
    if (step * power <= fits) return step * power;
  return power;
}

void drawViewGuides(const View& v) {
  const DisplayFlags& flags = v.render.display;
  if (!flags.scale && !flags.rotation) return;
  GLint viewport[4];
  glGetIntegerv(GL_VIEWPORT, viewport);
  const int vp[4] = {viewport[0], viewport[1], viewport[2], viewport[3]};
  const double perUnit = flags.scale ? pixelsPerUnit(v) : 0.0;
  pushFlatLines();
  pushPixelSpace(vp);
  if (flags.rotation) drawAxes(v, vp);
  if (flags.scale && perUnit > 0.0) {
    const float* bg = v.camera.background;
    glColor3f(1.0f - bg[0], 1.0f - bg[1], 1.0f - bg[2]);
    drawScaleBar(v, vp, perUnit);
  }
  popPixelSpace();
  glMatrixMode(GL_MODELVIEW);
  glPopAttrib();
}
