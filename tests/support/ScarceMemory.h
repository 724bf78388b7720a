#pragma once

namespace brindlevane::ScarceMemory {

/// How long there is no memory.
enum class Shortage { forOneAllocation, fromThenOn };

/// Makes this thread's n-th allocation from now on by operator new fail, n from 1.
void begin(long n, Shortage shortage);

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
