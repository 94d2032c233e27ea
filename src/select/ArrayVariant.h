// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <utility>
#include <variant>
#include <vector>

namespace orvspc {

// A value that may hold an array of numbers, as hosts without types hand it over. Default: empty.
// An array without elements was never dimensioned.
struct ArrayVariant {
  ArrayVariant() = default;
  ArrayVariant(std::vector<std::int32_t> values, std::int32_t lower = 0)  // NOLINT: implicit
      : lower_bound(lower), elements(std::move(values)) {}
  ArrayVariant(std::vector<double> values, std::int32_t lower = 0)  // NOLINT: implicit
      : lower_bound(lower), elements(std::move(values)) {}

  std::int32_t lower_bound = 0;
  std::variant<std::monostate, std::vector<std::int32_t>, std::vector<double>> elements;
};

}  // namespace orvspc
