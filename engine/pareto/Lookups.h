// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "engine/pareto/ParetoPlan.h"
#include "engine/pareto/Tallies.h"
#include "engine/store/Store.h"

namespace orvspc::engine::pareto {

// Turns the field of a record into the identifier of its bin. One for each thread.
class KeyReader {
 public:
  KeyReader(const ParetoLevel& level, std::shared_ptr<const IdTable<std::int32_t>> table)
      : via_(level.kind->via), periods_(level.periods), table_(std::move(table)) {}

  std::int32_t KeyOf(std::int32_t field) {
    if (via_ == Via::Field) return field;
    if (via_ != Via::Time) return table_->Of(field);
    if (field < start_ || field >= next_) {
      start_ = periods_.StartOf(field);
      next_ = periods_.NextAfter(start_);
    }
    return start_;
  }

 private:
  Via via_;
  TimeBins periods_;
  std::shared_ptr<const IdTable<std::int32_t>> table_;
  std::int32_t start_ = 0;  // of the period of the latest time
  std::int64_t next_ = INT32_MIN;
};

// The range of identifiers that subgroups of a data set have.
struct SubgroupRange {
  std::int32_t first = 0, last = -1;
};

// What an analysis needs of the database beside the data: groups, places, names, weights, and the
// items of empty bins.
class Lookups {
 public:
  // Inside a Read of the store. The data's own subgroups are those of empty bins by subgroup.
  Lookups(store::Store& store, sql::Connection& connection, const ParetoPlan& plan,
          const API_DSInfo& info, std::span<const std::int32_t> filter,
          const SubgroupRange& subgroups);

  std::vector<KeyReader> Readers() const;

  // The text of a bin's level; "(none)" for 0.
  const std::string& NameOf(std::size_t level, std::int32_t id);
  // The same in lower case, for comparing.
  const std::string& FoldedNameOf(std::size_t level, std::int32_t id);
  // What the level can be apart from what was counted, where empty bins were asked for: the items
  // of the filter, else every one that is in use; nothing for times and numbers, and for subgroups
  // those of SetDomain.
  const std::vector<std::int32_t>& DomainOf(std::size_t level) const {
    return levels_[level].domain;
  }
  void SetDomain(std::size_t level, std::vector<std::int32_t> ids) {
    levels_[level].domain = std::move(ids);
  }

  // Weight of what a subgroup's row says: that of its defect code, without a code that of the part.
  double WeightOf(std::int32_t part, std::int32_t defect) const {
    return defect != 0 ? defect_factors_.Of(defect) : part_factors_.Of(part);
  }
  const IdTable<double>& AccFactors() const { return acc_factors_; }
  const IdTable<double>& CacFactors() const { return cac_factors_; }
  const IdTable<double>& StateFactors() const { return state_factors_; }
  // Of the filter; empty: every one.
  const std::optional<std::vector<std::int32_t>>& WantedDefects() const { return defects_; }

 private:
  struct Names {
    std::string shown, folded;
  };
  struct Level {
    const ParetoLevel* plan = nullptr;
    std::shared_ptr<const IdTable<std::int32_t>> table;
    std::shared_ptr<const catalogue::ItemList> items;
    std::shared_ptr<const std::vector<catalogue::ItemGroup>> groups;
    std::vector<std::pair<std::int32_t, std::string>> texts;  // by identifier, of the rest
    std::vector<std::int32_t> domain;
    std::unordered_map<std::int32_t, Names> known;
  };

  void ReadTable(store::Store& store, sql::Connection& connection, const SubgroupRange& subgroups,
                 Level& level);
  void ReadDescriptorTable(store::Store& store, sql::Connection& connection,
                           const SubgroupRange& subgroups, Level& level);
  void ReadNames(store::Store& store, sql::Connection& connection, const SubgroupRange& subgroups,
                 Level& level);
  void ReadDomain(store::Store& store, sql::Connection& connection, const API_DSInfo& info,
                  std::span<const std::int32_t> filter, Level& level);
  const Names& Known(std::size_t level, std::int32_t id);
  std::string TextOf(const Level& level, std::int32_t id) const;

  std::vector<Level> levels_;
  IdTable<double> defect_factors_{1.0}, part_factors_{1.0}, acc_factors_{1.0}, cac_factors_{1.0},
      state_factors_{1.0};
  std::optional<std::vector<std::int32_t>> defects_;
};

}  // namespace orvspc::engine::pareto
