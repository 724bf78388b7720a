#include "practice/McpClient.h"

#include <stdexcept>

namespace brindlevane::practice {

std::filesystem::path supportFolderIn(const std::filesystem::path& home) {
  return home / "Library" / "Application Support";
}

std::filesystem::path serverBeside(const std::filesystem::path& program) {
  return program.has_parent_path()
             ? std::filesystem::absolute(program.parent_path() / "brindlevane").lexically_normal()
             : "brindlevane";
}

McpClient::McpClient(const std::filesystem::path& server, const std::filesystem::path& home)
    : server_({server.string()},
              {"HOME=" + home.string(), "XDG_DATA_HOME=" + supportFolderIn(home).string()}) {
  (void)request("initialize", {{"protocolVersion", "2025-06-18"},
                               {"capabilities", Json::object()},
                               {"clientInfo", {{"name", "practice-session"}, {"version", "1"}}}});
  server_.send("{\"jsonrpc\":\"2.0\",\"method\":\"notifications/initialized\"}\n");
}

Json McpClient::callTool(const std::string& name, const Json& arguments) {
  return request("tools/call", {{"name", "brindlevane_" + name}, {"arguments", arguments}});
}

Json McpClient::request(const std::string& method, const Json& params) {
  const Json message = {
      {"jsonrpc", "2.0"}, {"id", ++lastId_}, {"method", method}, {"params", params}};
  server_.send(message.dump() + "\n");
  const std::string line = server_.line();
  if (line.empty()) {
    throw std::runtime_error("The server has left.");
  }
  const Json answer = Json::parse(line);
  if (answer.value("id", Json()) != lastId_ || !answer.contains("result")) {
    throw std::runtime_error("The server answered " + line);
  }
  return answer["result"];
}

}  // namespace brindlevane::practice
