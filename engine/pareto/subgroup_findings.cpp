// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <limits>
#include <mutex>
#include <tuple>

#include "engine/pareto/Findings.h"
#include "engine/store/halves.h"
#include "platform/Enumerations.h"

namespace orvspc::engine {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

// The keys of one row, reading those of its subgroup once.
class SubgroupKeys {
 public:
  SubgroupKeys(const ParetoPlan& plan, const Lookups& lookups)
      : plan_(plan), readers_(lookups.Readers()) {
    for (const auto& level : plan.levels) has_rows_ = has_rows_ || !IsOfSubgroup(level);
  }

  void Start(const API_SubgroupData& subgroup) {
    keys_ = {};
    for (std::size_t i = 0; i < readers_.size(); ++i) {
      const auto member = plan_.levels[i].kind->of_subgroup;
      if (member != nullptr) keys_[i] = readers_[i].KeyOf(subgroup.*member);
    }
  }
  // Of the subgroup; those of rows are 0.
  const BinKeys& Keys() const { return keys_; }
  BinKeys KeysOf(const RowKey& row) {
    auto keys = keys_;
    if (!has_rows_) return keys;
    for (std::size_t i = 0; i < readers_.size(); ++i) {
      const auto member = plan_.levels[i].kind->of_row;
      if (member != nullptr) keys[i] = readers_[i].KeyOf(row.*member);
    }
    return keys;
  }

 private:
  const ParetoPlan& plan_;
  std::vector<KeyReader> readers_;
  BinKeys keys_{};
  bool has_rows_ = false;
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

RowKey KeyAt(const DataSet& data, const API_SubgroupData& subgroup, std::int32_t row) {
  if (!data.keys.empty()) return data.keys[static_cast<std::size_t>(row)];
  return {0, row - subgroup.Test_Start + 1, 0, 0, 0};
}

// Rows above 0 are readings inside a piece, and a subgroup without pieces has one row of piece 0.
bool IsPiece(const RowKey& key, double value) {
  return key.Sbno == 0 && key.Tsno != 0 && std::isfinite(value);
}

bool Counts(const API_SubgroupData& subgroup, bool every_state) {
  return every_state || subgroup.Flag == sfEnabled;
}

class Counter {
 public:
  Counter(const ParetoPlan& plan, const DataSet& data, const Lookups& lookups,
          const TestFacts& facts, bool every_state)
      : data_(data),
        lookups_(lookups),
        facts_(facts),
        keys_(plan, lookups),
        by_hits_(plan.accumulation == Accumulation::Hits),
        every_state_(every_state) {}

  void Count(std::size_t begin, std::size_t end, Findings& out) {
    for (auto i = begin; i < end; ++i) {
      const auto& subgroup = data_.subgroups[i];
      if (!Counts(subgroup, every_state_)) continue;
      const auto& facts = facts_.Of(subgroup);
      const bool is_variable = facts.type == ttVariable;
      keys_.Start(subgroup);
      auto& ground = out.grounds.Of(keys_.Keys());
      ground.See(subgroup.Part, subgroup.Test, is_variable, subgroup.Sgtm);
      if (is_variable) {
        ground.units += TakePieces(subgroup, facts, out);
      } else {
        ground.units += std::max(subgroup.Size, 0);
        TakeCounts(subgroup, facts.type == ttDefectives, out);
      }
    }
  }

 private:
  // A named unit that was found bad, once for each row that says so.
  struct BadUnit {
    std::size_t tally;
    std::int32_t unit;
    double found;
  };

  Tally& Record(const API_SubgroupData& subgroup, const RowKey& key, double found, Findings& out,
                std::size_t& place) {
    place = out.tallies.PlaceOf(keys_.KeysOf(key));
    auto& tally = out.tallies.At(place);
    const auto amount = by_hits_ ? 1.0 : found;
    tally.amount += amount;
    tally.records += amount;
    tally.weighted += amount * lookups_.DefectFactors().Of(key.Def);
    tally.See(subgroup.Sgtm, subgroup.Sgrp);
    return tally;
  }

  void TakeCounts(const API_SubgroupData& subgroup, bool defectives, Findings& out) {
    bad_units_.clear();
    for (auto row = subgroup.Test_Start; row <= subgroup.Test_End; ++row) {
      const auto found = data_.values[static_cast<std::size_t>(row)];
      if (!(found > 0.0)) continue;
      const auto key = KeyAt(data_, subgroup, row);
      std::size_t place = 0;
      auto& tally = Record(subgroup, key, found, out, place);
      if (key.Tsno == 0) {
        tally.nonconforming += found;
      } else {
        bad_units_.push_back({place, key.Tsno, defectives ? found : 1.0});
      }
    }
    if (!bad_units_.empty()) SettleBadUnits(out);
  }

  // A unit with several defects is one bad unit, in a test of defectives the highest it was given.
  void SettleBadUnits(Findings& out) {
    std::sort(bad_units_.begin(), bad_units_.end(), [](const BadUnit& a, const BadUnit& b) {
      return std::tie(a.tally, a.unit, b.found) < std::tie(b.tally, b.unit, a.found);
    });
    for (std::size_t i = 0; i < bad_units_.size(); ++i) {
      const auto& unit = bad_units_[i];
      if (i > 0 && bad_units_[i - 1].tally == unit.tally && bad_units_[i - 1].unit == unit.unit) {
        continue;
      }
      out.tallies.At(unit.tally).nonconforming += unit.found;
    }
  }

