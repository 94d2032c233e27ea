// SPDX-License-Identifier: Apache-2.0
#include "engine/store/migration.h"

#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "engine/store/MeasurementBuffer.h"
#include "engine/store/digest.h"
#include "engine/store/record_of_v2.h"
#include "engine/store/subgroups.h"

namespace orvspc::engine::store {
namespace {

constexpr std::string_view kOldRows =
    "SELECT packed, coalesce(context, 0), subgroup FROM measurement_2 WHERE stream = ?1 "
    "ORDER BY time, subgroup";

// The values of a stream as schema 2 has them.
void ForEachOldRecord(sql::Connection& db, std::int64_t stream,
                      const std::function<void(const Measurement&)>& take) {
  std::vector<double> values;
  std::vector<RowKey> keys;
  sql::Query query(db, kOldRows, stream);
  while (query.Step()) {
    const auto record = PackedView::Of(query.Blob(0));
    if (!record) {
      throw std::runtime_error("The values of subgroup " + std::to_string(query.Int(2)) +
                               " are damaged: their checksum does not fit");
    }
    values.clear();
    keys.clear();
    for (std::size_t i = 0; i < record->Count(); ++i) {
      values.push_back(record->Value(i));
      if (!record->IsPlain()) keys.push_back(record->Key(i));
    }
    take({record->Time(), record->Subgroup(), query.Int(1), record->Size(), record->Flag(), 0, 0,
          values, keys});
  }
}

}  // namespace

void MoveValues(sql::Connection& db) {
  const auto before = DigestOf(
      db, [&](std::int64_t stream, const auto& take) { ForEachOldRecord(db, stream, take); });
  std::vector<std::int64_t> streams;
  for (sql::Query query(db, "SELECT id FROM stream ORDER BY id"); query.Step();) {
    streams.push_back(query.Int64(0));
  }
  MeasurementBuffer buffer(db);
  for (const auto stream : streams) {
    ForEachOldRecord(db, stream, [&](const Measurement& each) { buffer.Add(stream, each); });
  }
  buffer.Flush();
  SealSubgroups(db);
  db.Execute("DROP TABLE measurement_2");
  if (DigestOf(db) != before) {
    throw std::runtime_error("what the new schema holds differs from what the old one held");
  }
}

}  // namespace orvspc::engine::store
