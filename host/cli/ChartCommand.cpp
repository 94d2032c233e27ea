// SPDX-License-Identifier: Apache-2.0
#include "host/cli/ChartCommand.h"

#include <charconv>
#include <ostream>
#include <utility>

#include "chart/CCAnalysis.h"
#include "engine/store/Catalogue.h"
#include "host/cli/Selection.h"
#include "host/render/chart/ChartView.h"
#include "host/render/core/Numbers.h"

namespace orvspc::host {

namespace {

template <class Type>
Type GraphOption(const Arguments& arguments, std::int32_t graph, const char* fallback) {
  const std::string name = "graph" + std::to_string(graph);
  const std::string word = arguments.Value(name, fallback);
  std::int32_t type = 0;
  if (!GraphType(graph, word, type))
    throw Misuse("--" + name + " takes one of " + GraphWords(graph) + ", not \"" + word + "\"");
  return static_cast<Type>(type);
}

// A percentage within what the settings keep as it is.
std::optional<double> Percentage(const Arguments& arguments, const std::string& name, double most) {
  const auto text = arguments.Value(name);
  if (!text) return std::nullopt;
  double value = 0.0;
  const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), value);
  if (error != std::errc() || end != text->data() + text->size() ||
      !(value >= 0.0 && value <= most)) {
    throw Misuse("--" + name + " takes a percentage from 0 to " + Significant(most, 3) +
                 ", not \"" + *text + "\"");
  }
  return value;
}

void AddAttributeOptions(const Arguments& arguments, CCProcessing& processing) {
  for (const char* option : {"ewma", "aql", "producer-risk"}) {
    if (arguments.Has(option) && !processing.IsAttribute())
      throw Misuse("--" + std::string(option) + " goes with charts of counts, not with --graph1 " +
                   arguments.Value("graph1", "auto"));
  }
  const std::string ewma = arguments.Choice("ewma", {"none", "standard", "moving-centre"}, "none");
  if (ewma == "standard") processing.EWMA(ccEwmaStandard);
  if (ewma == "moving-centre") processing.EWMA(ccEwmaWanderingMean);
  if (const auto level = Percentage(arguments, "aql", 100.0)) processing.AQLValue(*level);
  if (const auto risk = Percentage(arguments, "producer-risk", 99.0))
    processing.AQLProducerRisk(*risk);
}

std::shared_ptr<CCProcessing> MakeProcessing(const Arguments& arguments) {
  auto processing = std::make_shared<CCProcessing>();
  processing->Graph1Type(GraphOption<ccGraph1Types>(arguments, 1, "auto"));
  processing->Graph2Type(GraphOption<ccGraph2Types>(arguments, 2, "none"));
  processing->Graph3Type(GraphOption<ccGraph3Types>(arguments, 3, "none"));
  const std::string group =
      arguments.Choice("group-by", {"none", "part", "process", "test"}, "none");
  if (group == "part") processing->GroupBy(ccGroupByPart);
  if (group == "process") processing->GroupBy(ccGroupByProcess);
  if (group == "test") processing->GroupBy(ccGroupByTest);
  if (const auto threshold = arguments.Number("group-threshold", 0))
    processing->GroupThreshold(*threshold);
  if (arguments.Has("cusum")) {
    processing->Cusum(ccCusumStandard);
    if (!processing->AllowCUSUM())
      throw Misuse("--cusum does not go with --graph1 " + arguments.Value("graph1", "auto"));
  }
  AddAttributeOptions(arguments, *processing);
  return processing;
}

struct Analysed {
  std::shared_ptr<CCResults> results;
  std::vector<Note> notes;
};

Analysed Analyse(const std::shared_ptr<EmbeddedDatabase>& database,
                 const std::shared_ptr<DataSelect>& select,
                 const std::shared_ptr<CCProcessing>& processing) {
  TakeNotes();  // those of earlier calls are not this chart's
  Analysed analysed{CCAnalysis().AnalyzeDataSelect(database, select, processing), {}};
  CheckEngine(*database);
  analysed.notes = TakeNotes();
  return analysed;
}

// The result as it is, with nothing read out of it before.
std::string ChartXml(const Analysed& analysed, Console& console) {
  std::string text = analysed.results->GetXML() + "\n";
  if (analysed.results->TotalSubgroups() == 0) console.err << kNoData << "\n";
  PrintNotes(console, analysed.notes);
  return text;
}

