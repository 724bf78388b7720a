#include "platform/Url.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace brindlevane {
namespace {

/// The parts in one line: scheme, host, port, target, and a letter for each of user, query and
/// fragment.
std::string partsOf(const std::optional<Url>& url) {
  if (!url) {
    return "none";
  }
  return url->scheme + " " + url->host + " " + (url->port ? std::to_string(*url->port) : "-") +
         " " + url->target + " " + (url->hasUserInfo ? "u" : "") + (url->hasQuery ? "q" : "") +
         (url->hasFragment ? "f" : "");
}

TEST(Url, TheAuthorityAndTheTargetAreTakenApart) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"http://127.0.0.1:8765", "http 127.0.0.1 8765 / "},
      {"HTTP://Host.Example/", "HTTP Host.Example - / "},
      {"http://[::1]:1/a/b/", "http ::1 1 /a/b/ "},
      {"http://h:65535/a%20b", "http h 65535 /a%20b "},
      {"http://h:65536/", "http h - / "},
      {"http://h:/", "http h - / "},
      {"http://h:0", "http h 0 / "},
      {"http://user@h", "http h - / u"},
      {"http://@h", "http h - / u"},
      {"http://h?a=b/c", "http h - /?a=b/c q"},
      {"http://h/a?", "http h - /a? q"},
      {"http://h/a#b", "http h - /a f"},
      {"http://h/#", "http h - / f"},
      {"http://u:p@[::1]:80/a?b#c", "http ::1 80 /a?b uqf"},
      {"http:///a", "http  - /a "},
      {"mailto:a", "mailto  - /a "},
      {"//h/a", "none"},
      {"/a", "none"},
      {"", "none"},
      {"http://h/ ", "none"},
      {"http://h:x/", "none"}};
  for (const auto& [text, parts] : cases) {
    const std::optional<Url> url = parseUrl(text);
    EXPECT_EQ(partsOf(url), parts) << text;
    EXPECT_EQ(url ? url->text : text, text);
  }
}

TEST(Url, ReferencesAreResolved) {
  const Url base = *parseUrl("http://a/b/c/d;p?q");
  const std::vector<std::pair<std::string, std::string>> cases = {// Of RFC 3986, section 5.4.
                                                                  {"g", "http://a/b/c/g"},
                                                                  {"/g", "http://a/g"},
                                                                  {"//g", "http://g"},
                                                                  {"", "http://a/b/c/d;p?q"},
                                                                  {"../g", "http://a/b/g"},
                                                                  // No references.
                                                                  {"a b", "none"},
                                                                  {"%zz", "none"},
                                                                  {"/a\r\nb", "none"}};
  for (const auto& [reference, expected] : cases) {
    const std::optional<Url> url = resolveUrl(base, reference);
    EXPECT_EQ(url ? url->text : "none", expected) << reference;
    EXPECT_EQ(partsOf(url), partsOf(parseUrl(expected))) << reference;
  }
  Url other = base;
  other.text = "no base";
  EXPECT_FALSE(resolveUrl(other, "/a"));
}

}  // namespace
}  // namespace brindlevane
