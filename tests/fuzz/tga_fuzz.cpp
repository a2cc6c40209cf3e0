// Fuzz target for the TGA reader: any bytes give an image or one of the
// reader's messages, never a crash or an over-read.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "io/tga.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  TgaMessage error;
  error.text[0] = '\0';
  TgaImage* image = readTgaBytes(data, size, "fuzz.tga", &error);
  if (image != nullptr) {
    // Touch every output byte so an undersized buffer shows up.
    volatile unsigned char sink = 0;
    size_t bytes = size_t{image->width} * image->height * 3;
    for (size_t i = 0; i < bytes; ++i) sink = sink ^ image->pixels[i];
    if (image->pixels == nullptr || std::strlen(image->id) > 255) std::abort();
  } else if (std::strstr(error.text, "fuzz.tga") == nullptr) {
    std::abort();
  }
  freeTga(image);
  return 0;
}
