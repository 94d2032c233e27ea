// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "engine/catalogue/limits.h"
#include "engine/pareto/Lookups.h"
#include "engine/pareto/ParetoPlan.h"
#include "engine/pareto/Tallies.h"
#include "engine/store/logs.h"

// Counting: from what was selected to the bins before they are ranked.
namespace orvspc::engine::pareto {

// What is known of the tests behind the streams of a database.
class TestFacts {
 public:
  struct Limits : catalogue::SpecLimits {
    std::int32_t effective = 0;
    friend std::int32_t EffectiveTime(const Limits& limits) { return limits.effective; }
  };
  struct Facts {
    std::int32_t type = 0;  // TestTypes
    std::vector<Limits> limits;
  };

  // Inside a Read of the store. Of the streams of a data set where there is one, else of every one.
  TestFacts(const store::StoreCache& cache, const store::DataSet* data);
  // Without type and limits for what the database did not have.
  const Facts& Of(std::int32_t part, std::int32_t test) const;

 private:
  std::map<std::pair<std::int32_t, std::int32_t>, Facts> facts_;
  Facts none_;
};

struct Findings {
  KeyTable<Tally> tallies;
  KeyTable<Ground> grounds;  // of subgroups only
};

// The piece values of a bin, where all are of one part and test; else none.
struct PieceValues {
  PieceSource source;
  std::vector<double> values;
};

// How the subgroups of a selection are counted. What it refers to must outlive it.
struct SubgroupCounting {
  const ParetoPlan& plan;
  const Lookups& lookups;
  const TestFacts& facts;
  bool every_state;  // disabled subgroups count, too
  // Delivers the selection to a taker; false for a failure.
  std::function<bool(store::BatchTaker&)> deliver;
};

// Empty for a failure of the delivery.
std::optional<Findings> CountSubgroups(const SubgroupCounting& counting);
// The piece values of some bins: those of used subgroups of variable tests that have the bin's
// identifiers, in the order of the selection. Empty for a failure of the delivery.
std::optional<std::vector<PieceValues>> GatherValues(const SubgroupCounting& counting,
                                                     std::span<const BinKeys> bins);

// Events without an end last up to window_end.
Findings CountEvents(const ParetoPlan& plan, std::span<const store::EventRow> events,
                     const Lookups& lookups, std::int64_t window_end);
Findings CountStates(const ParetoPlan& plan, std::span<const StateEntry> entries,
                     const Lookups& lookups);

}  // namespace orvspc::engine::pareto
