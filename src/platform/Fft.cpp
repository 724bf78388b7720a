#include "platform/Fft.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <map>
#include <mutex>
#include <numbers>
#include <utility>
#include <vector>

namespace brindlevane {
namespace {

// Four numbers that the processor computes with at once: a vector type of GCC and Clang, which
// both map to the registers of whatever processor it is.
using Lanes [[gnu::vector_size(16)]] = float;
constexpr std::size_t kLanes = 4;

Lanes lanesAt(const float* numbers) {
  Lanes lanes;
  std::memcpy(&lanes, numbers, sizeof lanes);
  return lanes;
}

Lanes reversed(Lanes lanes) {
  return __builtin_shufflevector(lanes, lanes, 3, 2, 1, 0);
}

// a0 b0 a1 b1, and the same of the upper halves.
Lanes lowInterleaved(Lanes a, Lanes b) {
  return __builtin_shufflevector(a, b, 0, 4, 1, 5);
}
Lanes highInterleaved(Lanes a, Lanes b) {
  return __builtin_shufflevector(a, b, 2, 6, 3, 7);
}

// Row i of the result has lane i of each row.
std::array<Lanes, 4> transposed(const std::array<Lanes, 4>& rows) {
  const Lanes low02 = lowInterleaved(rows[0], rows[2]);
  const Lanes low13 = lowInterleaved(rows[1], rows[3]);
  const Lanes high02 = highInterleaved(rows[0], rows[2]);
  const Lanes high13 = highInterleaved(rows[1], rows[3]);
  return {lowInterleaved(low02, low13), highInterleaved(low02, low13),
          lowInterleaved(high02, high13), highInterleaved(high02, high13)};
}

// Four complex numbers.
struct Points {
  Lanes real;
  Lanes imaginary;
};

Points operator+(const Points& a, const Points& b) {
  return {a.real + b.real, a.imaginary + b.imaginary};
}

Points operator-(const Points& a, const Points& b) {
  return {a.real - b.real, a.imaginary - b.imaginary};
}

Points operator*(const Points& a, const Points& b) {
  return {a.real * b.real - a.imaginary * b.imaginary, a.real * b.imaginary + a.imaginary * b.real};
}

Points operator*(const Points& a, std::complex<float> b) {
  return {a.real * b.real() - a.imaginary * b.imag(), a.real * b.imag() + a.imaginary * b.real()};
}

Points timesI(const Points& points) {
  return {-points.imaginary, points.real};
}

// The transforms of length 4 of a, b, c, d, one in each lane.
std::array<Points, 4> transformOfFour(const Points& a, const Points& b, const Points& c,
                                      const Points& d) {
  const Points evenSum = a + c;
  const Points evenDifference = a - c;
  const Points oddSum = b + d;
  const Points oddDifference = timesI(b - d);
  return {evenSum + oddSum, evenDifference - oddDifference, evenSum - oddSum,
          evenDifference + oddDifference};
}

// exp(-2 pi i k / length)
std::complex<float> turn(std::size_t k, std::size_t length) {
  const double angle = -2 * std::numbers::pi * static_cast<double>(k) / static_cast<double>(length);
  return {static_cast<float>(std::cos(angle)), static_cast<float>(std::sin(angle))};
}

// The turns for 0, step, 2 step and 3 step beyond k.
Points turns(std::size_t k, std::size_t step, std::size_t length) {
  Points result = {};
  for (std::size_t lane = 0; lane < kLanes; ++lane) {
    const std::complex<float> one = turn(k + lane * step, length);
    result.real[lane] = one.real();
    result.imaginary[lane] = one.imag();
  }
  return result;
}

}  // namespace

// Pairs of samples are taken as complex numbers, and every fourth of these goes into one lane, so
// that four transforms of an eighth of the length run side by side. They are then joined to the
// transform of the pairs, and that is unpacked to the one of the samples.
struct Fft::Plan {
  explicit Plan(std::size_t length) : pairs(length / 2), laneLength(pairs / kLanes) {
    for (std::size_t k = 0; k < laneLength; ++k) {
      laneTurns.push_back(turn(k, laneLength));
      joinTurns.push_back(turns(0, k, pairs));
      unpackTurns.push_back(turns(k * kLanes, 1, length));
    }
  }

  std::size_t pairs;
  std::size_t laneLength;
  std::vector<std::complex<float>> laneTurns;
  std::vector<Points> joinTurns;
  std::vector<Points> unpackTurns;
};

class Fft::Work {
 public:
  explicit Work(std::shared_ptr<const Plan> plan)
      : plan_(std::move(plan)),
        points_(plan_->laneLength),
        nextPoints_(plan_->laneLength),
        real_(plan_->pairs + 1),
        imaginary_(plan_->pairs + 1) {}

  void transform(std::span<const float> samples, std::span<std::complex<float>> bins) {
    load(samples);
    transformLanes();
    joinLanes();
    unpack(bins);
  }

