#pragma once

#include <complex>
#include <cstddef>
#include <memory>
#include <span>

namespace brindlevane {

/// The forward discrete Fourier transform of real samples, in single precision and unscaled:
/// X[k] = sum over j of x[j] * exp(-2 pi i k j / length).
///
/// What depends on the length alone is computed once in the life of the process and shared by all
/// objects of that length. An object is used by one thread at a time.
///
/// @see C. Van Loan, "Computational Frameworks for the Fast Fourier Transform", SIAM 1992, for
///     Stockham's radix-4 algorithm; H. V. Sorensen et al., "Real-Valued Fast Fourier Transform
///     Algorithms", IEEE Trans. ASSP 35 (6), 1987, for real samples taken as complex pairs.
class Fft {
 public:
  /// @param length  samples in one transform: a power of two, at least 32
  explicit Fft(std::size_t length);
  ~Fft();

  /// Transforms one run of samples.
  ///
  /// @param samples  as many as the length
  /// @param bins     receives X[0], X[1], ...; at most length / 2 of them
  void transform(std::span<const float> samples, std::span<std::complex<float>> bins);

 private:
  struct Plan;
  class Work;

  static std::shared_ptr<const Plan> planOfLength(std::size_t length);

  std::unique_ptr<Work> work_;
};

}  // namespace brindlevane