int Run(const Arguments& arguments, Console& console) {
  const std::string format = OutputFormat(arguments, {"text", "json", "xml", "svg", "html"});
  const auto processing = MakeProcessing(arguments);
  const auto database = OpenQualityDatabase(arguments);
  const auto select = MakeSelection(arguments, *database, 25);
  SelectTestsOf(*processing, *select);
  if (const auto rules = arguments.Value("rules")) engine::store::UseRuleSet(*database, *rules);
  if (format == "xml") {
    Deliver(arguments, console, ChartXml(Analyse(database, select, processing), console));
    return 0;
  }
  ChartDocument document = RunChart(database, select, processing);
  if (format == "json") document.acceptance = ReadAcceptance(document);
  const bool empty = document.chart.subgroups.rows.empty();
  if (empty && format != "text") console.err << kNoData << "\n";
  Deliver(arguments, console,
          ChartText(document, NamesOf(database), format, console,
                    console.out_is_terminal && !arguments.Has("output")));
  return 0;
}

}  // namespace

void SelectTestsOf(const CCProcessing& processing, DataSelect& select) {
  select.IncludeVariableTests(processing.IsVariable());
  select.IncludeDefectTests(processing.IsAttribute());
  select.IncludeDefectiveTests(processing.IsAttribute());
}

ChartDocument RunChart(const std::shared_ptr<EmbeddedDatabase>& database,
                       const std::shared_ptr<DataSelect>& select,
                       const std::shared_ptr<CCProcessing>& processing) {
  ChartDocument document;
  document.requested[0] = processing->Graph1Type();
  document.requested[1] = processing->Graph2Type();
  document.requested[2] = processing->Graph3Type();
  auto analysed = Analyse(database, select, processing);
  document.notes = std::move(analysed.notes);
  document.chart = ReadChart(*analysed.results);
  // Without data the engine still tells of the chart before.
  if (document.chart.subgroups.rows.empty()) return document;
  document.streams = LatestStreams();
  return document;
}

std::optional<AcceptanceLimits> ReadAcceptance(const ChartDocument& document) {
  if (document.chart.subgroups.rows.empty()) return std::nullopt;
  return LatestAcceptance();
}

std::string ChartText(const ChartDocument& document, const Names& names, const std::string& format,
                      const Console& console, bool colour) {
  if (format == "json") return ChartJson(document, names);
  const ChartView view = MakeChartView(document, names);
  if (format == "svg") return RenderChartSvg(view);
  if (format == "html") return RenderChartHtml(view);
  return RenderChartText(view, {console.columns, colour});
}

Command ChartCommand() {
  Command command;
  command.name = "chart";
  command.synopsis = "--db FILE [--part NAME] [--test NAME] [OPTIONS]";
  command.summary = "Control charts with limits, run rules and specification limits";
  command.details =
      "--graph1 auto leaves all three graphs to the data: individuals and moving range for single\n"
      "values, mean and range up to 10 pieces, mean and deviation above or where sizes differ.\n"
      "auto-attribute takes p for tests of defectives, c for defects on one size, u where sizes\n"
      "differ.\n"
      "--cusum goes with every chart but np and pre-control.\n"
      "Formats: text, json, xml, svg, html; orvspc show draws the XML again without a database.\n";
  command.example =
      "orvspc chart --db q.db --part Ring --test Diameter --graph1 xbar --graph2 sd -o c.svg";
  command.options = SelectionOptions();
  command.options.insert(
      command.options.end(),
      {{"graph1", "WORD",
        "auto xbar median individuals moving-average pre-control\n"
        "                            auto-attribute ppt dpto ppm dpmo np p c u (default auto)"},
       {"graph2", "WORD", "none range sd mr cv (default none)"},
       {"graph3", "WORD", "none range sd (default none)"},
       {"rules", "SET", "rule set of graph 1 for this run (default: the database's alarms)"},
       {"group-by", "WORD", "none part process test: points that belong together share a place"},
       {"group-threshold", "SECONDS", "longest time inside a group (default 3600)"},
       {"cusum", nullptr, "cumulative sums on graph 1; not of np and pre-control"},
       {"ewma", "WORD", "of counts: none standard moving-centre (default none)"},
       {"aql", "PERCENT", "of counts: acceptable quality level of the JSON's limits (default 1)"},
       {"producer-risk", "PERCENT", "of counts: risk of the same (default 10)"}});
  for (const auto& option : OutputOptions()) command.options.push_back(option);
  command.run = Run;
  return command;
}

}  // namespace orvspc::host
