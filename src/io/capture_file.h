// Screen captures as TGA files: an 18-byte header (id length 255, type 2,
// 24 bits), a 255-byte notice, then the pixels red first, bottom row
// first (the origin a descriptor of 0 announces).
#pragma once

#include <cstddef>
#include <string>

// The file's bytes for w x h pixels given bottom row first (as GL reads
// them), RGB.
std::string captureTgaBytes(int w, int h, const unsigned char* rgbBottomUp);
// Writes the capture through a temporary file; false when it cannot be
// written.
bool writeCaptureFile(const char* path, int w, int h,
                      const unsigned char* rgbBottomUp);
