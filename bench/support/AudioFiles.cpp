#include "support/AudioFiles.h"

#include "support/ChildProcess.h"

#include <sndfile.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <vector>

namespace brindlevane {

void writeMusic(const std::filesystem::path& wavFile, int seconds) {
  const std::filesystem::path bar = wavFile.parent_path() / "bar.wav";
  ChildProcess({"sox",   "-R",  "-n",        "-r",    "44100", "-c",       "2",     "-b",
                "16",    bar,   "synth",     "2",     "pluck", "A2",       "synth", "2",
                "pluck", "mix", "E3",        "synth", "2",     "sawtooth", "mix",   "440",
                "synth", "2",   "pinknoise", "mix",   "norm",  "-3"})
      .finish();
  ChildProcess({"sox", bar, wavFile, "repeat", std::to_string(seconds / 2), "trim", "0",
                std::to_string(seconds)})
      .finish();
}

void convertAudio(const std::filesystem::path& from, const std::filesystem::path& to) {
  ChildProcess({"ffmpeg", "-nostdin", "-i", from, to}).finish();
}

void renew(const std::filesystem::path& file) {
  using namespace std::chrono_literals;
  std::filesystem::last_write_time(file, std::filesystem::last_write_time(file) - 1s);
}

void decodeOnly(const std::filesystem::path& file, int seconds) {
  constexpr sf_count_t kBlock = 4096;
  SF_INFO info{};
  const std::unique_ptr<SNDFILE, int (*)(SNDFILE*)> opened(sf_open(file.c_str(), SFM_READ, &info),
                                                           sf_close);
  if (opened == nullptr) {
    throw std::runtime_error(file.string() + " cannot be read");
  }
  std::vector<float> block(static_cast<std::size_t>(kBlock * info.channels));
  sf_count_t missing = sf_count_t{seconds} * info.samplerate;
  while (missing > 0) {
    const sf_count_t frames = sf_readf_float(opened.get(), block.data(), std::min(kBlock, missing));
    if (frames == 0) {
      throw std::runtime_error(file.string() + " is too short");
    }
    missing -= frames;
  }
}

}  // namespace brindlevane
