// SPDX-License-Identifier: Apache-2.0
#include "engine/studies/Gage.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <numbers>
#include <utility>

#include "engine/statistics/ControlConstants.h"
#include "engine/statistics/Distributions.h"
#include "engine/statistics/Moments.h"
#include "engine/statistics/Numerics.h"
#include "engine/studies/study_notes.h"

namespace orvspc::studies {
namespace {

namespace statistics = engine::statistics;
using platform::kNaN;

bool IsAbove0(const std::optional<double>& value) {
  return !value || (*value > 0.0 && std::isfinite(*value));
}

void Check(const GageOptions& options) {
  Need(options.multiplier > 0.0 && std::isfinite(options.multiplier),
       "multiplier must be a number above 0");
  Need(IsAbove0(options.tolerance), "tolerance must be a number above 0");
  Need(IsAbove0(options.process_sd), "process-sd must be a number above 0");
  Need(!options.lower_limit || !options.upper_limit || *options.lower_limit < *options.upper_limit,
       "the lower limit must lie below the upper one");
  Need(options.pool_above >= 0.0 && options.pool_above <= 1.0, "pool-above must be 0 to 1");
  Need(options.level > 0.0 && options.level < 1.0, "level must lie between 0 and 1");
}

std::size_t IndexOf(std::vector<std::string>& names, std::string_view name) {
  const auto found = std::ranges::find(names, name);
  const auto index = static_cast<std::size_t>(found - names.begin());
  if (found == names.end()) names.emplace_back(name);
  return index;
}

// Readings by cell: those of operator i, part j at (i * parts + j) * trials.
struct Cells {
  std::size_t parts = 0, operators = 0, trials = 0;
  std::vector<double> values;
  std::vector<std::size_t> cell_parts, cell_operators;
  std::string imbalance;  // not empty: there are none

  std::size_t Count() const { return cell_parts.size(); }
  const double* Of(std::size_t cell) const { return values.data() + cell * trials; }
};

Cells ByCell(const GageReadings& readings, GageMethod method) {
  Cells cells;
  const auto all_parts = readings.parts.size();
  const bool nested = method == GageMethod::Nested;
  cells.operators = readings.operators.size();
  // Readings of each operator and part, and where they begin once they are sorted.
  std::vector<std::size_t> counts(cells.operators * all_parts, 0);
  const auto key = [&](std::size_t i) {
    return readings.operator_of[i] * all_parts + readings.part_of[i];
  };
  for (std::size_t i = 0; i < readings.values.size(); ++i) {
    if (std::isfinite(readings.values[i])) ++counts[key(i)];
  }
  // The usual number of readings of a cell, which the others are held against.
  std::map<std::size_t, std::size_t> usual;
  for (const auto count : counts)
    if (count > 0 || !nested) ++usual[count];
  std::size_t most = 0;
  for (const auto& [count, times] : usual) {
    if (count == 0 || times < most) continue;
    most = times;
    cells.trials = count;
  }
  if (cells.trials == 0) return cells;
  std::vector<std::size_t> begins(counts.size(), 0);
  std::size_t first_parts = 0;
  for (std::size_t by = 0; by < cells.operators; ++by) {
    std::size_t own_parts = 0;
    for (std::size_t part = 0; part < all_parts; ++part) {
      const auto count = counts[by * all_parts + part];
      if (nested && count == 0) continue;
      if (count != cells.trials && cells.imbalance.empty()) {
        cells.imbalance = "operator " + readings.operators[by] + " has " + std::to_string(count) +
                          (count == 1 ? " reading" : " readings") + " of part " +
                          readings.parts[part] + ", others have " + std::to_string(cells.trials);
      }
      begins[by * all_parts + part] = cells.Count() * cells.trials;
      cells.cell_parts.push_back(part);
      cells.cell_operators.push_back(by);
      ++own_parts;
    }
    if (by == 0) first_parts = own_parts;
    if (own_parts != first_parts && cells.imbalance.empty()) {
      cells.imbalance = "operator " + readings.operators[by] + " has " + std::to_string(own_parts) +
                        (own_parts == 1 ? " part, " : " parts, ") + readings.operators[0] +
                        " has " + std::to_string(first_parts);
    }
  }
  cells.parts = first_parts;
  if (!cells.imbalance.empty()) return cells;
  cells.values.resize(cells.Count() * cells.trials);
  for (std::size_t i = 0; i < readings.values.size(); ++i) {
    if (std::isfinite(readings.values[i])) cells.values[begins[key(i)]++] = readings.values[i];
  }
  return cells;
}

// Places of mean squares, and of the terms of what is made of them.
enum Term : std::size_t { kOfPart, kOfOperator, kOfInteraction, kOfError, kTerms };
using Terms = std::array<double, kTerms>;

// Sums of squares with their degrees of freedom. Nested: those of parts are within operators.
struct Squares {
  Terms sum{}, degrees{};

