// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <tuple>
#include <utility>

#include "chart/CCAnalysis.h"
#include "host/cli/Analysis.h"
#include "host/cli/SignalExit.h"
#include "host/cli/UsedSubgroups.h"
#include "host/cli/study/Study.h"
#include "host/render/core/Numbers.h"
#include "platform/TimeStamp.h"
#include "system/system.h"

namespace orvspc::cli {

namespace {

constexpr Number kMaxPoints = MaximumOption("the newest N subgroups at most; 0: all", "25");
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
enum class CountLimits { Sigma, Probability };
constexpr render::Word kLimitsWords[] = {
    {"sigma", static_cast<std::int32_t>(CountLimits::Sigma)},
    {"probability", static_cast<std::int32_t>(CountLimits::Probability)}};
constexpr Choice<CountLimits> kLimits{
    {"limits", "WORD", "attribute charts: limits of three sigmas, or by the distribution itself",
     "sigma", false, kLimitsWords}};
constexpr RealInside kAlpha{
    {"alpha", "X", "risk of a false signal of limits by the distribution", "0.0027"}, 0.0001, 0.1};
enum class Sigma { Usual, Ar1 };
constexpr render::Word kSigmaWords[] = {{"usual", static_cast<std::int32_t>(Sigma::Usual)},
                                        {"ar1", static_cast<std::int32_t>(Sigma::Ar1)}};
constexpr Choice<Sigma> kSigma{
    {"sigma", "WORD", "charts with moving ranges: widened where each point leans on the one before",
     "usual", false, kSigmaWords}};
enum class Steps { Noted, Not };
constexpr render::Word kStepsWords[] = {{"yes", static_cast<std::int32_t>(Steps::Noted)},
                                        {"no", static_cast<std::int32_t>(Steps::Not)}};
constexpr Choice<Steps> kSteps{
    {"steps", "WORD", "charts of means and single values: notes on where the mean may have changed",
     "no", false, kStepsWords, true}};
constexpr Option kChartOptions[] = {kMaxPoints,    kGraph1,         kGraph2,    kGraph3, kRules,
                                    kGroupBy,      kGroupThreshold, kCusum,     kEwma,   kAql,
                                    kProducerRisk, kLimits,         kAlpha,     kSigma,  kSteps,
                                    kPhase,        kAllPhases,      kSignalExit};

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
  for (const Option& option :
       {Option(kEwma), Option(kAql), Option(kProducerRisk), Option(kLimits), Option(kAlpha)})
    if (arguments.Has(option) && !processing->IsAttribute())
      throw Misuse(std::string("--") + option.name + " goes with charts of counts, not with " +
                   Graph1Of(arguments));
  processing->EWMA(arguments.Get(kEwma));
  if (const auto level = arguments.Get(kAql)) processing->AQLValue(*level);
  if (const auto risk = arguments.Get(kProducerRisk)) processing->AQLProducerRisk(*risk);
  return processing;
}

// What is drawn otherwise than by default, for the engine.
std::map<std::string, std::string, std::less<>> ChartOptionsOf(const Arguments& arguments,
                                                               const CCProcessing& processing) {
  std::map<std::string, std::string, std::less<>> options;
  for (const Option& option : {Option(kSigma), Option(kSteps)}) {
    if (!arguments.Has(option)) continue;
    const std::string name = option.name;
    if (processing.IsAttribute())
      throw Misuse("--" + name + " goes with charts of values, not with " + Graph1Of(arguments));
    const auto word = arguments.Value(option).value_or(std::string(option.words.front().word));
    ValueOf("--" + name, option.words, word);
    options["chart." + name] = word;
  }
  const auto alpha = StudyOptions(arguments).Get("Alpha", kAlpha);
  const bool exact = arguments.Get(kLimits) == CountLimits::Probability;
  if (exact && (arguments.Has(kCusum) || arguments.Get(kEwma) != ccEwmaNone))
    throw Misuse("--limits probability does not go with --cusum and --ewma");
  if (alpha && !exact) throw Misuse("--alpha goes with --limits probability");
  if (arguments.Has(kLimits)) options["chart.limits"] = *arguments.Value(kLimits);
  if (alpha) options["chart.alpha"] = render::Shortest(*alpha);
  return options;
}

// Tests of these types that the newest subgroups of the selection have, so many at most.
std::vector<ListedItem> TestsOf(const Analysis& run, const DataSelect& select, std::int32_t types,
                                std::int32_t most) {
  const auto tests = run.database.Items(ItemKind::Test);
  if (std::ranges::none_of(tests, [&](const auto& test) { return (test.type & types) != 0; }))
    return {};
  const auto other = select.Clone();
  IncludeTests(*other, types);
  other->MaximumItems(most);
  const auto data =
      Checked(run.database, [&](const auto& open) { return other->GetSubgroupData(open); });
  std::set<std::int32_t> ids;
  for (bool found = data->MoveFirst(); found; found = data->MoveNext()) ids.insert(data->Test());
  std::vector<ListedItem> items;
  for (const auto& test : tests)
    if (ids.contains(test.id)) items.push_back(test);
  return items;
}

// The parts, processes and tests that were named, without other conditions.
std::shared_ptr<DataSelect> NamedStreams(const Analysis& run) {
  Arguments named = run.arguments;
  for (const auto& option : SelectionOptions()) {
    const std::string name = option.name;
    const bool kept = name == kDatabase.name || name.starts_with("part") ||
                      name.starts_with("process") || name.starts_with("test");
    if (!kept) named = named.Without(option);
  }
  auto select = MakeSelection(named, kMaxPoints, run.database);
  IncludeTests(*select, IncludedTests(*run.select));
  return select;
}

// Whether these have data for the chart at all. Those that are damaged are data, too.
bool HasStreams(const Analysis& run) {
  const auto select = NamedStreams(run);
  select->MaximumItems(1);
  try {
    return Checked(run.database, [&](const auto& open) {
      return select->GetSubgroupData(open)->TotalSubgroups() > 0;
    });
  } catch (const Refusal&) {
    return true;
  }
}

// One of the newest subgroup of which a chart takes none; where other conditions left none, and
// there is nothing that the chart takes without them, one of the streams that were named.
std::optional<ListedItem> OtherTest(const Analysis& run) {
  const auto types = kAllTests & ~IncludedTests(*run.select);
  auto tests = TestsOf(run, *run.select, types, 1);
  if (tests.empty() && !HasStreams(run)) tests = TestsOf(run, *NamedStreams(run), types, 1);
  return tests.empty() ? std::nullopt : std::optional(tests.front());
}

// What a test is of, and the chart of that.
struct TestKind {
  std::int32_t type;
  const char* does;
  const char* word;
};
constexpr TestKind kTestKinds[] = {{ttVariable, "measures values", "auto"},
                                   {ttDefects, "counts defects", "c"},
                                   {ttDefectives, "counts defectives", "p"}};

// Where nothing was selected since the test is of another kind than the chart: the note that the
// chart of counts is drawn in place of one that was not asked for. Misuse for one that was, unless
// another condition emptied the selection.
std::optional<Note> TakeOtherChart(const Analysis& run, CCProcessing& processing) {
  const auto test = OtherTest(run);
  if (!test) return std::nullopt;
  const auto* const kind = std::ranges::find(kTestKinds, test->type, &TestKind::type);
  if (kind == std::end(kTestKinds)) return std::nullopt;
  const std::string does = test->name + " " + kind->does;
  if (processing.Graph1Type() != ccGraph1BestGuessVariable) {
    if (HasStreams(run)) return std::nullopt;
    throw Misuse(does + "; --graph1 " + kind->word);
  }
  processing.Graph1Type(ccGraph1BestGuessAttribute);
  IncludeTests(*run.select, kCounts);
  return Note{"chart-of-counts", does + ", so the chart is that of counts; --graph1 takes others",
              ""};
}

// The notes of the chart that is drawn in place of one of nothing: what the opening of the database
// reported is there once, with the first.
std::vector<Note> NotesOfOther(std::vector<Note> first, const std::vector<Note>& second,
                               const Note& other) {
  std::erase_if(first, [](const Note& note) { return note.code != "brought-forward"; });
  first.insert(first.end(), second.begin(), second.end());
  first.push_back(other);
  return first;
}

constexpr std::int32_t kNoted = 1000;  // subgroups that a note looks at

std::string TestNames(const std::vector<ListedItem>& tests) {
  std::vector<std::string> names;
  for (const auto& test : tests) names.push_back(test.name);
  return render::Joined(names, ", ");
}

// Tests of these types for a note. Where other subgroups than those shown are damaged, the note
// says so, and there are none: the chart is whole.
std::vector<ListedItem> NotedTests(const Analysis& run, std::int32_t types, const char* code,
                                   std::vector<Note>& notes) {
  try {
    return TestsOf(run, *run.select, types, kNoted);
  } catch (const Refusal& failure) {
    notes.push_back({code, std::string("other tests are not known: ") + failure.what(), ""});
    return {};
  }
}

// "defectives on a chart of defects, whose limits know no upper end: Leaks; see --graph1 p"
void NoteDefectives(const Analysis& run, const CCProcessing& processing, std::vector<Note>& notes) {
  constexpr std::int32_t kOfDefects[] = {ccGraph1C, ccGraph1U, ccGraph1Dpto, ccGraph1Dpmo};
  if (std::ranges::find(kOfDefects, processing.Graph1Type()) == std::end(kOfDefects)) return;
  const auto tests = NotedTests(run, ttDefectives, "defectives-as-defects", notes);
  if (tests.empty()) return;
  notes.push_back({"defectives-as-defects",
                   "defectives on a chart of defects, whose limits know no upper end: " +
                       TestNames(tests) + "; see --graph1 p",
                   ""});
}

// "Leaks counts defectives and is not on this chart; --test Leaks draws it"
void NoteLeftOut(const Analysis& run, std::vector<Note>& notes) {
  const auto types = kAllTests & ~IncludedTests(*run.select);
  const auto tests = NotedTests(run, types, "left-out", notes);
  if (tests.empty()) return;
  std::string text = TestNames(tests);
  if (tests.size() > 1) {
    text += " are of another kind and not on this chart; --test NAME draws them";
  } else {
    const auto* const kind = std::ranges::find(kTestKinds, tests[0].type, &TestKind::type);
    if (kind != std::end(kTestKinds)) text += std::string(" ") + kind->does + " and";
    text += " is not on this chart; --test " + system::ShellWord(tests[0].name) + " draws it";
  }
  notes.push_back({"left-out", std::move(text), ""});
}

// Of each part, process and test whether its points that count signal: by a run rule, or beyond a
// specification limit.
std::vector<std::vector<bool>> SignalsOfChart(const QualityDatabase& database,
                                              const render::ChartRead& chart) {
  const auto& rows = chart.subgroups.rows;
  const auto why_not = WhyNotUsed(rows, ExcludedRows(database, rows), chart.select.get());
  const auto is_marked = [](const std::vector<std::int32_t>& bits, std::size_t point) {
    return point < bits.size() && bits[point] != 0;
  };
  std::map<std::array<std::int32_t, 3>, std::vector<bool>> signals;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (why_not[i] != nullptr) continue;
    signals[{rows[i].part, rows[i].prcs, rows[i].test}].push_back(
        std::ranges::any_of(chart.graphs, [&](const render::GraphRead& graph) {
          return is_marked(graph.oocs, i) || is_marked(graph.ooss, i);
        }));
  }
  std::vector<std::vector<bool>> streams;
  for (auto& [stream, points] : signals) streams.push_back(std::move(points));
  return streams;
}

