// SPDX-License-Identifier: Apache-2.0
#include "host/render/study/StretchPlots.h"

#include <cmath>
#include <string>
#include <utility>

#include "host/render/core/Numbers.h"

namespace orvspc::render {

std::vector<double> Places(const StretchPlace& place, std::size_t count) {
  std::vector<double> x(count);
  for (std::size_t i = 0; i < count; ++i) x[i] = place.first + static_cast<double>(i);
  return x;
}

void AddFaint(Plot& plot, const StretchPlace& place, const studies::Stretch& stretch) {
  SymbolLook look;
  look.style = "faint";
  look.size = 2.4;
  plot.symbols.push_back({look, Places(place, stretch.points.size()), stretch.points, {}, {}});
}

void AddPoints(Plot& plot, const StretchPlace& place, const studies::Stretch& stretch,
               const std::vector<double>& values, const std::vector<std::uint8_t>& signals) {
  Marks marks(signals.size());
  for (std::size_t i = 0; i < signals.size(); ++i) {
    if (signals[i] != 0) marks[i] = {1};
  }
  AddPoints(plot, place, stretch, values, marks);
}

void AddPoints(Plot& plot, const StretchPlace& place, const studies::Stretch& stretch,
               const std::vector<double>& values, const Marks& marks) {
  PlotSymbols used, forgotten, marked;
  forgotten.look.style = "pu";
  marked.look.style = "m";
  const double spread = SpreadOf(values);
  for (std::size_t i = 0; i < values.size(); ++i) {
    auto& to = stretch.IsUsed(i) ? used : forgotten;
    const double x = place.first + static_cast<double>(i);
    const auto when = stretch.times.empty() ? std::to_string(i + 1) : IsoTime(stretch.times[i]);
    const auto tip = when + ": " + Significant(values[i], 6, spread);
    to.x.push_back(x);
    to.y.push_back(values[i]);
    to.tips.push_back(tip);
    if (marks[i].empty()) continue;
    std::string rules;
    for (const auto rule : marks[i]) rules += (rules.empty() ? "" : ",") + std::to_string(rule);
    marked.x.push_back(x);
    marked.y.push_back(values[i]);
    marked.tips.push_back(tip + ", signal");
    marked.labels.push_back(std::move(rules));
  }
  for (auto* symbols : {&used, &forgotten, &marked}) {
    if (!symbols->x.empty()) plot.symbols.push_back(std::move(*symbols));
  }
}

std::string FigureText(const studies::Figure& figure) {
  auto text = Significant(figure.value, 7);
  if (figure.estimator.empty()) return text;
  return text + " (" + EstimatorText(figure.estimator) + ")";
}

std::string LimitLabel(const char* name, const std::vector<double>& line, double spread) {
  if (line.empty()) return {};
  const int digits = std::abs(line.back()) < 1.0 ? 3 : 5;  // zeros in front take room
  return std::string(name) + " " + Significant(line.back(), digits, spread);
}

void AddLimits(Plot& plot, const StretchPlace& place, const LineColumns& lines) {
  const auto x = Places(place, lines.centre.size());
  const double spread =
      lines.upper.empty() || lines.lower.empty() ? 0.0 : lines.upper.back() - lines.lower.back();
  plot.lines.push_back({"lim", x, lines.upper, true, LimitLabel("UCL", lines.upper, spread)});
  plot.lines.push_back({"cl", x, lines.centre, true, LimitLabel("CL", lines.centre, spread)});
  plot.lines.push_back({"lim", x, lines.lower, true, LimitLabel("LCL", lines.lower, spread)});
}

}  // namespace orvspc::render
