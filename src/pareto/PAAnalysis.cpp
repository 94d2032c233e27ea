// SPDX-License-Identifier: Apache-2.0
#include "pareto/PAAnalysis.h"

#include <cstdint>

#include "frame/Failure.h"
#include "frame/Friend.h"
#include "frame/Support.h"
#include "frame/Trail.h"
#include "pareto/pareto_run.h"

namespace orvspc {

std::shared_ptr<PAResults> PAAnalysis::AnalyzeDataSelect(
    const std::shared_ptr<platform::Object>& Database,
    const std::shared_ptr<orvspc::DataSelect>& DataSelect,
    const std::shared_ptr<PAProcessing>& Processing) {
  return Traced("PAAnalysis.AnalyzeDataSelect", [&] {
    const auto database = ResolveDatabase(Database);
    auto results = std::make_shared<PAResults>();
    results->Processing(Friend{}, Needed(Processing).Clone());
    results->DataSelect(Friend{}, Needed(DataSelect).Clone());
    results->Processing()->FixProcessing();

    API_DSInfo info = {};
    Array<std::int32_t> filter;
    results->DataSelect()->API_GetData(info, filter);
    const bool done = pareto_run::AnalyzeDS(*database, info, filter, *results);
    return pareto_run::Finish(done, results);
  });
}

}  // namespace orvspc
