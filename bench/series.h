// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "bench/options.h"

// The long series of single values, one a minute: subgroups 1 and on.
namespace bench {

inline std::int64_t SeriesCount(const Options& options) { return 10 * options.subgroups; }

// Of its files, without the ending.
inline std::string SeriesPath(const Options& options) {
  return (options.dir / ("series_" + std::to_string(SeriesCount(options)))).string();
}

inline std::int64_t SeriesTime(std::int64_t subgroup) { return 1'000'000'000 + subgroup * 60; }

}  // namespace bench
