#pragma once

#include "platform/Json.h"

#include <fstream>
#include <iterator>
#include <string>

namespace brindlevane {

/// A file of tests/data.
inline Json testData(const std::string& name) {
  std::ifstream file(std::string(TEST_DATA "/") + name);
  const std::string text((std::istreambuf_iterator<char>(file)), {});
  return parseJson(text).value();
}

/// For each tool, without its prefix: "arguments" that it accepts, with every one that it knows;
/// their "checks" in order; which are "optional"; the "request" and its "body", and its "seconds".
inline const Json& toolCalls() {
  static const Json kCalls = testData("calls.json");
  return kCalls;
}

}  // namespace brindlevane
