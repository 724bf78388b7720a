#include "platform/AudioFile.h"
#include "platform/FileAttributes.h"
#include "tests/support/AudioFiles.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <map>
#include <utility>

namespace brindlevane {
namespace {

using testing::bytesOf;
using testing::kAll;
using testing::noise;
using testing::readAll;
using testing::readSignal;
using testing::run;
using testing::Signal;
using testing::TemporaryDirectory;
using testing::writeBytes;
using testing::writeWav;

// Files of every kind, made from one second and a quarter of stereo: noise, and two sines.
class EveryKind : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    source_ = Signal{noise(1, 0.4, kFrames), testing::tones({440, 1000}, 0.3, kFrames)};
    writeWav(path("source.wav"), source_);
    run("sox -D " + path("source.wav") + " -e signed -b 16 " + path("s16.wav"));
  }

  static std::string path(const std::string& name) {
    static const TemporaryDirectory kDirectory;
    return kDirectory.file(name);
  }

  // The path of a file, made when first asked for of a 16-bit one: by sox where its name begins
  // with a form of samples, by ffmpeg where with a codec.
  static std::string made(const std::string& name) {
    static const std::map<std::string, std::string> kForms = {{"s16", ""},
                                                              {"s24", "-b 24"},
                                                              {"s32", "-b 32"},
                                                              {"float", "-e float -b 32"},
                                                              {"double", "-e float -b 64"}};
    static const std::map<std::string, std::string> kCodecs = {{"rf64", "pcm_s16le -rf64 always"},
                                                               {"lame", "libmp3lame -b:a 256k"},
                                                               {"bare", "libmp3lame -write_xing 0"},
                                                               {"aac", "aac -b:a 256k"},
                                                               {"vorbis", "libvorbis -q:a 8"},
                                                               {"opus", "libopus"},
                                                               {"wma", "wmav2"}};
    if (!std::filesystem::exists(path(name))) {
      const std::string kind = name.substr(0, name.find('.'));
      const auto form = kForms.find(kind);
      const auto codec = kCodecs.find(kind);
      const std::string source = path("s16.wav") + " ";
      run((form != kForms.end() ? "sox -D " + source + form->second
                                : "ffmpeg -v error -y -i " + source + "-strict -2 -c:a " +
                                      (codec != kCodecs.end() ? codec->second : kind)) +
          " " + path(name) + " 2>/dev/null");
    }
    return path(name);
  }

  static constexpr std::size_t kFrames = 54441;
  static inline Signal source_;
};

TEST_F(EveryKind, LosslessFilesGiveTheIntegersOverThePowerOfTwoOfTheirWidth) {
  const Signal expected = readAll(made("s16.wav")).value();
  ASSERT_EQ(expected.size(), 2U);
  ASSERT_EQ(expected[0].size(), kFrames);
  for (std::size_t i = 0; i < kFrames; ++i) {
    ASSERT_EQ(expected[0][i] * 32768, std::round(expected[0][i] * 32768)) << i;
    ASSERT_NEAR(expected[0][i], source_[0][i], 0.51 / 32768) << i;
  }
  for (const char* const name :
       {"s24.wav",  "s32.wav",  "float.wav", "double.wav", "rf64.wav",   "s16.aiff", "s24.aiff",
        "s16.aifc", "s16.w64",  "s16.au",    "s16.caf",    "alac.caf",   "s16.flac", "s24.flac",
        "flac.oga", "flac.mp4", "flac.mka",  "alac.m4a",   "wavpack.wv", "tta.tta"}) {
    SCOPED_TRACE(name);
    std::optional<AudioFile> file = AudioFile::open(made(name));
    ASSERT_TRUE(file);
    EXPECT_EQ(file->sampleRate(), 44100);
    EXPECT_EQ(file->channelCount(), 2);
    EXPECT_EQ(file->length(), static_cast<std::int64_t>(kFrames));
    EXPECT_TRUE(readSignal(*file, 0, kAll) == expected);
  }
}

struct Lossy {
  std::string name;
  std::size_t frames;  // 0: whatever the format rounds the source to
  bool aligned;        // whether the samples can be compared with those of the source
};

TEST_F(EveryKind, LossyFilesLoseTheirDeclaredPrimingAndPadding) {
  const std::vector<Lossy> kinds = {
      {"aac.m4a", kFrames, true},  {"aac.mov", kFrames, true},    {"lame.mp3", kFrames, true},
      {"lame.mp4", kFrames, true}, {"vorbis.ogg", kFrames, true}, {"opus.opus", 59256, false},
      {"opus.webm", 59256, false}, {"bare.mp3", 56448, false},    {"wma.wma", 0, false},
      {"ac3.ac3", 0, false},       {"aac.aac", 0, false}};
  for (const Lossy& kind : kinds) {
    SCOPED_TRACE(kind.name);
    std::optional<AudioFile> file = AudioFile::open(made(kind.name));
    ASSERT_TRUE(file);
    const Signal all = readSignal(*file, 0, kAll).value_or(Signal{});
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(file->length(), static_cast<std::int64_t>(all[1].size()));
    EXPECT_NEAR(static_cast<double>(all[1].size()) / file->sampleRate(), kFrames / 44100.0, 0.06);
    if (kind.frames > 0) {
      EXPECT_EQ(all[1].size(), kind.frames);
    }
    for (std::size_t i = 4096; kind.aligned && i + 4096 < kFrames; ++i) {
      ASSERT_NEAR(all[1][i], source_[1][i], 0.12) << i;
    }
  }
}

