#include "platform/HttpTransport.h"
#include "tests/support/FakeBridge.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

namespace brindlevane {
namespace {

using namespace std::chrono_literals;

constexpr Seconds kPatience{0.2};

HttpOutcome ask(const FakeBridge& bridge, Seconds timeout = Seconds(10)) {
  return exchangeOverTcp({.host = "127.0.0.1",
                          .port = bridge.port(),
                          .method = "POST",
                          .target = "/v1/x",
                          .headers = {{"X-Brindlevane-Token", "t"}},
                          .body = "{\"a\":1}"},
                         timeout);
}

/// "status body", or what went wrong.
std::string described(const HttpOutcome& outcome) {
  if (const auto* answer = std::get_if<HttpAnswer>(&outcome)) {
    return std::to_string(answer->status) + " " + answer->body;
  }
  return std::get<HttpFailure>(outcome) == HttpFailure::bodyTooLong ? "too long" : "unreachable";
}

TEST(HttpTransport, AnswersAreReadWhateverTheirFraming) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}", "200 {}"},
      {"HTTP/1.1 500 Oops\r\nContent-Length: 3\r\n\r\nbad and more", "500 bad"},
      {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n1;x=y\r\n{\r\n1\r\n}\r\n0\r\n\r\n",
       "200 {}"},
      {"HTTP/1.0 200 OK\r\n\r\n{\"until\":\"close\"}", "200 {\"until\":\"close\"}"},
      {"HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Hints\r\nA: b\r\n\r\n"
       "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}",
       "200 {}"},
      {"HTTP/1.1 302 Found\r\nLocation: http://127.0.0.1:1/\r\nContent-Length: 2\r\n\r\n{}",
       "302 {}"},
      {"HTTP/1.1 204 No Content\r\n\r\n", "204 "},
      {"", "unreachable"},
      {"SSH-2.0-what\r\n", "unreachable"},
      {"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n{}", "unreachable"},
      {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\n{}", "unreachable"},
      {"HTTP/1.1 200 OK\r\nContent-Length: x\r\n\r\n{}", "unreachable"},
      {"HTTP/1.1 200 OK\r\nContent-Le", "unreachable"},
      {"HTTP/1.1 200 OK\r\nX: " + std::string(100000, 'x') + "\r\n\r\n{}", "unreachable"},
      {"HTTP/1.1 200 OK\r\nContent-Length: 268435457\r\n\r\n{}", "too long"},
      {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n10000001\r\n{}", "too long"}};
  for (const auto& [bytes, expected] : cases) {
    SCOPED_TRACE(bytes.substr(0, 60));
    const FakeBridge bridge(FakeBridge::answering(bytes));
    EXPECT_EQ(described(ask(bridge)), expected);
    EXPECT_EQ(bridge.connections(), 1);
  }
}

TEST(HttpTransport, NobodyHoldsACallLongerThanItsTimeOut) {
  const std::string head = "HTTP/1.1 200 OK\r\n";
  const std::vector<std::pair<std::string, FakeBridge::Treatment>> cases = {
      {"silence",
       [](int connection) {
         while (!FakeBridge::receive(connection).empty()) {
         }
       }},
      {"a byte at a time",
       FakeBridge::repeating(head + "Content-Length: 99999\r\n\r\n", "x", 50ms)},
      {"an endless header", FakeBridge::repeating(head, "a: b\r\n", 50ms)},
      {"an endless chunk",
       FakeBridge::repeating(head + "Transfer-Encoding: chunked\r\n\r\nfffffff\r\n", "x", 50ms)},
      {"an endless chunk extension",
       FakeBridge::repeating(head + "Transfer-Encoding: chunked\r\n\r\n1;", "x", 0ms)},
      {"endless interim answers", FakeBridge::repeating("HTTP/1.1 100 Continue\r\n\r\n",
                                                        "HTTP/1.1 100 Continue\r\n\r\n", 0ms)}};
  for (const auto& [name, treatment] : cases) {
    SCOPED_TRACE(name);
    const FakeBridge bridge(treatment);
    EXPECT_EQ(described(ask(bridge, kPatience)), "unreachable");
  }
}

TEST(HttpTransport, ASlowAnswerIsTakenAsLongAsItKeepsComing) {
  const FakeBridge bridge([](int connection) {
    (void)FakeBridge::receive(connection);
    (void)FakeBridge::send(connection, "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n");
    for (const char* piece : {"1", "2", "3", "4", "5"}) {
      std::this_thread::sleep_for(120ms);
      (void)FakeBridge::send(connection, piece);
    }
  });
  EXPECT_EQ(described(ask(bridge, Seconds(0.4))), "200 12345");
}

TEST(HttpTransport, ARefusalBeforeTheRequestIsReadIsHeard) {
  const FakeBridge bridge([](int connection) {
    (void)FakeBridge::send(connection, "HTTP/1.1 413 No\r\nContent-Length: 2\r\n\r\n{}");
    shutdown(connection, SHUT_WR);
    while (!FakeBridge::receive(connection).empty()) {
    }
  });
  EXPECT_EQ(described(ask(bridge)), "413 {}");
}

TEST(HttpTransport, ARequestIsSentAsItIs) {
  std::string received;
  {
    const FakeBridge bridge([&](int connection) {
      while (received.find("{\"a\":1}") == std::string::npos) {
        received += FakeBridge::receive(connection);
      }
      (void)FakeBridge::send(connection, "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    });
    EXPECT_EQ(described(ask(bridge)), "200 ");
    EXPECT_NE(received.find("Host: 127.0.0.1:" + std::to_string(bridge.port()) + "\r\n"),
              std::string::npos);
  }
  EXPECT_TRUE(received.starts_with("POST /v1/x HTTP/1.1\r\n")) << received;
  EXPECT_NE(received.find("X-Brindlevane-Token: t\r\n"), std::string::npos);
  EXPECT_NE(received.find("Content-Length: 7\r\n"), std::string::npos);
}

TEST(HttpTransport, AnAddressWithoutAListenerIsUnreachable) {
  std::uint16_t freedPort = 0;
  {
    freedPort = FakeBridge([](int) {}).port();
  }
  for (const std::string host : {"127.0.0.1", "::1", "localhost", ""}) {
    EXPECT_EQ(described(exchangeOverTcp({.host = host,
                                         .port = freedPort,
                                         .method = "GET",
                                         .target = "/",
                                         .headers = {},
                                         .body = {}},
                                        Seconds(5))),
              "unreachable");
  }
}

}  // namespace
}  // namespace brindlevane
