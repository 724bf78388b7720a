#include "platform/HttpTransport.h"
#include "support/LoopbackServer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace brindlevane {
namespace {

using namespace std::chrono_literals;

constexpr Seconds kPatience{0.5};
const std::string kHead = "HTTP/1.1 200 OK\r\n";
const std::string kChunks = kHead + "Transfer-Encoding: chunked\r\n\r\n";

HttpOutcome ask(const LoopbackServer& bridge, Seconds timeout = Seconds(10),
                const std::string& body = R"({"a":1})", const std::string& address = "127.0.0.1") {
  return exchangeOverTcp({.host = address,
                          .port = bridge.port(),
                          .method = "POST",
                          .target = "/v1/x",
                          .headers = {{"X-Brindlevane-Token", "t"}},
                          .body = body},
                         timeout);
}

void receiveAll(LoopbackServer::Connection& connection) {
  while (!connection.receive().empty()) {
  }
}

/// "status body", or what went wrong.
std::string described(const HttpOutcome& outcome) {
  if (const auto* answer = std::get_if<HttpAnswer>(&outcome)) {
    return std::to_string(answer->status) + " " + answer->body;
  }
  return std::get<HttpFailure>(outcome) == HttpFailure::bodyTooLong ? "too long" : "unreachable";
}

TEST(HttpTransport, AnswersAreReadWhateverTheirFraming) {
  const std::string whole = kHead + "Content-Length: 2\r\n\r\n{}";
  const auto xs = [](std::size_t count) { return std::string(count, 'x'); };
  const std::vector<std::pair<std::string, std::string>> cases = {
      {whole, "200 {}"},
      {"HTTP/1.1 500 Oops\r\nContent-Length: 3\r\n\r\nbad and more", "500 bad"},
      {kChunks + "1;x=y\r\n{\r\n1\r\n}\r\n0\r\nA: b\r\n\r\n", "200 {}"},
      {"HTTP/1.0 200 OK\r\n\r\n{\"until\":\"close\"}", "200 {\"until\":\"close\"}"},
      {"HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 199 Hints\r\nA: b\r\n\r\n" + whole, "200 {}"},
      {"HTTP/1.1 302 Found\r\nLocation: http://127.0.0.1:1/\r\nContent-Length: 2\r\n\r\n{}",
       "302 {}"},
      {"HTTP/1.1 204 No Content\r\n\r\n", "204 "},
      {"", "unreachable"},
      {"SSH-2.0-what\r\n", "unreachable"},
      {whole.substr(0, whole.size() - 1), "unreachable"},
      {kChunks + "5\r\n{}", "unreachable"},
      {kHead + "Content-Length: x\r\n\r\n{}", "unreachable"},
      {kHead + "Content-Le", "unreachable"},
      {kHead + "X: " + xs(65457) + "\r\nContent-Length: 2\r\n\r\n{}", "200 {}"},
      {kHead + "X: " + xs(65557) + "\r\nContent-Length: 2\r\n\r\n{}", "unreachable"},
      {kChunks + "2;" + xs(131000) + "\r\n{}\r\n0\r\n\r\n", "200 {}"},
      {kChunks + "2;" + xs(131100) + "\r\n{}\r\n0\r\n\r\n", "unreachable"},
      {kHead + "Content-Length: 268435456\r\n\r\n{}", "unreachable"},
      {kChunks + "10000000\r\n{}", "unreachable"},
      {kHead + "Content-Length: 268435457\r\n\r\n{}", "too long"},
      {kChunks + "10000001\r\n{}", "too long"}};
  for (const auto& [bytes, expected] : cases) {
    SCOPED_TRACE(bytes.substr(0, 60));
    const LoopbackServer bridge(LoopbackServer::answering(bytes));
    EXPECT_EQ(described(ask(bridge)), expected);
    EXPECT_EQ(bridge.connections(), 1);
  }
}

TEST(HttpTransport, ACallOutlastsItsTimeOutOnlyWhileSomethingComes) {
  constexpr auto repeating = LoopbackServer::repeating;
  const std::string interim = "HTTP/1.1 100 Continue\r\n\r\n";
  const std::string sized = kHead + "Content-Length: ";
  const std::string none = "unreachable";
  const Seconds silence = kPatience;
  const Seconds all = kPatience + Seconds(1);
  const auto readNothing = [](auto&) { std::this_thread::sleep_for(2 * kPatience); };
  // The bytes of each request, and what comes of it when.
  const std::vector<std::tuple<LoopbackServer::Treatment, std::size_t, std::string, Seconds>>
      cases = {{receiveAll, 9, none, silence},
               {readNothing, 64U << 20U, none, silence},
               {repeating(sized + "5\r\n\r\n", "x", 120ms), 9, "200 xxxxx", Seconds(0.6)},
               {repeating(sized + "99999\r\n\r\n", "x", 50ms), 9, none, all},
               {repeating(kHead, "a: b\r\n", 50ms), 9, none, silence},
               {repeating(kChunks + "fffffff\r\n", "x", 50ms), 9, none, all},
               {repeating(interim, interim, 1ms), 9, none, all}};
  std::vector<std::thread> calls;
  for (std::size_t i = 0; i < cases.size(); ++i) {
    calls.emplace_back([&, i] {
      const auto& [treatment, bytes, outcome, seconds] = cases[i];
      const LoopbackServer bridge(treatment);
      const auto start = std::chrono::steady_clock::now();
      EXPECT_EQ(described(ask(bridge, kPatience, std::string(bytes, 'x'))), outcome) << i;
      const Seconds taken = std::chrono::steady_clock::now() - start;
      EXPECT_GE(taken, seconds) << i;
      EXPECT_LT(taken, seconds + Seconds(0.9)) << i;
    });
  }
  for (std::thread& call : calls) {
    call.join();
  }
}

TEST(HttpTransport, ARefusalBeforeTheRequestIsReadIsHeard) {
  const LoopbackServer bridge([](LoopbackServer::Connection& connection) {
    connection.send("HTTP/1.1 413 No\r\nContent-Length: 2\r\n\r\n{}");
    connection.sendNoMore();
    receiveAll(connection);
  });
  EXPECT_EQ(described(ask(bridge)), "413 {}");
}

TEST(HttpTransport, ARequestIsSentAsItIs) {
  const std::vector<std::tuple<std::string, std::string, std::string, std::string>> cases = {
#ifndef _WIN32  // where it takes an option of the socket to reach the same listener so
      {"::ffff:127.0.0.1", "[::ffff:127.0.0.1]", "", "\r\n"},
#endif
      {"127.0.0.1", "127.0.0.1", "", "\r\n"},
      {"127.0.0.1", "127.0.0.1", R"({"a":1})", "Content-Length: 7\r\n\r\n{\"a\":1}"}};
  for (const auto& [address, authority, body, end] : cases) {
    std::string received;
    std::string port;
    {
      const LoopbackServer bridge([&received](LoopbackServer::Connection& connection) {
        received = connection.receive();
        connection.respond(200, "");
      });
      port = std::to_string(bridge.port());
      EXPECT_EQ(described(ask(bridge, Seconds(10), body, address)), "200 ");
    }
    EXPECT_EQ(received, "POST /v1/x HTTP/1.1\r\nX-Brindlevane-Token: t\r\nHost: " + authority +
                            ":" + port + "\r\nConnection: close\r\n" + end);
  }
}

TEST(HttpTransport, AnAddressWithoutAListenerIsUnreachable) {
  const std::uint16_t freedPort = LoopbackServer([](LoopbackServer::Connection&) {}).port();
  for (const std::string host : {"127.0.0.1", "::1", "localhost", ""}) {
    const HttpRequest request = {host, freedPort, "GET", "/", {}, {}};
    EXPECT_EQ(described(exchangeOverTcp(request, Seconds(5))), "unreachable");
  }
}

}  // namespace
}  // namespace brindlevane
