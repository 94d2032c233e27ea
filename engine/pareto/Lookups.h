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
#include <utility>
#include <vector>

#include "engine/pareto/ParetoPlan.h"
#include "engine/pareto/Tallies.h"
#include "engine/store/Store.h"

namespace orvspc::engine::pareto {

// Of what a record is, and when. 0: not given.
struct PlaceInTime {
  std::int32_t part = 0, process = 0, test = 0, time = 0;
};
inline PlaceInTime PlaceOf(const API_SubgroupData& subgroup) {
  return {subgroup.Part, subgroup.Prcs, subgroup.Test, subgroup.Sgtm};
}
inline PlaceInTime PlaceOf(const store::RowKey&) { return {}; }  // its subgroup's counts
inline PlaceInTime PlaceOf(const store::EventRow& event) {
  return {event.part, event.process, event.test, event.subgroup_time.value_or(event.time)};
}
inline PlaceInTime PlaceOf(const StateEntry& state) { return {0, state.process, 0, state.time}; }

// Phases as bins: those of one name are one, known by the lowest of their identifiers.
class PhaseBins {
 public:
  explicit PhaseBins(std::vector<Phase> phases);

  // 0: no phase holds there.
  std::int32_t Of(const PlaceInTime& place) const;
  const std::vector<std::pair<std::int32_t, std::string>>& Names() const { return names_; }

 private:
  std::vector<Phase> phases_;  // by start; the identifiers are those of the bins
  std::vector<std::pair<std::int32_t, std::string>> names_;  // by identifier
};

// What levels are looked up in; null: not needed.
struct LevelTables {
  std::shared_ptr<const IdTable<std::int32_t>> items = {};
  std::shared_ptr<const PhaseBins> phases = {};
};

// Turns the field of a record into the identifier of its bin. One for each thread.
class KeyReader {
 public:
  KeyReader(const ParetoLevel& level, LevelTables tables)
      : of_(level.kind->of),
        via_(level.kind->via),
        periods_(level.periods),
        tables_(std::move(tables)) {}

  const BinFields& Of() const { return of_; }

  std::int32_t KeyOf(std::int32_t field) {
    if (via_ == Via::Field) return field;
    if (via_ != Via::Time) return tables_.items->Of(field);
    if (field < start_ || field >= next_) {
      start_ = periods_.StartOf(field);
      next_ = periods_.NextAfter(start_);
    }
    return start_;
  }
  bool IsOfPhases() const { return via_ == Via::Phase; }
  std::int32_t PhaseAt(const PlaceInTime& place) const { return tables_.phases->Of(place); }

 private:
  BinFields of_;
  Via via_;
  TimeBins periods_;
  LevelTables tables_;
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
    if (member == nullptr) continue;
    keys[i] = readers[i].IsOfPhases() ? readers[i].PhaseAt(PlaceOf(record))
                                      : readers[i].KeyOf(record.*member);
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
    LevelTables tables;
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
