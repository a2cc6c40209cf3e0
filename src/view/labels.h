// Text in the view: the two label fonts (the closest installed match of
// "Arial" at 12 and 16 points) and the message lines.
#pragma once

struct Model;
struct RenderState;
struct LabelFonts;

// An empty set of fonts (null when memory runs out); labelsInit loads them.
LabelFonts* newLabelFonts();
void freeLabelFonts(LabelFonts* fonts);
// Loads both fonts; false when no font could be found (text is then not
// drawn, nothing else fails). Needs the view's context current.
bool labelsInit(LabelFonts* fonts);
// True once labelsInit has found a font.
bool labelsReady(const LabelFonts* fonts);
// Height of one line of the font in pixels (0 without fonts).
int labelLineHeight(const LabelFonts* fonts, int font);
// A projection that maps units to window pixels inside the viewport, on
// fresh projection and modelview matrices; the pop leaves the matrix mode at
// GL_PROJECTION for the caller to restore.
void pushPixelSpace(const int viewport[4]);
void popPixelSpace();
// Unlit, untextured, unblended 1-pixel lines drawn over everything: the
// state the window-pixel guides need. Undo with glPopAttrib.
void pushFlatLines();
// The GL's current matrices and viewport, for taking model points to
// window pixels (origin bottom left, depth 0..1).
struct GlCamera {
  double modelView[16], projection[16];
  int viewport[4];
};
GlCamera currentGlCamera();
bool projectToWindow(const GlCamera& camera, double x, double y, double z, double out[3]);
// Draws text with its left baseline at the window position (x, y), origin
// bottom left, in the current colour. font 0 or 1.
void drawTextAt(const LabelFonts* fonts, int font, float x, float y, const char* text);
// Draws text at a model-space position.
void drawTextAtPoint(const LabelFonts* fonts, int font, float x, float y, float z,
                     const char* text);
// The same, moved by (dx, dy) pixels on the screen from the point.
void drawTextAtPointShifted(const LabelFonts* fonts, int font, float x, float y,
                            float z, float dx, float dy, const char* text);
// The view's message lines, newest at the bottom left, black or white
// against the background.
void drawMessageLines(const LabelFonts* fonts, const RenderState* render,
                      const float background[3]);

// The labels of a model under the labels and colors switches, for the
// chosen layer of the render state or (none chosen) every layer, and the
// chosen layer's outline when that is switched on. Point labels (" 7
// body", " 7 (global)" for a point no layer uses) sit at the point, colour
// labels (" 7 = (in body)", " 7 = (global)") one line below and the
// model-level colours (" 7 = 1.00 0.00 0.00 1.00 (global)", " 7 (no
// color)") two lines below, so that the kinds do not overprint.
void drawModelLabels(const LabelFonts* fonts, const Model* model,
                     const RenderState* render);
