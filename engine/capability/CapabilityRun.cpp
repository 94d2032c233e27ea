// SPDX-License-Identifier: Apache-2.0
#include "engine/capability/CapabilityRun.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <utility>

#include "engine/capability/Figures.h"
#include "engine/capability/NetContent.h"
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

void FillAnova(const statistics::SpreadSums& spread, const SampleCentre& centre,
               API_CAAnova& record) {
  const auto table = statistics::AnovaOf(spread.Within(), spread.Between(), centre.squares,
                                         centre.count, spread.Groups());
  record.DFWithin = static_cast<std::int32_t>(table.within_degrees);
  record.SSWithin = Defined(table.within_squares);
  record.MSWithin = Defined(table.within_mean);
  record.DFBetween = static_cast<std::int32_t>(table.between_degrees);
  record.SSBetween = Defined(table.between_squares);
  record.MSBetween = Defined(table.between_mean);
  record.DFTotal = static_cast<std::int32_t>(table.total_degrees);
  record.SSTotal = Defined(table.total_squares);
  record.MSTotal = Defined(table.total_mean);
  record.FRatio = Defined(table.f);
  record.ProbOfF = Defined(table.probability);
}

void FillMoments(const statistics::DeviationSums& sums, const SampleCentre& centre, double sd,
                 API_CAMoments& record) {
  const auto n = static_cast<double>(centre.count);
  statistics::CentralMoments moments;
  moments.count = centre.count;
  moments.mean = centre.mean;
  moments.m2 = centre.squares / n;
  moments.m3 = sums.Cubes() / n;
  moments.m4 = sums.Fourths() / n;
  record.Mean = centre.mean;
  record.AvgDev = Defined(sums.Absolutes() / n);
  record.SD = sd;
  record.Variance = sd > 0.0 ? Defined(centre.squares / (n - 1.0)) : 0.0;
  record.Skewness = Defined(statistics::SampleSkewness(moments));
  record.Kurtosis = Defined(statistics::SampleKurtosis(moments));
}

