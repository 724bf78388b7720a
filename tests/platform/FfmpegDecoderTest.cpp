#include "platform/AudioDecoder.h"
#include "tests/support/AudioFiles.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace brindlevane {
namespace {

using testing::run;
using testing::TemporaryDirectory;
using testing::writeBytes;

constexpr int kRate = 8000;
constexpr std::int64_t kFrames = 34 * kRate + 776;

OpenAudioDecoder module(const std::string& name) {
  const auto path = std::filesystem::read_symlink("/proc/self/exe").replace_filename(name);
  return reinterpret_cast<OpenAudioDecoder>(
      ::dlsym(::dlopen(path.c_str(), RTLD_NOW), kOpenAudioDecoderSymbol));
}

// A file in the hands of one decoder module.
class Opened {
 public:
  explicit Opened(const std::string& path, const std::string& name = "brindlevane_ffmpeg.so")
      : descriptor_(::open(path.c_str(), O_RDONLY)), decoder_(module(name)(descriptor_)) {}
  Opened(const Opened&) = delete;
  Opened& operator=(const Opened&) = delete;
  ~Opened() {
    decoder_.reset();
    ::close(descriptor_);
  }

  [[nodiscard]] AudioDecoder* decoder() const { return decoder_.get(); }
  [[nodiscard]] int descriptor() const { return descriptor_; }

  // The first channel of what is left, at most so many frames.
  std::vector<float> read(std::int64_t most = 1 << 30) {
    std::vector<float> samples;
    const auto channels = static_cast<std::size_t>(decoder_->format().channelCount);
    std::vector<float> block(1000 * channels);
    while (std::ssize(samples) < most) {
      last_ =
          decoder_->read(block.data(), std::min<std::int64_t>(1000, most - std::ssize(samples)));
      for (std::int64_t i = 0; i < last_; ++i) {
        samples.push_back(block[static_cast<std::size_t>(i) * channels]);
      }
      if (last_ <= 0) {
        break;
      }
    }
    return samples;
  }

  // What the last read gave: 0 for the end, negative for a fault.
  [[nodiscard]] std::int64_t last() const { return last_; }

 private:
  int descriptor_;
  std::unique_ptr<AudioDecoder> decoder_;
  std::int64_t last_ = 0;
};

std::vector<float> toneInNoise() {
  std::vector<float> samples = testing::tones({440}, 0.3, kFrames, kRate);
  const std::vector<float> noise = testing::noise(5, 0.05, kFrames);
  std::transform(samples.begin(), samples.end(), noise.begin(), samples.begin(), std::plus<>());
  return samples;
}

std::string bytesOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

double largestDifference(const std::vector<float>& part, const std::vector<float>& whole,
                         std::int64_t from = 0) {
  double largest = std::ssize(whole) < from + std::ssize(part) ? 1e9 : 0;
  for (std::size_t i = 0; i < part.size() && largest < 1e9; ++i) {
    const double difference = std::abs(part[i] - whole[static_cast<std::size_t>(from) + i]);
    largest = std::max(largest, difference);
  }
  return largest;
}

// Files of 34 s of a tone in noise, made when first asked for.
class FfmpegDecoder : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    directory_ = new TemporaryDirectory();
    testing::writeWav(path("source.wav"), {toneInNoise()}, kRate);
  }
  static void TearDownTestSuite() { delete directory_; }

  static std::string path(const std::string& name) { return directory_->file(name); }

  static std::string made(const std::string& name) {
    static const std::map<std::string, std::string> kOptions = {
        {"aac.m4a", "-c:a aac -aac_pns 0"},
        {"first.m4a", "-c:a aac -aac_pns 0 -movflags faststart"},
        {"bare.m4a", "-c:a aac -aac_pns 0 -use_editlist 0"},
        {"aac.aac", "-c:a aac -aac_pns 0"},
        {"aac.mka", "-c:a aac -aac_pns 0"},
        {"ac3.ac3", "-c:a ac3 -ar 32000 -b:a 256k"},
        {"alac.caf", "-c:a alac"},
        {"alac.m4a", "-c:a alac"},
        {"firstalac.m4a", "-c:a alac -movflags faststart"},
        {"dbl.mov", "-c:a pcm_f64le"},
        {"dbl.wav", "-c:a pcm_f64le"},
        {"flac.flac", "-c:a flac"},
        {"flac.mp4", "-c:a flac -strict -2"},
        {"flac.oga", "-c:a flac"},
        {"flac.mka", "-c:a flac"},
        {"flt.w64", "-c:a pcm_f32le"},
        {"fragments.mp4", "-c:a alac -movflags frag_keyframe+empty_moov -frag_duration 2000000"},
        {"lame.mp3", "-c:a libmp3lame -b:a 64k"},
        {"lame.wav", "-c:a libmp3lame -b:a 64k"},
        {"lame.mp4", "-c:a libmp3lame -b:a 64k -strict -1"},
        {"xing.mp3", "-c:a libmp3lame -b:a 64k -write_xing 0"},
        {"opus.webm", "-c:a libopus -b:a 96k"},
        {"opus40.webm", "-c:a libopus -b:a 96k -frame_duration 40"},
        {"s16.aiff", "-c:a pcm_s16be"},
        {"s16.wav", "-c:a pcm_s16le"},
        {"s24.alac.m4a", "-c:a alac -sample_fmt s32p"},
        {"s24.caf", "-c:a pcm_s24be"},
        {"s32.wav", "-c:a pcm_s32le"},
        {"s64.mkv", "-c:a pcm_s64le"},
        {"s64.wav", "-c:a pcm_s64le"},
        {"s8.aiff", "-c:a pcm_s8"},
        {"s8.mov", "-c:a pcm_s8"},
        {"tta.tta", "-c:a tta"},
        {"u8.wav", "-c:a pcm_u8"},
        {"u8.wv", "-c:a wavpack -sample_fmt u8p"},
        {"vorbis.ogg", "-c:a libvorbis"},
        {"wavpack.wv", "-c:a wavpack"}};
    if (!std::filesystem::exists(path(name))) {
      run("ffmpeg -v error -y -i " + path("source.wav") + " " + kOptions.at(name) + " " +
          path(name));
    }
    return path(name);
  }

  // A changed copy of a file.
  static std::string changed(const std::string& name, const std::string& bytes) {
    writeBytes(path("changed-" + name), bytes);
    return path("changed-" + name);
  }

  static inline TemporaryDirectory* directory_ = nullptr;
};

