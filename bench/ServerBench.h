#pragma once

#include "support/Table.h"

namespace brindlevane {

/// Adds what every client meets: start-up, round trips, refusals, a large context, memory.
void benchServer(Table& table);

}  // namespace brindlevane
