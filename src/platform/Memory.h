#pragma once

#include <cstddef>

namespace brindlevane {

/// Gives memory that the process holds but no longer uses back to the system, when there is enough
/// of it to be worth the while and the allocator can.
void releaseFreeMemory();

/// Advises the system to fill the memory with pages of 2 MiB where it can, which takes a fraction
/// of the time that small ones take.
void preferLargePages(void* memory, std::size_t bytes);

}  // namespace brindlevane
