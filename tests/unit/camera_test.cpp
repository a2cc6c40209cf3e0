// The camera's arithmetic: named views, both rotation modes, the camera
// rotation kept as the model-view's inverse, pan, zoom, volumes and both
// projections.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "model/geometry.h"
#include "model/model.h"
#include "view/camera.h"

namespace {

const float kIdentity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

// Row r, column c of a column-order matrix.
float at(const float m[16], int r, int c) { return m[c * 4 + r]; }

void expectRows(const float m[16], const float rows[16]) {
  for (int i = 0; i < 16; ++i) EXPECT_EQ(at(m, i / 4, i % 4), rows[i]) << "row-order " << i;
}

void expectSame(const float a[16], const float b[16], float tolerance) {
  for (int i = 0; i < 16; ++i) EXPECT_NEAR(a[i], b[i], tolerance) << "element " << i;
}

// The camera rotation times the model-view's rotation part is the identity.
void expectCameraIsInverse(const ViewState& v) {
  float product[16];
  matrixMultiply(v.cameraRotation, v.modelView, product);
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) {
      EXPECT_NEAR(at(product, r, c), r == c ? 1.0f : 0.0f, 1e-5f) << r << "," << c;
    }
  }
}

struct Camera : ::testing::Test {
  ViewState v = {};
  void SetUp() override { cameraInit(&v, 300, 300); }
};

TEST(Matrix, RotateAppliesXThenYFromTheLeft) {
  float m[16];
  matrixIdentity(m);
  matrixRotate(m, 90, 90, 0);
  // x stays under the x turn, then y carries it to -z; the other order
  // would have carried it to +y.
  EXPECT_EQ(at(m, 0, 0), 0.0f);
  EXPECT_EQ(at(m, 1, 0), 0.0f);
  EXPECT_EQ(at(m, 2, 0), -1.0f);
}

TEST_F(Camera, NamedViewsTurnYawThenPitchExactlyAndTheCameraStaysTheInverse) {
  cameraSetAngles(&v, 90, -90);  // east
  const float east[16] = {0, -1, 0, 0, 0, 0, 1, 0, -1, 0, 0, 0, 0, 0, 0, 1};
  expectRows(v.modelView, east);
  cameraSetAngles(&v, 0, 180);  // up
  const float up[16] = {1, 0, 0, 0, 0, -1, 0, 0, 0, 0, -1, 0, 0, 0, 0, 1};
  expectRows(v.modelView, up);
  for (float value : v.modelView) EXPECT_FALSE(std::signbit(value) && value == 0.0f);
  cameraSetAngles(&v, 0, 0);  // down undoes everything
  expectRows(v.modelView, kIdentity);
  expectRows(v.cameraRotation, kIdentity);
  // Whatever turns it, the camera rotation stays the model-view's inverse.
  cameraSetAngles(&v, 30, -45);
  expectCameraIsInverse(v);
  cameraRotate(&v, 25, 0);
  cameraRotate(&v, 0, -40);
  cameraRotate(&v, 10, 15);
  expectCameraIsInverse(v);
  cameraSetFreeRotate(&v, true);
  cameraRotate(&v, 33, -12);
  cameraRotate(&v, -7, 50);
  expectCameraIsInverse(v);
  const float rows[16] = {0, -1, 0, 5, 1, 0, 0, 6, 0, 0, 1, 7, 0, 0, 0, 1};
  cameraSetViewMatrix(&v, rows);
  expectRows(v.modelView, rows);
  expectCameraIsInverse(v);
}

TEST_F(Camera, TurntableSpinsAboutTheModelsAxisAndFreeRotationInScreenSpace) {
  cameraSetAngles(&v, 0, -90);  // north: the model's z points up the screen
  cameraRotate(&v, 10, 0);
  cameraRotate(&v, 10, 0);
  float twice[16];
  std::memcpy(twice, v.modelView, sizeof twice);
  cameraSetAngles(&v, 0, -90);
  cameraRotate(&v, 20, 0);
  expectSame(twice, v.modelView, 1e-6f);
  EXPECT_NEAR(at(v.modelView, 1, 2), 1.0f, 1e-6f);  // z still up
  cameraSetAngles(&v, 90, 0);  // a tilt keeps the screen's x row
  cameraRotate(&v, 0, 30);
  EXPECT_EQ(at(v.modelView, 0, 2), 1.0f);
  EXPECT_NEAR(at(v.modelView, 0, 0), 0.0f, 1e-6f);
  // Free rotation turns in screen space; switching to it resets the angles.
  cameraSetAngles(&v, 30, 40);
  cameraSetFreeRotate(&v, true);
  EXPECT_EQ(v.yaw, 0.0f);
  expectRows(v.modelView, kIdentity);
  cameraSetAngles(&v, 0, -90);  // north, then a quarter turn about the screen's vertical
  cameraRotate(&v, 90, 0);
  float freeTurned[16];
  std::memcpy(freeTurned, v.modelView, sizeof freeTurned);
  cameraSetAngles(&v, 90, -90);  // is east
  expectSame(freeTurned, v.modelView, 1e-6f);
  cameraSetFreeRotate(&v, true);  // no change of mode: no reset
  EXPECT_EQ(v.yaw, 90.0f);
}

