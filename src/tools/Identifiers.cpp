#include "tools/Identifiers.h"

namespace brindlevane::BrindlevaneMCP {
namespace {

bool isLowerHex(std::string_view text, std::size_t digits) {
  return text.size() == digits &&
         text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

}  // namespace

bool isJobId(std::string_view text) {
  constexpr std::string_view kPrefix = "master_";
  return text.starts_with(kPrefix) && isLowerHex(text.substr(kPrefix.size()), 32);
}

bool isSampleId(std::string_view text) {
  return isLowerHex(text, 24);
}

}  // namespace brindlevane::BrindlevaneMCP
