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
  run.select->IncludeVariableTests((test_types & ttVariable) != 0);
  run.select->IncludeDefectTests((test_types & ttDefects) != 0);
  run.select->IncludeDefectiveTests((test_types & ttDefectives) != 0);
  const Outcome outcome = analyse(run);
  if (outcome.empty && format != "text") console.err << "no data selected\n";
  Deliver(arguments, console, outcome.text);
  NotesToDeliver().clear();
  for (const auto& note : outcome.notes)
    console.err << PlainText("note: " + note.Sentence()) << "\n";
  return 0;
}

std::vector<Note>& NotesToDeliver() {
  thread_local std::vector<Note> notes;
  return notes;
}

void NoteCut(const Analysis& run, const Number& maximum, std::int32_t shown,
             std::vector<Note>& notes, bool events) {
  if (run.arguments.Has(maximum) || run.arguments.Get(maximum) != shown) return;
  // So many are counted, since counting reads them.
  constexpr std::int32_t kCounted = 10000;
  const auto all = run.select->Clone();
  all->MaximumItems(std::max(kCounted, shown + 1));
  const auto count = Checked(run.database, [&](const auto& open) {
    return events ? all->GetEventData(open)->Count() : all->GetSubgroupData(open)->TotalSubgroups();
  });
  if (count <= shown) return;
  notes.push_back({"newest-only",
                   "newest " + std::to_string(shown) + " of " +
                       (count < kCounted ? "" : "at least ") + std::to_string(count) +
                       (events ? " events" : " subgroups") + "; --max takes another number",
                   ""});
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
