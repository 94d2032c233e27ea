// SPDX-License-Identifier: Apache-2.0
#include "engine/pareto/ParetoLibrary.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include "engine/pareto/Findings.h"
#include "engine/pareto/Lookups.h"
#include "engine/pareto/ParetoPlan.h"
#include "engine/pareto/Ranking.h"
#include "engine/pareto/state_entries.h"
#include "engine/statistics/CapabilityIndices.h"
#include "engine/statistics/Moments.h"
#include "engine/store/Store.h"
#include "engine/store/conditions.h"
#include "engine/time/calendar.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::pareto {
namespace {

SubgroupRange RangeOf(const store::DataSet& data) {
  SubgroupRange range{INT32_MAX, -1};
  for (const auto& subgroup : data.subgroups) {
    range.first = std::min(range.first, subgroup.Sgrp);
    range.last = std::max(range.last, subgroup.Sgrp);
  }
  return range;
}

// One analysis, from the arguments of its call to the bins.
class Analysis {
 public:
  Analysis(store::Store& store, API_DSInfo& info, std::span<const std::int32_t> filter,
           const platform::ArrayRef& bins, API_PAOptions& options)
      : store_(store), info_(info), filter_(filter), bins_(bins), options_(options) {}

  std::int32_t Run(Resource resource) {
    auto resolved = info_;
    const auto offset = ZoneOffset();
    if (!offset) return 0;
    std::string reason;
    auto plan = MakePlan(resource, options_, *offset, reason);
    if (!plan) {
      store::AddNote("no-bins", reason);
      return 0;
    }
    plan->most_bins = std::min(plan->most_bins, bins_.As<API_PABin>().size());
    std::vector<API_PABin> made;
    bool is_read = false;
    switch (resource) {
      case Resource::Subgroups:
        is_read = Subgroups(*plan, resolved, made);
        break;
      case Resource::Events:
        is_read = Events(*plan, resolved, made);
        break;
      case Resource::States:
        is_read = States(*plan, resolved, made);
        break;
    }
    if (!is_read) return 0;
    info_ = resolved;
    std::copy(made.begin(), made.end(), bins_.As<API_PABin>().begin());
    options_.BinCount = static_cast<std::int32_t>(made.size());
    return options_.BinCount;
  }

 private:
  std::optional<std::int32_t> ZoneOffset() {
    std::int32_t offset = 0;
    if (!store_.Read([&](sql::Connection&) { offset = store_.Cache().zone_offset; })) {
      return std::nullopt;
    }
    return offset;
  }

  // Subgroups come in batches, so that large selections are counted while they are read and never
  // held. Names and descriptors of single subgroups are looked up for those that were selected, so
  // a level by these holds the selection first; so does one of a few subgroups, which costs
  // nothing.
  bool Subgroups(const ParetoPlan& plan, API_DSInfo& resolved, std::vector<API_PABin>& made) {
    const bool every_state = store::EveryStateCounts(resolved.Status);
    std::optional<store::DataSet> held;
    SubgroupRange range;
    if (NeedsHeld(plan)) {
      if (!store_.Select(resolved, filter_, {}, held.emplace())) return false;
      if (held->subgroups.empty()) return true;
      range = RangeOf(*held);
    }
    auto lookups = MakeLookups(plan, range);
    const auto facts = MakeFacts(held ? &*held : nullptr);
    if (!lookups || !facts) return false;
    const SubgroupCounting counting{plan, *lookups, *facts, every_state,
                                    [&](store::BatchTaker& taker) {
                                      if (!held) return Deliver(resolved, taker);
                                      taker.Begin(1);
                                      taker.Take(0, *held);
                                      return true;
                                    }};
    const auto counted = CountSubgroups(counting);
    if (!counted) return false;
    const auto& findings = *counted;
    if (findings.grounds.Items().empty()) return true;
    SetDomains(plan, findings, *lookups);
    const auto ranked = Rank(plan, findings.tallies, *lookups, [&](const BinKeys& keys) {
      const auto* const ground = GroundOf(plan, findings, keys);
      return ground == nullptr ? 0.0 : ground->units;
    });
    Write(plan, ranked, *lookups, made);
    for (std::size_t i = 0; i < made.size(); ++i) WriteYield(ranked.bins[i], made[i]);
    const auto wanted = BinsWithPpk(plan, findings, *facts, ranked.bins);
    if (!wanted.keys.empty()) {
      const auto values = GatherValues(counting, wanted.keys);
      if (!values) return false;
      WritePpk(wanted, *values, *facts, made);
    }
    if (made.empty())
      store::AddNote("nothing-found", "The selected subgroups have nothing to count");
    return true;
  }

