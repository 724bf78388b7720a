#include "platform/RegularFile.h"
#include "platform/sound/AudioFile.h"
#include "platform/sound/ByteSource.h"
#include "tests/support/AudioFiles.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace brindlevane {
namespace {

using namespace testing;

// Four seconds of stereo noise in the formats of which libsndfile tells no fault of its own accord.
class Noise : public ::testing::Test {
 protected:
  static const MadeFiles& files() {
    static const MadeFiles kFiles({noise(1, 0.4, kFrames), noise(2, 0.4, kFrames)}, 48000);
    return kFiles;
  }
  static std::string made(const std::string& name) { return files().path(name); }
  static std::string written(const std::string& bytes) { return files().changed("b", bytes); }

  static constexpr std::int64_t kFrames = 192000;
  static constexpr std::array kNames = {"flac.flac", "lame256.mp3", "vorbispages.ogg",
                                        "opuspages.opus"};
};

TEST_F(Noise, DamageInTheMiddleIsAFaultForWhoeverReadsIt) {
  for (const std::string name : kNames) {
    const Signal whole = readAll(made(name)).value();
    const std::string bytes = bytesOf(made(name));
    // Small damage meets the header of one MPEG frame at most, and is passed over in silence.
    for (const std::size_t size : {800U, 2000U}) {
      SCOPED_TRACE(name + std::to_string(size));
      AudioFile file = AudioFile::open(written(withHole(bytes, bytes.size() / 2, size))).value();
      EXPECT_EQ(file.length(), kFrames);
      EXPECT_FALSE(readSignal(file, 0, kAll));
      EXPECT_FALSE(readSignal(file, kFrames / 4, kFrames / 2));
      EXPECT_TRUE(readSignal(file, 1, kFrames / 4) == part(whole, 1, kFrames / 4));
    }
  }
}

TEST_F(Noise, DamageNearTheEndOfASmallFlacIsNotTakenForACut) {
  const MadeFiles small({noise(1, 0.4, 2000)});
  const std::string bytes = bytesOf(small.path("flac500.flac"));
  EXPECT_FALSE(readAll(written(withHole(bytes, bytes.size() - 3600, 500))));
}

TEST_F(Noise, FilesThatWereCutAreReadAsFarAsTheyGo) {
  for (const std::string name : kNames) {
    const Signal whole = readAll(made(name)).value();
    const std::string bytes = bytesOf(made(name));
    // 768 bytes: a frame of the MPEG file.
    for (const std::size_t kept : {bytes.size() / 2, bytes.size() * 3 / 4 + 1, bytes.size() - 1,
                                   bytes.size() - 10 * 768 + 3}) {
      SCOPED_TRACE(name + std::to_string(kept));
      AudioFile file = AudioFile::open(written(bytes.substr(0, kept))).value();
      const Signal cut = readSignal(file, 0, kAll).value();
      const std::int64_t frames = std::ssize(cut[0]);
      EXPECT_NEAR(static_cast<double>(frames),
                  kFrames * static_cast<double>(kept) / static_cast<double>(bytes.size()), 15000);
      EXPECT_TRUE(cut == part(whole, 0, frames));
      // An Ogg file that was cut does not declare its length; what is left of it does.
      EXPECT_EQ(file.length(), name.find(".o") != std::string::npos ? frames : kFrames);
    }
  }
}

TEST_F(Noise, LengthsThatAFileDoesNotTellAreFound) {
  const std::string pipe = files().source() + ".flac";
  run("ffmpeg -v error -i " + files().source() + " -f flac - | cat > " + pipe);
  const std::string tag = "TAG" + std::string(125, 'x');
  const std::string flac = bytesOf(pipe);
  // The mark of the first frame loses its number of frames, and the file the half of them.
  std::string marked = bytesOf(made("lame256.mp3"));
  const std::size_t mark = marked.find("Info");
  marked.replace(mark + 4, 140, 140, '\1');
  marked[mark + 7] = 0x0e;  // flags: all but that of the number
  marked.resize(mark - 36 + 84 * 768);
  const std::string vorbis = bytesOf(made("vorbispages.ogg"));
  const std::vector<std::tuple<std::string, std::string, std::int64_t>> cases = {
      {"flac", flac, kFrames},
      {"flac and a tag", flac + tag, kFrames},
      {"mp3 without a count", marked, 83 * 1152},
      {"mp3 in wav", bytesOf(made("lame256.wav")), 168 * 1152},
      {"vorbis and a byte", vorbis + "x", kFrames},
      {"vorbis and a tag", vorbis + tag, kFrames},
      {"opus and a tag", bytesOf(made("opuspages.opus")) + tag, kFrames}};
  for (const auto& [name, bytes, frames] : cases) {
    SCOPED_TRACE(name);
    AudioFile file = AudioFile::open(written(bytes)).value();
    EXPECT_EQ(file.length(), frames);
    EXPECT_EQ(file.readBlocks(0, kAll, [](auto) {}), frames);
    EXPECT_EQ(file.readBlocks(frames - 1000, 2000, [](auto) {}), 1000);
  }
  EXPECT_FALSE(readAll(written(withHole(flac, flac.size() / 2, 2000))));
}

TEST_F(Noise, AFileThatCannotBeReadAnyMoreIsAFault) {
  for (const char* const name : {"alac.m4a", "aac.aac", "wavpack.wv", "pcm_s16le.wav", "flac.flac",
                                 "lame256.mp3", "vorbis.ogg"}) {
    SCOPED_TRACE(name);
    const std::string path = made(name);
    const int descriptor = ::dup(STDIN_FILENO);  // the one that the file gets
    ::close(descriptor);
    AudioFile file = AudioFile::open(path).value();
    EXPECT_TRUE(readSignal(file, 0, 1000));
    ::close(descriptor);
    ASSERT_EQ(::open("/dev/null", O_WRONLY), descriptor);
    EXPECT_FALSE(readSignal(file, 1000, kAll));
  }
}

TEST(ByteSource, ShowsAHeadAndWhatFollowsElsewhere) {
  const TemporaryFolder directory;
  const RegularFile file = RegularFile::open(directory.write("a", "0123456789").string()).value();
  ByteSource source(file, {2, 5, 9});
  const auto read = [&source](std::int64_t count) {
    std::string bytes(10, ' ');
    bytes.resize(static_cast<std::size_t>(source.read(bytes.data(), count)));
    return bytes;
  };
  EXPECT_EQ(source.size(), 6);
  EXPECT_EQ(read(4), "0156");
  EXPECT_EQ(source.fileOffset(), 7);
  EXPECT_EQ(source.seek(-5, SEEK_CUR), -1);
  EXPECT_EQ(source.seek(-5, SEEK_END), 1);
  EXPECT_EQ(source.fileOffset(), 1);
  EXPECT_EQ(read(2), "15");
  EXPECT_FALSE(source.hasReachedEnd());
  EXPECT_EQ(read(9), "678");
  EXPECT_EQ(read(1), "");
  EXPECT_FALSE(file.hasFailed());
  source.beginStep(1);
  EXPECT_EQ(source.seek(0, SEEK_SET), 0);
  EXPECT_EQ(read(1), "0");
  EXPECT_EQ(read(1), "");
  EXPECT_TRUE(source.hasReachedEnd());
}

TEST(ByteSource, GivesNoMoreInAStepThanAnyHeaderTakes) {
  const TemporaryFolder directory;
  constexpr std::int64_t kMiB = 1 << 20;
  const std::string path = directory.write("a", "").string();
  std::filesystem::resize_file(path, 200 * kMiB);
  const RegularFile file = RegularFile::open(path).value();
  ByteSource source(file);
  std::string bytes(kMiB, ' ');
  for (const int left : {128, 72}) {
    int taken = 0;
    while (source.read(bytes.data(), kMiB) == kMiB) {
      ++taken;
    }
    EXPECT_EQ(taken, left);
    source.beginStep();
  }
}

// Loud and then quiet, so that the bytes are spread unevenly over the file.
TEST(SndfileDecoder, FarPositionsInOggAreExactToTheSample) {
  constexpr std::int64_t kRate = 24000;
  constexpr std::int64_t kFrames = 75 * kRate;
  std::vector<float> sound = noise(1, 0.4, kFrames);
  std::for_each(sound.begin() + 35 * kRate, sound.end(), [](float& sample) { sample *= 0.01F; });
  const MadeFiles files({sound}, kRate);
  // Each with about what its header takes, of many pages where it holds a long title.
  const std::vector<std::pair<std::string, std::size_t>> kinds = {
      {"titledvorbis.ogg", 135000}, {"titledopus.opus", 135000}, {"opus24.opus", 1000}};
  for (const auto& [name, header] : kinds) {
    const Signal whole = readAll(files.path(name)).value();
    const std::int64_t length = std::ssize(whole[0]);
    AudioFile file = AudioFile::open(files.path(name)).value();
    for (const std::int64_t start :
         {35 * kRate, length - 1001, 31 * kRate + 7, 29 * kRate, 70 * kRate + 11, 36 * kRate}) {
      SCOPED_TRACE(name + std::to_string(start));
      EXPECT_TRUE(readSignal(file, start, 1000) == part(whole, start, 1000));
    }
    // Damage in the first seconds is met by whoever decodes them: on the way to what is near.
    const std::string bytes = bytesOf(files.path(name));
    const std::string holed = withHole(bytes, header + (bytes.size() - header) / 10, 100);
    AudioFile damaged = AudioFile::open(files.changed(name, holed)).value();
    for (const std::int64_t start : {70 * kRate, 31 * kRate}) {
      SCOPED_TRACE(name + std::to_string(start) + " of a damaged file");
      EXPECT_TRUE(readSignal(damaged, start, 1000) == part(whole, start, 1000));
    }
    EXPECT_FALSE(readSignal(damaged, 30 * kRate, 1000));
  }
}

TEST(SndfileDecoder, FilesThatTheOtherDecoderReadsRightGoToIt) {
  Signal six;
  for (int channel = 1; channel <= 6; ++channel) {
    six.push_back(tones({20.0 * channel}, 0.1 * channel, 30000, 48000));
  }
  const MadeFiles sixChannels(six, 48000);
  const MadeFiles oneChannel({six[5]}, 48000);
  const MadeFiles voice({six[5]}, 8000);
  for (const std::string& path : {sixChannels.path("vorbis.ogg"), sixChannels.path("pcm_mulaw.w64"),
                                  oneChannel.path("pcm_f32le.w64"),
                                  oneChannel.path("adpcm_ima_qt.aiff"), voice.path("gsm.wav")}) {
    SCOPED_TRACE(path);
    run("ffmpeg -v error -i " + path + " -c:a pcm_f32le " + path + ".wav");
    const Signal expected = readAll(path + ".wav").value();
    const Signal read = readAll(path).value_or(Signal());
    ASSERT_EQ(read.size(), expected.size());
    for (std::size_t i = 0; i < read.size(); ++i) {
      // ffmpeg itself drops the start of Vorbis.
      EXPECT_EQ(read[i].size(), std::max<std::size_t>(expected[i].size(), 30000));
      EXPECT_LE(largestDifference(part(read, 1000, 28000)[i], expected[i], 1000), 1e-4) << i;
    }
  }
}

}  // namespace
}  // namespace brindlevane