// What the program exits with.
int StatusOf(const Analysis& run, const render::ChartRead& chart) {
  if (!run.arguments.Has(kSignalExit)) return 0;
  return SignalStatus(run.arguments, chart.subgroups.rows.empty(),
                      SignalsOfChart(run.database, chart));
}

Outcome StoredChart(Analysis& run, const std::shared_ptr<CCProcessing>& processing) {
  auto [results, report] = Analysed<CCAnalysis>(run.database, run.select, processing);
  if (results->TotalSubgroups() == 0) {
    if (const auto other = TakeOtherChart(run, *processing)) {
      const auto first = std::move(report.notes);
      std::tie(results, report) = Analysed<CCAnalysis>(run.database, run.select, processing);
      report.notes = NotesOfOther(first, report.notes, *other);
    }
  }
  // Deliberate: another chart is read for the status, since what is read is gone from the text.
  const int status = run.arguments.Has(kSignalExit)
                         ? StatusOf(run, RunChart(run.database, run.select, processing).chart)
                         : 0;
  // The result as it is, with nothing read out of it before.
  std::string text = results->GetXML() + "\n";
  const std::int32_t shown = results->TotalSubgroups();
  NoteCut(run, kMaxPoints, shown, report.notes);
  if (shown != 0) NoteLeftOut(run, report.notes);
  if (shown != 0) NoteDefectives(run, *processing, report.notes);
  if (shown == 0) NoteEmpty(run, kMaxPoints, report.notes);
  return {std::move(text), shown == 0, std::move(report.notes), status};
}

