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

// One analysis, from the arguments of its call to the bins.
class Analysis {
 public:
  Analysis(store::Store& store, API_DSInfo& info, std::span<const std::int32_t> filter,
           const platform::ArrayRef& bins, API_PAOptions& options)
      : store_(store), info_(info), filter_(filter), bins_(bins), options_(options) {}

  // False when there can be none. Nothing is written before HandOver.
  bool Run(paResourceTypes resource) {
    std::int32_t offset = 0;
    Read([&](sql::Connection&) { offset = store_.Cache().zone_offset; });
    std::string reason;
    auto plan = MakePlan(resource, options_, offset, reason);
    if (!plan) {
      store::AddNote("no-bins", reason);
      return false;
    }
    plan_ = std::move(*plan);
    plan_.most_bins = std::min(plan_.most_bins, bins_.As<API_PABin>().size());
    if (resource == paProcessEvents) {
      Events();
    } else if (resource == paProcessState) {
      States();
    } else if (!Subgroups()) {
      return false;
    }
    return true;
  }

  // The number of bins, which are written with the selection as it was resolved.
  std::int32_t HandOver() {
    info_ = resolved_;
    std::ranges::copy(made_, bins_.As<API_PABin>().begin());
    options_.BinCount = static_cast<std::int32_t>(made_.size());
    return options_.BinCount;
  }

 private:
  void Read(const std::function<void(sql::Connection&)>& work) { store_.ReadOrThrow(work); }

  // Subgroups come in batches, so that large selections are counted while they are read and never
  // held. Names and descriptors of single subgroups are looked up for those that were selected, so
  // a level by these holds the selection first; so does one of a few subgroups, which costs
  // nothing. False on a failure, which the store keeps.
  bool Subgroups() {
    const bool every_state = store::EveryStateCounts(resolved_.Status);
    std::optional<store::DataSet> held;
    SubgroupRange range;
    if (NeedsHeld()) {
      if (!store_.Select(resolved_, filter_, {}, held.emplace())) return false;
      if (held->subgroups.empty()) return true;
      const auto ends = std::ranges::minmax_element(held->subgroups, {}, &API_SubgroupData::Sgrp);
      range = {ends.min->Sgrp, ends.max->Sgrp};
    }
    LookUp(range);
    std::optional<TestFacts> facts;
    Read([&](sql::Connection&) { facts.emplace(store_.Cache(), held ? &*held : nullptr); });
    const SubgroupCounting counting{plan_, *lookups_, *facts, every_state,
                                    [&](store::BatchTaker& taker) {
                                      if (!held) return Deliver(taker);
                                      taker.Begin(1);
                                      taker.Take(0, *held);
                                      return true;
                                    }};
    const auto counted = CountSubgroups(counting);
    if (!counted) return false;
    const auto& findings = *counted;
    if (findings.grounds.Items().empty()) return true;
    SetDomains(findings);
    const auto ranked = Write(findings, [&](const BinKeys& keys) {
      const auto* const ground = GroundOf(findings, keys);
      return ground == nullptr ? 0.0 : ground->units;
    });
    for (std::size_t i = 0; i < made_.size(); ++i) WriteYield(ranked[i], made_[i]);
    const auto places = PlacesWithPpk(findings, *facts, ranked);
    if (!places.empty()) {
      std::vector<BinKeys> keys;
      for (const auto place : places) keys.push_back(ranked[place].keys);
      const auto values = GatherValues(counting, keys);
      if (!values) return false;
      for (std::size_t i = 0; i < places.size(); ++i) {
        WritePpk((*values)[i], *facts, made_[places[i]]);
      }
    }
    if (made_.empty())
      store::AddNote("nothing-found", "The selected subgroups have nothing to count");
    return true;
  }

