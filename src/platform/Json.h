#pragma once

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace brindlevane {

/// The library's byte strings, which JSON does not have: a type of our own makes Json one too.
struct JsonBytes : std::vector<std::uint8_t> {
  using vector::vector;
};

/// Any JSON value. Integers keep their 64 bits, other numbers are doubles; objects iterate in
/// ascending order of their keys.
using Json =
    nlohmann::basic_json<std::map, std::vector, std::string, bool, std::int64_t, std::uint64_t,
                         double, std::allocator, nlohmann::adl_serializer, JsonBytes>;

/// Arrays and objects may lie this deep inside one another, the outermost one counted.
inline constexpr std::size_t kDeepestNesting = 512;

/// Reads one JSON text (RFC 8259). The last of several equal keys holds; an escape of half a
/// surrogate pair, as other writers emit for broken file names, is read as U+FFFD.
///
/// @return nothing unless the text is one whole value in valid UTF-8, nested at most
///     kDeepestNesting deep, with every number in the range of a double
[[nodiscard]] std::optional<Json> parseJson(std::string_view text);

/// The value in the shortest form: no white space, no needless escape, each number in the fewest
/// digits that read back equal (a double keeps a point or an exponent). A number that is not
/// finite, which JSON cannot express, is written as null.
[[nodiscard]] std::string compactJson(const Json& value);

/// Appends the value in the form of compactJson.
///
/// @return how many bytes appendPrettyJsonString would append for it
std::size_t appendMeasuredJson(std::string& out, const Json& value);

/// Appends a JSON string that holds the value as pretty-printed JSON: a member or element a line,
/// two spaces a level, ": " after a key. The text is printed and escaped in one pass.
void appendPrettyJsonString(std::string& out, const Json& value);

}  // namespace brindlevane

/// Frees what a value holds, level by level. The library's own way bears any depth, but needs
/// memory for it: where there is none, the destructor would end the process.
template <>
inline void brindlevane::Json::json_value::destroy(value_t type) {
  const auto release = [](auto* held) {
    std::destroy_at(held);
    std::allocator<std::remove_pointer_t<decltype(held)>>().deallocate(held, 1);
  };
  switch (type) {
    case value_t::object:
      return release(object);
    case value_t::array:
      return release(array);
    case value_t::string:
      return release(string);
    case value_t::binary:
      return release(binary);
    default:
      return;
  }
}
