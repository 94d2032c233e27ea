// SPDX-License-Identifier: Apache-2.0
#include "engine/capability/Figures.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include "engine/capability/Limits.h"
#include "engine/catalogue/limits.h"
#include "platform/Enumerations.h"
#include "platform/NaN.h"

namespace orvspc::engine::capability {
namespace {

// Beyond this score the probability of a tail underflows to 0.
constexpr double kFarthestScore = 37.5;

// A limit with the fields of its results. The target and the labelled quantity have two rows and
// one score, in the lower one: positive when the mean lies above.
template <class Limits, class Results>
struct LimitRow {
  std::int32_t flag;  // of the limits' EFlag; 0: always there
  bool is_upper;
  platform::WireDouble Limits::*limit;
  platform::WireDouble Results::*score;
  platform::WireDouble Results::*actual;
  platform::WireDouble Results::*expected;

  bool IsIn(const Limits& limits) const { return flag == 0 || (limits.EFlag & flag) != 0; }
};

using Sl = API_CASpecLim8;
using Sr = API_CASpecResults;
constexpr LimitRow<Sl, Sr> kSpecRows[] = {
    {slfURL, true, &Sl::Url, &Sr::zUrl, &Sr::ActAboveURL, &Sr::ExpAboveURL},
    {slfUSL, true, &Sl::Usl, &Sr::zUsl, &Sr::ActAboveUSL, &Sr::ExpAboveUSL},
    {slfUGB, true, &Sl::Ugb, &Sr::zUwl, &Sr::ActAboveUWL, &Sr::ExpAboveUWL},
    {slfTAR, true, &Sl::Tar, nullptr, &Sr::ActAboveTAR, &Sr::ExpAboveTAR},
    {slfTAR, false, &Sl::Tar, &Sr::zTar, &Sr::ActBelowTAR, &Sr::ExpBelowTAR},
    {slfLGB, false, &Sl::Lgb, &Sr::zLwl, &Sr::ActBelowLWL, &Sr::ExpBelowLWL},
    {slfLSL, false, &Sl::Lsl, &Sr::zLsl, &Sr::ActBelowLSL, &Sr::ExpBelowLSL},
    {slfLRL, false, &Sl::Lrl, &Sr::zLrl, &Sr::ActBelowLRL, &Sr::ExpBelowLRL},
};

using Nl = API_CANccLim8;
using Nr = API_CANccResults;
constexpr LimitRow<Nl, Nr> kNetContentRows[] = {
    {catalogue::nclMavU, true, &Nl::MavU, &Nr::zMAVU, &Nr::ActAboveMAVU, &Nr::ExpAboveMAVU},
    {catalogue::nclT1U, true, &Nl::T1U, &Nr::zT1U, &Nr::ActAboveT1U, &Nr::ExpAboveT1U},
    {catalogue::nclT2U, true, &Nl::T2U, &Nr::zT2U, &Nr::ActAboveT2U, &Nr::ExpAboveT2U},
    {0, true, &Nl::Lsc, nullptr, &Nr::ActAboveLSC, &Nr::ExpAboveLSC},
    {catalogue::nclMavL, false, &Nl::MavL, &Nr::zMAVL, &Nr::ActBelowMAVL, &Nr::ExpBelowMAVL},
    {catalogue::nclT1L, false, &Nl::T1L, &Nr::zT1L, &Nr::ActBelowT1L, &Nr::ExpBelowT1L},
    {catalogue::nclT2L, false, &Nl::T2L, &Nr::zT2L, &Nr::ActBelowT2L, &Nr::ExpBelowT2L},
    {0, false, &Nl::Lsc, &Nr::zLSC, &Nr::ActBelowLSC, &Nr::ExpBelowLSC},
};

// Counts by the rows; value_of gives the limit of a row.
template <class Rows, class Limits, class ValueOf>
statistics::BeyondCounts CountsFor(const Rows& rows, const Limits& limits, ValueOf value_of) {
  // A counter skips a limit that is NaN.
  std::vector<double> upper(std::size(rows), platform::kNaN), lower = upper;
  for (std::size_t i = 0; i < upper.size(); ++i) {
    if (rows[i].IsIn(limits)) (rows[i].is_upper ? upper : lower)[i] = value_of(rows[i]);
  }
  return {upper, lower};
}

// whole   what all of the values are: 1, or 100 percent
template <class Rows, class Limits, class Results>
void SetActual(const Rows& rows, double whole, const statistics::BeyondCounts& counts,
               std::int64_t count, const Limits& limits, Results& results) {
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    if (!rows[i].IsIn(limits)) continue;
    const auto beyond = rows[i].is_upper ? counts.Above(i) : counts.Below(i);
    results.*rows[i].actual = whole * static_cast<double>(beyond) / static_cast<double>(count);
  }
}

// score_of gives the score of a row's limit, positive when the mean lies inside.
template <class Rows, class Limits, class Results, class ScoreOf>
void SetExpected(const Rows& rows, double whole, double farthest, const Limits& limits,
                 Results& results, ScoreOf score_of) {
  for (const auto& row : rows) {
    if (!row.IsIn(limits)) continue;
    const double score = score_of(row);
    if (row.score != nullptr) results.*row.score = Defined(std::clamp(score, -farthest, farthest));
    results.*row.expected = Defined(whole * statistics::NormalAbove(score));
  }
}

// The normal score of the expected proportion outside, taken on one side; 0 without limits.
double BenchmarkScore(const statistics::Distribution& distribution,
                      const statistics::Tolerance& tolerance) {
  if (!tolerance.HasLimit()) return 0.0;
  double outside = 0.0;
  if (tolerance.usl) outside += distribution.Above(*tolerance.usl);
  if (tolerance.lsl) outside += distribution.Below(*tolerance.lsl);
  if (std::isnan(outside)) return 0.0;
  return std::clamp(statistics::NormalUpperQuantile(std::clamp(outside, 0.0, 1.0)), -kFarthestScore,
                    kFarthestScore);
}

// Points of the curve at equal distances across the window, scaled to the bars.
void DrawCurve(const statistics::Distribution* distribution, std::int64_t count,
               const FitOutput& out) {
  const double low = out.bins.front().XMin, high = out.bins.back().XMax, width = high - low;
  const double bin = width / static_cast<double>(out.bins.size());
  const double steps = out.x.size() > 1 ? static_cast<double>(out.x.size() - 1) : 1.0;
  for (std::size_t i = 0; i < out.x.size(); ++i) {
    out.x[i] =
        i > 0 && i + 1 == out.x.size() ? high : low + width * (static_cast<double>(i) / steps);
    out.y[i] = distribution == nullptr
                   ? 0.0
                   : Defined(static_cast<double>(count) * bin * distribution->Density(out.x[i]));
  }
}

}  // namespace