  double Mean(std::size_t term) const {
    return degrees[term] > 0.0 ? sum[term] / degrees[term] : 0.0;
  }
  // The interaction counted as error.
  Squares Pooled() const {
    auto pooled = *this;
    pooled.sum[kOfError] += sum[kOfInteraction];
    pooled.degrees[kOfError] += degrees[kOfInteraction];
    pooled.sum[kOfInteraction] = pooled.degrees[kOfInteraction] = 0.0;
    return pooled;
  }
};

// What the sums are made of: means about the grand mean, and squares within each cell.
struct CellFigures {
  double grand_mean = 0.0;
  std::vector<double> means, within, ranges;
};

CellFigures FiguresOf(const Cells& cells) {
  CellFigures figures;
  const auto trials = static_cast<double>(cells.trials);
  double sum = 0.0;
  const double shift = cells.values.front();
  for (const double value : cells.values) sum += value - shift;
  figures.grand_mean = shift + sum / static_cast<double>(cells.values.size());
  figures.means.reserve(cells.Count());
  figures.within.reserve(cells.Count());
  figures.ranges.reserve(cells.Count());
  for (std::size_t cell = 0; cell < cells.Count(); ++cell) {
    const double* of = cells.Of(cell);
    double mean = 0.0, squares = 0.0, low = of[0], high = of[0];
    for (std::size_t k = 0; k < cells.trials; ++k) {
      mean += of[k] - figures.grand_mean;
      low = std::min(low, of[k]);
      high = std::max(high, of[k]);
    }
    mean /= trials;
    for (std::size_t k = 0; k < cells.trials; ++k) {
      const double deviation = of[k] - figures.grand_mean - mean;
      squares += deviation * deviation;
    }
    figures.means.push_back(mean);
    figures.within.push_back(low == high ? 0.0 : squares);
    figures.ranges.push_back(high - low);
  }
  return figures;
}

// pick(operator, j): the cell that is part j of the operator.
template <class Pick>
Squares SquaresOf(const Cells& cells, const CellFigures& figures, bool nested, Pick pick) {
  const auto parts = cells.parts, operators = cells.operators;
  const double p = static_cast<double>(parts), o = static_cast<double>(operators),
               r = static_cast<double>(cells.trials);
  double grand = 0.0, error = 0.0, of_cells = 0.0, of_operators = 0.0, of_parts = 0.0;
  for (std::size_t i = 0; i < operators; ++i) {
    for (std::size_t j = 0; j < parts; ++j) {
      grand += figures.means[pick(i, j)];
      error += figures.within[pick(i, j)];
    }
  }
  grand /= p * o;
  for (std::size_t i = 0; i < operators; ++i) {
    double mean = 0.0;
    for (std::size_t j = 0; j < parts; ++j) mean += figures.means[pick(i, j)] - grand;
    mean /= p;
    of_operators += mean * mean;
    for (std::size_t j = 0; j < parts; ++j) {
      const double deviation = figures.means[pick(i, j)] - grand;
      of_cells += nested ? (deviation - mean) * (deviation - mean) : deviation * deviation;
    }
  }
  Squares squares;
  squares.sum[kOfOperator] = p * r * of_operators;
  squares.sum[kOfError] = error;
  squares.degrees = {p - 1.0, o - 1.0, (p - 1.0) * (o - 1.0), p * o * (r - 1.0)};
  if (nested) {
    squares.sum[kOfPart] = r * of_cells;
    squares.degrees[kOfPart] = o * (p - 1.0);
    squares.degrees[kOfInteraction] = 0.0;
    return squares;
  }
  for (std::size_t j = 0; j < parts; ++j) {
    double mean = 0.0;
    for (std::size_t i = 0; i < operators; ++i) mean += figures.means[pick(i, j)] - grand;
    mean /= o;
    of_parts += mean * mean;
  }
  squares.sum[kOfPart] = o * r * of_parts;
  squares.sum[kOfInteraction] =
      std::max(0.0, r * of_cells - squares.sum[kOfPart] - squares.sum[kOfOperator]);
  return squares;
}

Terms operator+(const Terms& a, const Terms& b) {
  Terms sum;
  for (std::size_t i = 0; i < kTerms; ++i) sum[i] = a[i] + b[i];
  return sum;
}

// Variances as sums of mean squares with these factors.
struct Model {
  Terms error{}, interaction{}, by_operator{}, part{};
  bool has_interaction = false;
};

Model ModelOf(const Cells& cells, bool nested, bool pooled) {
  const double p = static_cast<double>(cells.parts), o = static_cast<double>(cells.operators),
               r = static_cast<double>(cells.trials);
  Model model;
  model.error[kOfError] = 1.0;
  model.by_operator[kOfOperator] = 1.0 / (p * r);
  if (nested) {
    model.by_operator[kOfPart] = -1.0 / (p * r);
    model.part[kOfPart] = 1.0 / r;
    model.part[kOfError] = -1.0 / r;
    return model;
  }
  const auto below = pooled ? kOfError : kOfInteraction;
  model.by_operator[below] = -1.0 / (p * r);
  model.part[kOfPart] = 1.0 / (o * r);
  model.part[below] = -1.0 / (o * r);
  model.has_interaction = !pooled;
  if (!pooled) {
    model.interaction[kOfInteraction] = 1.0 / r;
    model.interaction[kOfError] = -1.0 / r;
  }
  return model;
}

double SumOf(const Terms& factors, const Squares& squares) {
  double sum = 0.0;
  for (std::size_t i = 0; i < kTerms; ++i)
    if (factors[i] != 0.0) sum += factors[i] * squares.Mean(i);
  return sum;
}

struct Variances {
  double error = 0.0, interaction = 0.0, by_operator = 0.0, part = 0.0;
  double Reproducibility() const { return by_operator + interaction; }
  double Gage() const { return error + Reproducibility(); }
  double Total() const { return Gage() + part; }
};

Variances VariancesOf(const Model& model, const Squares& squares) {
  const auto at_least_0 = [&](const Terms& factors) {
    return std::max(0.0, SumOf(factors, squares));
  };
  return {at_least_0(model.error), at_least_0(model.interaction), at_least_0(model.by_operator),
          at_least_0(model.part)};
}

// Bounds of sums of mean squares by modified large samples.
class LargeSamples {
 public:
  LargeSamples(const Squares& squares, double level)
      : squares_(squares), tail_((1.0 - level) / 2.0) {
    for (std::size_t i = 0; i < kTerms; ++i) {
      const double degrees = squares.degrees[i];
      if (!(degrees > 0.0)) continue;
      g_[i] = 1.0 - degrees / statistics::ChiSquareQuantile(1.0 - tail_, degrees);
      h_[i] = degrees / statistics::ChiSquareQuantile(tail_, degrees) - 1.0;
    }
  }

