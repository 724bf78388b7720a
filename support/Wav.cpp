#include "support/Wav.h"

#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <string>

namespace brindlevane {

void writeWav(const std::filesystem::path& file, std::span<const float> interleaved,
              int channelCount, double sampleRate) {
  std::string header;
  const auto append = [&header](auto... values) {
    (header.append(reinterpret_cast<const char*>(&values), sizeof(values)), ...);
  };
  const auto rate = static_cast<std::uint32_t>(sampleRate);
  const auto frameBytes = static_cast<std::uint16_t>(4 * channelCount);
  const auto dataBytes = static_cast<std::uint32_t>(interleaved.size_bytes());
  constexpr std::uint16_t kFloatSamples = 3;
  header += "RIFF";
  append(36 + dataBytes);
  header += "WAVEfmt ";
  append(std::uint32_t{16}, kFloatSamples, static_cast<std::uint16_t>(channelCount), rate,
         rate * frameBytes, frameBytes, std::uint16_t{32});
  header += "data";
  append(dataBytes);
  std::ofstream out(file, std::ios::binary);
  out << header;
  out.write(reinterpret_cast<const char*>(interleaved.data()),
            static_cast<std::streamsize>(interleaved.size_bytes()));
  if (!out.flush()) {
    throw std::runtime_error("Cannot write " + file.string() + ".");
  }
}

}  // namespace brindlevane
