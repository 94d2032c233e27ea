// SPDX-License-Identifier: Apache-2.0
#include "host/render/study/Bias.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"

namespace orvspc::render {

namespace {

// The number of an option as it was resolved; NaN: not given.
double OptionOf(const StudyHead& head, std::string_view key) {
  for (const auto& option : head.options) {
    const auto* number = std::get_if<double>(&option.value);
    if (option.key == key && number != nullptr) return *number;
  }
  return kNaN;
}

std::string BoundsText(const studies::Interval& interval) {
  if (std::isnan(interval.lower)) return "";
  return Significant(interval.lower, 4) + " to " + Significant(interval.upper, 4);
}

// Rows of one figure each.
class FigureTable {
 public:
  explicit FigureTable(const char* title)
      : table_{title, {"figure", "#value", "@interval", "#t", "#P"}, {}} {}

  void Add(const char* name, double value, int digits = 5) {
    table_.rows.push_back({name, Significant(value, digits), "", "", ""});
  }
  void Add(const char* name, const studies::Interval& interval,
           const studies::TestOfSignificance& test) {
    table_.rows.push_back({name, Significant(interval.value, 5), BoundsText(interval),
                           std::isnan(test.value) ? "" : Significant(test.value, 5),
                           ShareText(test.p)});
  }
  Table Take() { return std::move(table_); }

