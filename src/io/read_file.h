// Opening files for reading. Only regular files are read: a FIFO would
// block the interpreter for ever and a device (/dev/zero) never ends, so
// they are refused before a byte is read, and the open itself never waits.
#pragma once

#include <cstdio>

enum ReadOpen {
  kReadOpened = 0,
  kReadMissing,           // no such file (or directory on the way)
  kReadPermissionDenied,  // it is there, but may not be read
  kReadNotRegular,        // a directory, FIFO, socket or device
};

// The file open for binary reading, or null with *why set (why may be null).
FILE* openForReading(const char* path, ReadOpen* why);

// "could not find: <path>", "permission denied: <path>" or "not a regular
// file: <path>": the reason of a refused open, as readers report it.
const char* readRefusalWords(ReadOpen why);
