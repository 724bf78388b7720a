// Comes between a program and the C library, and makes the calls fail that it is told to. Preloaded
// by faults.mjs, which sends commands between the lines of the program's standard input:
//
//   @N KIND [HOW] [lasting]   the N-th call of a kind fails, from the next line on; "lasting": and
//                             so do all behind it, until the program comes back for another line
//
// What has happened is told on descriptor 3: "f" when a call fails, "." when the program comes back
// for another line.

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>

extern "C" {
// The names are the C library's own.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
}

namespace {

constexpr int kReport = 3;

/// A command, as it was read.
struct Fault {
  long n = 0;
  std::array<char, 16> kind{};
  std::array<char, 16> how{};
  bool isLasting = false;
};

Fault pending;
Fault armed;
std::atomic<long> left = 0;
bool hasLine = false;

// What was read of the standard input and not yet handed over.
std::array<char, 1 << 20> line{};
std::size_t lineAt = 0;
std::size_t lineEnd = 0;

template <typename Function>
Function real(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

void report(char what) {
  static const auto kWrite = real<decltype(&::write)>("write");
  (void)kWrite(kReport, &what, 1);
}

/// Whether a call of this kind fails now, in this way; counts it.
bool fails(const char* kind, const char* how = "") {
  if (armed.n == 0 || std::strcmp(armed.kind.data(), kind) != 0 ||
      std::strcmp(armed.how.data(), how) != 0) {
    return false;
  }
  const long number = ++left;
  if (number != armed.n && !(armed.isLasting && number > armed.n)) {
    return false;
  }
  if (number == armed.n) {
    report('f');
  }
  return true;
}

template <typename Value>
Value failing(int error, Value value) {
  errno = error;
  return value;
}

/// Reads a line of the real input; false at its end.
bool readLine() {
  static const auto kRead = real<decltype(&::read)>("read");
  lineAt = 0;
  lineEnd = 0;
  while (lineEnd < line.size() && kRead(STDIN_FILENO, &line[lineEnd], 1) == 1) {
    if (line[lineEnd++] == '\n') {
      return true;
    }
  }
  return lineEnd > 0;
}

void takeCommand() {
  pending = {};
  std::array<char, 16> last{};
  line[lineEnd - 1] = '\0';
  std::sscanf(line.data(), "@%ld %15s %15s %15s", &pending.n, pending.kind.data(),
              pending.how.data(), last.data());
  if (std::strcmp(pending.how.data(), "lasting") == 0) {
    pending.how = {};
    pending.isLasting = true;
  }
  pending.isLasting = pending.isLasting || std::strcmp(last.data(), "lasting") == 0;
}

/// The lines but the commands, each by itself.
ssize_t readInput(char* bytes, std::size_t count) {
  if (lineAt == lineEnd) {
    armed = {};
    if (hasLine) {
      report('.');
    }
    do {
      if (!readLine()) {
        return 0;
      }
      if (line[0] == '@') {
        takeCommand();
      }
    } while (line[0] == '@');
    hasLine = true;
    left = 0;
    armed = pending;
    pending = {};
  }
  if (fails("read", "eintr")) {
    return failing<ssize_t>(EINTR, -1);
  }
  if (fails("read", "eagain")) {
    return failing<ssize_t>(EAGAIN, -1);
  }
  const std::size_t size = fails("read", "short") ? 1 : std::min(count, lineEnd - lineAt);
  std::memcpy(bytes, &line[lineAt], size);
  lineAt += size;
  return static_cast<ssize_t>(size);
}

/// Transfers bytes, or fewer, or fails.
template <typename Transfer>
ssize_t transferred(const char* kind, int descriptor, std::size_t count, const Transfer& transfer) {
  if (fails(kind, "error")) {
    // Of a connection that breaks: there is no other error behind which it goes on.
    shutdown(descriptor, SHUT_RDWR);
    return failing<ssize_t>(EIO, -1);
  }
  if (fails(kind, "eintr")) {
    return failing<ssize_t>(EINTR, -1);
  }
  if (fails(kind, "eagain")) {
    return failing<ssize_t>(EAGAIN, -1);
  }
  return transfer(count > 1 && fails(kind, "short") ? count / 2 : count);
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) {
  return fails("malloc") ? failing<void*>(ENOMEM, nullptr) : __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) {
  return fails("malloc") ? failing<void*>(ENOMEM, nullptr) : __libc_calloc(count, size);
}
void* realloc(void* memory, std::size_t size) {
  return fails("malloc") ? failing<void*>(ENOMEM, nullptr) : __libc_realloc(memory, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return fails("malloc") ? failing<void*>(ENOMEM, nullptr) : __libc_memalign(alignment, size);
}
int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
  *memory = fails("malloc") ? nullptr : __libc_memalign(alignment, size);
  return *memory == nullptr ? ENOMEM : 0;
}

int open(const char* path, int flags, ...) {
  static const auto kReal = real<int (*)(const char*, int, int)>("open");
  va_list rest;
  va_start(rest, flags);
  const int mode = (flags & O_CREAT) != 0 ? va_arg(rest, int) : 0;
  va_end(rest);
  return fails("open") ? failing(EMFILE, -1) : kReal(path, flags, mode);
}
int stat(const char* path, struct stat* status) {
  static const auto kReal = real<int (*)(const char*, struct stat*)>("stat");
  return fails("stat") ? failing(EIO, -1) : kReal(path, status);
}
int fstat(int descriptor, struct stat* status) {
  static const auto kReal = real<int (*)(int, struct stat*)>("fstat");
  return fails("stat") ? failing(EIO, -1) : kReal(descriptor, status);
}

ssize_t read(int descriptor, void* bytes, std::size_t count) {
  static const auto kReal = real<decltype(&::read)>("read");
  if (descriptor == STDIN_FILENO) {
    return readInput(static_cast<char*>(bytes), count);
  }
  return transferred("read", descriptor, count,
                     [=](std::size_t size) { return kReal(descriptor, bytes, size); });
}
ssize_t pread(int descriptor, void* bytes, std::size_t count, off_t offset) {
  static const auto kReal = real<decltype(&::pread)>("pread");
  return transferred("read", descriptor, count,
                     [=](std::size_t size) { return kReal(descriptor, bytes, size, offset); });
}
ssize_t write(int descriptor, const void* bytes, std::size_t count) {
  static const auto kReal = real<decltype(&::write)>("write");
  return transferred("write", descriptor, count,
                     [=](std::size_t size) { return kReal(descriptor, bytes, size); });
}
ssize_t send(int descriptor, const void* bytes, std::size_t count, int flags) {
  static const auto kReal = real<decltype(&::send)>("send");
  return transferred("send", descriptor, count,
                     [=](std::size_t size) { return kReal(descriptor, bytes, size, flags); });
}
ssize_t sendmsg(int descriptor, const msghdr* message, int flags) {
  static const auto kReal = real<decltype(&::sendmsg)>("sendmsg");
  return transferred("send", descriptor, 1,
                     [=](std::size_t) { return kReal(descriptor, message, flags); });
}
ssize_t recv(int descriptor, void* bytes, std::size_t count, int flags) {
  static const auto kReal = real<decltype(&::recv)>("recv");
  return transferred("recv", descriptor, count,
                     [=](std::size_t size) { return kReal(descriptor, bytes, size, flags); });
}
ssize_t recvmsg(int descriptor, msghdr* message, int flags) {
  static const auto kReal = real<decltype(&::recvmsg)>("recvmsg");
  return transferred("recv", descriptor, 1,
                     [=](std::size_t) { return kReal(descriptor, message, flags); });
}

int socket(int domain, int type, int protocol) {
  static const auto kReal = real<decltype(&::socket)>("socket");
  return fails("socket") ? failing(ENFILE, -1) : kReal(domain, type, protocol);
}
int connect(int descriptor, const sockaddr* address, socklen_t length) {
  static const auto kReal = real<decltype(&::connect)>("connect");
  return fails("connect") ? failing(ECONNREFUSED, -1) : kReal(descriptor, address, length);
}
int poll(pollfd* polled, nfds_t count, int milliseconds) {
  static const auto kReal = real<decltype(&::poll)>("poll");
  if (fails("poll")) {
    return failing(EINTR, -1);
  }
  if (count == 1 && polled->fd == STDIN_FILENO && lineAt < lineEnd) {
    polled->revents = POLLIN;
    return 1;
  }
  return kReal(polled, count, milliseconds);
}
int epoll_create1(int flags) {
  static const auto kReal = real<decltype(&::epoll_create1)>("epoll_create1");
  return fails("epoll") ? failing(EMFILE, -1) : kReal(flags);
}
int epoll_wait(int descriptor, epoll_event* events, int most, int milliseconds) {
  static const auto kReal = real<decltype(&::epoll_wait)>("epoll_wait");
  return fails("poll") ? failing(EINTR, -1) : kReal(descriptor, events, most, milliseconds);
}
int pipe(int* ends) {
  static const auto kReal = real<decltype(&::pipe)>("pipe");
  return fails("pipe") ? failing(EMFILE, -1) : kReal(ends);
}
int posix_spawn(pid_t* process, const char* path, const posix_spawn_file_actions_t* files,
                const posix_spawnattr_t* attributes, char* const* arguments,
                char* const* environment) {
  static const auto kReal = real<decltype(&::posix_spawn)>("posix_spawn");
  return fails("spawn") ? EAGAIN : kReal(process, path, files, attributes, arguments, environment);
}
int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                   void* argument) {
  static const auto kReal = real<decltype(&::pthread_create)>("pthread_create");
  return fails("thread") ? EAGAIN : kReal(thread, attributes, start, argument);
}
void* dlopen(const char* path, int flags) {
  static const auto kReal = real<decltype(&::dlopen)>("dlopen");
  return fails("dlopen") ? nullptr : kReal(path, flags);
}

}  // extern "C"
