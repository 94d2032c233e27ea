// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "engine/write/chunks/StreamWriter.h"

namespace orvspc::engine::store {

// Measurements on their way into a database, with copies of their rows, so that a writer gets many
// of a stream at once. Streams one after the other, each by time and subgroup.
class MeasurementBuffer {
 public:
  explicit MeasurementBuffer(sql::Connection& db) : writer_(db) {}

  void Add(std::int64_t stream, const Measurement& measurement) {
    constexpr std::size_t kMaxRows = 1 << 18;
    if (stream != stream_ || values_.size() >= kMaxRows) Write();
    stream_ = stream;
    measurements_.push_back(measurement);
    values_.insert(values_.end(), measurement.values.begin(), measurement.values.end());
    keys_.insert(keys_.end(), measurement.keys.begin(), measurement.keys.end());
  }
  void Add(std::int64_t stream, const RecordView& record) {
    Add(stream, record.Copy(copied_values_, copied_keys_));
  }

  // Writes what is left. Needed at the end.
  void Flush() {
    Write();
    writer_.Finish();
  }

 private:
  void Write() {
    std::size_t value = 0, key = 0;
    for (auto& each : measurements_) {
      each.values = std::span(values_).subspan(value, each.values.size());
      each.keys = std::span(keys_).subspan(key, each.keys.size());
      value += each.values.size();
      key += each.keys.size();
    }
    writer_.Write(stream_, measurements_);
    measurements_.clear();
    values_.clear();
    keys_.clear();
  }

  StreamWriter writer_;
  std::int64_t stream_ = 0;
  std::vector<Measurement> measurements_;
  std::vector<double> values_, copied_values_;
  std::vector<RowKey> keys_, copied_keys_;
};

}  // namespace orvspc::engine::store
