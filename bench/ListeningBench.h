#pragma once

#include "support/Table.h"

namespace brindlevane {

/// Clips of every kind listened to for the first time, beside what a user would run instead; the
/// key alone; a clip listened to again; longer files; memory after it all.
void benchListening(Table& table);

}  // namespace brindlevane