TEST_F(FfmpegDecoder, SamplesOfEachFormAreScaledByTheirWidth) {
  const std::vector<float> source = Opened(path("source.wav")).read();
  const std::vector<std::pair<std::string, double>> forms = {
      {"u8.wav", 0x1p-7},   {"u8.wv", 0x1p-7},         {"s8.mov", 0x1p-7},   {"s8.aiff", 0x1p-7},
      {"s16.wav", 0x1p-15}, {"alac.m4a", 0x1p-15},     {"s24.caf", 0x1p-23}, {"s32.wav", 0x1p-24},
      {"flt.w64", 0},       {"s24.alac.m4a", 0x1p-23}, {"s64.wav", 0x1p-24}, {"dbl.wav", 0}};
  for (const auto& [name, step] : forms) {
    SCOPED_TRACE(name);
    Opened file(made(name));
    ASSERT_TRUE(file.decoder());
    EXPECT_EQ(file.decoder()->format().length, kFrames);
    EXPECT_EQ(file.decoder()->format().sampleRate, kRate);
    const std::vector<float> samples = file.read();
    ASSERT_EQ(samples.size(), source.size());
    EXPECT_LE(largestDifference(samples, source), 1.01 * step);
  }
}

TEST_F(FfmpegDecoder, SharedFormatsAreThoseOfTheOtherModule) {
  for (const char* const name :
       {"flac.flac", "lame.mp3", "s16.aiff", "s16.wav", "s24.caf", "u8.wav", "vorbis.ogg"}) {
    SCOPED_TRACE(name);
    Opened here(made(name));
    Opened there(made(name), "brindlevane_sndfile.so");
    ASSERT_TRUE(here.decoder() && there.decoder());
    EXPECT_EQ(here.decoder()->format().length, there.decoder()->format().length);
    const std::vector<float> samples = here.read();
    EXPECT_EQ(std::ssize(samples), kFrames);
    EXPECT_LE(largestDifference(samples, there.read()), 1e-5);
  }
}

