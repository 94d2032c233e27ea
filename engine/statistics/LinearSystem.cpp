// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/LinearSystem.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace orvspc::engine::statistics {

LinearSystem::LinearSystem(SquareMatrix a) : factors_(std::move(a)), pivots_(factors_.order) {
  const auto n = factors_.order;
  for (std::size_t step = 0; step < n; ++step) {
    auto pivot = step;
    for (std::size_t row = step + 1; row < n; ++row) {
      if (std::abs(factors_(row, step)) > std::abs(factors_(pivot, step))) pivot = row;
    }
    pivots_[step] = pivot;
    if (pivot != step) {
      for (std::size_t j = 0; j < n; ++j) std::swap(factors_(step, j), factors_(pivot, j));
    }
    const double* const from = &factors_.cells[step * n];
    for (std::size_t row = step + 1; row < n; ++row) {
      double* const to = &factors_.cells[row * n];
      const double factor = to[step] / from[step];
      to[step] = factor;
      for (std::size_t j = step + 1; j < n; ++j) to[j] -= factor * from[j];
    }
  }
}

std::vector<double> LinearSystem::Solve(std::vector<double> b) const {
  const auto n = factors_.order;
  for (std::size_t i = 0; i < n; ++i) std::swap(b[i], b[pivots_[i]]);
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < i; ++j) b[i] -= factors_(i, j) * b[j];
  }
  for (std::size_t i = n; i-- > 0;) {
    for (std::size_t j = i + 1; j < n; ++j) b[i] -= factors_(i, j) * b[j];
    b[i] /= factors_(i, i);
  }
  return b;
}

}  // namespace orvspc::engine::statistics
