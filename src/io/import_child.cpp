#include "io/import_child.h"

#include <errno.h>
#include <fcntl.h>
#include <malloc.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <string>

// Present only in a sanitizer's runtime: the hook a fuzzing driver sets to
// save its input when the process dies.
extern "C" void __sanitizer_set_death_callback(void (*)(void)) __attribute__((weak));

bool readerMemoryLimited() { return __sanitizer_set_death_callback == nullptr; }

void enterReaderProcess(unsigned cpuSeconds, uint64_t memoryBytes) {
  ::signal(SIGPIPE, SIG_DFL);
  // A broken file can make a reader ask for gigabytes its header never
  // mentions; when memory runs out, the system is to end the reader, not
  // the program.
  const int adjust = ::open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC);
  if (adjust >= 0) {
    // Refused (a system that does not allow it): the reader runs as it is.
    [[maybe_unused]] const ssize_t wrote = ::write(adjust, "1000", 4);
    ::close(adjust);
  }
  // The reader's death is the parent's to report: a driver's hook run
  // here would count it as the whole program's.
  if (__sanitizer_set_death_callback != nullptr) __sanitizer_set_death_callback(nullptr);
  // Some broken files make a reader ask for more than any file of their
  // size needs (a PLY body of 260 bytes: 10 GB, over ten seconds): it is
  // refused the memory at once.
  if (memoryBytes > 0 && readerMemoryLimited()) {
    struct rlimit limit;
    limit.rlim_cur = limit.rlim_max = static_cast<rlim_t>(memoryBytes);
    ::setrlimit(RLIMIT_AS, &limit);
  }
  if (cpuSeconds > 0) {
    ::signal(SIGXCPU, SIG_DFL);
    struct rlimit limit;
    limit.rlim_cur = cpuSeconds;
    limit.rlim_max = static_cast<rlim_t>(cpuSeconds) + 2;
    ::setrlimit(RLIMIT_CPU, &limit);
  }
}

void runReader(const std::function<void(RecordOut*)>& read, int fd) {
  RecordOut out;
  out.fd = fd;
  try {
    read(&out);
  } catch (...) {
    putError(&out, "the reader failed");
  }
  flushRecords(&out);
  ::_exit(0);
}

std::string readerEndedWhy(int status, unsigned cpuSeconds) {
  if (WIFSIGNALED(status) && WTERMSIG(status) == SIGXCPU)
    return "the reader ran past its time (" + std::to_string(cpuSeconds) + " s)";
  if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL)
    return "the reader was killed (out of memory?)";
  if (WIFSIGNALED(status))
    return std::string("the reader crashed (") + strsignal(WTERMSIG(status)) + ")";
  // A runtime that catches the signal itself (a sanitizer's) ends the
  // process with a status instead.
  return "the reader crashed (it ended with status " +
         std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : -1) + ")";
}

bool importInChild(const std::function<void(RecordOut*)>& read, ImportBuilder* b,
                   const char* imageDirectory, std::string* why, unsigned cpuSeconds,
                   unsigned quietSeconds, uint64_t memoryBytes) {
  int fds[2];
  if (::pipe2(fds, O_CLOEXEC) != 0) {
    *why = std::string("the reader could not be started: ") + std::strerror(errno);
    return false;
  }
  // Room for the reader to run ahead while the records are built into the
  // model (the system may give less; the pipe works either way).
  ::fcntl(fds[1], F_SETPIPE_SZ, 1 << 20);
  // Free memory goes back to the system first: the child's allocations
  // would otherwise land on pages still shared with this process and copy
  // each one the first time they write it.
  ::malloc_trim(0);
  const pid_t pid = ::fork();
  if (pid < 0) {
    *why = std::string("the reader could not be started: ") + std::strerror(errno);
    ::close(fds[0]);
    ::close(fds[1]);
    return false;
  }
  if (pid == 0) {
    ::close(fds[0]);
    enterReaderProcess(cpuSeconds, memoryBytes);
    runReader(read, fds[1]);
  }
  ::close(fds[1]);
  const bool done = replayRecords(fds[0], b, imageDirectory, why, quietSeconds);
  if (!done) ::kill(pid, SIGKILL);
  ::close(fds[0]);
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  if (!done && why->empty()) *why = readerEndedWhy(status, cpuSeconds);
  return done;
}
