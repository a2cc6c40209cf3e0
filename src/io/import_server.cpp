#include "io/import_server.h"

#include <errno.h>
#include <fcntl.h>
#include <malloc.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "io/import_child.h"

namespace {

// A job as it travels to the server; the records pipe goes beside it.
struct JobHeader {
  uint32_t cpuSeconds;
  uint32_t pathBytes;
  uint32_t extensionBytes;
  uint32_t fromMemory;
  uint64_t size;
  uint64_t memoryBytes;
};

// What the server says of a reader: its process, then how it ended.
struct Started {
  int32_t pid;  // -1: it could not be started, `error` says why
  int32_t error;
};

struct Server {
  pid_t pid = -1;
  int control = -1;  // the socket to it
  ReadJob read = nullptr;
  bool itself = false;
  // The last reader's status is still to be read: its records were all in,
  // and the import did not wait for its process to end.
  bool statusDue = false;
};

Server g_server;
bool g_itself = false;
constexpr int kIdleMilliseconds = 30000;

bool sendAll(int fd, const void* data, size_t bytes) {
  const char* at = static_cast<const char*>(data);
  while (bytes > 0) {
    const ssize_t n = ::send(fd, at, bytes, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    at += n;
    bytes -= static_cast<size_t>(n);
  }
  return true;
}

bool receiveAll(int fd, void* data, size_t bytes) {
  char* at = static_cast<char*>(data);
  while (bytes > 0) {
    const ssize_t n = ::read(fd, at, bytes);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    at += n;
    bytes -= static_cast<size_t>(n);
  }
  return true;
}

// A job header and room for one descriptor sent beside it.
struct HeaderMessage {
  iovec part;
  alignas(cmsghdr) char room[CMSG_SPACE(sizeof(int))] = {};
  msghdr message{};
  explicit HeaderMessage(JobHeader* header) : part{header, sizeof *header} {
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = room;
    message.msg_controllen = sizeof room;
  }
};

// The header with the records pipe's end attached.
bool sendHeader(int fd, const JobHeader& header, int records) {
  HeaderMessage sent(const_cast<JobHeader*>(&header));
  msghdr& message = sent.message;
  cmsghdr* attached = CMSG_FIRSTHDR(&message);
  attached->cmsg_level = SOL_SOCKET;
  attached->cmsg_type = SCM_RIGHTS;
  attached->cmsg_len = CMSG_LEN(sizeof(int));
  std::memcpy(CMSG_DATA(attached), &records, sizeof(int));
  for (;;) {
    const ssize_t n = ::sendmsg(fd, &message, MSG_NOSIGNAL);
    if (n == static_cast<ssize_t>(sizeof header)) return true;
    if (n < 0 && errno == EINTR) continue;
    return false;
  }
}

bool receiveHeader(int fd, JobHeader* header, int* records) {
  HeaderMessage received(header);
  msghdr& message = received.message;
  ssize_t n;
  while ((n = ::recvmsg(fd, &message, MSG_CMSG_CLOEXEC)) < 0 && errno == EINTR) {
  }
  cmsghdr* attached = n > 0 ? CMSG_FIRSTHDR(&message) : nullptr;
  if (attached == nullptr || attached->cmsg_type != SCM_RIGHTS) return false;
  std::memcpy(records, CMSG_DATA(attached), sizeof(int));
  return n == static_cast<ssize_t>(sizeof *header) ||
         receiveAll(fd, reinterpret_cast<char*>(header) + n, sizeof *header - static_cast<size_t>(n));
}

// A job read in the server itself gets its processor time on top of what
// the server has used so far; the limit goes again afterwards.
void limitFromNow(unsigned cpuSeconds) {
  struct rlimit limit;
  if (::getrlimit(RLIMIT_CPU, &limit) != 0) return;
  rlim_t wanted = RLIM_INFINITY;
  if (cpuSeconds > 0) {
    struct rusage used;
    ::getrusage(RUSAGE_SELF, &used);
    wanted = static_cast<rlim_t>(used.ru_utime.tv_sec + used.ru_stime.tv_sec + 1 + cpuSeconds);
  }
  limit.rlim_cur = wanted < limit.rlim_max ? wanted : limit.rlim_max;
  ::setrlimit(RLIMIT_CPU, &limit);
}

// A wait status as waitpid gives it, from what waitid tells.
int statusOf(const siginfo_t& info) {
  if (info.si_code == CLD_EXITED) return (info.si_status & 0xff) << 8;
  return info.si_status & 0x7f;
}

[[noreturn]] void serve(int control, ReadJob read, bool itself) {
  ::signal(SIGXCPU, SIG_DFL);
  for (;;) {
    // Idle a while, it ends: it holds on to the pages the program had when
    // it started, and the next import starts it again from what the
    // program holds then.
    pollfd waiting{control, POLLIN, 0};
    int ready;
    while ((ready = ::poll(&waiting, 1, kIdleMilliseconds)) < 0 && errno == EINTR) {
    }
    if (ready == 0) ::_exit(0);
    JobHeader header;
    int records = -1;
    // The program gone (or talking nonsense): nothing left to do.
    if (!receiveHeader(control, &header, &records)) ::_exit(0);
    ReaderJob job;
    std::vector<char> bytes(header.size);
    job.path.resize(header.pathBytes);
    job.extension.resize(header.extensionBytes);
    if (!receiveAll(control, &job.path[0], job.path.size()) ||
        !receiveAll(control, &job.extension[0], job.extension.size()) ||
        !receiveAll(control, bytes.data(), bytes.size()))
      ::_exit(0);
    job.fromMemory = header.fromMemory != 0;
    job.bytes = bytes.data();
    job.size = bytes.size();
    if (itself) {
      // A closed pipe fails the write, and the job ends with it.
      ::signal(SIGPIPE, SIG_IGN);
      job.reused = true;
      const Started started{static_cast<int32_t>(::getpid()), 0};
      if (!sendAll(control, &started, sizeof started)) ::_exit(0);
      limitFromNow(header.cpuSeconds);
      RecordOut out;
      out.fd = records;
      try {
        read(job, &out);
      } catch (...) {
        putError(&out, "the reader failed");
      }
      flushRecords(&out);
      ::close(records);
      limitFromNow(0);
      const int32_t status = 0;
      if (!sendAll(control, &status, sizeof status)) ::_exit(0);
      continue;
    }
    const pid_t pid = ::fork();
    const int forkError = errno;
    if (pid == 0) {
      ::close(control);
      enterReaderProcess(header.cpuSeconds, header.memoryBytes);
      runReader([&](RecordOut* out) { read(job, out); }, records);
    }
    ::close(records);
    const Started started{static_cast<int32_t>(pid), pid < 0 ? forkError : 0};
    if (!sendAll(control, &started, sizeof started)) ::_exit(0);
    if (pid < 0) continue;
    // Left unreaped until the program has read how it ended, so that its
    // number names no other process while the program may still kill it.
    siginfo_t info{};
    while (::waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT) != 0 &&
           errno == EINTR) {
    }
    const int32_t status = statusOf(info);
    char seen = 0;
    const bool talking = sendAll(control, &status, sizeof status) &&
                         receiveAll(control, &seen, 1);
    while (::waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
    }
    if (!talking) ::_exit(0);
  }
}

void stopServer() {
  if (g_server.pid <= 0) return;
  ::close(g_server.control);
  ::kill(g_server.pid, SIGKILL);
  while (::waitpid(g_server.pid, nullptr, 0) < 0 && errno == EINTR) {
  }
  g_server = Server();
}

// The server's wait status once it has ended on its own.
int serverEnded() {
  int status = 0;
  ::close(g_server.control);
  while (::waitpid(g_server.pid, &status, 0) < 0 && errno == EINTR) {
  }
  g_server = Server();
  return status;
}

bool startServer(ReadJob read, std::string* why) {
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
    *why = std::string("the reader could not be started: ") + std::strerror(errno);
    return false;
  }
  const bool itself = g_itself;
  const pid_t pid = ::fork();
  if (pid < 0) {
    *why = std::string("the reader could not be started: ") + std::strerror(errno);
    ::close(ends[0]);
    ::close(ends[1]);
    return false;
  }
  if (pid == 0) {
    // Nothing of the program's stays open here: a pipe to another program
    // it closes later must then end there.
    const int control = ends[1];
    if (control > 3) ::close_range(3, static_cast<unsigned>(control) - 1, 0);
    ::close_range(static_cast<unsigned>(control) + 1, ~0u, 0);
    enterReaderProcess(0);
    // Its readers start from this process: the less of the program's
    // memory it holds, the less each fork copies.
    ::malloc_trim(0);
    serve(control, read, itself);
  }
  ::close(ends[1]);
  g_server.pid = pid;
  g_server.control = ends[0];
  g_server.read = read;
  g_server.itself = itself;
  return true;
}

