// SPDX-License-Identifier: Apache-2.0
#include "host/render/capability/CapabilityReading.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <string_view>

#include "frame/Failure.h"
#include "host/render/capability/capability_figures.h"
#include "host/render/core/Numbers.h"

namespace orvspc::render {

namespace {

// A figure is defined when another one is not 0 and at least so much: what it is divided by, or the
// pieces that it needs.
struct Ground {
  std::string_view record, name;  // with * at its end: all names that begin so
  std::string_view on_record, on;
  double least = -std::numeric_limits<double>::infinity();
};

// Every row that fits must hold.
constexpr Ground kGrounds[] = {
    {"Summary", "SubgroupSize", "Summary", "SubgroupCount"},
    {"Summary", "M*", "Summary", "PieceCount"},
    {"Summary", "ShortTermSD", "Summary", "PieceCount", 2.0},
    {"Summary", "LongTermSD", "Summary", "PieceCount", 2.0},
    {"Summary", "UpperSD", "Summary", "PieceCount", 2.0},
    {"Summary", "LowerSD", "Summary", "PieceCount", 2.0},
    {"Summary", "CoRobustness", "Summary", "LongTermSD"},
    {"Summary", "CoOfVariation", "Summary", "Mean"},
    {"Summary", "CoOfVariation", "Summary", "PieceCount", 2.0},
    {"Summary", "ZBench", "Summary", "LongTermSD"},
    {"CPs", "*", "Summary", "ShortTermSD"},
    {"CPs", "Cr", "CPs", "Cp"},
    {"PPs", "*", "Summary", "LongTermSD"},
    {"PPs", "Pr", "PPs", "Pp"},
    {"Moments", "*", "Summary", "PieceCount"},
    {"Moments", "SD", "Summary", "PieceCount", 2.0},
    {"Moments", "Variance", "Summary", "PieceCount", 2.0},
    {"Moments", "Skewness", "Summary", "PieceCount", 3.0},
    {"Moments", "Skewness", "Moments", "SD"},
    {"Moments", "Kurtosis", "Summary", "PieceCount", 4.0},
    {"Moments", "Kurtosis", "Moments", "SD"},
    {"ChiSq", "Value", "ChiSq", "DegFreedom"},
    {"ChiSq", "Probability", "ChiSq", "DegFreedom"},
    {"Anova", "SS*", "Summary", "PieceCount"},
    {"Anova", "MSWithin", "Anova", "DFWithin"},
    {"Anova", "MSBetween", "Anova", "DFBetween"},
    {"Anova", "FRatio", "Anova", "MSWithin"},
    {"Anova", "FRatio", "Anova", "DFBetween"},
    // Nothing within but something between is certain; only where nothing differs is nothing told.
    {"Anova", "ProbOfF", "Anova", "SSTotal"},
    {"Anova", "ProbOfF", "Anova", "DFWithin"},
    {"Anova", "ProbOfF", "Anova", "DFBetween"},
    {"SpecResults", "Act*", "Summary", "PieceCount"},
    {"SpecResults", "Exp*", "Summary", "LongTermSD"},
    {"SpecResults", "z*", "Summary", "LongTermSD"},
    {"NccResults", "Act*", "Summary", "PieceCount"},
    {"NccResults", "Exp*", "Summary", "LongTermSD"},
    {"NccResults", "z*", "Summary", "LongTermSD"},
};

// Of values that are not all equal these are above 0: a 0 says that the figure is no number which a
// record can hold.
constexpr Ground kSpreads[] = {
    {"Summary", "LongTermSD", "Summary", "LongTermSD"},
    {"Summary", "UpperSD", "Summary", "UpperSD"},
    {"Summary", "LowerSD", "Summary", "LowerSD"},
    {"Summary", "CoOfVariation", "Summary", "CoOfVariation"},
    {"Moments", "AvgDev", "Moments", "AvgDev"},
    {"Moments", "SD", "Moments", "SD"},
    {"Moments", "Variance", "Moments", "Variance"},
    {"Anova", "SS*", "Anova", "SSTotal"},
    {"Anova", "MS*", "Anova", "SSTotal"},
    {"Anova", "FRatio", "Anova", "SSTotal"},
};

bool Fits(std::string_view pattern, std::string_view text) {
  if (!pattern.empty() && pattern.back() == '*')
    return text.substr(0, pattern.size() - 1) == pattern.substr(0, pattern.size() - 1);
  return pattern == text;
}

// What the record holds, and whether the operation of the figure lets it pass.
struct FieldRead {
  double value;
  bool known;
};

FieldRead FieldOf(const CAStatistics& statistics, const CapabilityFigure& figure) {
  double value = 0.0;
  try {
    const bool known = figure.get(statistics, value);
    return {value, known};
  } catch (const Failure&) {
    return {kNaN, false};  // a stored text can hold what is no number
  }
}

// The figure as its operation gives it, NaN where that says no.
double Taken(const CAStatistics& statistics, const CapabilityFigure& figure) {
  const auto field = FieldOf(statistics, figure);
  return field.known ? field.value : kNaN;
}

double RawFigure(const CAStatistics& statistics, std::string_view record, std::string_view name) {
  for (const auto& figure : kCapabilityFigures)
    if (record == figure.record && name == figure.name) return Taken(statistics, figure);
  return kNaN;
}

// No estimate, or one that the record could not hold.
bool LacksShortTerm(const CAStatistics& statistics, const Estimate& estimate) {
  if (!std::isfinite(estimate.value)) return true;
  return estimate.value != 0.0 && RawFigure(statistics, "Summary", "ShortTermSD") == 0.0;
}

bool IsLost(const CAStatistics& statistics, const CapabilityFigure& figure) {
  const bool spreads =
      RawFigure(statistics, "Summary", "Minimum") < RawFigure(statistics, "Summary", "Maximum");
  return spreads && std::any_of(std::begin(kSpreads), std::end(kSpreads), [&](const Ground& row) {
           return row.record == figure.record && Fits(row.name, figure.name) &&
                  RawFigure(statistics, row.on_record, row.on) == 0.0;
         });
}

double Defined(const CAStatistics& statistics, const CapabilityFigure& figure,
               const CapabilityReport* fit) {
  if (fit && std::string_view(figure.name) == "ShortTermSD" &&
      LacksShortTerm(statistics, fit->short_term))
    return kNaN;
  if (IsLost(statistics, figure)) return kNaN;
  for (const auto& ground : kGrounds) {
    if (ground.record != figure.record || !Fits(ground.name, figure.name)) continue;
    const double on = RawFigure(statistics, ground.on_record, ground.on);
    if (on == 0.0 || on < ground.least) return kNaN;
  }
  // A share outside needs limits to be outside of.
  if (std::string_view(figure.name) == "ZBench" &&
      std::isnan(RawFigure(statistics, "SpecLim", "Usl")) &&
      std::isnan(RawFigure(statistics, "SpecLim", "Lsl")))
    return kNaN;
  return Taken(statistics, figure);
}

// The share of a normal law between two values, without loss in the tails.
double NormalShare(double low, double high, double mean, double deviation) {
  const double scale = 1.0 / (deviation * std::sqrt(2.0));
  const double a = (low - mean) * scale, b = (high - mean) * scale;
  return a > 0.0 ? 0.5 * (std::erfc(a) - std::erfc(b)) : 0.5 * (std::erfc(-b) - std::erfc(-a));
}

void ReadBins(CABins& bins, const CapabilityReport* fit, CapabilityRead& read) {
  const double count = read.Figure("Summary", "PieceCount");
  const double mean = read.Figure("Summary", "Mean");
  const double deviation = read.Figure("Summary", "LongTermSD");
  const bool told = fit && !fit->law.empty();
  const bool normal = !fit && read.johnson_curve_type == caJohnsonTypeNone && deviation > 0.0;
  for (bool more = bins.MoveFirst(); more; more = bins.MoveNext()) {
    BinRead bin{bins.XMin(), bins.XMax(), bins.YMin(), bins.YMax(), kNaN};
    if (told && read.bins.size() < fit->expected.size())
      bin.expected = fit->expected[read.bins.size()];
    if (normal) bin.expected = count * NormalShare(bin.low, bin.high, mean, deviation);
    read.bins.push_back(bin);
  }
}

void ReadCurve(CACurve& curve, CapabilityRead& read) {
  for (bool more = curve.MoveFirst(); more; more = curve.MoveNext()) {
    read.curve_x.push_back(curve.X());
    try {
      read.curve_y.push_back(curve.Y());
    } catch (const Failure&) {
      read.curve_y.push_back(kNaN);  // a stored curve can have fewer of them
    }
  }
}

// Values that far out say that there is no such limit.
void LimitMember(JsonWriter& json, const char* key, double value) {
  json.MemberIf(std::abs(value) < 1e300, key, value);
}

void WriteStatistics(JsonWriter& json, const CapabilityRead& capability) {
  json.Key("Statistics");
  json.BeginObject();
  std::string_view record;
  for (const auto& figure : capability.figures) {
    if (record != figure.record) {
      if (!record.empty()) json.EndObject();
      record = figure.record;
      json.Key(record);
      json.BeginObject();
    }
    json.Member(figure.name, figure.value);
  }
  if (!record.empty()) json.EndObject();
  json.EndObject();
}

void WriteFit(JsonWriter& json, const CapabilityReport& fit) {
  const bool johnson = fit.fitted_at != 0.0;
  const auto figure = [&](double value) { return johnson ? value : kNaN; };
  json.Object(
      "Fit",
      [&] {
        json.Members("Law", fit.law, "Gamma", figure(fit.gamma), "Delta", figure(fit.delta), "Xi",
                     figure(fit.xi), "Lambda", figure(fit.lambda), "Z", figure(fit.fitted_at));
      },
      true);
}

}  // namespace

double CapabilityRead::Figure(std::string_view record, std::string_view name) const {
  for (const auto& figure : figures)
    if (record == figure.record && name == figure.name) return figure.value;
  return kNaN;
}

double CapabilityRead::Held(std::string_view record, std::string_view name) const {
  for (const auto& figure : figures)
    if (record == figure.record && name == figure.name) return figure.held;
  return kNaN;
}

CapabilityRead ReadCapability(CAResults& results, const CapabilityReport* fit) {
  CapabilityRead read;
  read.processing = results.Processing();
  read.select = results.DataSelect();
  const CAStatistics& statistics = *results.Statistics();
  for (const auto& figure : kCapabilityFigures)
    read.figures.push_back({figure.record, figure.name, Defined(statistics, figure, fit),
                            FieldOf(statistics, figure).value});
  read.johnson_curve_type = statistics.JohnsonCurveType();
  ReadBins(*results.Bins(), fit, read);
  ReadCurve(*results.Curve(), read);
  return read;
}

void WriteCapabilityProcessing(JsonWriter& json, const CAProcessing& processing) {
  json.Members("AllowOverride", processing.AllowOverride(), "BinCount", processing.BinCount(),
               "CurveCount", processing.CurveCount(), "FitType", processing.FitType(), "Normalize",
               processing.Normalize());
  LimitMember(json, "OverrideLSL", processing.OverrideLSL());
  LimitMember(json, "OverrideTarget", processing.OverrideTarget());
  LimitMember(json, "OverrideUSL", processing.OverrideUSL());
  json.Members("ShortTermSigmaType", processing.ShortTermSigmaType(), "WindowMaximum",
               processing.WindowMaximum(), "WindowMinimum", processing.WindowMinimum(), "WindowSD",
               processing.WindowSD(), "WindowType", processing.WindowType());
}

std::string CapabilityJson(const CapabilityDocument& document) {
  const CapabilityRead& capability = document.capability;
  return JsonDocument([&](JsonWriter& json) {
    ObjectMember(json, "Processing", capability.processing.get(), WriteCapabilityProcessing);
    ObjectMember(json, "DataSelect", capability.select.get(), WriteDataSelect);
    WriteStatistics(json, capability);
    json.Member("JohnsonCurveType", capability.johnson_curve_type);
    json.Objects("Bins", capability.bins, [&](const BinRead& bin) {
      json.Members("XMin", bin.low, "XMax", bin.high, "YMin", bin.foot, "YMax", bin.height,
                   "Expected", bin.expected);
    });
    json.Object("Curve", [&] { json.Members("X", capability.curve_x, "Y", capability.curve_y); });
    WriteNotes(json, document.notes);
    if (document.fit) {
      WriteFit(json, *document.fit);
      WriteEstimate(json, "ShortTerm", document.fit->short_term);
    } else {
      json.NullMember("Fit");
      json.NullMember("ShortTerm");
    }
  });
}

}  // namespace orvspc::render
