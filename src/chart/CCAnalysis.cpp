// SPDX-License-Identifier: Apache-2.0
#include "chart/CCAnalysis.h"

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string_view>
#include <utility>

#include "chart/cc_module.h"
#include "chart/chart_codes.h"
#include "chart/chart_run.h"
#include "chart/groups.h"
#include "chart/spec_limits.h"
#include "frame/Friend.h"
#include "frame/Outside.h"
#include "frame/Support.h"
#include "frame/Trail.h"

namespace orvspc {
namespace {

using platform::ChartData;
using platform::CtrlChrt6;

// Inputs shared by the variable and the attribute path.
struct Request {
  platform::Platform& platform;
  platform::Database& database;
  API_DSInfo& info;
  std::span<std::int32_t> filter;
  CCResults& results;
};

API_CCTotals Totals(std::string_view entry, const ChartRun& run) {
  return Traced(entry, [&] {
    Array<API_CCTotals> totals;
    run.Fetch(totals, 1, ChartData::Totals);
    return totals[0];
  });
}

// Which rules are enabled as alarms, for each graph of the returned chart word.
void GetAlarmMask(const Request& request, std::int32_t chart_word, std::int32_t graph_count,
                  Array<std::int32_t>& alarm_mask) {
  Traced("CCAnalysis.GetAlarmMask", [&] {
    alarm_mask.Dimension(0, 2);
    // Deliberate: nested in the bracket of the path, so what is kept and given back here is 0.
    const std::int32_t kept = request.database.DatabaseValue(0);
    request.platform.DBLib().VLXDBL_GETALARMMASK(0, request.database.ConnectionHandle(),
                                                 request.info, request.filter, chart_word,
                                                 graph_count, alarm_mask.Elements());
    request.database.DatabaseValue(kept);
  });
}

// One pass over the graphs: all fetches of a graph before the next graph.
struct PerPoint {
  Array<double> API_CCGraph::*field;
  ChartData code;
};

void FetchPass(const ChartRun& run, API_CCResults& record, std::int32_t graphs,
               std::initializer_list<PerPoint> fields) {
  for (std::int32_t i = 0; i < graphs; ++i)
    for (const PerPoint& each : fields)
      run.Fetch(record.Graphs[i].*each.field, record.Totals.SubgroupCount, each.code, i + 1);
}

// Rows, points and sizes. The totals are there.
void FetchData(const ChartRun& run, API_CCResults& record, std::int32_t graphs) {
  const auto& totals = record.Totals;
  run.Fetch(record.Subgroups, totals.SubgroupCount, ChartData::Subgroups);
  run.Fetch(record.Tests, totals.TestCount, ChartData::Tests);
  record.Graphs.Dimension(0, 2);
  FetchPass(run, record, graphs, {{&API_CCGraph::Points, ChartData::Points}});
  for (std::int32_t i = 0; i < graphs; ++i)
    run.Fetch(record.Graphs[i].SGSizes, totals.SubgroupCount, ChartData::SGSizes, i + 1);
}

// Stored limits; the specification limits also along the points of the first graph.
void FetchLimitRows(const ChartRun& run, API_CCResults& record) {
  const auto& totals = record.Totals;
  if (totals.CtrlLimCount != 0)
    run.Fetch(record.CtrlLims, totals.CtrlLimCount, ChartData::CtrlLims);
  if (totals.SpecLimCount == 0) return;
  run.Fetch(record.SpecLims, totals.SpecLimCount, ChartData::SpecLims);
  FetchPass(run, record, 1,
            {{&API_CCGraph::USLs, ChartData::USLs},
             {&API_CCGraph::Targets, ChartData::Targets},
             {&API_CCGraph::LSLs, ChartData::LSLs}});
}

void FetchCalculatedLimits(const ChartRun& run, API_CCResults& record, std::int32_t graphs) {
  FetchPass(run, record, graphs,
            {{&API_CCGraph::cUCLs, ChartData::cUCLs},
             {&API_CCGraph::cCLs, ChartData::cCLs},
             {&API_CCGraph::cLCLs, ChartData::cLCLs}});
}

void FetchLimitsInForce(const ChartRun& run, API_CCResults& record, std::int32_t graphs) {
  FetchPass(run, record, graphs,
            {{&API_CCGraph::UCLs, ChartData::UCLs},
             {&API_CCGraph::Cls, ChartData::Cls},
             {&API_CCGraph::LCLs, ChartData::LCLs}});
}

// The run is open and gave something: settings become those of the charts that were drawn, and the
// record is filled.
void CollectVariable(const Request& request, std::int32_t chart_word, API_CCResults& record) {
  auto& library = request.platform.CtrlChrt();
  auto& processing = *request.results.Processing();
  processing.Graph1Type(chart_codes::Graph1FromAPI(chart_word & chart_codes::kGraph1Bits));
  processing.Graph2Type(chart_codes::Graph2FromAPI(chart_word & chart_codes::kGraph2Bits));
  processing.Graph3Type(chart_codes::Graph3FromAPI(chart_word & chart_codes::kGraph3Bits));
  const std::int32_t graphs = request.results.GraphCount();

  const ChartRun run(library, &CtrlChrt6::VLXCRT_VAR_DATA);
  record.Totals = Totals("CCAnalysis.GetVariableTotals", run);
  FetchData(run, record, graphs);
  GetAlarmMask(request, chart_word, graphs, record.AlarmMask);
  cc_module::LoadVariableAlarms(library, record, request.results);
  FetchLimitRows(run, record);
  groups::BuildGroupInformation(processing, record);
  ReadEstimates(library, record);
  if (processing.Graph1Type() != ccGraph1Pc) FetchCalculatedLimits(run, record, graphs);
  FetchLimitsInForce(run, record, graphs);
  ProcessSpecLim(record);
}

void CollectAttribute(const Request& request, std::int32_t chart_word, API_CCResults& record) {
  auto& library = request.platform.CtrlChrt();
  auto& processing = *request.results.Processing();
  processing.Graph1Type(chart_codes::Graph1FromAPI(chart_word & chart_codes::kGraph1Bits));
  // Deliberate: an attribute analysis has one graph, even if the word says more.
  processing.Graph2Type(ccGraph2None);
  processing.Graph3Type(ccGraph3None);
  const std::int32_t graphs = request.results.GraphCount();

  const ChartRun run(library, &CtrlChrt6::VLXCRT_ATTR_DATA);
  record.Totals = Totals("CCAnalysis.GetAttributeTotals", run);
  FetchData(run, record, graphs);
  GetAlarmMask(request, chart_word, graphs, record.AlarmMask);
  cc_module::LoadAttributeAlarms(library, record, request.results);
  FetchLimitRows(run, record);
  if (record.Totals.DefOppCount != 0)
    run.Fetch(record.DefOpps, record.Totals.DefOppCount, ChartData::DefOpps);
  groups::BuildGroupInformation(processing, record);
  // Deliberate: no call for the estimates; they and the average sizes stay 0.
  FetchCalculatedLimits(run, record, graphs);
  FetchLimitsInForce(run, record, graphs);
  ProcessSpecLim(record);
}

// The two paths.
// Deliberate: a failure skips END and the second DatabaseValue; the next run ends what is open.
bool AnalyzeVariableDataSelect(const Request& request) {
  return Traced("CCAnalysis.AnalyzeVariableDataSelect", [&] {
    auto& library = request.platform.CtrlChrt();
    const CCProcessing& processing = *request.results.Processing();
    API_CCVarOptions options = {};
    options.ChartWord = chart_codes::GetAPIChartID(processing);
    options.ProcessingWord = chart_codes::GetAPIProcessingEx(processing);
    options.Constant = 2;
    API_CCResults record;

    const std::int32_t kept = request.database.DatabaseValue(0);
    library.VLXCRT_VAR_END();
    const std::int32_t chart_word = library.VLXCRT_VCHART_PROCESS_LT(
        0, request.database.ConnectionHandle(), request.info, request.filter, options, 0);
    if (chart_word != 0) CollectVariable(request, chart_word, record);
    library.VLXCRT_VAR_END();
    request.database.DatabaseValue(kept);
    request.results.Structure(Friend{}, std::move(record));
    return true;
  });
}

bool AnalyzeAttributeDataSelect(const Request& request) {
  return Traced("CCAnalysis.AnalyzeAttributeDataSelect", [&] {
    auto& library = request.platform.CtrlChrt();
    const CCProcessing& processing = *request.results.Processing();
    const std::int32_t asked_word = chart_codes::GetAPIChartID(processing);
    const std::int32_t processing_word = chart_codes::GetAPIProcessingEx(processing);
    API_CCResults record;

    const std::int32_t kept = request.database.DatabaseValue(0);
    library.VLXCRT_ATTR_END();
    const std::int32_t connection = request.database.ConnectionHandle();
    // Deliberate: the option goes here, not its weight.
    const auto ewma = static_cast<double>(processing.EWMA());
    // Deliberate: both go whatever Economic says; FixEconomic relies on that and keeps them.
    double aql_value = processing.AQLValue();
    double aql_producer_risk = processing.AQLProducerRisk();
    const std::int32_t chart_word =
        library.VLXCRT_ATTR_PROCESS_LT(0, connection, request.info, request.filter, asked_word,
                                       processing_word, ewma, aql_value, aql_producer_risk, 0);
    if (chart_word != 0) CollectAttribute(request, chart_word, record);
    library.VLXCRT_ATTR_END();
    request.database.DatabaseValue(kept);
    request.results.Structure(Friend{}, std::move(record));
    return true;
  });
}

}  // namespace

std::shared_ptr<CCResults> CCAnalysis::AnalyzeDataSelect(
    const std::shared_ptr<platform::Object>& Database,
    const std::shared_ptr<orvspc::DataSelect>& DataSelect,
    const std::shared_ptr<CCProcessing>& Processing) {
  return Traced("CCAnalysis.AnalyzeDataSelect", [&]() -> std::shared_ptr<CCResults> {
    const auto database = ResolveDatabase(Database);
    auto results = std::make_shared<CCResults>();
    results->Processing(Friend{}, Needed(Processing).Clone());
    results->DataSelect(Friend{}, Needed(DataSelect).Clone());
    results->RuleDef(Friend{}, ResolveRuleDef(database));
    results->Processing()->FixProcessing();

    API_DSInfo info = {};
    Array<std::int32_t> filter;
    results->DataSelect()->API_GetData(info, filter);
    const auto platform = PlatformInForce();
    const Request request{*platform, *database, info, filter.Elements(), *results};
    // Deliberate: a chart type outside the enumeration takes the attribute path.
    const bool done = results->Processing()->IsVariable() ? AnalyzeVariableDataSelect(request)
                                                          : AnalyzeAttributeDataSelect(request);
    // Both paths return true or throw, so the result is never null.
    return done ? results : nullptr;
  });
}

}  // namespace orvspc
