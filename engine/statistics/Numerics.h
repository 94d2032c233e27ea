// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <random>
#include <vector>

// Roots, integrals, and random figures that are the same everywhere.
namespace orvspc::engine::statistics {

// The x between low and high where f changes its sign, to `tolerance` of itself; NaN where f has
// the same sign at both ends, or no value.
// Source   Alefeld, Potra & Shi, ACM Trans. Math. Software 21 (1995)
double Root(const std::function<double(double)>& f, double low, double high,
            double tolerance = 1e-12);

// Nodes and weights of the Gauss-Legendre rule of that order on -1..1, ascending. Kept for the next
// call of the same order.
struct GaussRule {
  std::vector<double> nodes, weights;
};
const GaussRule& GaussLegendre(std::size_t order);

// The integral of f from low to high: the order is doubled from 32 until two answers agree to 1e-9
// of themselves, or 1024 is reached.
double Integral(const std::function<double(double)>& f, double low, double high);

// Random figures by the 64-bit Mersenne twister of the C++ standard, whose sequence is the same on
// every machine; the distributions of the standard library are not.
class Draws {
 public:
  static constexpr std::uint64_t kSeed = 20260101;

  explicit Draws(std::uint64_t seed = kSeed) : engine_(seed) {}

  // (draw >> 11) 2^-53, in [0, 1).
  double Uniform() { return static_cast<double>(engine_() >> 11) * 0x1p-53; }
  // floor(u N), in [0, count).
  std::size_t Index(std::size_t count) {
    return static_cast<std::size_t>(Uniform() * static_cast<double>(count));
  }
  // The quantile of the standard normal distribution at a draw above 0.
  double Normal();

 private:
  std::mt19937_64 engine_;
};

}  // namespace orvspc::engine::statistics
