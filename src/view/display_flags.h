// The display switches: what the renderer draws and how. Names, defaults
// and lookup; the display command sets them, the renderer reads them every
// frame.
#pragma once

#include <cstdint>

struct DisplayFlags {
  int32_t wireframe, points, triangles, mirror, textures, normals, surfaces,
      transparency, alpha, backfaces, lighting, curves, controlNets, skeleton,
      gouraud, colors, labels, pnfilter, children, reflect, lines, collide,
      grid, cursor, messages, flat, scale, rotation, pose, closelines,
      normalize;
  int32_t lod;
  int32_t arcAxis, arcAngle, arcValue;  // axis 1 x, 2 y, 3 z
  int32_t moverAxis, moverValue;
  float scaler[3];
  int32_t cubeMapReflection;  // starts on and stays on
};

// The defaults of a full reset.
void setDisplayDefaults(DisplayFlags* flags);
// The switch of that option name, or null (lod, arc, mover and scaler are
// not switches).
int32_t* displaySwitch(DisplayFlags* flags, const char* name);

// The switch names in their documented order, for listing them.
int displaySwitchCount();
const char* displaySwitchName(int index);  // null outside 0..count-1

// The axis word of the arc and mover handles: "x" 1, "y" 2, any other 3.
int32_t displayAxisCode(const char* word);
