// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "engine/studies/SamplingPlan.h"

// What a sampling plan says of a lot of which something was inspected.
namespace orvspc::studies {

// Units that were inspected together, which of defects may be fractions, and the bad ones, or
// defects, among them. 0 or NaN units: not known how many.
struct LotSample {
  double units = 0.0;
  std::int64_t bad = 0;
};

enum class LotVerdict { Undecided, Take, Refuse };

struct LotDecision {
  double units = 0.0;    // of all samples whose size is known
  std::int64_t bad = 0;  // of all samples
  LotVerdict verdict = LotVerdict::Undecided;
  std::string reason;  // "2 bad units in 125 units, the plan takes at most 3"
};

// By the units that were inspected first, as many as the plan has; samples are oldest first. Where
// in a sample its bad units lie is not known: where the plan's sample ends within one, the lot is
// taken or refused if that holds wherever they lie. Before the sample is complete a lot is refused
// as soon as too many are found, and nothing else is said. So it is where the size of a sample is
// not known before the plan's sample is complete by the others: all of its bad units count then.
//
// defects  bad counts defects, of which a unit may have several
// Units are added up to nine decimals.
// Throws std::invalid_argument for a sample with fewer than 0 or infinitely many units, fewer than
// 0 bad ones, or more bad units than units where these are known.
LotDecision DecideLot(const SinglePlan& plan, std::span<const LotSample> samples,
                      bool defects = false);
LotDecision DecideLot(const DoublePlan& plan, std::span<const LotSample> samples,
                      bool defects = false);

// "3 bad units in 50 units and 1 subgroup of unknown size": what all samples have together. Throws
// as DecideLot does.
std::string TextOfSamples(std::span<const LotSample> samples, bool defects = false);

}  // namespace orvspc::studies
