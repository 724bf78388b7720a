#include "platform/Memory.h"

#include <cstdlib>  // any header of the C library tells which one it is

#ifdef __GLIBC__
#include <malloc.h>
#include <sys/mman.h>
#endif

#include <cstddef>
#include <memory>

namespace brindlevane {

void tuneAllocator() {
#ifdef __GLIBC__
  // Without the lists of freed small blocks, neighbours are joined as they are freed. Joining
  // hundreds of thousands later costs three times as much, and giving them back ten times.
  mallopt(M_MXFAST, 0);
  // The heap grows in large steps and is given back by releaseFreeMemory() alone, not bit by bit.
  constexpr int kStep = 1 << 20;
  constexpr int kNever = 1 << 30;
  mallopt(M_TOP_PAD, kStep);
  mallopt(M_TRIM_THRESHOLD, kNever);
#endif
}

void releaseFreeMemory() {
#ifdef __GLIBC__
  constexpr std::size_t kWorthReleasing = std::size_t{1} << 20U;
  if (mallinfo2().fordblks > kWorthReleasing) {
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
