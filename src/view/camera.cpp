// The camera as plain arithmetic on ViewState. Matrices are column order
// (element [column * 4 + row]), as OpenGL keeps them; products are taken in
// double and stored as float.
//
// camera_rotation is kept as the inverse (the transpose) of the rotation in
// the model-view matrix: the camera's orientation in model space. Every
// operation that turns the model-view turns camera_rotation the opposite
// way, on the opposite side, so the two never drift apart.
#include "view/camera.h"

#include <cmath>
#include <cstring>
#include <limits>

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr float kZoomMin = 0.001f;
constexpr float kZoomMax = 100.0f;
constexpr double kVolumeMargin = 1.05;  // in double: 100 gives exactly 105
constexpr float kSmallestBox = 10.0f;
constexpr float kResetVolume = 100.0f;
constexpr double kFieldOfView = 30.0;  // degrees, vertical
constexpr double kNearPlane = 1.0;

// Sine and cosine of an angle in degrees; quarter turns come out exact so
// that named views print as clean 0, 1 and -1.
void sinCosDegrees(double degrees, double* s, double* c) {
  double r = std::fmod(degrees, 360.0);
  if (r < 0) r += 360.0;
  if (r == 0.0) {
    *s = 0.0, *c = 1.0;
  } else if (r == 90.0) {
    *s = 1.0, *c = 0.0;
  } else if (r == 180.0) {
    *s = 0.0, *c = -1.0;
  } else if (r == 270.0) {
    *s = -1.0, *c = 0.0;
  } else {
    double radians = degrees * kPi / 180.0;
    *s = std::sin(radians);
    *c = std::cos(radians);
  }
}

// -0 would print as "-0.000000".
void clearNegativeZeros(float m[16]) {
  for (int i = 0; i < 16; ++i) {
    if (m[i] == 0.0f) m[i] = 0.0f;
  }
}

// Right-handed rotation about axis 0 (x), 1 (y) or 2 (z): what glRotatef
// builds for that unit axis.
void elementaryRotation(int axis, float degrees, float e[16]) {
  matrixIdentity(e);
  double s, c;
  sinCosDegrees(degrees, &s, &c);
  // The two axes turned, a into b for a positive angle.
  int a = (axis + 1) % 3;
  int b = (axis + 2) % 3;
  e[a * 4 + a] = static_cast<float>(c);
  e[b * 4 + b] = static_cast<float>(c);
  e[a * 4 + b] = static_cast<float>(s);   // column a, row b
  e[b * 4 + a] = static_cast<float>(-s);  // column b, row a
  clearNegativeZeros(e);
}

// m = m * rotation, as glRotatef does to the current matrix.
void postRotate(float m[16], int axis, float degrees) {
  float e[16];
  elementaryRotation(axis, degrees, e);
  matrixMultiply(m, e, m);
}

// m = rotation * m: a turn in screen space.
void preRotate(float m[16], int axis, float degrees) {
  float e[16];
  elementaryRotation(axis, degrees, e);
  matrixMultiply(e, m, m);
}

// Truncation towards zero that saturates instead of overflowing.
int32_t truncateToInt(double value) {
  if (!(value == value)) return 0;
  if (value >= static_cast<double>(std::numeric_limits<int32_t>::max())) {
    return std::numeric_limits<int32_t>::max();
  }
  if (value <= static_cast<double>(std::numeric_limits<int32_t>::min())) {
    return std::numeric_limits<int32_t>::min();
  }
  return static_cast<int32_t>(value);
}

void translateBy(float m[16], double x, double y, double z) {
  for (int row = 0; row < 4; ++row) {
    double sum = m[0 * 4 + row] * x + m[1 * 4 + row] * y + m[2 * 4 + row] * z +
                 m[3 * 4 + row];
    m[3 * 4 + row] = static_cast<float>(sum);
  }
}

void parallelProjection(const ViewState* view, float p[16]) {
  double halfX = static_cast<double>(view->extentX) * 0.25 * view->zoom;
  double halfY = static_cast<double>(view->extentY) * 0.25 * view->zoom;
  // No window yet (or a degenerate volume): nothing sensible to scale by.
  if (halfX == 0.0 || halfY == 0.0 || view->depth == 0.0f) return;
  p[0] = static_cast<float>(1.0 / halfX);
  p[5] = static_cast<float>(1.0 / halfY);
  p[10] = static_cast<float>(-1.0 / view->depth);
  translateBy(p, -view->panX, -view->panY, 0.0);
}

