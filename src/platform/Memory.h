#pragma once

namespace brindlevane {

/// Gives memory that the process holds but no longer uses back to the system, when there is enough
/// of it to be worth the while and the allocator can.
void releaseFreeMemory();

}  // namespace brindlevane
