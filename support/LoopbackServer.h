#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

namespace brindlevane {

/// A server on loopback, on a port that the system chooses, that treats each connection as it is
/// told to, well or badly, one after the other on a thread of its own.
class LoopbackServer {
 public:
  /// An HTTP request as a bridge sees it.
  struct Request {
    std::string method;
    std::string target;
    std::string token;  ///< empty without one
    std::string body;
  };

  class Connection {
   public:
    /// What there is to read; empty when the other side has gone.
    [[nodiscard]] std::string receive();

    /// An HTTP request of at most 8 MiB; nothing for anything else.
    [[nodiscard]] std::optional<Request> receiveRequest();

    /// @return false when the other side has gone
    bool send(std::string_view bytes);

    /// Tells the other side that nothing more comes.
    void sendNoMore();

    /// Sends an answer in JSON.
    bool respond(int status, std::string_view body);

   private:
    friend class LoopbackServer;
    struct Socket;
    explicit Connection(Socket& socket) : socket_(socket) {}
    Socket& socket_;
  };

  using Treatment = std::function<void(Connection& connection)>;

  /// @throws std::system_error  no socket
  explicit LoopbackServer(Treatment treat);

  /// Waits for the treatment of the last connection.
  ~LoopbackServer();
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;

  /// Reads and sends these bytes.
  [[nodiscard]] static Treatment answering(std::string bytes);

  /// Reads, sends the start, then the piece again and again until the other side goes away.
  [[nodiscard]] static Treatment repeating(std::string start, std::string piece,
                                           std::chrono::milliseconds pause);

  [[nodiscard]] std::uint16_t port() const;
  [[nodiscard]] int connections() const { return connections_; }

 private:
  struct Acceptor;

  void serve();

  Treatment treat_;
  std::unique_ptr<Acceptor> acceptor_;
  std::atomic<bool> isEnding_ = false;
  std::atomic<int> connections_ = 0;
  std::thread thread_;
};

}  // namespace brindlevane
