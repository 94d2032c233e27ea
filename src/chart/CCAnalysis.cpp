// SPDX-License-Identifier: Apache-2.0
#include "chart/CCAnalysis.h"

#include <cstdint>
#include <span>
#include <utility>

#include "chart/chart_codes.h"
#include "chart/chart_run.h"
#include "chart/groups.h"
#include "chart/spec_limits.h"
#include "frame/Friend.h"
#include "frame/Outside.h"
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
constexpr PerPoint kPoints[] = {{&API_CCGraph::Points, ChartData::Points}};
constexpr PerPoint kSpecLimits[] = {{&API_CCGraph::USLs, ChartData::USLs},
                                    {&API_CCGraph::Targets, ChartData::Targets},
                                    {&API_CCGraph::LSLs, ChartData::LSLs}};
constexpr PerPoint kCalculatedLimits[] = {{&API_CCGraph::cUCLs, ChartData::cUCLs},
                                          {&API_CCGraph::cCLs, ChartData::cCLs},
                                          {&API_CCGraph::cLCLs, ChartData::cLCLs}};
constexpr PerPoint kLimitsInForce[] = {{&API_CCGraph::UCLs, ChartData::UCLs},
                                       {&API_CCGraph::Cls, ChartData::Cls},
                                       {&API_CCGraph::LCLs, ChartData::LCLs}};

void FetchPass(const ChartRun& run, API_CCResults& record, std::int32_t graphs,
               std::span<const PerPoint> fields) {
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
  FetchPass(run, record, graphs, kPoints);
  for (std::int32_t i = 0; i < graphs; ++i)
    run.Fetch(record.Graphs[i].SGSizes, totals.SubgroupCount, ChartData::SGSizes, i + 1);
}

// Stored limits; the specification limits also along the points of the first graph.
void FetchLimitRows(const ChartRun& run, API_CCResults& record) {
  const auto& totals = record.Totals;
  if (totals.CtrlLimCount != 0)
    run.Fetch(record.CtrlLims, totals.CtrlLimCount, ChartData::CtrlLims);
  if (totals.SpecLimCount != 0) {
    run.Fetch(record.SpecLims, totals.SpecLimCount, ChartData::SpecLims);
    FetchPass(run, record, 1, kSpecLimits);
  }
  if (!run.path.variable && totals.DefOppCount != 0)
    run.Fetch(record.DefOpps, totals.DefOppCount, ChartData::DefOpps);
}

// The run is open and gave something: settings become those of the charts that were drawn, and the
// record is filled.
void Collect(const Request& request, const ChartRun& run, std::int32_t chart_word,
             API_CCResults& record) {
  const bool variable = run.path.variable;
  auto& processing = *request.results.Processing();
  processing.Graph1Type(chart_codes::Graph1FromAPI(chart_word & chart_codes::kGraph1Bits));
  // Deliberate: an attribute analysis has one graph, even if the word says more.
  processing.Graph2Type(variable ? chart_codes::Graph2FromAPI(chart_word & chart_codes::kGraph2Bits)
                                 : ccGraph2None);
  processing.Graph3Type(variable ? chart_codes::Graph3FromAPI(chart_word & chart_codes::kGraph3Bits)
                                 : ccGraph3None);
  const std::int32_t graphs = request.results.GraphCount();

  record.Totals = Totals(run);
  FetchData(run, record, graphs);
  GetAlarmMask(request, chart_word, graphs, record.AlarmMask);
  LoadAlarms(run, record, request.results);
  FetchLimitRows(run, record);
  groups::BuildGroupInformation(processing, record);
  // Deliberate: no such call for attributes; the estimates and the average sizes stay 0.
  if (variable) ReadEstimates(run.library, record);
  if (!variable || processing.Graph1Type() != ccGraph1Pc)
    FetchPass(run, record, graphs, kCalculatedLimits);
  FetchPass(run, record, graphs, kLimitsInForce);
  ProcessSpecLim(record);
}

// A run from its process call, which gets the connection and gives the chart word, to its end.
// Deliberate: a failure skips END and the second DatabaseValue; the next run ends what is open.
template <class Process>
bool Run(const Request& request, const ChartPath& path, Process&& process) {
  auto& library = request.platform.CtrlChrt();
  API_CCResults record;
  const std::int32_t kept = request.database.DatabaseValue(0);
  (library.*path.end)();
  const std::int32_t chart_word = process(library, request.database.ConnectionHandle());
  if (chart_word != 0) Collect(request, {library, path}, chart_word, record);
  (library.*path.end)();
  request.database.DatabaseValue(kept);
  request.results.Structure(Friend{}, std::move(record));
  return true;
}

bool AnalyzeVariableDataSelect(const Request& request) {
  return Traced("CCAnalysis.AnalyzeVariableDataSelect", [&] {
    const CCProcessing& processing = *request.results.Processing();
    API_CCVarOptions options = {};
    options.ChartWord = chart_codes::GetAPIChartID(processing);
    options.ProcessingWord = chart_codes::GetAPIProcessingEx(processing);
    options.Constant = 2;
    return Run(request, kVariablePath, [&](CtrlChrt6& library, std::int32_t connection) {
      return library.VLXCRT_VCHART_PROCESS_LT(0, connection, request.info, request.filter, options,
                                              0);
    });
  });
}

bool AnalyzeAttributeDataSelect(const Request& request) {
  return Traced("CCAnalysis.AnalyzeAttributeDataSelect", [&] {
    const CCProcessing& processing = *request.results.Processing();
    const std::int32_t asked_word = chart_codes::GetAPIChartID(processing);
    const std::int32_t processing_word = chart_codes::GetAPIProcessingEx(processing);
    return Run(request, kAttributePath, [&](CtrlChrt6& library, std::int32_t connection) {
      // Deliberate: the option goes here, not its weight.
      const auto ewma = static_cast<double>(processing.EWMA());
      // Deliberate: both go whatever Economic says; FixEconomic relies on that and keeps them.
      double aql_value = processing.AQLValue();
      double aql_producer_risk = processing.AQLProducerRisk();
      return library.VLXCRT_ATTR_PROCESS_LT(0, connection, request.info, request.filter, asked_word,
                                            processing_word, ewma, aql_value, aql_producer_risk, 0);
    });
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
