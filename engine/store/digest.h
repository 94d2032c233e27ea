// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "engine/chunks/chunk.h"
#include "engine/chunks/subgroups.h"
#include "engine/sql/Connection.h"

namespace orvspc::engine::store {

// What a database holds, in one number: SHA-256 over all values with names in place of identifiers,
// then over every other table. Two databases of the same content have the same digest, however
// their values are sealed and whatever identifiers they gave.
struct DatabaseDigest {
  std::string values;  // of the measurements
  std::string all;     // of these and of everything else
  std::int64_t measurements = 0, rows = 0;
  friend bool operator==(const DatabaseDigest&, const DatabaseDigest&) = default;
};

// Brings the measurements of a stream by time and subgroup.
using MeasurementSource =
    std::function<void(std::int64_t stream, const std::function<void(const Measurement&)>& take)>;

// Brings the subgroups.
using SubgroupSource = std::function<void(const std::function<void(const SubgroupFacts&)>& take)>;

// Inside a transaction; of everything, or of what sources bring in place of measurements and
// subgroups. Throws SqlError, and std::runtime_error when a record is damaged.
DatabaseDigest DigestOf(sql::Connection& db);
DatabaseDigest DigestOf(sql::Connection& db, const MeasurementSource& source,
                        const SubgroupSource& subgroups = {});

}  // namespace orvspc::engine::store