  // Bounds of the variance, not below 0.
  std::pair<double, double> Bounds(const Terms& factors) {
    double below = 0.0, above = 0.0;
    for (std::size_t i = 0; i < kTerms; ++i) {
      if (factors[i] == 0.0) continue;
      const double term = factors[i] * squares_.Mean(i);
      const double g = g_[i] * term, h = h_[i] * term;
      below += factors[i] > 0.0 ? g * g : h * h;
      above += factors[i] > 0.0 ? h * h : g * g;
      if (factors[i] < 0.0) continue;
      for (std::size_t j = 0; j < kTerms; ++j) {
        if (!(factors[j] < 0.0)) continue;
        const auto& cross = Cross(i, j);
        const double product = term * -factors[j] * squares_.Mean(j);
        below += cross.below * product;
        above += cross.above * product;
      }
    }
    const double sum = SumOf(factors, squares_);
    return {std::max(0.0, sum - std::sqrt(std::max(0.0, below))),
            std::max(0.0, sum + std::sqrt(std::max(0.0, above)))};
  }

 private:
  struct Pair {
    double below = kNaN, above = kNaN;
  };
  // Of a term that is added and one that is taken away.
  const Pair& Cross(std::size_t i, std::size_t j) {
    auto& pair = pairs_[i][j];
    if (!std::isnan(pair.below)) return pair;
    const auto factor = [&](double f, double of_i, double of_j) {
      return ((f - 1.0) * (f - 1.0) - of_i * of_i * f * f - of_j * of_j) / f;
    };
    const double a = squares_.degrees[i], b = squares_.degrees[j];
    pair.below = factor(statistics::FQuantile(1.0 - tail_, a, b), g_[i], h_[j]);
    pair.above = factor(statistics::FQuantile(tail_, a, b), h_[i], g_[j]);
    return pair;
  }

