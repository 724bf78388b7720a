#pragma once

#include "contract/Listening.h"

#include <chrono>
#include <string>

namespace brindlevane {

/// How long the listener may work on one file.
inline constexpr std::chrono::seconds kLongestListening{60};

/// A listener that starts a program for each task: a file that crashes a decoder, or keeps it busy
/// for ever, costs one answer.
[[nodiscard]] Listener listenerProcess(const std::string& program,
                                       std::chrono::milliseconds timeLimit = kLongestListening);

/// The program that was built or installed with this one.
[[nodiscard]] Listener installedListener();

}  // namespace brindlevane
