#pragma once

#include <cstddef>

namespace brindlevane {

/// Gives memory that the process holds but no longer uses back to the system, where the allocator
/// can. Where there is little of it, this takes less time than to find out.
void releaseFreeMemory();

/// Advises the system to fill the memory with pages of 2 MiB where it can, which takes a fraction
/// of the time that small ones take.
void preferLargePages(void* memory, std::size_t bytes);

}  // namespace brindlevane
