// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace orvspc::render {

// Marks of a time axis between two stamps: round times with their texts, and where days begin
// (none for more than two months).
struct TimeTicks {
  std::vector<std::pair<std::int64_t, std::string>> ticks;
  std::vector<std::int64_t> days;
};
TimeTicks RoundTimes(std::int64_t start, std::int64_t end, std::size_t most);

}  // namespace orvspc::render
