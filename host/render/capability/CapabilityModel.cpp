// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <utility>

#include "host/render/capability/CapabilityReading.h"
#include "host/render/capability/CapabilityView.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "host/render/core/Words.h"
#include "platform/Enumerations.h"

namespace orvspc::render {

namespace {

using Row = std::vector<std::string>;

// Bits of the flags of net contents: is a percentage of packages allowed beyond that limit?
constexpr std::int32_t kMavLp = 2, kMavUp = 32, kT1Lp = 512, kT2Lp = 2048, kT1Up = 8192,
                       kT2Up = 32768;

constexpr const char* kSigma = "\xCF\x83";

std::string Counted(double count, const char* one, const char* many) {
  return Fixed(count, 0) + " " + (count == 1.0 ? one : many);
}

std::string TitleText(const DataSelect* select, const Names& names) {
  const std::string text = SelectedText(select, names);
  return text.empty() ? "Capability" : "Capability: " + text;
}

std::string CurveName(std::int32_t type) {
  static constexpr Word kCurves[] = {{"Johnson curve, unbounded (SU)", caJohnsonTypeU},
                                     {"Johnson curve, bounded (SB)", caJohnsonTypeB},
                                     {"Johnson curve, lognormal (SL)", caJohnsonTypeL}};
  const std::string name = WordOf(kCurves, type);
  return name.empty() ? "normal curve" : name;
}

std::string AxisText(const CAProcessing* processing) {
  if (processing && processing->Normalize() == caNormalizeNominal)
    return "deviation from the middle of the limits";
  if (processing && processing->Normalize() == caNormalizeTarget)
    return "deviation from the target";
  return "value";
}

std::string SubtitleText(const CapabilityRead& capability) {
  const CAProcessing* processing = capability.processing.get();
  std::string text =
      Counted(capability.Figure("Summary", "PieceCount"), "piece", "pieces") + " in " +
      Counted(capability.Figure("Summary", "SubgroupCount"), "subgroup", "subgroups") + ", " +
      CurveName(capability.johnson_curve_type);
  if (processing && processing->AllowOverride()) text += ", limits as given for this run";
  return text;
}

// "0.135 %", small shares in parts per million.
std::string ShareText(double share) {
  if (!std::isfinite(share)) return Fixed(share, 0);
  if (share != 0.0 && share < 1e-4) return Significant(share * 1e6, 3) + " ppm";
  return Significant(share * 100.0, 4) + " %";
}

std::string PercentText(double percent) { return ShareText(percent / 100.0); }

// Makes the tables of one result.
class Tables {
 public:
  Tables(const CapabilityDocument& document, int decimals)
      : capability_(document.capability), fit_(document.fit), decimals_(decimals) {}

  std::vector<Table> Make() {
    Data();
    Limits();
    Indices();
    Beyond();
    Fit();
    Spread();
    Variance();
    NetContent();
    return std::move(tables_);
  }

 private:
  // A row of two figures.
  struct Pair {
    const char* text;
    const char* first;
    const char* second;  // null: none
  };

  double Figure(const char* record, const char* name) const {
    return capability_.Figure(record, name);
  }
  std::string Value(const char* record, const char* name) const {
    return Fixed(Figure(record, name), decimals_);
  }
  std::string Index(const char* record, const char* name) const {
    return Fixed(Figure(record, name), 3);
  }
  std::string Whole(const char* record, const char* name) const {
    return Fixed(Figure(record, name), 0);
  }
  std::string Digits(const char* record, const char* name, int digits = 5) const {
    return Significant(Figure(record, name), digits);
  }
  // A limit keeps the digits that it was given with.
  static std::string Limit(double value) { return Significant(value, 9); }

  void Data() {
    tables_.push_back({"Data",
                       {"", "#"},
                       {{"pieces", Whole("Summary", "PieceCount")},
                        {"subgroups", Whole("Summary", "SubgroupCount")},
                        {"least", Value("Summary", "Minimum")},
                        {"mean", Fixed(Figure("Summary", "Mean"), decimals_ + 1)},
                        {"greatest", Value("Summary", "Maximum")},
                        {std::string(kSigma) + " short-term", Digits("Summary", "ShortTermSD")},
                        {std::string(kSigma) + " long-term", Digits("Summary", "LongTermSD")}},
                       true});
  }

