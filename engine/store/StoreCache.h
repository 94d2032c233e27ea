// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "engine/catalogue/References.h"
#include "engine/catalogue/limits.h"
#include "platform/Phase.h"
#include "platform/RowRecords.h"

namespace orvspc::engine::store {

class RecordView;

using catalogue::ControlLimit;
using catalogue::StoredRule;
using enum catalogue::NetContentFlag;

struct Stream {
  std::int32_t part = 0, process = 0, test = 0;
  std::int32_t test_type = 0;
  std::int64_t id = 0;
};

// The kinds of items that say who and where of a measurement, each once, since conditions and
// counts go by the kind:
//   column     of the table context and of an import
//   delivered  where a subgroup delivers them; null: it does not
struct ContextKind {
  std::string_view column;
  catalogue::ItemKind kind;
  std::int32_t API_SubgroupData::*delivered;
};
inline constexpr ContextKind kContextKinds[] = {
    {"workstation", catalogue::ItemKind::Workstation, &API_SubgroupData::Wkst},
    {"job", catalogue::ItemKind::Job, &API_SubgroupData::Job},
    {"lot", catalogue::ItemKind::Lot, &API_SubgroupData::Lot},
    {"shift", catalogue::ItemKind::Shift, &API_SubgroupData::Shft},
    {"revision", catalogue::ItemKind::Revision, &API_SubgroupData::Ptrv},
    {"employee", catalogue::ItemKind::Employee, &API_SubgroupData::Empl},
};
// The columns with commas between them.
std::string ContextColumns();

// Who and where of a measurement, a subgroup and test, in the order of these kinds; 0: none. Many
// measurements share one.
using Context = std::array<std::int32_t, std::size(kContextKinds)>;

// The place of a kind in a context; none when a context does not have it.
constexpr std::optional<std::size_t> PlaceInContext(catalogue::ItemKind kind) {
  for (std::size_t i = 0; i < std::size(kContextKinds); ++i) {
    if (kContextKinds[i].kind == kind) return i;
  }
  return std::nullopt;
}

struct AlarmRow {
  std::int32_t part = 0, process = 0, test = 0, graph = 0;  // 0: any
  std::int32_t number = 0;
  bool is_on = false;
};

// An option of charts or studies, see the table chart_option; 0: any.
struct OptionRow {
  std::int32_t id = 0;
  std::int32_t part = 0, process = 0, test = 0, graph = 0;
  std::string key, value;
};

template <class Row>
using ByPartAndTest = std::map<std::pair<std::int32_t, std::int32_t>, std::vector<Row>>;

// What a store keeps in memory; reread only after the database has changed.
class StoreCache {
 public:
  StoreCache() = default;
  // Reads everything but what the functions below hand out. Inside a transaction; throws SqlError.
  explicit StoreCache(sql::Connection& connection);
  // What every stream shares, without contexts; AddLimits for those that are needed.
  static StoreCache WithoutStreams(sql::Connection& connection);
  // Reads the limits and opportunities of a part and test.
  void AddLimits(sql::Connection& connection, std::int32_t part, std::int32_t test);

  std::vector<Stream> streams;                 // by part, process, test
  std::vector<Context> contexts;               // by identifier; the first is "none"
  std::vector<std::int64_t> context_ids;       // beside contexts; the first is 0
  std::vector<API_SubgroupData> context_rows;  // beside contexts: rows that say nothing else
  std::int64_t highest_subgroup = 0;
  std::shared_ptr<const std::vector<StoredRule>> rules;
  std::vector<std::pair<std::string, std::vector<std::int32_t>>> rule_sets;
  std::vector<AlarmRow> alarms;
  std::vector<OptionRow> chart_options;  // oldest first
  std::map<std::string, std::string, std::less<>> settings;
  ByPartAndTest<API_CCSpecLim> spec_limits;
  ByPartAndTest<ControlLimit> control_limits;
  std::vector<catalogue::ProvisionalLimit> provisional_limits;
  ByPartAndTest<API_CCDefOpp> opportunities;
  ByPartAndTest<API_CANccLim8> net_contents;
  std::vector<Phase> phases;  // by start
  std::int32_t zone_offset = 0;

  // Read when first asked for, inside a transaction.
  const std::unordered_map<std::int32_t, std::string>& Names(catalogue::ItemKind kind);
  std::shared_ptr<const catalogue::ItemList> Items(catalogue::ItemKind kind);
  std::shared_ptr<const std::vector<catalogue::ItemGroup>> ItemGroups(catalogue::ItemKind kind);
  std::shared_ptr<const std::vector<catalogue::ProcessPlace>> Places();
  std::shared_ptr<const std::vector<catalogue::Descriptor>> Descriptors();
  std::shared_ptr<const std::vector<catalogue::Item>> DescriptorGroups();

  // The place of a context; none when the file has no such context.
  std::optional<std::size_t> PlaceOfContext(std::int64_t id) const {
    // Identifiers count up without a gap in every file of ours.
    const auto place = static_cast<std::size_t>(id);
    if (place < context_ids.size() && context_ids[place] == id) return place;
    const auto found = std::lower_bound(context_ids.begin(), context_ids.end(), id);
    if (found == context_ids.end() || *found != id) return std::nullopt;
    return static_cast<std::size_t>(found - context_ids.begin());
  }

  // The place of that of a record. Throws std::runtime_error where there is none.
  std::size_t PlaceOfContextOf(const RecordView& record) const;
  std::size_t PlaceOfContextOf(std::int32_t context, std::int32_t subgroup) const;

 private:
  sql::Connection* connection_ = nullptr;
  std::array<std::optional<std::unordered_map<std::int32_t, std::string>>, catalogue::kItemKinds>
      names_;
  catalogue::References references_;
};

struct Occurrences {
  std::int64_t subgroups = 0;
  std::int32_t first = 0, last = 0;  // times of these subgroups
};

// The subgroups in which the items of a kind occur, by identifier. Reads the whole database, inside
// a read transaction.
std::unordered_map<std::int32_t, Occurrences> CountOccurrences(sql::Connection& db,
                                                               const StoreCache& cache,
                                                               catalogue::ItemKind kind);

}  // namespace orvspc::engine::store
