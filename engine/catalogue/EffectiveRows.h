// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "engine/catalogue/StoredLimits.h"

// Which of several dated rows is effective at a time. A Row is anything with an
// EffectiveTime(row); rows ascend by it.
namespace orvspc::engine::catalogue {

// The newest row that is effective at a time; null when none is yet.
template <class Row>
const Row* EffectiveAt(std::span<const Row> rows, std::int32_t time) {
  const auto behind = std::partition_point(
      rows.begin(), rows.end(), [&](const Row& row) { return EffectiveTime(row) <= time; });
  return behind == rows.begin() ? nullptr : &*(behind - 1);
}

template <class Row>
const Row* EffectiveAt(const std::vector<Row>& rows, std::int32_t time) {
  return EffectiveAt(std::span<const Row>(rows), time);
}
// The answer would point into rows that are gone.
template <class Row>
const Row* EffectiveAt(std::vector<Row>&& rows, std::int32_t time) = delete;

inline constexpr std::int32_t kNoRow = -1;

// The same for many times in a row. It starts at its last answer, since neighbouring subgroups
// mostly share their row.
template <class Row>
class EffectiveRows {
 public:
  explicit EffectiveRows(std::span<const Row> rows) : rows_(rows) {}

  // The place of the row among the rows; kNoRow when none is effective yet.
  std::int32_t PlaceAt(std::int32_t time) {
    while (place_ >= 0 && TimeOf(place_) > time) --place_;
    while (place_ + 1 < std::ssize(rows_) && TimeOf(place_ + 1) <= time) ++place_;
    return place_;
  }
  // Null when none is effective yet.
  const Row* At(std::int32_t time) {
    const auto place = PlaceAt(time);
    return place == kNoRow ? nullptr : &rows_[static_cast<std::size_t>(place)];
  }

 private:
  std::int32_t TimeOf(std::int32_t place) const {
    return EffectiveTime(rows_[static_cast<std::size_t>(place)]);
  }

  std::span<const Row> rows_;
  std::int32_t place_ = kNoRow;
};

}  // namespace orvspc::engine::catalogue