  void Limits() {
    static constexpr Pair kPairs[] = {{"URL, reasonable", "Url", "zUrl"}, {"USL", "Usl", "zUsl"},
                                      {"upper warning", "Ugb", "zUwl"},   {"target", "Tar", "zTar"},
                                      {"lower warning", "Lgb", "zLwl"},   {"LSL", "Lsl", "zLsl"},
                                      {"LRL, reasonable", "Lrl", nullptr}};
    Table table{"Limits", {"", "#value", "#Z"}, {}, true};
    for (const auto& [text, name, score] : kPairs) {
      const double limit = Figure("SpecLim", name);
      if (!std::isfinite(limit)) continue;
      table.rows.push_back(
          {text, Limit(limit), score ? Fixed(Figure("SpecResults", score), 2) : ""});
    }
    if (table.rows.empty()) table.rows.push_back({"none", "", ""});
    tables_.push_back(std::move(table));
  }

  void Indices() {
    if (!std::isfinite(Figure("SpecLim", "Usl")) && !std::isfinite(Figure("SpecLim", "Lsl")))
      return;
    static constexpr Pair kPairs[] = {{"Cp, Pp", "Cp", "Pp"},     {"Cpk, Ppk", "Cpk", "Ppk"},
                                      {"Cpu, Ppu", "Cpu", "Ppu"}, {"Cpl, Ppl", "Cpl", "Ppl"},
                                      {"Cr, Pr", "Cr", "Pr"},     {"Cpm, Ppm", "Cpm", "Ppm"}};
    Table table{"Indices", {"", "#short-term", "#long-term"}, {}, true};
    for (const auto& [text, shorter, longer] : kPairs)
      table.rows.push_back({text, Index("CPs", shorter), Index("PPs", longer)});
    table.rows.push_back({"Z bench", "", Index("Summary", "ZBench")});
    // Without a target and with one limit the distance is from the mean itself.
    const bool aim =
        std::isfinite(Figure("SpecLim", "Tar")) ||
        (std::isfinite(Figure("SpecLim", "Usl")) && std::isfinite(Figure("SpecLim", "Lsl")));
    if (aim)
      table.rows.push_back(
          {std::string("off target, in ") + kSigma, Index("CPs", "TargetRatio"), ""});
    tables_.push_back(std::move(table));
  }

  void Beyond() {
    static constexpr Pair kPairs[] = {{"above URL", "ActAboveURL", "ExpAboveURL"},
                                      {"above USL", "ActAboveUSL", "ExpAboveUSL"},
                                      {"above upper warning", "ActAboveUWL", "ExpAboveUWL"},
                                      {"above target", "ActAboveTAR", "ExpAboveTAR"},
                                      {"below target", "ActBelowTAR", "ExpBelowTAR"},
                                      {"below lower warning", "ActBelowLWL", "ExpBelowLWL"},
                                      {"below LSL", "ActBelowLSL", "ExpBelowLSL"},
                                      {"below LRL", "ActBelowLRL", "ExpBelowLRL"}};
    Table table{"Share of pieces", {"", "#observed", "#expected"}, {}, true};
    for (const auto& [text, observed, fitted] : kPairs) {
      const double actual = Figure("SpecResults", observed);
      const double expected = Figure("SpecResults", fitted);
      if (!std::isfinite(actual) && !std::isfinite(expected)) continue;
      table.rows.push_back({text, ShareText(actual), ShareText(expected)});
    }
    if (!table.rows.empty()) tables_.push_back(std::move(table));
  }

  void Fit() {
    Table table{"Tests", {"", "#statistic", "#p"}, {}, true};
    table.rows.push_back({"fit, chi-square, " + Whole("ChiSq", "DegFreedom") + " df",
                          Digits("ChiSq", "Value"), Digits("ChiSq", "Probability", 3)});
    table.rows.push_back(
        {"between subgroups, F", Digits("Anova", "FRatio"), Digits("Anova", "ProbOfF", 3)});
    tables_.push_back(std::move(table));
  }

  void Spread() {
    const auto row = [&](const char* text, const char* record, const char* name) {
      return Row{text, Digits(record, name, 6)};
    };
    tables_.push_back(
        {"Shape and spread",
         {"", "#"},
         {row("skewness", "Moments", "Skewness"),
          row("kurtosis (0 for a normal law)", "Moments", "Kurtosis"),
          row("mean absolute deviation", "Moments", "AvgDev"),
          row("variance", "Moments", "Variance"),
          row("upper standard deviation", "Summary", "UpperSD"),
          row("lower standard deviation", "Summary", "LowerSD"),
          row("coefficient of variation", "Summary", "CoOfVariation"),
          row("coefficient of robustness (about 1 for a normal law)", "Summary", "CoRobustness"),
          row("subgroup size", "Summary", "SubgroupSize")}});
    if (!fit_ || fit_->short_term.name.empty()) return;
    const Estimate& estimate = fit_->short_term;
    tables_.back().rows.push_back(
        {std::string(kSigma) + " short-term", EstimatorText(estimate.name) + BasisText(estimate)});
  }

