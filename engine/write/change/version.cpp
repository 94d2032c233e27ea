// SPDX-License-Identifier: Apache-2.0
#include "engine/write/change/version.h"

#include <algorithm>

#include "platform/TimeText.h"

namespace orvspc::engine::change {

std::int64_t VersionOf(sql::Connection& db, std::string_view object) {
  return sql::Query(db, "SELECT max(seq) FROM log WHERE object = ?1", object)
      .RunForInt()
      .value_or(0);
}

std::int64_t VersionOf(sql::Connection& db, const StoredRecord& record) {
  const auto subgroup = "subgroup " + std::to_string(record.subgroup.id);
  auto version = std::max(VersionOf(db, record.Object()), record.entry);
  if (record.batch != 0) {
    version =
        std::max(version, sql::Query(db, "SELECT entry FROM batch WHERE id = ?1", record.batch)
                              .RunForInt()
                              .value_or(0));
  }
  // Tests of a subgroup that come by themselves have entries of their own.
  const auto test = "{\"test\":" + std::to_string(record.test) + ",";
  std::int64_t newest = 0;
  sql::Query recorded(db,
                      "SELECT seq, after FROM log WHERE object = ?1 AND operation = 'record' "
                      "ORDER BY seq DESC",
                      subgroup);
  while (recorded.Step()) {
    if (newest == 0) newest = recorded.Int64(0);
    if (recorded.Text(1).find(test) == std::string_view::npos) continue;
    return std::max(version, recorded.Int64(0));
  }
  // Of a test that has another identifier since two were merged.
  return version == 0 ? newest : version;
}

std::int64_t VersionOf(sql::Connection& db, const StoredSubgroup& subgroup, std::int32_t test) {
  const auto records = ReadRecords(db, subgroup, test);
  if (!records.empty()) return VersionOf(db, records.front());
  StoredRecord deleted;
  deleted.subgroup = subgroup;
  deleted.test = test;
  return VersionOf(db, deleted);
}

void CheckVersion(sql::Connection& db, std::int64_t version, const std::string& name,
                  std::optional<std::int64_t> expected) {
  constexpr std::int64_t kMillisecondsOfSecond = 1000;
  if (!expected || version == *expected) return;
  sql::Query latest(db, "SELECT who, at FROM log WHERE seq = ?1", version);
  std::string text = name + (version == 0 ? " has no entry in the log yet" : " was changed");
  if (latest.Step()) {
    text += " by " + std::string(latest.Text(0)) + " at " +
            platform::IsoText(latest.Int64(1) / kMillisecondsOfSecond);
  }
  throw Conflict("expect", std::to_string(*expected),
                 text + " (version " + std::to_string(version) + ", you saw " +
                     std::to_string(*expected) + ")");
}

void CheckVersion(sql::Connection& db, std::string_view object, const std::string& name,
                  std::optional<std::int64_t> expected) {
  if (expected) CheckVersion(db, VersionOf(db, object), name, expected);
}

void CheckVersion(sql::Connection& db, const std::vector<StoredRecord>& records,
                  const std::string& name, std::optional<std::int64_t> expected) {
  if (!expected) return;
  std::int64_t version = 0;
  for (const auto& each : records) version = std::max(version, VersionOf(db, each));
  CheckVersion(db, version, name, expected);
}

}  // namespace orvspc::engine::change
