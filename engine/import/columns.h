// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "platform/Import.h"

// Column tables of the kinds of files.
namespace orvspc::engine::import {

inline constexpr bool kRequired = true, kOptional = false;

// The table must have the column, which a constant expression proves.
constexpr std::size_t PlaceOf(std::span<const ImportColumn> columns, std::string_view name) {
  std::size_t place = 0;
  while (columns[place].name != name) ++place;
  return place;
}

// The place of a column in the table of its kind. A name that the table lacks does not compile.
template <const auto& kColumns>
class PlaceIn {
 public:
  consteval explicit PlaceIn(std::string_view name) : place_(PlaceOf(kColumns, name)) {}
  constexpr operator std::size_t() const { return place_; }

 private:
  std::size_t place_;
};

}  // namespace orvspc::engine::import
