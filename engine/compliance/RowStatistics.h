// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <span>

#include "engine/store/Store.h"
#include "platform/ComplianceRecords.h"

namespace orvspc::engine::compliance {

// The statistics of a detail row over the pieces of variable tests in the subgroups (places in the
// data set): count, range, mean, standard deviation with divisor N - 1, Pp and Ppk with it, and the
// percentages beyond specification limits and net contents. A figure that does not exist is 0 and
// has no flag.
void FillStatistics(store::Store& store, const store::DataSet& data,
                    std::span<const std::size_t> subgroups, API_SCRow& row);

}  // namespace orvspc::engine::compliance
