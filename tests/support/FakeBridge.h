#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

namespace brindlevane {

/// A real listener on loopback that treats each connection as it is told to, well or badly.
class FakeBridge {
 public:
  using Treatment = std::function<void(int connection)>;

  explicit FakeBridge(Treatment treat) : treat_(std::move(treat)) {
    listener_ = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    (void)bind(listener_, reinterpret_cast<sockaddr*>(&address), length);
    (void)listen(listener_, 16);
    getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { serve(); });
  }
  FakeBridge(const FakeBridge&) = delete;
  FakeBridge& operator=(const FakeBridge&) = delete;
  ~FakeBridge() {
    shutdown(listener_, SHUT_RDWR);
    thread_.join();
    close(listener_);
  }

  /// Reads a request and sends these bytes.
  static Treatment answering(std::string bytes) {
    return [bytes = std::move(bytes)](int connection) {
      (void)receive(connection);
      (void)send(connection, bytes);
    };
  }

  /// Sends the start, then the piece again and again until the other side goes away.
  static Treatment repeating(const std::string& start, const std::string& piece,
                             std::chrono::milliseconds pause) {
    return [=](int connection) {
      (void)receive(connection);
      for (bool heard = send(connection, start); heard; heard = send(connection, piece)) {
        std::this_thread::sleep_for(pause);
      }
    };
  }

  static std::string receive(int connection) {
    std::array<char, 65536> block{};
    const ssize_t count = recv(connection, block.data(), block.size(), 0);
    return {block.data(), static_cast<std::size_t>(count > 0 ? count : 0)};
  }

  static bool send(int connection, std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t count = ::send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (count < 0) {
        return false;
      }
      bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
  }

  [[nodiscard]] std::uint16_t port() const { return port_; }
  [[nodiscard]] int connections() const { return connections_; }

 private:
  void serve() {
    for (int connection = accept(listener_, nullptr, nullptr); connection >= 0;
         connection = accept(listener_, nullptr, nullptr)) {
      ++connections_;
      treat_(connection);
      close(connection);
    }
  }

  Treatment treat_;
  int listener_ = -1;
  std::uint16_t port_ = 0;
  std::atomic<int> connections_ = 0;
  std::thread thread_;
};

}  // namespace brindlevane
