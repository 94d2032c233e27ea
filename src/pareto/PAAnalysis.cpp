// SPDX-License-Identifier: Apache-2.0
#include "pareto/PAAnalysis.h"

#include <cstdint>
#include <utility>

#include "frame/Failure.h"
#include "frame/Friend.h"
#include "frame/Outside.h"
#include "frame/Trail.h"

namespace orvspc {
namespace {

using platform::Pareto6;

auto EntryOf(paResourceTypes resource) {
  switch (resource) {
    case paProcessEvents:
      return &Pareto6::VLXPAR_EVENT;
    case paProcessState:
      return &Pareto6::VLXPAR_STATE;
    default:
      return &Pareto6::VLXPAR_PROC;
  }
}

}  // namespace

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
    const bool done = AnalyzeDS(Friend{}, *database, info, filter, *results);
    return Finish(Friend{}, done, results);
  });
}

bool PAAnalysis::AnalyzeDS(const Friend&, platform::Database& Database, API_DSInfo& DSInfo,
                           Array<std::int32_t>& DSFilter, PAResults& Results) {
  return Traced("PAAnalysis.AnalyzeDS", [&] {
    PAProcessing& processing = Needed(Results.Processing());
    // Deliberate: a second time; it changes nothing more.
    processing.FixProcessing();
    API_PAOptions options = {};
    processing.GetAPIOptions(Friend{}, options);
    // Deliberate: never taken, since the correction leaves at least five bins.
    if (options.BinCount == 0) return true;

    Array<API_PABin> bins;
    bins.Dimension(0, std::int64_t{options.BinCount} - 1);
    const auto platform = PlatformInForce();
    const auto entry = EntryOf(processing.ResourceType());
    const std::int32_t connection = Database.ConnectionHandle();
    static_cast<void>(DSFilter[0]);  // goes as a reference to its first cell, which must be there
    Pareto6::Work words = {};
    const std::int32_t made = (platform->Pareto().*entry)(
        0, connection, DSInfo, DSFilter.Elements(), bins.Ref(), options, words);
    // Deliberate: the count in the record after the call decides, neither the result nor the number
    // that was asked for.
    if (made > 0 && options.BinCount > 0) {
      bins.Preserve(0, std::int64_t{options.BinCount} - 1);
      Results.Load(Friend{}, std::move(bins));
    }
    return true;
  });
}

std::shared_ptr<PAResults> PAAnalysis::Finish(const Friend&, bool done,
                                              const std::shared_ptr<PAResults>& results) {
  // Deliberate: an analysis that was not done returns null, although none reports that.
  return done ? results : nullptr;
}

}  // namespace orvspc
