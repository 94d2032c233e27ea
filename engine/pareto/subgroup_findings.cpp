// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <set>
#include <tuple>
#include <utility>

#include "engine/pareto/Findings.h"
#include "platform/Enumerations.h"
#include "platform/NaN.h"

namespace orvspc::engine::pareto {
namespace {

// The keys of one row, reading those of its subgroup once.
class SubgroupKeys {
 public:
  SubgroupKeys(const ParetoPlan& plan, const Lookups& lookups)
      : readers_(lookups.Readers()),
        has_rows_(!std::ranges::all_of(plan.levels, &ParetoLevel::IsOfSubgroup)) {}

  void Start(const API_SubgroupData& subgroup) {
    ReadKeys(readers_, subgroup, &BinFields::subgroup, keys_);
    ReadKeys(readers_, subgroup, &BinFields::subgroup, row_keys_);
  }
  // Of the subgroup; those of rows are 0.
  const BinKeys& Keys() const { return keys_; }
  const BinKeys& KeysOf(const store::RowKey& row) {
    if (has_rows_) ReadKeys(readers_, row, &BinFields::row, row_keys_);
    return row_keys_;
  }

 private:
  std::vector<KeyReader> readers_;
  bool has_rows_;
  BinKeys keys_{}, row_keys_{};
};

// The facts of one (part, test) after the other; neighbours mostly share theirs.
class FactsMemo {
 public:
  explicit FactsMemo(const TestFacts& facts) : facts_(facts) {}
  const TestFacts::Facts& Of(const API_SubgroupData& subgroup) {
    if (latest_ == nullptr || subgroup.Part != part_ || subgroup.Test != test_) {
      part_ = subgroup.Part;
      test_ = subgroup.Test;
      latest_ = &facts_.Of(part_, test_);
    }
    return *latest_;
  }

 private:
  const TestFacts& facts_;
  const TestFacts::Facts* latest_ = nullptr;
  std::int32_t part_ = 0, test_ = 0;
};

store::RowKey KeyAt(const store::DataSet& data, const API_SubgroupData& subgroup,
                    std::int32_t row) {
  if (!data.keys.empty()) return data.keys[static_cast<std::size_t>(row)];
  return {0, row - subgroup.Test_Start + 1, 0, 0, 0};
}

// Calls with the key and the value of each piece. Rows above 0 are readings inside a piece, and a
// subgroup without pieces has one row of piece 0.
template <class Call>
void ForEachPiece(const store::DataSet& data, const API_SubgroupData& subgroup, Call call) {
  for (auto row = subgroup.Test_Start; row <= subgroup.Test_End; ++row) {
    const auto value = data.values[static_cast<std::size_t>(row)];
    const auto key = KeyAt(data, subgroup, row);
    if (key.Sbno == 0 && key.Tsno != 0 && std::isfinite(value)) call(key, value);
  }
}

bool Counts(const API_SubgroupData& subgroup, bool every_state) {
  return every_state || subgroup.Flag == sfEnabled;
}

TestFacts::Limits LimitsOf(const API_CCSpecLim& row) {
  TestFacts::Limits limits{catalogue::SpecLimitsOf(row), catalogue::EffectiveTime(row)};
  // Limits that cross say nothing.
  if (limits.usl <= limits.lsl) limits.usl = limits.lsl = platform::kNaN;
  return limits;
}

// One worker for each part of a selection; parts may be taken at the same time.
template <class Worker>
class PartTaker final : public store::BatchTaker {
 public:
  explicit PartTaker(std::function<Worker()> make) : make_(std::move(make)) {}

  void Begin(std::size_t parts) override {
    workers_.clear();
    for (std::size_t i = 0; i < parts; ++i) workers_.push_back(make_());
  }
  void Take(std::size_t part, const store::DataSet& batch) override { workers_[part].Take(batch); }
  // In the order of the parts.
  std::vector<Worker>& Workers() { return workers_; }

 private:
  std::function<Worker()> make_;
  std::vector<Worker> workers_;
};

class Counter {
 public:
  explicit Counter(const SubgroupCounting& counting)
      : lookups_(counting.lookups),
        facts_(counting.facts),
        keys_(counting.plan, counting.lookups),
        by_hits_(counting.plan.accumulation == paAccumulateByHits),
        every_state_(counting.every_state) {}

