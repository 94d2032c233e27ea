// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/Estimates.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "engine/statistics/Autoregression.h"
#include "platform/NaN.h"

namespace orvspc::engine::charts {
namespace {

using platform::kNaN;

Source AutoSource(const DataShape& shape) {
  if (shape.SinglePieces()) return Source::MovingRanges;
  return shape.RangesServe() ? Source::Ranges : Source::Deviations;
}

// Estimator of a graph of ranges or deviations; what decides by itself otherwise.
Source SourceOf(ChartKind kind, Source otherwise) {
  const auto source = RowOf(kind).source;
  return source == Source::ByShape ? otherwise : source;
}

// Sigma of one piece such that the points spread with it over the root of the mean size.
statistics::SigmaEstimate FromPoints(const EstimateInput& input, double mean_size,
                                     statistics::EstimatorSetting setting) {
  auto estimate =
      input.screen_moving
          ? statistics::SigmaFromScreenedMovingRanges(input.base, input.used, input.anew)
          : statistics::SigmaFromMovingRanges(input.base, input.used, setting, input.anew);
  estimate.value *= std::sqrt(mean_size);
  return estimate;
}

statistics::SigmaEstimate From(Source source, const EstimateInput& input,
                               statistics::EstimatorSetting setting, double mean_size) {
  switch (source) {
    case Source::Ranges:
      return statistics::SigmaFromRanges(input.ranges, input.sizes, setting, input.used);
    case Source::Deviations:
      return statistics::SigmaFromSds(input.sds, input.sizes, setting, input.used);
    default:
      return FromPoints(input, mean_size, setting);
  }
}

statistics::SigmaEstimate FromReadings(ChartKind kind, const EstimateInput& input,
                                       statistics::EstimatorSetting setting) {
  const auto& from =
      RowOf(kind).source == Source::Ranges ? statistics::SigmaFromRanges : statistics::SigmaFromSds;
  return from(input.piece_statistics, input.piece_sizes, setting, input.piece_used);
}

// The source of SP: the row of the chart in the table of estimates.
Source SpSource(const ChartPlan& plan, Source automatic) {
  if (plan.SigmaFromPoints()) return Source::MovingRanges;
  if (plan.kinds[0] == ChartKind::PreControl) return automatic;
  return SourceOf(plan.kinds[1], automatic);
}

double MeanOf(std::span<const std::int32_t> sizes, std::span<const std::uint8_t> used) {
  double sum = 0.0;
  std::int64_t count = 0;
  for (std::size_t i = 0; i < sizes.size(); ++i) {
    if (sizes[i] < 1 || (!used.empty() && used[i] == 0)) continue;
    sum += sizes[i];
    ++count;
  }
  return count == 0 ? 0.0 : sum / static_cast<double>(count);
}

// Moving ranges of an autoregression of one point on the one before give the standard deviation of
// the points times sqrt(1 - phi). False where there are too few points to know phi, or sigma is
// from something else.
bool Widen(const EstimateInput& input, statistics::SigmaEstimate& sigma) {
  constexpr double kFewest = 50.0, kLargestPhi = 0.95;
  if (!statistics::IsFromMovingRanges(sigma) || !(sigma.value > 0.0)) return false;
  std::vector<double> values;
  for (std::size_t i = 0; i < input.base.size(); ++i) {
    if (!input.anew.empty() && input.anew[i] != 0) values.push_back(kNaN);
    if (input.used.empty() || input.used[i] != 0) values.push_back(input.base[i]);
  }
  const statistics::Autoregression fit(values);
  if (fit.Count() < kFewest) return false;
  sigma.value /= std::sqrt(1.0 - std::clamp(fit.BestPhi(), 0.0, kLargestPhi));
  sigma.name = kWidenedName;
  return true;
}

// Limits lie several sigmas from the centre; a sigma without room for them serves nothing.
constexpr double kRoom = 10.0;

void DropOverflow(StreamEstimates& estimates) {
  for (auto* sigma :
       {&estimates.sp, &estimates.within, &estimates.moving, &estimates.sw, &estimates.gamma}) {
    if (!sigma->Exists() || std::isfinite(kRoom * sigma->value)) continue;
    *sigma = statistics::SigmaEstimate();
    estimates.overflow = true;
  }
  if (estimates.mean_used == 0 || std::isfinite(estimates.mean)) return;
  estimates.mean = kNaN;
  estimates.overflow = true;
}

}  // namespace

bool NeedsDeviations(const ChartPlan& plan, const DataShape& shape) {
  const auto automatic = AutoSource(shape);
  const bool within_auto = plan.SigmaFromPoints() || plan.kinds[0] == ChartKind::PreControl;
  return SpSource(plan, automatic) == Source::Deviations ||
         (within_auto && automatic == Source::Deviations) || plan.kinds[1] == ChartKind::Sd ||
         plan.kinds[1] == ChartKind::Cv || plan.kinds[2] == ChartKind::Sd;
}

DataShape ShapeOf(std::span<const std::int32_t> sizes, std::span<const std::uint8_t> used) {
  DataShape shape;
  for (std::size_t i = 0; i < sizes.size(); ++i) {
    if (used.empty() || used[i] != 0) shape.AddSize(sizes[i]);
  }
  return shape;
}

StreamEstimates EstimateStream(const ChartPlan& plan, const EstimateInput& input,
                               statistics::EstimatorSetting setting) {
  StreamEstimates result;
  const auto shape = ShapeOf(input.sizes, input.used);
  const auto automatic = AutoSource(shape);
  result.mean_size =
      shape.least_size == shape.largest_size ? shape.largest_size : MeanOf(input.sizes, input.used);
  result.mean_readings = MeanOf(input.piece_sizes, input.piece_used);

  const bool plain = plan.SigmaFromPoints();
  result.mean = plain ? statistics::PlainCentre(input.base, input.used)
                      : statistics::WeightedCentre(input.base, input.sizes, input.used);
  result.mean_name = plain ? "mean of the points" : "mean weighted by size";
  for (std::size_t i = 0; i < input.base.size(); ++i) {
    result.mean_used += !std::isnan(input.base[i]) && (input.used.empty() || input.used[i] != 0);
  }

  result.sp = From(SpSource(plan, automatic), input, setting, result.mean_size);
  // If graph 1 uses between-point sigma, estimate within-subgroup sigma separately.
  const bool own_within = plan.SigmaFromPoints() && !shape.SinglePieces();
  result.within = own_within
                      ? From(SourceOf(plan.kinds[2], automatic), input, setting, result.mean_size)
                      : result.sp;
  if (plan.kinds[2] == ChartKind::None) {
    result.sw = result.within;
  } else if (plan.WithinPieces()) {
    result.sw = FromReadings(plan.kinds[2], input, setting);
    if (own_within) result.within = From(automatic, input, setting, result.mean_size);
  } else {
    result.sw = From(SourceOf(plan.kinds[2], automatic), input, setting, result.mean_size);
  }
  result.own_moving =
      plan.kinds[1] == ChartKind::MovingRange && !plan.SigmaFromPoints() && !shape.SinglePieces();
  result.moving = result.own_moving ? FromPoints(input, result.mean_size, setting) : result.sp;
  if (plan.kinds[1] == ChartKind::Cv) {
    result.gamma = statistics::CvFromRatios(input.ratios, input.sizes, input.used);
  }
  // Moving ranges themselves stay as they are.
  if (input.widen) {
    result.not_widened = !Widen(input, result.sp);
    if (!own_within) result.within = result.sp;
    if (!own_within && plan.kinds[2] == ChartKind::None) result.sw = result.sp;
  }
  DropOverflow(result);
  return result;
}

StreamEstimates WithoutFigures(const StreamEstimates& estimates) {
  StreamEstimates sizes;
  sizes.mean = kNaN;
  sizes.mean_name = estimates.mean_name;
  sizes.mean_size = estimates.mean_size;
  sizes.mean_readings = estimates.mean_readings;
  sizes.own_moving = estimates.own_moving;
  return sizes;
}

double AverageSize(const ChartPlan& plan, const StreamEstimates& estimates, std::size_t graph) {
  if (plan.kinds[graph] == ChartKind::None) return 0.0;
  const auto size = RowOf(plan.kinds[graph]).size;
  return size == SizeOf::Pair       ? 2.0
         : size == SizeOf::Readings ? estimates.mean_readings
                                    : estimates.mean_size;
}

StreamReport ReportOf(const ChartStream& stream, const StreamEstimates& estimates) {
  StreamReport report;
  report.part = stream.part;
  report.process = stream.process;
  report.test = stream.test;
  report.mean.value = estimates.mean;
  report.mean.name = std::string(estimates.mean_name);
  report.mean.constant = kNaN;
  report.mean.used = static_cast<std::int32_t>(estimates.mean_used);
  report.sp = statistics::ToEstimate(estimates.sp);
  report.sw = statistics::ToEstimate(estimates.sw);
  if (estimates.gamma.Exists()) report.gamma = statistics::ToEstimate(estimates.gamma);
  report.average_size = estimates.mean_size;
  return report;
}

}  // namespace orvspc::engine::charts
