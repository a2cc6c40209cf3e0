#include "io/read_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

FILE* openForReading(const char* path, ReadOpen* why) {
  ReadOpen dummy;
  if (why == nullptr) why = &dummy;
  *why = kReadMissing;
  if (path == nullptr || path[0] == '\0') return nullptr;
  // Non-blocking, so that opening a FIFO with no writer returns at once;
  // it is refused below with everything else that is not a regular file.
  const int fd = ::open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  if (fd < 0) {
    *why = (errno == EACCES || errno == EPERM) ? kReadPermissionDenied : kReadMissing;
    return nullptr;
  }
  struct stat info;
  if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
    ::close(fd);
    *why = kReadNotRegular;
    return nullptr;
  }
  const int flags = ::fcntl(fd, F_GETFL);
  if (flags >= 0) ::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK);
  FILE* file = ::fdopen(fd, "rb");
  if (file == nullptr) {
    ::close(fd);
    *why = kReadMissing;
    return nullptr;
  }
  *why = kReadOpened;
  return file;
}

const char* readRefusalWords(ReadOpen why) {
  switch (why) {
    case kReadPermissionDenied: return "permission denied";
    case kReadNotRegular: return "not a regular file";
    default: return "could not find";
  }
}