 private:
  Table table_;
};

void AddHeadOf(StudyView& view, const StudyHead& head, const std::string& title,
               const std::string& of, std::vector<Note> more) {
  view.title = of.empty() ? title : title + ": " + PlainText(of);
  view.subtitle = OptionsText(head);
  auto notes = head.notes;
  notes.insert(notes.end(), more.begin(), more.end());
  view.notes = PlainNotes(std::move(notes));
}

StudyHead WithNotes(StudyHead head, const std::vector<Note>& notes) {
  head.notes.insert(head.notes.end(), notes.begin(), notes.end());
  return head;
}

// Points one after the other, joined by a line.
void AddSeries(Plot& plot, const std::vector<double>& values) {
  PlotLine line{"d"};
  PlotSymbols symbols;
  const double spread = SpreadOf(values);
  for (std::size_t i = 0; i < values.size(); ++i) {
    line.x.push_back(static_cast<double>(i + 1));
    line.y.push_back(values[i]);
    symbols.tips.push_back(std::to_string(i + 1) + ": " + Significant(values[i], 6, spread));
  }
  symbols.x = line.x;
  symbols.y = line.y;
  plot.lines.push_back(std::move(line));
  plot.symbols.push_back(std::move(symbols));
}

void AddLevel(Plot& plot, const char* style, const char* name, double value, std::size_t count,
              double spread = 0.0) {
  if (std::isnan(value)) return;
  plot.lines.push_back({style,
                        {0.5, static_cast<double>(count) + 0.5},
                        {value, value},
                        false,
                        std::string(name) + " " + Significant(value, 5, spread)});
}

void WriteBias(JsonWriter& json, const studies::BiasStudy& study) {
  json.Members("Reference", study.reference, "N", study.count, "Mean", study.mean, "SD", study.sd);
  WriteInterval(json, "Bias", study.bias);
  WriteTest(json, "Test", study.test);
  json.Member("PctBias", study.pct_bias);
}

Table BiasTable(const std::vector<studies::BiasStudy>& studies, bool has_percent) {
  Table table{"Bias", {"#reference", "#n", "#mean", "#sd", "#bias", "@interval", "#t", "#P"}, {}};
  if (has_percent) table.headings.emplace_back("#% process");
  for (const auto& study : studies) {
    table.rows.push_back({Significant(study.reference, 6), std::to_string(study.count),
                          Significant(study.mean, 6), Significant(study.sd, 5),
                          Significant(study.bias.value, 5), BoundsText(study.bias),
                          std::isnan(study.test.value) ? "" : Significant(study.test.value, 5),
                          ShareText(study.test.p)});
    if (has_percent) table.rows.back().push_back(Significant(study.pct_bias, 4));
  }
  return table;
}

std::vector<Note> NotesOf(const std::vector<studies::BiasStudy>& studies) {
  std::vector<Note> notes;
  for (const auto& study : studies) {
    for (auto note : study.notes) {
      if (studies.size() > 1) {
        note.text = "Reference " + Significant(study.reference, 6) + ": " + note.text;
      }
      notes.push_back(std::move(note));
    }
  }
  return notes;
}

}  // namespace

std::string Type1Json(const Type1Document& document, const Names& /*names*/) {
  const auto& study = document.study;
  return StudyJson(WithNotes(document.head, study.notes), [&](JsonWriter& json) {
    json.Members("Points", document.values, "N", study.count, "Mean", study.mean, "SD", study.sd);
    WriteInterval(json, "Bias", study.bias);
    WriteTest(json, "Test", study.test);
    json.Members("Cg", study.cg, "Cgk", study.cgk, "PctRepeat", study.pct_repeat, "PctRepeatBias",
                 study.pct_repeat_bias, "Goal", studies::kGoalOfCg);
  });
}

StudyView MakeType1View(const Type1Document& document, const Names& /*names*/) {
  const auto& study = document.study;
  StudyView view;
  AddHeadOf(view, document.head, "Type 1 gauge study", document.of, study.notes);
  view.empty = document.values.empty();
  Plot plot;
  plot.title = "Readings";
  plot.caption = "dashed: the share of the tolerance about the reference";
  plot.x.title = "reading";
  plot.height = 300.0;
  const double reference = OptionOf(document.head, "Reference");
  const double half =
      OptionOf(document.head, "Percent") / 200.0 * OptionOf(document.head, "Tolerance");
  const auto count = document.values.size();
  const double spread = std::max(2.0 * half, SpreadOf(document.values));
  AddLevel(plot, "lim", "upper", reference + half, count, spread);
  AddLevel(plot, "tar", "ref", reference, count, spread);
  AddLevel(plot, "cl", "mean", study.mean, count, spread);
  AddLevel(plot, "lim", "lower", reference - half, count, spread);
  AddSeries(plot, document.values);
  view.plots.push_back(std::move(plot));
  FigureTable table("Figures");
  table.Add("readings", static_cast<double>(study.count), 9);
  table.Add("mean", study.mean, 7);
  table.Add("sd", study.sd);
  table.Add("bias", study.bias, study.test);
  table.Add("Cg", study.cg);
  table.Add("Cgk", study.cgk);
  table.Add("% repeatability", study.pct_repeat);
  table.Add("% repeatability and bias", study.pct_repeat_bias);
  view.tables.push_back(table.Take());
  Table goal{"Judgement", {"index", "goal", "result"}, {}};
  for (const auto& [name, value] : {std::pair{"Cg", study.cg}, std::pair{"Cgk", study.cgk}}) {
    if (std::isnan(value)) continue;
    goal.rows.push_back({name, "at least " + Significant(studies::kGoalOfCg, 3),
                         value >= studies::kGoalOfCg ? "reached" : "not reached"});
  }
  view.tables.push_back(std::move(goal));
  return view;
}

std::string BiasJson(const BiasDocument& document, const Names& /*names*/) {
  return StudyJson(WithNotes(document.head, NotesOf(document.studies)), [&](JsonWriter& json) {
    std::size_t i = 0;
    json.Objects<Spread::Blocks>("Biases", document.studies, [&](const studies::BiasStudy& study) {
      WriteBias(json, study);
      json.Member("Points",
                  i < document.values.size() ? document.values[i] : std::vector<double>());
      ++i;
    });
  });
}

StudyView MakeBiasView(const BiasDocument& document, const Names& /*names*/) {
  StudyView view;
  AddHeadOf(view, document.head, "Bias", document.of, NotesOf(document.studies));
  view.empty = document.studies.empty();
  Plot plot;
  plot.title = "Bias";
  plot.caption = "readings less reference; bars: interval of the mean";
  plot.x.title = "reference";
  plot.y.title = "bias";
  plot.height = 300.0;
  PlotSymbols faint, means;
  faint.look.style = "faint";
  for (std::size_t i = 0; i < document.studies.size(); ++i) {
    const auto& study = document.studies[i];
    const double x = static_cast<double>(i + 1);
    plot.x.ticks.emplace_back(x, Significant(study.reference, 6));
    if (!std::isnan(study.bias.lower)) {
      plot.bars.push_back(
          {x - 0.12, x + 0.12, study.bias.lower, study.bias.upper, "band", BoundsText(study.bias)});
    }
    for (const double value :
         i < document.values.size() ? document.values[i] : std::vector<double>()) {
      faint.x.push_back(x);
      faint.y.push_back(value - study.reference);
    }
    means.x.push_back(x);
    means.y.push_back(study.bias.value);
    means.tips.push_back(Significant(study.bias.value, 5));
  }
  const auto count = document.studies.size();
  plot.x.range = Range{0.5, static_cast<double>(count) + 0.5};
  AddLevel(plot, "tar", "", 0.0, count);
  plot.symbols.push_back(std::move(faint));
  plot.symbols.push_back(std::move(means));
  view.plots.push_back(std::move(plot));
  view.tables.push_back(
      BiasTable(document.studies, !std::isnan(OptionOf(document.head, "ProcessSD"))));
  return view;
}

std::string LinearityJson(const LinearityDocument& document, const Names& /*names*/) {
  const auto& study = document.study;
  auto notes = study.notes;
  return StudyJson(WithNotes(document.head, notes), [&](JsonWriter& json) {
    json.Members("References", document.references, "Points", document.values, "N", study.count);
    json.Object("Line", [&] {
      WriteInterval(json, "Slope", study.slope);
      WriteTest(json, "SlopeTest", study.slope_test);
      WriteInterval(json, "Intercept", study.intercept);
      WriteTest(json, "InterceptTest", study.intercept_test);
      json.Members("S", study.s, "R2", study.r2);
    });
    std::vector<double> at, line, lower, upper;
    for (const auto& each : study.biases) {
      const double half = study.HalfBandAt(each.reference);
      at.push_back(each.reference);
      line.push_back(study.LineAt(each.reference));
      lower.push_back(line.back() - half);
      upper.push_back(line.back() + half);
    }
    json.Object("Band", [&] {
      json.Members("References", at, "Line", line, "Lower", lower, "Upper", upper);
    });
    json.MemberIf(study.is_acceptable.has_value(), "Acceptable",
                  study.is_acceptable.value_or(false));
    json.Objects<Spread::Blocks>("Biases", study.biases,
                                 [&](const studies::BiasStudy& each) { WriteBias(json, each); });
    WriteInterval(json, "Bias", study.bias);
    WriteTest(json, "Test", study.bias_test);
    json.Members("Linearity", study.linearity, "PctLinearity", study.pct_linearity, "PctBias",
                 study.pct_bias);
  });
}

StudyView MakeLinearityView(const LinearityDocument& document, const Names& /*names*/) {
  const auto& study = document.study;
  StudyView view;
  AddHeadOf(view, document.head, "Linearity and bias", "", study.notes);
  view.empty = document.values.empty();
  Plot plot;
  plot.title = "Bias over the reference";
  plot.caption = "no bias, dotted, must lie within the band throughout";
  plot.x.title = "reference";
  plot.y.title = "bias";
  plot.height = 330.0;
  PlotSymbols faint, means;
  faint.look.style = "faint";
  for (std::size_t i = 0; i < document.values.size(); ++i) {
    faint.x.push_back(document.references[i]);
    faint.y.push_back(document.values[i] - document.references[i]);
    faint.tips.push_back(Significant(document.references[i], 6) + ": " +
                         Significant(document.values[i], 6));
  }
  means.look.size = 4.2;
  for (const auto& each : study.biases) {
    means.x.push_back(each.reference);
    means.y.push_back(each.bias.value);
    means.tips.push_back(Significant(each.reference, 6) + ": bias " +
                         Significant(each.bias.value, 5));
  }
  if (!study.biases.empty()) {
    const double low = study.biases.front().reference, high = study.biases.back().reference;
    if (!std::isnan(study.s)) {
      PlotBand band{"band", {}, {}, {}};
      constexpr int kSteps = 60;
      for (int i = 0; i <= kSteps; ++i) {
        const double x = low + (high - low) * i / kSteps;
        const double half = study.HalfBandAt(x);
        band.x.push_back(x);
        band.low.push_back(study.LineAt(x) - half);
        band.high.push_back(study.LineAt(x) + half);
      }
      plot.bands.push_back(std::move(band));
      plot.lines.push_back(
          {"fit", {low, high}, {study.LineAt(low), study.LineAt(high)}, false, ""});
    }
    plot.lines.push_back({"tar", {low, high}, {0.0, 0.0}, false, ""});
  }
  plot.symbols.push_back(std::move(faint));
  plot.symbols.push_back(std::move(means));
  view.plots.push_back(std::move(plot));

  FigureTable table("Figures");
  table.Add("slope", study.slope, study.slope_test);
  table.Add("intercept", study.intercept, study.intercept_test);
  table.Add("mean bias", study.bias, study.bias_test);
  table.Add("s", study.s);
  table.Add("R squared", study.r2);
  table.Add("% linearity", study.pct_linearity);
  if (!std::isnan(study.linearity)) {
    table.Add("linearity", study.linearity);
    table.Add("% bias", study.pct_bias);
  }
  view.tables.push_back(table.Take());
  if (study.is_acceptable) {
    view.tables.push_back({"Judgement",
                           {"", "result"},
                           {{"no bias lies within the band",
                             *study.is_acceptable ? "over the whole range" : "not everywhere"}}});
  }
  view.tables.push_back(BiasTable(study.biases, !std::isnan(OptionOf(document.head, "ProcessSD"))));
  return view;
}

}  // namespace orvspc::render