API_CACPs ShortTermIndices(double mean, double sigma, const statistics::Tolerance& tolerance) {
  const auto indices = statistics::IndicesOf(statistics::Reach::OfNormal(mean, sigma), tolerance);
  return {.Cp = Defined(indices.p),
          .Cpk = Defined(indices.k),
          .Cpu = Defined(indices.upper),
          .Cpl = Defined(indices.lower),
          .Cr = Defined(indices.ratio),
          .Cpr = Defined(statistics::AimRatio(mean, sigma, tolerance)),
          .Cpm = Defined(indices.m)};
}

statistics::BeyondCounts SpecCounts(const API_CASpecLim8& limits) {
  return CountsFor(kSpecRows, limits, [&](const auto& row) -> double { return limits.*row.limit; });
}

void SetActual(const statistics::BeyondCounts& counts, std::int64_t count,
               const API_CASpecLim8& limits, API_CASpecResults& results) {
  SetActual(kSpecRows, 1.0, counts, count, limits, results);
}

std::vector<double> ExpectedCounts(const statistics::Distribution* distribution,
                                   std::span<const API_CABin> bins, std::int64_t count) {
  std::vector<double> expected(bins.size());
  if (distribution == nullptr) return expected;
  for (std::size_t i = 0; i < bins.size(); ++i) {
    expected[i] =
        Defined(static_cast<double>(count) * distribution->Between(bins[i].XMin, bins[i].XMax));
  }
  return expected;
}

void WriteFit(Fit fit, std::int64_t count, const FitOutput& out, CapabilityReport& report) {
  const auto tolerance = ToleranceOf(out.limits);
  const auto indices = statistics::IndicesOf(fit.reach, tolerance);
  out.pps = {.Pp = Defined(indices.p),
             .Ppk = Defined(indices.k),
             .Ppu = Defined(indices.upper),
             .Ppl = Defined(indices.lower),
             .Pr = Defined(indices.ratio),
             .Ppm = Defined(indices.m)};
  out.chi_square = {fit.test.degrees, Defined(fit.test.value), Defined(fit.test.probability)};
  DrawCurve(fit.distribution, count, out);
  report.expected = std::move(fit.expected);
  if (fit.distribution == nullptr) return;
  report.law = fit.distribution->Name();
  out.summary.ZBench = BenchmarkScore(*fit.distribution, tolerance);
  SetExpected(kSpecRows, 1.0, fit.clamps_scores ? kFarthestScore : INFINITY, out.limits,
              out.results, [&](const auto& row) {
                const double score = fit.distribution->Score(out.limits.*row.limit);
                return row.is_upper ? score : -score;
              });
}

API_CANccResults NetContentResults(const statistics::Sample& values, const API_CANccLim8& limits) {
  API_CANccResults results{};
  if (limits.Head[0] == 0 || values.Count() == 0) return results;
  constexpr double kPercent = 100.0;
  // Limits in the unit of the values.
  const double factor = limits.Fctr > 0.0 ? double{limits.Fctr} : 1.0;
  const auto limit_of = [&](const auto& row) { return limits.*row.limit / factor; };

  auto centre = CentreOf(values);
  statistics::DeviationSums deviations(centre.origin, centre.shift);
  auto beyond = CountsFor(kNetContentRows, limits, [&](const auto& row) {
    const double limit = limit_of(row);
    return row.is_upper ? statistics::HighestOn(limit) : statistics::LowestOn(limit);
  });
  SumBlocks(values, deviations, beyond);
  SetActual(kNetContentRows, kPercent, beyond, centre.count, limits, results);
  SetDeviation(deviations, centre);
  if (!(centre.sd > 0.0 && std::isfinite(centre.sd))) return results;
  SetExpected(kNetContentRows, kPercent, INFINITY, limits, results, [&](const auto& row) {
    const double limit = limit_of(row);
    return (row.is_upper ? limit - centre.mean : centre.mean - limit) / centre.sd;
  });
  return results;
}

}  // namespace orvspc::engine::capability
