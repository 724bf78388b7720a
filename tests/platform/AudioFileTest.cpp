#include "platform/sound/AudioFile.h"
#include "tests/support/AudioFiles.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <limits>

namespace brindlevane {
namespace {

using testing::kAll;
using testing::noise;
using testing::readAll;
using testing::readSignal;
using testing::Signal;
using testing::writeWav;

// One second and a quarter of noise and two sines, in steps of 16 bits.
class EveryKind : public ::testing::Test {
 protected:
  static std::string made(const std::string& name) {
    static const testing::MadeFiles kFiles(source());
    return kFiles.path(name);
  }

  static const Signal& source() {
    static const Signal kSource = [] {
      Signal sound = {noise(1, 0.4, kFrames), testing::tones({440, 1000}, 0.3, kFrames)};
      for (std::vector<float>& channel : sound) {
        for (float& sample : channel) {
          sample = std::round(sample * 32768) / 32768;
        }
      }
      return sound;
    }();
    return kSource;
  }

  static constexpr std::size_t kFrames = 54441;
};

TEST_F(EveryKind, LosslessFilesGiveTheSamplesThatWentIn) {
  for (const char* const name :
       {"pcm_s16le.wav", "pcm_s24le.wav",  "pcm_s32le.wav",  "pcm_f32le.wav",  "pcm_f64le.wav",
        "rf64.wav",      "pcm_s16be.aiff", "pcm_s24be.aiff", "pcm_s16le.aifc", "pcm_f32le.w64",
        "pcm_s16be.au",  "pcm_s16be.caf",  "alac.caf",       "flac.flac",      "flac24.flac",
        "flac.oga",      "flac.mp4",       "flac.mka",       "alac.m4a",       "wavpack.wv",
        "tta.tta"}) {
    SCOPED_TRACE(name);
    std::optional<AudioFile> file = AudioFile::open(made(name));
    ASSERT_TRUE(file);
    EXPECT_EQ(file->sampleRate(), 44100);
    EXPECT_EQ(file->channelCount(), 2);
    EXPECT_EQ(file->length(), static_cast<std::int64_t>(kFrames));
    EXPECT_TRUE(readSignal(*file, 0, kAll) == source());
  }
}

struct Lossy {
  std::string name;
  std::size_t frames;  // 0: whatever the format rounds the source to
  bool aligned;        // whether the samples can be compared with those of the source
};

TEST_F(EveryKind, LossyFilesLoseTheirDeclaredPrimingAndPadding) {
  const std::vector<Lossy> kinds = {
      {"aac.m4a", kFrames, true},     {"aac.mov", kFrames, true},    {"lame256.mp3", kFrames, true},
      {"lame256.mp4", kFrames, true}, {"vorbis.ogg", kFrames, true}, {"opus.opus", 59256, false},
      {"opus.webm", 59256, false},    {"xing.mp3", 56448, false},    {"wmav2.wma", 0, false},
      {"ac3.ac3", 0, false},          {"aac.aac", 0, false}};
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
      ASSERT_NEAR(all[1][i], source()[1][i], 0.15) << i;
    }
  }
}

TEST_F(EveryKind, APartIsCutFromTheWholeToTheFrame) {
  for (const char* const name :
       {"pcm_s16le.wav", "flac.flac", "pcm_s16be.caf", "alac.caf", "lame256.mp3", "xing.mp3",
        "vorbis.ogg", "opus.opus", "aac.m4a", "alac.m4a", "wmav2.wma", "ac3.ac3"}) {
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
  const TemporaryFolder directory;
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
  const TemporaryFolder directory;
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

}  // namespace
}  // namespace brindlevane