// gluPerspective's matrix, then the eye pulled back along z.
void perspectiveProjection(const ViewState* view, int32_t* eyeDistance,
                           float p[16]) {
  double halfDepth = static_cast<double>(view->depth) * 0.5;
  int32_t eye = truncateToInt(halfDepth * view->zoom);
  if (eyeDistance != nullptr) *eyeDistance = eye;
  if (view->zoom < 1.0f) eye = truncateToInt(eye - halfDepth * (1.0 - view->zoom));
  double farPlane = eye <= view->depth ? 2.0 * view->depth : 2.0 * eye;
  if (farPlane == kNearPlane) return;
  double aspect = view->viewHeight > 0
                      ? static_cast<double>(view->viewWidth) / view->viewHeight
                      : 1.0;
  if (aspect <= 0.0) aspect = 1.0;
  double f = 1.0 / std::tan(kFieldOfView * 0.5 * kPi / 180.0);
  std::memset(p, 0, 16 * sizeof(float));
  p[0] = static_cast<float>(f / aspect);
  p[5] = static_cast<float>(f);
  p[10] = static_cast<float>((farPlane + kNearPlane) / (kNearPlane - farPlane));
  p[11] = -1.0f;
  p[14] = static_cast<float>(2.0 * farPlane * kNearPlane / (kNearPlane - farPlane));
  translateBy(p, -view->panX, -view->panY, -static_cast<double>(eye));
}

// Centre and largest edge of the model's point bounds.
float modelBox(const Model* model, float centre[3]) {
  float size = 0.0f;
  for (int i = 0; i < 3; ++i) {
    float edge = model->boundsMax[i] - model->boundsMin[i];
    centre[i] = model->boundsMin[i] + edge * 0.5f;
    if (edge > size) size = edge;
  }
  return size;
}

}  // namespace

void matrixIdentity(float m[16]) {
  std::memset(m, 0, 16 * sizeof(float));
  m[0] = m[5] = m[10] = m[15] = 1.0f;
}

void matrixMultiply(const float a[16], const float b[16], float out[16]) {
  float product[16];
  for (int column = 0; column < 4; ++column) {
    for (int row = 0; row < 4; ++row) {
      double sum = 0.0;
      for (int k = 0; k < 4; ++k) {
        sum += static_cast<double>(a[k * 4 + row]) * b[column * 4 + k];
      }
      product[column * 4 + row] = static_cast<float>(sum);
    }
  }
  clearNegativeZeros(product);
  std::memcpy(out, product, sizeof product);
}

void matrixRotate(float m[16], float x, float y, float z) {
  const float angles[3] = {x, y, z};
  for (int axis = 0; axis < 3; ++axis) {
    if (angles[axis] != 0.0f) preRotate(m, axis, angles[axis]);
  }
}

void cameraInit(ViewState* view, int w, int h) {
  view->panX = view->panY = 0.0f;
  view->zoom = 1.0f;
  std::memset(view->background, 0, sizeof view->background);
  view->extentX = 2.0f * w / 300.0f;
  view->extentY = 2.0f * h / 300.0f;
  view->depth = 600.0f;
  view->viewWidth = w;
  view->viewHeight = h;
  cameraSetAngles(view, 0.0f, 0.0f);
  cameraReset(view);
  cameraUpdateProjection(view, nullptr);
}

void cameraReset(ViewState* view) {
  cameraSetVolume(view, kResetVolume, false);
  std::memset(view->focus, 0, sizeof view->focus);
}

void cameraSetAngles(ViewState* view, float yaw, float pitch) {
  view->yaw = yaw;
  view->pitch = pitch;
  matrixIdentity(view->modelView);
  postRotate(view->modelView, 1, yaw);
  postRotate(view->modelView, 0, pitch);
  matrixIdentity(view->cameraRotation);
  matrixRotate(view->cameraRotation, 0.0f, -yaw, 0.0f);
  matrixRotate(view->cameraRotation, -pitch, 0.0f, 0.0f);
}

void cameraRotate(ViewState* view, float x, float y) {
  if (view->freeRotate == 0) {
    // Turntable: x spins the model about its own z axis (post-multiplied),
    // y tilts it about the screen's horizontal axis (pre-multiplied).
    if (x != 0.0f) {
      postRotate(view->modelView, 2, x);
      matrixRotate(view->cameraRotation, 0.0f, 0.0f, -x);
    }
    if (y != 0.0f) {
      preRotate(view->modelView, 0, y);
      float turn[16];
      matrixIdentity(turn);
      matrixRotate(turn, -y, 0.0f, 0.0f);
      matrixMultiply(view->cameraRotation, turn, view->cameraRotation);
    }
    return;
  }
  // Free: both turns in screen space, x about the vertical axis first.
  float screen[16];
  matrixIdentity(screen);
  if (x != 0.0f) postRotate(screen, 1, x);
  if (y != 0.0f) postRotate(screen, 0, y);
  matrixMultiply(screen, view->modelView, view->modelView);
  float turn[16];
  matrixIdentity(turn);
  matrixRotate(turn, 0.0f, -x, 0.0f);
  matrixRotate(turn, -y, 0.0f, 0.0f);
  matrixMultiply(view->cameraRotation, turn, view->cameraRotation);
}

