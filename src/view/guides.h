// What the scale and rotation switches add over the frame, in window
// pixels, unlit and over everything else:
//   scale     a bar at the bottom right of the viewport, as long as the
//             largest 1, 2 or 5 times a power of ten model units that
//             fits in 100 pixels at the focus, with end ticks and its
//             length written above it;
//   rotation  the model's axes as the camera turns them, at the top left:
//             +x red, +y green, +z blue, 30 pixels for an axis square to
//             the view, shorter as it turns toward the eye.
// Both in the inverse of the background where not coloured. Needs the
// view's context current and the scene's matrix in force.
#pragma once

struct View;

void drawViewGuides(const View& view);

// The scale bar's length in model units for `pixelsPerUnit` pixels to a
// unit: the largest 1, 2 or 5 times a power of ten that fits in `room`
// pixels; 0 when none is sensible.
double scaleBarUnits(double pixelsPerUnit, double room);
