#include "platform/Folders.h"
#include "platform/sound/AudioDecoder.h"
#include "platform/sound/DynamicLibrary.h"
#include "tests/support/AudioFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace brindlevane {
namespace {

using namespace testing;

const char* const kFfmpeg = "brindlevane_ffmpeg";
const char* const kSndfile = "brindlevane_sndfile";
constexpr int kRate = 8000;
constexpr std::int64_t kFrames = 34 * kRate + 776;

OpenAudioDecoder module(const std::string& name) {
  return reinterpret_cast<OpenAudioDecoder>(
      loadedSymbol(programFolder() + name, kOpenAudioDecoderSymbol));
}

// A file in the hands of one decoder module.
class Opened {
 public:
  explicit Opened(const std::string& path, const std::string& name = kFfmpeg)
      : path_(path), file_(RegularFile::open(path).value()), decoder_(module(name)(file_)) {}

  [[nodiscard]] bool isAccepted() const { return decoder_ != nullptr; }
  AudioDecoder* operator->() const {
    return isAccepted() ? decoder_.get() : throw std::runtime_error(path_ + " is refused");
  }

  // What is left of one channel, at most so many frames.
  std::vector<float> read(std::int64_t most = 1 << 30) {
    std::vector<float> samples;
    std::vector<float> block(1000);
    do {
      const std::int64_t wanted = std::min<std::int64_t>(1000, most - std::ssize(samples));
      last_ = (*this)->read(block.data(), wanted);
      samples.insert(samples.end(), block.begin(),
                     block.begin() + std::max<std::int64_t>(last_, 0));
    } while (last_ > 0 && std::ssize(samples) < most);
    return samples;
  }

  // What the last read gave: 0 for the end, negative for a fault.
  [[nodiscard]] std::int64_t last() const { return last_; }

 private:
  std::string path_;
  RegularFile file_;
  std::unique_ptr<AudioDecoder> decoder_;
  std::int64_t last_ = 0;
};

// Files of 34 s of a tone in noise.
class FfmpegDecoder : public ::testing::Test {
 protected:
  static const MadeFiles& files() {
    static const MadeFiles kFiles = [] {
      std::vector<float> sound = tones({440}, 0.3, kFrames, kRate);
      const std::vector<float> hiss = noise(5, 0.05, kFrames);
      std::transform(sound.begin(), sound.end(), hiss.begin(), sound.begin(), std::plus<>());
      return MadeFiles({sound}, kRate);
    }();
    return kFiles;
  }

