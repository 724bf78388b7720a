#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace brindlevane {

using Seconds = std::chrono::duration<double>;

/// An answer's body may be this long, in bytes.
inline constexpr std::size_t kLongestHttpBody = std::size_t{256} << 20U;

/// One HTTP/1.1 request to a server on this machine.
struct HttpRequest {
  std::string host;  ///< an IPv4 or IPv6 address, no name
  std::uint16_t port = 0;
  std::string method;
  std::string target;  ///< path and query
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
};

/// A complete answer, whatever its status says.
struct HttpAnswer {
  unsigned status = 0;  ///< of the last, not an interim one
  std::string body;
};

/// Why there is no complete answer.
enum class HttpFailure {
  unreachable,  ///< no connection, silence, a broken or incomplete answer
  bodyTooLong,  ///< more than kLongestHttpBody
};

/// What became of a request.
using HttpOutcome = std::variant<HttpAnswer, HttpFailure>;

/// Sends one request over one new connection and waits for the whole answer. `timeout` is the
/// longest silence of the other side; the exchange ends within `timeout` + 1 s, whatever it does.
using HttpExchange = std::function<HttpOutcome(const HttpRequest& request, Seconds timeout)>;

/// The HttpExchange over TCP. It resolves no name, asks no proxy, follows no redirect, keeps no
/// cookie and repeats nothing, so a request reaches the address it names or none. It does not
/// throw.
[[nodiscard]] HttpOutcome exchangeOverTcp(const HttpRequest& request, Seconds timeout);

}  // namespace brindlevane
