#pragma once

#include "platform/LineReader.h"

#include <optional>
#include <string>
#include <string_view>

namespace brindlevane {

/// The process's standard input and output, taken over from everything else in the process: what
/// a library prints to standard output or standard error goes nowhere. Make one, first of all.
///
/// The process ends with status 0 as soon as the reader of its output is gone.
class StandardStreams {
 public:
  StandardStreams();

  [[nodiscard]] std::optional<std::string> readLine() { return input_.next(); }

  /// Writes the bytes at once, or ends the process when nobody can read them any more.
  void write(std::string_view bytes) const;

 private:
  LineReader input_;
  int output_;
};

}  // namespace brindlevane
