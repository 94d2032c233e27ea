// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <unordered_map>
#include <utility>
#include <vector>

#include "engine/pareto/Lookups.h"
#include "engine/pareto/ParetoPlan.h"
#include "engine/pareto/Tallies.h"
#include "engine/store/EventLog.h"
#include "engine/store/Store.h"

// Counting: from what was selected to the bins before they are ranked.
namespace orvspc::engine {

// What is known of the tests behind a data set. Built before the counting, which two threads share.
class TestFacts {
 public:
  struct Limits {
    std::int32_t effective;
    double lower, upper;  // infinite where there is none
  };
  struct Facts {
    std::int32_t type = 0;  // TestTypes
    std::vector<Limits> limits;
    // Those in force at a time; null when none are.
    const Limits* At(std::int32_t time) const;
  };

  TestFacts(Store& store, const DataSet& data);
  const Facts& Of(std::int32_t part, std::int32_t test) const {
    return facts_.at(KeyOf(part, test));
  }

 private:
  static std::uint64_t KeyOf(std::int32_t part, std::int32_t test) {
    return (std::uint64_t{static_cast<std::uint32_t>(part)} << 32) |
           static_cast<std::uint32_t>(test);
  }
  std::unordered_map<std::uint64_t, Facts> facts_;
};

struct Findings {
  KeyTable<Tally> tallies;
  KeyTable<Ground> grounds;  // of subgroups only
};

// Whether subgroups that are not enabled count too: those are all that the states of a selection
// asked for.
bool CountsEveryState(std::int32_t status);

Findings CountSubgroups(const ParetoPlan& plan, const DataSet& data, const Lookups& lookups,
                        const TestFacts& facts, bool every_state);
// Events without an end last up to window_end.
Findings CountEvents(const ParetoPlan& plan, std::span<const EventRow> events,
                     const Lookups& lookups, std::int64_t window_end);
Findings CountStates(const ParetoPlan& plan, std::span<const StateEntry> entries,
                     const Lookups& lookups);

// The identifiers of the plan's levels that a whole subgroup has; false: a row's.
bool IsOfSubgroup(const ParetoLevel& level);

// The piece values behind some bins, in the order of the bins: those of used subgroups of variable
// tests that have the bin's identifiers.
std::vector<std::vector<double>> ValuesOf(const ParetoPlan& plan, const DataSet& data,
                                          const Lookups& lookups, const TestFacts& facts,
                                          bool every_state, std::span<const BinKeys> bins);

}  // namespace orvspc::engine
