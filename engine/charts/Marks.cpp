// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/Marks.h"

#include <algorithm>
#include <cmath>

#include "engine/catalogue/limits.h"
#include "platform/NaN.h"

namespace orvspc::engine::charts {
namespace {

constexpr std::size_t kStretch = 4096;

// Columns of one stretch; kept by the thread, since a thousand small charts follow each other.
struct Scratch {
  std::vector<double> centre, sigma, upper, lower;
  std::vector<std::uint8_t> restart;
  std::vector<std::uint32_t> marks;
  std::size_t constant_count = 0;  // elements that hold the constant lines of this call

  void Resize(std::size_t count) {
    centre.resize(count);
    sigma.resize(count);
    upper.resize(count);
    lower.resize(count);
    marks.resize(count);
  }
  void Set(std::size_t i, const statistics::PointLimits& lines) {
    centre[i] = lines.centre;
    sigma[i] = lines.sigma;
    upper[i] = lines.upper;
    lower[i] = lines.lower;
  }
};

// The place from which `count` used points lie before `begin`.
std::size_t StepBack(std::span<const std::uint8_t> used, std::size_t begin, std::size_t count) {
  while (begin > 0 && count > 0) {
    --begin;
    count -= used.empty() || used[begin] != 0 ? 1U : 0U;
  }
  return begin;
}

void EvaluateStretch(const MarkInput& input, std::span<const statistics::RunRule> rules,
                     std::size_t first, std::size_t last, Scratch& scratch) {
  const auto count = last - first;
  if (input.constant == nullptr) {
    scratch.Resize(count);
    for (std::size_t i = 0; i < count; ++i) scratch.Set(i, input.lines(first + i));
  } else if (scratch.constant_count < count) {
    scratch.Resize(count);
    for (std::size_t i = 0; i < count; ++i) scratch.Set(i, *input.constant);
    scratch.constant_count = count;
  }
  statistics::RunInput run;
  run.points = input.points.subspan(first, count);
  run.centre = std::span(scratch.centre).first(count);
  run.sigma = std::span(scratch.sigma).first(count);
  run.ucl = std::span(scratch.upper).first(count);
  run.lcl = std::span(scratch.lower).first(count);
  if (!input.used.empty()) run.used = input.used.subspan(first, count);
  if (input.restart) {
    scratch.restart.resize(count);
    for (std::size_t i = 0; i < count; ++i) scratch.restart[i] = input.restart(first + i);
    run.restart = scratch.restart;
  }
  statistics::EvaluateRules(run, rules, std::span(scratch.marks).first(count));
}

// Of two pieces as far from the target, the first.
double Farthest(std::span<const double> pieces, double target) {
  if (pieces.empty() || std::isnan(target)) return platform::kNaN;
  return *std::max_element(pieces.begin(), pieces.end(), [&](double a, double b) {
    return std::fabs(a - target) < std::fabs(b - target);
  });
}

}  // namespace

void ConvertRules(std::span<const store::StoredRule> stored,
                  std::vector<statistics::RunRule>& rules) {
  rules.clear();
  for (const auto& row : stored) {
    statistics::RunRule rule;
    rule.number = row.number;
    rule.priority = row.priority;
    rule.k = row.k;
    rule.m = row.m;
    rule.zone = row.zone;
    if (!statistics::RuleKindFromName(row.kind, rule.kind)) continue;
    if (!row.side.empty() && !statistics::RuleSideFromName(row.side, rule.side)) continue;
    if (statistics::CheckRule(rule).empty()) rules.push_back(std::move(rule));
  }
}

void SelectForGraph(std::span<const statistics::RunRule> rules, ChartKind kind, bool weighted,
                    std::vector<statistics::RunRule>& selected) {
  using statistics::RuleKind;
  selected.clear();
  for (const auto& rule : rules) {
    const bool zones = rule.kind == RuleKind::Red || rule.kind == RuleKind::Yellow2;
    const bool of_counts = (rule.kind == RuleKind::Zone && rule.zone == 0.0) ||
                           rule.kind == RuleKind::Trend || rule.kind == RuleKind::Alternate;
    const bool wanted = kind == ChartKind::PreControl         ? zones
                        : RowOf(kind).every_rule && !weighted ? !zones
                        : kind == ChartKind::Attribute && !weighted
                            ? of_counts || rule.kind == RuleKind::Limit
                            : rule.kind == RuleKind::Limit;
    if (wanted) selected.push_back(rule);
  }
}

void EvaluateMarks(const MarkInput& input, std::span<const statistics::RunRule> rules,
                   std::span<std::uint32_t> marks, std::size_t from, std::size_t to) {
  thread_local Scratch scratch;
  std::size_t longest = 1;
  for (const auto& rule : rules) longest = std::max(longest, static_cast<std::size_t>(rule.m));
  const auto stretch = std::max(kStretch, 8 * longest);
  scratch.constant_count = 0;
  for (auto begin = from; begin < to;) {
    const auto end = std::min(to, begin + stretch);
    // A mark depends on the points of its own run alone, so that many before it are enough.
    const auto first = StepBack(input.used, begin, longest);
    EvaluateStretch(input, rules, first, end, scratch);
    std::copy_n(scratch.marks.begin() + static_cast<std::ptrdiff_t>(begin - first), end - begin,
                marks.begin() + static_cast<std::ptrdiff_t>(begin));
    begin = end;
  }
}

bool FillPreControl(const PreControlInput& input, std::span<double> points,
                    std::span<std::uint32_t> marks) {
  catalogue::EffectiveRows rows(input.specs);
  store::PieceReader reader(input.data);
  std::vector<statistics::PieceZone> zones;
  std::vector<std::size_t> place_of;  // of each zone
  bool any = false;
  for (auto place = input.stream.begin; place < input.stream.end; ++place) {
    const auto subgroup = input.table.SubgroupAt(place);
    const auto* const row = rows.At(input.data.subgroups[subgroup].Sgtm);
    const auto spec = row == nullptr ? catalogue::SpecLimits() : catalogue::SpecLimitsOf(*row);
    const auto lines = statistics::PreControlLinesOf(spec.lsl, spec.target, spec.usl);
    const auto pieces = reader.Pieces(subgroup);
    points[place] = Farthest(pieces, lines.target);
    marks[place] = 0;
    any = any || !std::isnan(lines.target);
    if (!input.table.IsUsed(place)) continue;
    for (const double piece : pieces) {
      zones.push_back(statistics::ZoneOf(piece, spec.lsl, spec.target, spec.usl));
      place_of.push_back(place);
    }
  }
  std::vector<std::uint32_t> piece_marks(zones.size());
  statistics::EvaluatePreControl(zones, input.rules, piece_marks);
  for (std::size_t i = 0; i < zones.size(); ++i) marks[place_of[i]] |= piece_marks[i];
  return any;
}

}  // namespace orvspc::engine::charts
