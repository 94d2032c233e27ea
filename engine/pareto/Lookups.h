// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "engine/pareto/ParetoPlan.h"
#include "engine/pareto/Tallies.h"
#include "engine/store/Store.h"

namespace orvspc::engine::pareto {

// Turns the field of a record into the identifier of its bin. One for each thread.
class KeyReader {
 public:
  KeyReader(const ParetoLevel& level, std::shared_ptr<const IdTable<std::int32_t>> table)
      : of_(level.kind->of),
        via_(level.kind->via),
        periods_(level.periods),
        table_(std::move(table)) {}

  const BinFields& Of() const { return of_; }

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
  BinFields of_;
  Via via_;
  TimeBins periods_;
  std::shared_ptr<const IdTable<std::int32_t>> table_;
  std::int32_t start_ = 0;  // of the period of the latest time
  std::int64_t next_ = INT32_MIN;
};

// Sets the keys of those levels that a record of the kind has a field for. In place: a copy of what
// was just written in parts waits until it is in memory. Inline: it runs once a row.
template <class Record>
inline void ReadKeys(std::vector<KeyReader>& readers, const Record& record,
                     std::int32_t Record::*BinFields::*field, BinKeys& keys) {
  for (std::size_t i = 0; i < readers.size(); ++i) {
    const auto member = readers[i].Of().*field;
    if (member != nullptr) keys[i] = readers[i].KeyOf(record.*member);
  }
}

// The range of identifiers that subgroups of a data set have.
struct SubgroupRange {
  std::int32_t first = 0, last = -1;
};

// Empty for an identifier without a name.
using NameOfId = std::function<std::optional<std::string_view>(std::int32_t)>;

// Where lookups come from, inside a Read of the store.
struct LookupSources {
  store::Store& store;
  sql::Connection& connection;
  const API_DSInfo& info;
  std::span<const std::int32_t> filter;
  SubgroupRange subgroups;  // those whose labels and descriptors are looked up
};

// What an analysis needs of the database beside the data: groups, places, names, weights, and the
// items of empty bins.
class Lookups {
 public:
  struct Name {
    std::string shown, folded;  // folded: in lower case, for comparing
  };

  Lookups(const LookupSources& from, const ParetoPlan& plan);

  std::vector<KeyReader> Readers() const;

  // The text of a bin's level; "(none)" for 0.
  const Name& NameOf(std::size_t level, std::int32_t id);
  // What the level can be apart from what was counted, where empty bins were asked for: the items
  // of the filter, else every one that is in use; nothing for times and numbers, and for subgroups
  // those of SetDomain. Ascending.
  const std::vector<std::int32_t>& DomainOf(std::size_t level) const {
    return levels_[level].domain;
  }
  void SetDomain(std::size_t level, std::vector<std::int32_t> ids);

  // Weight of a defect code, a part, a code of an event or a state; 1 unless the item has another.
  // kind: one that the plan's resource is weighed by.
  double FactorOf(catalogue::ItemKind kind, std::int32_t id) const {
    return factors_[static_cast<std::size_t>(kind)].Of(id);
  }
  // Of the filter; empty: every one.
  const std::optional<std::vector<std::int32_t>>& WantedDefects() const { return defects_; }

 private:
  struct Level {
    const ParetoLevel* plan = nullptr;
    std::shared_ptr<const IdTable<std::int32_t>> table;
    NameOfId name_of;
    std::vector<std::int32_t> domain;
    std::unordered_map<std::int32_t, Name> known;
  };

  std::vector<Level> levels_;
  std::array<IdTable<double>, catalogue::kItemKinds> factors_;  // of the kinds that the plan weighs
  std::optional<std::vector<std::int32_t>> defects_;
};

// Names of the bins of one analysis, for hosts: level by level and whole, where the name of a bin
// joins and cuts them. Of an identifier at a level, 0 to 2; its number where the database knows no
// name, empty where the options have no such level. Copies share what was looked up, so one thread
// at a time calls them.
using BinNames = std::function<std::string(std::size_t level, std::int32_t id)>;

// The resource, one of paResourceTypes, and the options that the bins were made with. The database
// must be one of the engine's own. This and the names throw failures as platform::ExternalFailure.
BinNames BinNamesOf(platform::Database& database, std::int32_t resource,
                    const API_PAOptions& options);

}  // namespace orvspc::engine::pareto
