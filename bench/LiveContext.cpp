#include "bench/LiveContext.h"

#include <random>

namespace brindlevane {
namespace {

std::string repeated(int count, const std::string& element) {
  std::string list = element;
  for (int i = 1; i < count; ++i) {
    list += "," + element;
  }
  return list;
}

/// A track whose members come in the order in which a script collects them, not in that of their
/// names, with "#" where the digits of a number go.
std::string trackPattern() {
  const std::string parameter = R"({"name":"Gain A","index":1,"value":0.#,"min":0.0,"max":1.0,)"
                                R"("isQuantized":false,"display":"-6.0 dB"})";
  const std::string device =
      R"({"name":"EQ \"Eight\"","className":"Eq8","index":1,"parameters":[)" +
      repeated(24, parameter) + "]}";
  const std::string note = R"({"pitch":60,"startTime":12.75,"duration":0.25,"velocity":100,)"
                           R"("mute":false,"probability":1.0})";
  const std::string clip = R"({"name":"Clip 1","kind":"midi","start":16.0,"length":16.0,)"
                           R"("loop":true,"notes":[)" +
                           repeated(64, note) + "]}";
  return R"({"index":1,"name":"Basse é","color":16711680,"mixer":{"volume":0.#,"panning":0.#,)"
         R"("sends":[0.#,0.#],"mute":false,"solo":false},"devices":[)" +
         repeated(3, device) + R"(],"clips":[)" + repeated(4, clip) + "]}";
}

}  // namespace

std::string liveContext(std::size_t size) {
  std::mt19937_64 random;  // NOLINT(cert-msc51-cpp): every run shall see the same set
  const std::string pattern = trackPattern();
  std::string context = R"({"revision":4711,"project":"Benchmark","tempo":124.0,"tracks":[)";
  for (const char* comma = ""; context.size() < size; comma = ",") {
    context += comma;
    for (const char c : pattern) {
      // Single-precision values that were printed as doubles have 16 digits or so.
      context += c == '#'
                     ? std::to_string(1'000'000'000'000'000U + random() % 9'000'000'000'000'000U)
                     : std::string(1, c);
    }
  }
  return context + "]}";
}

}  // namespace brindlevane
