// SPDX-License-Identifier: Apache-2.0
#include "engine/store/migration.h"

#include <string>
#include <vector>

#include "engine/store/StreamWriter.h"
#include "engine/store/record_of_v2.h"
#include "engine/store/subgroups.h"

namespace orvspc::engine::store {
namespace {

// Measurements of one stream on their way, whose rows lie in one array each.
class Batch {
 public:
  explicit Batch(sql::Connection& db) : writer_(db) {}

  void Add(std::int64_t stream, const PackedView& record, std::int32_t context) {
    constexpr std::size_t kMaxRows = 1 << 18;
    if (stream != stream_ || values_.size() >= kMaxRows) Flush();
    stream_ = stream;
    measurements_.push_back(
        {record.Time(), record.Subgroup(), context, record.Size(), record.Flag(), 0, 0, {}, {}});
    row_counts_.push_back(record.Count());
    for (std::size_t i = 0; i < record.Count(); ++i) {
      values_.push_back(record.Value(i));
      keys_.push_back(record.Key(i));
    }
  }

  void Flush() {
    std::size_t at = 0;
    for (std::size_t i = 0; i < measurements_.size(); ++i) {
      measurements_[i].values = std::span(values_).subspan(at, row_counts_[i]);
      measurements_[i].keys = std::span(keys_).subspan(at, row_counts_[i]);
      at += row_counts_[i];
    }
    writer_.Write(stream_, measurements_);
    measurements_.clear();
    row_counts_.clear();
    values_.clear();
    keys_.clear();
  }

 private:
  StreamWriter writer_;
  std::int64_t stream_ = 0;
  std::vector<Measurement> measurements_;
  std::vector<std::size_t> row_counts_;
  std::vector<double> values_;
  std::vector<RowKey> keys_;
};

}  // namespace

void MoveValues(sql::Connection& db) {
  {
    Batch batch(db);
    sql::Query query(db,
                     "SELECT stream, packed, coalesce(context, 0), time, subgroup "
                     "FROM measurement_2 ORDER BY stream, time, subgroup");
    while (query.Step()) {
      const auto record = PackedView::Of(query.Blob(1));
      const auto time = query.Int(3), subgroup = query.Int(4);
      if (!record || record->Time() != time || record->Subgroup() != subgroup) {
        throw sql::SqlError(
            sql::SqlError::Kind::Damaged,
            "the values of subgroup " + std::to_string(subgroup) + " do not fit their checksum");
      }
      batch.Add(query.Int64(0), *record, query.Int(2));
    }
    batch.Flush();
  }
  // Before the subgroups, to which its rows refer.
  db.Execute("DROP TABLE measurement_2");
  SealSubgroups(db);
}

}  // namespace orvspc::engine::store
