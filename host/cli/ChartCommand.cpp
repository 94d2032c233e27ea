// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include "chart/CCAnalysis.h"
#include "host/cli/Analysis.h"

namespace orvspc::cli {

namespace {

constexpr Number kMax = MaximumOption("the newest N subgroups at most", "25");
constexpr Choice<ccGraph1Types> kGraph1{{"graph1", "WORD", "", "", false, render::kGraph1Words}};
constexpr Choice<ccGraph2Types> kGraph2{{"graph2", "WORD", "", "", false, render::kGraph2Words}};
constexpr Choice<ccGraph3Types> kGraph3{{"graph3", "WORD", "", "", false, render::kGraph3Words}};
constexpr Option kRules{"rules", "SET", "rule set of graph 1 for this run",
                        "the database's alarms"};
constexpr render::Word kGroupWords[] = {{"none", ccGroupByNone},
                                        {"part", ccGroupByPart},
                                        {"process", ccGroupByProcess},
                                        {"test", ccGroupByTest}};
constexpr Choice<ccGroupByTypes> kGroupBy{
    {"group-by", "WORD", "points that belong together share a place", "", false, kGroupWords}};
constexpr Number kGroupThreshold{
    {"group-threshold", "SECONDS", "longest time inside a group", "3600"}};
constexpr Option kCusum{"cusum", nullptr, "cumulative sums on graph 1; not of np and pre-control"};
constexpr render::Word kEwmaWords[] = {
    {"none", ccEwmaNone}, {"standard", ccEwmaStandard}, {"moving-centre", ccEwmaWanderingMean}};
constexpr Choice<ccEWMATypes> kEwma{{"ewma", "WORD",
                                     "attribute charts: exponentially weighted moving average", "",
                                     false, kEwmaWords}};
constexpr Real kAql{
    {"aql", "PERCENT", "attribute charts: acceptable quality level of the JSON's limits", "1"},
    100.0};
constexpr Real kProducerRisk{
    {"producer-risk", "PERCENT", "attribute charts: risk of the same", "10"}, 99.0};
constexpr Option kOptions[] = {kMax,   kGraph1,  kGraph2,         kGraph3,
                               kRules, kGroupBy, kGroupThreshold, kCusum,
                               kEwma,  kAql,     kProducerRisk};

std::string Graph1Of(const Arguments& arguments) {
  return "--graph1 " + arguments.Value(kGraph1).value_or("auto");
}

std::shared_ptr<CCProcessing> MakeProcessing(const Arguments& arguments) {
  auto processing = std::make_shared<CCProcessing>();
  processing->Graph1Type(arguments.Get(kGraph1));
  processing->Graph2Type(arguments.Get(kGraph2));
  processing->Graph3Type(arguments.Get(kGraph3));
  processing->GroupBy(arguments.Get(kGroupBy));
  processing->GroupThreshold(*arguments.Get(kGroupThreshold));
  if (arguments.Has(kCusum)) {
    processing->Cusum(ccCusumStandard);
    if (!processing->AllowCUSUM()) throw Misuse("--cusum does not go with " + Graph1Of(arguments));
  }
  for (const Option& option : {Option(kEwma), Option(kAql), Option(kProducerRisk)})
    if (arguments.Has(option) && !processing->IsAttribute())
      throw Misuse(std::string("--") + option.name + " goes with charts of counts, not with " +
                   Graph1Of(arguments));
  processing->EWMA(arguments.Get(kEwma));
  if (const auto level = arguments.Get(kAql)) processing->AQLValue(*level);
  if (const auto risk = arguments.Get(kProducerRisk)) processing->AQLProducerRisk(*risk);
  return processing;
}

Outcome Chart(const Analysis& run, const std::shared_ptr<CCProcessing>& processing) {
  if (run.format == "xml") {
    auto [results, report] = Analysed<CCAnalysis>(run.database, run.select, processing);
    // The result as it is, with nothing read out of it before.
    std::string text = results->GetXML() + "\n";
    const std::int32_t shown = results->TotalSubgroups();
    NoteCut(run, kMax, shown, report.notes);
    return {std::move(text), shown == 0, std::move(report.notes)};
  }
  auto document = RunChart(run.database, run.select, processing);
  NoteCut(run, kMax, document.chart.subgroups.total_subgroups, document.notes);
  const bool empty = document.chart.subgroups.rows.empty();
  return {Formatted(std::move(document), run), empty};
}

int Run(const Arguments& arguments, Console& console) {
  const auto processing = MakeProcessing(arguments);
  // A chart of variables takes variable tests, one of counts those of defects and of defectives.
  const std::int32_t types =
      (processing->IsVariable() ? ttVariable : 0) | (processing->IsAttribute() ? kCounts : 0);
  return RunAnalysis(arguments, console, kDrawnAndStored, kMax, types, [&](Analysis& run) {
    if (const auto rules = arguments.Value(kRules)) run.database.UseRuleSet(*rules);
    return Chart(run, processing);
  });
}

}  // namespace

render::ChartDocument RunChart(const QualityDatabase& database,
                               const std::shared_ptr<DataSelect>& select,
                               const std::shared_ptr<CCProcessing>& processing) {
  auto [results, report] = Analysed<CCAnalysis>(database, select, processing);
  render::ChartDocument document;
  document.chart = render::ReadChart(std::move(results));
  ReadTexts(database, NamesOf(database), document.chart.subgroups);
  document.downtimes = ReadDowntimes(database, document.chart.subgroups);
  document.requested[0] = processing->Graph1Type();
  document.requested[1] = processing->Graph2Type();
  document.requested[2] = processing->Graph3Type();
  document.notes = std::move(report.notes);
  // Without data the report is that of the chart before.
  if (document.chart.subgroups.rows.empty()) return document;
  static_cast<ChartReport&>(document) = std::move(report.chart);
  return document;
}

Command ChartCommand() {
  return {"chart",
          "--db FILE [--part NAME] [--test NAME] [OPTIONS]",
          "Control charts with limits, run rules and specification limits",
          "--graph1 auto leaves all three graphs to the data: individuals and moving range for "
          "single values, mean and range up to 10 pieces, mean and deviation above or where sizes "
          "differ. auto-attribute takes p for tests of defectives, c for defects on one size, u "
          "where sizes differ.\n"
          "--cusum goes with every chart but np and pre-control.\n"
          "Formats: text, json, xml, svg, html; orvspc show draws the XML again without a "
          "database.",
          "orvspc chart --db q.db --part Ring --test Diameter --graph1 xbar --graph2 sd -o c.svg",
          Together(SelectionOptions(), kOptions, kOutputOptions),
          Run};
}

}  // namespace orvspc::cli
