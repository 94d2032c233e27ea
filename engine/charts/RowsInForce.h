// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "engine/store/Store.h"

namespace orvspc::engine::charts {

inline constexpr std::int32_t kNoRow = -1;

// Effective time of a row.
using catalogue::EffectiveTime;

// The newest row that is effective at a time; kNoRow when none is yet. Rows stand by effective
// time. Remembers the latest answer, since neighbouring points mostly share their row.
template <class Row>
class RowsInForce {
 public:
  explicit RowsInForce(std::span<const Row> rows) : rows_(rows) {}

  std::int32_t At(std::int32_t stamp) {
    while (row_ >= 0 && EffectiveTime(rows_[static_cast<std::size_t>(row_)]) > stamp) --row_;
    while (row_ + 1 < static_cast<std::int32_t>(rows_.size()) &&
           EffectiveTime(rows_[static_cast<std::size_t>(row_ + 1)]) <= stamp) {
      ++row_;
    }
    return row_;
  }

 private:
  std::span<const Row> rows_;
  std::int32_t row_ = kNoRow;
};

// By effective time; of two rows from the same moment that of the process itself stands last and
// wins over the one for any process.
void SortForProcess(std::vector<store::ControlLimit>& limits);
template <class Row>
void SortByTime(std::vector<Row>& rows) {
  std::stable_sort(rows.begin(), rows.end(),
                   [](const Row& a, const Row& b) { return EffectiveTime(a) < EffectiveTime(b); });
}

// Limits of a specification row as numbers; NaN for one that it does not have.
struct SpecLines {
  double usl, target, lsl;
};
SpecLines SpecLinesOf(const API_CCSpecLim& row);
// Where no row is in force.
SpecLines NoSpecLines();

}  // namespace orvspc::engine::charts