  const Squares& squares_;
  double tail_;
  Terms g_{}, h_{};
  std::array<std::array<Pair, kTerms>, kTerms> pairs_{};
};

AnovaRow RowOf(const Squares& squares, const char* source, Term term,
               std::optional<Term> against = {}) {
  AnovaRow row;
  row.source = source;
  row.degrees = squares.degrees[term];
  row.sum = squares.sum[term];
  row.mean = squares.degrees[term] > 0.0 ? squares.Mean(term) : kNaN;
  if (!against) return row;
  row.test.statistic = "F";
  row.test.method = "analysis of variance";
  row.test.degrees = {squares.degrees[term], squares.degrees[*against]};
  if (!(squares.Mean(*against) > 0.0)) return row;
  row.test.value = row.mean / squares.Mean(*against);
  row.test.p = statistics::FAbove(row.test.value, row.degrees, squares.degrees[*against]);
  return row;
}

AnovaRow TotalOf(const Squares& squares) {
  AnovaRow row;
  row.source = kTotal;
  row.sum = row.degrees = 0.0;
  for (std::size_t i = 0; i < kTerms; ++i) {
    row.sum += squares.sum[i];
    row.degrees += squares.degrees[i];
  }
  return row;
}

// Rows of figures out of standard deviations.
class Percentages {
 public:
  Percentages(const GageOptions& options, const GageStudy& study, double total, double gage)
      : options_(options), total_(total) {
    const auto &lower = options.lower_limit, &upper = options.upper_limit;
    tolerance_ = options.tolerance;
    if (!tolerance_ && lower && upper) tolerance_ = *upper - *lower;
    if (!tolerance_ && (lower || upper)) {
      // Half the spread lies on the side of the limit.
      const double distance = std::abs((lower ? *lower : *upper) - study.mean);
      if (distance > 0.0) tolerance_ = 2.0 * distance;
    }
    if (options.process_sd) {
      process_part_ = std::sqrt(*options.process_sd * *options.process_sd - gage * gage);
    }
  }

  void Fill(GageComponent& row) const {
    const double sd = row.sd.value;
    row.variance = sd * sd;
    row.study_var = options_.multiplier * sd;
    if (total_ > 0.0) {
      row.pct_contribution = 100.0 * row.variance / (total_ * total_);
      row.pct_study = 100.0 * sd / total_;
    }
    if (tolerance_) row.pct_tolerance = 100.0 * row.study_var / *tolerance_;
    if (!options_.process_sd) return;
    const double of_process = row.source == kTotal  ? *options_.process_sd
                              : row.source == kPart ? process_part_
                                                    : sd;
    row.pct_process = 100.0 * of_process / *options_.process_sd;
  }
  bool IsProcessTooSmall() const { return options_.process_sd && std::isnan(process_part_); }

