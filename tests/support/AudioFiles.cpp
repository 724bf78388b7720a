#include "tests/support/AudioFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <numbers>
#include <random>
#include <span>
#include <system_error>

namespace brindlevane::testing {

TemporaryDirectory::TemporaryDirectory() {
  std::string name = (std::filesystem::temp_directory_path() / "brindlevane-XXXXXX").string();
  path_ = ::mkdtemp(name.data());
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

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

void writeWav(const std::string& path, const Signal& signal, double sampleRate) {
  std::string bytes;
  const auto append = [&bytes](auto... values) {
    (bytes.append(reinterpret_cast<const char*>(&values), sizeof(values)), ...);
  };
  const auto channelCount = static_cast<std::uint16_t>(signal.size());
  const auto rate = static_cast<std::uint32_t>(sampleRate);
  const auto frameBytes = static_cast<std::uint16_t>(4 * signal.size());
  const auto dataBytes = static_cast<std::uint32_t>(frameBytes * signal.front().size());
  constexpr std::uint16_t kFloatSamples = 3;
  bytes += "RIFF";
  append(static_cast<std::uint32_t>(36 + dataBytes));
  bytes += "WAVEfmt ";
  append(std::uint32_t{16}, kFloatSamples, channelCount, rate,
         static_cast<std::uint32_t>(rate * frameBytes), frameBytes, std::uint16_t{32});
  bytes += "data";
  append(dataBytes);
  for (std::size_t i = 0; i < signal.front().size(); ++i) {
    for (const std::vector<float>& channel : signal) {
      append(channel[i]);
    }
  }
  writeBytes(path, bytes);
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

double frequencyOf(double midiNote) {
  return 440 * std::exp2((midiNote - 69) / 12);
}

}  // namespace brindlevane::testing
