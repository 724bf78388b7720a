#include "platform/Text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace brindlevane {
namespace {

TEST(Text, WhiteSpaceIsTakenOffBothEndsAndNowhereElse) {
  const std::vector<std::string> spaces = {
      "\t",     "\n",     "\v",     "\f",     "\r",     " ",      "\xC2\x85", "\xC2\xA0", "\u1680",
      "\u2000", "\u200a", "\u200b", "\u2028", "\u2029", "\u202f", "\u205f",   "\u3000"};
  for (const std::string& space : spaces) {
    EXPECT_EQ(trimmed(space + space + "a" + space + "b" + space), "a" + space + "b");
    EXPECT_EQ(trimmed(space), "");
  }
  for (const std::string kept : {"\u200c", "\u180e", "\u2060", "\ufeff", "\x1f", "\u00e9"}) {
    EXPECT_EQ(trimmed(kept), kept);
  }
}

TEST(Text, CharactersAreGraphemeClusters) {
  const std::vector<std::pair<std::string, std::size_t>> cases = {
      {"", 0},
      {"abc", 3},
      {"e\u0301", 1},
      {"\r\n", 1},
      {"\n\r", 2},
      {"\U0001F468\u200D\U0001F469\u200D\U0001F467", 1},
      {"\U0001F1EB\U0001F1F7\U0001F1E9\U0001F1EA", 2},
      {"\u1100\u1161\u11a8", 1},
      {"\U0001F44D\U0001F3FD!", 2}};
  for (const auto& [text, count] : cases) {
    SCOPED_TRACE(text);
    EXPECT_FALSE(hasMoreCharactersThan(count, text));
    if (count > 0) {
      EXPECT_TRUE(hasMoreCharactersThan(count - 1, text));
    }
  }
}

}  // namespace
}  // namespace brindlevane
