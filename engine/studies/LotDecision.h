// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "engine/studies/SamplingPlan.h"

// What a sampling plan says of a lot of which something was inspected.
namespace orvspc::studies {

// Units that were inspected together, 0 for not known how many, and the bad ones, or defects, among
// them.
struct LotSample {
  std::int64_t units = 0, bad = 0;
};

enum class LotVerdict { Undecided, Take, Refuse };

struct LotDecision {
  std::int64_t units = 0, bad = 0;  // of all samples; units of those whose size is known
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
// Throws std::invalid_argument for a sample with fewer than 0 units or bad ones, or more bad units
// than units where these are known.
LotDecision DecideLot(const SinglePlan& plan, std::span<const LotSample> samples,
                      bool defects = false);
LotDecision DecideLot(const DoublePlan& plan, std::span<const LotSample> samples,
                      bool defects = false);

}  // namespace orvspc::studies