  // Returns how many pieces there are.
  double TakePieces(const API_SubgroupData& subgroup, const TestFacts::Facts& facts,
                    Findings& out) {
    const auto* const limits = facts.At(subgroup.Sgtm);
    const auto& wanted = lookups_.WantedDefects();
    double pieces = 0.0;
    for (auto row = subgroup.Test_Start; row <= subgroup.Test_End; ++row) {
      const auto value = data_.values[static_cast<std::size_t>(row)];
      const auto key = KeyAt(data_, subgroup, row);
      if (!IsPiece(key, value)) continue;
      ++pieces;
      const bool outside = limits != nullptr && (value < limits->lower || value > limits->upper);
      if (!outside && key.Def == 0) continue;
      if (wanted && !std::binary_search(wanted->begin(), wanted->end(), key.Def)) continue;
      std::size_t place = 0;
      Record(subgroup, key, 1.0, out, place).nonconforming += 1.0;
    }
    return pieces;
  }

  const DataSet& data_;
  const Lookups& lookups_;
  FactsMemo facts_;
  SubgroupKeys keys_;
  std::vector<BadUnit> bad_units_;
  bool by_hits_, every_state_;
};

TestFacts::Limits LimitsOf(const API_CCSpecLim& row) {
  TestFacts::Limits limits{row.Word20, -kInfinity, kInfinity};
  if ((row.F_EFLAG & slfUSL) != 0 && std::isfinite(row.F_USL)) limits.upper = row.F_USL;
  if ((row.F_EFLAG & slfLSL) != 0 && std::isfinite(row.F_LSL)) limits.lower = row.F_LSL;
  // Limits that cross say nothing.
  if (limits.upper <= limits.lower) return {row.Word20, -kInfinity, kInfinity};
  return limits;
}

}  // namespace

bool IsOfSubgroup(const ParetoLevel& level) { return level.kind->of_subgroup != nullptr; }

bool CountsEveryState(std::int32_t status) {
  constexpr std::int32_t kEnabled = 1;
  return status != 0 && (status & kEnabled) == 0;
}

const TestFacts::Limits* TestFacts::Facts::At(std::int32_t time) const {
  const auto behind =
      std::upper_bound(limits.begin(), limits.end(), time,
                       [](std::int32_t t, const Limits& row) { return t < row.effective; });
  return behind == limits.begin() ? nullptr : &*(behind - 1);
}

TestFacts::TestFacts(Store& store, const DataSet& data) {
  std::uint64_t latest = 0;
  for (const auto& subgroup : data.subgroups) {
    const auto key = KeyOf(subgroup.Part, subgroup.Test);
    if (key == latest) continue;
    latest = key;
    const auto [found, is_new] = facts_.try_emplace(key);
    if (!is_new) continue;
    auto& facts = found->second;
    facts.type = store.TestType(subgroup.Test);
    if (facts.type != ttVariable) continue;
    for (const auto& row : store.SpecLimits(subgroup.Part, subgroup.Test)) {
      facts.limits.push_back(LimitsOf(row));
    }
  }
}

Findings CountSubgroups(const ParetoPlan& plan, const DataSet& data, const Lookups& lookups,
                        const TestFacts& facts, bool every_state) {
  // In order, so that a sum of weights does not depend on which half was done first.
  std::vector<std::pair<std::size_t, Findings>> parts;
  std::mutex mutex;
  ForHalves(data.subgroups.size(), [&](std::size_t begin, std::size_t end) {
    Findings part;
    Counter(plan, data, lookups, facts, every_state).Count(begin, end, part);
    const std::lock_guard lock(mutex);
    parts.emplace_back(begin, std::move(part));
  });
  std::sort(parts.begin(), parts.end(),
            [](const auto& a, const auto& b) { return a.first < b.first; });
  auto whole = std::move(parts.front().second);
  for (std::size_t i = 1; i < parts.size(); ++i) {
    whole.tallies.Merge(parts[i].second.tallies);
    whole.grounds.Merge(parts[i].second.grounds);
  }
  return whole;
}

std::vector<std::vector<double>> ValuesOf(const ParetoPlan& plan, const DataSet& data,
                                          const Lookups& lookups, const TestFacts& facts,
                                          bool every_state, std::span<const BinKeys> bins) {
  struct Bin {
    BinKeys keys{};
    std::size_t place = SIZE_MAX;
  };
  KeyTable<Bin> places;
  for (std::size_t i = 0; i < bins.size(); ++i) places.Of(bins[i]).place = i;
  std::vector<std::vector<double>> values(bins.size());
  SubgroupKeys keys(plan, lookups);
  FactsMemo memo(facts);
  for (const auto& subgroup : data.subgroups) {
    if (!Counts(subgroup, every_state) || memo.Of(subgroup).type != ttVariable) continue;
    keys.Start(subgroup);
    for (auto row = subgroup.Test_Start; row <= subgroup.Test_End; ++row) {
      const auto value = data.values[static_cast<std::size_t>(row)];
      const auto key = KeyAt(data, subgroup, row);
      if (!IsPiece(key, value)) continue;
      const auto* const bin = places.Find(keys.KeysOf(key));
      if (bin != nullptr) values[bin->place].push_back(value);
    }
  }
  return values;
}

}  // namespace orvspc::engine
