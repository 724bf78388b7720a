#include "platform/sound/AudioFile.h"
#include "tests/support/AudioFiles.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

namespace brindlevane {
namespace {

using namespace testing;

// One second and a quarter of noise and two sines, in steps of 16 bits.
class EveryKind : public ::testing::Test {
 protected:
  static std::string made(const std::string& name) {
    static const MadeFiles kFiles(source());
    return kFiles.path(name);
  }

  static const Signal& source() {
    static const Signal kSource = [] {
      Signal sound = {noise(1, 0.4, kFrames), tones({440, 1000}, 0.3, kFrames)};
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
    AudioFile file = AudioFile::open(made(name)).value();
    EXPECT_EQ(file.sampleRate(), 44100);
    EXPECT_EQ(file.channelCount(), 2);
    EXPECT_EQ(file.length(), std::ssize(source()[0]));
    EXPECT_TRUE(readSignal(file, 0, kAll) == source());
  }
}

TEST_F(EveryKind, LossyFilesLoseTheirDeclaredPrimingAndPadding) {
  // Each with its frames, 0 for whatever the format rounds the source to.
  const std::vector<std::pair<std::string, std::size_t>> kinds = {
      {"aac.m4a", kFrames},     {"aac.mov", kFrames},    {"lame256.mp3", kFrames},
      {"lame256.mp4", kFrames}, {"vorbis.ogg", kFrames}, {"opus.opus", 59256},
      {"opus.webm", 59256},     {"xing.mp3", 56448},     {"wmav2.wma", 0},
      {"ac3.ac3", 0},           {"aac.aac", 0}};
  for (const auto& [name, frames] : kinds) {
    SCOPED_TRACE(name);
    AudioFile file = AudioFile::open(made(name)).value();
    const Signal all = readSignal(file, 0, kAll).value();
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(file.length(), std::ssize(all[1]));
    EXPECT_NEAR(static_cast<double>(all[1].size()) / file.sampleRate(), kFrames / 44100.0, 0.06);
    if (frames > 0) {
      EXPECT_EQ(all[1].size(), frames);
    }
    for (std::size_t i = 4096; frames == kFrames && i + 4096 < kFrames; ++i) {
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
    const std::int64_t length = std::ssize(all[0]);
    AudioFile reused = AudioFile::open(made(name)).value();
    for (const std::int64_t start :
         {std::int64_t{1}, std::int64_t{2502}, std::int64_t{1151}, length - 2500, length / 2,
          std::int64_t{0}, length - 1, length, length + 1}) {
      SCOPED_TRACE(start);
      EXPECT_TRUE(readSignal(reused, start, 2500) == part(all, start, 2500));
    }
    EXPECT_FALSE(readSignal(reused, -1, 2500));
  }
}

TEST(AudioFile, FloatSamplesComeAsTheyAre) {
  const float infinity = std::numeric_limits<float>::infinity();
  const Signal odd = {{0, 1, -1, 3.5F, -1e30F, 1e-40F, infinity, -infinity}};
  EXPECT_EQ(readAll(MadeFiles(odd).source()), odd);
}

}  // namespace
}  // namespace brindlevane
