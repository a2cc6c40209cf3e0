// What the platform layer hands the view for every mouse and key event.
#pragma once

#include <cstdint>

enum ViewEventType : int32_t {
  kEventMouseMove = 10000,
  kEventMouseButton = 10001,
  kEventKeyUp = 11002,
  kEventKeyDown = 11003,
};

struct ViewEvent {
  int32_t type;
  int32_t x, y;        // client coordinates, origin top left; x holds the
                       // key code for key events
  int32_t button;      // 1 left, 2 middle (or left and right), 3 right,
                       // 4 and 5 a wheel notch up and down
  int32_t doubleClick;
  int32_t pressed;
  int32_t character;   // key events: the key's character, 0 when none
};