  static std::string made(const std::string& name) { return files().path(name); }
  static std::string changed(const std::string& name, const std::string& bytes) {
    return files().changed(name, bytes);
  }
};

TEST_F(FfmpegDecoder, SamplesOfEachFormAreScaledByTheirWidth) {
  const std::vector<float> source = Opened(files().source()).read();
  // Each with what rounding takes at most, or to 24 bits cutting.
  const std::vector<std::pair<std::string, double>> forms = {
      {"pcm_u8.wav", 0x1p-8},     {"u8wavpack.wv", 0x1p-8},   {"pcm_s8.mov", 0x1p-8},
      {"pcm_s8.aiff", 0x1p-8},    {"pcm_s16le.wav", 0x1p-16}, {"alac.m4a", 0x1p-16},
      {"pcm_s24be.caf", 0x1p-23}, {"pcm_s32le.wav", 0x1p-25}, {"pcm_f32le.w64", 0},
      {"alac24.m4a", 0x1p-23},    {"pcm_s64le.wav", 0x1p-25}, {"pcm_f64le.wav", 0},
      {"pictures.mov", 0x1p-16},  {"twotracks.m4a", 0x1p-16}};
  for (const auto& [name, error] : forms) {
    for (const char* const module : {kFfmpeg, kSndfile}) {
      SCOPED_TRACE(name + module);
      Opened file(made(name), module);
      if (module == kSndfile && !file.isAccepted()) {
        continue;
      }
      EXPECT_EQ(file->format().length, kFrames);
      EXPECT_EQ(file->format().sampleRate, kRate);
      const std::vector<float> samples = file.read();
      ASSERT_EQ(samples.size(), source.size());
      EXPECT_LE(largestDifference(samples, source), 1.01 * error);
    }
  }
}

std::string id3Tag(std::size_t bytes, bool hasFooter) {
  const std::string flags = std::string("\4\0", 2) + (hasFooter ? '\x10' : '\0');
  const std::string size = {0, 0, static_cast<char>(bytes >> 7U), static_cast<char>(bytes & 0x7fU)};
  const std::string footer = hasFooter ? "3DI" + flags + size : "";
  return "ID3" + flags + size + std::string(bytes, '\0') + footer;
}

TEST_F(FfmpegDecoder, TagsBeforeAndBehindAreNoSound) {
  const std::string apeEnd =
      "APETAGEX" + std::string("\xd0\7\0\0\x20\4\0\0\1\0\0\0\0\0\0\xa0", 16) + std::string(8, '\0');
  const std::string ape = apeEnd + std::string(1000, '\xfe') + apeEnd;
  const std::string id3v1 = "TAG" + std::string(125, 'x');
  const std::vector<std::pair<std::string, std::string>> cases = {
      {id3Tag(3000, false) + id3Tag(5000, false), ""},
      {id3Tag(2000, true), ""},
      {"", id3v1},
      {id3Tag(300, false), ape},
      {id3Tag(2000, true) + id3Tag(300, false), ""},
      {"", ape + id3v1}};
  const std::vector<std::pair<std::string, std::string>> files = {
      {"lame.mp3", kFfmpeg}, {"xing.mp3", kFfmpeg}, {"aac.aac", kFfmpeg}, {"lame.mp3", kSndfile}};
  for (const auto& [name, module] : files) {
    const std::vector<float> plain = Opened(made(name), module).read();
    const std::string sound = bytesOf(made(name));
    for (std::size_t i = 0; i < cases.size(); ++i) {
      SCOPED_TRACE(name + module + std::to_string(i));
      Opened tagged(changed(name, cases[i].first + sound + cases[i].second), module);
      EXPECT_EQ(tagged->format().length, std::ssize(plain));
      EXPECT_TRUE(tagged.read() == plain);
      EXPECT_EQ(tagged.last(), 0);
    }
  }
}

TEST_F(FfmpegDecoder, IsNotNeededToCountTheFramesOfFlac) {
  const std::string uncounted = bytesOf(made("flac.flac")).replace(22, 4, 4, '\0');
  EXPECT_EQ(Opened(changed("flac.flac", uncounted), kSndfile)->format().length, kFrames);
}

TEST_F(FfmpegDecoder, AJumpGivesTheSamplesOfADecodingFromTheStart) {
  // Each file with what its decoder draws at random.
  const std::vector<std::pair<std::string, double>> kinds = {
      {"aac.m4a", 0},           {"bareaac.m4a", 0},    {"aac.aac", 0},
      {"aac.mka", 0},           {"lame.mp3", 0},       {"xing.mp3", 0},
      {"lame.wav", 0},          {"lame.mp4", 0},       {"ac3.ac3", 0.02},
      {"alac.m4a", 0},          {"alac.caf", 0},       {"flac.mp4", 0},
      {"flac.mka", 0},          {"flac.flac", 0},      {"flac.oga", 0},
      {"tta.tta", 0},           {"pcm_f64le.mov", 0},  {"wavpack.wv", 0},
      {"pcm_f32le.w64", 0},     {"opus60.webm", 1e-5}, {"opus40.webm", 1e-5},
      {"opusvoice.webm", 1e-3}, {"fragments.mp4", 0},  {"opus5.webm", 1e-5},
      {"opusspeech.webm", 1e-3}};
  for (const auto& [name, deviation] : kinds) {
    const std::vector<float> all = Opened(made(name)).read();
    const auto rate = static_cast<std::int64_t>(Opened(made(name))->format().sampleRate);
    if (name.starts_with("opus")) {
      EXPECT_EQ(std::ssize(all), kFrames * 6);
    }
    for (const std::int64_t start :
         {std::int64_t{1}, 30 * rate, 30 * rate + 1, 32 * rate + 5000, std::ssize(all) - 1}) {
      SCOPED_TRACE(name + " " + std::to_string(start));
      Opened file(made(name));
      ASSERT_TRUE(file->seek(start));
      const std::vector<float> part = file.read(8000);
      EXPECT_EQ(std::ssize(part), std::min<std::int64_t>(8000, std::ssize(all) - start));
      EXPECT_LE(largestDifference(part, all, start), deviation);
      // Back at the start the decoder is as good as new.
      ASSERT_TRUE(file->seek(0));
      EXPECT_LE(largestDifference(file.read(3000), all), 0);
    }
  }
}

std::string bigEndian(std::uint64_t value, int bytes) {
  std::string text;
  for (int i = bytes - 1; i >= 0; --i) {
    text += static_cast<char>(value >> (8 * i) & 0xffU);
  }
  return text;
}

std::uint64_t numberAt(const std::string& bytes, std::size_t at) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    value = value << 8U | static_cast<unsigned char>(bytes[at + i]);
  }
  return value;
}

