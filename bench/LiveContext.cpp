#include "bench/LiveContext.h"

#include <array>
#include <random>
#include <utility>

namespace brindlevane {
namespace {

/// Writes one track after the other; members come in the order in which a script collects them,
/// not in that of their names.
class Writer {
 public:
  std::string write(std::size_t size) {
    out_ = R"({"revision":4711,"project":"Benchmark","tempo":124.0,"playing":false,"tracks":[)";
    for (std::size_t index = 0; out_.size() < size; ++index) {
      track(index);
    }
    return std::move(out_) + "]}";
  }

 private:
  void track(std::size_t index) {
    out_ += index == 0 ? "" : ",";
    out_ += R"({"index":)" + std::to_string(index) + R"(,"name":"Basse é )" +
            std::to_string(index) + R"(","color":16711680,"mixer":{"volume":)" + live() +
            R"(,"panning":)" + live() + R"(,"sends":[)" + live() + "," + live() +
            R"(],"mute":false,"solo":false},"devices":[)";
    repeat(3, [this](int device) {
      out_ += R"({"name":"EQ \"Eight\"","className":"Eq8","index":)" + std::to_string(device) +
              R"(,"parameters":[)";
      repeat(24, [this](int parameter) { this->parameter(parameter); });
      out_ += "]}";
    });
    out_ += R"(],"clips":[)";
    repeat(4, [this](int clip) {
      out_ += R"({"name":"Clip )" + std::to_string(clip) + R"(","kind":"midi","start":)" +
              std::to_string(clip * 16) + R"(.0,"length":16.0,"loop":true,"notes":[)";
      repeat(64, [this](int note) { this->note(note); });
      out_ += "]}";
    });
    out_ += "]}";
  }

  void parameter(int index) {
    out_ += R"({"name":"Gain A","index":)" + std::to_string(index) + R"(,"value":)" + live() +
            R"(,"min":0.0,"max":1.0,"isQuantized":false,"display":"-6.0 dB"})";
  }

  void note(int index) {
    out_ += R"({"pitch":)" + std::to_string(36 + index % 48) + R"(,"startTime":)" +
            std::to_string(index / 4) + kQuarters[static_cast<std::size_t>(index % 4)] +
            R"(,"duration":0.25,"velocity":)" + std::to_string(64 + index % 60) +
            R"(,"mute":false,"probability":1.0})";
  }

  template <typename Element>
  void repeat(int count, Element element) {
    for (int index = 0; index < count; ++index) {
      out_ += index == 0 ? "" : ",";
      element(index);
    }
  }

  /// A single-precision value that was printed as a double, as Live's parameters are.
  std::string live() {
    return "0." +
           std::to_string(1'000'000'000'000'000'000U + random_() % 9'000'000'000'000'000'000U)
               .substr(0, 16);
  }

  static constexpr std::array<const char*, 4> kQuarters{".0", ".25", ".5", ".75"};
  std::mt19937_64 random_;  // NOLINT(cert-msc51-cpp): every run shall see the same set
  std::string out_;
};

}  // namespace

std::string liveContext(std::size_t size) {
  return Writer().write(size);
}

}  // namespace brindlevane
