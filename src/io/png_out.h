// PNG encoding of texture pixels, for formats that carry their pictures
// inside (glTF binary).
#pragma once

#include <cstdint>
#include <vector>

// RGB pixels, top row first, as texture slots hold them, appended to `out`
// as a complete PNG file (8-bit truecolour, deflated). False when the
// size is not positive or compression fails.
bool encodePng(const unsigned char* rgb, int32_t width, int32_t height,
               std::vector<unsigned char>* out);
