// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "engine/store/DataSet.h"

namespace orvspc::engine::store {

struct RowRange {
  std::size_t begin = 0, count = 0;
};

// Rows of a subgroup; none where its bounds do not lie in the data.
RowRange RowsOf(const DataSet& data, std::size_t subgroup);

// Reads the pieces of subgroups: a piece is a distinct Tsno, its value the row with Sbno 0, and the
// rows above it are readings inside it. Values that are not finite are left out.
class PieceReader {
 public:
  explicit PieceReader(const DataSet& data) : data_(data) {}

  // Finite values of the pieces in the order of Tsno. The span lives until the next call.
  std::span<const double> Pieces(std::size_t subgroup);

  // Calls once for each piece that has readings, in the order of Tsno.
  void ForEachPieceWithReadings(std::size_t subgroup,
                                const std::function<void(std::span<const double>)>& call);

 private:
  struct Row {
    std::int32_t tsno, sbno;
    double value;
  };
  void SortRows(std::size_t first, std::size_t last);

  const DataSet& data_;
  std::vector<double> pieces_;
  std::vector<Row> rows_;
};

}  // namespace orvspc::engine::store