// How the movie header is written anew that ends an MP4 file.
struct Style {
  bool hasLongDates;  // version 1 of the headers and of the edit list
  bool hasLongSizes;  // 64-bit sizes
  std::vector<std::pair<std::uint64_t, std::uint64_t>> edits;  // milliseconds, first media frame
};

std::string editList(const Style& style) {
  const int bytes = style.hasLongDates ? 8 : 4;
  std::string list =
      bigEndian(style.hasLongDates ? 0x1000000 : 0, 4) + bigEndian(style.edits.size(), 4);
  for (const auto& [milliseconds, start] : style.edits) {
    list += bigEndian(milliseconds, bytes) + bigEndian(start, bytes) + bigEndian(0x10000, 4);
  }
  return list;
}

std::string restyled(const std::string& boxes, const Style& style) {
  std::string out;
  for (std::size_t at = 0; at + 8 <= boxes.size();) {
    const std::size_t size = numberAt(boxes, at);
    const std::string type = boxes.substr(at + 4, 4);
    std::string content = boxes.substr(at + 8, size - 8);
    if (type == "moov" || type == "trak" || type == "mdia" || type == "edts") {
      content = restyled(content, style);
    } else if (type == "elst") {
      content = editList(style);
    } else if ((type == "mvhd" || type == "mdhd") && style.hasLongDates) {
      content[0] = '\1';
      content.insert(16, 4, '\0').insert(8, 4, '\0').insert(4, 4, '\0');
    }
    const bool isLong = style.hasLongSizes && type != "ftyp" && type != "free" && type != "mdat";
    out += isLong ? bigEndian(1, 4) + type + bigEndian(content.size() + 16, 8)
                  : bigEndian(content.size() + 8, 4) + type;
    out += content;
    at += size;
  }
  return out;
}

