#include "platform/Memory.h"

#include <cstdlib>  // any header of the C library tells which one it is

#ifdef __GLIBC__
#include <malloc.h>
#include <sys/mman.h>
#endif

#include <cstddef>
#include <memory>

namespace brindlevane {

void releaseFreeMemory() {
#ifdef __GLIBC__
  constexpr std::size_t kWorthReleasing = std::size_t{1} << 20U;
#if __GLIBC_PREREQ(2, 33)
  const std::size_t unused = mallinfo2().fordblks;
#else
  // The older call counts in 32 bits; newer headers advise against it.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  const std::size_t unused = static_cast<unsigned>(mallinfo().fordblks);
#endif
  if (unused > kWorthReleasing) {
    malloc_trim(0);
  }
#endif
}

void preferLargePages(void* memory, std::size_t bytes) {
#ifdef MADV_HUGEPAGE
  constexpr std::size_t kPage = std::size_t{2} << 20U;
  if (std::align(kPage, kPage, memory, bytes) != nullptr) {
    madvise(memory, bytes, MADV_HUGEPAGE);
  }
#else
  static_cast<void>(memory);
  static_cast<void>(bytes);
#endif
}

}  // namespace brindlevane
