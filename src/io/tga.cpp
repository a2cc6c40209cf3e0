#include "io/tga.h"

#include "io/read_file.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr size_t kHeaderBytes = 18;
// No texture worth loading is this big; refusing keeps a stray path (a
// disk image, a device) from being slurped whole.
constexpr size_t kMaxFileBytes = size_t{256} << 20;

TgaImage* fail(TgaMessage* error, const char* what, const char* path) {
  if (error) std::snprintf(error->text, sizeof error->text, "%s%s", what, path ? path : "");
  return nullptr;
}

uint16_t littleEndian16(const unsigned char* bytes) {
  return static_cast<uint16_t>(bytes[0] | (bytes[1] << 8));
}

}  // namespace

TgaImage* readTgaBytes(const unsigned char* data, size_t size,
                       const char* path, TgaMessage* error) {
  if (data == nullptr) size = 0;
  if (size < kHeaderBytes) return fail(error, "TGA read failed: ", path);
  if (data[2] != 2) {
    return fail(error, "TGA file is not type 2 (true color, uncompressed): ", path);
  }

  TgaImage header;
  std::memset(&header, 0, sizeof header);
  header.idLength = data[0];
  header.imageType = data[2];
  header.xOrigin = littleEndian16(data + 8);
  header.yOrigin = littleEndian16(data + 10);
  header.width = littleEndian16(data + 12);
  header.height = littleEndian16(data + 14);
  header.bitsPerPixel = data[16];

  // An id cut short keeps what is there; the pixel check below refuses the
  // file anyway unless the image is empty.
  size_t offset = kHeaderBytes;
  size_t idBytes = header.idLength;
  if (idBytes > size - offset) idBytes = size - offset;
  std::memcpy(header.id, data + offset, idBytes);
  offset += idBytes;

  if (header.bitsPerPixel != 24 && header.bitsPerPixel != 32) {
    return fail(error, "TGA image is not 24 or 32 bits per pixel: ", path);
  }

  // Checked against what is actually there before allocating, so a forged
  // 65535 x 65535 header costs nothing. The 24-bit size is the bar even
  // for 32-bit files: a 32-bit file a quarter short still loads.
  const uint64_t pixelCount = uint64_t{header.width} * header.height;
  const uint64_t outBytes = pixelCount * 3;
  const size_t available = size - offset;
  if (outBytes > available) return fail(error, "TGA read failed: ", path);

  TgaImage* image = static_cast<TgaImage*>(std::malloc(sizeof(TgaImage)));
  // An empty image still gets a buffer, so pixels is never null.
  unsigned char* pixels =
      static_cast<unsigned char*>(std::malloc(outBytes > 0 ? outBytes : 1));
  if (image == nullptr || pixels == nullptr) {
    std::free(image);
    std::free(pixels);
    return fail(error, "TGA read failed: ", path);
  }
  *image = header;
  image->pixels = pixels;

  // Bottom-up rows to top row first, BGR(A) to RGB. Bytes missing from a
  // short 32-bit file read as zero.
  const unsigned char* source = data + offset;
  const uint64_t stride = header.bitsPerPixel / 8;
  const uint64_t width = header.width;
  unsigned char* out = pixels;
  for (uint64_t row = 0; row < header.height; ++row) {
    const uint64_t sourceRow = header.height - 1 - row;
    for (uint64_t column = 0; column < width; ++column) {
      const uint64_t at = (sourceRow * width + column) * stride;
      unsigned char bgr[3] = {0, 0, 0};
      for (uint64_t b = 0; b < 3 && at + b < available; ++b) bgr[b] = source[at + b];
      *out++ = bgr[2];
      *out++ = bgr[1];
      *out++ = bgr[0];
    }
  }
  return image;
}

TgaImage* readTga(const char* path, TgaMessage* error) {
  // Only regular files: a FIFO would block and a device never end.
  std::FILE* file = openForReading(path, nullptr);
  if (file == nullptr) return fail(error, "cannot open TGA file: ", path);

  unsigned char* data = nullptr;
  size_t size = 0;
  size_t capacity = 0;
  bool failed = false;
  for (;;) {
    if (size == capacity) {
      if (capacity > kMaxFileBytes) {
        failed = true;
        break;
      }
      // One byte past the limit tells a file that is too big.
      size_t grown = capacity ? capacity * 2 : size_t{64} << 10;
      if (grown > kMaxFileBytes + 1) grown = kMaxFileBytes + 1;
      unsigned char* bigger = static_cast<unsigned char*>(std::realloc(data, grown));
      if (bigger == nullptr) {
        failed = true;
        break;
      }
      data = bigger;
      capacity = grown;
    }
    size_t got = std::fread(data + size, 1, capacity - size, file);
    size += got;
    if (got == 0) {
      // A directory opens fine on some systems and only fails here.
      failed = std::ferror(file) != 0;
      break;
    }
  }
  std::fclose(file);
  if (failed || size > kMaxFileBytes) {
    std::free(data);
    return fail(error, "TGA read failed: ", path);
  }
  TgaImage* image = readTgaBytes(data, size, path, error);
  std::free(data);
  return image;
}

void freeTga(TgaImage* image) {
  if (image == nullptr) return;
  std::free(image->pixels);
  std::free(image);
}