TEST_F(FfmpegDecoder, EditListsAreReadInEveryStyleOfBoxes) {
  constexpr std::uint64_t kNothing = 0xffffffff;
  constexpr std::uint64_t kLongNothing = ~std::uint64_t{0};
  const std::vector<float> alac = Opened(made("alac.m4a")).read();
  // Frames of the media: from, to.
  using Parts = std::vector<std::pair<std::int64_t, std::int64_t>>;
  const std::vector<std::tuple<std::string, Style, Parts>> cases = {
      {"plain", {false, false, {{1000, 4000}}}, {{4000, 12000}}},
      {"version1", {true, false, {{0, 0}}}, {{0, kFrames}}},
      {"version1edit", {true, false, {{1000, 4001}}}, {{4001, 12001}}},
      {"longsizes", {true, true, {{500, 4095}}}, {{4095, 8095}}},
      {"emptyfirst", {false, false, {{700, kNothing}, {2000, 800}}}, {{800, 16800}}},
      {"toTheEnd", {false, false, {{0, 1000}}}, {{1000, kFrames}}},
      // A millisecond before the end of the media is its end, where the list is read here.
      {"end", {false, false, {{34096, 0}}}, {{0, kFrames}}},
      {"endOfVersion1", {true, false, {{34096, 0}}}, {{0, kFrames}}},
      {"endOfLongSizes", {false, true, {{34096, 0}}}, {{0, kFrames}}},
      {"endBehindNothing", {false, false, {{7, kNothing}, {34096, 0}}}, {{0, kFrames}}},
      {"behindLongNothing", {true, false, {{7, kLongNothing}, {1000, 4001}}}, {{4001, 12001}}},
      {"shorter", {false, false, {{34095, 0}}}, {{0, 34095 * kRate / 1000}}},
      // Several edits are FFmpeg's to apply, in whole packets.
      {"two", {false, false, {{10000, 100}, {1000, 40960}}}, {{100, 81920}, {40960, 49152}}}};
  for (const auto& [name, style, parts] : cases) {
    SCOPED_TRACE(name);
    Opened file(changed(name + ".m4a", restyled(bytesOf(made("alac.m4a")), style)));
    std::vector<float> expected;
    for (const auto& [from, to] : parts) {
      expected.insert(expected.end(), alac.begin() + from, alac.begin() + to);
    }
    EXPECT_EQ(file->format().length, std::ssize(expected));
    EXPECT_TRUE(file.read() == expected);
    const std::int64_t late = std::ssize(expected) - 100;
    ASSERT_TRUE(file->seek(late));
    EXPECT_LE(largestDifference(file.read(), expected, late), 0);
  }
}

TEST_F(FfmpegDecoder, AnEditListWithoutATimescaleIsNone) {
  for (const std::string header : {"mvhd", "mdhd"}) {
    std::string bytes = bytesOf(made("alac.m4a"));
    bytes.replace(bytes.find(header) + 16, 4, 4, '\0');
    // What FFmpeg makes of such media is its own; there is no division by it.
    EXPECT_GT(Opened(changed("timeless.m4a", bytes)).read().size(), 0U);
  }
}

// A file with gapless data at the end of the movie box, the last one.
std::string withGaplessData(std::string bytes, const std::string& data) {
  const auto box = [](const std::string& type, const std::string& content) {
    return bigEndian(content.size() + 8, 4) + type + content;
  };
  const std::string zeros(4, '\0');
  const std::string tag =
      box("----", box("mean", zeros + "com.apple.iTunes") + box("name", zeros + "iTunSMPB") +
                      box("data", bigEndian(1, 4) + zeros + data));
  const std::string handler = box("hdlr", zeros + zeros + "mdirappl" + std::string(9, '\0'));
  const std::string added = box("udta", box("meta", zeros + handler + box("ilst", tag)));
  const std::size_t movie = bytes.find("moov") - 4;
  bytes.replace(movie, 4, bigEndian(numberAt(bytes, movie) + added.size(), 4));
  return bytes + added;
}

TEST_F(FfmpegDecoder, GaplessDataOfItunesStandInForAnEditList) {
  const std::vector<std::tuple<std::string, std::string, std::int64_t, std::int64_t>> cases = {
      {"aac.m4a", " 00000000 00000400 00000278 0000000000042988 00000000", 1024, kFrames},
      {"aac.m4a", " 00000000 00000000 00000278 00000001", 0, 1},
      {"aac.m4a", " 00000000 00000401 00000278 0000000000050000", 1025, 268 * 1024 - 1025},
      // Without it the media are as long as their header says.
      {"aac.m4a", " 00000000 -0000400 00000278 0000000000042988", 0, kFrames + 1024},
      {"aac.m4a", " 00000000 00000400 00000278 0000000000000000", 0, kFrames + 1024},
      {"aac.m4a", " 00000000 00000400", 0, kFrames + 1024},
      {"alac.m4a", " 00000000 00000400 00000278 0000000000042988", 0, kFrames}};
  for (const auto& [name, data, from, length] : cases) {
    SCOPED_TRACE(data);
    std::string bytes = bytesOf(made(name));
    bytes.replace(bytes.find("edts"), 4, "free");
    const std::vector<float> all =
        Opened(changed("all.m4a", withGaplessData(bytes, " 0 0 0 7fffffff"))).read();
    const std::vector<float> read =
        Opened(changed("itunes.m4a", withGaplessData(bytes, data))).read();
    EXPECT_EQ(std::ssize(read), length);
    EXPECT_LE(largestDifference(read, all, from), 0);
  }
  const std::string edited = withGaplessData(bytesOf(made("aac.m4a")), " 0 401 0 1");
  EXPECT_TRUE(Opened(changed("edited.m4a", edited)).read() == Opened(made("aac.m4a")).read());
}

