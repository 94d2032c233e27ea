// SPDX-License-Identifier: Apache-2.0
#include "summary/SCAnalysis.h"

#include <cstdint>
#include <iterator>
#include <string>

#include "frame/Failure.h"
#include "frame/Friend.h"
#include "frame/Outside.h"
#include "frame/Trail.h"

namespace orvspc {
namespace {

// What is looked up for each row, in this order.
struct Lookup {
  NameResolver resolve;
  std::int32_t API_SCRow::*id;
  std::string SCNames::*name;
};

constexpr Lookup kLookups[] = {
    {ResolvePart, &API_SCRow::PartID, &SCNames::Part},
    {ResolveProcess, &API_SCRow::ProcessID, &SCNames::Process},
    {ResolveTest, &API_SCRow::TestID, &SCNames::Test},
    {ResolveSmplReq, &API_SCRow::SmplReqID, &SCNames::SmplReq},
    {ResolveState, &API_SCRow::StateID, &SCNames::State},
};

// The names of every row, in the order of the rows. One identifier is read once, unless there is no
// such record.
void ResolveResultsEx(const std::shared_ptr<platform::Database>& Database,
                      const Array<API_SCRow>& Rows, Array<SCNames>& Names) {
  Traced("SCAnalysis.ResolveResultsEx", [&] {
    const auto platform = PlatformInForce();
    std::shared_ptr<platform::NameRecord> caches[std::size(kLookups)];
    for (std::size_t i = 0; i < std::size(kLookups); ++i)
      caches[i] = platform->MakeNameRecord(kLookups[i].resolve.kind);
    Names.Dimension(0, Rows.UpperBound());
    for (std::int64_t row = 0; row <= Rows.UpperBound(); ++row) {
      for (std::size_t i = 0; i < std::size(kLookups); ++i) {
        const Lookup& lookup = kLookups[i];
        auto& cache = Needed(caches[i]);
        if (lookup.resolve(Database, Rows[row].*lookup.id, cache))
          Names[row].*lookup.name = cache.Name();
      }
    }
  });
}

}  // namespace

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
    const bool done = AnalyzeDS(Friend{}, database, info, filter, *results);
    return Finish(Friend{}, done, results, info, filter);
  });
}

bool SCAnalysis::AnalyzeDS(const Friend&, const std::shared_ptr<platform::Database>& Database,
                           API_DSInfo& DSInfo, Array<std::int32_t>& DSFilter, SCResults& Results) {
  return Traced("SCAnalysis.AnalyzeDS", [&] {
    const auto platform = PlatformInForce();
    auto& library = platform->Compliance();
    const std::int32_t connection = Needed(Database).ConnectionHandle();
    // The library takes the first cell, which has to be there.
    static_cast<void>(DSFilter[0]);
    const std::int32_t count =
        library.VLXSREQ_SREQ_COMPLIANCE(0, connection, DSInfo, DSFilter.Elements());
    if (count <= 0) {
      // The library keeps no rows then, so there are none to release.
      Results.Reset(Friend{});
      return true;
    }
    Array<API_SCRow> rows;
    rows.Dimension(0, std::int64_t{count} - 1);
    library.VLXSREQ_SREQ_COMPLIANCE_GETDATA(rows.Elements(), count);
    library.VLXSREQ_SREQ_COMPLIANCE_FREEDATA();
    Array<SCNames> names;
    ResolveResultsEx(Database, rows, names);
    Results.Load(Friend{}, rows, names);
    return true;
  });
}

std::shared_ptr<SCResults> SCAnalysis::Finish(const Friend&, bool done,
                                              const std::shared_ptr<SCResults>& results,
                                              const API_DSInfo& info,
                                              const Array<std::int32_t>& filter) {
  // Deliberate: an analysis that was not done returns null, although none reports that.
  if (!done) return nullptr;
  results->DataSelect()->API_SetData(info, filter);
  return results;
}

}  // namespace orvspc
