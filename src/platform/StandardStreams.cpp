#include "platform/StandardStreams.h"

#include "platform/Descriptor.h"

#include <cstdlib>
#include <exception>
#include <thread>

namespace brindlevane {
namespace {

[[noreturn]] void leave() {
  std::_Exit(EXIT_SUCCESS);
}

}  // namespace

StandardStreams::StandardStreams() : input_(kStandardInput), output_(takeOverOutput()) {
  if (output_ < 0) {
    leave();
  }
  try {
    std::thread([output = output_] {
      if (waitUntilUnread(output)) {
        leave();
      }
    }).detach();
  } catch (const std::exception&) {
    // No thread to be had: the reader's departure is met by the next answer.
  }
}

void StandardStreams::write(std::string_view bytes) const {
  if (!writeAll(output_, bytes)) {
    leave();
  }
}

}  // namespace brindlevane
