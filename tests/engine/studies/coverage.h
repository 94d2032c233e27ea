// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "engine/statistics/Distributions.h"
#include "engine/statistics/Numerics.h"
#include "engine/studies/Capability.h"
#include "engine/studies/CountCapability.h"
#include "engine/studies/Tolerance.h"

// How often intervals hold what they are to hold, in simulated samples of known processes.
namespace orvspc::studies {

struct Coverage {
  int samples = 0;
  double least = 0.0, most = 1.0;  // that the test takes
};

inline void ExpectCovered(const std::string& name, int hits, const Coverage& wanted) {
  const double share = static_cast<double>(hits) / wanted.samples;
  std::printf("covers %-40s %.4f\n", name.c_str(), share);
  EXPECT_GE(share, wanted.least) << name;
  EXPECT_LE(share, wanted.most) << name;
}

inline bool Holds(const Interval& interval, double value) {
  return interval.lower <= value && value <= interval.upper;
}

// Subgroups of a normal process about 0.3 with sigma 1; between: that of their means beside it.
inline CapabilitySample DrawnSample(engine::statistics::Draws& draws, std::int32_t groups,
                                    std::int32_t size, const std::string& estimator,
                                    double between = 0.0) {
  std::vector<double> values;
  for (std::int32_t g = 0; g < groups; ++g) {
    const double centre = 0.3 + (between > 0.0 ? between * draws.Normal() : 0.0);
    for (std::int32_t i = 0; i < size; ++i) values.push_back(centre + draws.Normal());
  }
  return CapabilitySampleOf(
      values, std::vector<std::int32_t>(static_cast<std::size_t>(groups), size), estimator);
}

// Limits of -4 and 4 and the target 0.
inline IndexOptions WideLimits() {
  IndexOptions options;
  options.limits = {-4.0, 4.0};
  options.target = 0.0;
  return options;
}

// The twelve indices of a normal process by one estimator.
inline void CheckIndices(const std::string& estimator, std::int32_t groups, std::int32_t size,
                         const Coverage& wanted) {
  const double tau = std::hypot(1.0, 0.3);
  const std::map<std::string, double> right = {{"p", 8.0 / 6.0},  {"pk", 3.7 / 3.0},
                                               {"pu", 3.7 / 3.0}, {"pl", 4.3 / 3.0},
                                               {"r", 6.0 / 8.0},  {"pm", 8.0 / (6.0 * tau)}};
  engine::statistics::Draws draws;
  std::map<std::string, int> hits;
  for (int i = 0; i < wanted.samples; ++i) {
    const auto study = StudyIndices(DrawnSample(draws, groups, size, estimator), WideLimits());
    for (const auto& [name, interval] : study.indices)
      hits[name] += Holds(interval, right.at(name.substr(1))) ? 1 : 0;
  }
  EXPECT_EQ(hits.size(), 12U);
  for (const auto& [name, count] : hits) {
    ExpectCovered(
        estimator + " " + std::to_string(groups) + " x " + std::to_string(size) + " " + name, count,
        wanted);
  }
}

// By bootstrap: its figures are printed, and must not be far off. Of quantiles of a normal law that
// is fitted again, and of between and within.
inline void CheckBootstrap(std::int64_t resamples, const Coverage& wanted) {
  auto options = WideLimits();
  options.resamples = resamples;
  const double both = std::hypot(1.0, 1.0);
  const std::map<std::string, double> right = {
      {"Ppk", 3.7 / 3.0}, {"Cp_bw", 8.0 / (6.0 * both)}, {"Cpk_bw", 3.7 / (3.0 * both)}};
  engine::statistics::Draws draws;
  std::map<std::string, int> hits;
  for (int i = 0; i < wanted.samples; ++i) {
    options.seed = static_cast<std::uint64_t>(i);
    const auto singles = DrawnSample(draws, 100, 1, "MR-est");
    LawOptions how;
    how.limits = options.limits;
    how.simulates = false;
    const auto law = StudyLaws(singles.values, how).laws.front();
    for (const auto& [name, interval] : StudyQuantileIndices(singles, &law, how, options).indices) {
      if (name == "Ppk") hits[name] += Holds(interval, right.at(name)) ? 1 : 0;
    }
    const auto groups = DrawnSample(draws, 40, 4, "pooled", 1.0);
    for (const auto& [name, interval] : StudyBetweenWithin(groups, options, true).indices) {
      const auto found = right.find(name + "_bw");
      if (found != right.end()) hits[found->first] += Holds(interval, found->second) ? 1 : 0;
    }
  }
  EXPECT_EQ(hits.size(), 3U);
  for (const auto& [name, count] : hits) ExpectCovered("bootstrap " + name, count, wanted);
}

// The share of a normal law between the limits, at least the content: exact for the normal law, at
// least the confidence without a law.
inline void CheckTolerance(const ToleranceOptions& options, int count, const std::string& name,
                           const Coverage& wanted) {
  engine::statistics::Draws draws;
  int hits = 0;
  for (int i = 0; i < wanted.samples; ++i) {
    std::vector<double> values;
    for (int j = 0; j < count; ++j) values.push_back(draws.Normal());
    const auto study = StudyTolerance(values, options);
    const double above =
        std::isnan(study.upper) ? 0.0 : engine::statistics::NormalAbove(study.upper);
    const double below =
        std::isnan(study.lower) ? 0.0 : engine::statistics::NormalBelow(study.lower);
    hits += 1.0 - above - below >= options.content ? 1 : 0;
  }
  ExpectCovered("tolerance " + name + ", N " + std::to_string(count), hits, wanted);
}

inline void CheckTolerances(const Coverage& exact, const Coverage& at_least) {
  for (const auto sides : {Sides::Both, Sides::Lower, Sides::Upper}) {
    const auto* const name = sides == Sides::Both ? "both" : sides == Sides::Lower ? "low" : "high";
    ToleranceOptions options;
    options.sides = sides;
    options.content = 0.95;
    CheckTolerance(options, 20, std::string("normal ") + name, exact);
    options.law.reset();
    CheckTolerance(options, 120, std::string("ranks ") + name, at_least);
  }
}

// Counts of 20 subgroups of 100 units at a rate of 0.02.
inline void CheckCounts(const Coverage& wanted) {
  for (const bool defectives : {true, false}) {
    constexpr double kRate = 0.02;
    engine::statistics::Draws draws;
    int hits = 0;
    for (int i = 0; i < wanted.samples; ++i) {
      Stretch stretch;
      for (int g = 0; g < 20; ++g) {
        double count = 0.0;
        // Of defects thin slices of a unit, so that there may be several in one.
        const int slices = defectives ? 100 : 10'000;
        for (int unit = 0; unit < slices; ++unit)
          count += draws.Uniform() < kRate * 100.0 / slices ? 1.0 : 0.0;
        stretch.counts.push_back(count);
        stretch.sizes.push_back(100.0);
        stretch.points.push_back(count / 100.0);
        stretch.centre.push_back(kRate);
        stretch.sigma.push_back(std::sqrt(kRate / 100.0));
      }
      CountCapabilityOptions options;
      options.defectives = defectives;
      hits += Holds(StudyCountCapability(stretch, options).rate, kRate) ? 1 : 0;
    }
    ExpectCovered(defectives ? "Clopper-Pearson" : "Garwood", hits, wanted);
  }
}

}  // namespace orvspc::studies
