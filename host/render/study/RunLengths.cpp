// SPDX-License-Identifier: Apache-2.0
#include "host/render/study/RunLengths.h"

#include <algorithm>
#include <cmath>

#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"

namespace orvspc::render {

namespace {

constexpr const char* kShiftTitles[] = {
    "shift in sigmas of a plotted point", "shift in sigmas of a single piece",
    "distance of the means from the centre, in sigmas of a plotted point",
    "proportion, or defects a unit"};
constexpr const char* kStyles[] = {"d", "d k1 h1", "d k2 h2", "d k3 h3"};

Note KnownParameters() {
  return {
      "known-parameters",
      "The parameters are taken as known: the run length of a chart whose limits were estimated "
      "from few subgroups scatters widely about this.",
      {}};
}

constexpr double kHour = 3600.0;

// Hours that so many points take.
std::vector<double> HoursOf(const std::vector<double>& points, double interval) {
  std::vector<double> hours;
  for (const double count : points) hours.push_back(count * interval / kHour);
  return hours;
}

void WriteScheme(JsonWriter& json, const RunLengthScheme& scheme, double interval = kNaN) {
  const auto& study = scheme.study;
  const bool is_simulated = study.runs > 0;
  json.Members("Scheme", scheme.name, "Method", study.method);
  json.MemberIf(study.states > 0, "States", study.states);
  json.MemberIf(is_simulated, "Runs", study.runs);
  json.MemberIf(is_simulated, "Seed", study.seed);
  if (!scheme.rules.empty()) {
    std::vector<std::int32_t> numbers;
    for (const auto& rule : scheme.rules) numbers.push_back(rule.number);
    json.Members("Rules", numbers, "Size", scheme.size);
  }
  json.Members("Shifts", study.shifts, "ARL", study.arl, "SDRL", study.sdrl, "P05", study.p05,
               "Median", study.median, "P95", study.p95);
  if (!study.oc.empty()) json.Member("OC", study.oc);
  if (is_simulated) json.Member("StandardError", study.standard_error);
  if (!std::isnan(interval)) json.Member("Hours", HoursOf(study.arl, interval));
}

std::string NameOf(const RunLengthStream& stream, const Names& names) {
  return StreamName(names, stream.part, stream.process, stream.test);
}

std::string NumberText(double value, int digits) {
  return std::isnan(value) ? std::string() : Significant(value, digits);
}

std::string MethodText(const studies::RunLengthStudy& study) {
  if (study.method == "simulation") {
    return "simulated, " + std::to_string(study.runs) + " runs, seed " + std::to_string(study.seed);
  }
  if (study.method == "chain") return "chain of " + Counted(study.states, "state");
  return "integral equation";
}

std::string RulesText(const RunLengthScheme& scheme) {
  std::vector<std::string> numbers;
  for (const auto& rule : scheme.rules) numbers.push_back(std::to_string(rule.number));
  return numbers.empty() ? std::string() : "rules " + Joined(numbers, ", ");
}

Table TableOf(const RunLengthScheme& scheme, const std::string& of, double interval = kNaN) {
  const auto& study = scheme.study;
  std::vector<std::string> about;
  for (const auto& text : {of, scheme.name, RulesText(scheme), MethodText(study)}) {
    if (!text.empty()) about.push_back(text);
  }
  Table table{Joined(about, ", "), {"#shift", "#ARL", "#SDRL", "#5 %", "#50 %", "#95 %"}, {}};
  const bool has_hours = !std::isnan(interval);
  const auto hours = HoursOf(study.arl, interval);
  if (has_hours) table.headings.insert(table.headings.begin() + 2, "#hours");
  if (!study.oc.empty()) table.headings.emplace_back("#OC");
  if (!study.standard_error.empty()) table.headings.emplace_back("#standard error");
  for (std::size_t i = 0; i < study.shifts.size(); ++i) {
    std::vector<std::string> row{Significant(study.shifts[i], 6), NumberText(study.arl[i], 6),
                                 NumberText(study.sdrl[i], 5),    NumberText(study.p05[i], 7),
                                 NumberText(study.median[i], 7),  NumberText(study.p95[i], 7)};
    if (has_hours) row.insert(row.begin() + 2, NumberText(hours[i], 4));
    if (!study.oc.empty()) row.push_back(NumberText(study.oc[i], 5));
    if (!study.standard_error.empty()) row.push_back(NumberText(study.standard_error[i], 2));
    table.rows.push_back(std::move(row));
  }
  return table;
}

Plot PlotOf(const std::vector<RunLengthScheme>& schemes, const std::string& caption,
            ShiftUnit unit) {
  Plot plot;
  plot.title = "Average run length";
  plot.caption = caption;
  plot.x.title = kShiftTitles[static_cast<std::size_t>(unit)];
  plot.y.title = "points";
  plot.y.logarithmic = true;
  plot.height = 330.0;
  plot.has_key = true;
  std::size_t at = 0;
  for (const auto& scheme : schemes) {
    const auto& study = scheme.study;
    std::vector<std::size_t> order(study.shifts.size());
    for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
    std::ranges::sort(order, {}, [&](std::size_t i) { return study.shifts[i]; });
    PlotLine line{
        kStyles[at % std::size(kStyles)], {}, {}, false, schemes.size() > 1 ? scheme.name : ""};
    PlotSymbols points;
    points.look.style = at == 0 ? "p" : "p k" + std::to_string(at % std::size(kStyles));
    points.look.size = at == 0 ? 3.2 : 2.2;
    for (const auto i : order) {
      line.x.push_back(study.shifts[i]);
      line.y.push_back(study.arl[i]);
      if (std::isnan(study.arl[i])) continue;
      points.x.push_back(study.shifts[i]);
      points.y.push_back(study.arl[i]);
      points.tips.push_back(scheme.name + ", shift " + Significant(study.shifts[i], 6) + ": " +
                            Significant(study.arl[i], 6));
    }
    plot.lines.push_back(std::move(line));
    plot.symbols.push_back(std::move(points));
    ++at;
  }
  return plot;
}

void AddNotes(std::vector<Note>& notes, const std::vector<RunLengthScheme>& schemes,
              const std::string& stream) {
  for (const auto& scheme : schemes) {
    for (auto note : scheme.study.notes) {
      note.stream = stream;
      notes.push_back(std::move(note));
    }
  }
}

std::vector<Note> NotesOf(const RunLengthDocument& document, const Names& names) {
  auto notes = document.head.notes;
  for (const auto& stream : document.streams) {
    AddNotes(notes, stream.schemes, document.in_use ? NameOf(stream, names) : std::string());
  }
  if (!document.streams.empty()) notes.push_back(KnownParameters());
  if (std::ranges::any_of(document.streams, [](const RunLengthStream& stream) {
        return !std::isnan(stream.interval);
      })) {
    notes.push_back({"running-hours",
                     "Hours are those in which the process runs, at the pace of the sampling "
                     "requirement.",
                     {}});
  }
  return notes;
}

std::vector<Note> NotesOf(const DesignDocument& document) {
  auto notes = document.head.notes;
  notes.insert(notes.end(), document.study.notes.begin(), document.study.notes.end());
  AddNotes(notes, document.schemes, {});
  notes.push_back(KnownParameters());
  return notes;
}

}  // namespace

std::string RunLengthJson(const RunLengthDocument& document, const Names& names) {
  auto head = document.head;
  head.notes = NotesOf(document, names);
  return StudyJson(head, [&](JsonWriter& json) {
    if (!document.streams.empty()) {
      WriteScheme(json, document.streams[0].schemes[0], document.streams[0].interval);
    }
    if (!document.in_use) return;
    json.Objects<Spread::Blocks>("Streams", document.streams, [&](const RunLengthStream& stream) {
      json.Members("Part", names(NameKind::Part, stream.part), "Process",
                   names(NameKind::Process, stream.process), "Test",
                   names(NameKind::Test, stream.test), "Interval", stream.interval);
      json.Objects<Spread::Blocks>("Schemes", stream.schemes, [&](const RunLengthScheme& scheme) {
        WriteScheme(json, scheme, stream.interval);
      });
    });
  });
}

StudyView MakeRunLengthView(const RunLengthDocument& document, const Names& names) {
  StudyView view;
  view.title = "Run length";
  if (!document.in_use) {
    view.title += " of " + document.streams[0].schemes[0].name;
  } else if (const auto selected = SelectedText(document.head.select.get(), names);
             !selected.empty()) {
    view.title += ": " + selected;
  }
  view.subtitle = OptionsText(document.head);
  view.notes = PlainNotes(NotesOf(document, names));
  view.empty = document.streams.empty();
  for (const auto& stream : document.streams) {
    const auto of = document.in_use ? NameOf(stream, names) : std::string();
    const auto& main = stream.schemes[0];
    std::vector<std::string> caption;
    for (const auto& text : {of, RulesText(main), MethodText(main.study)}) {
      if (!text.empty()) caption.push_back(text);
    }
    if (!std::isnan(stream.interval)) {
      caption.push_back("a point every " + Significant(stream.interval / 60.0, 4) + " min");
    }
    view.plots.push_back(PlotOf(stream.schemes, Joined(caption, ", "), stream.unit));
    for (const auto& scheme : stream.schemes) {
      view.tables.push_back(TableOf(scheme, of, stream.interval));
    }
  }
  return view;
}

std::string DesignJson(const DesignDocument& document, const Names& /*names*/) {
  auto head = document.head;
  head.notes = NotesOf(document);
  return StudyJson(head, [&](JsonWriter& json) {
    const auto& study = document.study;
    json.Object("Cusum", [&] {
      json.Members("K", study.cusum.k, "H", study.cusum.h, "ARL", study.cusum.arl);
    });
    json.Object("EWMA", [&] {
      json.Members("Weight", study.ewma.weight, "Width", study.ewma.width, "ARL", study.ewma.arl);
    });
    json.Object("Shewhart", [&] {
      const bool found = study.shewhart.least_size > 0;
      json.Members("Width", study.shewhart.width, "ARL", study.shewhart.arl);
      json.MemberIf(found, "Size", study.shewhart.least_size);
      json.Member("ARLAtSize", study.shewhart.arl_at_size);
    });
    json.Objects<Spread::Blocks>("Schemes", document.schemes,
                                 [&](const RunLengthScheme& scheme) { WriteScheme(json, scheme); });
  });
}

StudyView MakeDesignView(const DesignDocument& document, const Names& /*names*/) {
  StudyView view;
  view.title = "Design of a chart";
  view.subtitle = OptionsText(document.head);
  view.notes = PlainNotes(NotesOf(document));
  view.plots.push_back(PlotOf(document.schemes, "", ShiftUnit::Point));
  const auto& study = document.study;
  Table table{"Charts", {"chart", "parameters", "#ARL at the shift"}, {}};
  const auto add = [&](const char* name, const std::string& parameters, double arl) {
    table.rows.push_back({name, parameters, NumberText(arl, 5)});
  };
  add("cusum", "k " + NumberText(study.cusum.k, 4) + ", h " + NumberText(study.cusum.h, 5),
      study.cusum.arl);
  add("EWMA",
      "weight " + NumberText(study.ewma.weight, 3) + ", width " + NumberText(study.ewma.width, 5),
      study.ewma.arl);
  add("Shewhart", "width " + NumberText(study.shewhart.width, 5), study.shewhart.arl);
  if (study.shewhart.least_size > 0) {
    add("Shewhart",
        "width " + NumberText(study.shewhart.width, 5) + ", " +
            Counted(static_cast<std::size_t>(study.shewhart.least_size), "piece") + " a point",
        study.shewhart.arl_at_size);
  }
  view.tables.push_back(std::move(table));
  for (const auto& scheme : document.schemes) view.tables.push_back(TableOf(scheme, ""));
  return view;
}

}  // namespace orvspc::render
