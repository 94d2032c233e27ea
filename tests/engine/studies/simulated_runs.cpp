// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/studies/simulated_runs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <deque>
#include <numbers>
#include <random>
#include <string>
#include <vector>

namespace orvspc::studies {
namespace {

// Normal draws by the polar method.
class Normals {
 public:
  explicit Normals(std::uint64_t seed) : engine_(seed) {}
  double operator()() {
    if (has_spare_) {
      has_spare_ = false;
      return spare_;
    }
    double a = 0.0, b = 0.0, square = 2.0;
    while (square >= 1.0 || square == 0.0) {
      a = 2.0 * Uniform() - 1.0;
      b = 2.0 * Uniform() - 1.0;
      square = a * a + b * b;
    }
    const double factor = std::sqrt(-2.0 * std::log(square) / square);
    spare_ = b * factor;
    has_spare_ = true;
    return a * factor;
  }
  double Uniform() { return static_cast<double>(engine_() >> 11) * 0x1p-53; }
  // Of small means, by the product of uniform draws.
  int Poisson(double mean) {
    const double least = std::exp(-mean);
    int count = 0;
    for (double product = Uniform(); product > least; product *= Uniform()) ++count;
    return count;
  }

 private:
  std::mt19937_64 engine_;
  double spare_ = 0.0;
  bool has_spare_ = false;
};

// run() is the length of one run.
template <class Run>
SimulatedRuns Simulated(std::size_t runs, Run run) {
  double sum = 0.0, squares = 0.0;
  for (std::size_t i = 0; i < runs; ++i) {
    const auto length = static_cast<double>(run());
    sum += length;
    squares += length * length;
  }
  const auto count = static_cast<double>(runs);
  const double mean = sum / count;
  return {mean, std::sqrt((squares / count - mean * mean) / count)};
}

bool IsFulfilled(const ChartRule& rule, const std::deque<double>& points, double width, Sided sided,
                 bool full) {
  const bool up = sided != Sided::Lower, down = sided != Sided::Upper;
  if (rule.kind == "limit") {
    return (up && points.back() > width) || (down && points.back() < -width);
  }
  const auto m = static_cast<std::size_t>(rule.m);
  if (full && points.size() < m) return false;
  const auto enough = [&](auto is_in) {
    if (!is_in(points.back())) return false;
    const auto first = points.size() > m ? points.size() - m : 0;
    return std::count_if(points.begin() + static_cast<std::ptrdiff_t>(first), points.end(),
                         is_in) >= rule.k;
  };
  if (rule.kind == "within") return enough([&](double z) { return std::abs(z) <= rule.zone; });
  if (rule.side == "either") return enough([&](double z) { return std::abs(z) > rule.zone; });
  return (up && enough([&](double z) { return z > rule.zone; })) ||
         (down && enough([&](double z) { return z < -rule.zone; }));
}

}  // namespace

SimulatedRuns SimulatedCusum(const CusumRunOptions& options, double shift, std::size_t runs,
                             std::uint64_t seed) {
  Normals draw(seed);
  return Simulated(runs, [&] {
    double up = options.head_start, down = options.head_start;
    for (int points = 1;; ++points) {
      const double y = draw() + shift;
      up = std::max(0.0, up + y - options.k);
      down = std::max(0.0, down - y - options.k);
      const bool above = options.sided != Sided::Lower && up > options.h;
      if (above || (options.sided != Sided::Upper && down > options.h)) return points;
    }
  });
}

SimulatedRuns SimulatedEwma(const EwmaRunOptions& options, double shift, std::size_t runs,
                            std::uint64_t seed) {
  Normals draw(seed);
  const double a = options.fir ? (-2.0 / std::log10(1.0 - *options.fir) - 1.0) / 19.0 : 0.0;
  return Simulated(runs, [&] {
    double z = 0.0, variance = 0.0;
    for (int points = 1;; ++points) {
      z = options.weight * (draw() + shift) + (1.0 - options.weight) * z;
      variance = options.weight * options.weight +
                 (1.0 - options.weight) * (1.0 - options.weight) * variance;
      double limit = options.width *
                     std::sqrt(options.exact ? variance : options.weight / (2.0 - options.weight));
      if (options.fir) limit *= 1.0 - std::pow(1.0 - *options.fir, 1.0 + a * (points - 1));
      const bool above = options.sided != Sided::Lower && z > limit;
      if (above || (options.sided != Sided::Upper && z < -limit)) return points;
    }
  });
}

SimulatedRuns SimulatedShewhart(const ShewhartRunOptions& options, double shift, std::size_t runs,
                                std::uint64_t seed) {
  Normals draw(seed);
  std::size_t longest = 1;
  for (const auto& rule : options.rules) {
    longest = std::max(longest, static_cast<std::size_t>(rule.m));
  }
  const bool counts = options.points == PointsOf::Defects;
  return Simulated(runs, [&] {
    std::deque<double> points;
    for (int count = 1;; ++count) {
      const double deviation = std::sqrt(options.mean * options.size);
      points.push_back(counts ? (draw.Poisson(shift * options.size) - options.mean * options.size) /
                                    deviation
                              : draw() + shift * std::sqrt(options.size));
      if (points.size() > longest) points.pop_front();
      for (const auto& rule : options.rules) {
        if (IsFulfilled(rule, points, options.width, options.sided, options.full_windows)) {
          return count;
        }
      }
    }
  });
}

SimulatedRuns SimulatedCountCusum(const CountCusumRunOptions& options, double mean,
                                  std::size_t runs, std::uint64_t seed) {
  Normals draw(seed);
  return Simulated(runs, [&] {
    double sum = options.head_start;
    for (int points = 1;; ++points) {
      const double more = draw.Poisson(mean * options.size) - options.k;
      sum = std::max(0.0, sum + (options.is_upper ? more : -more));
      if (sum >= options.h) return points;
    }
  });
}

void ExpectAgreement(std::size_t runs, std::uint64_t seed) {
  constexpr double kErrors = 3.0;
  Normals draw(seed + 77);
  const auto between = [&](double low, double high) { return low + (high - low) * draw.Uniform(); };
  const auto side = [&] { return static_cast<Sided>(static_cast<int>(3.0 * draw.Uniform())); };
  const auto expect = [&](const std::string& what, const RunLengthStudy& study,
                          const SimulatedRuns& simulated) {
    EXPECT_NEAR(study.arl[0], simulated.mean, kErrors * simulated.error) << what;
    // The standard deviation of runs is that of the mean, times their root.
    EXPECT_NEAR(study.sdrl[0] / (simulated.error * std::sqrt(static_cast<double>(runs))), 1.0,
                15.0 / std::sqrt(static_cast<double>(runs)))
        << what;
  };
  for (std::uint64_t i = 0; i < 5; ++i) {
    const auto what = " setting " + std::to_string(i);
    const std::vector<double> shift{between(-1.5, 1.5)};
    CusumRunOptions cusum{between(0.2, 1.0), between(1.0, 4.0), 0.0, side()};
    cusum.head_start = i % 2 == 0 ? 0.0 : between(0.1, 0.5) * cusum.h;
    // A side that the shift leads away from hardly ever signals.
    if (cusum.sided != Sided::Two) cusum.sided = shift[0] > 0.0 ? Sided::Upper : Sided::Lower;
    expect("cusum" + what, StudyCusumRuns(shift, cusum),
           SimulatedCusum(cusum, shift[0], runs, seed + i));

    EwmaRunOptions ewma{between(0.05, 0.6), between(1.5, 2.6), i % 2 == 0, {}, cusum.sided};
    if (i == 2) ewma.fir = 0.5;
    expect("EWMA" + what, StudyEwmaRuns(shift, ewma),
           SimulatedEwma(ewma, shift[0], runs, seed + i));

    ShewhartRunOptions shewhart;
    shewhart.full_windows = true;
    shewhart.width = between(2.0, 3.2);
    shewhart.sided = cusum.sided;
    const auto add = [&](const char* kind, std::int32_t k, std::int32_t m, double zone,
                         const char* on) {
      const auto number = static_cast<std::int32_t>(shewhart.rules.size() + 1);
      shewhart.rules.push_back({number, kind, k, m, zone, on, ""});
    };
    add("zone", 2, 3, between(1.2, 2.0), "same");
    add("zone", 3 + static_cast<std::int32_t>(i % 2), 5, between(0.8, 1.2), "same");
    add("zone", 6, 6, 0.0, "same");
    if (shewhart.sided == Sided::Two) {
      add("within", 8, 8, 0.8, "either");
      add("zone", 4, 6, 1.1, "either");
    }
    expect("rules" + what, StudyShewhartRuns(shift, shewhart),
           SimulatedShewhart(shewhart, shift[0], runs, seed + i));

    CountCusumRunOptions counts;
    counts.k = 0.25 * std::floor(between(6.0, 16.0));
    counts.h = 0.25 * std::floor(between(8.0, 30.0));
    const std::vector<double> mean{counts.k * between(0.8, 1.3)};
    expect("cusum of counts" + what, StudyCountCusumRuns(mean, counts),
           SimulatedCountCusum(counts, mean[0], runs, seed + i));
  }
}

}  // namespace orvspc::studies
