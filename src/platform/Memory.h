#pragma once

namespace brindlevane {

/// Prepares the allocator for trees of many small blocks that are freed together. Call it once,
/// first of all.
void tuneAllocator();

/// Gives memory that the process holds but no longer uses back to the system, when there is enough
/// of it to be worth the while and the allocator can.
void releaseFreeMemory();

/// Lets go of the program's and its libraries' code and constants, which the system reads back from
/// their files where they are needed again. A library that was busy for once, such as a decoder,
/// no longer counts as memory of the process.
void releaseLibraryPages();

}  // namespace brindlevane
