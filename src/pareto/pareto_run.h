// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "frame/Array.h"
#include "pareto/PAResults.h"
#include "platform/Database.h"
#include "platform/SelectionRecord.h"

// The steps of the Pareto analysis behind its entry class.
namespace orvspc::pareto_run {

// The call of the Pareto library for the settings that the results hold, and the bins that it made
// into the results, which stay as they are when it made none. True whenever it returns: a failure
// inside the library looks like no data. A filter without cells fails with 9 before the
// library is entered.
bool AnalyzeDS(platform::Database& Database, API_DSInfo& DSInfo, Array<std::int32_t>& DSFilter,
               PAResults& Results);

// What the entry returns: null when the analysis was not done.
std::shared_ptr<PAResults> Finish(bool done, const std::shared_ptr<PAResults>& results);

}  // namespace orvspc::pareto_run
