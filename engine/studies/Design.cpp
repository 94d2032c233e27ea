// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/Design.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>

#include "engine/statistics/Distributions.h"
#include "engine/statistics/Numerics.h"
#include "engine/statistics/RunLengths.h"
#include "engine/studies/study_notes.h"

namespace orvspc::studies {

using namespace engine;

namespace {

using platform::kNaN;

// NaN of a decision interval or a width that does not exist.
double CusumMean(double k, double h, double shift) {
  return std::isnan(h) ? kNaN : statistics::CusumMeanRunLength({k, h}, shift);
}
double EwmaMean(double weight, double width, bool exact, double shift) {
  if (std::isnan(width)) return kNaN;
  return statistics::EwmaMeanRunLength({weight, width, exact, {}, statistics::Sides::Both}, shift);
}

// Of a chart with rule 1 alone.
double ShewhartMean(double width, double distance) {
  return 1.0 /
         (statistics::NormalAbove(width - distance) + statistics::NormalBelow(-width - distance));
}

// The x of run length arl0 between two bounds, by the logarithm, which is nearly straight.
template <class Mean>
double Solved(Mean mean, double arl0, double low, double high) {
  return statistics::Root([&](double x) { return std::log(mean(x) / arl0); }, low, high);
}

// The weight in hundredths whose run length at the shift is least: the curve has one valley.
double BestWeight(double arl0, double shift) {
  std::map<int, double> known;
  const auto at = [&](int hundredths) {
    const auto found = known.find(hundredths);
    if (found != known.end()) return found->second;
    const double weight = hundredths / 100.0;
    const double arl = EwmaMean(weight, EwmaWidth(weight, arl0, false), false, shift);
    return known[hundredths] = std::isnan(arl) ? std::numeric_limits<double>::infinity() : arl;
  };
  int low = 1, high = 99;
  while (high - low > 3) {
    const int left = low + (high - low) * 382 / 1000, right = low + (high - low) * 618 / 1000;
    (at(left) <= at(right) ? high : low) = at(left) <= at(right) ? right : left;
  }
  int best = low;
  for (int next = low + 1; next <= high; ++next) {
    if (at(next) < at(best)) best = next;
  }
  return best / 100.0;
}

std::int64_t LeastSize(double width, const DesignOptions& options) {
  constexpr std::int64_t kMost = 1'000'000;
  const auto reaches = [&](std::int64_t size) {
    return ShewhartMean(width, options.shift * std::sqrt(static_cast<double>(size))) <=
           options.wanted;
  };
  if (!reaches(kMost)) return 0;
  std::int64_t low = 0, high = kMost;  // low does not reach it
  while (high - low > 1) {
    const auto middle = low + (high - low) / 2;
    (reaches(middle) ? high : low) = middle;
  }
  return high;
}

}  // namespace

double CusumDecision(double k, double arl0) {
  constexpr double kMost = 50.0;
  const auto mean = [&](double h) { return CusumMean(k, h, 0.0); };
  // Run lengths grow like exp(2kh), beyond what is exact: the bracket must not reach that far.
  double low = 1e-6, high = 0.5;
  while (high < kMost && mean(high) < arl0) {
    low = high;
    high = std::min(kMost, 1.5 * high);
  }
  return Solved(mean, arl0, low, high);
}

double EwmaWidth(double weight, double arl0, bool exact) {
  return Solved([&](double width) { return EwmaMean(weight, width, exact, 0.0); }, arl0, 1e-3, 6.0);
}

DesignStudy StudyDesign(const DesignOptions& options) {
  Need(options.arl0 >= 2.0 && options.arl0 <= 1e6, "arl0 must be 2 to 1000000");
  Need(options.shift >= 0.05 && options.shift <= 10.0, "shift must be 0.05 to 10");
  Need(options.wanted == 0.0 || options.wanted > 1.0, "the wanted run length must be above 1");
  DesignStudy study;
  auto& cusum = study.cusum;
  cusum.k = std::min(3.0, options.shift / 2.0);
  cusum.h = CusumDecision(cusum.k, options.arl0);
  cusum.arl = CusumMean(cusum.k, cusum.h, options.shift);

  auto& ewma = study.ewma;
  ewma.weight = BestWeight(options.arl0, options.shift);
  ewma.width = EwmaWidth(ewma.weight, options.arl0, options.exact);
  ewma.arl = EwmaMean(ewma.weight, ewma.width, options.exact, options.shift);

  if (options.exact) {
    study.notes.push_back(
        {"weight-of-asymptotic-limits",
         "The weight of the EWMA is the best one with asymptotic limits; exact ones, narrow at the "
         "start, favour ever smaller weights for a shift that is there from the first point.",
         {}});
  }

  auto& shewhart = study.shewhart;
  shewhart.width = statistics::NormalUpperQuantile(0.5 / options.arl0);
  shewhart.arl = ShewhartMean(shewhart.width, options.shift);
  if (options.wanted > 0.0) {
    shewhart.least_size = LeastSize(shewhart.width, options);
    if (shewhart.least_size > 0) {
      shewhart.arl_at_size = ShewhartMean(
          shewhart.width, options.shift * std::sqrt(static_cast<double>(shewhart.least_size)));
    }
  }
  if (std::isnan(cusum.h)) {
    study.notes.push_back(
        {"no-design", "No cusum with h up to 50 has that run length without a shift.", {}});
  }
  if (std::isnan(ewma.width)) {
    study.notes.push_back(
        {"no-design", "No EWMA with a width up to 6 has that run length without a shift.", {}});
  }
  return study;
}

}  // namespace orvspc::studies
