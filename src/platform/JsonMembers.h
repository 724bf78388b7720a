#pragma once

#include "platform/Json.h"

#include <string>

namespace brindlevane {

/// Readers of JSON that others wrote: null unless the value is an object with such a member.

[[nodiscard]] inline const Json* memberAt(const Json& value, const std::string& key) {
  const auto found = value.find(key);
  return value.is_object() && found != value.end() ? &*found : nullptr;
}

[[nodiscard]] inline const std::string* stringAt(const Json& value, const std::string& key) {
  const Json* const member = memberAt(value, key);
  return member == nullptr ? nullptr : member->get_ptr<const std::string*>();
}

/// A number as it was received; a boolean is none.
[[nodiscard]] inline const Json* numberAt(const Json& value, const std::string& key) {
  const Json* const member = memberAt(value, key);
  return member != nullptr && member->is_number() ? member : nullptr;
}

}  // namespace brindlevane
