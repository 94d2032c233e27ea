// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/RowList.h"
#include "platform/ExternalFailure.h"
#include "platform/LimitTable.h"

namespace orvspc::engine {

inline constexpr std::int32_t kTypeMismatch = 13, kMissingObject = 91;

// Cells by column.
using CellRow = std::vector<std::pair<std::string, platform::Cell>>;

// Rows of limits in memory: Base is one of SpecLim, CtrlLim, DefOpp.
template <class Base>
class RowTable final : public RowList<Base, CellRow> {
 public:
  void Let(std::string_view column, const platform::Cell& value) override {
    auto& row = this->Current();
    for (auto& [name, cell] : row) {
      if (name == column) {
        cell = value;
        return;
      }
    }
    row.emplace_back(std::string(column), value);
  }

  platform::Cell Get(std::string_view column) override {
    for (const auto& [name, cell] : this->Current()) {
      if (name == column) return cell;
    }
    return std::int32_t{0};
  }

  void Add(platform::LimitTable& row) override {
    auto* const other = dynamic_cast<RowTable*>(&row);
    if (other == nullptr)
      throw platform::ExternalFailure(kTypeMismatch, "RowTable", "Type mismatch");
    this->Append(other->Current());
  }
};

}  // namespace orvspc::engine