TEST_F(FfmpegDecoder, AFileEndsWhereItChangesItsFormat) {
  const std::string start = bytesOf(made("aac.aac"));
  const std::int64_t frames = std::ssize(Opened(made("aac.aac")).read());
  for (const char* const name : {"stereo.aac", "fast.aac"}) {
    Opened file(changed("two.aac", start + bytesOf(made(name))));
    EXPECT_NEAR(static_cast<double>(file.read().size()), static_cast<double>(frames), 1100) << name;
    EXPECT_EQ(file.last(), 0);
  }
}

// A jump begins to decode 10 s before its goal, from 30 s on; what is nearer is decoded up to.
// Where frames do not depend on each other nothing before the goal is decoded.
TEST_F(FfmpegDecoder, DamageIsMetWhereItIsDecoded) {
  const std::vector<std::tuple<std::string, double, double, bool>> cases = {
      {"aac.m4a", 1, 30, false},    {"aac.m4a", 1, 30.01, true}, {"aac.m4a", 22.5, 33, true},
      {"aac.m4a", 23.5, 33, false}, {"alac.m4a", 1, 3, true},    {"flac.mp4", 1, 3, true},
      {"alac.caf", 1, 3, true}};
  for (const auto& [name, damaged, goal, isReached] : cases) {
    SCOPED_TRACE(name + std::to_string(damaged));
    std::string bytes = bytesOf(made(name));
    const auto at = static_cast<std::size_t>(damaged / 34.1 * static_cast<double>(bytes.size()));
    Opened file(changed(name, bytes.replace(at, 700, 700, '\x55')));
    EXPECT_EQ(file->seek(static_cast<std::int64_t>(goal * kRate)), isReached);
  }
}

TEST_F(FfmpegDecoder, OtherContainersAreNotOpened) {
  EXPECT_FALSE(Opened(made("pcm_s16le.nut")).isAccepted());
}

TEST_F(FfmpegDecoder, DamageInTheMiddleIsAFault) {
  // Each with the mark where the damage begins, and whether what lies behind can be reached.
  const std::vector<std::tuple<std::string, std::string, bool>> cases = {
      {"alac.m4a", "", true},   {"aac.m4a", "", true},         {"lame.mp4", "", true},
      {"aac.aac", "", false},   {"xing.mp3", "", false},       {"lame.mp3", "", false},
      {"ac3.ac3", "", false},   {"flac.flac", "", false},      {"flac.mp4", "", true},
      {"wavpack.wv", "", true}, {"wavpack.wv", "wvpk", false}, {"tta.tta", "", true},
      {"flac.oga", "", false}};
  for (const auto& [name, mark, isReached] : cases) {
    SCOPED_TRACE(name + mark);
    const std::vector<float> intact = Opened(made(name)).read();
    std::string bytes = bytesOf(made(name));
    const std::size_t from = bytes.find(mark, bytes.size() * 2 / 5);
    for (std::size_t i = 0; i < 6000; ++i) {
      bytes[from + i] = static_cast<char>(i * i * 31 + i * 7 + (i >> 5U));
    }
    Opened damaged(changed(name, bytes));
    EXPECT_LT(std::ssize(damaged.read()), std::ssize(intact) * 3 / 5);
    EXPECT_LT(damaged.last(), 0);
    EXPECT_TRUE(damaged->seek(0));
    EXPECT_LE(largestDifference(damaged.read(3000), intact), 0);
    const std::int64_t behind = std::ssize(intact) * 9 / 10;
    EXPECT_EQ(damaged->seek(behind), isReached);
    if (isReached) {
      EXPECT_LE(largestDifference(damaged.read(3000), intact, behind), 0);
    }
  }
}

