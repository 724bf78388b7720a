#include "platform/sound/Fft.h"
#include "tests/support/AudioFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace brindlevane {
namespace {

TEST(Fft, GivesTheUnscaledSumOfTheDefinition) {
  for (const std::size_t length : {32U, 64U, 128U, 256U, 4096U, 8192U}) {
    SCOPED_TRACE(length);
    const std::vector<float> samples = testing::noise(7, 1, length);
    Fft fft(length);
    std::copy(samples.begin(), samples.end(), fft.samples().begin());
    const auto bins = fft.transform();
    ASSERT_EQ(bins.size(), length / 2 + 1);
    for (std::size_t k = 0; k<bins.size(); k += length> 256 ? 61 : 1) {
      std::complex<double> sum;
      for (std::size_t j = 0; j < length; ++j) {
        sum += static_cast<double>(samples[j]) *
               std::polar(1.0, -2 * std::numbers::pi * static_cast<double>(k * j % length) /
                                   static_cast<double>(length));
      }
      ASSERT_NEAR(bins[k].real(), sum.real(), 1e-5 * std::sqrt(length)) << k;
      ASSERT_NEAR(bins[k].imag(), sum.imag(), 1e-5 * std::sqrt(length)) << k;
    }
  }
}

}  // namespace
}  // namespace brindlevane
