#include "listener/Hearing.h"
#include "platform/StandardStreams.h"
#include "platform/sound/Confinement.h"

#include <cstdlib>
#include <exception>
#include <optional>
#include <string>

/// Reads one task, gives up what it does not take, carries it out, writes the answer and ends. It
/// ends at once when whoever asked is gone.
///
/// @return 0 when it has answered
int main() {
  try {
    brindlevane::StandardStreams streams;
    const std::optional<std::string> task = streams.readLine();
    brindlevane::confine();
    const std::optional<std::string> answer = task ? brindlevane::heard(*task) : std::nullopt;
    if (answer) {
      streams.write(*answer + '\n');
      return EXIT_SUCCESS;
    }
  } catch (const std::exception&) {
    // No memory even for an answer: whoever asked knows what no answer means.
  }
  return EXIT_FAILURE;
}
