// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <vector>

namespace orvspc::engine::charts {

// Columns beyond this many elements go back to the system, smaller ones wait for the next chart.
inline constexpr std::size_t kKeptElements = std::size_t{1} << 16;

// Empties a column. Assigning {} would keep the storage, however large.
template <class T>
void Forget(std::vector<T>& column) {
  column.clear();
  if (column.capacity() > kKeptElements) column.shrink_to_fit();
}

}  // namespace orvspc::engine::charts
