// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "system/Sha256.h"

namespace orvspc::engine::store {

// How many rows there are and what they hold, whatever their order: the sum of their SHA-256.
class RowSum {
 public:
  void Add(const system::Sha256::Digest& row) {
    std::array<std::uint64_t, 4> words{};
    static_assert(sizeof words == sizeof row);
    std::memcpy(words.data(), row.data(), sizeof words);
    for (std::size_t i = 0; i < words.size(); ++i) sum_[i] += words[i];
    ++rows_;
  }
  std::int64_t Rows() const { return rows_; }
  friend bool operator==(const RowSum&, const RowSum&) = default;

 private:
  std::array<std::uint64_t, 4> sum_{};
  std::int64_t rows_ = 0;
};

}  // namespace orvspc::engine::store
