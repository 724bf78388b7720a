#include "platform/Fft.h"

#include <kiss_fft.h>

#include <cmath>
#include <map>
#include <mutex>
#include <new>
#include <numbers>

namespace brindlevane {
namespace {

struct FreeKissFft {
  void operator()(kiss_fft_cfg configuration) const noexcept { kiss_fft_free(configuration); }
};

}  // namespace

// A real transform of length n is a complex one of length n / 2 over pairs of samples, followed by
// one turn of each bin.
struct Fft::Plan {
  explicit Plan(std::size_t length)
      : halfLength(length / 2),
        configuration(kiss_fft_alloc(static_cast<int>(halfLength), 0, nullptr, nullptr)) {
    if (!configuration) {
      throw std::bad_alloc();
    }
    for (std::size_t k = 0; k <= halfLength; ++k) {
      const double angle =
          -2 * std::numbers::pi * static_cast<double>(k) / static_cast<double>(length);
      turns.emplace_back(static_cast<float>(std::cos(angle)), static_cast<float>(std::sin(angle)));
    }
  }

  std::size_t halfLength;
  std::unique_ptr<kiss_fft_state, FreeKissFft> configuration;
  std::vector<std::complex<float>> turns;
};

std::shared_ptr<const Fft::Plan> Fft::planOfLength(std::size_t length) {
  static std::mutex lock;
  static std::map<std::size_t, std::shared_ptr<const Plan>> plans;
  const std::lock_guard guard(lock);
  std::shared_ptr<const Plan>& plan = plans[length];
  if (!plan) {
    plan = std::make_shared<const Plan>(length);
  }
  return plan;
}

Fft::Fft(std::size_t length) : plan_(planOfLength(length)), packed_(length / 2 + 1) {}

Fft::~Fft() = default;

void Fft::transform(std::span<const float> samples, std::span<std::complex<float>> bins) {
  kiss_fft(plan_->configuration.get(), reinterpret_cast<const kiss_fft_cpx*>(samples.data()),
           reinterpret_cast<kiss_fft_cpx*>(packed_.data()));
  packed_.back() = packed_.front();
  // With E and O the transforms of the even and the odd samples, packed[k] = E[k] + i O[k] and
  // X[k] = E[k] + turn[k] O[k]. Real arithmetic throughout: the product of std::complex checks for
  // NaN and would not vectorise.
  for (std::size_t k = 0; k < bins.size(); ++k) {
    const std::complex<float> a = packed_[k];
    const std::complex<float> b = packed_[plan_->halfLength - k];
    const std::complex<float> turn = plan_->turns[k];
    const float evenReal = 0.5F * (a.real() + b.real());
    const float evenImaginary = 0.5F * (a.imag() - b.imag());
    const float oddReal = 0.5F * (a.imag() + b.imag());
    const float oddImaginary = 0.5F * (b.real() - a.real());
    bins[k] = {evenReal + turn.real() * oddReal - turn.imag() * oddImaginary,
               evenImaginary + turn.real() * oddImaginary + turn.imag() * oddReal};
  }
}

}  // namespace brindlevane
