#pragma once

#include <complex>
#include <cstddef>
#include <memory>
#include <span>

struct AVTXContext;

namespace brindlevane {

/// The forward discrete Fourier transform of real samples, in single precision and unscaled:
/// X[k] = sum over j of x[j] * exp(-2 pi i k j / length).
///
/// An object is used by one thread at a time.
class Fft {
 public:
  /// @param length  samples in one transform: a power of two
  /// @throws std::bad_alloc  no memory
  explicit Fft(std::size_t length);

  /// The samples to be transformed, for the caller to fill in; at first 0.
  [[nodiscard]] std::span<float> samples() { return {samples_.get(), length_}; }

  /// Transforms the samples, which may be changed by that.
  ///
  /// @return X[0] to X[length / 2], until the next transform
  [[nodiscard]] std::span<const std::complex<float>> transform();

 private:
  struct Release {
    void operator()(AVTXContext* context) const;
    void operator()(void* memory) const;
  };

  std::size_t length_;
  std::unique_ptr<float[], Release> samples_;
  std::unique_ptr<std::complex<float>[], Release> bins_;
  std::unique_ptr<AVTXContext, Release> context_;
  void (*transform_)(AVTXContext* context, void* out, void* in, std::ptrdiff_t stride) = nullptr;
};

}  // namespace brindlevane
