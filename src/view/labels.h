// Text in the view: the two label fonts (the closest installed match of
// "Arial" at 12 and 16 points) and the message lines.
#pragma once

// Loads both fonts; false when no font could be found (text is then not
// drawn, nothing else fails).
bool labelsInit();
// Draws text with its left baseline at the window position (x, y), origin
// bottom left, in the current colour. font 0 or 1.
void drawTextAt(int font, float x, float y, const char* text);
// Draws text at a model-space position.
void drawTextAtPoint(int font, float x, float y, float z, const char* text);
// The view's message lines, newest at the bottom left.
void drawMessageLines();
