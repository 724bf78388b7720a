#include "platform/HttpTransport.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>

#include <algorithm>
#include <exception>
#include <optional>
#include <string>

namespace brindlevane {
namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using boost::system::error_code;
using Clock = std::chrono::steady_clock;
using AnswerParser = http::response_parser<http::string_body>;

/// A call may outlast the silence it allows by this much, as long as the other side keeps sending.
constexpr Seconds kGrace{1};
constexpr std::uint32_t kLongestHeader = 64 * 1024;
/// Bounds what a chunk's extensions or the trailers can make us hold.
constexpr std::size_t kBufferSize = std::size_t{2} * kLongestHeader;

/// One connection that is used once.
class Connection {
 public:
  explicit Connection(Seconds timeout)
      : silence_(std::chrono::duration_cast<Clock::duration>(timeout)),
        deadline_(Clock::now() + std::chrono::duration_cast<Clock::duration>(timeout + kGrace)) {}

  HttpOutcome exchange(const HttpRequest& request) {
    const asio::ip::address host = asio::ip::make_address(request.host);
    if (step([&](auto handler) {
          socket_.async_connect({host, request.port}, std::move(handler));
        })) {
      return HttpFailure::unreachable;
    }
    http::request<http::string_body> message;
    message.method_string(request.method);
    message.target(request.target);
    for (const auto& [name, value] : request.headers) {
      message.set(name, value);
    }
    message.set(http::field::host, (host.is_v6() ? "[" + request.host + "]" : request.host) + ":" +
                                       std::to_string(request.port));
    message.set(http::field::connection, "close");
    message.body() = request.body;
    if (!request.body.empty()) {
      message.prepare_payload();
    }
    // A server may refuse a request before it has read all of it: what it answers counts, so the
    // outcome of the write is left to the read.
    (void)step([&](auto handler) { http::async_write(socket_, message, std::move(handler)); });
    return readAnswer();
  }

 private:
  /// Runs one asynchronous operation until it ends, or drops the connection when nothing comes
  /// of it in time.
  template <typename Start>
  error_code step(Start start) {
    std::optional<error_code> outcome;
    start([&outcome](error_code error, auto&&...) { outcome = error; });
    context_.restart();
    context_.run_until(std::min(Clock::now() + silence_, deadline_));
    if (!outcome) {
      error_code ignored;
      socket_.close(ignored);
      context_.restart();
      context_.run();
      return asio::error::timed_out;
    }
    return *outcome;
  }

  HttpOutcome readAnswer() {
    boost::beast::flat_buffer buffer(kBufferSize);
    for (;;) {
      AnswerParser parser;
      parser.header_limit(kLongestHeader);
      parser.body_limit(kLongestHttpBody);
      while (!parser.is_done()) {
        const error_code error = step([&](auto handler) {
          http::async_read_some(socket_, buffer, parser, std::move(handler));
        });
        if (error) {
          return error == http::error::body_limit ? HttpFailure::bodyTooLong
                                                  : HttpFailure::unreachable;
        }
      }
      // An interim answer (RFC 9110, section 15.2) announces the real one.
      if (parser.get().result_int() >= 200) {
        return HttpAnswer{parser.get().result_int(), std::move(parser.get().body())};
      }
    }
  }

  Clock::duration silence_;
  Clock::time_point deadline_;
  asio::io_context context_{1};
  asio::ip::tcp::socket socket_{context_};
};

}  // namespace

HttpOutcome exchangeOverTcp(const HttpRequest& request, Seconds timeout) {
  try {
    return Connection(timeout).exchange(request);
  } catch (const std::exception&) {
    // An address that is none, or no descriptor left for a socket.
    return HttpFailure::unreachable;
  }
}

}  // namespace brindlevane