  bool NeedsHeld(const ParetoPlan& plan) const {
    constexpr std::int32_t kFew = 10'000;
    if (info_.Count > 0 && info_.Count <= kFew) return true;
    return std::any_of(plan.levels.begin(), plan.levels.end(), [](const ParetoLevel& level) {
      return level.kind->of_subgroup == &API_SubgroupData::Sgrp;
    });
  }

  // The range that is written back is that of the call's own selection.
  bool Deliver(API_DSInfo& resolved, store::BatchTaker& taker) {
    auto info = info_;
    if (!store_.SelectInBatches(info, filter_, {}, taker)) return false;
    resolved = info;
    return true;
  }

  bool Events(const ParetoPlan& plan, API_DSInfo& resolved, std::vector<API_PABin>& made) {
    std::vector<store::EventRow> events;
    const bool is_read = store_.Read([&](sql::Connection& connection) {
      events = store::SelectEvents(connection, store_.Cache(), resolved, filter_);
    });
    if (!is_read) return false;
    if (events.empty()) return true;
    auto lookups = MakeLookups(plan, {});
    if (!lookups) return false;
    const auto findings = CountEvents(plan, events, *lookups, WindowEnd(resolved));
    const auto selected = static_cast<double>(events.size());
    Write(plan, Rank(plan, findings.tallies, *lookups, [&](const BinKeys&) { return selected; }),
          *lookups, made);
    return true;
  }

  bool States(const ParetoPlan& plan, API_DSInfo& resolved, std::vector<API_PABin>& made) {
    StateWindow window;
    const bool is_read = store_.Read([&](sql::Connection& connection) {
      window = ReadStateWindow(connection, store_.Cache(), resolved, filter_);
    });
    if (!is_read) return false;
    if (window.entries.empty()) return true;
    auto lookups = MakeLookups(plan, {});
    if (!lookups) return false;
    const auto findings = CountStates(plan, window.entries, *lookups);
    Write(plan,
          Rank(plan, findings.tallies, *lookups, [&](const BinKeys&) { return window.seconds; }),
          *lookups, made);
    return true;
  }

  std::optional<Lookups> MakeLookups(const ParetoPlan& plan, const SubgroupRange& subgroups) {
    std::optional<Lookups> lookups;
    const bool is_read = store_.Read([&](sql::Connection& connection) {
      lookups.emplace(store_, connection, plan, info_, filter_, subgroups);
    });
    if (!is_read) lookups.reset();
    return lookups;
  }

  std::optional<TestFacts> MakeFacts(const store::DataSet* data) {
    std::optional<TestFacts> facts;
    if (!store_.Read([&](sql::Connection&) { facts.emplace(store_.Cache(), data); })) facts.reset();
    return facts;
  }

  // An event that has not ended lasts to the end of the selection's window, and not beyond now.
  std::int64_t WindowEnd(const API_DSInfo& resolved) const {
    const bool is_open = info_.TimeType == drttStatic ? info_.TimeEnd == time::kNoStamp
                                                      : !store::HasTimeBounds(info_);
    return is_open ? time::Now() : std::min<std::int64_t>(resolved.TimeEnd, time::Now());
  }

  static const Ground* GroundOf(const ParetoPlan& plan, const Findings& findings, BinKeys keys) {
    for (std::size_t i = 0; i < plan.levels.size(); ++i) {
      if (!IsOfSubgroup(plan.levels[i])) keys[i] = 0;
    }
    return findings.grounds.Find(keys);
  }

  // Empty bins of a level by subgroup are the subgroups that were looked at.
  static void SetDomains(const ParetoPlan& plan, const Findings& findings, Lookups& lookups) {
    if (!plan.with_empty) return;
    for (std::size_t i = 0; i < plan.levels.size(); ++i) {
      if (plan.levels[i].kind->naming != Naming::Label) continue;
      std::vector<std::int32_t> ids;
      for (const auto& ground : findings.grounds.Items()) ids.push_back(ground.keys[i]);
      std::sort(ids.begin(), ids.end());
      ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
      lookups.SetDomain(i, std::move(ids));
    }
  }

  static void Write(const ParetoPlan& plan, const RankedBins& ranked, Lookups& lookups,
                    std::vector<API_PABin>& made) {
    const auto& bins = ranked.bins;
    made.resize(bins.size());
    for (std::size_t i = 0; i < bins.size(); ++i) WriteBin(plan, bins[i], lookups, made[i]);
    AddNotes(plan, bins, ranked.is_cut);
  }

  static void WriteYield(const RankedBin& ranked, API_PABin& bin) {
    if (!(ranked.total > 0.0)) return;
    const auto bad = ranked.tally == nullptr ? 0.0 : ranked.tally->nonconforming;
    // A bare count of defects may exceed the units; more than all of them cannot be bad.
    bin.Yield = 100.0 * (1.0 - std::min(bad, ranked.total) / ranked.total);
    bin.Flag = bin.Flag | kBinHasYield;
  }

