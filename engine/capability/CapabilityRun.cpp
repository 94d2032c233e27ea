// SPDX-License-Identifier: Apache-2.0
#include "engine/capability/CapabilityRun.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <utility>

#include "engine/capability/Figures.h"
#include "engine/capability/Limits.h"
#include "engine/statistics/Histogram.h"
#include "engine/statistics/HypothesisTests.h"
#include "engine/statistics/Moments.h"
#include "engine/statistics/Sample.h"
#include "engine/statistics/SampleSums.h"
#include "platform/Enumerations.h"
#include "platform/NaN.h"

// The first call: from the selection to the records. The Johnson fit is in johnson_fit.cpp.
namespace orvspc::engine::capability {
namespace {

using platform::kNaN;

constexpr std::int32_t kBadArgument = 5, kOverflow = 6;

// The settings that share the flags of the options.
struct FlagWord {
  std::int32_t normalize, window, short_term;
  bool override_limits;

  explicit FlagWord(std::int32_t flags)
      : normalize(flags & 0xEF),
        window((flags >> 8) & 15),
        short_term(flags >> 12),
        override_limits((flags & 16) != 0) {}
};

// Why the options cannot be used; empty when they can.
std::string Complaint(const API_CAOptions& options, const CapabilityOutput& out) {
  const FlagWord flags(options.Flags);
  const auto unknown = [](const char* what, std::int32_t value) {
    return std::string(what) + " " + std::to_string(value) + " is unknown.";
  };
  if (flags.normalize > caNormalizeTarget) return unknown("The normalisation", flags.normalize);
  if (flags.window > caWindowTypeSpecs) return unknown("The window type", flags.window);
  if (flags.short_term < 0 || flags.short_term > caShortTermSigmaPooled) {
    return unknown("The type of the short-term deviation", flags.short_term);
  }
  if (options.BinCount < 1 || static_cast<std::size_t>(options.BinCount) > out.bins.size()) {
    return "The array of bins cannot hold " + std::to_string(options.BinCount) + " bins.";
  }
  const auto points = std::min(out.x.size(), out.y.size());
  if (options.CurveCount < 1 || static_cast<std::size_t>(options.CurveCount) > points) {
    return "The arrays of the curve cannot hold " + std::to_string(options.CurveCount) + " points.";
  }
  return {};
}

// Limits lie several sigmas from the mean; a sigma without room for them serves nothing.
constexpr double kRoom = 10.0;

double UsableSigma(double sigma) { return std::isfinite(kRoom * sigma) ? sigma : 0.0; }

statistics::SigmaEstimate Pooled(const statistics::SpreadSums& spread, std::int64_t count) {
  statistics::SigmaEstimate estimate;
  const auto degrees = count - spread.Groups();
  if (degrees < 1) return estimate;
  estimate.value = std::sqrt(spread.Within() / static_cast<double>(degrees));
  estimate.name = "pooled";
  for (const auto& row : spread.BySize()) {
    if (row.n < 2) continue;
    if (estimate.used == 0) estimate.smallest_n = row.n;
    estimate.largest_n = row.n;
    estimate.used += row.groups;
  }
  return estimate;
}

// Single values have their moving ranges, whatever was asked for; none when there are larger
// subgroups.
std::optional<statistics::SigmaEstimate> FromMovingRanges(std::span<const StreamSample> streams) {
  statistics::MovingRangeSums ranges;
  for (const auto& stream : streams) {
    if (stream.sample.Count() != stream.sample.Groups()) return std::nullopt;
    ranges.Break();
    for (const auto& block : stream.sample.Blocks()) ranges.Add(block.values);
  }
  return statistics::SigmaFromMovingRangeSum(ranges.Sum(), ranges.Count());
}

// What the charts of the same subgroups use, unless another one was asked for.
statistics::SigmaEstimate FromSubgroups(std::int32_t type, const statistics::SpreadSums& spread,
                                        std::int64_t count, statistics::EstimatorSetting setting) {
  constexpr std::int32_t kMaxForRange = 10;  // as charts choose between range and deviation
  const auto least = spread.SmallestSize(), most = spread.LargestSize();
  const bool ranges = type == caShortTermSigmaRange ||
                      (type == caShortTermSigmaAuto && least == most && most <= kMaxForRange);
  if (ranges) return statistics::SigmaFromRangeSums(spread.BySize(), setting);
  if (type == caShortTermSigmaPooled) return Pooled(spread, count);
  return statistics::SigmaFromSdSums(spread.BySize(), setting);
}

API_CAAnova AnovaOf(const statistics::SpreadSums& spread, const SampleCentre& centre) {
  const auto table = statistics::AnovaOf(spread.Within(), spread.Between(), centre.squares,
                                         centre.count, spread.Groups());
  return {.DFWithin = static_cast<std::int32_t>(table.within_degrees),
          .SSWithin = Defined(table.within_squares),
          .MSWithin = Defined(table.within_mean),
          .DFBetween = static_cast<std::int32_t>(table.between_degrees),
          .SSBetween = Defined(table.between_squares),
          .MSBetween = Defined(table.between_mean),
          .DFTotal = static_cast<std::int32_t>(table.total_degrees),
          .SSTotal = Defined(table.total_squares),
          .MSTotal = Defined(table.total_mean),
          .FRatio = Defined(table.f),
          .ProbOfF = Defined(table.probability)};
}

API_CAMoments MomentsOf(const statistics::DeviationSums& sums, const SampleCentre& centre,
                        double sd) {
  const auto n = static_cast<double>(centre.count);
  const statistics::CentralMoments moments{centre.count, centre.mean, centre.squares / n,
                                           sums.Cubes() / n, sums.Fourths() / n};
  return {.Mean = centre.mean,
          .AvgDev = Defined(sums.Absolutes() / n),
          .SD = sd,
          .Variance = sd > 0.0 ? Defined(centre.squares / (n - 1.0)) : 0.0,
          .Kurtosis = Defined(statistics::SampleKurtosis(moments)),
          .Skewness = Defined(statistics::SampleSkewness(moments))};
}

API_CASummary SummaryOf(const statistics::Sample& sample,
                        std::span<const statistics::CountedValue> values,
                        const SampleCentre& centre, const statistics::DeviationSums& sums,
                        double sigma, double sd) {
  // Scales the interquartile range to the sigma of a normal distribution.
  constexpr double kNormalizedRange = 0.741301109252801;
  API_CASummary record{};
  record.PieceCount = static_cast<std::int32_t>(centre.count);
  record.SubgroupCount = static_cast<std::int32_t>(sample.Groups());
  record.SubgroupSize = static_cast<double>(sample.Count()) / static_cast<double>(sample.Groups());
  record.Minimum = centre.smallest;
  record.Maximum = centre.largest;
  record.Mean = centre.mean;
  record.ShortTermSD = sigma;
  record.LongTermSD = sd;
  if (!(sd > 0.0)) return record;
  const double per = 2.0 / static_cast<double>(centre.count - 1);
  record.UpperSD = Defined(std::sqrt(per * sums.SquaresAbove()));
  record.LowerSD = Defined(std::sqrt(per * std::max(0.0, sums.Squares() - sums.SquaresAbove())));
  constexpr double kQuartiles[] = {0.25, 0.75};
  const auto quartiles = values.empty() ? statistics::SampleQuantiles(sample, kQuartiles)
                                        : statistics::SampleQuantiles(values, kQuartiles);
  record.CoRobustness = Defined(kNormalizedRange * (quartiles[1] - quartiles[0]) / sd);
  record.CoOfVariation = Defined(sd / std::fabs(centre.mean));
  return record;
}

statistics::Window ChooseWindow(const FlagWord& flags, const API_CAOptions& options,
                                const SampleCentre& centre, double sd,
                                const statistics::Tolerance& tolerance) {
  const statistics::WindowInput input{centre.smallest,
                                      centre.largest,
                                      centre.mean,
                                      sd,
                                      tolerance.usl.value_or(kNaN),
                                      tolerance.lsl.value_or(kNaN)};
  switch (flags.window) {
    case caWindowTypeMinMax: {
      const statistics::Window given =
          statistics::Bounded({options.WindowMinimum, options.WindowMaximum});
      return given.Serves() ? given : statistics::DefaultWindow(input);
    }
    case caWindowTypeSpecs:
      return statistics::LimitWindow(input);
    default:
      return statistics::SigmaWindow(input, options.WindowSD);
  }
}

std::vector<API_CABin> BinsOf(std::span<const double> edges, std::span<const std::int64_t> counts) {
  std::vector<API_CABin> bins;
  for (std::size_t i = 0; i + 1 < edges.size(); ++i) {
    bins.push_back({edges[i], edges[i + 1], 0.0, static_cast<double>(counts[i + 1])});
  }
  return bins;
}

// The values of all streams, normalised, and the limits that hold for them.
struct Prepared {
  LimitsInForce limits;
  API_CANccLim8 net_limits;
  API_CANccResults net_results{};
  statistics::Sample sample{};
};

Prepared Prepare(store::Store& store, std::vector<StreamSample>& streams,
                 const API_CAOptions& options) {
  const FlagWord flags(options.Flags);
  std::optional<LimitOverride> override_by;
  if (flags.override_limits) {
    override_by = LimitOverride{options.OverrideUSL, options.OverrideTarget, options.OverrideLSL};
  }
  Prepared data{
      FindLimits(store, streams, override_by, static_cast<Normalization>(flags.normalize)),
      FindNetContents(store, streams)};
  std::vector<std::size_t> begins;
  for (auto& stream : streams) {
    begins.push_back(data.sample.Blocks().size());
    data.sample.Append(std::move(stream.sample));
  }
  begins.push_back(data.sample.Blocks().size());
  // Net contents are of the values as they are.
  data.net_results = NetContentResults(data.sample, data.net_limits);
  for (std::size_t i = 0; i < streams.size(); ++i) {
    const double origin = data.limits.origins[i];
    if (origin != 0.0) data.sample.Shift(begins[i], begins[i + 1], -origin);
  }
  return data;
}

// Mean, extremes and deviations of the sample. sd and sigma are 0 where they serve nothing.
struct Described {
  SampleCentre centre;
  statistics::DeviationSums deviations;
  statistics::SpreadSums spread;
  statistics::SigmaEstimate short_term;
  double sd, sigma;
};

Described Describe(store::Store& store, const statistics::Sample& sample, SampleCentre centre,
                   std::int32_t short_term,
                   const std::optional<statistics::SigmaEstimate>& moving) {
  statistics::DeviationSums deviations(centre.origin, centre.shift);
  statistics::SpreadSums spread(centre.origin, centre.shift);
  SumBlocks(sample, deviations, spread);
  SetDeviation(deviations, centre);
  const auto estimate =
      moving ? *moving
             : FromSubgroups(short_term, spread, centre.count, store::EstimatorSettingOf(store));
  if (!std::isfinite(kRoom * centre.sd) ||
      (estimate.Exists() && !std::isfinite(kRoom * estimate.value))) {
    store::AddNote("overflow",
                   "A figure of these values is beyond the largest number and was left out.");
  }
  return {centre,
          deviations,
          std::move(spread),
          estimate,
          UsableSigma(centre.sd),
          UsableSigma(estimate.value)};
}

// The histogram and the counts beyond the limits; the cells of the chi-square test where there is a
// normal distribution to test.
struct Counted {
  std::vector<double> edges;
  std::optional<statistics::NormalDistribution> normal;  // none without a deviation
  std::int32_t cells;
  statistics::IntervalCounter in_bins, in_cells;
  statistics::BeyondCounts beyond;
  std::size_t different = 0;
  std::vector<statistics::CountedValue> values;  // the different ones; none where they are many
};

Counted Count(const Prepared& data, const Described& figures, const API_CAOptions& options) {
  using statistics::IntervalCounter;
  const auto window = ChooseWindow(FlagWord(options.Flags), options, figures.centre, figures.sd,
                                   data.limits.tolerance);
  const auto edges = statistics::BinEdges(window, static_cast<std::size_t>(options.BinCount));
  std::optional<statistics::NormalDistribution> normal;
  if (figures.sd > 0.0) normal.emplace(figures.centre.mean, figures.sd);
  const auto cells = normal ? statistics::ChiSquareCells(figures.centre.count) : 0;
  const auto cell_edges =
      cells > 0 ? statistics::EqualProbabilityEdges(*normal, cells) : std::vector<double>();
  Counted made{edges,
               normal,
               cells,
               {statistics::CountingEdges(edges), IntervalCounter::EdgeGoes::Up},
               {cell_edges, IntervalCounter::EdgeGoes::Down},
               SpecCounts(data.limits.record),
               0,
               {}};
  // Where values are counted one by one, the rest is about the few different ones.
  constexpr std::size_t kMost = 4096;
  statistics::ValueCounts values(std::max(kMost, static_cast<std::size_t>(2 * cells)),
                                 data.sample.Count());
  SumBlocks(data.sample, values);
  made.different = values.Different();
  made.values = values.Sorted();
  const auto count = [&](auto&... counters) {
    if (values.Full()) {
      SumBlocks(data.sample, counters...);
    } else {
      (counters.Add(made.values), ...);
    }
  };
  if (cells > 0) {
    count(made.in_bins, made.beyond, made.in_cells);
  } else {
    count(made.in_bins, made.beyond);
  }
  return made;
}

void NoteCounts(const Counted& counted, std::int64_t count) {
  const auto bins = counted.in_bins.Counts();
  if (const auto outside = bins.front() + bins.back(); outside > 0) {
    store::AddNote("outside-window", std::to_string(outside) + " of " + std::to_string(count) +
                                         " values lie outside the window and are in no bin.");
  }
  if (counted.cells > 3 && counted.different < static_cast<std::size_t>(2 * counted.cells)) {
    store::AddNote(
        "coarse-values",
        "The values are only " + std::to_string(counted.different) +
            " different ones: rounding, not the distribution, may make chi-square large.");
  }
}

// Makes whatever allocates before it writes anything, so that a failure leaves the caller's records
// as they were. The rest is arithmetic; the name of a distribution fits into a short string.
void Write(const Prepared& data, const Described& figures, const Counted& counted,
           const CapabilityOutput& out, CapabilityReport& report) {
  const auto& [centre, deviations, spread, short_term, sd, sigma] = figures;
  const auto* const normal = counted.normal ? &*counted.normal : nullptr;
  const auto summary = SummaryOf(data.sample, counted.values, centre, deviations, sigma, sd);
  const auto bins = BinsOf(counted.edges, counted.in_bins.Counts());
  Fit fit{normal, statistics::Reach::OfNormal(centre.mean, sd), statistics::ChiSquareTest(),
          ExpectedCounts(normal, bins, centre.count), false};
  if (counted.cells > 0) {
    fit.test =
        statistics::ChiSquareOf(counted.in_cells.Counts(), counted.normal->FittedParameters());
  }
  report.short_term = statistics::ToEstimate(short_term);

  out.summary = summary;
  out.moments = MomentsOf(deviations, centre, sd);
  out.anova = AnovaOf(spread, centre);
  out.cps = ShortTermIndices(centre.mean, sigma, data.limits.tolerance);
  out.limits = data.limits.record;
  out.results = {};
  SetActual(counted.beyond, centre.count, out.limits, out.results);
  out.net_limits = data.net_limits;
  out.net_results = data.net_results;
  std::ranges::copy(bins, out.bins.begin());
  WriteFit(std::move(fit), centre.count, out, report);
}

}  // namespace

bool CapabilityRun::Process(store::Store& store, API_DSInfo& info,
                            std::span<const std::int32_t> filter, const API_CAOptions& options,
                            const CapabilityOutput& out) {
  *this = {};
  if (const auto complaint = Complaint(options, out); !complaint.empty()) {
    store.Fail(kBadArgument, complaint);
    return false;
  }
  std::vector<StreamSample> streams;
  if (!ReadStreams(store, info, filter, streams)) return false;
  if (streams.empty()) {
    store::AddNote("no-data", "No value of a variable test matches the selection.");
    return false;
  }
  auto exact = out;
  exact.bins = out.bins.first(static_cast<std::size_t>(options.BinCount));
  exact.x = out.x.first(static_cast<std::size_t>(options.CurveCount));
  exact.y = out.y.first(exact.x.size());
  return Analyse(store, streams, options, exact);
}

bool CapabilityRun::Analyse(store::Store& store, std::vector<StreamSample>& streams,
                            const API_CAOptions& options, const CapabilityOutput& out) {
  const auto moving = FromMovingRanges(streams);
  for (const auto& stream : streams) stream_groups_.push_back(stream.sample.Groups());
  auto data = Prepare(store, streams, options);
  const auto centre = CentreOf(data.sample);
  if (!std::isfinite(centre.largest) || !std::isfinite(centre.smallest)) {
    store.Fail(kOverflow, "The values are too large to be normalised by these limits.");
    return false;
  }
  const auto figures =
      Describe(store, data.sample, centre, FlagWord(options.Flags).short_term, moving);
  const auto counted = Count(data, figures, options);
  NoteCounts(counted, centre.count);
  Write(data, figures, counted, out, report_);
  centre_ = figures.centre;
  centre_.sd = figures.sd;
  short_term_ = figures.short_term;
  short_term_.value = figures.sigma;
  sample_ = std::move(data.sample);
  return true;
}

}  // namespace orvspc::engine::capability
