#pragma once

#include <nlohmann/json.hpp>

namespace brindlevane {

/// Any JSON value. Integers keep their 64 bits, other numbers are doubles; objects iterate in
/// ascending order of their keys.
using Json = nlohmann::json;

}  // namespace brindlevane
