// SPDX-License-Identifier: Apache-2.0
#include "host/render/study/Gage.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"

namespace orvspc::render {

namespace {

constexpr double kHeight = 170.0;

void WriteAnova(JsonWriter& json, const char* key, const std::vector<studies::AnovaRow>& rows) {
  json.Objects(key, rows, [&](const studies::AnovaRow& row) {
    json.Members("Source", row.source, "DF", row.degrees, "SS", row.sum, "MS", row.mean);
    if (row.test.statistic.empty()) return json.NullMember("Test");
    WriteTest(json, "Test", row.test);
  });
}

void WriteWord(JsonWriter& json, const char* key, const std::string& word) {
  json.MemberIf(!word.empty(), key, word);
}

// The readings of each cell, in their order.
std::vector<std::vector<double>> ValuesOf(const GageDocument& document) {
  const auto& readings = document.readings;
  const auto& study = document.study;
  std::vector<std::size_t> cell_at(readings.parts.size() * readings.operators.size(), 0);
  const auto place = [parts = readings.parts.size()](std::size_t part, std::size_t by) {
    return by * parts + part;
  };
  for (std::size_t cell = 0; cell < study.cell_parts.size(); ++cell) {
    cell_at[place(study.cell_parts[cell], study.cell_operators[cell])] = cell;
  }
  std::vector<std::vector<double>> values(study.cell_parts.size());
  if (values.empty()) return values;
  for (std::size_t i = 0; i < readings.values.size(); ++i) {
    if (!std::isfinite(readings.values[i])) continue;
    values[cell_at[place(readings.part_of[i], readings.operator_of[i])]].push_back(
        readings.values[i]);
  }
  return values;
}

std::string TestText(const studies::TestOfSignificance& test) {
  return std::isnan(test.value) ? std::string() : Significant(test.value, 5);
}

Table AnovaTable(const std::string& title, const std::vector<studies::AnovaRow>& rows) {
  Table table{title, {"source", "#DF", "#SS", "#MS", "#F", "#P"}, {}};
  for (const auto& row : rows) {
    table.rows.push_back({row.source, Significant(row.degrees, 6), Significant(row.sum, 6),
                          std::isnan(row.mean) ? "" : Significant(row.mean, 6), TestText(row.test),
                          std::isnan(row.test.value) ? "" : ShareText(row.test.p)});
  }
  return table;
}

Table ComponentTable(const studies::GageStudy& study) {
  Table table{"Components", {"source", "#variance", "#sd", "@interval"}, {}};
  struct Column {
    const char* heading;
    double studies::GageComponent::*figure;
  };
  std::vector<Column> columns = {{"#% contribution", &studies::GageComponent::pct_contribution},
                                 {"#study variation", &studies::GageComponent::study_var},
                                 {"#% study", &studies::GageComponent::pct_study}};
  for (const Column& column : {Column{"#% tolerance", &studies::GageComponent::pct_tolerance},
                               Column{"#% process", &studies::GageComponent::pct_process}}) {
    if (std::ranges::any_of(study.components,
                            [&](const auto& row) { return !std::isnan(row.*column.figure); }))
      columns.push_back(column);
  }
  for (const auto& column : columns) table.headings.emplace_back(column.heading);
  for (const auto& row : study.components) {
    const bool has_bounds = !std::isnan(row.sd.lower);
    table.rows.push_back(
        {row.source, Significant(row.variance, 5), Significant(row.sd.value, 5),
         has_bounds ? Significant(row.sd.lower, 4) + " to " + Significant(row.sd.upper, 4) : ""});
    for (const auto& column : columns)
      table.rows.back().push_back(Significant(row.*column.figure, 4));
  }
  return table;
}

std::string BoundsText(const studies::Interval& interval) {
  if (std::isnan(interval.lower)) return "";
  return Significant(interval.lower, 4) + " to " + Significant(interval.upper, 4);
}

Table FigureTable(const studies::GageStudy& study) {
  Table table{"Figures", {"figure", "#value", "@interval", "judgement"}, {}};
  const auto add = [&](const char* name, const std::string& value, const std::string& interval,
                       const std::string& judgement) {
    table.rows.push_back({name, value, interval, judgement});
  };
  const auto* rr = study.Find(studies::kGageRR);
  if (rr == nullptr) return table;
  add("gauge R&R, % study", Significant(rr->pct_study, 4), BoundsText(study.pct_study),
      study.by_study);
  if (!std::isnan(rr->pct_tolerance)) {
    add("gauge R&R, % tolerance", Significant(rr->pct_tolerance, 4), "", study.by_tolerance);
  }
  add("distinct categories", study.ndc == 0 ? "" : std::to_string(study.ndc),
      BoundsText(study.ndc_raw),
      study.ndc == 0   ? ""
      : study.ndc >= 5 ? "good"
                       : "below 5");
  if (!std::isnan(study.operator_range)) {
    add("mean range", Significant(study.mean_range, 5), "", "");
    add("range of operators", Significant(study.operator_range, 5), "", "");
    add("range of parts", Significant(study.part_range, 5), "", "");
  }
  return table;
}

class Plots {
 public:
  explicit Plots(const GageDocument& document)
      : study_(document.study), readings_(document.readings), values_(ValuesOf(document)) {
    for (const auto& option : document.head.options) {
      const auto* word = std::get_if<std::string>(&option.value);
      if (option.key == "Method" && word != nullptr) nested_ = *word == "nested";
    }
  }

