#pragma once

#include "support/Table.h"

namespace brindlevane {

/// From the start of the program to its first answer, beside a program that does nothing.
void benchStartUp(Table& table);

/// A short line and its answer, beside a program that sends lines back. To compare the programs
/// instead of their luck with processors, all should share one.
void benchRoundTrips(Table& table);

/// A large context passed on, beside a small server for Node.js, and beside smaller contexts.
void benchRelay(Table& table);

/// Memory after the first questions of a client, and after a large context.
void benchMemory(Table& table);

}  // namespace brindlevane