std::string id3Tag(std::size_t bytes, bool hasFooter) {
  std::string size;
  for (const unsigned shift : {21U, 14U, 7U, 0U}) {
    size += static_cast<char>(bytes >> shift & 0x7fU);
  }
  const std::string flags = hasFooter ? "\x10" : std::string(1, '\0');
  const std::string version("\4\0", 2);
  const std::string footer = hasFooter ? "3DI" + version + flags + size : "";
  return "ID3" + version + flags + size + std::string(bytes, '\0') + footer;
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
      {"", ape + id3v1}};
  for (const char* const name : {"lame.mp3", "xing.mp3", "aac.aac"}) {
    const std::vector<float> plain = Opened(made(name)).read();
    std::string sound = bytesOf(made(name));
    if (sound.starts_with("ID3")) {
      sound.erase(0, 10 + static_cast<std::size_t>(sound[9]));
    }
    for (std::size_t i = 0; i < cases.size(); ++i) {
      SCOPED_TRACE(name + std::to_string(i));
      Opened tagged(changed(name, cases[i].first + sound + cases[i].second));
      ASSERT_TRUE(tagged.decoder());
      EXPECT_EQ(tagged.decoder()->format().length, std::ssize(plain));
      EXPECT_TRUE(tagged.read() == plain);
      EXPECT_EQ(tagged.last(), 0);
    }
  }
}

struct Far {
  std::string name;
  double deviation;  // what a decoder draws at random
};

TEST_F(FfmpegDecoder, AJumpGivesTheSamplesOfADecodingFromTheStart) {
  const std::vector<Far> kinds = {
      {"aac.m4a", 0},        {"bare.m4a", 0},     {"aac.aac", 0},  {"aac.mka", 0},
      {"lame.mp3", 0},       {"xing.mp3", 0},     {"lame.wav", 0}, {"lame.mp4", 0},
      {"ac3.ac3", 0.02},     {"alac.m4a", 0},     {"alac.caf", 0}, {"flac.mp4", 0},
      {"flac.mka", 0},       {"flac.flac", 0},    {"flac.oga", 0}, {"tta.tta", 0},
      {"dbl.mov", 0},        {"wavpack.wv", 0},   {"flt.w64", 0},  {"opus.webm", 1e-5},
      {"opus40.webm", 1e-5}, {"fragments.mp4", 0}};
  for (const auto& [name, deviation] : kinds) {
    const std::vector<float> all = Opened(made(name)).read();
    const auto rate = static_cast<std::int64_t>(Opened(made(name)).decoder()->format().sampleRate);
    for (const std::int64_t start :
         {std::int64_t{1}, 30 * rate, 30 * rate + 1, 32 * rate + 5000, std::ssize(all) - 1}) {
      SCOPED_TRACE(name + " " + std::to_string(start));
      Opened file(made(name));
      ASSERT_TRUE(file.decoder()->seek(start));
      const std::vector<float> part = file.read(8000);
      EXPECT_EQ(std::ssize(part), std::min<std::int64_t>(8000, std::ssize(all) - start));
      EXPECT_LE(largestDifference(part, all, start), deviation);
    }
  }
}

TEST_F(FfmpegDecoder, WhatLiesBeforeAClipIsNotDecoded) {
  const auto workFor = [](const auto& action) {
    const std::clock_t begin = std::clock();
    action();
    return std::clock() - begin;
  };
  for (const char* const name : {"alac.m4a", "alac.caf", "flac.mp4"}) {
    SCOPED_TRACE(name);
    Opened file(made(name));
    Opened jumping(made(name));
    const std::clock_t decoding = workFor([&] { file.read(); });
    const std::clock_t jump = workFor([&] { EXPECT_TRUE(jumping.decoder()->seek(29 * kRate)); });
    EXPECT_LT(jump, decoding / 2);
  }
}

// How the movie header is written anew that ends an MP4 file.
struct BoxStyle {
  bool hasLongDates = false;  // version 1 of the headers
  bool hasLongSizes = false;  // 64-bit sizes
  std::string editList;       // the list's content
};

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

std::string restyled(const std::string& boxes, const BoxStyle& style) {
  std::string out;
  for (std::size_t at = 0; at + 8 <= boxes.size();) {
    const std::size_t size = numberAt(boxes, at);
    const std::string type = boxes.substr(at + 4, 4);
    std::string content = boxes.substr(at + 8, size - 8);
    if (type == "moov" || type == "trak" || type == "mdia" || type == "edts") {
      content = restyled(content, style);
    } else if (type == "elst") {
      content = style.editList;
    } else if ((type == "mvhd" || type == "mdhd") && style.hasLongDates) {
      const std::string zeros(4, '\0');
      content = bigEndian(0x1000000, 4) + zeros + content.substr(4, 4) + zeros +
                content.substr(8, 8) + zeros + content.substr(16);
    }
    const bool isLong = style.hasLongSizes && type != "ftyp" && type != "free" && type != "mdat";
    out += isLong ? bigEndian(1, 4) + type + bigEndian(content.size() + 16, 8)
                  : bigEndian(content.size() + 8, 4) + type;
    out += content;
    at += size;
  }
  return out;
}

