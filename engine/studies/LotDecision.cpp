// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/LotDecision.h"

#include <algorithm>

#include "engine/studies/study_notes.h"

namespace orvspc::studies {
namespace {

constexpr const char* kUnknownSize = "how many units were inspected is not known";

std::string Number(std::int64_t value) { return std::to_string(value); }

// What is known of the units that were inspected first.
struct Found {
  std::int64_t least = 0, most = 0;  // bad ones among them
  std::int64_t units = 0;            // fewer than were asked for: no more were inspected
  std::int64_t unsized = 0;          // samples of unknown size among them
  std::string text;                  // "2 to 3 bad units in the first 125 of 150 units"
};

class Inspected {
 public:
  Inspected(std::span<const LotSample> samples, bool defects)
      : samples_(samples), defects_(defects) {
    for (const auto& sample : samples) {
      Need(sample.units >= 0 && sample.bad >= 0, "units and bad units must be 0 or more");
      Need(defects || sample.units == 0 || sample.bad <= sample.units,
           "there are more bad units than units");
      units_ += sample.units;
      bad_ += sample.bad;
    }
  }

  Found Of(std::int64_t first) const {
    Found found;
    for (const auto& sample : samples_) {
      if (found.units == first) break;
      const auto taken = std::min(sample.units, first - found.units);
      const auto rest = sample.units - taken;
      found.unsized += sample.units == 0 ? 1 : 0;
      if (rest == 0) {
        found.least += sample.bad;
        found.most += sample.bad;
      } else {
        found.least += defects_ ? 0 : std::max<std::int64_t>(0, sample.bad - rest);
        found.most += defects_ ? sample.bad : std::min(sample.bad, taken);
      }
      found.units += taken;
    }
    found.text = Number(found.least);
    if (found.most > found.least) found.text += " to " + Number(found.most);
    found.text += defects_ ? " defect" : " bad unit";
    if (found.most != 1) found.text += "s";
    if (units_ > 0 || found.unsized == 0) {
      found.text += units_ > first ? " in the first " + Number(first) + " of " + Number(units_)
                                   : " in " + Number(units_);
      found.text += units_ == 1 ? " unit" : " units";
    }
    if (found.unsized > 0) {
      found.text += (units_ > 0 ? " and " : " in ") + Number(found.unsized) +
                    (found.unsized == 1 ? " subgroup" : " subgroups") + " of unknown size";
    }
    return found;
  }

  LotDecision Says(LotVerdict verdict, const std::string& reason) const {
    return {units_, bad_, verdict, reason};
  }

 private:
  std::span<const LotSample> samples_;
  bool defects_;
  std::int64_t units_ = 0, bad_ = 0;
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
  if (found.units < n) {
    return lot.Says(LotVerdict::Undecided, found.text + rule + " in " + Number(n) + "; " +
                                               Number(n - found.units) +
                                               " more are to be inspected");
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
  if (first.units < plan.n1) {
    return lot.Says(LotVerdict::Undecided, first.text + "; " + Number(plan.n1 - first.units) +
                                               " more are to be inspected");
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

}  // namespace orvspc::studies
