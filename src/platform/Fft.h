#pragma once

#include <complex>
#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace brindlevane {

/// The forward discrete Fourier transform of real samples, in single precision and unscaled:
/// X[k] = sum over j of x[j] * exp(-2 pi i k j / length).
///
/// What depends on the length alone is computed once in the life of the process and shared by all
/// objects of that length. An object is used by one thread at a time.
class Fft {
 public:
  /// @param length  samples in one transform: even, at least 2
  explicit Fft(std::size_t length);
  ~Fft();

  /// Transforms one run of samples.
  ///
  /// @param samples  as many as the length
  /// @param bins     receives X[0], X[1], ...; at most length / 2 + 1 of them, the fewer the faster
  void transform(std::span<const float> samples, std::span<std::complex<float>> bins);

 private:
  struct Plan;

  static std::shared_ptr<const Plan> planOfLength(std::size_t length);

  std::shared_ptr<const Plan> plan_;
  std::vector<std::complex<float>> packed_;
};

}  // namespace brindlevane