// Each edit: its length in milliseconds and its start in media frames.
std::string editList(const std::vector<std::pair<std::uint64_t, std::uint64_t>>& edits,
                     bool isWide) {
  std::string list = bigEndian(isWide ? 0x1000000 : 0, 4) + bigEndian(edits.size(), 4);
  for (const auto& [milliseconds, start] : edits) {
    const int bytes = isWide ? 8 : 4;
    list += bigEndian(milliseconds, bytes) + bigEndian(start, bytes) + bigEndian(0x10000, 4);
  }
  return list;
}

TEST_F(FfmpegDecoder, EditListsAreReadInEveryStyleOfBoxes) {
  constexpr std::uint64_t kNothing = 0xffffffff;
  const std::vector<float> alac = Opened(made("alac.m4a")).read();
  struct Case {
    const char* name;
    bool hasLongDates, hasLongSizes;
    std::vector<std::pair<std::uint64_t, std::uint64_t>> edits;
    std::vector<std::pair<std::int64_t, std::int64_t>> parts;  // frames of the media: from, to
  };
  const std::vector<Case> cases = {
      {"plain", false, false, {{1000, 4000}}, {{4000, 12000}}},
      {"version1", true, false, {{0, 0}}, {{0, kFrames}}},
      {"version1edit", true, false, {{1000, 4001}}, {{4001, 12001}}},
      {"longsizes", true, true, {{500, 4095}}, {{4095, 8095}}},
      {"emptyfirst", false, false, {{700, kNothing}, {2000, 800}}, {{800, 16800}}},
      {"toTheEnd", false, false, {{0, 1000}}, {{1000, kFrames}}},
      {"nearlyToTheEnd", false, false, {{34097, 0}}, {{0, kFrames}}},
      {"shorter", false, false, {{34090, 0}}, {{0, 34090 * kRate / 1000}}},
      {"two", false, false, {{512, 0}, {1024, 40960}}, {{0, 4096}, {40960, 49152}}}};
  for (const Case& row : cases) {
    SCOPED_TRACE(row.name);
    const BoxStyle style = {row.hasLongDates, row.hasLongSizes,
                            editList(row.edits, row.hasLongDates)};
    const std::string name = row.name + std::string(".m4a");
    Opened file(changed(name, restyled(bytesOf(made("alac.m4a")), style)));
    ASSERT_TRUE(file.decoder());
    std::vector<float> expected;
    for (const auto& [from, to] : row.parts) {
      expected.insert(expected.end(), alac.begin() + from, alac.begin() + to);
    }
    EXPECT_EQ(file.decoder()->format().length, std::ssize(expected));
    EXPECT_TRUE(file.read() == expected);
    Opened again(path("changed-" + name));
    const std::int64_t late = std::ssize(expected) - 100;
    ASSERT_TRUE(again.decoder()->seek(late));
    EXPECT_LE(largestDifference(again.read(), expected, late), 0);
  }
}

TEST_F(FfmpegDecoder, DamageInTheMiddleIsAFault) {
  for (const char* const name : {"alac.m4a", "aac.m4a", "aac.aac", "xing.mp3", "lame.mp3",
                                 "ac3.ac3", "flac.flac", "flac.mp4", "wavpack.wv", "tta.tta"}) {
    SCOPED_TRACE(name);
    const std::vector<float> intact = Opened(made(name)).read();
    std::string bytes = bytesOf(made(name));
    for (std::size_t i = 0; i < 6000; ++i) {
      bytes[bytes.size() / 2 + i] = static_cast<char>(i * i * 31 + i * 7 + (i >> 5U));
    }
    Opened damaged(changed(name, bytes));
    ASSERT_TRUE(damaged.decoder());
    EXPECT_LT(std::ssize(damaged.read()), std::ssize(intact) * 3 / 5);
    EXPECT_LT(damaged.last(), 0);
    // What lies behind is reached where it can be found, and refused where not.
    const std::int64_t behind = std::ssize(intact) * 9 / 10;
    Opened again(path("changed-" + std::string(name)));
    const bool reached = again.decoder()->seek(behind);
    EXPECT_EQ(reached, name == std::string("alac.m4a") || name == std::string("flac.mp4") ||
                           name == std::string("aac.m4a") || name == std::string("wavpack.wv") ||
                           name == std::string("tta.tta"));
    if (reached) {
      EXPECT_LE(largestDifference(again.read(3000), intact, behind), 0);
    }
  }
}

