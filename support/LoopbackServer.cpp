#include "support/LoopbackServer.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>

#include <array>
#include <utility>

namespace brindlevane {
namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using asio::ip::tcp;
using Error = boost::system::error_code;

constexpr std::uint64_t kLongestBody = std::uint64_t{8} << 20U;

}  // namespace

struct LoopbackServer::Connection::Socket {
  tcp::socket stream;
};

struct LoopbackServer::Acceptor {
  asio::io_context context{1};
  tcp::acceptor acceptor{context, {asio::ip::address_v4::loopback(), 0}};
};

std::string LoopbackServer::Connection::receive() {
  std::array<char, 65536> block{};
  Error error;
  const std::size_t count = socket_.stream.read_some(asio::buffer(block), error);
  return {block.data(), error ? 0 : count};
}

std::optional<LoopbackServer::Request> LoopbackServer::Connection::receiveRequest() {
  boost::beast::flat_buffer buffer;
  http::request_parser<http::string_body> parser;
  parser.body_limit(kLongestBody);
  Error error;
  http::read(socket_.stream, buffer, parser, error);
  if (error) {
    return std::nullopt;
  }
  http::request<http::string_body> request = parser.release();
  return Request{std::string(request.method_string()), std::string(request.target()),
                 std::string(request["X-Brindlevane-Token"]), std::move(request.body())};
}

bool LoopbackServer::Connection::send(std::string_view bytes) {
  Error error;
  asio::write(socket_.stream, asio::buffer(bytes.data(), bytes.size()), error);
  return !error;
}

void LoopbackServer::Connection::sendNoMore() {
  Error ignored;
  socket_.stream.shutdown(tcp::socket::shutdown_send, ignored);
}

bool LoopbackServer::Connection::respond(int status, std::string_view body) {
  std::string response = "HTTP/1.1 " + std::to_string(status) +
                         " -\r\nContent-Type: application/json\r\nConnection: close\r\n"
                         "Content-Length: " +
                         std::to_string(body.size()) + "\r\n\r\n";
  return send(response.append(body));
}

LoopbackServer::LoopbackServer(Treatment treat)
    : treat_(std::move(treat)),
      acceptor_(std::make_unique<Acceptor>()),
      thread_([this] { serve(); }) {}

LoopbackServer::~LoopbackServer() {
  isEnding_ = true;
  // A connection of our own wakes the thread.
  Error ignored;
  tcp::socket(acceptor_->context).connect(acceptor_->acceptor.local_endpoint(), ignored);
  thread_.join();
}

void LoopbackServer::serve() {
  while (true) {
    Error error;
    Connection::Socket socket{tcp::socket(acceptor_->context)};
    acceptor_->acceptor.accept(socket.stream, error);
    if (isEnding_) {
      return;
    }
    if (!error) {
      ++connections_;
      Connection connection(socket);
      treat_(connection);
    }
  }
}

LoopbackServer::Treatment LoopbackServer::answering(std::string bytes) {
  return [bytes = std::move(bytes)](Connection& connection) {
    (void)connection.receive();
    connection.send(bytes);
  };
}

LoopbackServer::Treatment LoopbackServer::repeating(std::string start, std::string piece,
                                                    std::chrono::milliseconds pause) {
  return [=, start = std::move(start), piece = std::move(piece)](Connection& connection) {
    (void)connection.receive();
    for (bool heard = connection.send(start); heard; heard = connection.send(piece)) {
      std::this_thread::sleep_for(pause);
    }
  };
}

std::uint16_t LoopbackServer::port() const {
  return acceptor_->acceptor.local_endpoint().port();
}

}  // namespace brindlevane
