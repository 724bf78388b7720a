#include "platform/Memory.h"

#include <cstdlib>  // any header of the C library tells which one it is

#ifdef __GLIBC__
#include <link.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>
#endif

#include <cstddef>
#include <cstdint>

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

#ifdef __GLIBC__
namespace {

/// Drops the pages of an object's segments that nothing writes to, not even the dynamic linker.
int releaseSegments(dl_phdr_info* object, std::size_t, void*) {
  const auto pageSize = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  for (ElfW(Half) i = 0; i < object->dlpi_phnum; ++i) {
    const ElfW(Phdr)& segment = object->dlpi_phdr[i];
    if (segment.p_type == PT_LOAD && (segment.p_flags & PF_W) == 0) {
      const std::uintptr_t start = object->dlpi_addr + segment.p_vaddr;
      const std::uintptr_t firstPage = start / pageSize * pageSize;
      // NOLINTNEXTLINE(performance-no-int-to-ptr): the loader gives addresses as numbers.
      madvise(reinterpret_cast<void*>(firstPage), start + segment.p_memsz - firstPage,
              MADV_DONTNEED);
    }
  }
  return 0;
}

}  // namespace
#endif

void releaseLibraryPages() {
#ifdef __GLIBC__
  dl_iterate_phdr(releaseSegments, nullptr);
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

}  // namespace brindlevane
