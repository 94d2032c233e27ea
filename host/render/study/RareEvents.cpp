// SPDX-License-Identifier: Apache-2.0
#include "host/render/study/RareEvents.h"

#include <bit>
#include <cmath>
#include <tuple>
#include <utility>

#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "host/render/study/StretchPlots.h"

namespace orvspc::render {

namespace {

void WriteOwn(JsonWriter& json, const studies::GStudy& study) {
  json.Member("Zeros", std::vector<int>(study.zeros.begin(), study.zeros.end()));
  WriteFigure(json, "Mean", study.mean);
  WriteFigure(json, "P", study.p);
}

void WriteOwn(JsonWriter& json, const studies::TStudy& study) {
  WriteFigure(json, "Shape", study.shape);
  WriteFigure(json, "Scale", study.scale);
  json.Members("TransformedMean", study.transformed_centre, "TransformedRange",
               study.transformed_range);
}

template <class Study>
void WriteGaps(JsonWriter& json, const std::vector<double>& points, const Study& study) {
  const auto count = points.size();
  json.Members("Points", points, "CL", std::vector<double>(count, study.centre), "UCL",
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
  json.Members("Open", study.open.value_or(kNaN), "Overdue", study.overdue);
  WriteOwn(json, study);
}

// Gaps and what is seen of them, from a place on.
struct PlacedGaps {
  double first;
  const std::vector<double>& points;
  std::vector<std::string> names;  // of the events that end them
};

void AddGaps(Plot& plot, const PlacedGaps& gaps, const studies::GapStudy& study) {
  const auto count = gaps.points.size();
  const auto places = count + (study.open ? 1 : 0);  // the open one comes last
  std::vector<double> x(places);
  for (std::size_t i = 0; i < places; ++i) x[i] = gaps.first + static_cast<double>(i);
  for (const auto& [style, name, value] : {std::tuple{"lim", "UCL", study.upper},
                                           {"cl", "CL", study.centre},
                                           {"lim", "LCL", study.lower}}) {
    const std::vector<double> line(places, value);
    plot.lines.push_back({style, x, line, true, LimitLabel(name, line)});
  }
  auto points = gaps.points;
  points.resize(places, kNaN);
  plot.lines.push_back({"d", x, points, false, ""});
  PlotSymbols used, marked, open;
  marked.look.style = "m";
  open.look.style = "pu";
  const auto add = [](PlotSymbols& to, double at, double value, const std::string& tip) {
    to.x.push_back(at);
    to.y.push_back(value);
    to.tips.push_back(tip + ": " + Significant(value, 6));
  };
  for (std::size_t i = 0; i < count; ++i) {
    const bool is_marked = study.marks[i] != 0;
    add(is_marked ? marked : used, x[i], gaps.points[i], gaps.names[i]);
    if (is_marked) marked.labels.push_back(std::to_string(std::countr_zero(study.marks[i])));
  }
  if (study.open) {
    add(open, x.back(), *study.open, "since the last event");
    const double beside = 0.3 + 0.012 * static_cast<double>(count);
    if (study.overdue) {
      plot.texts.push_back({x.back() - beside, *study.open, "overdue", "r", Anchor::End});
    }
  }
  for (auto* symbols : {&used, &marked, &open}) {
    if (!symbols->x.empty()) plot.symbols.push_back(std::move(*symbols));
  }
}

// Two zeros in a row.
void AddZeros(Plot& plot, double first, const studies::GStudy& study) {
  PlotSymbols zeros;
  zeros.look.style = "m";
  for (std::size_t i = 0; i < study.zeros.size(); ++i) {
    if (study.zeros[i] == 0) continue;
    zeros.x.push_back(first + static_cast<double>(i));
    zeros.y.push_back(0.0);
    zeros.tips.push_back(std::to_string(i + 1) + ": two zeros in a row");
    zeros.labels.emplace_back("00");
  }
  if (!zeros.x.empty()) plot.symbols.push_back(std::move(zeros));
}

template <class Study>
std::vector<std::string> NamesOfEvents(const GapDocument<Study>& document) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < document.points.size(); ++i) {
    names.push_back(document.times.empty() ? std::to_string(i + 1) : IsoTime(document.times[i]));
  }
  return names;
}

template <class Study>
StudyHead HeadOf(const GapDocument<Study>& document) {
  auto head = document.head;
  head.notes.insert(head.notes.end(), document.study.notes.begin(), document.study.notes.end());
  return head;
}

template <class Study>
std::string JsonOf(const GapDocument<Study>& document) {
  return StudyJson(HeadOf(document), [&](JsonWriter& json) {
    std::vector<std::string> times;
    for (const auto time : document.times) times.push_back(IsoTime(time));
    json.Member("Column", document.column);
    json.MemberIf(!times.empty(), "Times", times);
    WriteGaps(json, document.points, document.study);
  });
}

using Rows = std::vector<std::vector<std::string>>;

Rows RowsOf(const studies::GStudy& study) {
  return {{"mean", Significant(study.mean.value, 7)}, {"p", Significant(study.p.value, 7)}};
}

Rows RowsOf(const studies::TStudy& study) {
  if (std::isnan(study.shape.value)) return {};
  return {{"shape", Significant(study.shape.value, 6)},
          {"scale", Significant(study.scale.value, 6)}};
}

bool IsSecondZero(const studies::GStudy& study, std::size_t i) { return study.zeros[i] != 0; }
bool IsSecondZero(const studies::TStudy&, std::size_t) { return false; }

// One row a signal, after these cells.
template <class Study>
void AddSignals(Rows& rows, const std::vector<std::string>& cells, double value, const Study& study,
                std::size_t i) {
  const auto add = [&](const std::string& rule) {
    auto& row = rows.emplace_back(cells);
    row.push_back(Significant(value, 7));
    row.push_back(rule);
  };
  for (auto bits = study.marks[i]; bits != 0; bits &= bits - 1) {
    add(std::to_string(std::countr_zero(bits)));
  }
  if (IsSecondZero(study, i)) add("two zeros in a row");
}

std::string OpenText(const studies::GapStudy& study) {
  if (!study.open) return {};
  return Significant(*study.open, 7) + (study.overdue ? ", overdue" : "");
}

template <class Study>
StudyView ViewOf(const GapDocument<Study>& document, const Names& names_of_items,
                 const std::string& title) {
  const auto& study = document.study;
  const auto head = HeadOf(document);
  StudyView view;
  const auto selected = SelectedText(head.select.get(), names_of_items);
  view.title = title + ": " + (selected.empty() ? PlainText(document.column) : selected);
  view.subtitle = OptionsText(head);
  view.notes = PlainNotes(head.notes);
  view.empty = document.head.select && document.points.empty();
  Plot plot;
  plot.title = PlainText(document.column);
  plot.x.title = "event";
  plot.height = 330.0;
  const auto names = NamesOfEvents(document);
  AddGaps(plot, {1.0, document.points, names}, study);
  view.plots.push_back(std::move(plot));

  Table table{"Figures", {"figure", "#value"}, RowsOf(study)};
  table.rows.insert(table.rows.begin(), {"gaps", std::to_string(document.points.size())});
  table.rows.push_back({"CL", Significant(study.centre, 7)});
  table.rows.push_back({"UCL", Significant(study.upper, 7)});
  table.rows.push_back({"LCL", Significant(study.lower, 7)});
  if (study.open) table.rows.push_back({"since the last event", OpenText(study)});
  view.tables.push_back(std::move(table));
  Table signals{"Signals", {"event", "#value", "#rule"}, {}};
  for (std::size_t i = 0; i < document.points.size(); ++i) {
    AddSignals(signals.rows, {names[i]}, document.points[i], study, i);
  }
  view.tables.push_back(std::move(signals));
  return view;
}

}  // namespace