Outcome Chart(Analysis& run, const std::shared_ptr<CCProcessing>& processing) {
  if (run.format == "xml") return StoredChart(run, processing);
  auto document = RunChart(run.database, run.select, processing);
  if (document.chart.subgroups.rows.empty()) {
    if (const auto other = TakeOtherChart(run, *processing)) {
      const auto first = std::move(document.notes);
      document = RunChart(run.database, run.select, processing);
      document.notes = NotesOfOther(first, document.notes, *other);
    }
  }
  const bool empty = document.chart.subgroups.rows.empty();
  NoteCut(run, kMaxPoints, document.chart.subgroups.total_subgroups, document.notes);
  if (!empty) NoteLeftOut(run, document.notes);
  if (!empty) NoteDefectives(run, *processing, document.notes);
  if (empty) NoteEmpty(run, kMaxPoints, document.notes);
  const int status = StatusOf(run, document.chart);
  return {Formatted(std::move(document), run), empty, {}, status};
}

int RunChartCommand(const Arguments& arguments, Console& console) {
  const auto processing = MakeProcessing(arguments);
  const auto options = ChartOptionsOf(arguments, *processing);
  // A chart of variables takes variable tests, one of counts those of defects and of defectives.
  const std::int32_t types =
      (processing->IsVariable() ? ttVariable : 0) | (processing->IsAttribute() ? kCounts : 0);
  return RunAnalysis(arguments, console, kDrawnAndStored, kMaxPoints, types, [&](Analysis& run) {
    if (const auto rules = arguments.Value(kRules)) run.database.UseRuleSet(*rules);
    run.database.JoinPhases(arguments.Has(kAllPhases));
    run.database.UseChartOptions(options);
    return Chart(run, processing);
  });
}