  void Variance() {
    const auto row = [&](const char* text, const char* df, const char* ss, const char* ms) {
      return Row{text, Whole("Anova", df), Digits("Anova", ss, 8),
                 ms ? Digits("Anova", ms, 8) : ""};
    };
    tables_.push_back({"Analysis of variance by subgroup",
                       {"", "#df", "#sum of squares", "#mean square"},
                       {row("between subgroups", "DFBetween", "SSBetween", "MSBetween"),
                        row("within subgroups", "DFWithin", "SSWithin", "MSWithin"),
                        row("total", "DFTotal", "SSTotal", nullptr)}});
  }

  void NetContent() {
    struct Kind {
      const char* text;
      const char* limit;
      const char* companion;
      std::int32_t flag;  // of the companion
      const char* score;
      const char* actual;
      const char* expected;
    };
    static constexpr Kind kKinds[] = {
        {"above upper MAV", "MavU", "MavUp", kMavUp, "zMAVU", "ActAboveMAVU", "ExpAboveMAVU"},
        {"above upper T2", "T2U", "T2Up", kT2Up, "zT2U", "ActAboveT2U", "ExpAboveT2U"},
        {"above upper T1", "T1U", "T1Up", kT1Up, "zT1U", "ActAboveT1U", "ExpAboveT1U"},
        {"above stated content", "Lsc", nullptr, 0, "zLSC", "ActAboveLSC", "ExpAboveLSC"},
        {"below stated content", "Lsc", nullptr, 0, "zLSC", "ActBelowLSC", "ExpBelowLSC"},
        {"below lower T1", "T1L", "T1Lp", kT1Lp, "zT1L", "ActBelowT1L", "ExpBelowT1L"},
        {"below lower T2", "T2L", "T2Lp", kT2Lp, "zT2L", "ActBelowT2L", "ExpBelowT2L"},
        {"below lower MAV", "MavL", "MavLp", kMavLp, "zMAVL", "ActBelowMAVL", "ExpBelowMAVL"}};
    Table table{"Net content", {"", "#limit", "#Z", "#observed", "#expected", "#allowed"}, {}};
    const double word = capability_.Held("NccLim", "EFlag");
    const auto flags = std::isfinite(word) ? static_cast<std::int32_t>(word) : 0;
    for (const Kind& kind : kKinds) {
      // The shares tell whether there is such a limit: the operation of T1U itself always says yes.
      const double actual = Figure("NccResults", kind.actual);
      if (!std::isfinite(actual)) continue;
      // The flags tell whether there is a companion: two of the operations ask for another bit.
      const bool has_allowed = (flags & kind.flag) != 0;
      table.rows.push_back(
          {kind.text, Limit(Figure("NccLim", kind.limit)),
           Fixed(Figure("NccResults", kind.score), 2), PercentText(actual),
           PercentText(Figure("NccResults", kind.expected)),
           has_allowed ? PercentText(capability_.Held("NccLim", kind.companion)) : ""});
    }
    if (!table.rows.empty()) tables_.push_back(std::move(table));
  }