// Hands the job over; false when the server is gone.
bool sendJob(const ReaderJob& job, unsigned cpuSeconds, uint64_t memoryBytes, int records) {
  const JobHeader header{cpuSeconds, static_cast<uint32_t>(job.path.size()),
                         static_cast<uint32_t>(job.extension.size()),
                         job.fromMemory ? 1u : 0u, job.fromMemory ? job.size : 0,
                         memoryBytes};
  const int control = g_server.control;
  return sendHeader(control, header, records) &&
         sendAll(control, job.path.data(), job.path.size()) &&
         sendAll(control, job.extension.data(), job.extension.size()) &&
         (!job.fromMemory || sendAll(control, job.bytes, job.size));
}

// Tells a forking server that the program is done with the reader, which
// it may reap now.
void readerSeen() {
  const char seen = 1;
  if (!g_server.itself && !sendAll(g_server.control, &seen, 1)) serverEnded();
}

// How long a reader may send nothing: one still reading gets several
// times its processor time in wall time, for a machine busy with more.
unsigned readerQuietSeconds(unsigned cpuSeconds) {
  return cpuSeconds == 0 ? 0 : 3 * std::min(cpuSeconds, 86400u) + 30;
}

}  // namespace

void setReaderServerReadsItself(bool itself) { g_itself = itself; }