  std::vector<Plot> All() const {
    std::vector<Plot> plots{Components(), ByPart(), Ranges(), ByOperator(), Means()};
    if (!nested_) plots.push_back(Interaction());
    return plots;
  }

 private:
  static Plot Named(const char* title, const std::string& caption = {}) {
    Plot plot;
    plot.title = title;
    plot.caption = caption;
    plot.height = kHeight;
    return plot;
  }
  std::string PartOf(std::size_t cell) const {
    return PlainText(readings_.parts[study_.cell_parts[cell]]);
  }
  std::string OperatorOf(std::size_t i) const { return PlainText(readings_.operators[i]); }

  Plot Components() const {
    auto plot = Named("Components of variation", "left: % contribution, right: % of study");
    plot.y.title = "%";
    double x = 0.0;
    for (const auto& row : study_.components) {
      if (row.source == studies::kTotal) continue;
      x += 1.0;
      plot.x.ticks.emplace_back(x, row.source);
      const auto tip = [&](const char* what, double percent) {
        return row.source + ": " + Significant(percent, 4) + what;
      };
      plot.bars.push_back({x - 0.36, x, 0.0, row.pct_contribution, "bar",
                           tip(" % contribution", row.pct_contribution)});
      plot.bars.push_back(
          {x, x + 0.36, 0.0, row.pct_study, "bar2", tip(" % of study", row.pct_study)});
    }
    plot.x.range = Range{0.5, x + 0.5};
    plot.y.range = Range{0.0, 105.0};
    return plot;
  }

  // One place a part; of nested studies one a cell.
  double PlaceOf(std::size_t cell) const {
    return 1.0 + static_cast<double>(nested_ ? cell : cell % study_.parts);
  }

  Plot ByPart() const {
    auto plot = Named("Readings by part", "line: mean");
    plot.x.title = "part";
    PlotSymbols faint;
    faint.look.style = "faint";
    const auto places = nested_ ? study_.cell_means.size() : study_.parts;
    std::vector<double> sums(places, 0.0), counts(places, 0.0);
    for (std::size_t cell = 0; cell < values_.size(); ++cell) {
      const double x = PlaceOf(cell);
      const auto at = static_cast<std::size_t>(x) - 1;
      if (cell < places) plot.x.ticks.emplace_back(x, PartOf(cell));
      for (const double value : values_[cell]) {
        faint.x.push_back(x);
        faint.y.push_back(value);
        faint.tips.push_back(PartOf(cell) + ", " + OperatorOf(study_.cell_operators[cell]) + ": " +
                             Significant(value, 6));
        sums[at] += value;
        counts[at] += 1.0;
      }
    }
    PlotLine line{"d"};
    for (std::size_t at = 0; at < places; ++at) {
      line.x.push_back(static_cast<double>(at) + 1.0);
      line.y.push_back(sums[at] / counts[at]);
    }
    plot.symbols.push_back(std::move(faint));
    PlotSymbols means;
    means.x = line.x;
    means.y = line.y;
    plot.symbols.push_back(std::move(means));
    plot.lines.push_back(std::move(line));
    return plot;
  }

