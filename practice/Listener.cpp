#include "practice/Listener.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>

#include <chrono>
#include <optional>
#include <thread>
#include <utility>

namespace brindlevane::practice {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using asio::ip::tcp;
using Error = beast::error_code;

constexpr std::uint64_t kBodyLimit = std::uint64_t{8} << 20U;
constexpr std::chrono::seconds kIdleTime{60};

// One client's connection; it lives as long as a read or a write of it is pending.
class Connection : public std::enable_shared_from_this<Connection> {
 public:
  Connection(tcp::socket socket, const Listener::Handler& handler)
      : stream_(std::move(socket)), handler_(handler) {}

  void read() {
    parser_.emplace();
    parser_->body_limit(kBodyLimit);
    stream_.expires_after(kIdleTime);
    http::async_read(
        stream_, buffer_, *parser_,
        [self = shared_from_this()](Error error, std::size_t) { self->onRead(error); });
  }

 private:
  void onRead(Error error) {
    if (!error) {
      http::request<http::string_body>& request = parser_->get();
      const auto token = request["X-Brindlevane-Token"];
      write(handler_({std::string(request.method_string()), std::string(request.target()),
                      std::string(token), std::move(request.body())}),
            request.version(), request.keep_alive());
    } else if (error == http::error::body_limit) {
      write(fault(413, "BODY_TOO_LARGE", "The body is longer than 8 MiB."), 11, false);
    } else if (error.category() == http::make_error_code(http::error::bad_method).category() &&
               error != http::error::end_of_stream) {
      write(fault(400, "INVALID_HTTP", "This is not an HTTP request."), 11, false);
    }
  }

  static HttpAnswer fault(int status, const std::string& code, const std::string& message) {
    return {status,
            R"({"ok":false,"error":{"code":")" + code + R"(","message":")" + message + "\"}}"};
  }

  void write(HttpAnswer answer, unsigned version, bool keepAlive) {
    response_ = {};
    response_.version(version);
    response_.result(static_cast<unsigned>(answer.status));
    response_.set(http::field::content_type, "application/json");
    response_.keep_alive(keepAlive);
    response_.body() = std::move(answer.body);
    response_.prepare_payload();
    stream_.expires_after(kIdleTime);
    http::async_write(stream_, response_,
                      [self = shared_from_this(), keepAlive](Error error, std::size_t) {
                        if (!error && keepAlive) {
                          self->read();
                        } else if (!error) {
                          Error ignored;  // the other side may have gone
                          self->stream_.socket().shutdown(tcp::socket::shutdown_send, ignored);
                        }
                      });
  }

  beast::tcp_stream stream_;
  const Listener::Handler& handler_;
  beast::flat_buffer buffer_;
  std::optional<http::request_parser<http::string_body>> parser_;
  http::response<http::string_body> response_;
};

}  // namespace

struct Listener::Server {
  explicit Server(Handler given)
      : handler(std::move(given)), acceptor(context, {asio::ip::address_v4::loopback(), 0}) {
    accept();
    thread = std::thread([this] { context.run(); });
  }

  void accept() {
    acceptor.async_accept([this](Error error, tcp::socket socket) {
      if (!error) {
        std::make_shared<Connection>(std::move(socket), handler)->read();
      }
      accept();
    });
  }

  Handler handler;
  asio::io_context context{1};
  tcp::acceptor acceptor;
  std::thread thread;
};

Listener::Listener(Handler handler) : server_(std::make_unique<Server>(std::move(handler))) {}

Listener::~Listener() {
  server_->context.stop();
  server_->thread.join();
}

std::uint16_t Listener::port() const {
  return server_->acceptor.local_endpoint().port();
}

}  // namespace brindlevane::practice
