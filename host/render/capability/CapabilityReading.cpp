// SPDX-License-Identifier: Apache-2.0
#include "host/render/capability/Capability.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>

#include "frame/Failure.h"
#include "host/render/capability/capability_figures.h"
#include "host/render/core/Numbers.h"

namespace orvspc::render {

namespace {

// A figure is defined when another one is not 0 and at least so much: what it is divided by, or the
// pieces that it needs.
struct Ground {
  std::string_view figure;  // with * at its end: all names that begin so
  std::string_view on;
  double least = -std::numeric_limits<double>::infinity();
};

// Every row that fits must hold.
constexpr Ground kGrounds[] = {
    {"Summary.SubgroupSize", "Summary.SubgroupCount"},
    {"Summary.M*", "Summary.PieceCount"},
    {"Summary.ShortTermSD", "Summary.PieceCount", 2.0},
    {"Summary.LongTermSD", "Summary.PieceCount", 2.0},
    {"Summary.UpperSD", "Summary.PieceCount", 2.0},
    {"Summary.LowerSD", "Summary.PieceCount", 2.0},
    {"Summary.CoRobustness", "Summary.LongTermSD"},
    {"Summary.CoOfVariation", "Summary.Mean"},
    {"Summary.CoOfVariation", "Summary.PieceCount", 2.0},
    {"Summary.ZBench", "Summary.LongTermSD"},
    {"CPs.*", "Summary.ShortTermSD"},
    {"CPs.Cr", "CPs.Cp"},
    {"PPs.*", "Summary.LongTermSD"},
    {"PPs.Pr", "PPs.Pp"},
    {"Moments.*", "Summary.PieceCount"},
    {"Moments.SD", "Summary.PieceCount", 2.0},
    {"Moments.Variance", "Summary.PieceCount", 2.0},
    {"Moments.Skewness", "Summary.PieceCount", 3.0},
    {"Moments.Skewness", "Moments.SD"},
    {"Moments.Kurtosis", "Summary.PieceCount", 4.0},
    {"Moments.Kurtosis", "Moments.SD"},
    {"ChiSq.Value", "ChiSq.DegFreedom"},
    {"ChiSq.Probability", "ChiSq.DegFreedom"},
    {"Anova.SS*", "Summary.PieceCount"},
    {"Anova.MSWithin", "Anova.DFWithin"},
    {"Anova.MSBetween", "Anova.DFBetween"},
    {"Anova.FRatio", "Anova.MSWithin"},
    {"Anova.FRatio", "Anova.DFBetween"},
    // No spread within but some between is certain; only where no value differs is p not defined.
    {"Anova.ProbOfF", "Anova.SSTotal"},
    {"Anova.ProbOfF", "Anova.DFWithin"},
    {"Anova.ProbOfF", "Anova.DFBetween"},
    {"SpecResults.Act*", "Summary.PieceCount"},
    {"SpecResults.Exp*", "Summary.LongTermSD"},
    {"SpecResults.z*", "Summary.LongTermSD"},
    {"NccResults.Act*", "Summary.PieceCount"},
    {"NccResults.Exp*", "Summary.LongTermSD"},
    {"NccResults.z*", "Summary.LongTermSD"},
};

// Of values that are not all equal these are above 0: a 0 says that the figure is no number which a
// record can hold.
constexpr Ground kSpreads[] = {
    {"Summary.LongTermSD", "Summary.LongTermSD"},
    {"Summary.UpperSD", "Summary.UpperSD"},
    {"Summary.LowerSD", "Summary.LowerSD"},
    {"Summary.CoOfVariation", "Summary.CoOfVariation"},
    {"Moments.AvgDev", "Moments.AvgDev"},
    {"Moments.SD", "Moments.SD"},
    {"Moments.Variance", "Moments.Variance"},
    {"Anova.SS*", "Anova.SSTotal"},
    {"Anova.MS*", "Anova.SSTotal"},
    {"Anova.FRatio", "Anova.SSTotal"},
};

bool Holds(const CapabilityRead& read, std::span<const Ground> grounds, std::string_view figure) {
  return std::all_of(grounds.begin(), grounds.end(), [&](const Ground& ground) {
    const bool fits = ground.figure.back() == '*'
                          ? figure.starts_with(ground.figure.substr(0, ground.figure.size() - 1))
                          : figure == ground.figure;
    const double on = fits ? read.Figure(ground.on) : kNaN;
    return !(on == 0.0 || on < ground.least);
  });
}

// The figure as its operation gives it, NaN where that says no.
FigureRead Taken(const CAStatistics& statistics, const CapabilityFigure& figure) {
  double value = 0.0;
  try {
    const bool known = figure.get(statistics, value);
    return {figure.name, known ? value : kNaN, value};
  } catch (const Failure&) {
    return {figure.name, kNaN, kNaN};  // a stored text can hold what is no number
  }
}

// read: the figures as their operations give them.
bool IsDefined(const CapabilityRead& read, std::string_view figure, const CapabilityReport* fit) {
  // No estimate, or one that the record could not hold.
  if (fit && figure == "Summary.ShortTermSD" &&
      (!std::isfinite(fit->short_term.value) ||
       (fit->short_term.value != 0.0 && read.Figure(figure) == 0.0)))
    return false;
  const bool spreads = read.Figure("Summary.Minimum") < read.Figure("Summary.Maximum");
  if (spreads && !Holds(read, kSpreads, figure)) return false;
  // A share outside needs limits to be outside of.
  if (figure == "Summary.ZBench" && std::isnan(read.Figure("SpecLim.Usl")) &&
      std::isnan(read.Figure("SpecLim.Lsl")))
    return false;
  return Holds(read, kGrounds, figure);
}

// The share of a normal distribution between two values, without loss in the tails.
double NormalShare(double low, double high, double mean, double deviation) {
  const double scale = 1.0 / (deviation * std::sqrt(2.0));
  const double a = (low - mean) * scale, b = (high - mean) * scale;
  return a > 0.0 ? 0.5 * (std::erfc(a) - std::erfc(b)) : 0.5 * (std::erfc(-b) - std::erfc(-a));
}

void ReadBins(CABins& bins, const CapabilityReport* fit, CapabilityRead& read) {
  const double count = read.Figure("Summary.PieceCount");
  const double mean = read.Figure("Summary.Mean");
  const double deviation = read.Figure("Summary.LongTermSD");
  const bool has_expected = fit && !fit->law.empty();
  const bool normal = !fit && read.johnson_curve_type == caJohnsonTypeNone && deviation > 0.0;
  std::size_t place = 0;
  read.bins = ReadRows(bins, [&] {
    HistogramBar bin{bins.XMin(), bins.XMax(), bins.YMax(), kNaN, bins.YMin()};
    if (has_expected && place < fit->expected.size()) bin.expected = fit->expected[place];
    if (normal) bin.expected = count * NormalShare(bin.low, bin.high, mean, deviation);
    ++place;
    return bin;
  });
}

void ReadCurve(CACurve& curve, CapabilityRead& read) {
  read.curve_x = ReadRows(curve, [&] { return curve.X(); });
  read.curve_y = ReadRows(curve, [&] {
    try {
      return curve.Y();
    } catch (const Failure&) {
      return kNaN;  // a stored curve can have fewer of them
    }
  });
}

// An object for each record.
void WriteStatistics(JsonWriter& json, const std::vector<FigureRead>& figures) {
  for (auto figure = figures.begin(); figure != figures.end();) {
    const std::string_view record = figure->name.substr(0, figure->name.find('.') + 1);
    json.Object(record.substr(0, record.size() - 1), [&] {
      for (; figure != figures.end() && figure->name.starts_with(record); ++figure)
        json.Member(figure->name.substr(record.size()), figure->value);
    });
  }
}

// Parameters are those of a Johnson curve.
void WriteFitJson(JsonWriter& json, const CapabilityReport& fit) {
  const auto figure = [&](double value) { return fit.fitted_at != 0.0 ? value : kNaN; };
  json.Members("Law", fit.law, "Gamma", figure(fit.gamma), "Delta", figure(fit.delta), "Xi",
               figure(fit.xi), "Lambda", figure(fit.lambda), "Z", figure(fit.fitted_at));
}

}  // namespace

FigureRead CapabilityRead::Find(std::string_view name) const {
  const auto found = std::ranges::find(figures, name, &FigureRead::name);
  return found == figures.end() ? FigureRead{name, kNaN, kNaN} : *found;
}

CapabilityRead ReadCapability(CAResults& results, const CapabilityReport* fit) {
  CapabilityRead taken;
  const CAStatistics& statistics = *results.Statistics();
  for (const auto& figure : kCapabilityFigures) taken.figures.push_back(Taken(statistics, figure));
  CapabilityRead read = taken;
  for (auto& figure : read.figures)
    if (!IsDefined(taken, figure.name, fit)) figure.value = kNaN;
  read.processing = results.Processing();
  read.select = results.DataSelect();
  read.johnson_curve_type = statistics.JohnsonCurveType();
  ReadBins(*results.Bins(), fit, read);
  ReadCurve(*results.Curve(), read);
  return read;
}

void WriteCapabilityProcessing(JsonWriter& json, const CAProcessing& processing) {
  // Values that far out say that there is no such limit.
  const auto limit = [&](const char* key, double value) {
    json.MemberIf(std::abs(value) < 1e300, key, value);
  };
  json.Members("AllowOverride", processing.AllowOverride(), "BinCount", processing.BinCount(),
               "CurveCount", processing.CurveCount(), "FitType", processing.FitType(), "Normalize",
               processing.Normalize());
  limit("OverrideLSL", processing.OverrideLSL());
  limit("OverrideTarget", processing.OverrideTarget());
  limit("OverrideUSL", processing.OverrideUSL());
  json.Members("ShortTermSigmaType", processing.ShortTermSigmaType(), "WindowMaximum",
               processing.WindowMaximum(), "WindowMinimum", processing.WindowMinimum(), "WindowSD",
               processing.WindowSD(), "WindowType", processing.WindowType());
}

std::string CapabilityJson(const CapabilityDocument& document,
                           const std::function<void(JsonWriter&)>& more) {
  const CapabilityRead& capability = document.capability;
  return JsonDocument([&](JsonWriter& json) {
    ObjectMember(json, "Processing", capability.processing.get(), WriteCapabilityProcessing);
    ObjectMember(json, "DataSelect", capability.select.get(), WriteDataSelect);
    json.Object("Statistics", [&] { WriteStatistics(json, capability.figures); });
    json.Member("JohnsonCurveType", capability.johnson_curve_type);
    json.Objects("Bins", capability.bins, [&](const HistogramBar& bin) {
      json.Members("XMin", bin.low, "XMax", bin.high, "YMin", bin.foot, "YMax", bin.count,
                   "Expected", bin.expected);
    });
    json.Object("Curve", [&] { json.Members("X", capability.curve_x, "Y", capability.curve_y); });
    WriteNotes(json, document.notes);
    if (document.fit) {
      json.Object(
          "Fit", [&] { WriteFitJson(json, *document.fit); }, true);
      WriteEstimate(json, "ShortTerm", document.fit->short_term);
    } else {
      json.NullMember("Fit");
      json.NullMember("ShortTerm");
    }
    if (more) more(json);
  });
}

}  // namespace orvspc::render
