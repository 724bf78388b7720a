#pragma once

#include "platform/Json.h"
#include "practice/Page.h"
#include "support/ChildProcess.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

namespace brindlevane::practice {

/// The application-support folder of somebody whose home this is.
[[nodiscard]] std::filesystem::path supportFolderIn(const std::filesystem::path& home);

/// The server that lies beside a program started as `program`; by its name alone, like that, where
/// $PATH has told where they lie.
[[nodiscard]] std::filesystem::path serverBeside(const std::filesystem::path& program);

/// "1 note", "2 notes".
[[nodiscard]] std::string quantity(std::size_t count, const std::string& thing);

/// An assistant and its client: it starts the server as a child, talks to it over pipes, shows on a
/// page what it asks and sees, and remembers the revision.
class Assistant {
 public:
  /// Starts the server and shakes hands.
  /// @param server  the program; without a slash it is looked for in $PATH
  /// @param home    the home folder that the server is to believe in
  /// @throws std::runtime_error  it does not start or does not answer
  Assistant(const std::filesystem::path& server, const std::filesystem::path& home, Page& shownOn);

  /// The result of a tool: "isError" and "structuredContent". Shows nothing.
  /// @throws std::runtime_error  an error response, the server has gone, or a minute of silence
  [[nodiscard]] Json call(const std::string& tool, const Json& arguments = Json::object());

  /// Calls a tool, shows the call and gives the data.
  /// @throws std::runtime_error  an error result as well; what() is its message
  Json ask(const std::string& tool, const Json& arguments = Json::object());

  /// Calls a tool that changes the set, the user's approval taken for granted.
  Json change(const std::string& tool, Json arguments = Json::object());

  /// Does what is to be refused, and shows the reason.
  /// @throws std::runtime_error  it is not refused with these words
  void attempt(const std::function<void()>& work, const std::string& reason);

  /// Prints what the assistant sees, as words or as the row of a table.
  void see(const std::string& text) { page.words(text, 6, 6); }
  void row(const std::string& text) { page.line(std::string(6, ' ').append(text)); }

  Page& page;
  std::int64_t revision = 0;

 private:
  [[nodiscard]] Json request(const std::string& method, const Json& params);

  ChildProcess server_;
  int lastId_ = 0;
};

/// Plays the whole session, printing for each step what was asked and what the assistant sees.
/// @param assistant  of a server that is linked to the practice set
/// @throws std::runtime_error  a step went wrong: what() says what was expected
void playSession(Assistant& assistant);

}  // namespace brindlevane::practice
