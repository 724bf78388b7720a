#include "platform/HttpTransport.h"
#include "platform/Json.h"
#include "server/CallTool.h"
#include "support/LoopbackServer.h"
#include "tests/support/ScriptedBridge.h"

#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

using namespace brindlevane;

/// A result must always be there and always be JSON.
void call(const char* tool, const Json& arguments, const BridgeAccess& access) {
  std::string line;
  appendToolResult(line, callTool(tool, arguments, access));
  if (!parseJson(line)) {
    std::abort();
  }
}

}  // namespace

/// Any bytes as the configuration file, as the body of the bridge's answers and as its HTTP.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const Json none = Json::object();
  const Json job = {{"jobId", "master_0123456789abcdef0123456789abcdef"}};

  ScriptedBridge misconfigured;
  misconfigured.configuration = bytes;
  call("brindlevane_get_context", none, misconfigured.access());

  ScriptedBridge unhealthy;
  unhealthy.answers["/v1/health"] = HttpAnswer{200, bytes};
  call("brindlevane_get_context", none, unhealthy.access());

  ScriptedBridge strange;
  for (const char* path : {"/v1/context", "/v1/key-source", "/v1/master-capture/status"}) {
    strange.answers[path] = HttpAnswer{200, bytes};
  }
  call("brindlevane_get_context", none, strange.access());
  call("brindlevane_find_key", none, strange.access());
  call("brindlevane_listen_selected_clip", none, strange.access());
  call("brindlevane_get_master_listen", job, strange.access());

  const LoopbackServer listener(LoopbackServer::answering(bytes));
  (void)exchangeOverTcp({.host = "127.0.0.1",
                         .port = listener.port(),
                         .method = "GET",
                         .target = "/",
                         .headers = {},
                         .body = {}},
                        Seconds(1));
  return 0;
}
