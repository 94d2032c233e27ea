// SPDX-License-Identifier: Apache-2.0
#include "host/render/study/Laws.h"

#include <algorithm>
#include <cmath>

#include "host/render/core/Numbers.h"

namespace orvspc::render {

namespace {

using studies::Interval;
using studies::LawFigures;
using studies::QuantileIndices;

const LawFigures* ChosenOf(const LawsDocument& document) {
  if (!document.laws || document.laws->laws.empty()) return nullptr;
  const auto& chosen = document.laws->laws[document.laws->chosen];
  return chosen.Exists() ? &chosen : nullptr;
}

void WriteQuantiles(JsonWriter& json, const Interval& low, const Interval& median,
                    const Interval& high) {
  json.Object("Quantiles", [&] {
    WriteInterval(json, "Low", low);
    WriteInterval(json, "Median", median);
    WriteInterval(json, "High", high);
  });
}

void WriteIndices(JsonWriter& json, const QuantileIndices& indices) {
  json.Object(
      "Indices",
      [&] {
        json.Members("Pp", indices.pp, "Ppk", indices.ppk, "Ppu", indices.ppu, "Ppl", indices.ppl);
      },
      true);
}

void WriteLaw(JsonWriter& json, const LawFigures& law) {
  json.Member("Law", studies::WordOf(law.law));
  WriteLawFit(json, law);
  WriteQuantiles(json, law.low, law.median, law.high);
  WriteIndices(json, law.indices);
  json.Members("BelowPPM", law.ppm_below, "AbovePPM", law.ppm_above);
}

void WriteNamed(JsonWriter& json, const char* key,
                const std::vector<studies::NamedInterval>& indices) {
  json.Object(key, [&] {
    for (const auto& each : indices) WriteInterval(json, each.name.c_str(), each.interval);
  });
}

void WriteFacts(JsonWriter& json, const studies::BootstrapFacts& facts) {
  json.Members("Resamples", facts.draws, "Failed", facts.failed);
}

void WriteBetweenWithin(JsonWriter& json, const studies::BetweenWithinStudy& study) {
  json.Object("BetweenWithin", [&] {
    WriteFigure(json, "Within", study.within);
    WriteFigure(json, "Means", study.means);
    json.Member("HarmonicSize", study.harmonic_size);
    WriteFigure(json, "Between", study.between);
    WriteFigure(json, "Both", study.both);
    WriteNamed(json, "Indices", study.indices);
    WriteFacts(json, study.bootstrap);
  });
}

void WriteTransformed(JsonWriter& json, const studies::TransformedStudy& study) {
  json.Object("Transformed", [&] {
    json.Members("Mean", study.mean, "Within", study.within.value, "Estimator", study.within.name,
                 "Lsl", study.limits.lower, "Usl", study.limits.upper);
    WriteNamed(json, "Indices", study.indices);
  });
}

void WritePlot(JsonWriter& json, const studies::ProbabilityPlot& plot) {
  json.Key("Plot");
  json.BeginArray();
  for (std::size_t i = 0; i < plot.x.size(); ++i) {
    json.BeginObject(true);
    json.Members("X", plot.x[i], "P", plot.p[i], "Fit", plot.fit[i], "Lower", plot.lower[i],
                 "Upper", plot.upper[i]);
    json.EndObject();
  }
  json.EndArray();
}

std::string ParametersText(const LawFigures& law) {
  std::vector<std::string> pieces;
  if (!law.curve.empty()) pieces.push_back(law.curve);
  for (const auto& parameter : law.parameters)
    pieces.push_back(parameter.name + " " + Significant(parameter.value, 6));
  return Joined(pieces, ", ");
}

std::string PpmText(double ppm) { return std::isnan(ppm) ? std::string() : Significant(ppm, 4); }

std::string IndexText(double index) { return std::isnan(index) ? std::string() : Fixed(index, 3); }

std::vector<Table> LawTables(const studies::LawsStudy& study) {
  Table table{
      "Laws", {"law", "#P", "#AIC", "#A\xC2\xB2", "#Pp", "#Ppk", "#ppm below", "#ppm above"}, {}};
  Table parameters{"Parameters", {"law", "parameters"}, {}};
  for (const auto& law : study.laws) {
    const std::string word = studies::WordOf(law.law);
    parameters.rows.push_back({word, law.Exists() ? ParametersText(law) : "not fitted"});
    if (!law.Exists()) continue;
    table.rows.push_back({word, PText(law), Fixed(law.aic, 2), Significant(law.ad, 4),
                          IndexText(law.indices.pp), IndexText(law.indices.ppk),
                          PpmText(law.ppm_below), PpmText(law.ppm_above)});
  }
  return {std::move(table), std::move(parameters)};
}

// Beside the histogram: quantiles with their interval, and the indices by them.
std::vector<Table> QuantileTables(const std::string& title, const Interval& low,
                                  const Interval& median, const Interval& high,
                                  const QuantileIndices& indices) {
  Table table{title + ": quantiles", {"", "#value", "#from", "#to"}, {}};
  const auto text = [](double value) {
    return std::isnan(value) ? std::string() : Significant(value, 6);
  };
  for (const auto& [name, each] : {std::pair("0.135 %", low), {"50 %", median}, {"99.865 %", high}})
    table.rows.push_back({name, text(each.value), text(each.lower), text(each.upper)});
  Table figures{title + ": indices", {"", "#"}, {}, true};
  for (const auto& [name, value] : {std::pair("Pp", indices.pp), std::pair("Ppk", indices.ppk),
                                    std::pair("Ppu", indices.ppu), std::pair("Ppl", indices.ppl)}) {
    if (!std::isnan(value)) figures.rows.push_back({name, Fixed(value, 3)});
  }
  std::vector<Table> tables;
  if (!figures.rows.empty()) tables.push_back(std::move(figures));
  tables.push_back(std::move(table));
  return tables;
}

Table IntervalTable(const std::string& title, const std::vector<studies::NamedInterval>& indices) {
  Table table{title, {"", "#value", "#from", "#to", "method"}, {}};
  for (const auto& [name, interval] : indices) {
    const bool has_bounds = !std::isnan(interval.lower) || !std::isnan(interval.upper);
    table.rows.push_back({name, IndexText(interval.value), IndexText(interval.lower),
                          IndexText(interval.upper), has_bounds ? interval.method : ""});
  }
  return table;
}

std::string LevelText(const std::vector<studies::NamedInterval>& indices) {
  // The blank before the sign is one that does not break.
  return indices.empty() ? ""
                         : ", " + Significant(100.0 * indices[0].interval.level, 4) + "\xC2\xA0%";
}

std::vector<Table> BetweenWithinTables(const studies::BetweenWithinStudy& study) {
  Table table{"Between and within subgroups", {"", "#sigma", "from"}, {}};
  const auto row = [&](const char* name, const studies::Figure& figure) {
    table.rows.push_back({name, std::isnan(figure.value) ? "" : Significant(figure.value, 6),
                          figure.estimator.empty() ? "" : EstimatorText(figure.estimator)});
  };
  row("within subgroups", study.within);
  row("of subgroup means", study.means);
  row("between subgroups", study.between);
  row("both together", study.both);
  std::vector<Table> tables;
  tables.push_back(std::move(table));
  if (!study.indices.empty())
    tables.push_back(IntervalTable("Indices by both together", study.indices));
  return tables;
}

// The chosen law's probability plot: a straight line if the law is right.
class ProbabilityPlotDrawing {
 public:
  ProbabilityPlotDrawing(const LawFigures& law, const studies::ProbabilityPlot& data)
      : law_(law), data_(data), logarithmic_(studies::PlotsLogarithms(law.law)) {
    for (const auto& parameter : law.parameters)
      if (parameter.name == "threshold") threshold_ = parameter.value;
    transforms_ = law.law == studies::Law::BoxCox || law.law == studies::Law::Johnson;
  }