std::string GJson(const GDocument& document, const Names&) { return JsonOf(document); }

StudyView MakeGView(const GDocument& document, const Names& names) {
  auto view = ViewOf(document, names, "g chart");
  AddZeros(view.plots[0], 1.0, document.study);
  return view;
}

std::string TJson(const TDocument& document, const Names&) { return JsonOf(document); }

StudyView MakeTView(const TDocument& document, const Names& names) {
  return ViewOf(document, names, "t chart");
}

std::string GStreamsJson(const GStreamsDocument& document, const Names& names) {
  auto head = document.head;
  head.notes = NotesOf(document, names);
  return StudyJson(head, [&](JsonWriter& json) {
    WriteStreams(json, document, names,
                 [](JsonWriter& to, const studies::Stretch& stretch, const studies::GStudy& study) {
                   WriteGaps(to, stretch.points, study);
                 });
  });
}

StudyView MakeGStreamsView(const GStreamsDocument& document, const Names& names) {
  StudyView view;
  AddHead(view, document, names, "g chart");
  AddPlots(view, document, names, "Units between events",
           [](Plot& plot, const StretchPlace& place, const studies::Stretch& stretch,
              const studies::GStudy& study) {
             plot.x.title = "event";
             std::vector<std::string> events;
             for (const auto time : stretch.times) events.push_back(IsoTime(time));
             AddGaps(plot, {place.first, stretch.points, std::move(events)}, study);
             AddZeros(plot, place.first, study);
           });
  Table table{"Phases",
              {"stream", "phase", "#gaps", "#mean", "#p", "#CL", "#UCL", "#LCL", "#since the last"},
              {}};
  Table signals{"Signals", {"stream", "event", "#value", "#rule"}, {}};
  for (std::size_t s = 0; s < document.studies.size(); ++s) {
    const auto& stream = document.data.streams[s];
    const auto name = StreamName(names, stream.part, stream.process, stream.test);
    for (std::size_t p = 0; p < document.studies[s].size(); ++p) {
      const auto& study = document.studies[s][p];
      const auto& stretch = stream.stretches[p];
      table.rows.push_back({name, stretch.phase.name, std::to_string(stretch.points.size()),
                            Significant(study.mean.value, 6), Significant(study.p.value, 6),
                            Significant(study.centre, 6), Significant(study.upper, 6),
                            Significant(study.lower, 6), OpenText(study)});
      for (std::size_t i = 0; i < stretch.points.size(); ++i) {
        AddSignals(signals.rows, {name, IsoTime(stretch.times[i])}, stretch.points[i], study, i);
      }
    }
  }
  view.tables.push_back(std::move(table));
  view.tables.push_back(std::move(signals));
  return view;
}

}  // namespace orvspc::render
