#include "practice/Assistant.h"

#include <stdexcept>

namespace brindlevane::practice {
namespace {

std::string described(const Json& arguments) {
  std::string own;
  std::string shared;  // by all tools that change something
  for (const auto& [key, value] : arguments.items()) {
    std::string& text = key == "confirm" || key == "expectedRevision" ? shared : own;
    text.append(" ").append(key).append("=");
    text += value.is_array() ? quantity(value.size(), "note") : value.dump();
  }
  return own + shared;
}

}  // namespace

std::filesystem::path supportFolderIn(const std::filesystem::path& home) {
  return home / "Library" / "Application Support";
}

std::filesystem::path serverBeside(const std::filesystem::path& program) {
  return program.has_parent_path()
             ? std::filesystem::absolute(program.parent_path() / "brindlevane").lexically_normal()
             : "brindlevane";
}

std::string quantity(std::size_t count, const std::string& thing) {
  return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

Assistant::Assistant(const std::filesystem::path& server, const std::filesystem::path& home,
                     Page& shownOn)
    : page(shownOn),
      server_({server.string()},
              {"HOME=" + home.string(), "XDG_DATA_HOME=" + supportFolderIn(home).string()}) {
  (void)request("initialize", {{"protocolVersion", "2025-06-18"},
                               {"capabilities", Json::object()},
                               {"clientInfo", {{"name", "practice-session"}, {"version", "1"}}}});
  server_.send("{\"jsonrpc\":\"2.0\",\"method\":\"notifications/initialized\"}\n");
}

Json Assistant::call(const std::string& tool, const Json& arguments) {
  return request("tools/call", {{"name", "brindlevane_" + tool}, {"arguments", arguments}});
}

Json Assistant::ask(const std::string& tool, const Json& arguments) {
  page.words("> " + tool + described(arguments), 4, 6);
  const Json data = call(tool, arguments)["structuredContent"];
  if (data.contains("error")) {
    throw std::runtime_error(data["error"]["message"].get<std::string>());
  }
  revision = data.value("revision", revision);
  return data;
}

Json Assistant::change(const std::string& tool, Json arguments) {
  arguments.update({{"confirm", true}, {"expectedRevision", revision}});
  return ask(tool, arguments);
}

void Assistant::attempt(const std::function<void()>& work, const std::string& reason) {
  std::string heard;
  try {
    work();
  } catch (const std::runtime_error& refusal) {
    heard = refusal.what();
  }
  see(heard);
  if (heard.find(reason) == std::string::npos) {
    throw std::runtime_error("Expected that it is refused with " + reason + ".");
  }
}

Json Assistant::request(const std::string& method, const Json& params) {
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