  Plot Draw(const std::vector<ValueMark>& limits) {
    Plot plot;
    plot.title = "Probability plot, " + std::string(studies::WordOf(law_.law));
    plot.caption =
        ParametersText(law_) + "; A\xC2\xB2 " + Significant(law_.ad, 4) + ", P " + PText(law_);
    plot.height = 300.0;
    Across(plot);
    Up(plot);
    std::vector<double> up;
    for (const double share : data_.p) up.push_back(studies::PlotUp(law_, share));
    AddLine(plot, "fit", data_.fit, up);
    AddLine(plot, "hint", data_.lower, up);
    AddLine(plot, "hint", data_.upper, up);
    PlotSymbols points;
    points.look.size = data_.x.size() > 200 ? 2.2 : 3.0;
    for (std::size_t i = 0; i < data_.x.size(); ++i) {
      points.x.push_back(Place(data_.x[i]));
      points.y.push_back(up[i]);
      points.tips.push_back(Significant(data_.x[i], 7) + ": " + Significant(100.0 * data_.p[i], 4) +
                            " %");
    }
    plot.symbols.push_back(std::move(points));
    for (const auto& limit : limits) AddLimit(plot, Place(limit.at), limit.text);
    return plot;
  }

 private:
  // Where a value is on the horizontal axis, which takes logarithms by itself.
  double Place(double x) const {
    return transforms_ ? studies::PlotAcross(law_, x) : logarithmic_ ? x - threshold_ : x;
  }

