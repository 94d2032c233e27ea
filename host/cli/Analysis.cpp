// SPDX-License-Identifier: Apache-2.0
#include "host/cli/Analysis.h"

#include <algorithm>
#include <map>
#include <ostream>
#include <set>
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
  Analysis run{{format == "json" ? NamesOf(database) : ShownNamesOf(database), format,
                TextOptionsOf(arguments, console)},
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

std::string CountText(std::int32_t count, const Countable& kind) {
  return (count < kCounted ? "" : "at least ") +
         Counted(static_cast<std::size_t>(count), kind.word);
}

std::int32_t AtMost(std::size_t count, std::int32_t most) {
  return static_cast<std::int32_t>(std::min(count, static_cast<std::size_t>(most)));
}

// The command line without some of its conditions.
Arguments Without(Arguments arguments, const std::vector<std::string>& conditions) {
  for (const auto& text : conditions)
    for (auto& condition : ConditionsOf(arguments))
      if (condition.text == text) {
        arguments = std::move(condition.without);
        break;
      }
  return arguments;
}

constexpr std::pair<std::int32_t, const char*> kTestTypes[] = {
    {ttVariable, "measurements"}, {ttDefects, "defects"}, {ttDefectives, "defectives"}};

struct Reason {
  std::size_t conditions = 0;  // that it takes
  std::string text;            // empty: not known
};

// "no data: 312 subgroups without --since 2030-01-01": how many there are without the condition;
// where none is it alone, without as few as it takes. Empty where there are none even so. What is
// damaged there counts as none, since nothing of it is shown; where it is all there is, it is
// named.
Reason WhyEmpty(const Analysis& run, const Number& maximum, const Countable& kind) {
  std::string damage;
  const auto count_of = [&](const std::vector<std::string>& conditions,
                            std::int32_t types) -> std::int32_t {
    const auto all = MakeSelection(Without(run.arguments, conditions), maximum, run.database);
    IncludeTests(*all, types);
    try {
      return kind.count(run.database, all, kCounted);
    } catch (const Refusal& failure) {
      damage = failure.what();
      return 0;
    }
  };
  const auto types = IncludedTests(*run.select);
  const auto count = [&](const std::vector<std::string>& conditions) {
    const auto arguments = Without(run.arguments, conditions);
    return count_of(conditions,
                    arguments.Has(kTestType) == run.arguments.Has(kTestType) ? types : kAllTests);
  };
  const auto of_other_tests = [&]() -> std::string {
    std::vector<std::string> taken, others;
    for (const auto& [type, word] : kTestTypes) {
      if ((types & type) != 0) {
        taken.emplace_back(word);
      } else if (const auto found = count_of({}, type); found > 0) {
        others.push_back(CountText(found, kind) + " of " + word);
      }
    }
    if (others.empty()) return {};
    return "no data of " + render::Joined(taken, " or ") + ", only " +
           render::Joined(others, " and ");
  };
  // A test that is named is of the wrong kind before it is one too many.
  if (run.arguments.Has(kTest))
    if (auto text = of_other_tests(); !text.empty()) return {0, std::move(text)};
  std::vector<std::string> found, texts;
  for (const auto& condition : ConditionsOf(run.arguments)) {
    texts.push_back(condition.text);
    if (const auto left = count({condition.text}); left > 0)
      found.push_back(CountText(left, kind) + " without " + condition.text);
  }
  std::size_t conditions = 1;
  // Together they may empty what none of them does.
  if (found.empty() && texts.size() > 1 && count(texts) > 0) {
    auto needed = texts;
    for (const auto& text : texts) {
      auto fewer = needed;
      std::erase(fewer, text);
      if (count(fewer) > 0) needed = std::move(fewer);
    }
    conditions = needed.size();
    found.push_back(CountText(count(needed), kind) + " without " + render::Joined(needed, " and "));
  }
  if (found.empty() && !damage.empty())
    return {SIZE_MAX, "no data; what there is without a condition is not known: " + damage};
  if (found.empty()) return {0, of_other_tests()};
  return {conditions, "no data: " + render::Joined(found, ", ")};
}

}  // namespace

const Countable kSubgroups{
    "subgroup", [](const QualityDatabase& database, const std::shared_ptr<DataSelect>& select,
                   std::int32_t most) {
      select->MaximumItems(most);
      return Checked(database, [&](const auto& open) {
        return select->GetSubgroupData(open)->TotalSubgroups();
      });
    }};
const Countable kEvents{"event", [](const QualityDatabase& database,
                                    const std::shared_ptr<DataSelect>& select, std::int32_t most) {
                          select->MaximumItems(most);
                          return Checked(database, [&](const auto& open) {
                            return select->GetEventData(open)->Count();
                          });
                        }};
const Countable kStates{"state", [](const QualityDatabase& database,
                                    const std::shared_ptr<DataSelect>& select, std::int32_t most) {
                          return AtMost(RunStates(database, *select).log.size(), most);
                        }};
const Countable kRequirements{
    "requirement", [](const QualityDatabase& database, const std::shared_ptr<DataSelect>& select,
                      std::int32_t most) {
      std::set<std::string> names;
      for (const auto& row : RunCompliance(database, select).rows)
        if (row.result_type == render::kDetail) names.insert(row.requirement);
      return AtMost(names.size(), most);
    }};

void NoteEmpty(Analysis& run, const Number& maximum, std::vector<Note>& notes,
               const std::vector<Countable>& kinds) {
  Reason best;
  for (const auto& kind : kinds) {
    auto reason = WhyEmpty(run, maximum, kind);
    if (!reason.text.empty() && (best.text.empty() || reason.conditions < best.conditions))
      best = std::move(reason);
  }
  run.why_empty = std::move(best.text);
  if (!run.why_empty.empty()) notes.push_back({"no-data", run.why_empty, ""});
}

void NoteCut(const Analysis& run, const Number& maximum, std::int32_t shown,
             std::vector<Note>& notes, const Countable& kind) {
  if (run.arguments.Has(maximum) || run.arguments.Get(maximum) != shown) return;
  std::string text;
  try {
    const auto count = kind.count(run.database, run.select->Clone(), std::max(kCounted, shown + 1));
    if (count <= shown) return;
    text =
        "newest " + std::to_string(shown) + " of " + CountText(count, kind) + "; --max 0 takes all";
  } catch (const Refusal& failure) {
    // Damage among those that are not shown.
    text = "newest " + Counted(static_cast<std::size_t>(shown), kind.word) +
           "; older ones are not counted: " + failure.what();
  }
  notes.push_back({"newest-only", std::move(text), ""});
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

Names ShownNamesOf(const QualityDatabase& database) {
  auto known = std::make_shared<std::map<ItemKind, std::map<std::int32_t, std::string>>>();
  return [database, known, names = NamesOf(database)](ItemKind kind, std::int32_t id) {
    if (kind != ItemKind::Defect && kind != ItemKind::AccCode && kind != ItemKind::CacCode)
      return names(kind, id);
    const auto [texts, is_new] = known->try_emplace(kind);
    if (is_new) {
      for (const auto& item : database.Items(kind))
        texts->second[item.id] =
            item.text.empty() || item.text == item.name ? item.name : item.name + " " + item.text;
    }
    const auto found = texts->second.find(id);
    return found == texts->second.end() ? std::string() : found->second;
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
