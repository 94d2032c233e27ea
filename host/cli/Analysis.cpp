// SPDX-License-Identifier: Apache-2.0
#include "host/cli/Analysis.h"

#include <algorithm>
#include <map>
#include <ostream>
#include <utility>

#include "host/render/capability/Capability.h"
#include "host/render/chart/Chart.h"
#include "host/render/core/PlainText.h"
#include "host/render/pareto/Pareto.h"

namespace orvspc::cli {

using namespace render;

namespace {

template <class View>
std::string Drawn(const View& view, const Presentation& shown,
                  std::string (*text)(const View&, const TextOptions&),
                  std::string (*svg)(const View&, bool), std::string (*html)(const View&)) {
  if (shown.format == "svg") return svg(view, false);
  return shown.format == "html" ? html(view) : text(view, shown.text);
}

}  // namespace

int RunAnalysis(const Arguments& arguments, Console& console, const Formats& formats,
                const Number& maximum, std::int32_t test_types,
                const std::function<Outcome(Analysis&)>& analyse) {
  const std::string format = OutputFormat(arguments, formats);
  const auto database = QualityDatabase::Open(arguments.Required(kDatabase));
  Analysis run{{NamesOf(database), format, TextOptionsOf(arguments, console)},
               arguments,
               database,
               MakeSelection(arguments, maximum, database)};
  IncludeTests(*run.select, test_types);
  const Outcome outcome = analyse(run);
  const std::string why = run.why_empty.empty() ? "no data selected" : run.why_empty;
  if (outcome.empty && format == "html" && !arguments.Has(kAllowEmpty)) {
    const auto refusal = why + "; --allow-empty writes the page all the same";
    if (outcome.status == 0) throw Refusal(refusal);
    console.err << PlainText(refusal) << "\n";
    return outcome.status;
  }
  if (outcome.empty && format != "text") console.err << PlainText(why) << "\n";
  Deliver(arguments, console, outcome.text);
  NotesToDeliver().clear();
  for (const auto& note : outcome.notes)
    if (format == "text" || note.text != why)
      console.err << PlainText("note: " + note.Sentence()) << "\n";
  return outcome.status;
}

std::vector<Note>& NotesToDeliver() {
  thread_local std::vector<Note> notes;
  return notes;
}

void IncludeTests(DataSelect& select, std::int32_t types) {
  select.IncludeVariableTests((types & ttVariable) != 0);
  select.IncludeDefectTests((types & ttDefects) != 0);
  select.IncludeDefectiveTests((types & ttDefectives) != 0);
}

std::int32_t IncludedTests(const DataSelect& select) {
  return (select.IncludeVariableTests() ? ttVariable : 0) |
         (select.IncludeDefectTests() ? ttDefects : 0) |
         (select.IncludeDefectiveTests() ? ttDefectives : 0);
}

namespace {

// So many are counted, since counting reads them.
constexpr std::int32_t kCounted = 10000;

std::string CountText(std::int32_t count, bool events) {
  const std::string what = events ? "event" : "subgroup";
  return (count < kCounted ? "" : "at least ") + Counted(static_cast<std::size_t>(count), what);
}

std::int32_t CountSelected(const Analysis& run, DataSelect& all, std::int32_t most, bool events) {
  all.MaximumItems(most);
  return Checked(run.database, [&](const auto& open) {
    return events ? all.GetEventData(open)->Count() : all.GetSubgroupData(open)->TotalSubgroups();
  });
}

// "no data: 312 subgroups without --since 2030-01-01": how many there are without the condition;
// where none is it alone, without all of them. Empty where there are none even so.
std::string WhyEmpty(const Analysis& run, const Number& maximum, bool events) {
  const auto conditions = ConditionsOf(run.arguments);
  const auto count = [&](const Arguments& arguments) {
    const auto all = MakeSelection(arguments, maximum, run.database);
    IncludeTests(*all, IncludedTests(*run.select));
    return std::min(CountSelected(run, *all, kCounted, events), kCounted);
  };
  std::vector<std::string> found, texts;
  Arguments none = run.arguments;
  for (const auto& condition : conditions) {
    if (const auto left = count(condition.without); left > 0)
      found.push_back(CountText(left, events) + " without " + condition.text);
    for (const auto& word : ConditionsOf(none))
      if (word.text == condition.text) none = word.without;
    texts.push_back(condition.text);
  }
  // Together they may empty what none of them does.
  if (found.empty() && conditions.size() > 1) {
    if (const auto left = count(none); left > 0)
      found.push_back(CountText(left, events) + " without " + render::Joined(texts, " and "));
  }
  return found.empty() ? "" : "no data: " + render::Joined(found, ", ");
}

}  // namespace

void NoteEmpty(Analysis& run, const Number& maximum, std::vector<Note>& notes, bool events) {
  run.why_empty = WhyEmpty(run, maximum, events);
  if (!run.why_empty.empty()) notes.push_back({"no-data", run.why_empty, ""});
}

void NoteCut(const Analysis& run, const Number& maximum, std::int32_t shown,
             std::vector<Note>& notes, bool events) {
  if (run.arguments.Has(maximum) || run.arguments.Get(maximum) != shown) return;
  const auto all = run.select->Clone();
  const auto count = CountSelected(run, *all, std::max(kCounted, shown + 1), events);
  if (count <= shown) return;
  notes.push_back({"newest-only",
                   "newest " + std::to_string(shown) + " of " + CountText(count, events) +
                       "; --max 0 takes all",
                   ""});
}

void NoteFlags(const SubgroupsRead& data, std::vector<Note>& notes) {
  std::string text;
  for (const auto& [flag, word] : {std::pair{1, " disabled"}, {2, " incomplete"}}) {
    const auto count = std::ranges::count(data.rows, flag, &SubgroupRow::flag);
    if (count == 0) continue;
    text += text.empty() ? std::to_string(count) + " of " + std::to_string(data.rows.size())
                         : ", " + std::to_string(count);
    text += word;
  }
  if (!text.empty()) notes.push_back({"not-enabled", text, ""});
}

Names NamesOf(const QualityDatabase& database) {
  auto known = std::make_shared<std::map<std::pair<ItemKind, std::int32_t>, std::string>>();
  return [database, known](ItemKind kind, std::int32_t id) {
    if (id == 0) return std::string();
    auto found = known->find({kind, id});
    if (found == known->end())
      found = known->emplace(std::pair(kind, id), database.Name(kind, id)).first;
    return found->second;
  };
}

Names NoNames() {
  return [](ItemKind, std::int32_t) { return std::string(); };
}

std::string Formatted(ChartDocument document, const Presentation& shown) {
  if (shown.format == "json") return ChartJson(document, shown.names);
  const auto view = MakeChartView(std::move(document), shown.names);
  return Drawn(view, shown, RenderChartText, RenderChartSvg, RenderChartHtml);
}

std::string Formatted(const CapabilityDocument& document, const Presentation& shown) {
  if (shown.format == "json") return CapabilityJson(document);
  return Drawn(MakeCapabilityView(document, shown.names), shown, RenderCapabilityText,
               RenderCapabilitySvg, RenderCapabilityHtml);
}

std::string Formatted(const ParetoDocument& document, const Presentation& shown) {
  if (shown.format == "json") return ParetoJson(document);
  return Drawn(MakeParetoView(document, shown.names), shown, RenderParetoText, RenderParetoSvg,
               RenderParetoHtml);
}

std::string Formatted(const StatesDocument& document, const Presentation& shown) {
  if (shown.format == "json") return StatesJson(document, shown.names);
  return Drawn(MakeStatesView(document, shown.names), shown, RenderStatesText, RenderStatesSvg,
               RenderStatesHtml);
}

std::string Formatted(const ComplianceDocument& document, const Presentation& shown) {
  if (shown.format == "json") return ComplianceJson(document);
  return Drawn(MakeComplianceView(document), shown, RenderComplianceText, RenderComplianceSvg,
               RenderComplianceHtml);
}

}  // namespace orvspc::cli
