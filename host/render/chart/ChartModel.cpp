// SPDX-License-Identifier: Apache-2.0
#include "host/render/chart/Chart.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <memory>
#include <set>
#include <utility>

#include "host/render/chart/ChartPhases.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "platform/TimeStamp.h"

namespace orvspc::render {

namespace {

struct Title {
  const char* word;
  const char* symbol;
  const char* text;
};
constexpr Title kTitles[] = {
    {"xbar", "X-bar", "X-bar: subgroup means"},
    {"median", "Median", "Median: subgroup medians"},
    {"individuals", "X", "X: individuals"},
    {"moving-average", "MA", "MA: moving average of 3"},
    {"pre-control", "PC", "Pre-control: piece farthest from the target"},
    {"ppt", "ppt", "ppt: defective units in a thousand"},
    {"dpto", "dpto", "dpto: defects in a thousand opportunities"},
    {"ppm", "ppm", "ppm: defective units in a million"},
    {"dpmo", "dpmo", "dpmo: defects in a million opportunities"},
    {"np", "np", "np: defective units"},
    {"p", "p", "p: share of defective units"},
    {"c", "c", "c: defects"},
    {"u", "u", "u: defects a unit"},
    {"range", "R", "R: ranges"},
    {"sd", "S", "S: standard deviations"},
    {"mr", "MR", "MR: moving ranges"},
    {"cv", "CV", "CV: coefficients of variation"},
};

Title TitleOf(const std::string& word) {
  for (const auto& title : kTitles)
    if (word == title.word) return title;
  return {"", "graph", "graph"};
}

// No upper limit of a share is above 1; the rest is rounding.
bool IsAboveShares(double limit) { return std::isfinite(limit) && limit > 1.0 + 1e-9; }

// Shares and numbers of defectives have one type in a result. Who does not know what was asked for
// has the figures alone: limits above 1 are of numbers, and points that are not whole are of
// shares.
Title ShareOrNumber(const GraphRead& graph, const CCProcessing& processing) {
  // Neither is a cusum drawn of numbers nor are its limits those of the points.
  if (processing.Cusum() != ccCusumNone) return TitleOf("p");
  for (const auto* upper : {&graph.ucls, &graph.c_ucls})
    if (std::ranges::any_of(*upper, IsAboveShares)) return TitleOf("np");
  const bool averaged = processing.EWMA() == ccEwmaStandard;
  const auto broken = [](double point) {
    return std::isfinite(point) && point != std::floor(point);
  };
  if (!averaged && std::ranges::any_of(graph.points, broken)) return TitleOf("p");
  return {"", "p or np", "p or np: defective units, as a share or as a number"};
}

// A best guess was not asked for by name; then the answer gives the title.
Title TitleOf(const GraphRead& graph, std::int32_t requested, const CCProcessing& processing) {
  if (requested == kNotKnown && graph.index == 1 && graph.type == ccGraph1P)
    return ShareOrNumber(graph, processing);
  const bool guessed = requested == 0 || requested == kNotKnown ||
                       (graph.index == 1 && requested == ccGraph1BestGuessAttribute);
  return TitleOf(GraphWord(graph.index, guessed ? graph.type : requested));
}

using StreamKey = std::array<std::int32_t, 3>;

StreamKey KeyOf(const SubgroupRow& row) { return {row.part, row.prcs, row.test}; }

// "Ring / 2 processes / Diameter"
std::string TitleText(const std::vector<SubgroupRow>& rows, const Names& names) {
  if (rows.empty()) return "Control chart";
  std::array<std::set<std::int32_t>, 3> distinct;
  for (const auto& row : rows) {
    const StreamKey key = KeyOf(row);
    for (std::size_t k = 0; k < key.size(); ++k) distinct[k].insert(key[k]);
  }
  static constexpr NameKind kKinds[] = {NameKind::Part, NameKind::Process, NameKind::Test};
  static constexpr const char* kPlurals[] = {" parts", " processes", " tests"};
  std::vector<std::string> texts;
  for (std::size_t k = 0; k < distinct.size(); ++k)
    texts.push_back(distinct[k].size() == 1 ? NameOrNumber(names, kKinds[k], *distinct[k].begin())
                                            : std::to_string(distinct[k].size()) + kPlurals[k]);
  return Joined(texts, " / ");
}

// With the estimator's name in the words of the field.
Estimate Worded(Estimate estimate) {
  estimate.name = EstimatorText(estimate.name);
  return estimate;
}

void AddStreams(ChartView& view, const ChartDocument& document, const Names& names) {
  std::map<StreamKey, std::int32_t> places;
  view.streams.reserve(document.chart.subgroups.rows.size());
  for (const auto& row : document.chart.subgroups.rows) {
    const auto [found, added] =
        places.emplace(KeyOf(row), static_cast<std::int32_t>(view.stream_views.size()));
    if (added) {
      StreamView& stream = view.stream_views.emplace_back();
      stream.name = StreamName(names, row.part, row.prcs, row.test);
      stream.mean.value = stream.sp.value = stream.sw.value = kNaN;
    }
    view.streams.push_back(found->second);
  }
  // Without the engine's report the result itself gives what it estimated, if for a single stream.
  const ChartRead& chart = document.chart;
  if (document.streams.empty() && view.stream_views.size() == 1 && chart.processing &&
      chart.processing->IsVariable()) {
    view.stream_views[0].mean.value = chart.mean_estimate;
    view.stream_views[0].sp.value = chart.sp_estimate;
    view.stream_views[0].sw.value = chart.sw_estimate;
  }
  for (const auto& read : document.streams) {
    const auto found = places.find({read.part, read.process, read.test});
    if (found == places.end()) continue;
    StreamView& stream = view.stream_views[static_cast<std::size_t>(found->second)];
    stream.mean = Worded(read.mean);
    stream.sp = Worded(read.sp);
    stream.sw = Worded(read.sw);
  }
}

// "n = 5" or "n = 3 to 5"
std::string SizeText(const std::vector<std::int32_t>& sizes) {
  std::vector<std::int32_t> given;
  std::copy_if(sizes.begin(), sizes.end(), std::back_inserter(given),
               [](std::int32_t size) { return size > 0; });
  if (given.empty()) return {};
  const auto [least, largest] = std::minmax_element(given.begin(), given.end());
  return *least == *largest ? fmt::format("n = {}", *least)
                            : fmt::format("n = {} to {}", *least, *largest);
}

std::string EstimateText(const Estimate& estimate) {
  if (!std::isfinite(estimate.value) || estimate.name.empty()) return {};
  std::string text = "sigma " + Significant(estimate.value, 6) + " by " + estimate.name;
  if (!std::isfinite(estimate.constant) || estimate.constant == 0.0) return text;
  return fmt::format("{}, {} = {}", text,
                     estimate.constant_name.empty() ? "constant" : estimate.constant_name,
                     Significant(estimate.constant, 7));
}

// For each row of stored limits, and at the end for none, how many points it is in force at.
std::vector<std::size_t> RowUse(const ChartDocument& document) {
  std::vector<std::size_t> use(document.chart.ctrl_lims.size() + 1);
  if (document.limit_rows.empty()) use.back() = document.chart.subgroups.rows.size();
  for (const std::int32_t row : document.limit_rows)
    ++(row < 0 ? use.back() : use.at(static_cast<std::size_t>(row)));
  return use;
}

bool IsOfCounts(const GraphRead& graph) {
  return graph.index == 1 && graph.type >= ccGraph1BestGuessAttribute && graph.type <= ccGraph1U;
}

// "stored limits from 2024-01-01 10:00: mean 10.05, sigma 0.5"
std::string StoredText(const LimitRow& row, const GraphRead& graph) {
  const double mean = NumberOf(row, "F_MEAN");
  const double sp = NumberOf(row, "F_SP"), sw = NumberOf(row, "F_SW");
  const std::int32_t from = platform::DateToTimeStamp(NumberOf(row, "F_EFTM"));
  std::string text = "stored limits";
  if (from != INT32_MIN) text += " from " + DayText(from) + " " + ClockText(from);
  text += ": ";
  if (IsOfCounts(graph)) return text + "mean " + Significant(mean, 7);
  if (graph.index == 1) text += "mean " + Significant(mean, 7) + ", ";
  if (graph.index == 2 && graph.type == ccGraph2Cv)
    return text + (sp > 0.0 && mean > 0.0 ? "gamma = sigma/mean = " + Significant(sp / mean, 6)
                                          : "gamma from the points");
  const double sigma = graph.index == 3 && sw > 0.0 ? sw : sp;
  return text + (sigma > 0.0 ? "sigma " + Significant(sigma, 6) : "sigma from the points");
}

// What the calculated limits of the only stream rest on.
std::string CalculatedText(const StreamView& stream, const GraphRead& graph,
                           const ChartRead& chart) {
  if (IsOfCounts(graph)) {
    if (!std::isfinite(stream.mean.value) || stream.mean.name.empty()) return {};
    return "mean " + Significant(stream.mean.value, 6) + " by " + stream.mean.name;
  }
  if (graph.index == 2 && graph.type == ccGraph2Cv) return "gamma from the mean of (s/x-bar)/c4";
  // Moving ranges are judged by what they are themselves, which no result gives.
  if (graph.index == 2 && graph.type == ccGraph2Mr && stream.sp.name.ends_with("(ar1)"))
    return "limits not widened";
  // Ranges and deviations below single points show the pieces inside the subgroups, not what lies
  // between these. Where graph 3 looks inside the pieces no result gives that figure.
  const bool inside =
      graph.index == 2 && graph.type != ccGraph2Mr && chart.processing->Graph1Type() == ccGraph1Ix;
  if (inside && chart.graphs.size() > 2) return {};
  return EstimateText(graph.index == 3 || inside ? stream.sw : stream.sp);
}

std::string LimitsText(const ChartView& view, const GraphRead& graph,
                       const ChartDocument& document) {
  const ChartRead& chart = document.chart;
  if (!chart.tables_known) return {};
  const auto use = RowUse(document);
  const std::size_t calculated = use.back();
  const std::size_t rows = static_cast<std::size_t>(
      std::count_if(use.begin(), use.end() - 1, [](std::size_t points) { return points > 0; }));
  if (view.stream_views.size() > 1) {
    if (rows == 0) return "limits of each stream's own";
    if (calculated == 0) return "stored limits of each stream";
    return fmt::format("stored limits at {}, elsewhere limits of each stream's own",
                       Counted(view.Count() - calculated, "point"));
  }
  std::string own = view.phases.size() > 1 ? std::string("limits of each phase's own")
                                           : CalculatedText(view.stream_views[0], graph, chart);
  if (rows == 0) return own;
  std::string text;
  if (calculated > 0) text = "first " + std::to_string(calculated) + " calculated (" + own + "); ";
  if (rows > 2) {
    text += std::to_string(rows) + " stored limits one after the other";
  } else {
    std::vector<std::string> stored;
    for (std::size_t r = 0; r + 1 < use.size(); ++r)
      if (use[r] != 0) stored.push_back(StoredText(chart.ctrl_lims[r], graph));
    text += Joined(stored, "; ");
  }
  if (calculated == 0 && !own.empty() && view.phases.size() < 2)
    text += " (of these points: " + own + ")";
  return text;
}

// "limits by the distribution, alpha 0.0027"; empty where all are of three sigmas.
std::string ExactText(const ChartDocument& document) {
  std::set<std::string> texts;
  for (const auto& options : document.options) {
    const auto value = [&](const char* key) {
      const auto found = std::ranges::find(options, key, &ResolvedOption::key);
      return found == options.end() ? decltype(ResolvedOption::value)() : found->value;
    };
    if (value("Limits") != decltype(ResolvedOption::value)(std::string("probability"))) {
      texts.insert("");
    } else {
      texts.insert("limits by the distribution, alpha " +
                   Significant(std::get<double>(value("Alpha")), 6));
    }
  }
  if (texts.size() < 2) return texts.empty() ? std::string() : *texts.begin();
  return "limits of some streams by the distribution";
}

// "60 subgroups", or with disabled ones "60 subgroups, 57 used"
std::string CountText(const ChartView& view) {
  std::size_t used = 0;
  for (std::size_t i = 0; i < view.Count(); ++i) used += view.Used(i);
  return Counted(view.Count(), "subgroup") +
         (used == view.Count() ? "" : fmt::format(", {} used", used));
}

std::string CaptionOf(const ChartView& view, const GraphRead& graph,
                      const ChartDocument& document) {
  std::vector<std::string> pieces;
  if (graph.index == 1) pieces.push_back(CountText(view));
  pieces.push_back(SizeText(graph.sg_sizes));
  if (graph.index == 1 && document.chart.processing->Cusum() != ccCusumNone)
    pieces.emplace_back("cusum in sigmas, k = 0.5, h = 5");
  else if (IsOfCounts(graph) && document.chart.processing->EWMA() == ccEwmaStandard)
    pieces.emplace_back("weight 0.2 of the newest point");
  if (graph.index != 1 || graph.type != ccGraph1Pc)
    pieces.push_back(LimitsText(view, graph, document));
  if (IsOfCounts(graph)) pieces.push_back(ExactText(document));
  return Joined(pieces, ", ");
}

double Spread(const GraphRead& graph) {
  for (std::size_t i = 0; i < graph.ucls.size() && i < graph.cls.size(); ++i)
    if (std::isfinite(graph.ucls[i] - graph.cls[i])) return graph.ucls[i] - graph.cls[i];
  return kNaN;
}

constexpr int kMaxDecimals = 6;  // of values, unless a specification says more

// Decimals of the values: those of the specification rows, and the most that a value has of a part
// and test without one.
int DataDecimals(const ChartRead& chart) {
  std::set<std::pair<std::int32_t, std::int32_t>> specified;
  for (const auto& row : chart.spec_lims) {
    specified.emplace(static_cast<std::int32_t>(NumberOf(row, "F_PART")),
                      static_cast<std::int32_t>(NumberOf(row, "F_TEST")));
  }
  std::vector<double> values;
  for (const auto& row : chart.subgroups.rows) {
    // A stored result has the decimals of its rows alone.
    if (chart.decimals && (!chart.tables_known || specified.contains({row.part, row.test}))) {
      continue;
    }
    // The value of a piece with readings may be their mean, of any number of digits.
    std::set<std::int32_t> with_readings;
    for (const auto& test : row.tests)
      if (test.sbno != 0) with_readings.insert(test.tsno);
    for (const auto& test : row.tests)
      if (test.sbno != 0 || !with_readings.contains(test.tsno)) values.push_back(test.value);
  }
  return std::max(chart.decimals.value_or(0), std::min(DecimalsOf(values), kMaxDecimals));
}

// Limits have one decimal more than the values, and points that are no values, such as means.
// Shares, rates and sigmas are in another unit than the values: theirs follow from the limits.
void SetDecimals(GraphView& made, const GraphRead& graph, const ChartRead& chart,
                 int data_decimals) {
  const auto& processing = *chart.processing;
  const bool of_counts = IsOfCounts(graph);
  const bool averaged = of_counts && processing.EWMA() == ccEwmaStandard;
  const bool other_unit = (graph.index == 1 && processing.Cusum() != ccCusumNone) ||
                          (of_counts && graph.type != ccGraph1C) || averaged ||
                          (graph.index == 2 && graph.type == ccGraph2Cv);
  if (other_unit) {
    made.decimals = DecimalsForLimits(data_decimals, Spread(graph));
    return;
  }
  made.decimals = data_decimals + 1;
  // Values of endless digits may differ in later ones alone.
  if (!chart.decimals && data_decimals == kMaxDecimals)
    made.decimals = std::max(made.decimals, DecimalsForLimits(data_decimals, Spread(graph)));
  const bool of_values =
      graph.index == 1
          ? graph.type == ccGraph1Ix || graph.type == ccGraph1Pc || graph.type == ccGraph1C
      : graph.index == 2 ? graph.type == ccGraph2Range || graph.type == ccGraph2Mr
                         : graph.type == ccGraph3Range;
  if (of_values) made.point_decimals = made.decimals - 1;
}

// The rules behind the bits of a point: those that the result names, in its order, then those that
// it cannot name. Rule 31 is numbered as 15, whose bit it shares: the bit alone must mean the same.
std::vector<Rule> HitsOf(std::int32_t bits, const std::vector<Rule>* rules) {
  std::vector<Rule> hits;
  auto left = static_cast<std::uint32_t>(bits);
  for (std::size_t r = 0; rules != nullptr && r < rules->size(); ++r) {
    const Rule& rule = (*rules)[r];
    const std::int32_t number = rule.number == 31 ? 15 : rule.number;
    const std::uint32_t bit = std::uint32_t{1} << number;
    if ((left & bit) == 0) continue;
    hits.push_back({number, PlainText(rule.text)});
    left &= ~bit;
  }
  for (std::int32_t number = 0; left != 0; ++number, left >>= 1)
    if ((left & 1U) != 0) hits.push_back({number, ""});
  return hits;
}

std::vector<PointMark> MarksOf(const GraphRead& graph) {
  std::vector<PointMark> marks;
  for (std::size_t i = 0; i < graph.points.size(); ++i) {
    PointMark mark;
    mark.point = i;
    if (i < graph.oocs.size() && graph.oocs[i] != 0) {
      const auto named = graph.rules.at.find(i);
      mark.rules = HitsOf(graph.oocs[i], named == graph.rules.at.end() ? nullptr : &named->second);
    }
    if (i < graph.ooss.size()) mark.specifications = SpecificationTexts(graph.ooss[i]);
    if (!mark.rules.empty() || !mark.specifications.empty()) marks.push_back(std::move(mark));
  }
  return marks;
}

std::string TitleWithEwma(const GraphRead& graph, const Title& title, std::int32_t ewma) {
  if (IsOfCounts(graph) && ewma == ccEwmaStandard) return std::string("EWMA of ") + title.symbol;
  if (IsOfCounts(graph) && ewma == ccEwmaWanderingMean)
    return std::string(title.text) + ", about the EWMA of the points before";
  return title.text;
}

// Moves the points and their lines out of the graph.
GraphView MakeGraph(const ChartView& view, GraphRead& graph, const ChartDocument& document,
                    int data_decimals) {
  GraphView made;
  const auto& processing = *document.chart.processing;
  const Title title = TitleOf(graph, document.requested[graph.index - 1], processing);
  const bool cusum = graph.index == 1 && processing.Cusum() != ccCusumNone;
  made.title = cusum ? std::string("Cusum of ") + title.symbol
                     : TitleWithEwma(graph, title, processing.EWMA());
  made.symbol = title.symbol;
  made.from_zero = !cusum && (graph.index != 1 || IsOfCounts(graph));
  made.marks = MarksOf(graph);
  made.caption = CaptionOf(view, graph, document);
  SetDecimals(made, graph, document.chart, data_decimals);
  made.points = std::move(graph.points);
  made.sizes = std::move(graph.sg_sizes);
  // A missing value is known by its size 0, not by its number.
  for (std::size_t i = 0; i < made.points.size() && i < made.sizes.size(); ++i)
    if (made.sizes[i] == 0 && processing.IsVariable()) made.points[i] = kNaN;
  made.limits = {std::move(graph.ucls), std::move(graph.cls), std::move(graph.lcls)};
  for (const auto& each : document.provisional)
    for (const auto& lines : each.lines)
      if (lines.graph == graph.index)
        made.provisional.push_back({lines.upper, lines.centre, lines.lower});
  // The axis of a cusum is in sigmas, specification limits are not.
  if (!cusum) {
    made.specification = {std::move(graph.usls), std::move(graph.targets), std::move(graph.lsls)};
  }
  return made;
}

// What was typed at the points: comments, each once though several tests may share it, and codes.
void AddTexts(ChartView& view, ChartRead& chart, const Names& names) {
  std::set<std::pair<std::int32_t, std::string>> known;
  for (std::size_t i = 0; i < chart.subgroups.rows.size(); ++i) {
    const SubgroupRow& row = chart.subgroups.rows[i];
    if (!row.remarks) continue;
    const auto texts = TextsOf(row, names);
    for (const auto& comment : texts.comments)
      if (known.emplace(row.sgrp, NumberedText(comment)).second)
        view.comments.push_back({i, comment.text, comment.id});
    if (!texts.codes.empty()) view.codes.push_back({i, texts.codes, 0});
  }
  const auto rows =
      std::make_shared<const std::vector<SubgroupRow>>(std::move(chart.subgroups.rows));
  view.texts = [rows, names](std::size_t point) { return TextsOf((*rows)[point], names); };
}

}  // namespace

ChartView MakeChartView(ChartDocument document, const Names& names) {
  ChartRead& chart = document.chart;
  ChartView view;
  AddStreams(view, document, names);
  if (chart.Grouped()) view.groups = std::move(chart.groups);
  view.stamps.reserve(chart.subgroups.rows.size());
  view.subgroups.reserve(chart.subgroups.rows.size());
  view.flags.reserve(chart.subgroups.rows.size());
  for (const auto& row : chart.subgroups.rows) {
    view.stamps.push_back(row.stamp);
    view.subgroups.push_back(row.sgrp);
    if (!row.left_out.empty()) view.left_out.push_back(view.flags.size());
    view.flags.push_back(row.flag);
  }
  AddPhases(view, document);
  view.title = TitleText(chart.subgroups.rows, names);
  if (view.Count() != 0) {
    const std::int64_t first = view.stamps.front(), last = view.stamps.back();
    view.subtitle = fmt::format("{}, {} {} to {} {} UTC", CountText(view), DayText(first),
                                ClockText(first), DayText(last), ClockText(last));
  }
  const int decimals = DataDecimals(chart);
  for (auto& graph : chart.graphs)
    view.graphs.push_back(MakeGraph(view, graph, document, decimals));
  view.notes = PlainNotes(document.notes);
  for (auto& each : document.downtimes)
    view.downtimes.push_back({each.start, each.end, PlainText(each.state)});
  AddTexts(view, chart, names);
  return view;
}

}  // namespace orvspc::render