  // Bins that may have piece values of one part and test with limits.
  struct Wanted {
    std::vector<BinKeys> keys;
    std::vector<std::size_t> places;
  };

  static Wanted BinsWithPpk(const ParetoPlan& plan, const Findings& findings,
                            const TestFacts& facts, const std::vector<RankedBin>& ranked) {
    const bool splits_subgroups =
        !std::all_of(plan.levels.begin(), plan.levels.end(), IsOfSubgroup);
    Wanted wanted;
    for (std::size_t i = 0; i < ranked.size(); ++i) {
      const auto* const ground = GroundOf(plan, findings, ranked[i].keys);
      if (ground == nullptr || ground->source.part == 0) continue;
      // The rows of several tests may still lie in different bins.
      const auto& source = ground->source;
      if (source.is_one ? facts.Of(source.part, source.test).limits.empty() : !splits_subgroups) {
        continue;
      }
      wanted.keys.push_back(ranked[i].keys);
      wanted.places.push_back(i);
    }
    return wanted;
  }

  static void WritePpk(const Wanted& wanted, const std::vector<PieceValues>& values,
                       const TestFacts& facts, std::vector<API_PABin>& made) {
    for (std::size_t i = 0; i < wanted.keys.size(); ++i) {
      const auto& pieces = values[i];
      const auto& source = pieces.source;
      const auto* const limits =
          catalogue::EffectiveAt(facts.Of(source.part, source.test).limits, source.newest_time);
      if (!source.is_one || limits == nullptr) continue;
      const statistics::Tolerance tolerance{limits->Upper(), limits->Lower(), std::nullopt};
      if (!tolerance.HasLimit()) continue;
      const auto sigma = statistics::SampleStandardDeviation(pieces.values);
      if (!(sigma > 0.0)) continue;
      const auto mean = statistics::Mean(pieces.values);
      const auto ppk = statistics::IndicesOf(statistics::Reach::OfNormal(mean, sigma), tolerance).k;
      if (!std::isfinite(ppk)) continue;
      auto& bin = made[wanted.places[i]];
      bin.PPK = ppk;
      bin.Flag = bin.Flag | kBinHasPpk;
    }
  }

  // Notes on what the list of bins does not show.
  static void AddNotes(const ParetoPlan& plan, const std::vector<RankedBin>& ranked, bool is_cut) {
    if (is_cut) {
      store::AddNote("bins-cut", "Only the first " + std::to_string(ranked.size()) +
                                     " bins are given; there are more");
    }
    if (plan.measure != Measure::PerMillion && plan.measure != Measure::PerThousand) return;
    const auto without = std::count_if(ranked.begin(), ranked.end(), [](const RankedBin& bin) {
      return bin.tally != nullptr && !(bin.total > 0.0);
    });
    if (without == 0) return;
    store::AddNote(
        "no-total",
        std::to_string(without) + (without == 1 ? " bin has" : " bins have") +
            " nothing inspected that the count could be a rate of; the value there is 0");
  }

  store::Store& store_;
  API_DSInfo& info_;
  std::span<const std::int32_t> filter_;
  const platform::ArrayRef& bins_;
  API_PAOptions& options_;
};

std::int32_t Analyse(Resource resource, std::int32_t connection, API_DSInfo& info,
                     std::span<std::int32_t> filter, const platform::ArrayRef& bins,
                     API_PAOptions& options) noexcept {
  return store::CallWithStore(connection, [&](const std::shared_ptr<store::Store>& store) {
    return Analysis(*store, info, filter, bins, options).Run(resource);
  });
}

}  // namespace

std::int32_t ParetoLibrary::VLXPAR_PROC(std::int32_t, std::int32_t Connection, API_DSInfo& DSInfo,
                                        std::span<std::int32_t> DSFilter,
                                        const platform::ArrayRef& Bins, API_PAOptions& Options,
                                        Work&) {
  return Analyse(Resource::Subgroups, Connection, DSInfo, DSFilter, Bins, Options);
}

std::int32_t ParetoLibrary::VLXPAR_EVENT(std::int32_t, std::int32_t Connection, API_DSInfo& DSInfo,
                                         std::span<std::int32_t> DSFilter,
                                         const platform::ArrayRef& Bins, API_PAOptions& Options,
                                         Work&) {
  return Analyse(Resource::Events, Connection, DSInfo, DSFilter, Bins, Options);
}

std::int32_t ParetoLibrary::VLXPAR_STATE(std::int32_t, std::int32_t Connection, API_DSInfo& DSInfo,
                                         std::span<std::int32_t> DSFilter,
                                         const platform::ArrayRef& Bins, API_PAOptions& Options,
                                         Work&) {
  return Analyse(Resource::States, Connection, DSInfo, DSFilter, Bins, Options);
}

}  // namespace orvspc::engine::pareto