  void Take(const store::DataSet& data) {
    for (std::size_t i = 0; i < data.subgroups.size(); ++i) {
      const auto& subgroup = data.subgroups[i];
      if (!Counts(subgroup, every_state_)) continue;
      const auto& facts = facts_.Of(subgroup);
      const bool is_variable = facts.type == ttVariable;
      keys_.Start(subgroup);
      auto& ground = out_.grounds.Of(keys_.Keys());
      if (is_variable) {
        const auto pieces = TakePieces(data, subgroup, facts);
        ground.units += pieces;
        if (pieces > 0.0) ground.source.See(subgroup.Part, subgroup.Test, subgroup.Sgtm);
      } else {
        ground.units += std::max(data.SizeOf(i), 0.0);
        TakeCounts(data, subgroup, facts.type == ttDefectives);
      }
    }
  }
  Findings& Out() { return out_; }

 private:
  // A named unit that was found bad, once for each row that says so.
  struct BadUnit {
    std::size_t tally;
    std::int32_t unit;
    double found;
  };

  Tally& Record(const API_SubgroupData& subgroup, const store::RowKey& key, double found,
                std::size_t& place) {
    place = out_.tallies.PlaceOf(keys_.KeysOf(key));
    auto& tally = out_.tallies.At(place);
    const auto amount = by_hits_ ? 1.0 : found;
    tally.amount += amount;
    tally.records += amount;
    // Without a code the weight is that of the part.
    tally.weighted +=
        amount * (key.Def != 0 ? lookups_.FactorOf(catalogue::ItemKind::Defect, key.Def)
                               : lookups_.FactorOf(catalogue::ItemKind::Part, subgroup.Part));
    tally.See(subgroup.Sgtm, subgroup.Sgrp);
    return tally;
  }

  void TakeCounts(const store::DataSet& data, const API_SubgroupData& subgroup, bool defectives) {
    bad_units_.clear();
    for (auto row = subgroup.Test_Start; row <= subgroup.Test_End; ++row) {
      const auto found = data.values[static_cast<std::size_t>(row)];
      if (!(found > 0.0)) continue;
      const auto key = KeyAt(data, subgroup, row);
      std::size_t place = 0;
      auto& tally = Record(subgroup, key, found, place);
      if (key.Tsno == 0) {
        tally.nonconforming += found;
      } else {
        bad_units_.push_back({place, key.Tsno, defectives ? found : 1.0});
      }
    }
    if (!bad_units_.empty()) SettleBadUnits();
  }

  // A unit with several defects is one bad unit, in a test of defectives the highest it was given.
  void SettleBadUnits() {
    std::sort(bad_units_.begin(), bad_units_.end(), [](const BadUnit& a, const BadUnit& b) {
      return std::tie(a.tally, a.unit, b.found) < std::tie(b.tally, b.unit, a.found);
    });
    for (std::size_t i = 0; i < bad_units_.size(); ++i) {
      const auto& unit = bad_units_[i];
      if (i > 0 && bad_units_[i - 1].tally == unit.tally && bad_units_[i - 1].unit == unit.unit) {
        continue;
      }
      out_.tallies.At(unit.tally).nonconforming += unit.found;
    }
  }

  // Returns how many pieces there are.
  double TakePieces(const store::DataSet& data, const API_SubgroupData& subgroup,
                    const TestFacts::Facts& facts) {
    const auto* const limits = catalogue::EffectiveAt(facts.limits, subgroup.Sgtm);
    const auto& wanted = lookups_.WantedDefects();
    double pieces = 0.0;
    ForEachPiece(data, subgroup, [&](const store::RowKey& key, double value) {
      ++pieces;
      const bool outside = limits != nullptr && limits->HasOutside(value);
      if (!outside && key.Def == 0) return;
      if (wanted && !std::binary_search(wanted->begin(), wanted->end(), key.Def)) return;
      std::size_t place = 0;
      Record(subgroup, key, 1.0, place).nonconforming += 1.0;
    });
    return pieces;
  }

