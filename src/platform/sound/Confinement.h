#pragma once

namespace brindlevane {

/// Gives up, for good, what a process does not take that reads one file and computes: files that it
/// could write, a core file, more than a few descriptors, more memory than the largest segment of
/// audio fills, and processor time without end; and, where the system offers it, sockets, new
/// privileges, other processes, and changing any file.
void confine();

}  // namespace brindlevane
