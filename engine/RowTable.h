// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/ExternalFailure.h"
#include "platform/LimitTable.h"

namespace orvspc::engine {

inline constexpr std::int32_t kTypeMismatch = 13, kMissingObject = 91;

// Rows of limits in memory: Base is one of SpecLim, CtrlLim, DefOpp. While the table has no rows,
// its current row is the one that is being filled.
template <class Base>
class RowTable final : public Base {
 public:
  void Let(std::string_view column, const platform::Cell& value) override {
    auto& row = Current();
    for (auto& [name, cell] : row) {
      if (name == column) {
        cell = value;
        return;
      }
    }
    row.emplace_back(std::string(column), value);
  }

  platform::Cell Get(std::string_view column) override {
    for (const auto& [name, cell] : Current()) {
      if (name == column) return cell;
    }
    return std::int32_t{0};
  }

  void Add(platform::LimitTable& row) override {
    auto* const other = dynamic_cast<RowTable*>(&row);
    if (other == nullptr)
      throw platform::ExternalFailure(kTypeMismatch, "RowTable", "Type mismatch");
    auto copy = other->Current();
    rows_.push_back(std::move(copy));
    cursor_ = rows_.size() - 1;
  }

  bool MoveFirst() override {
    cursor_ = 0;
    return !rows_.empty();
  }

  bool MoveNext() override {
    if (cursor_ + 1 >= rows_.size()) return false;
    ++cursor_;
    return true;
  }

 private:
  using Row = std::vector<std::pair<std::string, platform::Cell>>;

  Row& Current() { return rows_.empty() ? single_ : rows_[cursor_]; }

  std::vector<Row> rows_;
  Row single_;
  std::size_t cursor_ = 0;
};

}  // namespace orvspc::engine