bool importThroughServer(ReadJob read, const ReaderJob& job, ImportBuilder* b,
                         const char* imageDirectory, std::string* why,
                         unsigned cpuSeconds, uint64_t memoryBytes) {
  why->clear();
  if (g_server.pid > 0 && (g_server.read != read || g_server.itself != g_itself)) stopServer();
  if (g_server.pid > 0 && g_server.statusDue) {
    g_server.statusDue = false;
    int32_t ended = 0;
    if (!receiveAll(g_server.control, &ended, sizeof ended)) serverEnded();
  }
  int fds[2];
  if (::pipe2(fds, O_CLOEXEC) != 0) {
    *why = std::string("the reader could not be started: ") + std::strerror(errno);
    return false;
  }
  // Room for the reader to run ahead while the records are built into the
  // model (the system may give less; the pipe works either way).
  ::fcntl(fds[1], F_SETPIPE_SZ, 1 << 20);
  Started started{-1, 0};
  // A server that died since the last job is started again, once.
  bool sent = false;
  for (int attempt = 0; attempt < 2 && !sent; ++attempt) {
    if (g_server.pid <= 0 && !startServer(read, why)) break;
    sent = sendJob(job, cpuSeconds, memoryBytes, fds[1]) &&
           receiveAll(g_server.control, &started, sizeof started);
    if (!sent) serverEnded();
  }
  ::close(fds[1]);
  if (!sent || started.pid < 0) {
    if (why->empty())
      *why = std::string("the reader could not be started: ") +
             std::strerror(sent ? started.error : EPIPE);
    ::close(fds[0]);
    return false;
  }
  bool stalled = false;
  const bool done = replayRecords(fds[0], b, imageDirectory, why,
                                  readerQuietSeconds(cpuSeconds), &stalled);
  // A reader of its own is stopped at once. The server that reads itself
  // finds the pipe closed at its next write and ends the job instead: it
  // is not started again for every file refused. One that fell silent
  // never writes again, and is stopped too.
  if (!done && (!g_server.itself || stalled)) ::kill(started.pid, SIGKILL);
  ::close(fds[0]);
  if (done) {
    // Every record is in. The reader's end (its memory given back, 10 ms
    // and more after a large file) is not waited for: the server may reap
    // it at once, and its status is read before the next job.
    readerSeen();
    g_server.statusDue = g_server.pid > 0;
    return true;
  }
  int32_t status = 0;
  if (receiveAll(g_server.control, &status, sizeof status)) {
    readerSeen();
  } else {
    // The server itself ended: in its own reader, or killed from outside.
    status = serverEnded();
  }
  if (!done && why->empty()) *why = readerEndedWhy(status, cpuSeconds);
  return done;
}