  const CapabilityRead& capability_;
  const std::optional<CapabilityReport>& fit_;
  int decimals_;
  std::vector<Table> tables_;
};

void AddMark(std::vector<ValueMark>& marks, double at, const std::string& name) {
  if (std::isfinite(at)) marks.push_back({at, name, name + " " + Significant(at, 9)});
}

// A limit of net content, if its score says that it exists. It speaks of values times the factor of
// its row, so its place on the axis follows from the score; side is -1 for limits below the mean of
// a good process, 1 for those above.
void AddContentMark(std::vector<ValueMark>& marks, const CapabilityRead& capability,
                    const char* limit, const char* score, const std::string& name, double side) {
  const double at =
      capability.Figure("Summary", "Mean") +
      side * capability.Figure("NccResults", score) * capability.Figure("Summary", "LongTermSD");
  if (!std::isfinite(at)) return;
  marks.push_back({at, name, name + " " + Significant(capability.Figure("NccLim", limit), 9)});
}

void AddContentMarks(std::vector<ValueMark>& marks, const CapabilityRead& capability) {
  struct Kind {
    const char* limit;
    const char* score;
    const char* name;
    double side;
  };
  static constexpr Kind kKinds[] = {{"MavL", "zMAVL", "MAV", -1.0}, {"T2L", "zT2L", "T2", -1.0},
                                    {"T1L", "zT1L", "T1", -1.0},    {"T1U", "zT1U", "T1", 1.0},
                                    {"T2U", "zT2U", "T2", 1.0},     {"MavU", "zMAVU", "MAV", 1.0}};
  for (const Kind& kind : kKinds)
    AddContentMark(marks, capability, kind.limit, kind.score, kind.name, kind.side);
}

}  // namespace

CapabilityView MakeCapabilityView(const CapabilityDocument& document, const Names& names) {
  const CapabilityRead& capability = document.capability;
  CapabilityView view;
  view.title = TitleText(capability.select.get(), names);
  view.notes = PlainNotes(document.notes);
  if (capability.Empty()) return view;
  view.subtitle = SubtitleText(capability);
  view.axis = AxisText(capability.processing.get());
  for (const auto& bin : capability.bins)
    if (std::isfinite(bin.low) && std::isfinite(bin.high) && std::isfinite(bin.height))
      view.bars.push_back({bin.low, bin.high, bin.height, bin.expected});
  if (view.bars.size() < capability.bins.size())
    view.notes.push_back({"not-finite",
                          Counted(capability.bins.size() - view.bars.size(), "bin") +
                              " without a finite number of pieces or finite ends " +
                              "cannot be drawn.",
                          ""});
  for (std::size_t i = 0; i < capability.curve_x.size(); ++i)
    view.curve.emplace_back(capability.curve_x[i], capability.curve_y[i]);
  AddMark(view.limits, capability.Figure("SpecLim", "Lrl"), "LRL");
  AddMark(view.limits, capability.Figure("SpecLim", "Lsl"), "LSL");
  AddMark(view.limits, capability.Figure("SpecLim", "Usl"), "USL");
  AddMark(view.limits, capability.Figure("SpecLim", "Url"), "URL");
  AddContentMarks(view.limits, capability);
  AddMark(view.targets, capability.Figure("SpecLim", "Tar"), "Target");
  AddContentMark(view.targets, capability, "Lsc", "zLSC", "Stated", -1.0);
  view.mean = capability.Figure("Summary", "Mean");
  view.sigma = capability.Figure("Summary", "LongTermSD");
  const double ends[] = {capability.Figure("Summary", "Minimum"),
                         capability.Figure("Summary", "Maximum")};
  view.decimals = DecimalsForLimits(DecimalsOf(ends), view.sigma);
  view.tables = Tables(document, view.decimals).Make();
  return view;
}

Range ValueRange(const CapabilityView& view) {
  if (view.bars.empty()) return {0.0, 1.0};
  // An axis whose length is no number shows nothing at all; what lies beyond this one is left out.
  constexpr double kFurthest = std::numeric_limits<double>::max() / 4.0;
  const double low = std::clamp(view.bars.front().low, -kFurthest, kFurthest);
  const double high = std::clamp(view.bars.back().high, -kFurthest, kFurthest);
  Range range{low, high};
  for (const auto* marks : {&view.limits, &view.targets})
    for (const auto& mark : *marks) {
      if (!(std::abs(mark.at) <= kFurthest)) continue;
      const Range wider{std::min(range.low, mark.at), std::max(range.high, mark.at)};
      if (wider.high - wider.low <= 2.5 * (high - low)) range = wider;
    }
  // A bin without width is still to be seen.
  if (!(range.high > range.low)) {
    const double margin = range.low + 0.5 > range.low ? 0.5 : std::abs(range.low) * 1e-6;
    range = {range.low - margin, range.low + margin};
  }
  const double margin = 0.02 * (range.high - range.low);
  return {range.low - margin, range.high + margin};
}

double MostPieces(const CapabilityView& view) {
  double most = 1.0;
  for (const auto& bar : view.bars)
    if (std::isfinite(bar.count)) most = std::max(most, bar.count);
  for (const auto& [x, y] : view.curve)
    if (std::isfinite(y)) most = std::max(most, y);
  return most;
}

}  // namespace orvspc::render
