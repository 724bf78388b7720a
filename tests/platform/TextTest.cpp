#include "platform/Json.h"
#include "platform/Text.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <set>
#include <string>
#include <vector>

namespace brindlevane {
namespace {

/// A code point of the Basic Multilingual Plane in UTF-8.
std::string utf8(unsigned codePoint) {
  std::array<char, 9> escaped{};
  std::snprintf(escaped.data(), escaped.size(), "\"\\u%04x\"", codePoint);
  return parseJson(escaped.data())->get<std::string>();
}

TEST(Text, WhiteSpaceIsTakenOffBothEndsAndNowhereElse) {
  const std::set<unsigned> spaces = {0x09,   0x0A,   0x0B,   0x0C,   0x0D,   0x20,   0x85,
                                     0xA0,   0x1680, 0x2000, 0x2001, 0x2002, 0x2003, 0x2004,
                                     0x2005, 0x2006, 0x2007, 0x2008, 0x2009, 0x200A, 0x200B,
                                     0x2028, 0x2029, 0x202F, 0x205F, 0x3000};
  for (unsigned codePoint = 0; codePoint < 0xD800; ++codePoint) {
    const std::string one = utf8(codePoint);
    const bool isSpace = spaces.contains(codePoint);
    ASSERT_EQ(trimmed(one), isSpace ? "" : one) << std::hex << codePoint;
    const std::string inner = "a" + one + "b";
    const std::string outer = one + one + inner + one + one;
    ASSERT_EQ(trimmed(outer), isSpace ? inner : outer) << std::hex << codePoint;
  }
}

TEST(Text, CharactersAreGraphemeClusters) {
  const std::vector<std::pair<std::string, std::size_t>> cases = {
      {"abc", 3},
      {"e\u0301", 1},
      {"e\u0301e", 2},
      {"\u0301", 1},
      {"\r\n", 1},
      {"\n\r", 2},
      {"\U0001F468\u200D\U0001F469\u200D\U0001F467", 1},
      {"\U0001F1EB\U0001F1F7\U0001F1E9\U0001F1EA", 2},
      {"\u1100\u1161\u11a8", 1},
      {"\U0001F44D\U0001F3FD!", 2},
      // Bytes that are no UTF-8.
      {"\xFF\xFE!", 3}};
  EXPECT_FALSE(hasMoreCharactersThan(0, ""));
  for (const auto& [text, count] : cases) {
    SCOPED_TRACE(text);
    EXPECT_FALSE(hasMoreCharactersThan(count, text));
    EXPECT_TRUE(hasMoreCharactersThan(count - 1, text));
  }
}

}  // namespace
}  // namespace brindlevane
