// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <optional>

#include "host/render/capability/Capability.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/Words.h"
#include "platform/Enumerations.h"

namespace orvspc::render {

namespace {

// Bits of the flags of net contents: is a percentage of packages allowed beyond that limit?
constexpr std::int32_t kMavLp = 2, kMavUp = 32, kT1Lp = 512, kT2Lp = 2048, kT1Up = 8192,
                       kT2Up = 32768;

constexpr const char* kShortTerm = "\xCF\x83 short-term";

std::string CountText(double count, const std::string& one) {
  return Fixed(count, 0) + " " + one + (count == 1.0 ? "" : "s");
}

std::string CurveName(std::int32_t type) {
  static constexpr Word kCurves[] = {{"Johnson curve, unbounded (SU)", caJohnsonTypeU},
                                     {"Johnson curve, bounded (SB)", caJohnsonTypeB},
                                     {"Johnson curve, lognormal (SL)", caJohnsonTypeL}};
  const std::string name = WordOf(kCurves, type);
  return name.empty() ? "normal curve" : name;
}

std::string AxisText(const CAProcessing* processing) {
  const auto normalize = processing ? processing->Normalize() : caNormalizeNone;
  if (normalize == caNormalizeNominal) return "deviation from the middle of the limits";
  return normalize == caNormalizeTarget ? "deviation from the target" : "value";
}

std::string SubtitleText(const CapabilityRead& capability) {
  const CAProcessing* processing = capability.processing.get();
  return CountText(capability.Figure("Summary.PieceCount"), "piece") + " in " +
         CountText(capability.Figure("Summary.SubgroupCount"), "subgroup") + ", " +
         CurveName(capability.johnson_curve_type) +
         (processing && processing->AllowOverride() ? ", limits as given for this run" : "");
}

// "0.135 %", small shares in parts per million. whole: what the value is a share of, 1 or 100.
std::string ShareText(double value, int whole) {
  const double share = value / whole;
  if (std::isfinite(share) && share != 0.0 && share < 1e-4)
    return Significant(share * 1e6, 3) + " ppm";
  return std::isfinite(share) ? Significant(share * 100.0, 4) + " %" : Fixed(share, 0);
}

struct Cell {
  double value = kNaN;
  std::string text = {};
};
struct Line {
  std::string text;
  std::vector<Cell> cells;
};

// needed: a line that has no number in these cells is left out.
Table Filled(Table table, const std::vector<Line>& lines,
             const std::vector<std::size_t>& needed = {}) {
  for (const Line& line : lines) {
    if (!needed.empty() && std::none_of(needed.begin(), needed.end(), [&](std::size_t cell) {
          return std::isfinite(line.cells[cell].value);
        }))
      continue;
    table.rows.push_back({line.text});
    for (const Cell& cell : line.cells) table.rows.back().push_back(cell.text);
  }
  return table;
}

// Everything that text and page show below the histogram; what is beside the picture comes first. A
// new figure is a new line of its table. A figure of the report comes from document.fit and is left
// out where that is null.
// decimals: of values; the mean has one more.
std::vector<Table> TablesOf(const CapabilityDocument& document, int decimals) {
  const CapabilityRead& read = document.capability;
  const auto written = [&read](std::string (*write)(double, int), int digits) {
    return [&read, write, digits](std::string_view figure) {
      const double value = read.Figure(figure);
      return Cell{value, write(value, digits)};
    };
  };
  const auto whole = written(Fixed, 0), value = written(Fixed, decimals),
             mean = written(Fixed, decimals + 1), score = written(Fixed, 2),
             index = written(Fixed, 3);
  const auto digits3 = written(Significant, 3), digits5 = written(Significant, 5),
             digits6 = written(Significant, 6), digits8 = written(Significant, 8);
  const auto limit = written(Significant, 9);  // keeps the digits that it was given with
  const auto share = written(ShareText, 1), percent = written(ShareText, 100);
  const double flags = read.Find("NccLim.EFlag").held;
  // The flags show whether there is a companion: two of the operations ask for another bit.
  const auto allowed = [&](std::int32_t flag, std::string_view figure) {
    const bool is_set = std::isfinite(flags) && (static_cast<std::int32_t>(flags) & flag) != 0;
    return Cell{kNaN, is_set ? ShareText(read.Find(figure).held, 100) : ""};
  };
  const bool has_usl = std::isfinite(read.Figure("SpecLim.Usl")),
             has_lsl = std::isfinite(read.Figure("SpecLim.Lsl"));

  std::vector<Table> tables;
  tables.push_back(Filled({.title = "Data", .headings = {"", "#"}, .beside = true},
                          {{"pieces", {whole("Summary.PieceCount")}},
                           {"subgroups", {whole("Summary.SubgroupCount")}},
                           {"least", {value("Summary.Minimum")}},
                           {"mean", {mean("Summary.Mean")}},
                           {"greatest", {value("Summary.Maximum")}},
                           {kShortTerm, {digits5("Summary.ShortTermSD")}},
                           {"\xCF\x83 long-term", {digits5("Summary.LongTermSD")}}}));
  tables.push_back(Filled({.title = "Limits", .headings = {"", "#value", "#Z"}, .beside = true},
                          {{"URL, reasonable", {limit("SpecLim.Url"), score("SpecResults.zUrl")}},
                           {"USL", {limit("SpecLim.Usl"), score("SpecResults.zUsl")}},
                           {"upper warning", {limit("SpecLim.Ugb"), score("SpecResults.zUwl")}},
                           {"target", {limit("SpecLim.Tar"), score("SpecResults.zTar")}},
                           {"lower warning", {limit("SpecLim.Lgb"), score("SpecResults.zLwl")}},
                           {"LSL", {limit("SpecLim.Lsl"), score("SpecResults.zLsl")}},
                           {"LRL, reasonable", {limit("SpecLim.Lrl"), {}}}},
                          {0}));
  if (tables.back().rows.empty()) tables.back().rows.push_back({"none", "", ""});
  if (has_usl || has_lsl) {
    std::vector<Line> lines = {{"Cp, Pp", {index("CPs.Cp"), index("PPs.Pp")}},
                               {"Cpk, Ppk", {index("CPs.Cpk"), index("PPs.Ppk")}},
                               {"Cpu, Ppu", {index("CPs.Cpu"), index("PPs.Ppu")}},
                               {"Cpl, Ppl", {index("CPs.Cpl"), index("PPs.Ppl")}},
                               {"Cr, Pr", {index("CPs.Cr"), index("PPs.Pr")}},
                               {"Cpm, Ppm", {index("CPs.Cpm"), index("PPs.Ppm")}},
                               {"Z bench", {{}, index("Summary.ZBench")}}};
    // Without a target and with one limit the distance is from the mean itself.
    if ((has_usl && has_lsl) || std::isfinite(read.Figure("SpecLim.Tar")))
      lines.push_back({"off target, in \xCF\x83", {index("CPs.TargetRatio"), {}}});
    tables.push_back(
        Filled({.title = "Indices", .headings = {"", "#short-term", "#long-term"}, .beside = true},
               lines));
  }
  const auto beyond = [&](const std::string& text, const std::string& place) {
    return Line{text, {share("SpecResults.Act" + place), share("SpecResults.Exp" + place)}};
  };
  tables.push_back(Filled(
      {.title = "Share of pieces", .headings = {"", "#observed", "#expected"}, .beside = true},
      {beyond("above URL", "AboveURL"), beyond("above USL", "AboveUSL"),
       beyond("above upper warning", "AboveUWL"), beyond("above target", "AboveTAR"),
       beyond("below target", "BelowTAR"), beyond("below lower warning", "BelowLWL"),
       beyond("below LSL", "BelowLSL"), beyond("below LRL", "BelowLRL")},
      {0, 1}));
  tables.push_back(
      Filled({.title = "Tests", .headings = {"", "#statistic", "#p"}, .beside = true},
             {{"fit, chi-square, " + whole("ChiSq.DegFreedom").text + " df",
               {digits5("ChiSq.Value"), digits3("ChiSq.Probability")}},
              {"between subgroups, F", {digits5("Anova.FRatio"), digits3("Anova.ProbOfF")}}}));
  tables.push_back(
      Filled({"Shape and spread", {"", "#"}},
             {{"skewness", {digits6("Moments.Skewness")}},
              {"kurtosis (0 for a normal distribution)", {digits6("Moments.Kurtosis")}},
              {"mean absolute deviation", {digits6("Moments.AvgDev")}},
              {"variance", {digits6("Moments.Variance")}},
              {"upper standard deviation", {digits6("Summary.UpperSD")}},
              {"lower standard deviation", {digits6("Summary.LowerSD")}},
              {"coefficient of variation", {digits6("Summary.CoOfVariation")}},
              {"coefficient of robustness (about 1 for a normal distribution)",
               {digits6("Summary.CoRobustness")}},
              {"subgroup size", {digits6("Summary.SubgroupSize")}}}));
  if (document.fit && !document.fit->short_term.name.empty()) {
    const Estimate& estimate = document.fit->short_term;
    tables.back().rows.push_back({kShortTerm, EstimatorText(estimate.name) + BasisText(estimate)});
  }
  tables.push_back(
      Filled({"Analysis of variance by subgroup", {"", "#df", "#sum of squares", "#mean square"}},
             {{"between subgroups",
               {whole("Anova.DFBetween"), digits8("Anova.SSBetween"), digits8("Anova.MSBetween")}},
              {"within subgroups",
               {whole("Anova.DFWithin"), digits8("Anova.SSWithin"), digits8("Anova.MSWithin")}},
              {"total", {whole("Anova.DFTotal"), digits8("Anova.SSTotal"), {}}}}));
  const auto content = [&](const std::string& text, const std::string& name,
                           const std::string& side, const std::string& at, const Cell& companion) {
    return Line{
        text,
        {limit("NccLim." + name), score("NccResults.z" + at), percent("NccResults.Act" + side + at),
         percent("NccResults.Exp" + side + at), companion}};
  };
  // The shares show whether there is such a limit: the operation of T1U itself always says yes.
  tables.push_back(
      Filled({"Net content", {"", "#limit", "#Z", "#observed", "#expected", "#allowed"}},
             {content("above upper MAV", "MavU", "Above", "MAVU", allowed(kMavUp, "NccLim.MavUp")),
              content("above upper T2", "T2U", "Above", "T2U", allowed(kT2Up, "NccLim.T2Up")),
              content("above upper T1", "T1U", "Above", "T1U", allowed(kT1Up, "NccLim.T1Up")),
              content("above stated content", "Lsc", "Above", "LSC", {}),
              content("below stated content", "Lsc", "Below", "LSC", {}),
              content("below lower T1", "T1L", "Below", "T1L", allowed(kT1Lp, "NccLim.T1Lp")),
              content("below lower T2", "T2L", "Below", "T2L", allowed(kT2Lp, "NccLim.T2Lp")),
              content("below lower MAV", "MavL", "Below", "MAVL", allowed(kMavLp, "NccLim.MavLp"))},
             {2}));
  std::erase_if(tables, [](const Table& table) { return table.rows.empty(); });
  return tables;
}

// What the picture marks on its axis. Limits of net content apply to a value times the factor of
// its row, so their place follows from the score; side is -1 for limits below the mean of a good
// process, 1 for those above.
void AddMarks(const CapabilityRead& capability, CapabilityView& view) {
  struct Kind {
    const char* name;
    const char* limit;
    const char* score = nullptr;
    double side = 0.0;
    bool is_target = false;
  };
  static constexpr Kind kKinds[] = {{"LRL", "SpecLim.Lrl"},
                                    {"LSL", "SpecLim.Lsl"},
                                    {"USL", "SpecLim.Usl"},
                                    {"URL", "SpecLim.Url"},
                                    {"MAV", "NccLim.MavL", "NccResults.zMAVL", -1.0},
                                    {"T2", "NccLim.T2L", "NccResults.zT2L", -1.0},
                                    {"T1", "NccLim.T1L", "NccResults.zT1L", -1.0},
                                    {"T1", "NccLim.T1U", "NccResults.zT1U", 1.0},
                                    {"T2", "NccLim.T2U", "NccResults.zT2U", 1.0},
                                    {"MAV", "NccLim.MavU", "NccResults.zMAVU", 1.0},
                                    {"Target", "SpecLim.Tar", nullptr, 0.0, true},
                                    {"Stated", "NccLim.Lsc", "NccResults.zLSC", -1.0, true}};
  for (const Kind& kind : kKinds) {
    const double limit = capability.Figure(kind.limit);
    const double at =
        kind.score ? view.mean + kind.side * capability.Figure(kind.score) * view.sigma : limit;
    if (std::isfinite(at))
      (kind.is_target ? view.targets : view.limits)
          .push_back({at, std::string(kind.name) + " " + Significant(limit, 9)});
  }
}

// The decimals of the specification row; none without one, or where values are shown as deviations.
std::optional<int> ScaleOf(const CapabilityRead& capability) {
  const auto* const processing = capability.processing.get();
  const bool deviates = processing != nullptr && processing->Normalize() != caNormalizeNone;
  const double scale = capability.Find("SpecLim.Scale").held;
  if (deviates || !(capability.Find("SpecLim.EFlag").held > 0.0) || !std::isfinite(scale)) {
    return std::nullopt;
  }
  return std::max(static_cast<int>(scale), 0);
}

}  // namespace

CapabilityView MakeCapabilityView(const CapabilityDocument& document, const Names& names) {
  const CapabilityRead& capability = document.capability;
  CapabilityView view;
  const std::string selected = SelectedText(capability.select.get(), names);
  view.title = "Capability" + (selected.empty() ? "" : ": " + selected);
  view.notes = PlainNotes(document.notes);
  if (capability.Empty()) return view;
  view.subtitle = SubtitleText(capability);
  view.axis = AxisText(capability.processing.get());
  for (const auto& bin : capability.bins)
    if (std::isfinite(bin.low) && std::isfinite(bin.high) && std::isfinite(bin.count))
      view.bars.push_back(bin);
  if (view.bars.size() < capability.bins.size())
    view.notes.push_back({"not-finite",
                          Counted(capability.bins.size() - view.bars.size(), "bin") +
                              " without a finite number of pieces or finite ends " +
                              "cannot be drawn.",
                          ""});
  for (std::size_t i = 0; i < capability.curve_x.size(); ++i)
    view.curve.emplace_back(capability.curve_x[i], capability.curve_y[i]);
  view.mean = capability.Figure("Summary.Mean");
  view.sigma = capability.Figure("Summary.LongTermSD");
  AddMarks(capability, view);
  const double ends[] = {capability.Figure("Summary.Minimum"),
                         capability.Figure("Summary.Maximum")};
  view.decimals = DecimalsForLimits(DecimalsOf(ends), view.sigma);
  const auto scale = ScaleOf(capability);
  view.tables = TablesOf(document, scale.value_or(view.decimals));
  if (!scale) return view;
  // Bins must be told apart, whatever the scale.
  view.mean_decimals = *scale + 1;
  view.decimals = std::max(view.decimals, view.mean_decimals);
  return view;
}

Range ValueRange(const CapabilityView& view) {
  if (view.bars.empty()) return {0.0, 1.0};
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

}  // namespace orvspc::render
