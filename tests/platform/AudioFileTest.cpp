#include "platform/sound/AudioFile.h"
#include "tests/support/AudioFiles.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

namespace brindlevane {
namespace {

using namespace testing;

TEST(AudioFile, EveryKindIsReadToTheFrameWithoutDeclaredPrimingAndPadding) {
  // Noise and two sines, in steps of 16 bits.
  constexpr std::size_t kFrames = 54441;
  Signal source = {noise(1, 0.4, kFrames), tones({440, 1000}, 0.3, kFrames)};
  for (std::vector<float>& channel : source) {
    for (float& sample : channel) {
      sample = std::round(sample * 32768) / 32768;
    }
  }
  const MadeFiles made(source);
  // Frames, 0 for whatever the format rounds the source to; and, of as many as the source has, what
  // is lost of them.
  const std::vector<std::tuple<std::size_t, double, std::vector<std::string>>> kinds = {
      {kFrames, 0, {"pcm_s16le.wav",  "pcm_s24le.wav", "pcm_s32le.wav",  "pcm_f32le.wav",
                    "pcm_f64le.wav",  "rf64.wav",      "pcm_s16be.aiff", "pcm_s24be.aiff",
                    "pcm_s16le.aifc", "pcm_f32le.w64", "pcm_s16be.au",   "pcm_s16be.caf",
                    "alac.caf",       "flac.flac",     "flac24.flac",    "flac.oga",
                    "flac.mp4",       "flac.mka",      "alac.m4a",       "wavpack.wv",
                    "tta.tta"}},
      {kFrames, 0.15, {"aac.m4a", "aac.mov", "lame256.mp3", "lame256.mp4", "vorbis.ogg"}},
      {59256, 0, {"opus.opus", "opus.webm"}},
      {56448, 0, {"xing.mp3"}},
      {0, 0, {"wmav2.wma", "ac3.ac3", "aac.aac"}}};
  for (const auto& [frames, loss, names] : kinds) {
    for (const std::string& name : names) {
      SCOPED_TRACE(name);
      AudioFile file = AudioFile::open(made.path(name)).value();
      const Signal all = readSignal(file, 0, kAll).value();
      ASSERT_EQ(all.size(), 2U);
      const std::int64_t length = std::ssize(all[1]);
      EXPECT_EQ(file.length(), length);
      EXPECT_NEAR(static_cast<double>(length) / file.sampleRate(), kFrames / 44100.0, 0.06);
      if (frames > 0) {
        EXPECT_EQ(length, frames);
      }
      if (frames == kFrames) {
        EXPECT_EQ(file.sampleRate(), 44100);
        EXPECT_EQ(all == source, loss == 0);
        EXPECT_LE(largestDifference(part(all, 4096, kFrames - 8192)[1], source[1], 4096), loss);
      }
      for (const std::int64_t start : std::vector<std::int64_t>{
               0, 1, 2502, 1151, length - 2500, length / 2, length - 1, length, length + 1}) {
        EXPECT_TRUE(readSignal(file, start, 2500) == part(all, start, 2500)) << start;
      }
    }
  }
}

TEST(AudioFile, FloatSamplesComeAsTheyAre) {
  const float infinity = std::numeric_limits<float>::infinity();
  const Signal odd = {{0, 1, -1, 3.5F, -1e30F, 1e-40F, infinity, -infinity}};
  EXPECT_EQ(readAll(MadeFiles(odd).source()), odd);
}

}  // namespace
}  // namespace brindlevane
