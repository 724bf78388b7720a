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
  malloc_trim(0);
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
