// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/bootstrap.h"

#include <algorithm>
#include <cmath>

#include "engine/statistics/Moments.h"
#include "engine/statistics/Numerics.h"
#include "platform/NaN.h"

namespace orvspc::studies {

using namespace engine;

namespace {

// Draws whole subgroups of each stream with replacement.
class Resampler {
 public:
  Resampler(const SampleView& sample, std::uint64_t seed) : of_(sample), draws_(seed) {
    std::size_t at = 0;
    for (const auto size : of_.sizes) {
      first_.push_back(at);
      at += static_cast<std::size_t>(size);
    }
  }

  SampleView Next() {
    values_.clear();
    sizes_.clear();
    std::size_t begin = 0;
    for (const auto count : of_.streams) {
      for (std::size_t i = 0; i < count; ++i) {
        const auto group = begin + draws_.Index(count);
        const auto pieces =
            of_.values.subspan(first_[group], static_cast<std::size_t>(of_.sizes[group]));
        values_.insert(values_.end(), pieces.begin(), pieces.end());
        sizes_.push_back(of_.sizes[group]);
      }
      begin += count;
    }
    return {values_, sizes_, of_.streams};
  }

 private:
  SampleView of_;
  statistics::Draws draws_;
  std::vector<std::size_t> first_;
  std::vector<double> values_;
  std::vector<std::int32_t> sizes_;
};

}  // namespace

Percentiles Bootstrap(const SampleView& sample, const SampleFigures& figures_of,
                      std::size_t figures, double tail, std::int64_t draws, std::uint64_t seed) {
  Percentiles found{std::vector<double>(figures, platform::kNaN),
                    std::vector<double>(figures, platform::kNaN)};
  Resampler resampler(sample, seed);
  std::vector<std::vector<double>> drawn(figures);
  for (std::int64_t i = 0; i < draws; ++i) {
    const auto values = figures_of(resampler.Next());
    bool failed = false;
    for (std::size_t f = 0; f < figures; ++f) {
      if (std::isfinite(values[f])) {
        drawn[f].push_back(values[f]);
      } else {
        failed = true;
      }
    }
    if (failed) ++found.failed;
  }
  for (std::size_t f = 0; f < figures; ++f) {
    const auto missing = draws - static_cast<std::int64_t>(drawn[f].size());
    if (20 * missing > draws) continue;
    std::ranges::sort(drawn[f]);
    found.lower[f] = statistics::Quantile(drawn[f], tail);
    found.upper[f] = statistics::Quantile(drawn[f], 1.0 - tail);
  }
  return found;
}

}  // namespace orvspc::studies
