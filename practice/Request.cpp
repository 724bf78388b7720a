#include "practice/Request.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <random>

namespace brindlevane::practice {
namespace {

const Json& memberOf(const Json& body, const std::string& key) {
  static const Json kAbsent;
  const auto found = body.find(key);
  return found == body.end() ? kAbsent : *found;
}

// A value for a message; one that is no number is not printed, for it may be long.
std::string nameOf(const Json& value) {
  return value.is_number() ? value.dump() : value.type_name();
}

}  // namespace

std::size_t indexIn(const Json& body, const std::string& key, std::size_t limit,
                    const std::string& what) {
  const Json& value = memberOf(body, key);
  const double number = value.is_number() ? value.get<double>() : -1;
  if (number < 0 || number >= static_cast<double>(limit) || number != std::floor(number)) {
    throw Refusal(400, "INVALID_INDEX",
                  key + " " + nameOf(value) + " does not exist: there are " +
                      std::to_string(limit) + " " + what +
                      ", counted from 0. Read the context again.");
  }
  return static_cast<std::size_t>(number);
}

double numberIn(const Json& body, const std::string& key, double minimum, double maximum) {
  const Json& value = memberOf(body, key);
  const double number = value.is_number() ? value.get<double>() : std::nan("");
  if (!(number >= minimum && number <= maximum)) {
    throw Refusal(400, "INVALID_ARGUMENT",
                  key + " must be a number from " + shortNumber(minimum) + " to " +
                      shortNumber(maximum) + ".");
  }
  return number;
}

std::string textIn(const Json& body, const std::string& key) {
  const Json& value = memberOf(body, key);
  if (!value.is_string() || value.get_ref<const std::string&>().empty()) {
    throw Refusal(400, "INVALID_ARGUMENT", key + " must be a string that is not empty.");
  }
  return value;
}

std::string textIn(const Json& body, const std::string& key, const std::string& fallback) {
  return body.contains(key) ? textIn(body, key) : fallback;
}

std::string shortNumber(double value) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.6g", value);
  return text.data();
}

std::string randomHex(std::size_t digits) {
  std::random_device random;
  std::string hex;
  while (hex.size() < digits) {
    hex.push_back("0123456789abcdef"[random() % 16]);
  }
  return hex;
}

}  // namespace brindlevane::practice
