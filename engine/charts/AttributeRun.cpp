// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/AttributeRun.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string>
#include <utility>

#include "engine/charts/PointTable.h"
#include "platform/Enumerations.h"
#include "platform/NaN.h"

namespace orvspc::engine::charts {
namespace {

constexpr std::int32_t kBadArgument = 5;

Suits SuitsChart(const AttributeChart& chart, const store::ControlLimit& limit) {
  if (!SuitsRate(chart, limit.chart_word)) return Suits::OtherChart;
  return catalogue::IsRate(chart.Kind(), limit.row.F_MEAN) ? Suits::Yes : Suits::NoSuchMean;
}

std::string UnsuitedMeanText(const AttributeChart& chart, double mean) {
  char figure[32];
  char* const end = std::to_chars(figure, figure + sizeof figure, mean).ptr;
  return "Stored control limits with the mean " + std::string(figure, end) + " are not used: " +
         (chart.defectives ? "a share of defective units lies between 0 and 1."
                           : "a rate of defects is not below 0.");
}

// The risk of exact limits that was chosen for a stream; 0: limits of three sigmas.
double AlphaOf(store::Store& store, std::int32_t part, std::int32_t process, std::int32_t test) {
  const auto chosen = [&](std::string_view key) {
    return store.ChartOption(part, process, test, 1, key);
  };
  const auto limits = chosen(store::kLimitsOption);
  if (!limits || limits->value != store::kProbabilityLimits) return 0.0;
  double alpha = statistics::kUsualAlpha;
  if (const auto given = chosen(store::kAlphaOption)) {
    const auto& text = given->value;
    std::from_chars(text.data(), text.data() + text.size(), alpha);
  }
  return std::clamp(alpha, statistics::kLeastAlpha, statistics::kMostAlpha);
}

}  // namespace

void AttributeRun::Clear() {
  ClearShared();
  Forget(units_);
  Forget(counts_);
  for (auto& lines : ewma_lines_) Forget(lines);
}

std::int32_t AttributeRun::Process(store::Store& store, API_DSInfo& info,
                                   std::span<const std::int32_t> filter,
                                   const AttributeRequest& request) {
  Clear();
  if (!IsAttributeWord(request.chart_word)) {
    store.Fail(kBadArgument, "The chart word " + std::to_string(request.chart_word) +
                                 " names no chart of attributes.");
    return 0;
  }
  if (!rows_.Select(store, info, filter, ttDefects | ttDefectives,
                    "No subgroup of an attribute test matches the selection.")) {
    return 0;
  }
  table_.Build(rows_.Data(), info.Status, [&](std::int32_t test) { return store.TestType(test); });
  table_.CutAtPhases(rows_.Data(), store, joins_phases_);
  plan_ =
      PlanAttributeChart(request.chart_word, request.processing_word, request.ewma, table_.Shape());
  rows_.Load(store, true,
             [&](const store::ControlLimit& limit) { return SuitsChart(*plan_.chart, limit); });
  states_.resize(table_.Streams().size());
  MakeUnits();
  Estimate();
  CompleteLimits(store, info, [&](AttributeRun& run, API_DSInfo& whole) {
    return run.Process(store, whole, filter, {plan_.Word(), 0, 0.0});
  });
  MakePoints();
  if (!plan_.IsWeighted(0)) {
    TakeOptions(store);
    if (notes_misfit_) Look();
  }
  if (plan_.cusum) {
    MakeCusum();
  } else if (plan_.ewma != EwmaKind::None) {
    MakeEwma();
  }
  is_open_ = true;
  AddNotes(store);
  return plan_.Word();
}

void AttributeRun::MakeUnits() {
  units_.assign(table_.Count(), 0.0);
  for (std::size_t s = 0; s < states_.size(); ++s) {
    const auto& stream = table_.Streams()[s];
    const auto& versions = rows_.Of(s).opportunities;
    catalogue::EffectiveRows<API_CCDefOpp> opportunities(versions);
    for (auto place = stream.begin; place < stream.end; ++place) {
      const double size = table_.sizes[place];
      states_[s].no_size = states_[s].no_size || size == 0.0;
      states_[s].some_size = states_[s].some_size || size != 0.0;
      double units = size == 0.0 && plan_.chart->BearsNoSize() ? 1.0 : size;
      if (plan_.chart->per_opportunity && size != 0.0) {
        const auto* const row = opportunities.At(rows_.StampAt(place));
        const std::int32_t known = row == nullptr ? 0 : row->F_OPPS;
        states_[s].no_opportunities = states_[s].no_opportunities || known < 1;
        units *= std::max(known, 1);
      }
      units_[place] = units;
    }
  }
}

void AttributeRun::Estimate() {
  const auto& counts = plan_.chart->defectives ? table_.defectives : table_.defects;
  const auto has_value = [&](std::size_t place) { return units_[place] > 0.0; };
  for (std::size_t s = 0; s < states_.size(); ++s) {
    auto& state = states_[s];
    const auto limits_of = table_.Streams()[s].limits_of;
    if (limits_of != s) {
      state.TakeLimitsOf(states_[limits_of]);
      continue;
    }
    const auto stream = table_.BasisOf(table_.Streams()[s], has_value);
    state.no_basis = stream.Count() == 0;
    std::int64_t used = 0, sized = 0;
    double sizes = 0.0;
    for (auto place = stream.begin; place < stream.end; ++place) {
      if (!table_.IsUsed(place) || !has_value(place)) continue;
      state.rate.numerator += counts[place];
      state.rate.denominator += units_[place];
      ++used;
      sized += table_.sizes[place] > 0.0;
      sizes += table_.sizes[place];
    }
    state.estimates.mean = state.rate.Value();
    state.estimates.mean_name = plan_.chart->rate;
    state.estimates.mean_used = used;
    state.estimates.mean_size = sized == 0 ? 0.0 : sizes / static_cast<double>(sized);
  }
}

void AttributeRun::MakePoints() {
  auto& points = points_[0];
  points = std::move(plan_.chart->defectives ? table_.defectives : table_.defects);
  if (keeps_counts_) counts_ = points;
  for (std::size_t place = 0; place < points.size(); ++place) {
    if (!plan_.chart->counted) points[place] = plan_.chart->scale * points[place] / units_[place];
    if (!(units_[place] > 0.0) || !std::isfinite(points[place])) points[place] = platform::kNaN;
  }
  Forget(table_.defects);
  Forget(table_.defectives);
}

void AttributeRun::TakeOptions(store::Store& store) {
  for (std::size_t s = 0; s < states_.size(); ++s) {
    const auto& stream = table_.Streams()[s];
    states_[s].alpha = AlphaOf(store, stream.part, stream.process, stream.test);
  }
}

void AttributeRun::Look() {
  constexpr std::size_t kFewestScores = 20, kFewestCounts = 10;
  constexpr double kLargestSpread = 1.2;
  for (std::size_t s = 0; s < states_.size(); ++s) {
    const auto& stream = table_.Streams()[s];
    if (!rows_.Counts(s)) continue;
    auto lines = LinesOf(s, 0, false, true);
    double before = platform::kNaN, moving = 0.0, sum = 0.0;
    std::size_t scores = 0, counts = 0, zeros = 0;
    for (auto place = stream.begin; place < stream.end; ++place) {
      const double point = points_[0][place];
      if (!table_.IsUsed(place) || std::isnan(point)) continue;
      ++counts;
      zeros += point == 0.0 ? 1U : 0U;
      sum += plan_.chart->counted ? point : point * units_[place] / plan_.chart->scale;
      const auto at = lines.At(place);
      if (!(at.sigma > 0.0)) continue;
      const double score = (point - at.centre) / at.sigma;
      if (scores > 0) moving += std::fabs(score - before);
      before = score;
      ++scores;
    }
    auto& state = states_[s];
    const auto ranges = static_cast<std::int64_t>(scores) - 1;
    state.overdispersed =
        scores >= kFewestScores &&
        statistics::SigmaFromMovingRangeSum(moving, ranges).value > kLargestSpread;
    state.rare =
        counts >= kFewestCounts && (sum < static_cast<double>(counts) || 2 * zeros > counts);
  }
}

AttributeLines AttributeRun::LinesOf(std::size_t stream, std::size_t, bool calculated,
                                     bool plain) const {
  const auto* const ewma =
      plain || plan_.ewma == EwmaKind::None ? nullptr : &ewma_lines_[calculated];
  const auto& state = states_[stream];
  return AttributeLines({plan_, rows_, units_, ewma, state.rate, stream, calculated,
                         plan_.cusum && !plain, state.alpha});
}

std::int32_t AttributeRun::SizeAt(std::size_t, std::size_t place) const {
  if (std::isnan(points_[0][place])) return 0;
  // A count without a size is one of a single unit.
  return static_cast<std::int32_t>(std::max(std::round(table_.sizes[place]), 1.0));
}

void AttributeRun::MakeEwma() {
  // Both forms are taken about the points themselves, which the form in force then replaces.
  std::vector<double> shown(points_[0].size());
  for (const bool calculated : {true, false}) {
    if (calculated && !rows_.HasStoredLimits()) continue;
    ewma_lines_[calculated].resize(points_[0].size());
    for (std::size_t s = 0; s < states_.size(); ++s) MakeEwmaLines(calculated, s, shown);
  }
  if (!rows_.HasStoredLimits()) ewma_lines_[true] = ewma_lines_[false];
  points_[0] = std::move(shown);
}

void AttributeRun::MakeEwmaLines(bool calculated, std::size_t s, std::span<double> shown) {
  const auto& stream = table_.Streams()[s];
  const auto count = stream.Count();
  const bool moving = plan_.ewma == EwmaKind::MovingCentre;
  std::vector<double> points(count), centre(count), sigma(count);
  std::vector<std::uint8_t> restart(count, 0);
  auto plain = LinesOf(s, 0, calculated, true);
  for (std::size_t i = 0; i < count; ++i) {
    const auto place = stream.begin + i;
    const auto lines = plain.At(place);
    // A moving centre line follows the rate, so that a count is judged by the units of its point.
    const double factor = moving ? plain.FactorAt(place) : 1.0;
    points[i] = points_[0][place] / factor;
    centre[i] = moving ? plain.RateAt(place).Value() : lines.centre;
    sigma[i] = lines.sigma;
    restart[i] = rows_.RestartsAt(stream, place, calculated) ? 1 : 0;
  }
  const statistics::SequenceInput input{points, centre, sigma, Part(table_.Used(), stream),
                                        restart};
  const auto series =
      moving ? statistics::MovingCentreEwma(input, [](double, std::size_t) { return 0.0; })
             : statistics::Ewma(input);
  for (std::size_t i = 0; i < count; ++i) {
    const auto place = stream.begin + i;
    auto& lines = ewma_lines_[calculated][place];
    if (moving) {
      lines = plain.LimitsAt(statistics::Rate{series.centre[i], 1.0}, place);
      shown[place] = points_[0][place];
      continue;
    }
    lines = FiniteOnly({series.centre[i], series.upper[i], series.lower[i], series.sigma[i]});
    if (lines.lower < 0.0) lines.lower = 0.0;
    if (plan_.chart->defectives) lines.upper = std::min(lines.upper, plain.FactorAt(place));
    shown[place] = series.points[i];
  }
}

std::vector<double> AttributeRun::UnitsInspected() const {
  std::vector<double> units(table_.Count());
  table_.Scatter(table_.sizes, std::span(units));
  return units;
}

void AttributeRun::AddNotes(store::Store& store) {
  for (const auto& [code, text] : plan_.notes) store::AddNote(code, text);
  if (!rows_.Data().sizes.empty()) {
    store::AddNote(
        "sizes-rounded",
        "Inspected sizes that are not whole numbers are shown rounded; points and limits "
        "use them as they are.");
  }
  const bool bears_no_size = plan_.chart->BearsNoSize();
  for (std::size_t s = 0; s < states_.size(); ++s) {
    const auto& state = states_[s];
    const auto note = [&](bool applies, std::string_view code, std::string_view text) {
      rows_.NoteIf(applies, store, s, code, text);
    };
    const bool above_one = plan_.chart->defectives && state.rate.Value() > 1.0;
    const bool counts = rows_.Counts(s);
    note(state.no_basis && counts, "phase-short",
         rows_.Stretch(s) + "Fewer than 2 points count here, so there are no calculated limits.");
    note(!state.no_basis && !state.rate.Exists(), "no-mean",
         rows_.Stretch(s) +
             "No subgroup that counts has a size, so there are no calculated limits.");
    note(above_one, "too-many-defectives",
         "There are more defectives than units, so there are no calculated limits.");
    note(state.no_size && !bears_no_size, "no-size",
         "Subgroups without a size have no value on this chart.");
    note(state.no_size && state.some_size && bears_no_size, "no-size",
         "Subgroups without a size are taken as one unit.");
    note(state.no_opportunities, "no-opportunities",
         "No opportunities for defects are known at some points; they count as one a unit.");
    note(state.no_cusum && counts, "no-cusum",
         "A cusum counts in sigmas: without one above 0 there is none.");
    note(plan_.chart->per_opportunity && rows_.Of(s).opportunities_change, "opportunities-changed",
         "The opportunities for defects in force changed inside the chart.");
    note(state.overdispersed, "overdispersed",
         rows_.Stretch(s) + "The points vary more than their sizes explain; consider a " +
             (plan_.chart->defectives ? "p'" : "u'") + " chart.");
    note(state.rare, "rare-events",
         rows_.Stretch(s) + "So few are counted that the time between events shows more.");
    const auto& unsuited = rows_.Of(s).unsuited_mean;
    note(unsuited.has_value(), "limits-unsuited",
         unsuited ? UnsuitedMeanText(*plan_.chart, *unsuited) : std::string());
    rows_.AddNotes(store, s);
  }
}

}  // namespace orvspc::engine::charts
