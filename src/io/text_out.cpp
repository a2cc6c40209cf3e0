#include "io/text_out.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <charconv>
#include <cmath>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "model/last_error.h"

namespace {

constexpr size_t kBufferBytes = 1 << 20;
// Write-back of a file being written is started every so many bytes, so
// that the disk works while the rest is made and the closing sync finds
// little left to do.
constexpr uint64_t kWriteBackBytes = 8u << 20;
// Room for any "%.*f" of a double with up to kDirectDecimals decimals:
// sign, 309 integer digits, point, decimals.
constexpr int kDirectDecimals = 64;
constexpr size_t kFixedRoom = 1 + 309 + 1 + kDirectDecimals;
// Keeps ".<base>.XXXXXX" within the 255 bytes a directory entry may have.
constexpr size_t kTempBaseBytes = 200;

const char kDigitPairs[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536"
    "37383940414243444546474849505152535455565758596061626364656667686970717273"
    "7475767778798081828384858687888990919293949596979899";

constexpr uint64_t kPowersOfTen[] = {1,         10,         100,        1000,
                                     10000,     100000,     1000000,    10000000,
                                     100000000, 1000000000};
constexpr int kFastDecimals = 9;

void resetOut(TextOut* out) {
  out->file = nullptr;
  out->buffer = nullptr;
  out->used = 0;
  out->capacity = 0;
  out->written = 0;
  out->flushed = 0;
  out->failed = false;
  out->linked = false;
  out->signalSaved = false;
  out->nonFinite = false;
}

void releaseOut(TextOut* out) {
  if (out->file != nullptr) std::fclose(out->file);
  std::free(out->buffer);
  if (out->signalSaved) sigaction(SIGXFSZ, &out->previousXfsz, nullptr);
  resetOut(out);
}

void flushBuffer(TextOut* out) {
  if (out->used == 0) return;
  if (out->file == nullptr ||
      std::fwrite(out->buffer, 1, out->used, out->file) != out->used) {
    out->failed = true;
  }
  out->written += out->used;
  out->used = 0;
#ifdef __linux__
  if (out->file != nullptr && out->written - out->flushed >= kWriteBackBytes) {
    sync_file_range(fileno(out->file), static_cast<off64_t>(out->flushed),
                    static_cast<off64_t>(out->written - out->flushed), SYNC_FILE_RANGE_WRITE);
    out->flushed = out->written;
  }
#endif
}

// Space for `bytes` more; false when the stream is not open.
inline bool reserve(TextOut* out, size_t bytes) {
  if (out->buffer == nullptr) {
    out->failed = true;
    return false;
  }
  if (out->capacity - out->used < bytes) flushBuffer(out);
  return out->capacity - out->used >= bytes;
}

// Writes `value` right-aligned so that its last digit is at end[-1];
// returns the first character written.
inline char* digitsBackward(char* end, uint64_t value) {
  while (value >= 100) {
    const unsigned pair = static_cast<unsigned>(value % 100) * 2;
    value /= 100;
    *--end = kDigitPairs[pair + 1];
    *--end = kDigitPairs[pair];
  }
  if (value >= 10) {
    const unsigned pair = static_cast<unsigned>(value) * 2;
    *--end = kDigitPairs[pair + 1];
    *--end = kDigitPairs[pair];
  } else {
    *--end = static_cast<char>('0' + value);
  }
  return end;
}

inline char* unsignedForward(char* p, uint64_t value) {
  char digits[20];
  char* first = digitsBackward(digits + sizeof digits, value);
  const size_t n = static_cast<size_t>(digits + sizeof digits - first);
  std::memcpy(p, first, n);
  return p + n;
}

// Exactly printf's "%.*f" for finite values whose scaled magnitude fits 64
// bits and decimals 0 to 9: the double is m * 2^e, so value * 10^d is the
// integer m * 10^d shifted by e, rounded half to even on the exact
// remainder (what glibc does in the default rounding mode). Null when the
// value is outside that range.
char* fixedExact(char* p, double value, int decimals) {
  uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  const bool negative = (bits >> 63) != 0;
  const int biased = static_cast<int>((bits >> 52) & 0x7ff);
  uint64_t mantissa = bits & ((uint64_t{1} << 52) - 1);
  int exponent;
  if (biased == 0) {
    exponent = -1074;
  } else {
    mantissa |= uint64_t{1} << 52;
    exponent = biased - 1075;
  }
  const uint64_t scale = kPowersOfTen[decimals];
  uint64_t scaled;  // round(|value| * 10^decimals)
  if (exponent >= 0) {
    if (exponent > 10) return nullptr;
    const unsigned __int128 whole = static_cast<unsigned __int128>(mantissa)
                                    << exponent;
    const unsigned __int128 product = whole * scale;
    if (product >> 64) return nullptr;
    scaled = static_cast<uint64_t>(product);
  } else {
    const int shift = -exponent;
    // mantissa * 10^9 < 2^83, so beyond this shift the value is below half
    // a unit of the last decimal and rounds to zero.
    if (shift > 100) {
      scaled = 0;
    } else {
      const unsigned __int128 product =
          static_cast<unsigned __int128>(mantissa) * scale;
      const unsigned __int128 quotient = product >> shift;
      if (quotient >> 64) return nullptr;
      const unsigned __int128 remainder = product - (quotient << shift);
      const unsigned __int128 half = static_cast<unsigned __int128>(1)
                                     << (shift - 1);
      scaled = static_cast<uint64_t>(quotient);
      if (remainder > half || (remainder == half && (scaled & 1) != 0)) {
        if (scaled == UINT64_MAX) return nullptr;
        ++scaled;
      }
    }
  }
  if (negative) *p++ = '-';
  if (decimals == 0) return unsignedForward(p, scaled);
  p = unsignedForward(p, scaled / scale);
  *p++ = '.';
  uint64_t fraction = scaled % scale;
  char* end = p + decimals;
  for (char* q = end; q > p;) {
    *--q = static_cast<char>('0' + fraction % 10);
    fraction /= 10;
  }
  return end;
}

// printf's "%.*f" into [p, p + kFixedRoom); decimals 0 to kDirectDecimals.
char* fixedInto(char* p, double value, int decimals) {
  if (value != value) {
    uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    if (bits >> 63) *p++ = '-';
    std::memcpy(p, "nan", 3);
    return p + 3;
  }
  if (decimals <= kFastDecimals) {
    char* end = fixedExact(p, value, decimals);
    if (end != nullptr) return end;
  }
  const std::to_chars_result r = std::to_chars(
      p, p + kFixedRoom, value, std::chars_format::fixed, decimals);
  return r.ec == std::errc() ? r.ptr : p;
}

// Precisions beyond the direct room are printed by printf itself.
void fixedSlow(TextOut* out, double value, int width, int decimals) {
  const int n = std::snprintf(nullptr, 0, "%*.*f", width, decimals, value);
  if (n <= 0) return;
  std::string text(static_cast<size_t>(n) + 1, '\0');
  std::snprintf(&text[0], text.size(), "%*.*f", width, decimals, value);
  outChars(out, text.data(), static_cast<size_t>(n));
}

// ".<base>.XXXXXX" beside the target.
std::string tempPattern(const std::string& path) {
  const size_t slash = path.rfind('/');
  const std::string directory =
      slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
  std::string base =
      slash == std::string::npos ? path : path.substr(slash + 1);
  if (base.size() > kTempBaseBytes) base.resize(kTempBaseBytes);
  return directory + "." + base + ".XXXXXX";
}

// The mode fopen would have given: an existing file keeps its own, a new
// one gets 0666 less the umask.
mode_t targetMode(const struct stat* existing, bool exists) {
  if (exists) return existing->st_mode & 07777;
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

}  // namespace

namespace {

// Follows a chain of symbolic links to the file they name, existing or
// not (a dangling link names the file to make). False for a loop.
bool followLinks(std::string* path) {
  for (int hops = 0; hops < 40; ++hops) {
    struct stat info;
    if (lstat(path->c_str(), &info) != 0 || !S_ISLNK(info.st_mode)) return true;
    std::string target(static_cast<size_t>(info.st_size > 0 ? info.st_size : 255) + 1, '\0');
    const ssize_t n = readlink(path->c_str(), &target[0], target.size());
    if (n <= 0 || static_cast<size_t>(n) >= target.size()) return false;
    target.resize(static_cast<size_t>(n));
    if (target[0] != '/') {
      const size_t slash = path->rfind('/');
      if (slash != std::string::npos) target = path->substr(0, slash + 1) + target;
    }
    *path = target;
  }
  return false;
}

// Rewrites `to` with the bytes of `from` (a finished temporary file), in
// place, so that every hard link to `to` sees the new contents.
bool copyOver(const std::string& from, const std::string& to) {
  const int in = open(from.c_str(), O_RDONLY | O_CLOEXEC);
  if (in < 0) return false;
  const int out = open(to.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
  if (out < 0) {
    close(in);
    return false;
  }
  bool ok = true;
  char chunk[1 << 16];
  for (;;) {
    const ssize_t got = read(in, chunk, sizeof chunk);
    if (got == 0) break;
    if (got < 0) {
      ok = false;
      break;
    }
    for (ssize_t done = 0; done < got;) {
      const ssize_t put = write(out, chunk + done, static_cast<size_t>(got - done));
      if (put <= 0) {
        ok = false;
        break;
      }
      done += put;
    }
    if (!ok) break;
  }
  ok = ok && fsync(out) == 0;
  ok = close(out) == 0 && ok;
  close(in);
  return ok;
}

// The rename itself reaches the disk only with its directory.
void syncDirectoryOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  const int fd = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return;
  fsync(fd);
  close(fd);
}

bool openTemporary(TextOut* out, const char* path) {
  resetOut(out);
  out->path = path != nullptr ? path : "";
  out->temp.clear();
  if (out->path.empty()) return false;

  // A link is written through, as opening it would: the file it names is
  // replaced (or made, when the link dangles), the link stays.
  struct stat info;
  if (!followLinks(&out->path)) return false;
  const bool exists = stat(out->path.c_str(), &info) == 0;
  // A directory, a device, or a file we may not change is not replaced.
  if (exists &&
      (!S_ISREG(info.st_mode) || access(out->path.c_str(), W_OK) != 0))
    return false;
  out->linked = exists && info.st_nlink > 1;

  std::string pattern = tempPattern(out->path);
  const int fd = mkstemp(&pattern[0]);
  if (fd < 0) return false;
  out->temp = pattern;
  // Should these fail, the file keeps mkstemp's 0600 and our own owner:
  // private, not wrong.
  fchmod(fd, targetMode(&info, exists));
  if (exists && (info.st_uid != geteuid() || info.st_gid != getegid())) {
    if (fchown(fd, info.st_uid, info.st_gid) != 0) {
    }
  }
  struct sigaction ignore = {};
  ignore.sa_handler = SIG_IGN;
  sigemptyset(&ignore.sa_mask);
  out->signalSaved = sigaction(SIGXFSZ, &ignore, &out->previousXfsz) == 0;
  out->file = fdopen(fd, "wb");
  out->buffer = static_cast<char*>(std::malloc(kBufferBytes));
  if (out->file == nullptr || out->buffer == nullptr) {
    if (out->file == nullptr) close(fd);
    textOutAbort(out);
    return false;
  }
  // Our own buffer already gathers large blocks.
  std::setvbuf(out->file, nullptr, _IONBF, 0);
  out->capacity = kBufferBytes;
  return true;
}

bool commitTemporary(TextOut* out) {
  if (out->file == nullptr) {
    textOutAbort(out);
    return false;
  }
  flushBuffer(out);
  bool ok = !out->failed && std::fflush(out->file) == 0 &&
            std::ferror(out->file) == 0;
  // On the disk before it takes the target's name: a crash then leaves the
  // old file or the new one, never an empty one.
  ok = ok && fsync(fileno(out->file)) == 0;
  const int closed = std::fclose(out->file);
  out->file = nullptr;
  ok = ok && closed == 0;
  if (ok && out->linked) {
    ok = copyOver(out->temp, out->path);
    if (ok) std::remove(out->temp.c_str());
  } else {
    ok = ok && std::rename(out->temp.c_str(), out->path.c_str()) == 0;
  }
  if (!ok) {
    textOutAbort(out);
    return false;
  }
  syncDirectoryOf(out->path);
  out->temp.clear();
  releaseOut(out);
  return true;
}

}  // namespace

bool textOutOpen(TextOut* out, const char* path) {
  if (openTemporary(out, path)) {
    out->name = path;
    return true;
  }
  lastErrorReportf("could not write: %s", path != nullptr ? path : "");
  return false;
}

bool textOutCommit(TextOut* out) {
  const bool nonFinite = out->nonFinite;
  if (commitTemporary(out)) return true;
  if (nonFinite) {
    lastErrorReportf("could not write: %s (a number is not finite)", out->name.c_str());
  } else {
    lastErrorReportf("could not write: %s", out->name.c_str());
  }
  return false;
}

void textOutAbort(TextOut* out) {
  releaseOut(out);
  if (!out->temp.empty()) std::remove(out->temp.c_str());
  out->temp.clear();
}

void outChars(TextOut* out, const char* text, size_t length) {
  if (length <= kBufferBytes) {
    if (!reserve(out, length)) return;
    std::memcpy(out->buffer + out->used, text, length);
    out->used += length;
    return;
  }
  if (!reserve(out, 0)) return;
  flushBuffer(out);
  if (out->file == nullptr ||
      std::fwrite(text, 1, length, out->file) != length) {
    out->failed = true;
  }
}

void outText(TextOut* out, const char* text) {
  outChars(out, text, std::strlen(text));
}

void outChar(TextOut* out, char c) {
  if (!reserve(out, 1)) return;
  out->buffer[out->used++] = c;
}

void outPadRight(TextOut* out, const char* text, int width) {
  const size_t length = std::strlen(text);
  outChars(out, text, length);
  if (width <= 0 || length >= static_cast<size_t>(width)) return;
  const size_t pad = static_cast<size_t>(width) - length;
  if (pad > kBufferBytes) {
    for (size_t i = 0; i < pad; ++i) outChar(out, ' ');
    return;
  }
  if (!reserve(out, pad)) return;
  std::memset(out->buffer + out->used, ' ', pad);
  out->used += pad;
}

// "%d" at p; returns the end.
inline char* intInto(char* p, int32_t value) {
  uint64_t magnitude = static_cast<uint64_t>(value);
  if (value < 0) {
    *p++ = '-';
    magnitude = static_cast<uint64_t>(-static_cast<int64_t>(value));
  }
  return unsignedForward(p, magnitude);
}

void outInt(TextOut* out, int32_t value) {
  if (!reserve(out, 11)) return;
  char* end = intInto(out->buffer + out->used, value);
  out->used = static_cast<size_t>(end - out->buffer);
}

void outIntPadRight(TextOut* out, int32_t value, int width) {
  if (width > 64) {
    char text[12];
    char* end = intInto(text, value);
    *end = '\0';
    outPadRight(out, text, width);
    return;
  }
  if (!reserve(out, 11 + 64)) return;
  char* p = out->buffer + out->used;
  char* end = intInto(p, value);
  while (end - p < width) *end++ = ' ';
  out->used = static_cast<size_t>(end - out->buffer);
}

// A file with "inf" or "nan" in it is no file any reader takes: the stream
// is marked failed (the text still goes out, as printf would write it) and
// the commit refuses it.
inline void checkFinite(TextOut* out, double value) {
  if (!std::isfinite(value)) {
    out->failed = true;
    out->nonFinite = true;
  }
}

void outFixed(TextOut* out, double value, int decimals) {
  checkFinite(out, value);
  if (decimals < 0) decimals = 6;  // printf's reading of a negative precision
  if (decimals > kDirectDecimals) {
    fixedSlow(out, value, 0, decimals);
    return;
  }
  if (!reserve(out, kFixedRoom)) return;
  char* p = out->buffer + out->used;
  out->used = static_cast<size_t>(fixedInto(p, value, decimals) - out->buffer);
}

void outFixedWidth(TextOut* out, double value, int width, int decimals) {
  checkFinite(out, value);
  if (decimals < 0) decimals = 6;
  if (decimals > kDirectDecimals || width > static_cast<int>(kFixedRoom) ||
      -width > static_cast<int>(kFixedRoom)) {
    fixedSlow(out, value, width, decimals);
    return;
  }
  if (!reserve(out, kFixedRoom)) return;
  char* p = out->buffer + out->used;
  char* end = fixedInto(p, value, decimals);
  const int length = static_cast<int>(end - p);
  if (width < 0 && length < -width) {  // "%-*.*f"
    std::memset(end, ' ', static_cast<size_t>(-width - length));
    end += -width - length;
  } else if (length < width) {
    const size_t pad = static_cast<size_t>(width - length);
    std::memmove(p + pad, p, static_cast<size_t>(length));
    std::memset(p, ' ', pad);
    end += pad;
  }
  out->used = static_cast<size_t>(end - out->buffer);
}

std::string savedFileName(const char* name, const char* extension,
                          const char* fallback) {
  if (name == nullptr || name[0] == '\0') return fallback;
  const size_t length = std::strlen(name);
  std::string result(name, length);
  if (!(length >= 5 && name[length - 4] == '.')) result += extension;
  return result;
}

void outFloatList(TextOut* out, const float* values, int count) {
  for (int i = 0; i < count; ++i) {
    if (i > 0) outChar(out, ' ');
    outFixed(out, values[i], 6);
  }
}

void outFloatField(TextOut* out, const char* gap, const float* values,
                   int count) {
  outText(out, gap);
  outFloatList(out, values, count);
}

void outNamedRecord(TextOut* out, const char* keyword, const char* name,
                    const char* gap) {
  outText(out, keyword);
  outPadRight(out, name, 8);
  outText(out, gap);
}

void outFileHeading(TextOut* out, const char* what, const char* path) {
  outText(out, "#\n# ");
  outText(out, what);
  outText(out, ": ");
  outText(out, path);
  outText(out, "\n#\nversion 2.0\n");
}