// "limits in force since 2026-01-10, from 25 subgroups"; empty where neither is known.
std::string LimitsText(std::int32_t since, std::int32_t used) {
  std::string text;
  if (since != kSinceEver) {
    const auto clock = render::ClockText(since);
    text = " since " + render::DayText(since) + (clock == "00:00" ? "" : " " + clock);
  }
  if (used > 0) {
    text += text.empty() ? "" : ",";
    text += " from " + render::Counted(static_cast<std::size_t>(used), "subgroup");
  }
  return text.empty() ? text : "limits in force" + text;
}

// "1 of 125 values was changed after these limits were computed"; empty where none was.
std::string ChangedText(const ChangedValues& values) {
  if (values.changed == 0) return {};
  const bool is_one = values.changed == 1;
  const std::string what = values.are_counts ? "count" : "value";
  const auto text = values.all < values.changed
                        ? render::Counted(static_cast<std::size_t>(values.changed), what)
                        : std::to_string(values.changed) + " of " +
                              render::Counted(static_cast<std::size_t>(values.all), what);
  return text + (is_one ? " was" : " were") + " changed after these limits were computed";
}

// Adds one note for each of so many streams, or one for all where they read alike.
void AddAlike(std::vector<Note> notes, std::size_t streams, std::vector<Note>& all) {
  const auto differs = [&](const Note& note) { return note.text != notes.front().text; };
  if (notes.size() == streams && std::ranges::none_of(notes, differs) && !notes.empty()) {
    notes.resize(1);
    notes.front().stream.clear();
  }
  all.insert(all.end(), notes.begin(), notes.end());
}

// Points of an excluded phase are out of no specification, which the chart library cannot know.
void ClearExcluded(const QualityDatabase& database, render::ChartDocument& document) {
  document.excluded = ExcludedRows(database, document.chart.subgroups.rows);
  for (auto& graph : document.chart.graphs)
    for (std::size_t i = 0; i < graph.ooss.size(); ++i)
      if (document.excluded[i]) graph.ooss[i] = 0;
}

