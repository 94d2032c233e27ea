// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/LotDecision.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "engine/studies/study_notes.h"

namespace orvspc::studies {
namespace {

constexpr const char* kUnknownSize = "how many units were inspected is not known";

std::string Number(std::int64_t value) { return std::to_string(value); }

std::string Number(double value) {
  char text[400];
  char* const end = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed).ptr;
  return {text, end};
}

// To nine decimals: ten times 0.1 are 1.
double ExactSum(double a, double b) {
  constexpr double kUnit = 1e9;
  return std::round((a + b) * kUnit) / kUnit;
}

// What is known of the units that were inspected first.
struct Found {
  std::int64_t least = 0, most = 0;  // bad ones among them
  double units = 0.0;
  double missing = 0.0;      // units that were asked for and not inspected
  std::int64_t unsized = 0;  // samples of unknown size among them
  std::string text;          // "2 to 3 bad units in the first 125 of 150 units"
};

class Inspected {
 public:
  Inspected(std::span<const LotSample> samples, bool defects)
      : samples_(samples), defects_(defects) {
    for (const auto& sample : samples) {
      Need(!(sample.units < 0.0) && !std::isinf(sample.units) && sample.bad >= 0,
           "units and bad units must be 0 or more");
      Need(defects || !IsSized(sample) || static_cast<double>(sample.bad) <= sample.units,
           "there are more bad units than units");
      if (IsSized(sample)) units_ = ExactSum(units_, sample.units);
      bad_ += sample.bad;
    }
  }

  Found Of(std::int64_t first) const {
    const auto most = static_cast<double>(first);
    Found found;
    for (const auto& sample : samples_) {
      if (found.units == most) break;
      const double units = IsSized(sample) ? sample.units : 0.0;
      const double sum = ExactSum(found.units, units);
      found.unsized += IsSized(sample) ? 0 : 1;
      if (sum <= most) {
        found.least += sample.bad;
        found.most += sample.bad;
      } else {
        const double bad = static_cast<double>(sample.bad);
        const double taken = std::ceil(most - found.units), rest = std::ceil(sum - most);
        found.least += defects_ ? 0 : static_cast<std::int64_t>(std::max(0.0, bad - rest));
        found.most += defects_ ? sample.bad : static_cast<std::int64_t>(std::min(bad, taken));
      }
      found.units = std::min(sum, most);
    }
    found.missing = ExactSum(most, -found.units);
    found.text = Number(found.least);
    if (found.most > found.least) found.text += " to " + Number(found.most);
    found.text += defects_ ? " defect" : " bad unit";
    if (found.most != 1) found.text += "s";
    if (units_ > 0.0 || found.unsized == 0) {
      found.text += units_ > most ? " in the first " + Number(first) + " of " + Number(units_)
                                  : " in " + Number(units_);
      found.text += units_ == 1.0 ? " unit" : " units";
    }
    if (found.unsized > 0) {
      found.text += (units_ > 0.0 ? " and " : " in ") + Number(found.unsized) +
                    (found.unsized == 1 ? " subgroup" : " subgroups") + " of unknown size";
    }
    return found;
  }

  LotDecision Says(LotVerdict verdict, const std::string& reason) const {
    return {units_, bad_, verdict, reason};
  }

 private:
  static bool IsSized(const LotSample& sample) { return sample.units > 0.0; }

  std::span<const LotSample> samples_;
  bool defects_;
  double units_ = 0.0;
  std::int64_t bad_ = 0;
};

// Taken with at most c of the first n.
LotDecision ByLast(const Inspected& lot, std::int64_t n, std::int64_t c) {
  const auto found = lot.Of(n);
  const auto rule = ", the plan takes at most " + Number(c);
  if (found.least > c) return lot.Says(LotVerdict::Refuse, found.text + rule);
  if (found.unsized > 0) {
    return lot.Says(LotVerdict::Undecided,
                    found.text + rule + " in " + Number(n) + "; " + kUnknownSize);
  }
  if (found.missing > 0.0) {
    return lot.Says(LotVerdict::Undecided, found.text + rule + " in " + Number(n) + "; " +
                                               Number(found.missing) + " more are to be inspected");
  }
  if (found.most <= c) return lot.Says(LotVerdict::Take, found.text + rule);
  return lot.Says(LotVerdict::Undecided,
                  found.text + rule + "; where in its subgroup the last one lies is not known");
}

}  // namespace

LotDecision DecideLot(const SinglePlan& plan, std::span<const LotSample> samples, bool defects) {
  return ByLast(Inspected(samples, defects), plan.n, plan.c);
}

LotDecision DecideLot(const DoublePlan& plan, std::span<const LotSample> samples, bool defects) {
  const Inspected lot(samples, defects);
  const auto first = lot.Of(plan.n1);
  const auto rule = ", the first sample refuses " + Number(plan.r1) + " or more";
  if (first.least >= plan.r1) return lot.Says(LotVerdict::Refuse, first.text + rule);
  auto last = ByLast(lot, plan.n1 + plan.n2, plan.c2);
  if (first.least > plan.c1 && last.verdict == LotVerdict::Refuse) return last;
  if (first.unsized > 0) {
    return lot.Says(LotVerdict::Undecided, first.text + rule + "; " + kUnknownSize);
  }
  if (first.missing > 0.0) {
    return lot.Says(LotVerdict::Undecided,
                    first.text + "; " + Number(first.missing) + " more are to be inspected");
  }
  if (first.most <= plan.c1) {
    return lot.Says(LotVerdict::Take,
                    first.text + ", the first sample takes at most " + Number(plan.c1));
  }
  if (first.least <= plan.c1 || first.most >= plan.r1) {
    return lot.Says(LotVerdict::Undecided,
                    first.text + "; where in its subgroup the last one lies is not known");
  }
  return last;
}

std::string TextOfSamples(std::span<const LotSample> samples, bool defects) {
  return Inspected(samples, defects).Of(std::numeric_limits<std::int64_t>::max()).text;
}

}  // namespace orvspc::studies