  // A limit inside the plot, with its name where no points are.
  static void AddLimit(Plot& plot, double at, const std::string& text) {
    const auto across = *plot.x.range, up = *plot.y.range;
    if (!(at > across.low && at < across.high)) return;
    const double half =
        plot.x.logarithmic ? std::sqrt(across.low * across.high) : 0.5 * (across.low + across.high);
    plot.borders.push_back({at, "", "spec"});
    constexpr double kGap = 5.0;
    // The points rise from the lower left to the upper right.
    const double room = 0.06 * (up.high - up.low);
    if (at > half) {
      plot.texts.push_back({at, up.low + 0.5 * room, text, "ls", Anchor::End, 0.0, -kGap});
    } else {
      plot.texts.push_back({at, up.high - room, text, "ls", Anchor::Start, 0.0, kGap});
    }
  }

  void Across(Plot& plot) const {
    plot.x.logarithmic = logarithmic_;
    plot.x.title = logarithmic_ && threshold_ != 0.0
                       ? "value less threshold " + Significant(threshold_, 6)
                       : "value";
    const double low = Place(std::min(data_.x.front(), data_.fit.front())),
                 high = Place(std::max(data_.x.back(), data_.fit.back()));
    if (logarithmic_) {
      const double more = std::pow(high / low, 0.08);
      plot.x.range = Range{low / more, high * more};
    } else {
      const double more = 0.08 * (high - low);
      plot.x.range = Range{low - more, high + more};
    }
    if (!transforms_) return;
    const auto ticks = RoundTicks(std::min(data_.x.front(), data_.fit.front()),
                                  std::max(data_.x.back(), data_.fit.back()), 12);
    for (const double value : ticks.values) {
      const double at = Place(value);
      if (std::isfinite(at)) plot.x.ticks.emplace_back(at, Fixed(value, ticks.decimals));
    }
  }