  bool NeedsHeld() const {
    constexpr std::int32_t kFew = 10'000;
    if (info_.Count > 0 && info_.Count <= kFew) return true;
    return std::ranges::any_of(plan_.levels, [](const ParetoLevel& level) {
      return level.kind->of.subgroup == &API_SubgroupData::Sgrp;
    });
  }

  // The range that is written back is that of the call's own selection.
  bool Deliver(store::BatchTaker& taker) {
    auto info = info_;
    if (!store_.SelectInBatches(info, filter_, {}, taker)) return false;
    resolved_ = info;
    return true;
  }

  void Events() {
    std::vector<store::EventRow> events;
    Read([&](sql::Connection& connection) {
      events = store::SelectEvents(connection, store_.Cache(), resolved_, filter_);
    });
    if (events.empty()) return;
    LookUp({});
    const auto selected = static_cast<double>(events.size());
    Write(CountEvents(plan_, events, *lookups_, WindowEnd()),
          [&](const BinKeys&) { return selected; });
  }

  void States() {
    StateWindow window;
    Read([&](sql::Connection& connection) {
      window = ReadStateWindow(connection, store_.Cache(), resolved_, filter_);
    });
    if (window.entries.empty()) return;
    LookUp({});
    Write(CountStates(plan_, window.entries, *lookups_),
          [&](const BinKeys&) { return window.seconds; });
  }

  void LookUp(const SubgroupRange& subgroups) {
    Read([&](sql::Connection& connection) {
      lookups_.emplace(LookupSources{store_, connection, info_, filter_, subgroups}, plan_);
    });
  }

  // An event that has not ended lasts to the end of the selection's window, and not beyond now.
  std::int64_t WindowEnd() const {
    const bool is_open = info_.TimeType == drttStatic ? info_.TimeEnd == time::kNoStamp
                                                      : !store::HasTimeBounds(info_);
    return is_open ? time::Now() : std::min<std::int64_t>(resolved_.TimeEnd, time::Now());
  }

  const Ground* GroundOf(const Findings& findings, BinKeys keys) const {
    for (std::size_t i = 0; i < plan_.levels.size(); ++i) {
      if (!plan_.levels[i].IsOfSubgroup()) keys[i] = 0;
    }
    return findings.grounds.Find(keys);
  }

  // Empty bins of a level by subgroup are the subgroups that were looked at.
  void SetDomains(const Findings& findings) {
    for (std::size_t i = 0; plan_.with_empty && i < plan_.levels.size(); ++i) {
      if (plan_.levels[i].kind->naming != Naming::Label) continue;
      std::vector<std::int32_t> ids;
      for (const auto& ground : findings.grounds.Items()) ids.push_back(ground.keys[i]);
      lookups_->SetDomain(i, std::move(ids));
    }
  }

  // Ranks what was found and makes the bins of it. The ranked ones point into the findings.
  std::vector<RankedBin> Write(const Findings& findings, const TotalOf& total_of) {
    auto ranked = Rank(plan_, findings.tallies, *lookups_, total_of);
    made_.resize(ranked.bins.size());
    for (std::size_t i = 0; i < made_.size(); ++i) {
      WriteBin(plan_, ranked.bins[i], *lookups_, made_[i]);
    }
    AddNotes(ranked);
    return std::move(ranked.bins);
  }

  static void WriteYield(const RankedBin& ranked, API_PABin& bin) {
    if (!(ranked.total > 0.0)) return;
    const auto bad = ranked.tally == nullptr ? 0.0 : ranked.tally->nonconforming;
    // A bare count of defects may exceed the units; more than all of them cannot be bad.
    bin.Yield = 100.0 * (1.0 - std::min(bad, ranked.total) / ranked.total);
    bin.Flag = bin.Flag | kBinHasYield;
  }

