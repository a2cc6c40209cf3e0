// Reading Truevision TGA files: uncompressed true colour (type 2), 24 or
// 32 bits per pixel, and nothing else. Every accepted file is flipped the
// same way (the origin bits are ignored) and its alpha dropped.
#pragma once

#include <cstddef>
#include <cstdint>

struct TgaImage {
  uint8_t idLength;
  uint8_t imageType;
  uint16_t xOrigin, yOrigin;
  uint16_t width, height;
  uint8_t bitsPerPixel;
  char id[256];           // the image id text, NUL-terminated
  unsigned char* pixels;  // width * height * 3 bytes, RGB, top row first
};

// Why a read failed. Long enough for any sane path; a longer one is cut.
struct TgaMessage {
  char text[1536];
};

// Returns the image (free it with freeTga), or null with the message in
// *error (when given):
//   "cannot open TGA file: %s", "TGA read failed: %s",
//   "TGA file is not type 2 (true color, uncompressed): %s",
//   "TGA image is not 24 or 32 bits per pixel: %s"   (%s: the path as given)
TgaImage* readTga(const char* path, TgaMessage* error);
// The same over bytes already in memory (for the fuzz target); `path` only
// names the source in messages.
TgaImage* readTgaBytes(const unsigned char* data, size_t size,
                       const char* path, TgaMessage* error);
void freeTga(TgaImage* image);
