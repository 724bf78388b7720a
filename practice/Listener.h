#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace brindlevane::practice {

/// What the practice bridge needs to know of an HTTP request.
struct HttpRequest {
  std::string method;
  std::string path;   ///< with the query, if there is one
  std::string token;  ///< of the token header, empty without one
  std::string body;
};

/// A JSON answer.
struct HttpAnswer {
  int status;
  std::string body;
};

/// A loopback HTTP server on a port that the system chooses, with a thread of its own. Connections
/// are kept alive; what is not HTTP gets an answer of 400 and is cut off.
class Listener {
 public:
  using Handler = std::function<HttpAnswer(const HttpRequest&)>;

  /// Listens from now on.
  /// @param handler  called on the listener's thread, one request at a time
  /// @throws std::system_error  no socket
  explicit Listener(Handler handler);

  /// Cuts all connections and waits for the thread.
  ~Listener();

  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  [[nodiscard]] std::uint16_t port() const;

 private:
  struct Server;
  std::unique_ptr<Server> server_;
};

}  // namespace brindlevane::practice
