#include "tests/support/AudioFiles.h"

#include "support/Wav.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <numbers>
#include <random>
#include <span>

namespace brindlevane::testing {

std::optional<Signal> readSignal(AudioFile& file, std::int64_t start, std::int64_t count) {
  Signal channels(static_cast<std::size_t>(file.channelCount()));
  const auto deinterleave = [&](std::span<const float> interleaved) {
    for (std::size_t i = 0; i < interleaved.size(); ++i) {
      channels[i % channels.size()].push_back(interleaved[i]);
    }
  };
  return file.readBlocks(start, count, deinterleave) ? std::optional(channels) : std::nullopt;
}

std::optional<Signal> readAll(const std::string& path) {
  std::optional<AudioFile> file = AudioFile::open(path);
  return file ? readSignal(*file, 0, kAll) : std::nullopt;
}

Signal part(const Signal& whole, std::int64_t start, std::int64_t count) {
  Signal cut;
  for (const std::vector<float>& channel : whole) {
    const std::int64_t from = std::min(start, std::ssize(channel));
    const std::int64_t to = std::min(start + count, std::ssize(channel));
    cut.emplace_back(channel.begin() + from, channel.begin() + to);
  }
  return cut;
}

double largestDifference(const std::vector<float>& part, const std::vector<float>& whole,
                         std::int64_t from) {
  double largest = 0;
  for (std::size_t i = 0; i < part.size(); ++i) {
    const double difference = std::abs(part[i] - whole.at(static_cast<std::size_t>(from) + i));
    largest = std::max(largest, difference);
  }
  return largest;
}

std::string withHole(std::string bytes, std::size_t at, std::size_t size) {
  return bytes.replace(at, size, size, '\0');
}

std::string bytesOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void writeBytes(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

std::vector<float> interleaved(const Signal& signal) {
  std::vector<float> samples;
  for (std::size_t i = 0; i < signal.front().size(); ++i) {
    for (const std::vector<float>& channel : signal) {
      samples.push_back(channel[i]);
    }
  }
  return samples;
}

void writeWav(const std::string& path, const Signal& signal, double sampleRate) {
  brindlevane::writeWav(path, interleaved(signal), static_cast<int>(signal.size()), sampleRate);
}

MadeFiles::MadeFiles(const Signal& sound, double sampleRate) {
  writeWav(source(), sound, sampleRate);
}

std::string MadeFiles::path(const std::string& name) const {
  // So long that the header behind it ends another page.
  const std::string longTitle = "$(head -c 129400 /dev/zero | tr '\\0' x)";
  static const std::map<std::string, std::string> kKinds = {
      {"aac", "aac -aac_pns 0 -b:a 256k"},
      {"first", "aac -aac_pns 0 -movflags faststart"},
      {"bareaac", "aac -aac_pns 0 -use_editlist 0"},
      // A track of pictures comes before the sound.
      {"pictures", "pcm_s16le -filter_complex 'color=s=16x16:d=1[v]' -map '[v]' -map 0:a"},
      // Behind the sound comes a track of noise.
      {"twotracks", "alac -filter_complex 'anoisesrc=d=1[n]' -map 0:a -map '[n]'"},
      {"stereo", "aac -ac 2"},
      {"fast", "aac -ar 16000"},
      {"ac3", "ac3 -ar 32000 -b:a 256k"},
      {"eac3", "eac3 -ar 32000"},
      {"rf64", "pcm_s16le -rf64 always"},
      {"flac24", "flac -sample_fmt s32"},
      {"flac500", "flac -frame_size 500"},
      {"gsm", "libgsm_ms -af apad=whole_len=30400"},  // an odd number of blocks
      {"firstalac", "alac -movflags faststart"},
      {"alac24", "alac -sample_fmt s32p"},
      {"fragments", "alac -movflags frag_keyframe+empty_moov -frag_duration 2000000"},
      {"lame", "libmp3lame -b:a 64k"},
      {"lame256", "libmp3lame -b:a 256k"},
      {"xing", "libmp3lame -b:a 64k -write_xing 0"},
      {"opus", "libopus -b:a 96k"},
      {"opus24", "libopus -b:a 24k"},
      {"opus5", "libopus -b:a 96k -frame_duration 5"},
      {"opus40", "libopus -b:a 96k -frame_duration 40"},
      {"opus60", "libopus -b:a 96k -frame_duration 60"},
      {"opusvoice", "libopus -application voip -ar 48000 -b:a 28k -frame_duration 10"},
      {"opusspeech", "libopus -application voip -b:a 8k"},
      {"opuspages", "libopus -page_duration 200000"},
      {"titledvorbis", "libvorbis -metadata title=" + longTitle},
      {"titledopus", "libopus -b:a 24k -metadata title=" + longTitle},
      {"u8wavpack", "wavpack -sample_fmt u8p"},
      {"vorbis", "libvorbis -q:a 8"},
      {"vorbispages", "libvorbis -page_duration 200000"}};
  const std::string path = folder_.file(name);
  if (!std::filesystem::exists(path)) {
    const std::string codec = name.substr(0, name.find('.'));
    const auto kind = kKinds.find(codec);
    run("ffmpeg -v error -i " + source() + " -strict -2 -c:a " +
        (kind != kKinds.end() ? kind->second : codec) + " " + path);
  }
  return path;
}

void run(const std::string& command) {
  ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

std::vector<float> tones(const std::vector<double>& frequencies, double amplitude,
                         std::size_t count, double sampleRate) {
  std::vector<float> samples(count);
  for (std::size_t i = 0; i < count; ++i) {
    double sum = 0;
    for (const double frequency : frequencies) {
      sum += std::sin(2 * std::numbers::pi * frequency * static_cast<double>(i) / sampleRate);
    }
    samples[i] = static_cast<float>(amplitude * sum);
  }
  return samples;
}

std::vector<float> noise(unsigned seed, double amplitude, std::size_t count) {
  std::mt19937 bits(seed);
  std::vector<float> samples(count);
  for (float& sample : samples) {
    sample = static_cast<float>(amplitude * (static_cast<double>(bits()) / 2147483648.0 - 1));
  }
  return samples;
}

std::vector<float> joined(std::vector<float> first, const std::vector<float>& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

}  // namespace brindlevane::testing
