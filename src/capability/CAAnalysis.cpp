// SPDX-License-Identifier: Apache-2.0
#include "capability/CAAnalysis.h"

#include "capability/capability_run.h"
#include "frame/Failure.h"
#include "frame/Friend.h"
#include "frame/Support.h"
#include "frame/Trail.h"

namespace orvspc {

std::shared_ptr<CAResults> CAAnalysis::AnalyzeDataSelect(
    const std::shared_ptr<platform::Object>& Database,
    const std::shared_ptr<orvspc::DataSelect>& DataSelect,
    const std::shared_ptr<CAProcessing>& Processing) {
  return Traced("CAAnalysis.AnalyzeDataSelect", [&]() -> std::shared_ptr<CAResults> {
    const auto database = ResolveDatabase(Database);
    auto results = std::make_shared<CAResults>();
    results->Processing(Friend{}, Needed(Processing).Clone());
    results->DataSelect(Friend{}, Needed(DataSelect).Clone());
    results->Processing()->FixProcessing();

    API_DSInfo info = {};
    Array<std::int32_t> filter;
    results->DataSelect()->API_GetData(info, filter);
    // Deliberate: never taken, since the call is true on every path that does not fail.
    if (!capability_run::AnalyzeDS(*database, info, filter, *results)) return nullptr;
    results->DataSelect()->API_SetData(info, filter);
    return results;
  });
}

}  // namespace orvspc
