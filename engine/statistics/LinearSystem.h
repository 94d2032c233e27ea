// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace orvspc::engine::statistics {

// A square matrix, row after row.
struct SquareMatrix {
  std::size_t order = 0;
  std::vector<double> cells;

  explicit SquareMatrix(std::size_t n) : order(n), cells(n * n) {}
  double& operator()(std::size_t row, std::size_t column) { return cells[row * order + column]; }
  double operator()(std::size_t row, std::size_t column) const {
    return cells[row * order + column];
  }
  std::span<const double> Row(std::size_t row) const {
    return std::span(cells).subspan(row * order, order);
  }
};

// Solves A x = b for several b: elimination with row pivots, once. A singular A gives NaN.
class LinearSystem {
 public:
  explicit LinearSystem(SquareMatrix a);
  std::vector<double> Solve(std::vector<double> b) const;

 private:
  SquareMatrix factors_;
  std::vector<std::size_t> pivots_;
};

}  // namespace orvspc::engine::statistics
