// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "frame/Array.h"
#include "platform/ComplianceRecords.h"
#include "platform/Database.h"
#include "platform/SelectionRecord.h"
#include "summary/SCNames.h"
#include "summary/SCResults.h"

// The steps of the sampling-compliance analysis behind its entry class.
namespace orvspc::compliance_run {

// Computes, copies the rows out, has them released, names them and loads them into the results.
// True whenever it returns. A filter without cells fails with 9 before the library is entered.
bool AnalyzeDS(const std::shared_ptr<platform::Database>& Database, API_DSInfo& DSInfo,
               Array<std::int32_t>& DSFilter, SCResults& Results);

// The names of every row, in the order of the rows. One identifier is read once, unless there is no
// such record.
void ResolveResultsEx(const std::shared_ptr<platform::Database>& Database,
                      const Array<API_SCRow>& Rows, Array<SCNames>& Names);

// What the entry returns: null when the analysis was not done, else the results with the selection
// as the library left it.
std::shared_ptr<SCResults> Finish(bool done, const std::shared_ptr<SCResults>& results,
                                  const API_DSInfo& info, const Array<std::int32_t>& filter);

}  // namespace orvspc::compliance_run
