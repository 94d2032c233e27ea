// SPDX-License-Identifier: Apache-2.0
#include "engine/store/requirements.h"

#include <algorithm>

namespace orvspc::engine::store {

std::optional<double> SamplingIntervalOf(Store& store, std::int32_t part, std::int32_t process,
                                         std::int32_t test, std::int64_t time) {
  constexpr double kMinute = 60.0;
  std::optional<double> least;
  store.ReadOrThrow([&](sql::Connection& db) {
    least.reset();
    sql::Query query(db,
                     "SELECT minutes, n FROM requirement WHERE active <> 0 AND kind = 'interval' "
                     "AND process = ?1 AND test = ?2 AND (part IS NULL OR part = ?3) "
                     "AND (valid_from IS NULL OR valid_from <= ?4) "
                     "AND (valid_to IS NULL OR valid_to > ?4)",
                     process, test, part, time);
    while (query.Step()) {
      std::int64_t minutes = 0, samples = 0;
      query.Read(minutes, samples);
      const double interval = kMinute * static_cast<double>(minutes) / static_cast<double>(samples);
      least = std::min(interval, least.value_or(interval));
    }
  });
  return least;
}

}  // namespace orvspc::engine::store