  void Up(Plot& plot) const {
    // Those that come first keep their place where labels would touch.
    static constexpr std::pair<double, const char*> kShares[] = {
        {0.5, "50"},    {0.01, "1"},     {0.99, "99"},      {0.1, "10"},     {0.9, "90"},
        {0.001, "0.1"}, {0.999, "99.9"}, {0.05, "5"},       {0.95, "95"},    {0.25, "25"},
        {0.75, "75"},   {1e-4, "0.01"},  {0.9999, "99.99"}, {1e-5, "0.001"}, {0.99999, "99.999"}};
    plot.y.title = "percent";
    const double low = studies::PlotUp(law_, std::min(data_.p.front(), 0.01)),
                 high = studies::PlotUp(law_, std::max(data_.p.back(), 0.99));
    const double more = 0.03 * (high - low);
    plot.y.range = Range{low - more, high + more};
    for (const auto& [share, text] : kShares) {
      const double at = studies::PlotUp(law_, share);
      const bool touches = std::ranges::any_of(plot.y.ticks, [&](const auto& tick) {
        return std::abs(tick.first - at) < 0.045 * (high - low);
      });
      if (!touches) plot.y.ticks.emplace_back(at, text);
    }
  }

  void AddLine(Plot& plot, const char* style, const std::vector<double>& values,
               const std::vector<double>& up) const {
    PlotLine line{style};
    for (std::size_t i = 0; i < values.size(); ++i) {
      const double at = Place(values[i]);
      const bool is_inside = at >= plot.x.range->low && at <= plot.x.range->high;
      line.x.push_back(is_inside ? at : plot.x.range->low);
      line.y.push_back(is_inside ? up[i] : kNaN);
    }
    plot.lines.push_back(std::move(line));
  }

