#include "support/ChildProcess.h"

#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace brindlevane {
namespace {

constexpr unsigned kBlock = 1U << 20U;
constexpr int kSilenceMilliseconds = 60000;

void closeOnce(int& descriptor) {
  if (descriptor >= 0) {
    close(std::exchange(descriptor, -1));
  }
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command,
                           const std::vector<std::string>& environment, bool blocks)
    : name_(command.front()),
      program_(startProgram(command, environment, blocks)),
      block_(kBlock) {}

ChildProcess::~ChildProcess() {
  closeInput();
  closeOutput();
  closeOnce(program_.error);
  if (program_.process != -1) {
    end(true);
    wait();
  }
}

int ChildProcess::number() const {
  return numberOf(program_.process);
}

void ChildProcess::send(std::string_view bytes) const {
  while (!bytes.empty()) {
    const auto count = write(program_.input, bytes.data(),
                             static_cast<unsigned>(std::min<std::size_t>(bytes.size(), kBlock)));
    if (count < 0) {
      return;
    }
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

// What there is to read; nothing at the end.
std::string_view ChildProcess::block() {
  if (!waitForOutput(program_.output, kSilenceMilliseconds)) {
    throw std::runtime_error(name_ + " does not answer");
  }
  const auto count = read(program_.output, block_.data(), kBlock);
  return {block_.data(), count > 0 ? static_cast<std::size_t>(count) : 0};
}

std::string ChildProcess::line() {
  std::size_t end = pending_.find('\n');
  while (end == std::string::npos) {
    const std::string_view more = block();
    if (more.empty()) {
      return std::exchange(pending_, {});
    }
    const std::size_t before = pending_.size();
    pending_ += more;
    end = pending_.find('\n', before);
  }
  std::string line = pending_.substr(0, end);
  pending_.erase(0, end + 1);
  return line;
}

void ChildProcess::exchange(std::string_view line) {
  send(line);
  for (std::string_view got; !got.ends_with('\n');) {
    got = block();
    if (got.empty()) {
      throw std::runtime_error(name_ + " left without an answer");
    }
  }
}

std::string ChildProcess::restOfOutput() {
  std::string bytes = std::exchange(pending_, {});
  for (std::string_view more = block(); !more.empty(); more = block()) {
    bytes += more;
  }
  return bytes;
}

std::string ChildProcess::restOfError() {
  std::string bytes;
  for (;;) {
    const auto count = read(program_.error, block_.data(), kBlock);
    if (count <= 0) {
      return bytes;
    }
    bytes.append(block_.data(), static_cast<std::size_t>(count));
  }
}

void ChildProcess::closeInput() {
  closeOnce(program_.input);
}

void ChildProcess::closeOutput() {
  closeOnce(program_.output);
}

void ChildProcess::end(bool isKilled) const {
  endProgram(program_.process, isKilled);
}

int ChildProcess::wait() {
  return statusOf(std::exchange(program_.process, -1));
}

}  // namespace brindlevane