void FillSummary(const statistics::Sample& sample, const SampleCentre& centre,
                 const statistics::DeviationSums& sums, double sigma, double sd,
                 API_CASummary& record) {
  // Scales the interquartile range to the sigma of a normal distribution.
  constexpr double kNormalizedRange = 0.741301109252801;
  record.PieceCount = static_cast<std::int32_t>(centre.count);
  record.SubgroupCount = static_cast<std::int32_t>(sample.Groups());
  record.SubgroupSize = static_cast<double>(sample.Count()) / static_cast<double>(sample.Groups());
  record.Minimum = centre.smallest;
  record.Maximum = centre.largest;
  record.Mean = centre.mean;
  record.ShortTermSD = sigma;
  record.LongTermSD = sd;
  if (!(sd > 0.0)) return;
  const double per = 2.0 / static_cast<double>(centre.count - 1);
  record.UpperSD = Defined(std::sqrt(per * sums.SquaresAbove()));
  record.LowerSD = Defined(std::sqrt(per * std::max(0.0, sums.Squares() - sums.SquaresAbove())));
  constexpr double kQuartiles[] = {0.25, 0.75};
  const auto quartiles = statistics::SampleQuantiles(sample, kQuartiles);
  record.CoRobustness = Defined(kNormalizedRange * (quartiles[1] - quartiles[0]) / sd);
  record.CoOfVariation = Defined(sd / std::fabs(centre.mean));
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

// What is counted once mean, deviation, limits and window are known.
struct CountSums {
  statistics::IntervalCounter bins, cells;
  statistics::BeyondCounts beyond;
  statistics::DistinctCounter distinct;

  void Add(std::span<const double> values, bool with_cells) {
    bins.Add(values);
    beyond.Add(values);
    if (!with_cells) return;
    cells.Add(values);
    distinct.Add(values);
  }
  void Merge(const CountSums& other) {
    bins.Merge(other.bins);
    cells.Merge(other.cells);
    beyond.Merge(other.beyond);
    distinct.Merge(other.distinct);
  }
};

void FillBins(std::span<const double> edges, std::span<const std::int64_t> counts,
              std::span<API_CABin> bins) {
  for (std::size_t i = 0; i + 1 < edges.size(); ++i) {
    bins[i].XMin = edges[i];
    bins[i].XMax = edges[i + 1];
    bins[i].YMin = 0.0;
    bins[i].YMax = static_cast<double>(counts[i + 1]);
  }
}

void NoteCounts(const CountSums& counts, std::int32_t cells, std::int64_t count) {
  const auto bins = counts.bins.Counts();
  if (const auto outside = bins.front() + bins.back(); outside > 0) {
    store::AddNote("outside-window", std::to_string(outside) + " of " + std::to_string(count) +
                                         " values lie outside the window and are in no bin.");
  }
  if (cells > 3 && !counts.distinct.Full()) {
    store::AddNote("coarse-values",
                   "The values are only " + std::to_string(counts.distinct.Count()) +
                       " different ones: rounding, not the law, may make chi-square large.");
  }
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

struct SampleSums {
  statistics::DeviationSums deviations;
  statistics::SpreadSums spread;

  void Merge(const SampleSums& other) {
    deviations.Merge(other.deviations);
    spread.Merge(other.spread);
  }
};

// Completes the centre.
SampleSums SumsOf(const statistics::Sample& sample, SampleCentre& centre) {
  SampleSums sums{{centre.origin, centre.shift}, {centre.origin, centre.shift}};
  SumBlocks(sample, sums, [](SampleSums& mine, const statistics::Sample::Block& block) {
    mine.deviations.Add(block.values);
    mine.spread.Add(block);
  });
  SetDeviation(sums.deviations, centre);
  return sums;
}

// Mean, extremes and deviations of the sample. sd and sigma are 0 where they serve nothing.
struct Described {
  SampleCentre centre;
  SampleSums sums;
  statistics::SigmaEstimate short_term;
  double sd, sigma;
};

void NoteOverflow(const Described& figures) {
  const auto& estimate = figures.short_term;
  if (std::isfinite(kRoom * figures.centre.sd) &&
      (!estimate.Exists() || std::isfinite(kRoom * estimate.value))) {
    return;
  }
  store::AddNote("overflow",
                 "A figure of these values is beyond the largest number and was left out.");
}

Described Describe(store::Store& store, const statistics::Sample& sample, SampleCentre centre,
                   std::int32_t short_term,
                   const std::optional<statistics::SigmaEstimate>& moving) {
  auto sums = SumsOf(sample, centre);
  const auto estimate = moving ? *moving
                               : FromSubgroups(short_term, sums.spread, centre.count,
                                               store::EstimatorSettingOf(store));
  Described figures{centre, std::move(sums), estimate, UsableSigma(centre.sd),
                    UsableSigma(estimate.value)};
  NoteOverflow(figures);
  return figures;
}

// The histogram, and the cells of the chi-square test.
struct Counted {
  statistics::Window window;
  std::vector<double> edges;
  std::optional<statistics::NormalDistribution> normal;  // none without a deviation
  std::int32_t cells;
  CountSums sums;
};

Counted Count(const Prepared& data, const Described& figures, const API_CAOptions& options) {
  const auto window = ChooseWindow(FlagWord(options.Flags), options, figures.centre, figures.sd,
                                   data.limits.tolerance);
  const auto edges = statistics::BinEdges(window, static_cast<std::size_t>(options.BinCount));
  std::optional<statistics::NormalDistribution> normal;
  if (figures.sd > 0.0) normal.emplace(figures.centre.mean, figures.sd);
  const auto cells = normal ? statistics::ChiSquareCells(figures.centre.count) : 0;
  CountSums sums{
      {statistics::CountingEdges(edges), statistics::IntervalCounter::EdgeGoes::Up},
      {cells > 0 ? statistics::EqualProbabilityEdges(*normal, cells) : std::vector<double>(),
       statistics::IntervalCounter::EdgeGoes::Down},
      {UpperLimits(data.limits.record), LowerLimits(data.limits.record)},
      statistics::DistinctCounter(static_cast<std::size_t>(2 * cells))};
  SumBlocks(data.sample, sums, [&](CountSums& mine, const statistics::Sample::Block& block) {
    mine.Add(block.values, cells > 0);
  });
  return {window, edges, normal, cells, std::move(sums)};
}

// What is made before anything is written.
struct Records {
  API_CASummary summary{};
  API_CAMoments moments{};
  API_CAAnova anova{};
  API_CAChiSq chi_square{};
  API_CASpecResults results{};
  CapabilityReport report;
};

Records RecordsOf(const Prepared& data, const Described& figures, const Counted& counted) {
  const auto& [centre, sums, short_term, sd, sigma] = figures;
  Records made;
  FillSummary(data.sample, centre, sums.deviations, sigma, sd, made.summary);
  FillMoments(sums.deviations, centre, sd, made.moments);
  FillAnova(sums.spread, centre, made.anova);
  const auto test = counted.cells > 0 ? statistics::ChiSquareOf(counted.sums.cells.Counts(),
                                                                counted.normal->FittedParameters())
                                      : statistics::ChiSquareTest();
  SetChiSquare(test, made.chi_square);
  SetActual(counted.sums.beyond, centre.count, data.limits.record, made.results);
  made.report.short_term = statistics::ToEstimate(short_term);
  const auto* const normal = counted.normal ? &*counted.normal : nullptr;
  made.report.expected = ExpectedCounts(normal, counted.edges, centre.count);
  if (normal == nullptr) return made;
  SetExpected(*normal, false, data.limits.record, made.results);
  made.summary.ZBench = BenchmarkScore(*normal, data.limits.tolerance);
  made.report.law = normal->Name();
  return made;
}

void Write(const Prepared& data, const Described& figures, const Counted& counted,
           const Records& made, const API_CAOptions& options, const CapabilityOutput& out) {
  const auto& centre = figures.centre;
  out.summary = made.summary;
  out.moments = made.moments;
  out.anova = made.anova;
  out.chi_square = made.chi_square;
  out.results = made.results;
  out.cps = ShortTermIndices(centre.mean, figures.sigma, data.limits.tolerance);
  out.pps =
      LongTermIndices(statistics::Reach::OfNormal(centre.mean, figures.sd), data.limits.tolerance);
  out.limits = data.limits.record;
  out.net_limits = data.net_limits;
  out.net_results = data.net_results;
  const auto bins = static_cast<std::size_t>(options.BinCount);
  FillBins(counted.edges, counted.sums.bins.Counts(), out.bins.first(bins));
  const auto points = static_cast<std::size_t>(options.CurveCount);
  DrawCurve(counted.normal ? &*counted.normal : nullptr, counted.window, centre.count, bins,
            out.x.first(points), out.y.first(points));
}

}  // namespace

void CapabilityRun::Clear() {
  sample_ = {};
  centre_ = {};
  report_ = {};
}

bool CapabilityRun::Process(store::Store& store, API_DSInfo& info,
                            std::span<const std::int32_t> filter, const API_CAOptions& options,
                            const CapabilityOutput& out) {
  Clear();
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
  return Analyse(store, streams, options, out);
}

bool CapabilityRun::Analyse(store::Store& store, std::vector<StreamSample>& streams,
                            const API_CAOptions& options, const CapabilityOutput& out) {
  const auto moving = FromMovingRanges(streams);
  auto data = Prepare(store, streams, options);
  const auto centre = CentreOf(data.sample);
  if (!std::isfinite(centre.largest) || !std::isfinite(centre.smallest)) {
    store.Fail(kOverflow, "The values are too large to be normalised by these limits.");
    return false;
  }
  const auto figures =
      Describe(store, data.sample, centre, FlagWord(options.Flags).short_term, moving);
  const auto counted = Count(data, figures, options);
  auto made = RecordsOf(data, figures, counted);
  NoteCounts(counted.sums, counted.cells, centre.count);
  Write(data, figures, counted, made, options, out);
  centre_ = figures.centre;
  centre_.sd = figures.sd;
  sample_ = std::move(data.sample);
  report_ = std::move(made.report);
  return true;
}

}  // namespace orvspc::engine::capability
