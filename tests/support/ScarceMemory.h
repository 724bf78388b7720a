#pragma once

#include <limits>

namespace brindlevane::ScarceMemory {

/// More failures in a row than there will be allocations.
inline constexpr long kLasting = std::numeric_limits<long>::max();

/// Makes so many of this thread's allocations by operator new fail, from the n-th from now on,
/// n from 1.
void begin(long n, long failures);

/// Ends the shortage, or its threat.
/// @return whether an allocation has failed
bool end();

/// Suspends the count for a piece of the test's own work.
class Pause {
 public:
  Pause();
  Pause(const Pause&) = delete;
  Pause& operator=(const Pause&) = delete;
  ~Pause();
};

}  // namespace brindlevane::ScarceMemory
