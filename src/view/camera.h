// The camera of the one view: named views, rotation in both modes, pan,
// zoom, focus, the viewing volume and the projection. Pure arithmetic on
// ViewState, which keeps the model-view, projection and camera rotation
// matrices (column order); the renderer loads them into OpenGL. No GL here,
// so every rule is tested without a display.
#pragma once

#include "model/records.h"
#include "view/view_state.h"

// Matrix rotation: for each non-zero angle (degrees) in the order x, y, z,
// the elementary rotation multiplies m from the left. m is column order.
void matrixRotate(float m[16], float x, float y, float z);
void matrixIdentity(float m[16]);
// out = a * b (column order); out may be a or b.
void matrixMultiply(const float a[16], const float b[16], float out[16]);

// What window creation does: angles 0 0, pan 0, zoom 1, background black,
// extents 2w/300 x 2h/300, depth 600, size w x h, focus 0, then the camera
// reset (volume 100, focus 0) and the projection.
void cameraInit(ViewState* view, int w, int h);
// Set volume (100, 0), focus 0.
void cameraReset(ViewState* view);
// Model-view: identity turned by yaw about y, then pitch about x.
// cameraRotation is always the inverse of the model-view's rotation.
void cameraSetAngles(ViewState* view, float yaw, float pitch);
// Turntable (freeRotate 0): x about the model's z axis, y about the screen's
// horizontal axis. Free: x about the screen's vertical axis, then y.
void cameraRotate(ViewState* view, float x, float y);
// Pixel deltas; both 0 centres the view.
void cameraPan(ViewState* view, float dx, float dy, bool relative);
// Clamped into [0.001, 100].
void cameraSetZoom(ViewState* view, float zoom);
void cameraSetVolume(ViewState* view, float size, bool keep);
// volume x1 y1 z1 x2 y2 z2.
void cameraFitBox(ViewState* view, const float corner1[3], const float corner2[3]);
// fit: the model's bounding box (size = largest edge, focus = its centre).
void cameraFit(ViewState* view, const Model* model);
// centre: focus on the model's centre.
void cameraCentre(ViewState* view, const Model* model);
// A change of mode also resets the view angles to 0 0.
void cameraSetFreeRotate(ViewState* view, bool on);
// set matrix view: 16 numbers in row order; the camera rotation becomes the
// transpose of its rotation part.
void cameraSetViewMatrix(ViewState* view, const float rows[16]);
// Recomputes view->projection; *eyeDistance gets the integer eye distance
// of the perspective projection (0 for parallel); eyeDistance may be null.
// A parallel volume of zero size (no window yet) gives the identity.
void cameraUpdateProjection(ViewState* view, int* eyeDistance);