 private:
  const GageOptions& options_;
  double total_;
  std::optional<double> tolerance_;
  double process_part_ = kNaN;
};

std::string JudgementOf(double percent) {
  if (std::isnan(percent)) return "";
  return percent <= 10.0 ? "good" : percent <= 30.0 ? "marginal" : "poor";
}

// Fills in everything that follows from the standard deviations of the components.
void Conclude(GageStudy& study, const GageOptions& options, double root_of_2) {
  const double total = study.Find(kTotal)->sd.value, gage = study.Find(kGageRR)->sd.value;
  const Percentages percentages(options, study, total, gage);
  for (auto& row : study.components) percentages.Fill(row);
  if (percentages.IsProcessTooSmall()) {
    study.notes.push_back({"process-sd",
                           "process-sd is below the standard deviation of the gauge, so there is "
                           "no share of the parts in the process.",
                           {}});
  }
  if (!(total > 0.0)) {
    study.notes.push_back(
        {"no-variation", "All readings are equal, so there are no percentages.", {}});
  } else if (!(gage > 0.0)) {
    study.notes.push_back(
        {"no-gage-variation", "The gauge has no spread, so there is no ndc.", {}});
  }
  const auto& rr = *study.Find(kGageRR);
  study.pct_study.value = rr.pct_study;
  study.by_study = JudgementOf(rr.pct_study);
  study.by_tolerance = JudgementOf(rr.pct_tolerance);
  if (!(gage > 0.0)) return;
  study.ndc_raw.value = root_of_2 * study.Find(kPart)->sd.value / gage;
  study.ndc = static_cast<std::int64_t>(std::clamp(std::floor(study.ndc_raw.value), 1.0, 1e15));
}

void AddCells(GageStudy& study, const Cells& cells, const CellFigures& figures) {
  study.mean = figures.grand_mean;
  for (const double mean : figures.means) study.cell_means.push_back(figures.grand_mean + mean);
  study.cell_ranges = figures.ranges;
  study.cell_parts = cells.cell_parts;
  study.cell_operators = cells.cell_operators;
  double sum = 0.0;
  for (const double range : figures.ranges) sum += range;
  study.mean_range = sum / static_cast<double>(cells.Count());
  const auto size = static_cast<std::int32_t>(cells.trials);
  if (size < 2) return;
  const double sigma = study.mean_range / statistics::D2(size);
  const double of_mean = 3.0 * sigma / std::sqrt(static_cast<double>(size));
  study.mean_upper = study.mean + of_mean;
  study.mean_lower = study.mean - of_mean;
  const double of_range = 3.0 * sigma * statistics::D3(size);
  study.range_upper = study.mean_range + of_range;
  study.range_lower = std::max(0.0, study.mean_range - of_range);
}

void Resample(GageStudy& study, const Cells& cells, const CellFigures& figures,
              const GageOptions& options, const Model& model, bool nested, bool pooled) {
  constexpr std::size_t kLeastParts = 5;
  for (auto* interval : {&study.pct_study, &study.ndc_raw}) {
    interval->level = options.level;
    interval->method = "bootstrap of parts";
  }
  if (options.resamples == 0 || std::isnan(study.ndc_raw.value)) return;
  if (cells.parts < kLeastParts) {
    study.notes.push_back({"few-parts",
                           "Below 5 parts there are no intervals of ndc and of the share of the "
                           "study.",
                           {}});
    return;
  }
  statistics::Draws draws(options.seed);
  std::vector<double> percents, categories;
  percents.reserve(options.resamples);
  categories.reserve(options.resamples);
  std::vector<std::size_t> chosen(nested ? cells.Count() : cells.parts);
  const auto pick = [&](std::size_t i, std::size_t j) {
    const auto first = i * cells.parts;
    return first + (nested ? chosen[first + j] : chosen[j]);
  };
  for (std::size_t draw = 0; draw < options.resamples; ++draw) {
    for (auto& part : chosen) part = draws.Index(cells.parts);
    auto squares = SquaresOf(cells, figures, nested, pick);
    if (pooled) squares = squares.Pooled();
    const auto variances = VariancesOf(model, squares);
    if (!(variances.Gage() > 0.0)) {
      ++study.failed;
      continue;
    }
    percents.push_back(100.0 * std::sqrt(variances.Gage() / variances.Total()));
    categories.push_back(std::sqrt(2.0 * variances.part / variances.Gage()));
  }
  if (study.failed * 20 > options.resamples) {
    study.notes.push_back({"bootstrap-failed",
                           "More than 5 % of the resamples have no figure, so there are no "
                           "intervals of ndc and of the share of the study.",
                           {}});
    return;
  }
  const double tail = (1.0 - options.level) / 2.0;
  const auto bound = [&](Interval& interval, std::vector<double>& found) {
    std::ranges::sort(found);
    interval.lower = statistics::Quantile(found, tail);
    interval.upper = statistics::Quantile(found, 1.0 - tail);
  };
  bound(study.pct_study, percents);
  bound(study.ndc_raw, categories);
}

void NoteNegative(GageStudy& study) {
  for (const auto& row : study.components) {
    if (!row.is_negative) continue;
    study.notes.push_back({"negative-component",
                           "The variance of \"" + row.source + "\" came out below 0; 0 is taken.",
                           {}});
  }
}

// Whether the interaction counts as error.
bool IsPooled(const GageStudy& study, const GageOptions& options) {
  if (study.trials < 2 || options.pooling == Pooling::Always) return true;
  if (options.pooling == Pooling::Never) return false;
  const auto interaction = std::ranges::find(study.anova, kInteraction, &AnovaRow::source);
  return interaction->test.p > options.pool_above;
}

void AnalyseVariance(GageStudy& study, const Cells& cells, const CellFigures& figures,
                     const GageOptions& options) {
  const bool nested = options.method == GageMethod::Nested;
  auto squares = SquaresOf(cells, figures, nested,
                           [&](std::size_t i, std::size_t j) { return i * cells.parts + j; });
  bool pooled = false;
  if (nested) {
    study.anova = {RowOf(squares, kOperator, kOfOperator, kOfPart),
                   RowOf(squares, kPart, kOfPart, kOfError),
                   RowOf(squares, kRepeatability, kOfError), TotalOf(squares)};
  } else {
    if (study.trials > 1) {
      study.anova = {RowOf(squares, kPart, kOfPart, kOfInteraction),
                     RowOf(squares, kOperator, kOfOperator, kOfInteraction),
                     RowOf(squares, kInteraction, kOfInteraction, kOfError),
                     RowOf(squares, kRepeatability, kOfError), TotalOf(squares)};
    } else {
      study.notes.push_back({"no-interaction",
                             "With one trial the interaction cannot be told from repeatability.",
                             {}});
    }
    pooled = IsPooled(study, options);
    if (pooled) {
      squares = squares.Pooled();
      study.pooled = {RowOf(squares, kPart, kOfPart, kOfError),
                      RowOf(squares, kOperator, kOfOperator, kOfError),
                      RowOf(squares, kRepeatability, kOfError), TotalOf(squares)};
    }
  }

  const auto model = ModelOf(cells, nested, pooled);
  const auto variances = VariancesOf(model, squares);
  LargeSamples bounds(squares, options.level);
  const auto add = [&](const char* source, double variance, const Terms& factors, bool is_sum) {
    GageComponent row;
    row.source = source;
    row.is_negative = !is_sum && SumOf(factors, squares) < 0.0;
    const auto [lower, upper] = bounds.Bounds(factors);
    row.sd = {std::sqrt(variance), std::sqrt(lower), std::sqrt(upper), options.level,
              row.source == kRepeatability ? "chi-square" : "modified large samples"};
    study.components.push_back(std::move(row));
  };
  const auto reproducibility = model.by_operator + model.interaction;
  const auto gage = reproducibility + model.error;
  add(kGageRR, variances.Gage(), gage, true);
  add(kRepeatability, variances.error, model.error, false);
  add(kReproducibility, variances.Reproducibility(), reproducibility, true);
  add(kOperator, variances.by_operator, model.by_operator, false);
  if (model.has_interaction) add(kInteraction, variances.interaction, model.interaction, false);
  add(kPart, variances.part, model.part, false);
  add(kTotal, variances.Total(), gage + model.part, true);
  NoteNegative(study);
  Conclude(study, options, std::numbers::sqrt2);
  Resample(study, cells, figures, options, model, nested, pooled);
}

double RangeOf(const std::vector<double>& values) {
  const auto [low, high] = std::ranges::minmax(values);
  return high - low;
}

void TakeRanges(GageStudy& study, const Cells& cells, const CellFigures& figures,
                const GageOptions& options) {
  std::vector<double> of_operators(cells.operators, 0.0), of_parts(cells.parts, 0.0);
  const double p = static_cast<double>(cells.parts), r = static_cast<double>(cells.trials);
  for (std::size_t i = 0; i < cells.operators; ++i) {
    for (std::size_t j = 0; j < cells.parts; ++j) {
      const double mean = figures.means[i * cells.parts + j];
      of_operators[i] += mean / p;
      of_parts[j] += mean / static_cast<double>(cells.operators);
    }
  }
  study.operator_range = RangeOf(of_operators);
  study.part_range = RangeOf(of_parts);
  const auto as_printed = [&](double constant) {
    return options.tables ? std::round(constant * 1e4) / 1e4 : constant;
  };
  // 1 / d2* of one range of m means.
  const auto of_one_range = [&](std::size_t m) {
    const auto size = static_cast<std::int32_t>(m);
    return as_printed(1.0 / std::hypot(statistics::D2(size), statistics::D3(size)));
  };
  const double ev =
      study.mean_range * as_printed(1.0 / statistics::D2(static_cast<std::int32_t>(cells.trials)));
  const double of_means = study.operator_range * of_one_range(cells.operators);
  const double rest = of_means * of_means - ev * ev / (p * r);
  const double av = std::sqrt(std::max(0.0, rest));
  const double gage = std::hypot(ev, av), pv = study.part_range * of_one_range(cells.parts);
  const auto add = [&](const char* source, double sd, bool is_negative) {
    GageComponent row;
    row.source = source;
    row.sd = {sd, kNaN, kNaN, options.level, "averages and ranges"};
    row.is_negative = is_negative;
    study.components.push_back(std::move(row));
  };
  add(kGageRR, gage, false);
  add(kRepeatability, ev, false);
  add(kReproducibility, av, rest < 0.0);
  add(kPart, pv, false);
  add(kTotal, std::hypot(gage, pv), false);
  NoteNegative(study);
  Conclude(study, options, 1.41);
}

}  // namespace

void GageReadings::Add(std::string_view part, std::string_view by, double value) {
  part_of.push_back(IndexOf(parts, part));
  operator_of.push_back(IndexOf(operators, by));
  values.push_back(value);
}

const GageComponent* GageStudy::Find(std::string_view source) const {
  const auto found = std::ranges::find(components, source, &GageComponent::source);
  return found == components.end() ? nullptr : &*found;
}

std::string ImbalanceOf(const GageReadings& readings, GageMethod method) {
  return ByCell(readings, method).imbalance;
}

GageStudy StudyGage(const GageReadings& readings, const GageOptions& options) {
  Check(options);
  GageStudy study;
  const auto cells = ByCell(readings, options.method);
  study.operators = cells.operators;
  study.parts = cells.parts;
  study.trials = cells.trials;
  if (!cells.imbalance.empty()) {
    study.notes.push_back({"unbalanced", "There are no figures: " + cells.imbalance + ".", {}});
    return study;
  }
  const bool crossed = options.method == GageMethod::Crossed;
  if (!HasEnough(cells.parts, {2, 5}, "parts", study.notes) ||
      !HasEnough(cells.operators, {2, 0}, "operators", study.notes) ||
      !HasEnough(cells.trials, {crossed ? 1U : 2U, 0}, "trials", study.notes)) {
    return study;
  }
  if (cells.parts >= 5 && cells.parts * cells.operators < 15) {
    HasEnough(cells.parts * cells.operators, {0, 15}, "parts of all operators", study.notes);
  }
  const auto figures = FiguresOf(cells);
  AddCells(study, cells, figures);
  if (options.method == GageMethod::AverageRange) {
    TakeRanges(study, cells, figures, options);
  } else {
    AnalyseVariance(study, cells, figures, options);
  }
  return study;
}

}  // namespace orvspc::studies
