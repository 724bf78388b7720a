#include "server/BrindlevaneMCPMain.h"
#include "tests/support/ScarceMemory.h"

#include <cstdlib>

/// The server, whose main thread's allocation number FAILING_ALLOCATION fails.
/// @return 0 when it did; 3 when there were fewer
int main() {
  using namespace brindlevane;
  const char* n = std::getenv("FAILING_ALLOCATION");
  ScarceMemory::begin(std::atol(n != nullptr ? n : "0"), 1);
  BrindlevaneMCPMain::main();
  return ScarceMemory::end() ? 0 : 3;
}
