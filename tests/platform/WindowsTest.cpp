#include "platform/ChildProcess.h"
#include "platform/FileAttributes.h"
#include "platform/Folders.h"
#include "platform/RegularFile.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <tuple>

namespace brindlevane {
namespace {

class Windows : public ::testing::Test {
 protected:
  /// Writes a file by its wide name.
  /// @return the name as it comes from the bridge, in UTF-8
  static std::string write(const std::filesystem::path& file, const std::string& bytes) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << bytes;
    const std::u8string name = file.u8string();
    return {name.begin(), name.end()};
  }

  TemporaryFolder folder_;
};

TEST_F(Windows, FilesAreFoundWhateverTheirNames) {
  const std::filesystem::path deep = std::filesystem::path(LR"(\\?\)" + folder_.path().wstring()) /
                                     std::wstring(200, L'a') / std::wstring(200, L'b') / L"f";
  for (const std::filesystem::path& file :
       {folder_.path() / L"caf\u00e9.wav", folder_.path() / L"\u97f3.wav",
        folder_.path() / L"\U0001F3B5.wav", deep}) {
    std::string name = write(file, "bytes");
    if (name.starts_with(R"(\\?\)")) {
      name.erase(0, 4);
    }
    EXPECT_EQ(readRegularFile(name, 9), "bytes") << name;
    EXPECT_EQ(fileAttributes(name).value().size, 5U) << name;
    std::replace(name.begin(), name.end(), '\\', '/');
    EXPECT_EQ(readRegularFile(name, 9), "bytes") << name;
  }
}

TEST_F(Windows, WhatIsNoRegularFileIsNotRead) {
  const std::string file = write(folder_.path() / "f", "bytes");
  const std::string folder = folder_.path().string();
  for (const std::string& path :
       {std::string(), folder, folder + "\\missing", file + "\\below", file + '\0',
        std::string("NUL"), std::string("CON"), std::string("COM1"), std::string(R"(\\.\NUL)"),
        std::string(R"(\\.\pipe\none)"), std::string(R"(\\?\pipe\none)"),
        std::string("\xff\xfe")}) {
    EXPECT_FALSE(readRegularFile(path, 9)) << path;
  }
}

TEST_F(Windows, ATimeOfModificationHasItsFraction) {
  const std::string file = write(folder_.path() / "f", "12345");
  const HANDLE handle = CreateFileA(file.c_str(), FILE_WRITE_ATTRIBUTES, FILE_SHARE_READ, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  // 2023-11-14T22:13:20.25Z in hundreds of nanoseconds since 1601.
  constexpr std::uint64_t kTime = (11644473600 + 1700000000) * 10'000'000 + 2'500'000;
  const FILETIME time = {static_cast<DWORD>(kTime), static_cast<DWORD>(kTime >> 32U)};
  ASSERT_NE(SetFileTime(handle, nullptr, nullptr, &time), 0);
  CloseHandle(handle);
  EXPECT_EQ(fileAttributes(file).value().modifiedSince1970, 1700000000.25);
}

TEST_F(Windows, PathsAreStandardized) {
  EXPECT_EQ(standardizedPath(R"(C:\a\.\b\\c\..\d.wav)"), R"(C:\a\b\d.wav)");
  EXPECT_EQ(standardizedPath("C:/a/b/"), R"(C:\a\b)");
  EXPECT_EQ(standardizedPath("C:/"), R"(C:\)");
  EXPECT_EQ(standardizedPath("//server/share/x/../y.wav"), R"(\\server\share\y.wav)");
}

TEST_F(Windows, TheRoamingFolderIsWhereTheBridgeIsLookedFor) {
  for (const auto& [roaming, profile, expected] :
       {std::tuple(L"D:\\Roaming\\\u00e9", L"C:\\u", "D:\\Roaming\\\u00e9"),
        std::tuple(LR"(\\server\r)", LR"(C:\u)", R"(\\server\r)"),
        std::tuple(L"relative", LR"(C:\u)", R"(C:\u\AppData\Roaming)"),
        std::tuple(L"", LR"(C:\u)", R"(C:\u\AppData\Roaming)")}) {
    SetEnvironmentVariableW(L"APPDATA", *roaming == L'\0' ? nullptr : roaming);
    SetEnvironmentVariableW(L"USERPROFILE", profile);
    EXPECT_EQ(applicationSupportFolder(), expected);
  }
}

TEST_F(Windows, AChildThatAnswersNothingIsNoneAndEndsInTime) {
  using namespace std::chrono_literals;
  EXPECT_FALSE(outputOf(folder_.file("missing.exe"), "", 9, 5s));
  EXPECT_FALSE(outputOf(write(folder_.path() / "text.exe", "no program"), "", 9, 5s));
}

}  // namespace
}  // namespace brindlevane
