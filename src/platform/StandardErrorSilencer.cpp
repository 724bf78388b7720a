#include "platform/StandardErrorSilencer.h"

#include <fcntl.h>
#include <unistd.h>

#include <mutex>
#include <utility>

namespace brindlevane {
namespace {

struct Redirection {
  std::mutex lock;
  int users = 0;
  int saved = -1;
};

Redirection& redirection() {
  static Redirection instance;
  return instance;
}

void redirect(Redirection& state) {
  state.saved = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (state.saved < 0) {
    return;
  }
  const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (nowhere >= 0) {
    ::dup2(nowhere, STDERR_FILENO);
    ::close(nowhere);
  }
}

void restore(Redirection& state) {
  if (state.saved >= 0) {
    ::dup2(state.saved, STDERR_FILENO);
    ::close(std::exchange(state.saved, -1));
  }
}

}  // namespace

StandardErrorSilencer::StandardErrorSilencer() {
  Redirection& state = redirection();
  const std::lock_guard guard(state.lock);
  if (state.users++ == 0) {
    redirect(state);
  }
}

StandardErrorSilencer::StandardErrorSilencer(StandardErrorSilencer&& other) noexcept
    : active_(std::exchange(other.active_, false)) {}

StandardErrorSilencer::~StandardErrorSilencer() {
  if (!active_) {
    return;
  }
  Redirection& state = redirection();
  const std::lock_guard guard(state.lock);
  if (--state.users == 0) {
    restore(state);
  }
}

}  // namespace brindlevane