  Plot ByOperator() const {
    auto plot = Named("Readings by operator", "line: mean");
    plot.x.title = "operator";
    PlotSymbols faint;
    faint.look.style = "faint";
    PlotLine line{"d"};
    for (std::size_t i = 0; i < study_.operators; ++i) {
      const double x = static_cast<double>(i) + 1.0;
      double sum = 0.0;
      for (std::size_t cell = i * study_.parts; cell < (i + 1) * study_.parts; ++cell) {
        sum += study_.cell_means[cell];
        for (const double value : values_[cell]) {
          faint.x.push_back(x);
          faint.y.push_back(value);
          faint.tips.push_back(OperatorOf(i) + ", " + PartOf(cell) + ": " + Significant(value, 6));
        }
      }
      plot.x.ticks.emplace_back(x, OperatorOf(i));
      line.x.push_back(x);
      line.y.push_back(sum / static_cast<double>(study_.parts));
    }
    plot.x.range = Range{0.5, static_cast<double>(study_.operators) + 0.5};
    plot.symbols.push_back(std::move(faint));
    PlotSymbols means;
    means.x = line.x;
    means.y = line.y;
    plot.symbols.push_back(std::move(means));
    plot.lines.push_back(std::move(line));
    return plot;
  }

  // A figure of each cell with its limits, operators side by side.
  Plot OfCells(const char* title, const std::string& caption, const std::vector<double>& figures,
               double centre, double upper, double lower) const {
    auto plot = Named(title, caption);
    plot.x.title = "part";
    const auto count = figures.size();
    std::vector<double> x(count);
    PlotSymbols points, outside;
    outside.look.style = "pu";
    for (std::size_t cell = 0; cell < count; ++cell) {
      x[cell] = static_cast<double>(cell) + 1.0;
      plot.x.ticks.emplace_back(x[cell], PartOf(cell));
      auto& to = figures[cell] > upper || figures[cell] < lower ? outside : points;
      to.x.push_back(x[cell]);
      to.y.push_back(figures[cell]);
      to.tips.push_back(PartOf(cell) + ", " + OperatorOf(study_.cell_operators[cell]) + ": " +
                        Significant(figures[cell], 6));
    }
    const auto flat = [&](double value) { return std::vector<double>(count, value); };
    const auto label = [](const char* name, double value) {
      return std::isnan(value) ? std::string() : std::string(name) + " " + Significant(value, 4);
    };
    plot.lines.push_back({"lim", x, flat(upper), true, label("UCL", upper)});
    plot.lines.push_back({"cl", x, flat(centre), true, label("CL", centre)});
    plot.lines.push_back({"lim", x, flat(lower), true, label("LCL", lower)});
    for (std::size_t i = 0; i < study_.operators; ++i) {
      PlotLine line{"d"};
      for (std::size_t cell = i * study_.parts; cell < (i + 1) * study_.parts; ++cell) {
        line.x.push_back(x[cell]);
        line.y.push_back(figures[cell]);
      }
      plot.lines.push_back(std::move(line));
      plot.borders.push_back({static_cast<double>(i * study_.parts) + 0.5, OperatorOf(i)});
    }
    plot.symbols.push_back(std::move(points));
    plot.symbols.push_back(std::move(outside));
    return plot;
  }

  Plot Ranges() const {
    return OfCells("Ranges by operator", "outside the limits: not repeatable", study_.cell_ranges,
                   study_.mean_range, study_.range_upper, study_.range_lower);
  }
  Plot Means() const {
    return OfCells("Means by operator", "points outside the limits are good", study_.cell_means,
                   study_.mean, study_.mean_upper, study_.mean_lower);
  }