  const LawFigures& law_;
  const studies::ProbabilityPlot& data_;
  bool logarithmic_ = false, transforms_ = false;
  double threshold_ = 0.0;
};

CapabilityDocument WithNotes(const LawsDocument& document) {
  auto capability = document.capability;
  const auto add = [&](const auto& study) {
    if (!study) return;
    capability.notes.insert(capability.notes.end(), study->notes.begin(), study->notes.end());
  };
  add(document.laws);
  if (const auto* const chosen = ChosenOf(document);
      chosen != nullptr && chosen->law != studies::Law::Normal) {
    capability.notes.push_back(
        {"indices-normal",
         std::string("Cp and Cpk, and all indices of the analysis itself, are those of the normal "
                     "law; those of ") +
             studies::WordOf(chosen->law) + " are by its quantiles.",
         {}});
  }
  add(document.quantiles);
  add(document.intervals);
  add(document.quantile_intervals);
  add(document.between_within);
  add(document.transformed);
  return capability;
}

// The members of a law or of quantiles.
void WriteDistribution(JsonWriter& json, const LawsDocument& document) {
  if (document.quantiles) {
    const auto& of = *document.quantiles;
    json.NullMember("Law");
    WriteQuantiles(json, of.low, of.median, of.high);
    WriteIndices(json, of.indices);
    return;
  }
  const auto* const chosen = ChosenOf(document);
  json.Objects<Spread::Blocks>("Laws", document.laws->laws,
                               [&](const LawFigures& law) { WriteLaw(json, law); });
  json.MemberIf(chosen != nullptr, "Law", chosen ? studies::WordOf(chosen->law) : "");
  const LawFigures none;
  const auto& of = chosen ? *chosen : none;
  WriteQuantiles(json, of.low, of.median, of.high);
  WriteIndices(json, of.indices);
  WritePlot(json, document.laws->plot);
}

}  // namespace

void WriteLawFit(JsonWriter& json, const LawFigures& law) {
  json.MemberIf(!law.curve.empty(), "Curve", law.curve);
  json.Object(
      "Parameters",
      [&] {
        for (const auto& parameter : law.parameters) json.Member(parameter.name, parameter.value);
      },
      true);
  json.Members("LogLik", law.log_likelihood, "AIC", law.aic, "AD", law.ad);
  // Beyond the ends of a table there is a bound in place of P.
  if (!std::isnan(law.p_above)) {
    json.Member("PLow", law.p_above);
  } else if (!std::isnan(law.p_below)) {
    json.Member("PHigh", law.p_below);
  } else {
    json.Member("P", law.p < studies::kLeastP ? 0.0 : law.p);
  }
  json.MemberIf(!law.p_method.empty(), "PMethod", law.p_method);
  json.MemberIf(law.draws > 0, "Draws", law.draws);
  json.Members("Iterations", law.iterations, "Converged", law.converged);
}

std::string PText(const LawFigures& law) {
  if (!std::isnan(law.p_above)) return "> " + Significant(law.p_above, 3);
  if (!std::isnan(law.p_below)) return "< " + Significant(law.p_below, 3);
  return law.p < 0.001 ? "< 0.001" : Significant(law.p, 3);
}

Plot ProbabilityPlotOf(const LawFigures& law, const studies::ProbabilityPlot& data,
                       const std::vector<ValueMark>& limits) {
  return ProbabilityPlotDrawing(law, data).Draw(limits);
}

std::string LawsJson(const LawsDocument& document, const std::function<void(JsonWriter&)>& more) {
  return CapabilityJson(WithNotes(document), [&](JsonWriter& json) {
    WriteOptions(json, document.options);
    if (document.laws || document.quantiles) WriteDistribution(json, document);
    if (document.intervals) {
      const auto& of = *document.intervals;
      json.Object(
          "Degrees",
          [&] { json.Members("Within", of.within_degrees, "Overall", of.overall_degrees); }, true);
      WriteNamed(json, "Intervals", of.indices);
    }
    if (document.quantile_intervals) {
      json.Object("QuantileIntervals", [&] {
        WriteNamed(json, "Indices", document.quantile_intervals->indices);
        WriteFacts(json, document.quantile_intervals->bootstrap);
      });
    }
    if (document.between_within) WriteBetweenWithin(json, *document.between_within);
    if (document.transformed) WriteTransformed(json, *document.transformed);
    if (more) more(json);
  });
}

CapabilityView MakeLawsView(const LawsDocument& document, const Names& names) {
  auto view = MakeCapabilityView(WithNotes(document), names);
  if (view.Empty()) return view;
  if (const auto options = OptionsText({"", document.options, {}, {}}); !options.empty())
    view.subtitle += (view.subtitle.empty() ? "" : "; ") + options;
  const auto add = [&](std::vector<Table> tables) {
    for (auto& table : tables) {
      if (!table.rows.empty()) view.tables.push_back(std::move(table));
    }
  };
  if (document.intervals) {
    const auto& of = document.intervals->indices;
    add({IntervalTable("Intervals of the indices" + LevelText(of), of)});
  }
  if (document.between_within) add(BetweenWithinTables(*document.between_within));
  if (document.quantiles) {
    const auto& of = *document.quantiles;
    add(QuantileTables("Sample", of.low, of.median, of.high, of.indices));
  }
  if (document.laws) add(LawTables(*document.laws));
  const auto* const chosen = ChosenOf(document);
  if (chosen != nullptr) {
    add(QuantileTables(studies::WordOf(chosen->law), chosen->low, chosen->median, chosen->high,
                       chosen->indices));
  }
  if (document.quantile_intervals) {
    const auto& of = document.quantile_intervals->indices;
    add({IntervalTable("Intervals of the indices by quantiles" + LevelText(of), of)});
  }
  if (document.transformed) {
    const auto& of = document.transformed->indices;
    add({IntervalTable("Short-term indices of transformed values" + LevelText(of), of)});
  }
  if (chosen == nullptr || document.laws->plot.x.empty()) return view;
  auto plot = ProbabilityPlotOf(*chosen, document.laws->plot, view.limits);
  view.below = [plots = std::vector<Plot>{std::move(plot)}](Scene& scene, double y) {
    return DrawPlots(scene, plots, 1, y);
  };
  return view;
}

}  // namespace orvspc::render
