#include "platform/Memory.h"

#include <cstdlib>  // any header of the C library tells which one it is

#ifdef __GLIBC__
#include <malloc.h>
#endif

#include <cstddef>

namespace brindlevane {

void releaseFreeMemory() {
#ifdef __GLIBC__
  constexpr std::size_t kWorthReleasing = std::size_t{4} << 20U;
  if (mallinfo2().fordblks > kWorthReleasing) {
    malloc_trim(0);
  }
#endif
}

}  // namespace brindlevane
