#include "audio/MonoSignal.h"

namespace brindlevane {

MonoSignal MonoSignal::first(std::size_t count) const {
  return {first_.first(count), second_.empty() ? second_ : second_.first(count)};
}

std::span<const float> MonoSignal::window(std::size_t start, std::size_t count,
                                          std::vector<float>& scratch) const {
  const std::span<const float> first = first_.subspan(start, count);
  if (second_.empty()) {
    return first;
  }
  const std::span<const float> second = second_.subspan(start, count);
  scratch.resize(count);
  for (std::size_t i = 0; i < count; ++i) {
    scratch[i] = first[i] / 2 + second[i] / 2;
  }
  return scratch;
}

}  // namespace brindlevane