void cameraPan(ViewState* view, float dx, float dy, bool relative) {
  if (dx == 0.0f && dy == 0.0f) {
    view->panX = view->panY = 0.0f;
    return;
  }
  // Without a window there are no pixels to measure by.
  float ux = view->viewWidth > 0
                 ? dx / view->viewWidth * view->extentX * 0.5f * view->zoom
                 : 0.0f;
  float uy = view->viewHeight > 0
                 ? dy / view->viewHeight * view->extentY * 0.5f * view->zoom
                 : 0.0f;
  if (relative) {
    view->panX -= ux;
    view->panY += uy;  // screen y grows downward
  } else {
    view->panX = ux;
    view->panY = uy;
  }
}

void cameraSetZoom(ViewState* view, float zoom) {
  if (zoom < kZoomMin) zoom = kZoomMin;
  if (zoom > kZoomMax) zoom = kZoomMax;
  view->zoom = zoom;
}

void cameraSetVolume(ViewState* view, float size, bool keep) {
  double s = size * kVolumeMargin;
  double ex = s, ey = s;
  int32_t w = view->viewWidth, h = view->viewHeight;
  if (w > 0 && h > 0) {
    if (h < w) {
      ex = s * w / h;
    } else {
      ey = s * h / w;
    }
  }
  float extentX = static_cast<float>(ex);
  float extentY = static_cast<float>(ey);
  float depth = static_cast<float>(2.0 * s);
  if (!keep) {
    view->extentX = extentX, view->extentY = extentY, view->depth = depth;
    return;
  }
  // Only ever grows; the zoom keeps the picture at its scale.
  if (extentX > view->extentX || extentY > view->extentY || depth > view->depth) {
    if (depth != 0.0f) view->zoom = view->zoom * view->depth / depth;
    view->extentX = extentX, view->extentY = extentY, view->depth = depth;
  }
}

void cameraFitBox(ViewState* view, const float corner1[3], const float corner2[3]) {
  float w = corner2[0] - corner1[0];
  float h = corner2[1] - corner1[1];
  float l = corner2[2] - corner1[2];
  float s = w;
  if (h > s) s = h;
  if (l > s) s = l;
  s *= 2.0f;
  if (s < kSmallestBox) s = kSmallestBox;
  cameraSetVolume(view, s, false);
  view->focus[0] = corner1[0] + w / 2.0f;
  view->focus[1] = corner1[1] + h / 2.0f;
  view->focus[2] = corner1[2] + l / 2.0f;
  view->panX = view->panY = 0.0f;
}

void cameraFit(ViewState* view, const Model* model) {
  if (model == nullptr) return;
  float centre[3];
  // Measured as the volume command measures a box, twice its largest edge:
  // the parallel projection shows half the volume's extent, so this is what
  // keeps the whole model in sight from every side.
  float size = 2.0f * modelBox(model, centre);
  // A model of one point (or none) has no size to fit; the smallest box
  // of the volume command stands in.
  if (!(size > 0.0f)) size = kSmallestBox;
  cameraSetVolume(view, size, false);
  view->panX = view->panY = 0.0f;
  std::memcpy(view->focus, centre, sizeof centre);
}

void cameraCentre(ViewState* view, const Model* model) {
  if (model == nullptr) return;
  modelBox(model, view->focus);
}

void cameraSetFreeRotate(ViewState* view, bool on) {
  int32_t value = on ? 1 : 0;
  if (value == view->freeRotate) return;
  view->freeRotate = value;
  cameraSetAngles(view, 0.0f, 0.0f);
}

void cameraSetViewMatrix(ViewState* view, const float rows[16]) {
  for (int row = 0; row < 4; ++row) {
    for (int column = 0; column < 4; ++column) {
      view->modelView[column * 4 + row] = rows[row * 4 + column];
    }
  }
  matrixIdentity(view->cameraRotation);
  for (int row = 0; row < 3; ++row) {
    for (int column = 0; column < 3; ++column) {
      view->cameraRotation[column * 4 + row] = view->modelView[row * 4 + column];
    }
  }
  clearNegativeZeros(view->modelView);
  clearNegativeZeros(view->cameraRotation);
}

void cameraUpdateProjection(ViewState* view, int* eyeDistance) {
  float p[16];
  matrixIdentity(p);
  if (view->perspective != 0) {
    perspectiveProjection(view, eyeDistance, p);
  } else {
    if (eyeDistance != nullptr) *eyeDistance = 0;
    parallelProjection(view, p);
  }
  clearNegativeZeros(p);
  std::memcpy(view->projection, p, sizeof p);
}
