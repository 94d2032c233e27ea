// SPDX-License-Identifier: Apache-2.0
#include "summary/SCAnalysis.h"

#include <cstdint>

#include "frame/Failure.h"
#include "frame/Friend.h"
#include "frame/Support.h"
#include "frame/Trail.h"
#include "summary/compliance_run.h"

namespace orvspc {

std::shared_ptr<SCResults> SCAnalysis::AnalyzeDataSelect(
    const std::shared_ptr<platform::Object>& Database,
    const std::shared_ptr<orvspc::DataSelect>& DataSelect) {
  return Traced("SCAnalysis.AnalyzeDataSelect", [&] {
    const auto database = ResolveDatabase(Database);
    auto results = std::make_shared<SCResults>();
    results->DataSelect(Friend{}, Needed(DataSelect).Clone());
    API_DSInfo info = {};
    Array<std::int32_t> filter;
    results->DataSelect()->API_GetData(info, filter);
    const bool done = compliance_run::AnalyzeDS(database, info, filter, *results);
    return compliance_run::Finish(done, results, info, filter);
  });
}

}  // namespace orvspc
