// The process that starts assimp's readers. Forking the program for each
// file costs more the larger the program has grown: the fork copies its
// page tables, and afterwards every page the importer writes faults once
// more, as the child shares them. So the program forks once, at its first
// import, into a process that does nothing else (its free memory given
// back) and forks a fresh reader for each file; the reader then runs
// exactly as a child of the program's own would. The server ends after
// half a minute without a file, and the next import starts it again.
#pragma once

#include <cstddef>
#include <string>

#include "io/import_build.h"
#include "io/import_records.h"

// What a reader is asked to read: a file by its path, or bytes in memory
// read as the format `extension` names.
struct ReaderJob {
  std::string path;        // the file, or the name it is reported under
  std::string extension;   // bytes only
  const void* bytes = nullptr;
  size_t size = 0;
  bool fromMemory = false;
  bool reused = false;     // set in the reader: its process reads on after this
};

// Runs in the reader: sends the job's records, then returns.
using ReadJob = void (*)(const ReaderJob& job, RecordOut* out);

// As importInChild (import_child.h), with the same reasons on failure,
// the read done by `read` in a process the reader server starts. A reader
// silent for three times `cpuSeconds` and half a minute more is stopped.
// `memoryBytes` bounds a forked reader's address space (a server that reads
// jobs itself runs unbounded).
bool importThroughServer(ReadJob read, const ReaderJob& job, ImportBuilder* b,
                         const char* imageDirectory, std::string* why,
                         unsigned cpuSeconds, uint64_t memoryBytes = 0);

// Whether the server reads the jobs itself, one after another, instead of
// forking a reader for each: much cheaper per file, but a reader that
// corrupts memory without crashing may change the reads after it. Its
// death is still only a refused import, and the next job starts it
// again. For fuzzing, which reads many small inputs.
void setReaderServerReadsItself(bool itself);
