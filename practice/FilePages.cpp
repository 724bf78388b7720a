#include "practice/FilePages.h"

#include <fstream>
#include <ostream>

namespace brindlevane::practice {
namespace {

namespace fs = std::filesystem;

// Why a file cannot be heard, as far as a look at it tells.
std::string reasonFor(const fs::path& file) {
  std::error_code error;
  const fs::file_status status = fs::status(file, error);
  if (status.type() == fs::file_type::not_found) {
    return "there is no such file.";
  }
  if (status.type() == fs::file_type::none ||
      (fs::is_regular_file(status) && !std::ifstream(file))) {
    return "you may not read it.";
  }
  return fs::is_directory(status)      ? "it is a folder."
         : fs::is_regular_file(status) ? "there is no sound in it that can be decoded and measured."
                                       : "it is no file of sound.";
}

}  // namespace

std::vector<std::string> pathsOfText(const std::vector<std::string>& files,
                                     const fs::path& folder) {
  std::vector<std::string> names;
  for (const std::string& file : files) {
    fs::path path = fs::current_path() / file;
    if (printable(path.native()) != path.native()) {
      const fs::path link = folder / ("file-" + std::to_string(names.size()));
      fs::create_symlink(path, link);
      path = link;
    }
    names.push_back(path);
  }
  return names;
}

std::size_t printFiles(McpClient& client, const std::vector<std::string>& files, Page& page,
                       std::ostream& faults) {
  const auto call = [&client](const std::string& tool, const Json& arguments = Json::object()) {
    return client.callTool(tool, arguments);
  };
  std::size_t failures = 0;
  for (std::size_t i = 0; i < files.size(); ++i) {
    (void)call("select_track",
               {{"trackIndex", i},
                {"expectedRevision", call("get_session")["structuredContent"]["revision"]},
                {"confirm", true}});
    const Json heard = call("listen_selected_clip");
    if (heard["isError"] == false) {
      if (failures < i) {
        page.line("");
      }
      page.words(printable(files[i]), 2, 2);
      page.measurement(heard["structuredContent"]);
      page.flush();
    } else {
      ++failures;
      const std::string words = heard["structuredContent"]["error"]["message"];
      faults << page.legible("practice-session: " + printable(files[i]) + ": " +
                             reasonFor(files[i]) + " (" + words + ")")
             << std::endl;
    }
  }
  return failures;
}

}  // namespace brindlevane::practice
