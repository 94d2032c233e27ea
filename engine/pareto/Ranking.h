// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "engine/pareto/Findings.h"
#include "engine/pareto/Lookups.h"
#include "engine/pareto/ParetoPlan.h"
#include "platform/ParetoRecords.h"

namespace orvspc::engine::pareto {

// What a bin holds that is shown; tally is null for an empty one.
struct RankedBin {
  BinKeys keys{};
  const Tally* tally = nullptr;
  double value = 0.0, total = 0.0;
  std::array<double, kMaxLevels> percent{};  // in the order of the plan's levels
};

struct RankedBins {
  std::vector<RankedBin> bins;
  bool is_cut = false;  // there are more
};

// Total of a bin: the base of its proportions.
using TotalOf = std::function<double(const BinKeys&)>;

// Ranks the bins and cuts them to the number that was asked for.
//   Items of the first level are sorted by the sum of their bins' values, descending.
//   Within an item those of the second level are sorted in the same way, then those of the third.
//   Ties are broken by name without case, then by identifier.
//   Times are in the order of time, with the empty ones in their place; other empty bins come last.
RankedBins Rank(const ParetoPlan& plan, const KeyTable<Tally>& tallies, Lookups& lookups,
                const TotalOf& total_of);

// The bin in its wire form, apart from what only subgroups have.
void WriteBin(const ParetoPlan& plan, const RankedBin& bin, Lookups& lookups, API_PABin& out);

// Bits of a bin's flag.
inline constexpr std::int32_t kBinEmpty = 1, kBinHasPpk = 2, kBinHasYield = 4, kBinIsOpen = 8;

}  // namespace orvspc::engine::pareto