TEST_F(EveryKind, APartIsCutFromTheWholeToTheFrame) {
  for (const char* const name :
       {"s16.wav", "s16.flac", "s16.caf", "alac.caf", "lame.mp3", "bare.mp3", "vorbis.ogg",
        "opus.opus", "aac.m4a", "alac.m4a", "wma.wma", "ac3.ac3"}) {
    SCOPED_TRACE(name);
    const Signal all = readAll(made(name)).value();
    const auto length = static_cast<std::int64_t>(all[0].size());
    std::optional<AudioFile> reused = AudioFile::open(made(name));
    for (const std::int64_t start :
         {std::int64_t{1}, std::int64_t{1151}, length - 2500, length / 2, std::int64_t{30000},
          std::int64_t{0}, length - 1, length, length + 1}) {
      SCOPED_TRACE(start);
      EXPECT_TRUE(readSignal(*reused, start, 2500) == testing::part(all, start, 2500));
    }
  }
}

TEST(AudioFile, FloatSamplesComeAsTheyAre) {
  const TemporaryDirectory directory;
  const float infinity = std::numeric_limits<float>::infinity();
  const std::vector<float> odd = {0,      -0.0F,  1,        -1,        3.5F,
                                  -1e30F, 1e-40F, infinity, -infinity, std::nanf("")};
  writeWav(directory.file("odd.wav"), {odd});
  const Signal samples = readAll(directory.file("odd.wav")).value();
  ASSERT_EQ(samples.size(), 1U);
  ASSERT_EQ(samples[0].size(), odd.size());
  EXPECT_EQ(std::memcmp(samples[0].data(), odd.data(), odd.size() * sizeof(float)), 0);
}

TEST(AudioFile, OnlyRegularFilesAreOpened) {
  const TemporaryDirectory directory;
  writeWav(directory.file("a.wav"), {noise(1, 0.5, 5000)});
  ASSERT_EQ(::mkfifo(directory.file("fifo").c_str(), 0600), 0);
  EXPECT_TRUE(AudioFile::open(directory.file("a.wav")));
  const std::vector<std::string> others = {directory.file("fifo"),
                                           directory.file(""),
                                           directory.file("missing.wav"),
                                           directory.file("a.wav") + std::string(1, '\0'),
                                           "/dev/zero",
                                           "/dev/stdin",
                                           ""};
  for (const std::string& path : others) {
    SCOPED_TRACE(path);
    EXPECT_FALSE(AudioFile::open(path));
  }
}

long residentKiB() {
  rusage usage = {};
  ::getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

TEST(AudioFile, PromisesOfAHeaderCostNothing) {
  const TemporaryDirectory directory;
  writeWav(directory.file("a.wav"), {noise(1, 0.5, 16)});
  ASSERT_TRUE(AudioFile::open(directory.file("a.wav")));
  std::string huge = bytesOf(directory.file("a.wav"));
  huge.replace(4, 4, "\xff\xff\xff\xff");
  huge.replace(40, 4, "\xf0\xff\xff\xff");
  std::string wide = huge;
  wide.replace(22, 2, "\xe8\x03");                        // 1000 channels
  wide.replace(24, 4, std::string("\0\x94\x35\x77", 4));  // at 2 GHz
  wide.replace(32, 2, "\xa0\x0f");
  const long before = residentKiB();
  for (const std::string& bytes : {huge, wide}) {
    writeBytes(directory.file("b.wav"), bytes);
    std::optional<AudioFile> file = AudioFile::open(directory.file("b.wav"));
    const auto samples = file ? readSignal(*file, 0, kAll) : std::nullopt;
    EXPECT_LE(samples ? samples->front().size() : 0, 16U);
  }
  EXPECT_LT(residentKiB() - before, 64 * 1024);
}

// In a process of its own, where no module is loaded yet.
TEST(DecoderModulesDeathTest, AModuleThatFailedToLoadIsTriedAgain) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const TemporaryDirectory directory;
  writeWav(directory.file("a.wav"), {noise(1, 0.5, 5000)});
  const auto openTwice = [&] {
    // One descriptor is left: enough for the file, but not for a module.
    const int next = ::dup(0);
    ::close(next);
    rlimit limit = {};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit tight = {static_cast<rlim_t>(next) + 1, limit.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &tight);
    const bool early = AudioFile::open(directory.file("a.wav")).has_value();
    ::setrlimit(RLIMIT_NOFILE, &limit);
    const bool late = AudioFile::open(directory.file("a.wav")).has_value();
    std::_Exit(early ? 1 : late ? 0 : 2);
  };
  EXPECT_EXIT(openTwice(), ::testing::ExitedWithCode(0), "");
}

TEST(FileAttributes, TellSizeAndTimeOfModification) {
  const TemporaryDirectory directory;
  writeBytes(directory.file("f"), "12345");
  const timespec times[2] = {{0, 0}, {1700000000, 250000000}};
  ASSERT_EQ(::utimensat(AT_FDCWD, directory.file("f").c_str(), times, 0), 0);
  const auto attributes = fileAttributes(directory.file("f"));
  ASSERT_TRUE(attributes);
  EXPECT_EQ(attributes->size, 5U);
  EXPECT_EQ(attributes->modifiedSince1970, 1700000000.25);
  EXPECT_FALSE(fileAttributes(directory.file("missing")));
}

TEST(StandardizedPath, IsAbsoluteAndPlain) {
  EXPECT_EQ(standardizedPath("/a/./b//c/../d.wav"), "/a/b/d.wav");
  EXPECT_EQ(standardizedPath("/a/b/"), "/a/b");
  EXPECT_EQ(standardizedPath("/"), "/");
  EXPECT_EQ(standardizedPath("x.wav"), (std::filesystem::current_path() / "x.wav").string());
}

}  // namespace
}  // namespace brindlevane
