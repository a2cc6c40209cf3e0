// The process assimp reads in. Its readers have a long history of crashes
// on broken files; one that crashes here takes only its own process, and
// the importer says so instead of ending the program.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "io/import_build.h"
#include "io/import_records.h"

// Runs `read` in a child process, which sends its records (import_records.h)
// back through a pipe and ends; they are replayed into the builder as
// they come. True when the reader said it was done; false with *why: its
// own reason, the builder's, "the reader crashed (<signal>)" (or "(it
// ended with status <n>)" when it stopped without saying why), "the
// reader was killed (out of memory?)", "the reader ran past its time
// (<n> s)" or "the reader could not be started: <reason>". The child never
// returns: it ends with _exit, so nothing of the program runs there but
// `read`. `cpuSeconds` (0: none) bounds the child's processor time, so
// that a reader caught in a loop ends instead of hanging the program, and
// `quietSeconds` (0: none) its silence, so that a reader stuck without
// running ends too ("the reader stopped answering (<n> s without a
// word)").
// `memoryBytes` (0: none) bounds its address space where
// readerMemoryLimited().
bool importInChild(const std::function<void(RecordOut*)>& read, ImportBuilder* b,
                   const char* imageDirectory, std::string* why,
                   unsigned cpuSeconds = 0, unsigned quietSeconds = 0,
                   uint64_t memoryBytes = 0);

// What a reader's process does first, whoever forked it: a parent that
// stopped listening ends it, its death is not the program's, the system
// ends it first when memory runs out, and its processor time and address
// space are bounded (0: not).
void enterReaderProcess(unsigned cpuSeconds, uint64_t memoryBytes = 0);
// Whether a reader's address space can be bounded: not under a sanitizer,
// whose shadow memory alone takes terabytes of it.
bool readerMemoryLimited();
// Runs `read` there to its end, then ends the process.
[[noreturn]] void runReader(const std::function<void(RecordOut*)>& read, int fd);
// Why a reader that stopped without saying it was done stopped, from its
// wait status.
std::string readerEndedWhy(int status, unsigned cpuSeconds);
