#include "support/CannedBridge.h"

#include "support/ScratchFolder.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/streambuf.hpp>
#include <boost/asio/write.hpp>

#include <fstream>
#include <istream>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

namespace brindlevane {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;

constexpr const char* kHealth =
    R"({"bridgeVersion":"0.17.10","capabilities":["project.analyze","mix_prep.analyze",)"
    R"("context.live","key.source.audio","key.source.midi","tracks.create.midi",)"
    R"("clips.create.midi","clips.notes.replace","clips.notes.evolve","arrangement.build.club",)"
    R"("arrangement.build.undo","samples.library.search","samples.library.import",)"
    R"("devices.parameters.read","devices.parameters.write","tracks.sends.write",)"
    R"("tracks.semantic_rename","clips.color.sync"]})";

}  // namespace

struct CannedBridge::Server {
  Server() {
    const std::filesystem::path folder = scratch.path() / "Brindlevane";
    std::filesystem::create_directory(folder);
    std::ofstream(folder / "bridge.json")
        << R"({"bridgeUrl":"http://127.0.0.1:)" << acceptor.local_endpoint().port()
        << R"(","authToken":"0123456789abcdef0123456789abcdef"})";
    acceptNext();
  }

  void acceptNext() {
    acceptor.async_accept([this](const boost::system::error_code& error, tcp::socket socket) {
      if (!error) {
        serve(socket);
      }
      acceptNext();
    });
  }

  /// Answers the one request of a connection; none that a benchmark makes has a body.
  void serve(tcp::socket& socket) {
    boost::system::error_code error;
    asio::streambuf request;
    asio::read_until(socket, request, "\r\n\r\n", error);
    std::istream words(&request);
    std::string method;
    std::string path;
    words >> method >> path;
    const std::lock_guard lock(mutex);
    asio::write(socket, asio::buffer(answers[path]), error);
    socket.shutdown(tcp::socket::shutdown_send, error);
  }

  ScratchFolder scratch;
  std::mutex mutex;
  std::map<std::string, std::string> answers;
  asio::io_context context{1};
  tcp::acceptor acceptor{context, tcp::endpoint(asio::ip::address_v4::loopback(), 0)};
  std::jthread thread;
};

CannedBridge::CannedBridge() : server_(std::make_unique<Server>()) {
  answer("/v1/health", kHealth);
  server_->thread = std::jthread([this] { server_->context.run(); });
}

CannedBridge::~CannedBridge() {
  server_->context.stop();
}

void CannedBridge::answer(const std::string& path, const std::string& result) {
  const std::string body = R"({"ok":true,"result":)" + result + "}";
  const std::lock_guard lock(server_->mutex);
  server_->answers[path] =
      "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nConnection: close\r\n"
      "Content-Length: " +
      std::to_string(body.size()) + "\r\n\r\n" + body;
}

const std::filesystem::path& CannedBridge::supportFolder() const {
  return server_->scratch.path();
}

}  // namespace brindlevane
