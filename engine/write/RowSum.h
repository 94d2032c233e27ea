// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace orvspc::engine::store {

// How many rows there are and what they hold, whatever their order: the sum of a hash of each.
// Against accidents: whoever wants to can make rows with the same sum.
class RowSum {
 public:
  void Add(std::string_view row) {
    std::uint64_t hash = Mixed(row.size());
    while (!row.empty()) {
      std::uint64_t word = 0;
      const auto length = std::min(row.size(), sizeof word);
      std::memcpy(&word, row.data(), length);
      hash = Mixed(hash ^ word);
      row.remove_prefix(length);
    }
    sum_ += hash;
    ++rows_;
  }
  std::int64_t Rows() const { return rows_; }
  friend bool operator==(const RowSum&, const RowSum&) = default;

 private:
  // Each bit of the result depends on each bit of the word (the end of SplitMix64).
  static std::uint64_t Mixed(std::uint64_t word) {
    word += 0x9e3779b97f4a7c15u;
    word = (word ^ (word >> 30)) * 0xbf58476d1ce4e5b9u;
    word = (word ^ (word >> 27)) * 0x94d049bb133111ebu;
    return word ^ (word >> 31);
  }

  std::uint64_t sum_ = 0;
  std::int64_t rows_ = 0;
};

}  // namespace orvspc::engine::store
