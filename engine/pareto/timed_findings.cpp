// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "engine/pareto/Findings.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::pareto {
namespace {

using catalogue::ItemKind;

void Add(Tally& tally, double amount, double factor) {
  tally.amount += amount;
  tally.weighted += amount * factor;
  tally.records += 1.0;
}

bool BinsBy(const ParetoPlan& plan, std::initializer_list<std::int32_t> types) {
  return std::any_of(plan.levels.begin(), plan.levels.end(), [&](const ParetoLevel& level) {
    return std::find(types.begin(), types.end(), level.kind->type) != types.end();
  });
}

double Between(std::int64_t from, std::optional<std::int64_t> to) {
  return to ? static_cast<double>(std::max<std::int64_t>(*to - from, 0)) : 0.0;
}

// Whether an event still lasts. What was disabled, deleted or edited is done at once.
bool IsOpen(const store::EventRow& event) {
  const bool is_change = event.type == etSubgroupDisable || event.type == etSubgroupDelete ||
                         event.type == etSubgroupEdit;
  return !is_change && !event.is_over && !event.finish && !event.cac_time && !event.acc_time;
}

double AmountOf(paAccumulationTypes accumulation, const store::EventRow& event,
                std::int64_t window_end) {
  switch (accumulation) {
    case paAccumulateByEventTime: {
      auto end = event.finish;
      if (!end) end = event.cac_time;
      if (!end) end = event.acc_time;
      if (!end && event.is_over) end = event.time;
      return Between(event.time, end ? *end : window_end);
    }
    case paAccumulateByAccTime:
      return Between(event.time, event.acc_time);
    case paAccumulateByCacTime:
      return Between(event.time, event.cac_time);
    default:
      return 1.0;
  }
}

}  // namespace

Findings CountEvents(const ParetoPlan& plan, std::span<const store::EventRow> events,
                     const Lookups& lookups, std::int64_t window_end) {
  // An event may have two codes with a weight: that of the code that is binned by counts, else that
  // of the cause, else that of what was done.
  const bool by_cause = BinsBy(plan, {paBinTypeACC, paBinTypeAcgp});
  const bool by_action = !by_cause && BinsBy(plan, {paBinTypeCAC, paBinTypeCagp});
  const auto factor_of = [&](const store::EventRow& event) {
    const bool action = by_action || (!by_cause && event.acc == 0);
    return action ? lookups.FactorOf(ItemKind::CacCode, event.cac)
                  : lookups.FactorOf(ItemKind::AccCode, event.acc);
  };
  Findings findings;
  auto readers = lookups.Readers();
  BinKeys keys{};
  for (const auto& event : events) {
    ReadKeys(readers, event, &BinFields::event, keys);
    auto& tally = findings.tallies.Of(keys);
    Add(tally, AmountOf(plan.accumulation, event, window_end), factor_of(event));
    tally.has_open = tally.has_open || IsOpen(event);
  }
  return findings;
}

Findings CountStates(const ParetoPlan& plan, std::span<const StateEntry> entries,
                     const Lookups& lookups) {
  const auto amount_of = [&](const StateEntry& entry) {
    switch (plan.accumulation) {
      case paAccumulateByEventTime:
        return entry.seconds;
      // A state has neither code, so neither time.
      case paAccumulateByAccTime:
      case paAccumulateByCacTime:
        return 0.0;
      default:
        return 1.0;
    }
  };
  Findings findings;
  auto readers = lookups.Readers();
  BinKeys keys{};
  for (const auto& entry : entries) {
    ReadKeys(readers, entry, &BinFields::state, keys);
    Add(findings.tallies.Of(keys), amount_of(entry),
        lookups.FactorOf(ItemKind::StateCode, entry.state));
  }
  return findings;
}

}  // namespace orvspc::engine::pareto