// Where the packet of an ADTS stream begins that is the first in its second half, and how long it
// is.
std::pair<std::size_t, std::size_t> adtsPacket(const std::string& stream) {
  std::size_t at = 0;
  while (true) {
    const std::size_t size = (numberAt(stream, at + 2) >> 5U) & 0x1fffU;
    if (at >= stream.size() / 2) {
      return {at, size};
    }
    at += size;
  }
}

TEST_F(FfmpegDecoder, AnAdtsStreamMayHoldTagsButLosesNoPacketUnnoticed) {
  const std::string stream = bytesOf(made("aac.aac"));
  const auto [at, size] = adtsPacket(stream);
  std::string tagged = stream;
  Opened withTag(changed("tag.aac", tagged.insert(at, id3Tag(50, false))));
  EXPECT_TRUE(withTag.read() == Opened(made("aac.aac")).read());
  EXPECT_EQ(withTag.last(), 0);
  std::string damaged = stream;
  damaged.replace(at, size, size, '\0');
  Opened withHole(changed("hole.aac", damaged));
  EXPECT_LT(std::ssize(withHole.read()), kFrames * 3 / 5);
  EXPECT_LT(withHole.last(), 0);
}

TEST_F(FfmpegDecoder, DamageInTheFirstPacketIsAFaultWhereASoundBeginsWithTheFile) {
  for (const auto& [name, opens] : std::vector<std::pair<std::string, bool>>{
           {"firstalac.m4a", false}, {"first.m4a", false}, {"xing.mp3", true}, {"aac.aac", true}}) {
    SCOPED_TRACE(name);
    std::string bytes = bytesOf(made(name));
    const std::size_t media = bytes.find("mdat");
    const std::size_t from = media == std::string::npos ? 60 : media + 4;
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(from), 150, '\x55');
    EXPECT_EQ(Opened(changed(name, bytes)).decoder() != nullptr, opens);
  }
}

TEST_F(FfmpegDecoder, AFileCutShortIsAsLongAsCanBeDecoded) {
  for (const char* const name :
       {"first.m4a", "firstalac.m4a", "aac.aac", "xing.mp3", "lame.wav", "ac3.ac3", "flac.flac",
        "wavpack.wv", "tta.tta", "s16.wav", "fragments.mp4"}) {
    SCOPED_TRACE(name);
    const std::vector<float> intact = Opened(made(name)).read();
    const std::string bytes = bytesOf(made(name));
    Opened cut(changed(name, bytes.substr(0, bytes.size() * 4 / 5 + 33)));
    ASSERT_TRUE(cut.decoder());
    const std::vector<float> samples = cut.read();
    EXPECT_EQ(cut.last(), 0);
    EXPECT_EQ(cut.decoder()->format().length, std::ssize(samples));
    const auto length = static_cast<double>(intact.size());
    EXPECT_GT(static_cast<double>(samples.size()), length * 0.68);
    EXPECT_LT(static_cast<double>(samples.size()), length * 0.81);
    EXPECT_LE(largestDifference(samples, intact), 0);
  }
}

TEST_F(FfmpegDecoder, AStreamMayBeginInTheMiddleOfAFrame) {
  for (const char* const name : {"xing.mp3", "aac.aac", "ac3.ac3"}) {
    SCOPED_TRACE(name);
    Opened file(changed(name, bytesOf(made(name)).substr(10111)));
    ASSERT_TRUE(file.decoder());
    EXPECT_EQ(std::ssize(file.read()), file.decoder()->format().length);
    EXPECT_EQ(file.last(), 0);
  }
}

TEST_F(FfmpegDecoder, AFileThatCannotBeReadAnyMoreIsAFault) {
  for (const char* const name : {"alac.m4a", "aac.aac", "wavpack.wv"}) {
    SCOPED_TRACE(name);
    Opened file(made(name));
    ASSERT_TRUE(file.decoder());
    const int nowhere = ::open("/dev/null", O_WRONLY);
    ASSERT_EQ(::dup2(nowhere, file.descriptor()), file.descriptor());
    ::close(nowhere);
    file.read();
    EXPECT_LT(file.last(), 0);
  }
}

}  // namespace
}  // namespace brindlevane
