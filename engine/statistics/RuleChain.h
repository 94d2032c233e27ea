// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "engine/statistics/RunLengths.h"
#include "engine/statistics/RunRules.h"

// Run lengths of charts with run rules.
namespace orvspc::engine::statistics {

// What a point is, in sigmas from its centre line: P(point <= z), and P(point = z) of counts, whose
// points are few values; empty: none.
struct PointLaw {
  std::function<double(double)> below, above;  // P(<= z), P(> z)
  std::function<double(double)> at = {};       // P(= z)
};
PointLaw NormalPoints(double shift);

struct RuleChainOptions {
  double upper = 3.0, lower = 3.0;  // distance of the control limits; infinity: none
  // A window needs all its points, as on a chart; otherwise quiet points went before the first one.
  bool full_windows = false;
  bool counts = false;  // points can lie on a line
};

// The states that points can leave the rules in: for each rule of k of m points which of the last
// m - 1 were in the zone, without those that no window can complete any more.
// Source   Champ & Woodall, Technometrics 29 (1987)
class RuleChain {
 public:
  static constexpr std::size_t kMostStates = 100'000;

  // Empty where a rule needs the points themselves (trend, alternate), or there are more states.
  static std::optional<RuleChain> Make(std::span<const RunRule> rules,
                                       const RuleChainOptions& options = {});

  std::size_t States() const { return first_edge_.size() - 1; }
  // Of runs until the first signal; NaN where they do not settle.
  RunLength LengthOf(const PointLaw& law) const;
  // P(no signal at the first point).
  double QuietAtFirst(const PointLaw& law) const;

 private:
  struct Region {
    double low, high;  // above low, at most high; equal: that value
  };
  struct Edge {
    std::uint32_t to, region;
  };
  std::vector<double> Shares(const PointLaw& law) const;

  std::vector<Region> regions_;
  std::vector<std::uint32_t> first_edge_;  // of each state, and the end
  std::vector<Edge> edges_;
  std::vector<Edge> signals_;  // to: the state before
  std::size_t longest_ = 1;    // window
};

// The same by simulation, with the evaluator of charts: every rule, whole windows.
struct SimulatedRunLength {
  RunLength length;
  double standard_error = platform::kNaN;
};
struct SimulationOptions {
  double upper = 3.0, lower = 3.0;
  std::size_t runs = 20'000;
  std::uint64_t seed = 20260101;
  std::size_t most_points = 1'000'000;  // of a run; a longer one leaves no figures
};
// draw(u) is the point, in sigmas from its centre line, that a uniform draw in (0, 1) gives.
SimulatedRunLength SimulateRunLength(std::span<const RunRule> rules,
                                     const std::function<double(double)>& draw,
                                     const SimulationOptions& options = {});

// Of runs that ended after so many points. Sorts them.
SimulatedRunLength SummaryOfRuns(std::vector<std::size_t> lengths);

}  // namespace orvspc::engine::statistics
