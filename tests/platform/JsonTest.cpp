#include "platform/Json.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace brindlevane {
namespace {

TEST(Json, NumbersAreWrittenInTheFewestDigitsThatReadBackEqual) {
  std::vector<std::pair<std::string, std::string>> cases = {
      {"100000.0", "1e5"},
      {"0.0000001", "1e-7"},
      {"2.5E+10", "2.5e10"},
      {"18446744073709551616", "1.8446744073709552e19"},
      {"-9223372036854775809", "-9.223372036854776e18"},
      {"100000000000000016.0", "1.0000000000000002e17"}};
  for (const char* const same :
       {"0", "-9223372036854775808", "18446744073709551615", "9007199254740993", "12.0", "-0.0",
        "0.1", "5e-324", "1e22", "1.7976931348623157e308", "100.0", "99999999999999984.0",
        "9.5367431640625e-7"}) {
    cases.emplace_back(same, same);
  }
  for (const auto& [read, written] : cases) {
    SCOPED_TRACE(read);
    const auto value = parseJson(read);
    ASSERT_TRUE(value);
    EXPECT_EQ(compactJson(*value), written);
    EXPECT_EQ(parseJson(written), value);
  }
  EXPECT_EQ(compactJson({std::numeric_limits<double>::infinity(), std::nan("")}), "[null,null]");
}

TEST(Json, TextsThatAreNotOneValidValueAreRefused) {
  for (const char* const text : {"", "[1,]", "{\"a\":1,}", "01", "-", "[1.]", "[1e+]", "1e400",
                                 "[-1e999]", "NaN", "// note\n{}", "\"\\ud800", "\"\\"}) {
    EXPECT_FALSE(parseJson(text)) << text;
  }
  for (const char* const text :
       {"\t", R"(\ud800\u004)", R"(\ud800\u-041)", R"(\ud800\x)", R"(\ud80g)", R"(\u-001)",
        R"(\u12)", "\xC3", "\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80"}) {
    EXPECT_FALSE(parseJson('"' + std::string(text) + '"')) << text;
  }
  EXPECT_FALSE(parseJson({"{}\0", 3}));
  EXPECT_FALSE(parseJson({"\"\0\"", 3}));
  EXPECT_FALSE(parseJson(std::string(1000000, '[')));
  EXPECT_FALSE(parseJson(std::string(1000000, '{')));
  for (const auto& [open, close] : {std::pair("[", "]"), std::pair("{\"a\":", "}")}) {
    std::string deepest = "1";
    for (std::size_t i = 0; i < kDeepestNesting; ++i) {
      deepest = open + deepest + close;
    }
    EXPECT_TRUE(parseJson(deepest));
    EXPECT_FALSE(parseJson("[" + deepest + "]"));
  }
  EXPECT_EQ(parseJson("\xEF\xBB\xBF {\n\r\t} "), Json::object());
  EXPECT_FALSE(parseJson(" \xEF\xBB\xBF{}"));
}

TEST(Json, EscapesAreReadAndHalfASurrogatePairIsReplaced) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {R"(\"\\\/\b\f\n\r\t)", "\"\\/\b\f\n\r\t"},
      {R"(\u0041\u00e9\u20AC)", "A\u00e9\u20ac"},
      {R"(\ud83c\uDFB9)", "\U0001F3B9"},
      {R"(\ud800\udc00\udbff\udfff)", "\U00010000\U0010FFFF"},
      {R"(\ud7ff\ue000)", "\uD7FF\uE000"},
      {R"(\ud800)", "\uFFFD"},
      {R"(\udbff.wav)", "\uFFFD.wav"},
      {R"(\udc00\udfff)", "\uFFFD\uFFFD"},
      {R"(\ud83d\u0041)", "\uFFFDA"},
      {R"(\ud83d\n)", "\uFFFD\n"},
      {R"(\ud83d\ue000)", "\uFFFD\uE000"},
      {R"(\ud83d\udbff)", "\uFFFD\uFFFD"},
      {R"(\ud83d\ud83c\udfb9)", "\uFFFD\U0001F3B9"},
      {R"(\udfb9\ud83c)", "\uFFFD\uFFFD"}};
  for (const auto& [escaped, text] : cases) {
    EXPECT_EQ(parseJson('"' + escaped + '"'), Json(text)) << escaped;
  }
}

TEST(Json, StringsAreEscapedOnlyWhereTheyMustBe) {
  const Json value = {{"k\"\\/\u00e9\U0001F3B9", std::string("\0\x17\x1f\b\f\n\r\t\x7f", 9)}};
  EXPECT_EQ(compactJson(value),
            "{\"k\\\"\\\\/\u00e9\U0001F3B9\":\"\\u0000\\u0017\\u001f\\b\\f\\n\\r\\t\x7f\"}");
  EXPECT_EQ(parseJson(compactJson(value)), value);
}

TEST(Json, PrettyTextIsTheSameValueALineAMemberInOrder) {
  const auto value = parseJson(R"({"b":[1,{"y\"\n":"\\","x":null}],"a":{},"c":[],"b2":[[]]})");
  std::string quoted;
  appendPrettyJsonString(quoted, *value);
  const auto text = parseJson(quoted);
  ASSERT_TRUE(text);
  EXPECT_EQ(text->get<std::string>(),
            "{\n  \"a\": {},\n  \"b\": [\n    1,\n    {\n      \"x\": null,\n"
            "      \"y\\\"\\n\": \"\\\\\"\n    }\n  ],\n  \"b2\": [\n    []\n  ],\n  \"c\": []\n}");
  EXPECT_EQ(parseJson(text->get<std::string>()), value);
}

TEST(Json, TheLastOfEqualKeysHolds) {
  EXPECT_EQ(compactJson(*parseJson(R"({"a":{"b":1},"a":[2]})")), R"({"a":[2]})");
}

}  // namespace
}  // namespace brindlevane