  // Bins that may have piece values of one part and test with limits.
  std::vector<std::size_t> PlacesWithPpk(const Findings& findings, const TestFacts& facts,
                                         const std::vector<RankedBin>& ranked) const {
    const bool splits_subgroups = !std::ranges::all_of(plan_.levels, &ParetoLevel::IsOfSubgroup);
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < ranked.size(); ++i) {
      const auto* const ground = GroundOf(findings, ranked[i].keys);
      if (ground == nullptr || ground->source.part == 0) continue;
      const auto& source = ground->source;
      // The rows of several tests may still lie in different bins.
      const bool may_have =
          source.is_one ? !facts.Of(source.part, source.test).limits.empty() : splits_subgroups;
      if (may_have) places.push_back(i);
    }
    return places;
  }

  static void WritePpk(const PieceValues& pieces, const TestFacts& facts, API_PABin& bin) {
    const auto& source = pieces.source;
    const auto* const limits =
        catalogue::EffectiveAt(facts.Of(source.part, source.test).limits, source.newest_time);
    if (!source.is_one || limits == nullptr) return;
    const statistics::Tolerance tolerance{limits->Upper(), limits->Lower(), std::nullopt};
    const auto sigma = statistics::SampleStandardDeviation(pieces.values);
    if (!tolerance.HasLimit() || !(sigma > 0.0)) return;
    const auto mean = statistics::Mean(pieces.values);
    const auto ppk = statistics::IndicesOf(statistics::Reach::OfNormal(mean, sigma), tolerance).k;
    if (!std::isfinite(ppk)) return;
    bin.PPK = ppk;
    bin.Flag = bin.Flag | kBinHasPpk;
  }

  // Notes on what the list of bins does not show.
  void AddNotes(const RankedBins& ranked) const {
    if (ranked.is_cut) {
      store::AddNote("bins-cut", "Only the first " + std::to_string(ranked.bins.size()) +
                                     " bins are given; there are more");
    }
    if (plan_.measure.of != Measure::Of::Proportion) return;
    const auto without = std::ranges::count_if(ranked.bins, [](const RankedBin& bin) {
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
  ParetoPlan plan_;
  API_DSInfo resolved_ = info_;  // with the range and states that were selected
  std::optional<Lookups> lookups_;
  std::vector<API_PABin> made_;
};

std::int32_t Analyse(paResourceTypes resource, std::int32_t connection, API_DSInfo& info,
                     std::span<std::int32_t> filter, const platform::ArrayRef& bins,
                     API_PAOptions& options) noexcept {
  std::optional<Analysis> analysis;
  const auto done = store::AnalyseWithStore(connection, info, [&](const auto& store) {
    return analysis.emplace(*store, info, filter, bins, options).Run(resource) ? 1 : 0;
  });
  return done == 0 ? 0 : analysis->HandOver();
}

}  // namespace

std::int32_t ParetoLibrary::VLXPAR_PROC(std::int32_t, std::int32_t Connection, API_DSInfo& DSInfo,
                                        std::span<std::int32_t> DSFilter,
                                        const platform::ArrayRef& Bins, API_PAOptions& Options,
                                        Work&) {
  return Analyse(paSubgroups, Connection, DSInfo, DSFilter, Bins, Options);
}

std::int32_t ParetoLibrary::VLXPAR_EVENT(std::int32_t, std::int32_t Connection, API_DSInfo& DSInfo,
                                         std::span<std::int32_t> DSFilter,
                                         const platform::ArrayRef& Bins, API_PAOptions& Options,
                                         Work&) {
  return Analyse(paProcessEvents, Connection, DSInfo, DSFilter, Bins, Options);
}

std::int32_t ParetoLibrary::VLXPAR_STATE(std::int32_t, std::int32_t Connection, API_DSInfo& DSInfo,
                                         std::span<std::int32_t> DSFilter,
                                         const platform::ArrayRef& Bins, API_PAOptions& Options,
                                         Work&) {
  return Analyse(paProcessState, Connection, DSInfo, DSFilter, Bins, Options);
}

}  // namespace orvspc::engine::pareto