  const Lookups& lookups_;
  FactsMemo facts_;
  SubgroupKeys keys_;
  std::vector<BadUnit> bad_units_;
  bool by_hits_, every_state_;
  Findings out_;
};

// Places of the bins whose values are gathered.
struct BinPlace {
  BinKeys keys{};
  std::size_t place = SIZE_MAX;
};

class Gatherer {
 public:
  Gatherer(const SubgroupCounting& counting, const KeyTable<BinPlace>& places)
      : facts_(counting.facts),
        keys_(counting.plan, counting.lookups),
        every_state_(counting.every_state),
        places_(places),
        pieces_(places.Items().size()) {}

  void Take(const store::DataSet& data) {
    for (const auto& subgroup : data.subgroups) {
      if (!Counts(subgroup, every_state_) || facts_.Of(subgroup).type != ttVariable) continue;
      keys_.Start(subgroup);
      ForEachPiece(data, subgroup, [&](const store::RowKey& key, double value) {
        const auto* const bin = places_.Find(keys_.KeysOf(key));
        if (bin != nullptr) Keep(subgroup, value, pieces_[bin->place]);
      });
    }
  }
  std::vector<PieceValues>& Out() { return pieces_; }

 private:
  // Values of several tests together say nothing and are not held.
  static void Keep(const API_SubgroupData& subgroup, double value, PieceValues& pieces) {
    if (!pieces.source.is_one) return;
    pieces.source.See(subgroup.Part, subgroup.Test, subgroup.Sgtm);
    if (pieces.source.is_one) {
      pieces.values.push_back(value);
    } else {
      pieces.values = {};
    }
  }

  FactsMemo facts_;
  SubgroupKeys keys_;
  bool every_state_;
  const KeyTable<BinPlace>& places_;
  std::vector<PieceValues> pieces_;
};

}  // namespace

TestFacts::TestFacts(const store::StoreCache& cache, const store::DataSet* data) {
  std::set<std::pair<std::int32_t, std::int32_t>> wanted;
  if (data != nullptr) {
    std::pair<std::int32_t, std::int32_t> latest;
    for (const auto& subgroup : data->subgroups) {
      const std::pair key(std::int32_t{subgroup.Part}, std::int32_t{subgroup.Test});
      if (key != latest) wanted.insert(latest = key);
    }
  }
  for (const auto& stream : cache.streams) {
    const std::pair key(stream.part, stream.test);
    if (data != nullptr && !wanted.contains(key)) continue;
    const auto [found, is_new] = facts_.try_emplace(key);
    if (!is_new) continue;
    found->second.type = stream.test_type;
    const auto rows = cache.spec_limits.find(key);
    if (stream.test_type != ttVariable || rows == cache.spec_limits.end()) continue;
    for (const auto& row : rows->second) found->second.limits.push_back(LimitsOf(row));
  }
}

const TestFacts::Facts& TestFacts::Of(std::int32_t part, std::int32_t test) const {
  const auto found = facts_.find({part, test});
  return found == facts_.end() ? none_ : found->second;
}

std::optional<Findings> CountSubgroups(const SubgroupCounting& counting) {
  PartTaker<Counter> taker([&] { return Counter(counting); });
  if (!counting.deliver(taker)) return std::nullopt;
  Findings whole;
  for (auto& counter : taker.Workers()) {
    whole.tallies.Merge(counter.Out().tallies);
    whole.grounds.Merge(counter.Out().grounds);
  }
  return whole;
}

std::optional<std::vector<PieceValues>> GatherValues(const SubgroupCounting& counting,
                                                     std::span<const BinKeys> bins) {
  KeyTable<BinPlace> places;
  for (std::size_t i = 0; i < bins.size(); ++i) places.Of(bins[i]).place = i;
  PartTaker<Gatherer> taker([&] { return Gatherer(counting, places); });
  if (!counting.deliver(taker)) return std::nullopt;
  std::vector<PieceValues> whole(bins.size());
  for (auto& gatherer : taker.Workers()) {
    for (std::size_t i = 0; i < whole.size(); ++i) {
      auto more = std::exchange(gatherer.Out()[i], {});
      whole[i].source.Add(more.source);
      auto& values = whole[i].values;
      if (values.empty()) {
        values = std::move(more.values);
      } else {
        values.insert(values.end(), more.values.begin(), more.values.end());
      }
    }
  }
  for (auto& pieces : whole) {
    if (!pieces.source.is_one) pieces.values = {};
  }
  return whole;
}

}  // namespace orvspc::engine::pareto