  Plot Interaction() const {
    auto plot = Named("Parts by operator", "parallel lines: no interaction");
    plot.x.title = "part";
    for (std::size_t i = 0; i < study_.operators; ++i) {
      const auto stream = static_cast<std::int32_t>(i);
      PlotLine line{StreamClass("d", stream)};
      line.label = OperatorOf(i);
      PlotSymbols symbols;
      symbols.look.stream = stream;
      symbols.look.style = "p";
      for (std::size_t j = 0; j < study_.parts; ++j) {
        const auto cell = i * study_.parts + j;
        line.x.push_back(PlaceOf(cell));
        line.y.push_back(study_.cell_means[cell]);
        symbols.tips.push_back(OperatorOf(i) + ", " + PartOf(cell) + ": " +
                               Significant(study_.cell_means[cell], 6));
        if (i == 0) plot.x.ticks.emplace_back(PlaceOf(cell), PartOf(cell));
      }
      symbols.x = line.x;
      symbols.y = line.y;
      plot.lines.push_back(std::move(line));
      plot.symbols.push_back(std::move(symbols));
    }
    return plot;
  }

  const studies::GageStudy& study_;
  const studies::GageReadings& readings_;
  std::vector<std::vector<double>> values_;  // of each cell
  bool nested_ = false;  // operators have parts of their own, so each cell is a part
};

}  // namespace

std::string GageJson(const GageDocument& document, const Names& /*names*/) {
  const auto& study = document.study;
  auto head = document.head;
  head.notes.insert(head.notes.end(), study.notes.begin(), study.notes.end());
  return StudyJson(head, [&](JsonWriter& json) {
    json.Members("Parts", study.parts, "Operators", study.operators, "Trials", study.trials, "Mean",
                 study.mean);
    WriteAnova(json, "Anova", study.anova);
    json.Member("Pooled", !study.pooled.empty());
    WriteAnova(json, "PooledAnova", study.pooled);
    json.Objects("Components", study.components, [&](const studies::GageComponent& row) {
      json.Members("Source", row.source, "Variance", row.variance, "Negative", row.is_negative);
      WriteInterval(json, "SD", row.sd);
      json.Members("PctContribution", row.pct_contribution, "StudyVar", row.study_var, "PctStudy",
                   row.pct_study, "PctTolerance", row.pct_tolerance, "PctProcess", row.pct_process);
    });
    json.MemberIf(study.ndc != 0, "NDC", study.ndc);
    WriteInterval(json, "NDCRaw", study.ndc_raw);
    WriteInterval(json, "PctStudy", study.pct_study);
    json.Member("Failed", study.failed);
    json.Object("Judgement", [&] {
      WriteWord(json, "Study", study.by_study);
      WriteWord(json, "Tolerance", study.by_tolerance);
    });
    json.Object("Ranges", [&] {
      json.Members("Mean", study.mean_range, "Operators", study.operator_range, "Parts",
                   study.part_range);
    });
    json.Object("Means", [&] {
      json.Members("CL", study.mean, "UCL", study.mean_upper, "LCL", study.mean_lower);
    });
    json.Object("RangeLimits", [&] {
      json.Members("CL", study.mean_range, "UCL", study.range_upper, "LCL", study.range_lower);
    });
    const auto values = ValuesOf(document);
    std::vector<std::size_t> cells(study.cell_means.size());
    for (std::size_t cell = 0; cell < cells.size(); ++cell) cells[cell] = cell;
    json.Objects("Cells", cells, [&](std::size_t cell) {
      json.Members("Part", document.readings.parts[study.cell_parts[cell]], "Operator",
                   document.readings.operators[study.cell_operators[cell]], "Mean",
                   study.cell_means[cell], "Range", study.cell_ranges[cell], "Values",
                   values[cell]);
    });
  });
}

StudyView MakeGageView(const GageDocument& document, const Names& /*names*/) {
  const auto& study = document.study;
  StudyView view;
  view.title = "Gauge study";
  if (!document.of.empty()) view.title += ": " + PlainText(document.of);
  view.subtitle = OptionsText(document.head);
  auto notes = document.head.notes;
  notes.insert(notes.end(), study.notes.begin(), study.notes.end());
  view.notes = PlainNotes(std::move(notes));
  view.empty = document.readings.values.empty();
  view.columns = 2;
  if (!study.components.empty()) view.plots = Plots(document).All();
  if (!study.anova.empty()) {
    view.tables.push_back(AnovaTable("Analysis of variance", study.anova));
  }
  if (!study.pooled.empty()) {
    view.tables.push_back(AnovaTable("Analysis of variance, without interaction", study.pooled));
  }
  view.tables.push_back(ComponentTable(study));
  view.tables.push_back(FigureTable(study));
  return view;
}

}  // namespace orvspc::render
