// SPDX-License-Identifier: Apache-2.0
#include "engine/capability/Figures.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "engine/statistics/SampleSums.h"
#include "platform/Enumerations.h"
#include "platform/NaN.h"

namespace orvspc::engine::capability {
namespace {

using SpecRow = LimitRow<API_CASpecLim8, API_CASpecResults>;
constexpr SpecRow kUpper[] = {
    {slfURL, &API_CASpecLim8::Url, &API_CASpecResults::zUrl, &API_CASpecResults::ActAboveURL,
     &API_CASpecResults::ExpAboveURL},
    {slfUSL, &API_CASpecLim8::Usl, &API_CASpecResults::zUsl, &API_CASpecResults::ActAboveUSL,
     &API_CASpecResults::ExpAboveUSL},
    {slfUGB, &API_CASpecLim8::Ugb, &API_CASpecResults::zUwl, &API_CASpecResults::ActAboveUWL,
     &API_CASpecResults::ExpAboveUWL},
    {slfTAR, &API_CASpecLim8::Tar, nullptr, &API_CASpecResults::ActAboveTAR,
     &API_CASpecResults::ExpAboveTAR},
};
constexpr SpecRow kLower[] = {
    {slfTAR, &API_CASpecLim8::Tar, &API_CASpecResults::zTar, &API_CASpecResults::ActBelowTAR,
     &API_CASpecResults::ExpBelowTAR},
    {slfLGB, &API_CASpecLim8::Lgb, &API_CASpecResults::zLwl, &API_CASpecResults::ActBelowLWL,
     &API_CASpecResults::ExpBelowLWL},
    {slfLSL, &API_CASpecLim8::Lsl, &API_CASpecResults::zLsl, &API_CASpecResults::ActBelowLSL,
     &API_CASpecResults::ExpBelowLSL},
    {slfLRL, &API_CASpecLim8::Lrl, &API_CASpecResults::zLrl, &API_CASpecResults::ActBelowLRL,
     &API_CASpecResults::ExpBelowLRL},
};

std::vector<double> LimitsOf(std::span<const SpecRow> rows, const API_CASpecLim8& limits) {
  std::vector<double> values;
  for (const auto& row : rows) {
    values.push_back(row.IsIn(limits) ? double{limits.*row.limit} : platform::kNaN);
  }
  return values;
}

double Clamp(double score, bool clamped) {
  return clamped ? std::clamp(score, -kFarthestScore, kFarthestScore) : score;
}

}  // namespace

API_CACPs ShortTermIndices(double mean, double sigma, const statistics::Tolerance& tolerance) {
  API_CACPs record{};
  const auto indices = statistics::IndicesOf(statistics::Reach::OfNormal(mean, sigma), tolerance);
  record.Cp = Defined(indices.p);
  record.Cpk = Defined(indices.k);
  record.Cpu = Defined(indices.upper);
  record.Cpl = Defined(indices.lower);
  record.Cr = Defined(indices.ratio);
  record.Cpr = Defined(statistics::AimRatio(mean, sigma, tolerance));
  record.Cpm = Defined(indices.m);
  return record;
}

API_CAPPs LongTermIndices(const statistics::Reach& reach, const statistics::Tolerance& tolerance) {
  API_CAPPs record{};
  const auto indices = statistics::IndicesOf(reach, tolerance);
  record.Pp = Defined(indices.p);
  record.Ppk = Defined(indices.k);
  record.Ppu = Defined(indices.upper);
  record.Ppl = Defined(indices.lower);
  record.Pr = Defined(indices.ratio);
  record.Ppm = Defined(indices.m);
  return record;
}

std::vector<double> UpperLimits(const API_CASpecLim8& limits) { return LimitsOf(kUpper, limits); }

std::vector<double> LowerLimits(const API_CASpecLim8& limits) { return LimitsOf(kLower, limits); }

void SetActual(const statistics::BeyondCounts& counts, std::int64_t count,
               const API_CASpecLim8& limits, API_CASpecResults& results) {
  const auto proportion = [&](std::int64_t beyond) {
    return static_cast<double>(beyond) / static_cast<double>(count);
  };
  for (std::size_t i = 0; i < std::size(kUpper); ++i) {
    if ((limits.EFlag & kUpper[i].flag) != 0)
      results.*kUpper[i].actual = proportion(counts.Above(i));
  }
  for (std::size_t i = 0; i < std::size(kLower); ++i) {
    if ((limits.EFlag & kLower[i].flag) != 0)
      results.*kLower[i].actual = proportion(counts.Below(i));
  }
}

void SetExpected(const statistics::Distribution& distribution, bool clamped,
                 const API_CASpecLim8& limits, API_CASpecResults& results) {
  for (const auto& row : kUpper) {
    if (!row.IsIn(limits)) continue;
    const double score = distribution.Score(limits.*row.limit);
    if (row.score != nullptr) results.*row.score = Defined(Clamp(score, clamped));
    results.*row.expected = Defined(statistics::NormalAbove(score));
  }
  for (const auto& row : kLower) {
    if (!row.IsIn(limits)) continue;
    const double score = distribution.Score(limits.*row.limit);
    results.*row.score = Defined(Clamp(-score, clamped));
    results.*row.expected = Defined(statistics::NormalBelow(score));
  }
}

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

void DrawCurve(const statistics::Distribution* distribution, const statistics::Window& window,
               std::int64_t count, std::size_t bins, std::span<double> x, std::span<double> y) {
  const double bin = window.Width() / static_cast<double>(bins);
  const double steps = x.size() > 1 ? static_cast<double>(x.size() - 1) : 1.0;
  for (std::size_t i = 0; i < x.size(); ++i) {
    x[i] = window.low + window.Width() * (static_cast<double>(i) / steps);
  }
  if (x.size() > 1) x.back() = window.high;
  for (std::size_t i = 0; i < x.size(); ++i) {
    y[i] = distribution == nullptr
               ? 0.0
               : Defined(static_cast<double>(count) * bin * distribution->Density(x[i]));
  }
}

void SetChiSquare(const statistics::ChiSquareTest& test, API_CAChiSq& record) {
  record.DegFreedom = test.degrees;
  record.Value = Defined(test.value);
  record.Probability = Defined(test.probability);
}

std::vector<double> ExpectedCounts(const statistics::Distribution* distribution,
                                   std::span<const double> edges, std::int64_t count) {
  std::vector<double> expected(edges.size() - 1);
  if (distribution == nullptr) return expected;
  for (std::size_t i = 0; i + 1 < edges.size(); ++i) {
    expected[i] =
        Defined(static_cast<double>(count) * distribution->Between(edges[i], edges[i + 1]));
  }
  return expected;
}

}  // namespace orvspc::engine::capability