 private:
  void load(std::span<const float> samples) {
    for (std::size_t i = 0; i < points_.size(); ++i) {
      const Lanes low = lanesAt(&samples[2 * kLanes * i]);
      const Lanes high = lanesAt(&samples[2 * kLanes * i + kLanes]);
      points_[i] = {__builtin_shufflevector(low, high, 0, 2, 4, 6),
                    __builtin_shufflevector(low, high, 1, 3, 5, 7)};
    }
  }

  // One pass of Stockham's algorithm over `stride` interleaved transforms of `length` points: the
  // first butterfly of each, which leaves four times as many of a quarter of the length.
  void passOfFour(std::size_t length, std::size_t stride) {
    const std::size_t quarter = plan_->laneLength / 4;
    for (std::size_t p = 0; p < length / 4; ++p) {
      const std::complex<float> first = plan_->laneTurns[p * stride];
      const std::complex<float> second = plan_->laneTurns[2 * p * stride];
      const std::complex<float> third = plan_->laneTurns[3 * p * stride];
      const Points* const in = &points_[p * stride];
      Points* const out = &nextPoints_[4 * p * stride];
      for (std::size_t q = 0; q < stride; ++q) {
        const auto [a, b, c, d] =
            transformOfFour(in[q], in[q + quarter], in[q + 2 * quarter], in[q + 3 * quarter]);
        out[q] = a;
        out[q + stride] = b * first;
        out[q + 2 * stride] = c * second;
        out[q + 3 * stride] = d * third;
      }
    }
  }

  void transformLanes() {
    std::size_t length = plan_->laneLength;
    std::size_t stride = 1;
    for (; length >= 4; length /= 4, stride *= 4) {
      passOfFour(length, stride);
      points_.swap(nextPoints_);
    }
    if (length == 2) {
      for (std::size_t q = 0; q < stride; ++q) {
        nextPoints_[q] = points_[q] + points_[q + stride];
        nextPoints_[q + stride] = points_[q] - points_[q + stride];
      }
      points_.swap(nextPoints_);
    }
  }

  void joinLanes() {
    for (std::size_t k = 0; k < plan_->laneLength; k += kLanes) {
      std::array<Lanes, 4> real = {};
      std::array<Lanes, 4> imaginary = {};
      for (std::size_t i = 0; i < kLanes; ++i) {
        const Points turned = points_[k + i] * plan_->joinTurns[k + i];
        real[i] = turned.real;
        imaginary[i] = turned.imaginary;
      }
      real = transposed(real);
      imaginary = transposed(imaginary);
      const std::array<Points, 4> joined =
          transformOfFour({real[0], imaginary[0]}, {real[1], imaginary[1]}, {real[2], imaginary[2]},
                          {real[3], imaginary[3]});
      for (std::size_t i = 0; i < joined.size(); ++i) {
        std::memcpy(&real_[k + i * plan_->laneLength], &joined[i].real, sizeof(Lanes));
        std::memcpy(&imaginary_[k + i * plan_->laneLength], &joined[i].imaginary, sizeof(Lanes));
      }
    }
    real_.back() = real_.front();
    imaginary_.back() = imaginary_.front();
  }

  // With E and O the transforms of the even and the odd samples, the one of the pairs is
  // E[k] + i O[k], and X[k] = E[k] + turn[k] O[k].
  void unpack(std::span<std::complex<float>> bins) const {
    for (std::size_t k = 0; k < bins.size(); k += kLanes) {
      const std::size_t mirrored = plan_->pairs - k - (kLanes - 1);
      const Points ahead = {lanesAt(&real_[k]), lanesAt(&imaginary_[k])};
      const Points behind = {reversed(lanesAt(&real_[mirrored])),
                             -reversed(lanesAt(&imaginary_[mirrored]))};
      const Points twice = ahead + behind + timesI(behind - ahead) * plan_->unpackTurns[k / kLanes];
      const std::array<Lanes, 2> unpacked = {0.5F * lowInterleaved(twice.real, twice.imaginary),
                                             0.5F * highInterleaved(twice.real, twice.imaginary)};
      const std::span<std::complex<float>> wanted =
          bins.subspan(k, std::min(kLanes, bins.size() - k));
      std::memcpy(reinterpret_cast<float*>(wanted.data()), unpacked.data(), wanted.size_bytes());
    }
  }

  std::shared_ptr<const Plan> plan_;
  std::vector<Points> points_;
  std::vector<Points> nextPoints_;
  std::vector<float> real_;
  std::vector<float> imaginary_;
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

Fft::Fft(std::size_t length) : work_(std::make_unique<Work>(planOfLength(length))) {}

Fft::~Fft() = default;

void Fft::transform(std::span<const float> samples, std::span<std::complex<float>> bins) {
  work_->transform(samples, bins);
}

}  // namespace brindlevane