// Since when the limits at the newest point of each stream hold, and whether their data changed.
void NoteLimits(const QualityDatabase& database, render::ChartDocument& document) {
  const auto& rows = document.chart.subgroups.rows;
  std::map<std::array<std::int32_t, 3>, std::size_t> newest;  // points of streams
  for (std::size_t i = 0; i < rows.size() && i < document.limit_rows.size(); ++i)
    newest[{rows[i].part, rows[i].prcs, rows[i].test}] = i;
  const auto names = NamesOf(database);
  std::vector<Note> in_force, changed;
  for (const auto& [stream, point] : newest) {
    if (document.limit_rows[point] < 0) continue;
    const auto& limits =
        document.chart.ctrl_lims.at(static_cast<std::size_t>(document.limit_rows[point]));
    const auto since = platform::DateToTimeStamp(render::NumberOf(limits, "F_EFTM"));
    const auto id = static_cast<std::int32_t>(render::NumberOf(limits, "Word0"));
    const auto stored = database.Versions<ControlLimits>({stream[0], stream[1], stream[2]});
    const auto row = std::ranges::find(stored, id, &ControlLimits::id);
    const bool is_stored = row != stored.end() && row->effective == since;
    const auto name = render::StreamName(names, stream[0], stream[1], stream[2]);
    auto text = LimitsText(since, is_stored ? row->used : 0);
    if (!text.empty()) in_force.push_back({"limits-in-force", std::move(text), name});
    if (!is_stored) continue;
    auto of_changed = ChangedText(database.ChangedSinceLimits(row->id));
    if (!of_changed.empty()) {
      changed.push_back({"limits-data-changed", std::move(of_changed), name});
    }
  }
  AddAlike(std::move(in_force), newest.size(), document.notes);
  AddAlike(std::move(changed), newest.size(), document.notes);
}

// What was chosen for the streams of a chart and bears on it.
std::vector<std::vector<render::ResolvedOption>> OptionsOf(const QualityDatabase& database,
                                                           const render::ChartDocument& document,
                                                           const CCProcessing& processing) {
  const bool counts = document.acceptance.has_value();
  const bool weighted =
      processing.Cusum() != ccCusumNone || (counts && processing.EWMA() != ccEwmaNone);
  std::vector<std::vector<render::ResolvedOption>> all;
  bool any = false;
  for (const auto& stream : document.streams) {
    auto& options = all.emplace_back();
    const auto chosen = database.ChartOptionsOf({stream.part, stream.process, stream.test});
    const auto find = [&](std::string_view key) {
      return std::ranges::find(chosen, key, &ChartOption::key);
    };
    const auto from = [](const ChartOption& option) {
      return option.of_database ? "database" : "command";
    };
    for (const auto& [key, stored] :
         {std::pair("Sigma", "chart.sigma"), std::pair("Steps", "chart.steps")}) {
      if (const auto option = find(stored); !counts && option != chosen.end())
        options.push_back({key, option->value, from(*option)});
    }
    const auto limits = find("chart.limits");
    if (counts && !weighted && limits != chosen.end()) {
      options.push_back({"Limits", limits->value, from(*limits)});
      const auto alpha = find("chart.alpha");
      if (alpha != chosen.end()) {
        options.push_back({"Alpha", std::stod(alpha->value), from(*alpha)});
      } else if (limits->value == "probability") {
        options.push_back({"Alpha", 0.0027, "default"});
      }
    }
    any = any || !options.empty();
  }
  if (!any) all.clear();
  return all;
}

}  // namespace

render::ChartDocument RunChart(const QualityDatabase& database,
                               const std::shared_ptr<DataSelect>& select,
                               const std::shared_ptr<CCProcessing>& processing) {
  auto [results, report] = Analysed<CCAnalysis>(database, select, processing);
  render::ChartDocument document;
  document.chart = render::ReadChart(std::move(results));
  ReadTexts(database, NamesOf(database), document.chart.subgroups);
  ClearExcluded(database, document);
  document.downtimes = ReadDowntimes(database, ShownNamesOf(database), document.chart.subgroups);
  document.requested[0] = processing->Graph1Type();
  document.requested[1] = processing->Graph2Type();
  document.requested[2] = processing->Graph3Type();
  document.notes = std::move(report.notes);
  // Without data the report is that of the chart before.
  if (document.chart.subgroups.rows.empty()) return document;
  static_cast<ChartReport&>(document) = std::move(report.chart);
  document.options = OptionsOf(database, document, *processing);
  NoteLimits(database, document);
  NoteFlags(document.chart.subgroups, document.notes);
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
          "Each phase of a stream has limits and run rules of its own; \"orvspc phase\" keeps "
          "phases.\n"
          "--cusum goes with every chart but np and pre-control.\n"
          "--exit-code=any looks at every point shown; a signal is a run rule or a specification "
          "limit that marks a point.\n"
          "Formats: text, json, xml, svg, html; orvspc show draws the XML again without a "
          "database.",
          "orvspc chart --db q.db --part Ring --test Diameter --graph1 xbar --graph2 sd -o c.svg",
          Together(SelectionOptions(), kChartOptions, kPageOptions),
          RunChartCommand};
}

}  // namespace orvspc::cli