TEST_F(FfmpegDecoder, AnAdtsStreamMayHoldTagsButLosesNoPacketUnnoticed) {
  const std::string stream = bytesOf(made("aac.aac"));
  const auto sizeAt = [&](std::size_t at) { return numberAt(stream, at + 2) >> 5U & 0x1fffU; };
  std::size_t at = 0;
  while (at < stream.size() / 2) {
    at += sizeAt(at);
  }
  std::string tagged = stream;
  Opened withTag(changed("tag.aac", tagged.insert(at, id3Tag(50, false))));
  EXPECT_TRUE(withTag.read() == Opened(made("aac.aac")).read());
  EXPECT_EQ(withTag.last(), 0);
  Opened damaged(changed("hole.aac", withHole(stream, at, sizeAt(at))));
  EXPECT_LT(std::ssize(damaged.read()), kFrames * 3 / 5);
  EXPECT_LT(damaged.last(), 0);
}

TEST_F(FfmpegDecoder, DamageInTheFirstPacketOfAContainerIsAFault) {
  for (const char* const name : {"firstalac.m4a", "first.m4a"}) {
    std::string bytes = bytesOf(made(name));
    bytes.replace(bytes.find("mdat") + 4, 150, 150, '\x55');
    EXPECT_FALSE(Opened(changed(name, bytes)).isAccepted()) << name;
  }
}

TEST_F(FfmpegDecoder, AFileCutShortIsAsLongAsCanBeDecoded) {
  for (const char* const name :
       {"first.m4a", "firstalac.m4a", "aac.aac", "xing.mp3", "lame.wav", "ac3.ac3", "flac.flac",
        "wavpack.wv", "tta.tta", "pcm_s16le.wav", "fragments.mp4"}) {
    SCOPED_TRACE(name);
    const std::vector<float> intact = Opened(made(name)).read();
    const std::string bytes = bytesOf(made(name));
    const std::size_t kept = bytes.size() * 4 / 5 + 33;
    Opened cut(changed(name, bytes.substr(0, kept)));
    const std::vector<float> samples = cut.read();
    EXPECT_EQ(cut.last(), 0);
    EXPECT_EQ(cut->format().length, std::ssize(samples));
    EXPECT_NEAR(static_cast<double>(samples.size()) / static_cast<double>(intact.size()), 0.745,
                0.065);
    if (name == std::string("pcm_s16le.wav")) {
      EXPECT_EQ(samples.size(), kFrames - (bytes.size() - kept + 1) / 2);
    }
    EXPECT_LE(largestDifference(samples, intact), 0);
  }
}

TEST_F(FfmpegDecoder, AStreamMayBeginInTheMiddleOfAFrameOrWithADamagedOne) {
  const std::vector<std::pair<std::string, std::size_t>> streams = {
      {"xing.mp3", 60},  {"aac.aac", 60},  {"ac3.ac3", 60},
      {"eac3.eac3", 60}, {"aac.loas", 60}, {"aac.ts", 624}};
  for (const auto& [name, damaged] : streams) {
    SCOPED_TRACE(name);
    std::string bytes = bytesOf(made(name));
    Opened file(changed(name, bytes.substr(10111)));
    EXPECT_EQ(std::ssize(file.read()), file->format().length);
    EXPECT_EQ(file.last(), 0);
    EXPECT_TRUE(Opened(changed(name, bytes.replace(damaged, 150, 150, '\x55'))).isAccepted());
  }
}

}  // namespace
}  // namespace brindlevane
