// SPDX-License-Identifier: Apache-2.0
#include "engine/write/limits/ChangedData.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <string>

#include "engine/write/change/StoredRecord.h"
#include "engine/write/limits/Compute.h"
#include "engine/write/limits/StoredLimits.h"
#include "engine/write/log/Canonical.h"
#include "engine/write/log/FormerTypes.h"
#include "engine/write/log/Json.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::limits {
namespace {

// By an event of a flag, a deletion or an edit since the row was made.
bool MayHaveChanged(sql::Connection& db, const ListedLimit& row) {
  return sql::Query(db,
                    "SELECT 1 FROM event WHERE time >= ?1 AND type IN (4, 5, 6) "
                    "AND coalesce(part, ?2) = ?2 AND (?3 = 0 OR coalesce(process, ?3) = ?3) "
                    "AND coalesce(test, ?4) = ?4 LIMIT 1",
                    row.made, row.part, row.process, row.test)
      .RunForInt()
      .has_value();
}

// The entry that figures and data of the row are of.
std::int64_t EntryOf(sql::Connection& db, std::int32_t id) {
  const auto object = "limit " + std::to_string(id);  // a query reads its texts at each step
  std::int64_t entry = 0;
  sql::Query log(db, "SELECT seq, after FROM log WHERE object = ?1 ORDER BY seq", object);
  while (log.Step()) {
    if (log::ReadJson(log.Text(1)).contains("digest")) entry = log.Int64(0);
  }
  return entry;
}

// By subgroup, the records of a test as they were before their first change after an entry.
std::map<std::int32_t, std::string> ChangedAfter(sql::Connection& db, std::int64_t entry,
                                                 std::int32_t test) {
  const auto objects = "subgroup % test " + std::to_string(test);
  std::map<std::int32_t, std::string> before;
  sql::Query log(db,
                 "SELECT object, before FROM log WHERE seq > ?1 AND before <> '' "
                 "AND object LIKE ?2 ORDER BY seq",
                 entry, objects);
  while (log.Step()) {
    const std::string object(log.Text(0));
    std::int32_t subgroup = 0;
    if (std::sscanf(object.c_str(), "subgroup %d", &subgroup) == 1) {
      before.try_emplace(subgroup, log.Text(1));
    }
  }
  return before;
}

// Values that differ, are gone or are new; all of a record that counts no more or lies elsewhere.
std::int64_t Differences(const log::CanonicalRecord& before,
                         const std::vector<change::StoredRecord>& now) {
  const auto all = static_cast<std::int64_t>(before.pieces.size());
  if (now.empty() || now.front().flag != before.flag ||
      now.front().subgroup.time != before.time.value_or(0)) {
    return all;
  }
  const auto& stored = now.front();
  std::int64_t same = 0;
  for (const auto& piece : before.pieces) {
    for (std::size_t row = 0; row < stored.values.size(); ++row) {
      same += stored.keys[row].Tsno == piece.tsno && stored.keys[row].Sbno == piece.sbno &&
              stored.values[row] == piece.value;
    }
  }
  return std::max(all, static_cast<std::int64_t>(stored.values.size())) - same;
}

}  // namespace

ChangedValues ChangedSince(store::SqlStore& store, sql::Connection& db, std::int32_t id) {
  const auto row = NeedLimit(db, id);
  if (row.digest.empty() || !MayHaveChanged(db, row)) return {};
  const auto exclusions = ExclusionsOf(db, id);
  if (DigestNow(store, row, exclusions) == row.digest) return {};
  ChangedValues values;
  const auto entry = EntryOf(db, id);
  values.are_counts = log::FormerTypes(db).At(row.test, entry) != ttVariable;
  values.all =
      values.are_counts ? row.used : std::llround(row.used * row.average_size.value_or(0.0));
  for (const auto& [subgroup, text] : ChangedAfter(db, entry, row.test)) {
    const auto is_it = [wanted = subgroup](const LimitExclusion& each) {
      return each.subgroup == wanted;
    };
    if (std::ranges::any_of(exclusions, is_it)) continue;
    auto before = log::FormerRecordOf(log::ReadJson(text)).record;
    log::PutInUsual(before, !values.are_counts);
    const auto time = before.time.value_or(0);
    if (before.flag != sfEnabled || time < row.start || time > row.finish) continue;
    const auto of = change::NeededSubgroup(db, subgroup);
    if (of.part != row.part || (row.process != 0 && of.process != row.process)) continue;
    const auto now = change::ReadRecords(db, of, row.test);
    const auto changed = Differences(before, now);
    const bool has_other_size = !now.empty() && now.front().size != before.size;
    if (values.are_counts) {
      values.changed += changed != 0 || has_other_size ? 1 : 0;
    } else {
      values.changed += changed;
    }
  }
  return values;
}

}  // namespace orvspc::engine::limits