TEST_F(Camera, PanMovesByPixelsAndVolumeFollowsTheLongerSideAndOnlyGrows) {
  v.zoom = 2.0f;
  cameraPan(&v, 30, 60, true);
  EXPECT_FLOAT_EQ(v.panX, -30.0f / 300 * v.extentX * 0.5f * 2);
  EXPECT_FLOAT_EQ(v.panY, 60.0f / 300 * v.extentY * 0.5f * 2);  // screen y is down
  cameraPan(&v, 0, 0, true);
  EXPECT_EQ(v.panX, 0.0f);
  EXPECT_EQ(v.panY, 0.0f);
  ViewState none = {};
  cameraPan(&none, 5, 5, true);  // no window: no division by zero
  EXPECT_EQ(none.panX, 0.0f);
  // The volume follows the window's longer side; kept, it only grows.
  v.viewWidth = 600;
  cameraSetVolume(&v, 100, false);
  EXPECT_FLOAT_EQ(v.extentX, 210.0f);
  EXPECT_FLOAT_EQ(v.extentY, 105.0f);
  EXPECT_FLOAT_EQ(v.depth, 210.0f);
  v.zoom = 1.0f;
  cameraSetVolume(&v, 50, true);  // smaller: nothing changes
  EXPECT_FLOAT_EQ(v.depth, 210.0f);
  cameraSetVolume(&v, 200, true);
  EXPECT_FLOAT_EQ(v.depth, 420.0f);
  EXPECT_FLOAT_EQ(v.zoom, 0.5f);
  cameraSetVolume(&none, 100, false);
  EXPECT_FLOAT_EQ(none.extentY, 105.0f);  // no window: square, no NaN
}

// The volume command has smallest size ten and focuses the box's centre;
// fit measures the model as it measures a box (twice the largest edge),
// or the parallel view would show only half of it.
TEST_F(Camera, VolumeCommandAndFitKeepTheWholeModelInSight) {
  v.panX = 3;
  const float a[3] = {0, 0, 0}, b[3] = {1, 1, 1};
  cameraFitBox(&v, a, b);
  EXPECT_FLOAT_EQ(v.depth, 21.0f);  // size 10, with the 5% margin, twice
  for (float f : v.focus) EXPECT_FLOAT_EQ(f, 0.5f);
  EXPECT_EQ(v.panX, 0.0f);
  Model* model = createModel(nullptr, "fit", nullptr);
  ASSERT_TRUE(addPoint(model, 1, -1, 0, 2));
  ASSERT_TRUE(addPoint(model, 2, 3, 1, 4));
  cameraFit(&v, model);
  EXPECT_FLOAT_EQ(v.depth, 2 * 2 * 4 * 1.05f);
  // Visible height of the parallel view: 2 * extent * 0.25 * zoom.
  EXPECT_GE(2 * v.extentY * 0.25f * v.zoom, 4.0f);
  EXPECT_FLOAT_EQ(v.focus[0], 1.0f);
  EXPECT_FLOAT_EQ(v.focus[2], 3.0f);
  freeModel(model);
}

TEST_F(Camera, ParallelProjectionScalesThenTranslatesAndPerspectiveTruncatesTheEye) {
  v.panX = 2, v.panY = 3;
  int eye = -1;
  cameraUpdateProjection(&v, &eye);
  EXPECT_EQ(eye, 0);
  const float sx = 1 / (105 * 0.25f);
  EXPECT_FLOAT_EQ(at(v.projection, 0, 0), sx);
  EXPECT_FLOAT_EQ(at(v.projection, 2, 2), -1 / 210.0f);
  EXPECT_FLOAT_EQ(at(v.projection, 0, 3), -2 * sx);
  EXPECT_FLOAT_EQ(at(v.projection, 1, 3), -3 * sx);
  ViewState none = {};
  cameraUpdateProjection(&none, nullptr);
  EXPECT_EQ(at(none.projection, 0, 0), 1.0f);  // identity, not infinity
  // Perspective: the eye distance is truncated.
  v.panX = v.panY = 0;
  v.perspective = 1;
  v.viewWidth = 600;  // aspect 2
  cameraUpdateProjection(&v, &eye);
  EXPECT_EQ(eye, 105);
  EXPECT_FLOAT_EQ(at(v.projection, 3, 3), 105.0f);  // translated by -e
  const double f = 1 / std::tan(15 * 3.14159265358979 / 180);
  EXPECT_FLOAT_EQ(at(v.projection, 0, 0), static_cast<float>(f / 2));
  EXPECT_FLOAT_EQ(at(v.projection, 2, 2), 421.0f / -419.0f);  // far 2 x depth
  v.zoom = 0.3f;  // e = 31; then 31 - 73.5 truncates toward zero
  cameraUpdateProjection(&v, &eye);
  EXPECT_EQ(eye, 31);
  EXPECT_FLOAT_EQ(at(v.projection, 3, 3), -42.0f);
  v.zoom = 5.0f;  // e = 525 beyond the depth: far = 2e
  cameraUpdateProjection(&v, &eye);
  EXPECT_FLOAT_EQ(at(v.projection, 2, 2), 1051.0f / -1049.0f);
}

}  // namespace
