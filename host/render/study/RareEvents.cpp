// SPDX-License-Identifier: Apache-2.0
#include "host/render/study/RareEvents.h"

#include <bit>
#include <cmath>
#include <tuple>

#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "host/render/study/StretchPlots.h"

namespace orvspc::render {

namespace {

template <class Study>
void WritePoints(JsonWriter& json, const GapDocument<Study>& document) {
  const auto& study = document.study;
  const auto count = document.points.size();
  json.Members("Column", document.column, "Points", document.points, "CL",
               std::vector<double>(count, study.centre), "UCL",
               std::vector<double>(count, study.upper), "LCL",
               std::vector<double>(count, study.lower));
  json.Key("Marks");
  json.BeginArray(true);
  for (auto bits : study.marks) {
    std::vector<int> rules;
    for (; bits != 0; bits &= bits - 1) rules.push_back(std::countr_zero(bits));
    json.Value(rules);
  }
  json.EndArray();
}

template <class Study>
StudyHead HeadOf(const GapDocument<Study>& document) {
  auto head = document.head;
  head.notes.insert(head.notes.end(), document.study.notes.begin(), document.study.notes.end());
  return head;
}

template <class Study>
StudyView ViewOf(const GapDocument<Study>& document, const std::string& title,
                 const char* x_title) {
  const auto& study = document.study;
  const auto head = HeadOf(document);
  StudyView view;
  view.title = title + ": " + PlainText(document.column);
  view.subtitle = OptionsText(head);
  view.notes = PlainNotes(head.notes);
  Plot plot;
  plot.title = PlainText(document.column);
  plot.x.title = x_title;
  plot.height = 330.0;
  const auto count = document.points.size();
  std::vector<double> x(count);
  for (std::size_t i = 0; i < count; ++i) x[i] = static_cast<double>(i + 1);
  for (const auto& [style, name, value] : {std::tuple{"lim", "UCL", study.upper},
                                           {"cl", "CL", study.centre},
                                           {"lim", "LCL", study.lower}}) {
    const std::vector<double> line(count, value);
    plot.lines.push_back({style, x, line, true, LimitLabel(name, line)});
  }
  plot.lines.push_back({"d", x, document.points, false, ""});
  PlotSymbols used, marked, open;
  marked.look.style = "m";
  open.look.style = "o";
  for (std::size_t i = 0; i < count; ++i) {
    const auto tip = std::to_string(i + 1) + ": " + Significant(document.points[i], 6);
    auto& to = study.marks[i] == 0 ? used : marked;
    to.x.push_back(x[i]);
    to.y.push_back(document.points[i]);
    to.tips.push_back(tip);
    if (study.marks[i] != 0) {
      to.labels.push_back(std::to_string(std::countr_zero(study.marks[i])));
    }
  }
  if (document.open) {
    open.x.push_back(static_cast<double>(count + 1));
    open.y.push_back(*document.open);
    open.tips.push_back("since the last event: " + Significant(*document.open, 6));
  }
  for (auto* symbols : {&used, &marked, &open}) {
    if (!symbols->x.empty()) plot.symbols.push_back(std::move(*symbols));
  }
  view.plots.push_back(std::move(plot));
  return view;
}

template <class Study>
void AddRows(Table& table, const GapDocument<Study>& document) {
  const auto& study = document.study;
  table.rows.push_back({"CL", Significant(study.centre, 7)});
  table.rows.push_back({"UCL", Significant(study.upper, 7)});
  table.rows.push_back({"LCL", Significant(study.lower, 7)});
}

template <class Study>
Table SignalsOf(const GapDocument<Study>& document) {
  Table table{"Signals", {"#point", "#value", "#rule"}, {}};
  for (std::size_t i = 0; i < document.points.size(); ++i) {
    for (auto bits = document.study.marks[i]; bits != 0; bits &= bits - 1) {
      table.rows.push_back({std::to_string(i + 1), Significant(document.points[i], 7),
                            std::to_string(std::countr_zero(bits))});
    }
  }
  return table;
}

}  // namespace

std::string GJson(const GDocument& document, const Names&) {
  return StudyJson(HeadOf(document), [&](JsonWriter& json) {
    const auto& study = document.study;
    WritePoints(json, document);
    std::vector<int> zeros(study.zeros.begin(), study.zeros.end());
    json.Member("Zeros", zeros);
    WriteFigure(json, "Mean", study.mean);
    WriteFigure(json, "P", study.p);
  });
}

StudyView MakeGView(const GDocument& document, const Names&) {
  auto view = ViewOf(document, "g chart", "event");
  const auto& study = document.study;
  PlotSymbols zeros;
  zeros.look.style = "m";
  for (std::size_t i = 0; i < study.zeros.size(); ++i) {
    if (study.zeros[i] == 0) continue;
    zeros.x.push_back(static_cast<double>(i + 1));
    zeros.y.push_back(document.points[i]);
    zeros.tips.push_back(std::to_string(i + 1) + ": two zeros in a row");
    zeros.labels.emplace_back("00");
  }
  if (!zeros.x.empty()) view.plots[0].symbols.push_back(std::move(zeros));
  Table table{"Figures", {"figure", "#value"}, {}};
  table.rows.push_back({"events", std::to_string(document.points.size())});
  table.rows.push_back({"mean", Significant(study.mean.value, 7)});
  table.rows.push_back({"p", Significant(study.p.value, 7)});
  AddRows(table, document);
  view.tables.push_back(std::move(table));
  view.tables.push_back(SignalsOf(document));
  return view;
}

std::string TJson(const TDocument& document, const Names&) {
  return StudyJson(HeadOf(document), [&](JsonWriter& json) {
    const auto& study = document.study;
    WritePoints(json, document);
    json.Members("Open", document.open.value_or(kNaN), "Overdue", study.overdue);
    WriteFigure(json, "Shape", study.shape);
    WriteFigure(json, "Scale", study.scale);
    json.Members("TransformedMean", study.transformed_centre, "TransformedRange",
                 study.transformed_range);
  });
}

StudyView MakeTView(const TDocument& document, const Names&) {
  auto view = ViewOf(document, "t chart", "event");
  const auto& study = document.study;
  Table table{"Figures", {"figure", "#value"}, {}};
  table.rows.push_back({"events", std::to_string(document.points.size())});
  if (!std::isnan(study.shape.value)) {
    table.rows.push_back({"shape", Significant(study.shape.value, 6)});
    table.rows.push_back({"scale", Significant(study.scale.value, 6)});
  }
  AddRows(table, document);
  if (document.open) {
    table.rows.push_back({"since the last event",
                          Significant(*document.open, 7) + (study.overdue ? ", overdue" : "")});
  }
  view.tables.push_back(std::move(table));
  view.tables.push_back(SignalsOf(document));
  return view;
}

}  // namespace orvspc::render
