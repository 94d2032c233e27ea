// SPDX-License-Identifier: Apache-2.0
#include "host/render/study/Multivariate.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <utility>

#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "host/render/study/StretchPlots.h"

namespace orvspc::render {

namespace {

constexpr const char* kT2 = "T\u00b2";
constexpr double kTermAlpha = 0.05;  // of all terms of a point together

std::vector<std::vector<double>> RowsOf(const std::vector<double>& cells, std::size_t p) {
  std::vector<std::vector<double>> rows;
  for (std::size_t i = 0; i < cells.size(); i += p) {
    const auto row = std::span(cells).subspan(i, p);
    rows.emplace_back(row.begin(), row.end());
  }
  return rows;
}

void WriteEstimates(JsonWriter& json, const studies::VectorEstimates& estimates,
                    const std::vector<std::string>& variables) {
  std::size_t j = 0;
  const bool given = estimates.estimator == "given";
  json.Objects("Center", estimates.centre, [&](double value) {
    json.Members("Test", variables[j++], "Value", value, "Estimator", given ? "given" : "mean",
                 "Constant", kNaN, "Used", estimates.used, "Left", estimates.left);
  });
  json.Object("Covariance", [&] {
    json.Members("Value", RowsOf(estimates.covariance, variables.size()), "Estimator",
                 estimates.estimator, "Constant", kNaN, "Used", estimates.used, "Left",
                 estimates.left, "Subgroups", estimates.subgroups, "DF", estimates.degrees);
  });
  std::vector<std::string> dependent;
  for (const auto place : estimates.dependent) dependent.push_back(variables[place]);
  json.Member("Dependent", dependent);
}

std::vector<std::string> NamesOf(const studies::T2Order& order,
                                 const std::vector<std::string>& variables) {
  std::vector<std::string> names;
  for (const auto place : order.variables) names.push_back(variables[place]);
  return names;
}

void WriteTerms(JsonWriter& json, const studies::T2Study& study,
                const std::vector<std::string>& variables) {
  json.Key("Terms");
  json.BeginArray();
  for (std::size_t i = 0; i < study.t2.size(); ++i) {
    json.BeginArray(true);
    std::size_t j = 0;
    for (const auto& term : study.TermsOf(i)) {
      json.BeginObject(true);
      json.Members("Test", variables[j++], "Unconditional", term.unconditional, "Conditional",
                   term.conditional, "Deviation", term.deviation, "PUnconditional",
                   term.p_unconditional, "PConditional", term.p_conditional);
      json.EndObject();
    }
    json.EndArray();
  }
  json.EndArray();
}

// An element a point: none where there is no signal.
void WriteOrders(JsonWriter& json, const studies::T2Study& study,
                 const std::vector<std::string>& variables) {
  json.Key("Orders");
  json.BeginArray();
  for (std::size_t i = 0; i < study.t2.size(); ++i) {
    json.BeginArray(true);
    const auto orders =
        study.signals[i] == 0 ? std::vector<studies::T2Order>() : studies::OrdersOf(study, i);
    for (const auto& order : orders) {
      json.BeginObject(true);
      json.Members("Tests", NamesOf(order, variables), "Terms", order.terms, "P", order.p);
      json.EndObject();
    }
    json.EndArray();
  }
  json.EndArray();
}

// Streams and phases as of other studies, and the variables; write(json, study, variables).
template <class Document, class Write>
std::string VectorsJson(const Document& document, const Names& names, Write write) {
  auto head = document.head;
  head.notes = NotesOf(document, names);
  return StudyJson(head, [&](JsonWriter& json) {
    std::size_t s = 0;
    json.Objects<Spread::Blocks>(
        "Streams", document.data.streams, [&](const studies::Stream& stream) {
          const auto& variables = document.variables[s];
          json.Members("Part", names(NameKind::Part, stream.part), "Process",
                       names(NameKind::Process, stream.process), "Test", "", "Tests", variables);
          std::size_t p = 0;
          json.Objects<Spread::Blocks>("Phases", stream.stretches,
                                       [&](const studies::Stretch& stretch) {
                                         if (document.labels.empty()) {
                                           WriteStretch(json, stretch);
                                         } else {
                                           json.Member("Labels", document.labels);
                                         }
                                         const auto& study = document.studies[s][p++];
                                         json.Members("Points", study.t2, "T2", study.t2, "UCL",
                                                      study.upper, "SGSizes", study.sizes);
                                         WriteMarks(json, study.signals);
                                         write(json, study, variables);
                                         WriteEstimates(json, study.estimates, variables);
                                       });
          ++s;
        });
  });
}

// "UCL 11.04", the newest; empty where there is none.
std::string NewestLabel(const char* name, const std::vector<double>& line) {
  for (std::size_t i = line.size(); i-- > 0;) {
    if (!std::isnan(line[i])) return std::string(name) + " " + Significant(line[i], 4);
  }
  return {};
}

double NewestOf(const std::vector<double>& line) {
  for (std::size_t i = line.size(); i-- > 0;) {
    if (!std::isnan(line[i])) return line[i];
  }
  return kNaN;
}

template <class Document>
Plot PlotOf(const Document& document, std::size_t s, const std::string& title) {
  Plot plot;
  plot.title = title;
  if (document.labels.empty()) plot.caption = document.titles[s];
  plot.x.title = "subgroup";
  plot.height = document.data.streams.size() == 1 ? 300.0 : 230.0;
  plot.borders = PhaseBordersOf(document.data.streams[s]);
  return plot;
}

// The statistic of a stream with its upper limit.
template <class Document>
Plot StatisticPlot(const Document& document, std::size_t s, const std::string& title,
                   const char* limit) {
  auto plot = PlotOf(document, s, title);
  for (const auto& place : PlacesOf(document.data, s)) {
    const auto& study = document.studies[s][place.stretch];
    const auto x = Places(place, study.t2.size());
    const bool is_last = place.stretch + 1 == document.studies[s].size();
    plot.lines.push_back(
        {"lim", x, study.upper, true, is_last ? NewestLabel(limit, study.upper) : ""});
    plot.lines.push_back({"d", x, study.t2, false, ""});
    AddPoints(plot, place, document.data.streams[s].stretches[place.stretch], study.t2,
              study.signals);
  }
  return plot;
}

Plot VariancePlot(const T2Document& document, std::size_t s) {
  const auto p = document.variables[s].size();
  auto plot = PlotOf(document, s, "Generalized variance");
  plot.caption = Joined({plot.caption, "|S| to the power 1/" + std::to_string(p)}, ", ");
  plot.height = 200.0;
  for (const auto& place : PlacesOf(document.data, s)) {
    const auto& variance = document.studies[s][place.stretch].variance;
    if (variance.points.empty()) continue;
    const auto rooted = [p](std::vector<double> values) {
      for (auto& value : values) value = std::pow(value, 1.0 / static_cast<double>(p));
      return values;
    };
    const auto points = rooted(variance.points), centre = rooted(variance.centre),
               upper = rooted(variance.upper), lower = rooted(variance.lower);
    AddLimits(plot, place, {upper, centre, lower});
    plot.lines.push_back({"d", Places(place, points.size()), points, false, ""});
    AddPoints(plot, place, document.data.streams[s].stretches[place.stretch], points,
              variance.signals);
  }
  return plot;
}

// Means of two variables, with the ellipses on which T2 is the limit.
Plot EllipsePlot(const T2Document& document, std::size_t s) {
  Plot plot;
  plot.title = "Means";
  plot.x.title = PlainText(document.variables[s][0]);
  plot.y.title = PlainText(document.variables[s][1]);
  plot.height = 380.0;
  PlotSymbols means, marked;
  marked.look.style = "m";
  double size = kNaN;
  bool sizes_differ = false;
  for (const auto& place : PlacesOf(document.data, s)) {
    const auto& study = document.studies[s][place.stretch];
    const auto& stretch = document.data.streams[s].stretches[place.stretch];
    for (std::size_t i = 0; i < study.t2.size(); ++i) {
      if (std::isnan(study.t2[i])) continue;
      sizes_differ = sizes_differ || (!std::isnan(size) && size != study.sizes[i]);
      size = study.sizes[i];
      const bool on = study.signals[i] != 0;
      auto& to = on ? marked : means;
      to.x.push_back(study.means[2 * i]);
      to.y.push_back(study.means[2 * i + 1]);
      const auto number = std::to_string(static_cast<int>(place.first) + static_cast<int>(i));
      to.tips.push_back((stretch.times.empty() ? number : IsoTime(stretch.times[i])) + ": " + kT2 +
                        " " + Significant(study.t2[i], 5));
      if (on) to.labels.push_back(number);
    }
    const auto ellipse = studies::EllipseOf(study.estimates, NewestOf(study.upper) / size);
    plot.lines.push_back({"lim", ellipse.x, ellipse.y, false, ""});
  }
  plot.caption = document.labels.empty() ? document.titles[s] + ", " : "";
  plot.caption += std::string("dashed: ") + kT2 + " at its newest limit";
  if (sizes_differ) plot.caption += ", of a subgroup of " + Significant(size, 6);
  for (auto* symbols : {&means, &marked}) {
    if (!symbols->x.empty()) plot.symbols.push_back(std::move(*symbols));
  }
  return plot;
}

// Bars of the newest signals: filled what a variable adds to the others, outlined what it is alone.
Plot TermsPlot(const T2Document& document, std::size_t s) {
  constexpr std::size_t kMost = 6;
  Plot plot;
  plot.title = "Terms of the newest signals";
  plot.caption = document.labels.empty() ? document.titles[s] + "; " : "";
  plot.caption += "filled: given the others; outlined: alone; + above and - below the centre";
  plot.height = 230.0;
  std::vector<std::pair<std::size_t, std::size_t>> signals;  // stretch and point
  std::vector<double> firsts;
  for (const auto& place : PlacesOf(document.data, s)) {
    firsts.push_back(place.first);
    const auto& study = document.studies[s][place.stretch];
    for (std::size_t i = 0; i < study.signals.size(); ++i) {
      if (study.signals[i] != 0) signals.emplace_back(place.stretch, i);
    }
  }
  if (signals.size() > kMost) {
    signals.erase(signals.begin(), signals.end() - static_cast<std::ptrdiff_t>(kMost));
  }
  double x = 0.0, highest = 0.0;
  for (const auto& signal : signals) {
    const auto& study = document.studies[s][signal.first];
    const auto number = static_cast<std::size_t>(firsts[signal.first]) + signal.second;
    plot.borders.push_back({x + 0.5, "subgroup " + std::to_string(number)});
    std::size_t j = 0;
    for (const auto& term : study.TermsOf(signal.second)) {
      x += 1.0;
      highest = std::max({highest, term.conditional, term.unconditional});
      const auto name = PlainText(document.variables[s][j++]);
      plot.x.ticks.emplace_back(x, name + (term.deviation < 0.0 ? " -" : " +"));
      plot.bars.push_back({x - 0.36, x - 0.02, 0.0, term.conditional, "bar",
                           name + " given the others: " + Significant(term.conditional, 4)});
      plot.bars.push_back({x + 0.02, x + 0.36, 0.0, term.unconditional, "frame",
                           name + " alone: " + Significant(term.unconditional, 4)});
    }
    x += 0.5;
  }
  constexpr double kLeastPlaces = 9.0;  // wider bars are ugly
  plot.x.range = Range{0.4, std::max(x + 0.2, kLeastPlaces)};
  plot.y.range = Range{0.0, highest * 1.15};  // room for the names
  return plot;
}

std::string SdText(const studies::VectorEstimates& estimates, std::size_t j) {
  return Significant(std::sqrt(estimates.covariance[j * (estimates.centre.size() + 1)]), 5);
}

// Mean, standard deviation and correlations of what each stream is judged by, its phases in turn.
template <class Document>
void AddEstimates(StudyView& view, const Document& document) {
  for (std::size_t s = 0; s < document.studies.size(); ++s) {
    const auto& variables = document.variables[s];
    for (std::size_t p = 0; p < document.studies[s].size(); ++p) {
      const auto& stretch = document.data.streams[s].stretches[p];
      if (stretch.limits_of != p) continue;
      const auto& estimates = document.studies[s][p].estimates;
      if (std::isnan(estimates.centre[0])) continue;
      Table table{Joined({"Variables", document.titles[s], PlainText(stretch.phase.name)}, ", "),
                  {"variable", "#mean", "#sd"},
                  {}};
      for (const auto& name : variables) table.headings.push_back("#r " + PlainText(name));
      for (std::size_t i = 0; i < variables.size(); ++i) {
        std::vector<std::string> row = {PlainText(variables[i]),
                                        Significant(estimates.centre[i], 7), SdText(estimates, i)};
        const auto n = variables.size();
        const auto& of = estimates.covariance;
        for (std::size_t j = 0; j < n; ++j) {
          row.push_back(Significant(of[i * n + j] / std::sqrt(of[i * n + i] * of[j * n + j]), 4));
        }
        table.rows.push_back(std::move(row));
      }
      view.tables.push_back(std::move(table));
    }
  }
}

std::int64_t Count(const std::vector<std::uint8_t>& signals) {
  return std::ranges::count_if(signals, [](auto on) { return on != 0; });
}

template <class Document>
Table PhasesTable(const Document& document, const char* limit) {
  Table table{"Phases",
              {"stream", "phase", "#points", "covariance", "#vectors", "#left",
               std::string("#") + limit, "#signals"},
              {}};
  for (std::size_t s = 0; s < document.studies.size(); ++s) {
    for (std::size_t p = 0; p < document.studies[s].size(); ++p) {
      const auto& study = document.studies[s][p];
      table.rows.push_back(
          {document.titles[s], PlainText(document.data.streams[s].stretches[p].phase.name),
           std::to_string(study.t2.size()), study.estimates.estimator,
           std::to_string(study.estimates.used), std::to_string(study.estimates.left),
           Significant(NewestOf(study.upper), 6), std::to_string(Count(study.signals))});
    }
  }
  return table;
}

// Where a subgroup is: "2024-05-02T08:00:00", or its label in a file.
template <class Document>
std::string PlaceText(const Document& document, const studies::Stretch& stretch, std::size_t i) {
  return document.labels.empty() ? IsoTime(stretch.times[i]) : PlainText(document.labels[i]);
}

// "0.0041 *" where it is small for one of several terms.
std::string TermP(double p, std::size_t variables) {
  const bool is_small = p < kTermAlpha / static_cast<double>(variables);
  return ShareText(p) + (is_small ? " *" : "");
}

Table SignalsTable(const T2Document& document) {
  Table table{"Signals",
              {"stream", "@subgroup", std::string("#") + kT2, "#UCL", "variable", "#deviation",
               "#alone", "#P", "#given others", "#P"},
              {}};
  for (std::size_t s = 0; s < document.studies.size(); ++s) {
    const auto& variables = document.variables[s];
    for (std::size_t p = 0; p < document.studies[s].size(); ++p) {
      const auto& study = document.studies[s][p];
      const auto& stretch = document.data.streams[s].stretches[p];
      for (std::size_t i = 0; i < study.signals.size(); ++i) {
        if (study.signals[i] == 0) continue;
        const auto terms = study.TermsOf(i);
        for (std::size_t j = 0; j < terms.size(); ++j) {
          const bool first = j == 0;
          table.rows.push_back(
              {first ? document.titles[s] : "", first ? PlaceText(document, stretch, i) : "",
               first ? Significant(study.t2[i], 5) : "",
               first ? Significant(study.upper[i], 5) : "", PlainText(variables[j]),
               Significant(terms[j].deviation, 5), Significant(terms[j].unconditional, 4),
               TermP(terms[j].p_unconditional, terms.size()), Significant(terms[j].conditional, 4),
               TermP(terms[j].p_conditional, terms.size())});
        }
      }
    }
  }
  return table;
}

// A row an order; the asterisk as of a term.
Table OrdersTable(const T2Document& document, std::size_t s) {
  const auto& variables = document.variables[s];
  Table table{"Orders, " + document.titles[s], {"@subgroup", "order", "#alone"}, {}};
  for (std::size_t j = 1; j < variables.size(); ++j) {
    table.headings.push_back("#given " + std::to_string(j));
  }
  for (std::size_t p = 0; p < document.studies[s].size(); ++p) {
    const auto& study = document.studies[s][p];
    const auto& stretch = document.data.streams[s].stretches[p];
    for (std::size_t i = 0; i < study.signals.size(); ++i) {
      if (study.signals[i] == 0) continue;
      auto place = PlaceText(document, stretch, i);
      for (const auto& order : studies::OrdersOf(study, i)) {
        std::vector<std::string> row = {place, PlainText(Joined(NamesOf(order, variables), ", "))};
        for (std::size_t k = 0; k < order.terms.size(); ++k) {
          const bool is_small = order.p[k] < kTermAlpha / static_cast<double>(variables.size());
          row.push_back(Significant(order.terms[k], 4) + (is_small ? " *" : ""));
        }
        table.rows.push_back(std::move(row));
        place.clear();
      }
    }
  }
  return table;
}

template <class Document>
void BeginView(StudyView& view, const Document& document, const Names& names,
               const std::string& title) {
  AddHead(view, document, names, title);
  // A file is no selection.
  if (!document.labels.empty()) view.title = title + ": " + PlainText(document.titles[0]);
}

}  // namespace

std::string T2Json(const T2Document& document, const Names& names) {
  return VectorsJson(
      document, names,
      [&](JsonWriter& json, const studies::T2Study& study,
          const std::vector<std::string>& variables) {
        json.Members("Alpha", study.alpha, "Means", RowsOf(study.means, variables.size()));
        WriteTerms(json, study, variables);
        if (document.shows_orders) WriteOrders(json, study, variables);
        json.Member("TermAlpha", kTermAlpha / static_cast<double>(variables.size()));
        const auto* const variance = study.variance.points.empty() ? nullptr : &study.variance;
        ObjectMember(
            json, "GV", variance, [](JsonWriter& to, const studies::GeneralizedVariance& of) {
              to.Members("Points", of.points, "CL", of.centre, "UCL", of.upper, "LCL", of.lower);
              WriteMarks(to, of.signals);
            });
      });
}

StudyView MakeT2View(const T2Document& document, const Names& names) {
  StudyView view;
  BeginView(view, document, names, kT2);
  for (std::size_t s = 0; s < document.data.streams.size(); ++s) {
    view.plots.push_back(StatisticPlot(document, s, kT2, "UCL"));
    const auto& studies = document.studies[s];
    const auto has_signals = [](const auto& study) { return Count(study.signals) > 0; };
    if (document.shows_terms && std::ranges::any_of(studies, has_signals)) {
      view.plots.push_back(TermsPlot(document, s));
    }
    const auto has_variance = [](const auto& study) { return !study.variance.points.empty(); };
    if (std::ranges::any_of(studies, has_variance)) {
      view.plots.push_back(VariancePlot(document, s));
    }
    if (document.variables[s].size() == 2) view.plots.push_back(EllipsePlot(document, s));
  }
  view.tables.push_back(PhasesTable(document, "UCL"));
  view.tables.push_back(SignalsTable(document));
  for (std::size_t s = 0; document.shows_orders && s < document.studies.size(); ++s) {
    view.tables.push_back(OrdersTable(document, s));
  }
  AddEstimates(view, document);
  return view;
}

std::string MewmaJson(const MewmaDocument& document, const Names& names) {
  return VectorsJson(document, names,
                     [](JsonWriter& json, const studies::MewmaStudy& study,
                        const std::vector<std::string>& variables) {
                       json.Members("Z", RowsOf(study.z, variables.size()), "H", study.h, "ARL0",
                                    study.arl0);
                     });
}

StudyView MakeMewmaView(const MewmaDocument& document, const Names& names) {
  StudyView view;
  BeginView(view, document, names, "MEWMA");
  for (std::size_t s = 0; s < document.data.streams.size(); ++s) {
    view.plots.push_back(
        StatisticPlot(document, s, std::string(kT2) + " of the moving averages", "h"));
  }
  view.tables.push_back(PhasesTable(document, "h"));
  Table signals{"Signals", {"stream", "@subgroup", std::string("#") + kT2}, {}};
  for (std::size_t s = 0; s < document.studies.size(); ++s) {
    for (std::size_t p = 0; p < document.studies[s].size(); ++p) {
      const auto& study = document.studies[s][p];
      const auto& stretch = document.data.streams[s].stretches[p];
      for (std::size_t i = 0; i < study.signals.size(); ++i) {
        if (study.signals[i] == 0) continue;
        signals.rows.push_back(
            {document.titles[s], PlaceText(document, stretch, i), Significant(study.t2[i], 5)});
      }
    }
  }
  view.tables.push_back(std::move(signals));
  AddEstimates(view, document);
  return view;
}

}  // namespace orvspc::render
