#pragma once

#include "platform/Json.h"
#include "support/ChildProcess.h"

#include <filesystem>
#include <string>

namespace brindlevane::practice {

/// The application-support folder of somebody whose home this is.
[[nodiscard]] std::filesystem::path supportFolderIn(const std::filesystem::path& home);

/// The server that lies beside a program started as `program`; by its name alone, like that, where
/// $PATH has told where they lie.
[[nodiscard]] std::filesystem::path serverBeside(const std::filesystem::path& program);

/// An assistant's client: it starts the server as a child and talks to it over pipes.
class McpClient {
 public:
  /// Starts the server and shakes hands.
  /// @param server  the program; without a slash it is looked for in $PATH
  /// @param home    the home folder that the server is to believe in
  /// @throws std::runtime_error  it does not start or does not answer
  McpClient(const std::filesystem::path& server, const std::filesystem::path& home);

  /// The result of a tool: "isError" and "structuredContent".
  /// @throws std::runtime_error  an error response, the server has gone, or a minute of silence
  [[nodiscard]] Json callTool(const std::string& name, const Json& arguments);

 private:
  [[nodiscard]] Json request(const std::string& method, const Json& params);

  ChildProcess server_;
  int lastId_ = 0;
};

}  // namespace brindlevane::practice
